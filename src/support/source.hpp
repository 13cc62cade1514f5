#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Where the text comes from that is being worked on, so that an error can show its place in a file. The
/// texts of errors say what is wrong; standard error adds the place. Not for use on chain threads: it has no
/// lock.
namespace tovik::source {

/// Forgets everything.
void clear();

/// A statement of the command file, which is the current one from here on. `line` counts from 1.
void begin_statement(std::size_t line, std::string_view text);
/// The current statement goes on as this text, under which enter() finds it again.
void rename(std::string_view text);
/// Makes the statement with this text the current one; none if there is no such statement.
void enter(std::string_view text);
/// No statement is current.
void leave();

/// A line of a data file that could not be read.
void data_line(std::string_view file, std::size_t line, std::string_view text);
void no_data_line();
/// A sentence on what to do, for the error that follows.
void advise(std::string_view sentence);

/// What standard error says behind the error: the place and the advice, each on lines of their own; empty if
/// there are none. Where no statement is current it is the first of those that hold most of the names that
/// the error quotes.
std::string note(std::string_view error_text);

}  // namespace tovik::source

#pragma once

#include <string>

/// The file of the report, when --output names one.
namespace tovik::report_file {

/// Notes the path; it counts from the working directory of this moment. Nothing is opened.
void choose(const std::string& path);

/// Makes the chosen file the stream of the report. False, with an error on standard error, when it cannot be
/// opened.
bool open();

/// Puts the report in its place and gives the report's stream back to standard output. As long as the paths
/// of the command file are not known, the report could be one of its files: it then replaces nothing but an
/// earlier report. True when nothing has failed; else the error stands on standard output and standard error.
bool close();

}  // namespace tovik::report_file

#include "app/handlers.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>

#include "evaluate/error.hpp"
#include "support/error.hpp"
#include "support/file_access.hpp"
#include "support/file_writer.hpp"
#include "support/output.hpp"
#include "support/source.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

std::string debug_words(const char* what) {
  return std::string("DEBUG ERROR: Please contact Tovik Support. Error message:\n             ") + what +
         "\n";
}

const char* const ess_words =
    "ERROR: The ESS sampler was unable to start.\n"
    "       Change to Metropolis sampling step with:\n"
    "       \"DEBUG: metropolis_sampler;\"\n";

std::string tuning_words(const char* what) {
  return std::string(
             "ERROR: The Metropolis-Hastings sampler was unable to tune.\n"
             "       The first half of the burn-in iterations are used for tuning.\n"
             "       Increase the burn-in iterations and rerun.\n"
             "  Acceptance rate diagnostic information:\n") +
         what + "\n";
}

/// numeric_error, or what the linear algebra library throws when a factorisation of its own fails.
const char* const matrix_words =
    "ERROR: A matrix is numerically not positive definite.\n"
    "       Either:\n"
    "              (1) Try another seed.\n"
    "              (2) Specify fewer random effects.\n"
    "              (3) Specify fewer variables in model.\n";

/// Where the size is known, the allocation's own error names it.
const char* const memory_words =
    "ERROR: There is not enough memory for this run.\n"
    "       Fewer CHAINS, ITERATIONS, BURN or NIMPS, or fewer variables, need less.\n";

/// Every mistake of the user begins with the same word.
std::string user_words(const std::string& text) {
  return (text.rfind("ERROR", 0) == 0 ? "" : "ERROR: ") + text + "\n";
}

/// The words for the exception in flight.
std::string words_of_current_exception() {
  try {
    throw;
  } catch (const error_debug& e) {
    return debug_words(e.what());
  } catch (const evaluate::error_debug& e) {
    return debug_words(e.what());
  } catch (const error_ess&) {
    return ess_words;
  } catch (const sem::error_tuning& e) {
    return tuning_words(e.what());
  } catch (const error& e) {
    return user_words(e.what());
  } catch (const std::system_error& e) {  // a thread that could not start is no failed factorisation
    return "ERROR: The system refuses what the run needs: " + std::string(e.what()) + ".\n";
  } catch (const std::runtime_error&) {
    return matrix_words;
  } catch (const std::bad_alloc&) {
    return memory_words;
  } catch (const std::exception& e) {
    return std::string(e.what()) + "\n";
  }
}

/// A full disk or a closed stream shows only when the buffers are written.
bool written(std::FILE* stream) {
  return std::fflush(stream) == 0 && std::ferror(stream) == 0;
}

/// True when both descriptors lead to one file, pipe or terminal.
bool same_stream(int a, int b) {
  struct stat first {
  }, second{};
  return ::fstat(a, &first) == 0 && ::fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

}  // namespace

void print_unwritten(const unwritten_file& file) {
  const std::string text = "ERROR: The file '" + file.path + "' could not be written completely." +
                           system_reason(file.open_failure) + "\n";
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
  if (Output::fp != stdout) std::fputs(text.c_str(), Output::fp);
  if (!same_stream(STDOUT_FILENO, STDERR_FILENO)) std::fputs(text.c_str(), stderr);
}

int report_errors(const std::function<void()>& stages) {
  int status = 0;
  try {
    stages();
  } catch (const std::exception&) {
    const std::string words = words_of_current_exception();
    std::fputs((warning::buffer.take_remarks() + words).c_str(), stdout);
    std::fflush(stdout);
    std::fputs(source::note(words).c_str(), stderr);
    warning::buffer.flush(Output::fp, true, true);
    status = 1;
  }
  for (const unwritten_file& file : file_set::failures()) {
    print_unwritten(file);
    status = 1;
  }
  file_set::failures().clear();
  if (!written(stdout)) {
    std::fputs("ERROR: The report could not be written completely.\n", stderr);
    status = 1;
  }
  return status;
}

}  // namespace tovik

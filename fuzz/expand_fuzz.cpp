#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "input/expand.hpp"
#include "model/tokenize.hpp"
#include "support/error.hpp"
#include "support/text.hpp"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

/// Runs one form of expansion; the only failure is its own error.
template <class Run>
bool run(Run form, std::string& out) {
  try {
    out = form();
    return true;
  } catch (const tovik::error& e) {
    require(std::string(e.what()).rfind("ERROR: Unable to expand syntax. ", 0) == 0);
    return false;
  }
}

void check_tokens(const std::string& text) {
  std::vector<std::string> tokens = tovik::words(text);
  const std::string joined = tovik::join(tokens, " ");
  const int fault = tovik::model::tokenize(tokens);
  require(tovik::join(tokens, " ") == joined);
  if (fault >= 0) {
    require(static_cast<std::size_t>(fault) < joined.size());
    require(joined[static_cast<std::size_t>(fault)] == '(' || joined[static_cast<std::size_t>(fault)] == ')');
  }
}

}  // namespace

/// What is expanded holds no further range, and text without a colon stays as it is.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  std::string once;
  std::string twice;
  if (run([&] { return tovik::expand(text, ':'); }, once)) {
    if (once.size() < 100000) {
      require(run([&] { return tovik::expand(once, ':'); }, twice));
      require(once == twice);
    }
  }
  std::string statement;
  const bool good = run([&] { return tovik::eval_expand(text, ':'); }, statement);
  if (text.find(':') == std::string::npos) require(good && statement == text);
  // Labels may hold colons; without them nothing is left to expand.
  if (good && statement.size() < 100000 && text.find_first_of("@$%[") == std::string::npos) {
    require(run([&] { return tovik::eval_expand(statement, ':'); }, twice));
    require(statement == twice);
  }
  std::string token = text;
  run([&] { return tovik::token_expand(token, ':'), token; }, token);
  check_tokens(text);
  return 0;
}

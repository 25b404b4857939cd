#include "behaviour.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace tarnwick::test_plugin {

extern const char* const kModuleWords;  // module_words.cpp

namespace {

// With a blank before and `end` after it, so that a word is found whole.
std::string between(std::string_view text, char end) {
  std::string out(1, ' ');
  out.append(text).push_back(end);
  return out;
}

}  // namespace

bool Does(std::string_view word) {
  return between(kModuleWords, ' ').find(between(word, ' ')) != std::string::npos;
}

int NumberOf(std::string_view name, int otherwise) {
  const std::string padded = between(kModuleWords, ' ');
  const std::string key = between(name, '=');
  const auto at = padded.find(key);
  return at == std::string::npos ? otherwise : std::atoi(padded.c_str() + at + key.size());
}

bool Fails(const char* name) {
  if (Does(std::string(name) + "-throws")) {
    throw std::runtime_error("the test effect throws");
  }
  return Does(std::string(name) + "-fails");
}

}  // namespace tarnwick::test_plugin

#include "test_module.h"

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "pluginterfaces/base/fplatform.h"

namespace tarnwick::test_plugin {

extern const char* const kModuleWords;  // module_words.cpp

int liveObjects = 0;

namespace {

std::string allWords() {
  const char* more = std::getenv(kWordsVariable);
  return std::string(" ") + kModuleWords + " " + (more != nullptr ? more : "") + " ";
}

const std::string words = allWords();
LogSink currentSink = nullptr;
void* currentContext = nullptr;
std::vector<std::string> waiting;

}  // namespace

bool Does(const std::string& word) {
  return words.find(" " + word + " ") != std::string::npos;
}

int NumberOf(const std::string& name, int otherwise) {
  const std::string key = " " + name + "=";
  const auto at = words.find(key);
  return at == std::string::npos ? otherwise : std::atoi(words.c_str() + at + key.size());
}

bool Fails(const std::string& name) {
  if (Does(name + "-throws")) {
    throw std::runtime_error("the test effect throws");
  }
  return Does(name + "-fails");
}

void Log(const std::string& line) {
  if (currentSink != nullptr) {
    currentSink(line.c_str(), currentContext);
  } else {
    waiting.push_back(line);
  }
}

extern "C" SMTG_EXPORT_SYMBOL void TestModuleSetLogSink(LogSink sink, void* context) {
  currentSink = sink;
  currentContext = context;
  for (const std::string& line : waiting) {
    sink(line.c_str(), context);
  }
  waiting.clear();
}

}  // namespace tarnwick::test_plugin

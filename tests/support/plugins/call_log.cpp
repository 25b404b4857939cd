#include "call_log.h"

#include <vector>

#include "pluginterfaces/base/fplatform.h"

namespace tarnwick::test_plugin {

int liveObjects = 0;

namespace {

LogSink currentSink = nullptr;
void* currentContext = nullptr;
std::vector<std::string> waiting;

}  // namespace

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
  if (sink != nullptr) {
    for (const std::string& line : waiting) {
      sink(line.c_str(), context);
    }
    waiting.clear();
  }
}

}  // namespace tarnwick::test_plugin

#include "app/instances.h"

#include <algorithm>
#include <string>

#include "app/captions.h"
#include "app/settings.h"

namespace tarnwick::app {

namespace {

engine::InstanceRow rowAt(int32_t index) {
  engine::InstanceRow row;
  row.config.inputChannel = index;
  row.config.outputChannel = index;
  row.name = L"Instance " + std::to_wstring(index + 1);
  return row;
}

}  // namespace

void AddWiredInstances(Application& app, int32_t count) {
  std::wstring error;
  for (auto i = static_cast<int32_t>(app.host.rows.size()); i < count; ++i) {
    if (!engine::AddInstance(app.host, rowAt(i), &error)) {
      app.log.add(error);
      return;
    }
  }
}

bool AddNextInstance(Application& app, std::wstring* error) {
  if (!engine::AddInstance(app.host, rowAt(static_cast<int32_t>(app.host.rows.size())), error)) {
    return false;
  }
  if (app.engine.asioRunning.load()) {
    TellMissingChannels(app);
  }
  NoteInstanceChange(app);
  return true;
}

bool RemoveLastInstance(Application& app, std::wstring* error) {
  if (!engine::RemoveInstance(app.host, static_cast<int32_t>(app.host.rows.size()) - 1, error)) {
    return false;
  }
  NoteInstanceChange(app);
  return true;
}

void TellMissingChannels(Application& app) {
  const engine::DeviceSession& session = app.engine.session;
  const auto unwired = [&session](const engine::InstanceRow& row) {
    return row.config.inputChannel >= session.numInputs || row.config.outputChannel >= session.numOutputs;
  };
  const auto silent = std::count_if(app.host.rows.begin(), app.host.rows.end(), unwired);
  if (silent > 0) {
    app.log.add(InstanceCaption(static_cast<size_t>(silent)) + L" wired to channels that the device, with " +
                std::to_wstring(session.numInputs) + L" inputs and " + std::to_wstring(session.numOutputs) +
                L" outputs, does not have.");
  }
}

}  // namespace tarnwick::app

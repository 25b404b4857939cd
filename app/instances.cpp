#include "app/instances.h"

#include <algorithm>
#include <string>

namespace tarnwick::app {

void AddWiredInstances(Application& app, int32_t count) {
  std::wstring error;
  for (auto i = static_cast<int32_t>(app.host.rows.size()); i < count; ++i) {
    engine::InstanceRow row;
    row.config.inputChannel = i;
    row.config.outputChannel = i;
    row.name = L"Instance " + std::to_wstring(i + 1);
    if (!engine::AddInstance(app.host, row, &error)) {
      app.log.add(error);
      return;
    }
  }
}

void TellMissingChannels(Application& app) {
  const engine::DeviceSession& session = app.engine.session;
  const auto unwired = [&session](const engine::InstanceRow& row) {
    return row.config.inputChannel >= session.numInputs || row.config.outputChannel >= session.numOutputs;
  };
  const auto silent = std::count_if(app.host.rows.begin(), app.host.rows.end(), unwired);
  if (silent > 0) {
    app.log.add(engine::InstanceCaption(static_cast<size_t>(silent)) + L" wired to channels that the device, with " +
                std::to_wstring(session.numInputs) + L" inputs and " + std::to_wstring(session.numOutputs) +
                L" outputs, does not have.");
  }
}

}  // namespace tarnwick::app

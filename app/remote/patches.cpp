#include "app/remote/patches.h"

#include <utility>

#include "remote/patch_parser.h"

namespace tarnwick::app {
namespace {

std::optional<settings::Value> valueOf(remote::QueryReader& reader, const Setting& setting) {
  switch (setting.form.kind) {
    case settings::Kind::flag:
      return reader.boolean(setting.key);
    case settings::Kind::whole:
    case settings::Kind::priority:
      return reader.integer(setting.key);
    case settings::Kind::number:
      return reader.number(setting.key);
    case settings::Kind::mask:
      return reader.mask(setting.key);
    case settings::Kind::text:
    case settings::Kind::instances:
      return reader.text(setting.key);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<SettingChange>> ReadSettingsPatch(Patch patch, const remote::RemoteSettingsPatch& values) {
  remote::QueryReader reader(values);
  std::vector<SettingChange> changes;
  for (const Setting& setting : Settings()) {
    if (setting.patch == patch) {
      if (auto value = valueOf(reader, setting)) {
        changes.push_back({&setting, std::move(*value)});
      }
    }
  }
  return reader.ok() ? std::optional(std::move(changes)) : std::nullopt;
}

bool ApplyInstancePatch(Application& app, uint32_t index, const remote::RemoteInstancePatch& patch,
                        std::wstring& error) {
  InstanceChange change;
  change.name = patch.name;
  change.inputChannel = patch.inputChannel;
  change.outputChannel = patch.outputChannel;
  change.inputGainDb = patch.inputGainDb;
  change.outputGainDb = patch.outputGainDb;
  change.bypassEnabled = patch.bypassEnabled;
  change.testSignalEnabled = patch.testSignalEnabled;
  change.firstParamPercent = patch.firstParamPercent;
  return ChangeInstance(app, index, change, error);
}

}  // namespace tarnwick::app

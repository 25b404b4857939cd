#include "settings/saved_instances.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "platform/text.h"
#include "text/json_writer.h"

namespace tarnwick::settings {
namespace {

constexpr int32_t kMaximumChannel = 4095;
constexpr int32_t kMinimumGainDb = -60;
constexpr int32_t kMaximumGainDb = 24;
constexpr double kMaximumPercent = 100.0;
constexpr size_t kInstanceBytes = 200;  // of one in the list, about

bool isControl(wchar_t unit) {
  const auto code = static_cast<uint32_t>(unit);
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// To a millionth, which the parser's plain reading of numbers gives back exactly.
double roundedPercent(double percent) {
  constexpr double kSteps = 1e6;
  return std::round(std::clamp(percent, 0.0, kMaximumPercent) * kSteps) / kSteps;
}

const rapidjson::Value* member(const rapidjson::Value& object, const char* name) {
  const auto found = object.FindMember(name);
  return found == object.MemberEnd() ? nullptr : &found->value;
}

void readChannel(const rapidjson::Value* value, int32_t& channel) {
  if (value != nullptr && value->IsInt() && value->GetInt() >= -1 && value->GetInt() <= kMaximumChannel) {
    channel = value->GetInt();
  }
}

void readGain(const rapidjson::Value* value, int32_t& db) {
  if (value != nullptr && value->IsNumber()) {
    db = static_cast<int32_t>(std::clamp<double>(value->GetDouble(), kMinimumGainDb, kMaximumGainDb));
  }
}

void readFlag(const rapidjson::Value* value, bool& flag) {
  if (value != nullptr && value->IsBool()) {
    flag = value->GetBool();
  }
}

void readPercent(const rapidjson::Value* value, SavedInstance& instance) {
  if (value != nullptr && value->IsNumber() && value->GetDouble() >= 0.0 && value->GetDouble() <= kMaximumPercent) {
    instance.firstParamPercent = roundedPercent(value->GetDouble());
    instance.hasSavedFirstParam = true;
  }
}

SavedInstance instanceFrom(const rapidjson::Value& object) {
  SavedInstance instance;
  if (const auto* name = member(object, "name"); name != nullptr && name->IsString()) {
    instance.name = CleanName(platform::WideFromUtf8({name->GetString(), name->GetStringLength()}));
  }
  readChannel(member(object, "inputChannel"), instance.inputChannel);
  readChannel(member(object, "outputChannel"), instance.outputChannel);
  readGain(member(object, "inputGainDb"), instance.inputGainDb);
  readGain(member(object, "outputGainDb"), instance.outputGainDb);
  readFlag(member(object, "bypassEnabled"), instance.bypassEnabled);
  readFlag(member(object, "testSignalEnabled"), instance.testSignalEnabled);
  readPercent(member(object, "firstParamPercent"), instance);
  return instance;
}

void writeInstance(text::JsonWriter& json, const SavedInstance& instance) {
  json.open('{').key("name").string(CleanName(instance.name));
  json.key("inputChannel").integer(std::clamp(instance.inputChannel, -1, kMaximumChannel));
  json.key("outputChannel").integer(std::clamp(instance.outputChannel, -1, kMaximumChannel));
  json.key("inputGainDb").integer(std::clamp(instance.inputGainDb, kMinimumGainDb, kMaximumGainDb));
  json.key("outputGainDb").integer(std::clamp(instance.outputGainDb, kMinimumGainDb, kMaximumGainDb));
  json.key("bypassEnabled").boolean(instance.bypassEnabled);
  json.key("testSignalEnabled").boolean(instance.testSignalEnabled);
  if (instance.hasSavedFirstParam && !std::isnan(instance.firstParamPercent)) {
    json.key("firstParamPercent").number(roundedPercent(instance.firstParamPercent));
  }
  json.close('}');
}

}  // namespace

std::wstring CleanName(std::wstring_view name) {
  std::wstring clean;
  std::copy_if(name.begin(), name.end(), std::back_inserter(clean), [](wchar_t unit) { return !isControl(unit); });
  clean.resize(platform::StartOfCharacter(clean, kMaximumNameLength));
  return clean;
}

std::optional<std::vector<SavedInstance>> InstancesFromText(std::wstring_view text) {
  const std::string json = platform::Utf8FromWide(text);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());  // iterative: nesting costs no stack
  if (document.HasParseError() || !document.IsArray()) {
    return std::nullopt;
  }
  std::vector<SavedInstance> instances;
  for (const rapidjson::Value& element : document.GetArray()) {
    if (element.IsObject() && instances.size() < kMaximumSavedInstances) {
      instances.push_back(instanceFrom(element));
    }
  }
  return instances;
}

std::wstring TextFromInstances(const std::vector<SavedInstance>& instances) {
  const size_t count = std::min(instances.size(), kMaximumSavedInstances);
  text::JsonWriter json(count * kInstanceBytes + 2);
  json.open('[');
  for (size_t k = 0; k < count; ++k) {
    writeInstance(json, instances[k]);
  }
  return platform::WideFromUtf8(json.close(']').take());
}

}  // namespace tarnwick::settings

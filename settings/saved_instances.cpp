#include "settings/saved_instances.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "platform/text.h"
#include "settings/json_text.h"

namespace tarnwick::settings {
namespace {

constexpr int32_t kMaximumChannel = 4095;
constexpr int32_t kMinimumGainDb = -60;
constexpr int32_t kMaximumGainDb = 24;
constexpr double kMaximumPercent = 100.0;

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

void appendInteger(std::string& json, const char* name, int32_t value) {
  json.append(",\"").append(name).append("\":").append(std::to_string(value));
}

void appendFlag(std::string& json, const char* name, bool value) {
  json.append(",\"").append(name).append("\":").append(value ? "true" : "false");
}

void appendInstance(std::string& json, const SavedInstance& instance) {
  json.append("{\"name\":");
  AppendJsonText(json, CleanName(instance.name));
  appendInteger(json, "inputChannel", std::clamp(instance.inputChannel, -1, kMaximumChannel));
  appendInteger(json, "outputChannel", std::clamp(instance.outputChannel, -1, kMaximumChannel));
  appendInteger(json, "inputGainDb", std::clamp(instance.inputGainDb, kMinimumGainDb, kMaximumGainDb));
  appendInteger(json, "outputGainDb", std::clamp(instance.outputGainDb, kMinimumGainDb, kMaximumGainDb));
  appendFlag(json, "bypassEnabled", instance.bypassEnabled);
  appendFlag(json, "testSignalEnabled", instance.testSignalEnabled);
  if (instance.hasSavedFirstParam && !std::isnan(instance.firstParamPercent)) {
    char digits[32];  // three digits, a point and six more
    const double percent = roundedPercent(instance.firstParamPercent);
    const auto end = std::to_chars(digits, std::end(digits), percent, std::chars_format::fixed).ptr;
    json.append(",\"firstParamPercent\":").append(digits, end);
  }
  json.push_back('}');
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
  std::string json = "[";
  for (size_t k = 0; k < std::min(instances.size(), kMaximumSavedInstances); ++k) {
    if (k > 0) {
      json.push_back(',');
    }
    appendInstance(json, instances[k]);
  }
  json.push_back(']');
  return platform::WideFromUtf8(json);
}

}  // namespace tarnwick::settings

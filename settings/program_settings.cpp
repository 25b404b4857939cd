#include "settings/program_settings.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <system_error>

#include "platform/text.h"

namespace tarnwick::settings {
namespace {

constexpr size_t kMaximumText = 32767;
constexpr double kMinimumRate = 1000.0;
constexpr double kMaximumRate = 384000.0;
constexpr int64_t kMaximumPriority = 5;

template <typename T>
struct Field {
  const wchar_t* name;
  std::optional<T> ProgramSettings::*field;
};

constexpr Field<std::wstring> kTexts[] = {
    {L"pluginPath", &ProgramSettings::pluginPath},
    {L"device", &ProgramSettings::device},
};

constexpr Field<bool> kSwitches[] = {
    {L"mmcssProAudio", &ProgramSettings::mmcssProAudio},
    {L"bypassAll", &ProgramSettings::bypassAll},
    {L"testSignalAll", &ProgramSettings::testSignalAll},
    {L"rememberSettings", &ProgramSettings::rememberSettings},
    {L"runAtStartup", &ProgramSettings::runAtStartup},
    {L"autoStartInstances", &ProgramSettings::autoStartInstances},
    {L"autoStartAsio", &ProgramSettings::autoStartAsio},
    {L"scheduleSystemRebootEnabled", &ProgramSettings::scheduleSystemRebootEnabled},
};

struct NumberField : Field<int32_t> {
  int64_t maximum;  // from 0
};

constexpr NumberField kNumbers[] = {
    {{L"bufferSize", &ProgramSettings::bufferSize}, 65536},
    {{L"schedulePcRestartMinutes", &ProgramSettings::schedulePcRestartMinutes}, 1439},
};

constexpr Field<int32_t> kPriorities[] = {
    {L"enginePriority", &ProgramSettings::enginePriority},
    {L"audioPriority", &ProgramSettings::audioPriority},
    {L"uiPriority", &ProgramSettings::uiPriority},
    {L"networkPriority", &ProgramSettings::networkPriority},
};

constexpr const wchar_t* kSampleRate = L"sampleRate";
constexpr const wchar_t* kInstances = L"instances";
constexpr const wchar_t* kMasks[] = {L"cpuSteeringMaskEngine", L"cpuSteeringMaskRecord", L"cpuSteeringMaskPlayback",
                                     L"cpuSteeringMaskNetworkUi", L"cpuSteeringMaskOtherProcesses"};

// The number that the whole text is; nothing when it is none or does not fit the type.
template <typename T>
std::optional<T> numberFrom(const std::wstring& text) {
  const std::string digits = platform::Utf8FromWide(text);
  T number{};
  const char* const end = digits.data() + digits.size();
  const auto read = std::from_chars(digits.data(), end, number);
  return read.ec == std::errc() && read.ptr == end ? std::optional<T>(number) : std::nullopt;
}

template <typename T>
std::optional<T> numberWithin(const std::wstring& text, T minimum, T maximum) {
  const std::optional<T> number = numberFrom<T>(text);
  return number && *number >= minimum && *number <= maximum ? number : std::nullopt;
}

std::optional<int32_t> narrowed(std::optional<int64_t> number) {
  return number ? std::optional<int32_t>(static_cast<int32_t>(*number)) : std::nullopt;
}

std::optional<int32_t> priorityFrom(const std::wstring& text) {
  std::optional<int64_t> index = numberFrom<int64_t>(text);
  if (index) {
    index = std::clamp<int64_t>(*index, 0, kMaximumPriority);
  }
  return narrowed(index);
}

std::optional<bool> switchFrom(const std::wstring& text) {
  return text == L"1" || text == L"0" ? std::optional<bool>(text == L"1") : std::nullopt;
}

std::optional<std::wstring> textFrom(const std::wstring& text) {
  const bool usable = text.size() <= kMaximumText && text.find(L'\0') == std::wstring::npos;
  return usable ? std::optional<std::wstring>(text) : std::nullopt;
}

std::wstring rateText(double rate) {
  char digits[64];  // within the range: six digits, a point and at most 13 more
  const auto end = std::to_chars(digits, std::end(digits), rate, std::chars_format::fixed).ptr;
  return std::wstring(digits, end);
}

}  // namespace

ProgramSettings SettingsFromMap(const SettingsMap& map) {
  ProgramSettings settings;
  const auto read = [&map](const wchar_t* name, auto& field, const auto& parse) {
    const auto entry = map.find(name);
    if (entry != map.end()) {
      field = parse(entry->second);
    }
  };
  for (const auto& text : kTexts) {
    read(text.name, settings.*text.field, textFrom);
  }
  for (const auto& flag : kSwitches) {
    read(flag.name, settings.*flag.field, switchFrom);
  }
  for (const NumberField& number : kNumbers) {
    read(number.name, settings.*number.field,
         [&number](const std::wstring& text) { return narrowed(numberWithin<int64_t>(text, 0, number.maximum)); });
  }
  for (const auto& priority : kPriorities) {
    read(priority.name, settings.*priority.field, priorityFrom);
  }
  for (size_t k = 0; k < settings.cpuSteeringMasks.size(); ++k) {
    read(kMasks[k], settings.cpuSteeringMasks[k], numberFrom<uint64_t>);
  }
  read(kSampleRate, settings.sampleRate,
       [](const std::wstring& text) { return numberWithin(text, kMinimumRate, kMaximumRate); });
  read(kInstances, settings.instances, InstancesFromText);
  return settings;
}

SettingsMap MapFromSettings(const ProgramSettings& settings) {
  SettingsMap map;
  const auto write = [&map](const wchar_t* name, const auto& field, const auto& format) {
    if (field) {
      map.emplace(name, format(*field));
    }
  };
  const auto decimal = [](auto number) { return std::to_wstring(number); };
  for (const auto& text : kTexts) {
    write(text.name, settings.*text.field, [](const std::wstring& value) { return value; });
  }
  for (const auto& flag : kSwitches) {
    write(flag.name, settings.*flag.field, [](bool on) { return on ? L"1" : L"0"; });
  }
  for (const NumberField& number : kNumbers) {
    write(number.name, settings.*number.field, decimal);
  }
  for (const auto& priority : kPriorities) {
    write(priority.name, settings.*priority.field, decimal);
  }
  for (size_t k = 0; k < settings.cpuSteeringMasks.size(); ++k) {
    write(kMasks[k], settings.cpuSteeringMasks[k], decimal);
  }
  if (settings.sampleRate && *settings.sampleRate >= kMinimumRate && *settings.sampleRate <= kMaximumRate) {
    map.emplace(kSampleRate, rateText(*settings.sampleRate));
  }
  write(kInstances, settings.instances, TextFromInstances);
  return map;
}

}  // namespace tarnwick::settings

// The setting "instances": the instance list as a JSON array, in order, with one object per instance:
//   [{"name":"Vocals","inputChannel":0,"outputChannel":1,"inputGainDb":-6,"outputGainDb":0,
//     "bypassEnabled":false,"testSignalEnabled":false,"firstParamPercent":37.5}, ...]
// in one line without blanks. "firstParamPercent" is there only when the first parameter was saved.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnwick::settings {

inline constexpr size_t kMaximumSavedInstances = 127;
inline constexpr size_t kMaximumNameLength = 128;  // characters

struct SavedInstance {
  std::wstring name;           // at most kMaximumNameLength, no control characters
  int32_t inputChannel = -1;   // device input, from 0; -1 = none; at most 4095
  int32_t outputChannel = -1;  // device output
  int32_t inputGainDb = 0;     // whole dB, -60..24
  int32_t outputGainDb = 0;    // whole dB, -60..24
  bool bypassEnabled = false;
  bool testSignalEnabled = false;
  double firstParamPercent = 0.0;  // 0..100, kept to a millionth; 0 without a saved one
  bool hasSavedFirstParam = false;

  bool operator==(const SavedInstance&) const = default;
};

// A name as it may be stored: control characters are dropped and what is too long is cut.
std::wstring CleanName(std::wstring_view name);

// Nothing when the text is no JSON array (a number that no double can hold is not JSON here). A member that is missing,
// of another type or outside its range leaves that field at its default (a gain is clamped, its fraction cut off; a
// name is cleaned); an element that is no object is left out, and so are those beyond the 127th. Takes any text.
std::optional<std::vector<SavedInstance>> InstancesFromText(std::wstring_view text);

// The text that reads back to the same list, for records within the ranges above; others are brought into them. The
// first 127.
std::wstring TextFromInstances(const std::vector<SavedInstance>& instances);

}  // namespace tarnwick::settings

// Particulars of each system's library files.
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace tarnwick::plugin {

using NamedBytes = std::vector<std::pair<std::string, std::string>>;

#ifdef _WIN32

inline constexpr const char* kBundleFolder = "x86_64-win";
inline constexpr const char* kBundleSuffix = ".vst3";

// The system's own loader looks at its files before it uses them.
inline NamedBytes BrokenLibraries(const std::string& /*whole*/) {
  return {};
}

#else

inline constexpr const char* kBundleFolder = "x86_64-linux";
inline constexpr const char* kBundleSuffix = ".so";

// Libraries whose headers promise what is not there, made from a whole one.
inline NamedBytes BrokenLibraries(const std::string& whole) {
  std::string wrongHeader = whole;
  wrongHeader[54] = 1;                             // size of a segment's entry
  std::string noSections = whole.substr(0, 6000);  // ends within the part that is loaded
  std::fill_n(noSections.begin() + 40, 8, '\0');   // no section table, which is legal
  return {{"sections.vst3", noSections}, {"odd.vst3", wrongHeader}};
}

#endif

}  // namespace tarnwick::plugin

// What is particular to each system's library files.
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

// Libraries whose headers promise what is not there, made from a whole one.
inline NamedBytes BrokenLibraries(const std::string& whole) {
  const auto word = [&whole](size_t at, size_t size) {
    size_t value = 0;
    for (size_t k = size; k > 0; --k) {
      value = value << 8 | static_cast<unsigned char>(whole[at + k - 1]);
    }
    return value;
  };
  const auto with = [&whole](size_t at, const std::string& bytes) {
    std::string changed = whole;
    return changed.replace(at, bytes.size(), bytes);
  };
  const size_t header = word(60, 4);
  const size_t sections = header + 24 + word(header + 20, 2);  // the table behind the optional header
  const size_t firstData = word(sections + 20, 4);
  return {{"no_header.vst3", with(60, std::string("\x00\xFF\xFF\x7F", 4))},
          {"i386.vst3", with(header + 4, "\x4C\x01")},
          {"section_start.vst3", with(sections + 20, std::string("\x00\x00\xFF\x7F", 4))},
          {"cut_in_headers.vst3", whole.substr(0, sections + 20)},
          {"cut_in_first.vst3", whole.substr(0, firstData + 512)}};
}

#else

inline constexpr const char* kBundleFolder = "x86_64-linux";
inline constexpr const char* kBundleSuffix = ".so";

inline NamedBytes BrokenLibraries(const std::string& whole) {
  std::string wrongHeader = whole;
  wrongHeader[54] = 1;                             // size of a segment's entry
  std::string noSections = whole.substr(0, 6000);  // ends within the part that is loaded
  std::fill_n(noSections.begin() + 40, 8, '\0');   // no section table, which is legal
  return {{"sections.vst3", noSections}, {"odd.vst3", wrongHeader}};
}

#endif

}  // namespace tarnwick::plugin

// A client's words as values: the parameters of a query, and the patches made of them. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "remote/records.h"
#include "remote/router.h"

namespace tarnwick::remote {

inline constexpr size_t kLongestName = 128;             // characters; the rest is cut off
inline constexpr size_t kLongestText = 4096;            // characters of any other text; a longer one is refused
inline constexpr size_t kLongestPathsBody = 4U << 20U;  // bytes

// Text from outside without its control characters, at most kLongestText characters long; nothing when it is longer.
std::optional<std::wstring> TextFromClient(std::string_view utf8);
// The same cut to kLongestName characters; nothing when it is longer than any text may be.
std::optional<std::wstring> NameFromClient(std::string_view utf8);

// Reads single parameters. Each comes back empty when the query does not have it; when it is there but cannot be read,
// it comes back empty too and ok() is false from then on. Ranges are not looked at.
class QueryReader {
 public:
  explicit QueryReader(const QueryParameters& query) : query_(query) {}

  bool ok() const noexcept { return ok_; }
  bool has(const char* key) const { return query_.count(key) > 0; }

  std::optional<bool> boolean(const char* key);  // "true" or "false"
  std::optional<int32_t> integer(const char* key);
  std::optional<uint64_t> mask(const char* key);  // decimal
  std::optional<double> number(const char* key);  // finite
  // Of any size, for what is brought into a range: beyond what a double holds it counts as the largest, or as 0.
  std::optional<double> anyNumber(const char* key);
  std::optional<std::wstring> name(const char* key);
  std::optional<std::wstring> text(const char* key);
  // The word itself, one of `words`.
  std::optional<std::string> word(const char* key, std::initializer_list<std::string_view> words);

 private:
  template <typename Value, typename Read>
  std::optional<Value> value(const char* key, Read read);

  const QueryParameters& query_;
  bool ok_ = true;
};

// The whole of `digits` as a decimal number; nothing when it is anything else or too large.
std::optional<uint32_t> IndexFromText(std::string_view digits);

// Nothing when a value that is given cannot be read. Other parameters do not matter.
std::optional<RemoteInstancePatch> ParseInstancePatch(const QueryParameters& query);
std::optional<RemoteRecordChannelPatch> ParseRecordChannelPatch(const QueryParameters& query);

// The texts of a body {"paths":[...]}, other members aside; nothing when it is anything else.
std::optional<std::vector<std::wstring>> ParsePaths(std::string_view body);

}  // namespace tarnwick::remote

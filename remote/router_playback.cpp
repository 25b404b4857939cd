#include "remote/router_playback.h"

#include <algorithm>
#include <array>
#include <optional>

#include "remote/patch_parser.h"

namespace tarnwick::remote {
namespace {

using GroupKeys = std::array<const char*, 6>;  // null after the last

// Settings of the player that are applied together.
struct ConfigGroup {
  GroupKeys keys;
  const wchar_t* error;
  bool (*apply)(const RemoteControlCallbacks& callbacks, QueryReader& reader, const GroupKeys& keys);
};

template <auto callback, auto read>
bool applyOne(const RemoteControlCallbacks& callbacks, QueryReader& reader, const GroupKeys& keys) {
  const auto value = (reader.*read)(keys[0]);
  return value && callbacks.*callback && (callbacks.*callback)(*value);
}

bool applyOutputs(const RemoteControlCallbacks& callbacks, QueryReader& reader, const GroupKeys& keys) {
  const auto left = reader.integer(keys[0]);
  const auto right = reader.integer(keys[1]);
  return reader.ok() && callbacks.playbackOutputs && callbacks.playbackOutputs(left, right);
}

bool applyFades(const RemoteControlCallbacks& callbacks, QueryReader& reader, const GroupKeys& keys) {
  std::array<std::optional<int32_t>, 6> indices;
  std::transform(keys.begin(), keys.end(), indices.begin(), [&reader](const char* key) { return reader.integer(key); });
  return reader.ok() && callbacks.playbackFades && callbacks.playbackFades(indices);
}

// In the order in which they are applied.
constexpr ConfigGroup kConfigGroups[] = {
    {{"playMode"}, L"playback config rejected", applyOne<&RemoteControlCallbacks::playMode, &QueryReader::integer>},
    {{"volumeDbTenths"},
     L"playback volume rejected",
     applyOne<&RemoteControlCallbacks::playbackVolume, &QueryReader::integer>},
    {{"normalizeEnabled"},
     L"playback normalize rejected",
     applyOne<&RemoteControlCallbacks::playbackNormalize, &QueryReader::boolean>},
    {{"waveformEnabled"},
     L"playback waveform rejected",
     applyOne<&RemoteControlCallbacks::playbackWaveform, &QueryReader::boolean>},
    {{"leftOutputChannel", "rightOutputChannel"}, L"playback outputs rejected", applyOutputs},
    {{"fadePlayInIndex", "fadePauseOutIndex", "fadeStopOutIndex", "fadeChangeInIndex", "fadeChangeOutIndex",
      "fadeChangeCrossIndex"},
     L"playback fade rejected",
     applyFades},
};

bool isGiven(const ConfigGroup& group, const QueryReader& reader) {
  return std::any_of(group.keys.begin(), group.keys.end(),
                     [&reader](const char* key) { return key != nullptr && reader.has(key); });
}

}  // namespace

ApiAnswer AnswerAddPath(const Call& call) {
  const auto& add = call.callbacks().addPath;
  const auto path = QueryReader(call.request.query).text("path");
  std::wstring error;
  return AcceptedIf(path && add && add(*path, error), call, error);
}

ApiAnswer AnswerAddPaths(const Call& call) {
  const auto& add = call.callbacks().addPaths;
  const auto paths = ParsePaths(call.request.body);
  std::wstring error;
  return AcceptedIf(paths && add && add(*paths, error), call, error);
}

// A group that cannot be read is rejected at its turn, like one that the player rejects: those before it stay applied.
ApiAnswer AnswerPlaybackConfig(const Call& call) {
  bool any = false;
  for (const ConfigGroup& group : kConfigGroups) {
    QueryReader reader(call.request.query);
    if (!isGiven(group, reader)) {
      continue;
    }
    any = true;
    if (!group.apply(call.callbacks(), reader, group.keys)) {
      return Refused(call, group.error);
    }
  }
  return AcceptedIf(any, call);
}

ApiAnswer AnswerPlaybackTab(const Call& call) {
  const auto& apply = call.callbacks().playbackTab;
  QueryReader reader(call.request.query);
  const auto action = reader.word("action", {"switch", "reorder", "insert", "add", "remove", "rename"});
  const auto tab = reader.integer("tab");
  const auto name = reader.name("name");
  return AcceptedIf(reader.ok() && action && apply && apply(*action, tab.value_or(-1), name.value_or(std::wstring())),
                    call);
}

ApiAnswer AnswerPlaybackItem(const Call& call) {
  const auto& apply = call.callbacks().playbackItem;
  QueryReader reader(call.request.query);
  RemoteItemAction item;
  item.action = reader
                    .word("action", {"select", "execute", "move-top", "move-up", "move-down", "move-bottom", "reorder",
                                     "insert", "remove"})
                    .value_or("");
  item.tab = reader.integer("tab").value_or(-1);
  item.item = reader.integer("item").value_or(-1);
  item.mode = reader.word("mode", {"single", "toggle", "range"}).value_or("");
  item.preserve = reader.boolean("preserve").value_or(false);
  std::wstring error;
  return AcceptedIf(reader.ok() && !item.action.empty() && apply && apply(item, error), call, error);
}

ApiAnswer AnswerPlaybackSeek(const Call& call) {
  const auto& seek = call.callbacks().playbackSeek;
  const auto position = QueryReader(call.request.query).number("position");
  RemoteSeek reached;
  std::wstring error;
  const bool done = position && seek && seek(*position, reached, error);
  if (done && call.context.broadcast) {
    call.context.broadcast(SeekMessage(reached));
  }
  return AcceptedIf(done, call, error);
}

ApiAnswer AnswerPlaybackControl(const Call& call) {
  const auto& control = call.callbacks().playbackControl;
  const auto action = QueryReader(call.request.query).word("action", {"play", "pause", "stop", "prev", "next"});
  std::wstring error;
  return AcceptedIf(action && control && control(*action, error), call, error);
}

}  // namespace tarnwick::remote

#include "remote/documents.h"

#include <array>

#include "remote/documents_media.h"
#include "remote/documents_status.h"

namespace tarnwick::remote {
namespace {

constexpr size_t kSmallBytes = 128;
constexpr size_t kMeterBytes = 72;
constexpr size_t kFileEntryBytes = 96;

// Opens a message to the pages.
void openMessage(text::JsonWriter& json, std::string_view type) {
  json.open('{').key("type").string(type);
}

}  // namespace

std::string StatusDocument(const RemoteStatusSnapshot& status) {
  text::JsonWriter json(StatusBytes(status));
  json.open('{');
  WriteStatusMembers(json, status);
  return json.close('}').take();
}

std::string RecordDocument(const RemoteRecordSnapshot& record) {
  text::JsonWriter json(RecordBytes(record));
  WriteRecord(json, record);
  return json.take();
}

std::string PlaybackDocument(const RemotePlaybackSnapshot& playback) {
  text::JsonWriter json(PlaybackBytes(playback));
  WritePlayback(json, playback);
  return json.take();
}

std::string GrantsDocument(const RemoteGrants& grants) {
  constexpr std::array<const char*, 4> kThreadGroups{"engine", "record", "playback", "networkUi"};
  text::JsonWriter json(4 * kSmallBytes + grants.priorities.size() * kSmallBytes);
  json.open('{').key("processRefused").boolean(grants.processRefused);
  for (size_t k = 0; k < kThreadGroups.size(); ++k) {
    json.key(kThreadGroups[k]).open('{').key("running").string(grants.groups[k].running);
    json.key("refused").boolean(grants.groups[k].refused).close('}');
  }
  json.key("priorities").open('[');
  for (const RemotePriorityGrant& priority : grants.priorities) {
    json.open('{').key("work").string(priority.work).key("asked").string(priority.asked);
    json.key("granted").string(priority.granted).key("met").boolean(priority.met).close('}');
  }
  return json.close(']').close('}').take();
}

std::string XrunsDocument(const RemoteXruns& xruns) {
  text::JsonWriter json(kSmallBytes);
  return json.open('{').key("count").natural(xruns.count).key("last").string(xruns.last).close('}').take();
}

std::string FileListDocument(const std::wstring& path, const std::vector<RemotePlaybackFileEntry>& entries) {
  text::JsonWriter json(kSmallBytes + entries.size() * kFileEntryBytes);
  json.open('{').key("path").string(path).key("entries").open('[');
  for (const RemotePlaybackFileEntry& entry : entries) {
    json.open('{').key("name").string(entry.name);
    json.key("isDirectory").boolean(entry.isDirectory);
    json.key("isDrive").boolean(entry.isDrive).close('}');
  }
  return json.close(']').close('}').take();
}

std::string ErrorDocument(std::wstring_view text) {
  return text::JsonWriter(kSmallBytes).open('{').key("error").string(text).close('}').take();
}

std::string ErrorDocument(std::string_view utf8) {
  return text::JsonWriter(kSmallBytes).open('{').member("error", utf8).close('}').take();
}

std::string AcceptedDocument(std::string_view action) {
  return text::JsonWriter(kSmallBytes)
      .open('{')
      .key("accepted")
      .boolean(true)
      .member("action", action)
      .close('}')
      .take();
}

std::string MonitorMessage(const RemoteStatusSnapshot& status, const RemoteRecordSnapshot* record,
                           const RemotePlaybackSnapshot* playback) {
  text::JsonWriter json(StatusBytes(status) + (record != nullptr ? RecordBytes(*record) : 0) +
                        (playback != nullptr ? PlaybackBytes(*playback) : 0));
  openMessage(json, "monitor");
  WriteStatusMembers(json, status);
  if (record != nullptr) {
    WriteRecord(json.key("record"), *record);
  }
  if (playback != nullptr) {
    WritePlayback(json.key("playback"), *playback);
  }
  return json.close('}').take();
}

std::string MetersMessage(const RemoteStatusSnapshot& status) {
  text::JsonWriter json(kSmallBytes + status.instances.size() * kMeterBytes);
  openMessage(json, "meters");
  json.key("instanceCount").natural(status.instances.size()).key("instances").open('[');
  for (size_t k = 0; k < status.instances.size(); ++k) {
    const RemoteInstance& instance = status.instances[k];
    json.open('{').key("index").natural(k);
    json.key("inputMeterDb").decibels(instance.inputMeterDb);
    json.key("outputMeterDb").decibels(instance.outputMeterDb).close('}');
  }
  return json.close(']').close('}').take();
}

std::string SeekMessage(const RemoteSeek& seek) {
  text::JsonWriter json(kSmallBytes + seek.path.size());
  openMessage(json, "playback-seek");
  json.key("path").string(seek.path);
  json.key("currentSeconds").seconds(seek.currentSeconds);
  json.key("totalSeconds").seconds(seek.totalSeconds);
  return json.close('}').take();
}

std::string NoticeMessage(std::string_view action, std::wstring_view text) {
  text::JsonWriter json(kSmallBytes + text.size());
  openMessage(json, "notice");
  return json.key("action").string(action).key("text").string(text).close('}').take();
}

}  // namespace tarnwick::remote

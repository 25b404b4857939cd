#include "remote/documents_media.h"

namespace tarnwick::remote {
namespace {

constexpr size_t kMediaBytes = 1024;
constexpr size_t kChannelBytes = 128;
constexpr size_t kItemBytes = 320;
constexpr size_t kPeakBytes = 8;

void writeChannels(text::JsonWriter& json, const std::vector<RemoteRecordChannel>& channels) {
  json.open('[');
  for (const RemoteRecordChannel& channel : channels) {
    json.open('{');
    json.key("channelIndex").integer(channel.channelIndex);
    json.key("asioName").string(channel.asioName);
    json.key("recordName").string(channel.recordName);
    json.key("enabled").boolean(channel.enabled);
    json.close('}');
  }
  json.close(']');
}

void writePlaylist(text::JsonWriter& json, const RemotePlaylist& playlist) {
  json.open('{');
  json.key("name").string(playlist.name);
  json.key("selectedIndex").integer(playlist.selectedIndex);
  json.key("currentIndex").integer(playlist.currentIndex);
  json.key("items").open('[');
  for (const RemotePlaylistItem& item : playlist.items) {
    json.open('{');
    json.key("path").string(item.path);
    json.key("filename").string(item.filename);
    json.key("lengthText").string(item.lengthText);
    json.key("gainText").string(item.gainText);
    json.key("selected").boolean(item.selected);
    json.key("current").boolean(item.current);
    json.key("missing").boolean(item.missing);
    json.close('}');
  }
  json.close(']').close('}');
}

}  // namespace

void WriteRecord(text::JsonWriter& json, const RemoteRecordSnapshot& record) {
  json.open('{');
  json.key("windowOpen").boolean(record.windowOpen);
  json.key("recordRunning").boolean(record.recordRunning);
  json.key("recordClockSyncId").natural(record.recordClockSyncId);
  json.key("recordElapsedSeconds").seconds(record.recordElapsedSeconds);
  json.key("recordingFolder").string(record.recordingFolder);
  json.key("inputChannels");
  writeChannels(json, record.inputChannels);
  json.key("outputChannels");
  writeChannels(json, record.outputChannels);
  json.close('}');
}

size_t RecordBytes(const RemoteRecordSnapshot& record) {
  return kMediaBytes + (record.inputChannels.size() + record.outputChannels.size()) * kChannelBytes;
}

void WritePlayback(text::JsonWriter& json, const RemotePlaybackSnapshot& playback) {
  json.open('{');
  json.key("windowOpen").boolean(playback.windowOpen);
  json.key("loaded").boolean(playback.loaded);
  json.key("playing").boolean(playback.playing);
  json.key("paused").boolean(playback.paused);
  json.key("normalizeEnabled").boolean(playback.normalizeEnabled);
  json.key("waveformEnabled").boolean(playback.waveformEnabled);
  json.key("playMode").integer(playback.playMode);
  json.key("volumeDbTenths").integer(playback.volumeDbTenths);
  json.key("leftOutputChannel").integer(playback.leftOutputChannel);
  json.key("rightOutputChannel").integer(playback.rightOutputChannel);
  json.key("outputChannelCount").integer(playback.outputChannelCount);
  json.key("fadePlayInIndex").integer(playback.fades.playIn);
  json.key("fadePauseOutIndex").integer(playback.fades.pauseOut);
  json.key("fadeStopOutIndex").integer(playback.fades.stopOut);
  json.key("fadeChangeInIndex").integer(playback.fades.changeIn);
  json.key("fadeChangeOutIndex").integer(playback.fades.changeOut);
  json.key("fadeChangeCrossIndex").integer(playback.fades.changeCross);
  json.key("activePlaylistTabIndex").integer(playback.activePlaylistTabIndex);
  json.key("currentSeconds").seconds(playback.position.currentSeconds);
  json.key("totalSeconds").seconds(playback.position.totalSeconds);
  json.key("playbackProgress").fraction(playback.position.playbackProgress);
  json.key("currentLengthText").string(playback.currentLengthText);
  json.key("selectedWaveformPath").string(playback.selectedWaveformPath);
  json.key("selectedWaveformOverview").open('[');
  for (const float peak : playback.selectedWaveformOverview) {
    json.fraction(peak);
  }
  json.close(']').key("playlists").open('[');
  for (const RemotePlaylist& playlist : playback.playlists) {
    writePlaylist(json, playlist);
  }
  json.close(']').close('}');
}

size_t PlaybackBytes(const RemotePlaybackSnapshot& playback) {
  size_t bytes = kMediaBytes + playback.selectedWaveformOverview.size() * kPeakBytes;
  for (const RemotePlaylist& playlist : playback.playlists) {
    bytes += kMediaBytes + playlist.items.size() * kItemBytes;
  }
  return bytes;
}

}  // namespace tarnwick::remote

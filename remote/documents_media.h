// The sections of recorder and player, each with a guess at its length, to reserve once.
#pragma once

#include <cstddef>

#include "remote/records.h"
#include "text/json_writer.h"

namespace tarnwick::remote {

void WriteRecord(text::JsonWriter& json, const RemoteRecordSnapshot& record);
size_t RecordBytes(const RemoteRecordSnapshot& record);

void WritePlayback(text::JsonWriter& json, const RemotePlaybackSnapshot& playback);
size_t PlaybackBytes(const RemotePlaybackSnapshot& playback);

}  // namespace tarnwick::remote

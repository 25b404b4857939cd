// The parts that the documents are put together from. Each has a guess of its size in bytes, to reserve once.
#pragma once

#include "remote/json_writer.h"
#include "remote/records.h"

namespace tarnwick::remote {

// The members of the status document, without its brackets.
void WriteStatusMembers(JsonWriter& json, const RemoteStatusSnapshot& status);
size_t StatusBytes(const RemoteStatusSnapshot& status);

void WriteRecord(JsonWriter& json, const RemoteRecordSnapshot& record);
size_t RecordBytes(const RemoteRecordSnapshot& record);

void WritePlayback(JsonWriter& json, const RemotePlaybackSnapshot& playback);
size_t PlaybackBytes(const RemotePlaybackSnapshot& playback);

}  // namespace tarnwick::remote

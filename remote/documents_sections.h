// The parts that the documents are put together from. Each has a guess of its size in bytes, to reserve once.
#pragma once

#include "remote/records.h"
#include "text/json_writer.h"

namespace tarnwick::remote {

// The members of the status document, without its brackets.
void WriteStatusMembers(text::JsonWriter& json, const RemoteStatusSnapshot& status);
size_t StatusBytes(const RemoteStatusSnapshot& status);

void WriteRecord(text::JsonWriter& json, const RemoteRecordSnapshot& record);
size_t RecordBytes(const RemoteRecordSnapshot& record);

void WritePlayback(text::JsonWriter& json, const RemotePlaybackSnapshot& playback);
size_t PlaybackBytes(const RemotePlaybackSnapshot& playback);

}  // namespace tarnwick::remote

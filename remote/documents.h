// The JSON documents that the server sends: UTF-8, members in a fixed order, no blanks. Levels in dB have two decimals,
// percentages one, seconds three; a number that is not finite is written as 0.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "remote/callbacks.h"

namespace tarnwick::remote {

std::string StatusDocument(const RemoteStatusSnapshot& status);
std::string RecordDocument(const RemoteRecordSnapshot& record);
std::string PlaybackDocument(const RemotePlaybackSnapshot& playback);
std::string GrantsDocument(const RemoteGrants& grants);
std::string XrunsDocument(const RemoteXruns& xruns);
std::string FileListDocument(const std::wstring& path, const std::vector<RemotePlaybackFileEntry>& entries);

// {"error":TEXT}
std::string ErrorDocument(std::wstring_view text);
std::string ErrorDocument(std::string_view utf8);
// {"accepted":true,"action":ACTION}
std::string AcceptedDocument(std::string_view action);

// Messages to WebSocket clients. Null sections are left out of a monitor message.
std::string MonitorMessage(const RemoteStatusSnapshot& status, const RemoteRecordSnapshot* record,
                           const RemotePlaybackSnapshot* playback);
std::string MetersMessage(const RemoteStatusSnapshot& status);
std::string SeekMessage(const RemoteSeek& seek);
// Says why an action that was accepted has failed after all; `action` as in its answer ("start").
std::string NoticeMessage(std::string_view action, std::wstring_view text);

}  // namespace tarnwick::remote

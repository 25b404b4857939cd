#include "remote/router.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "remote/patch_parser.h"
#include "remote/router_playback.h"
#include "text/json_writer.h"

namespace tarnwick::remote {
namespace {

using Callbacks = RemoteControlCallbacks;

// Rows of the device list while it has no device to select.
constexpr std::wstring_view kDevicePlaceholders[] = {L"(No ASIO drivers found)", L"(ASIO SDK not configured)",
                                                     L"(No online ASIO devices)"};
constexpr const wchar_t* kNoDevice = L"Please select an ASIO device or check the device power/cable connection.";

constexpr std::string_view kInstancePrefix = "/api/instances/";
constexpr std::string_view kInstanceSuffix = "/config";

ApiAnswer unavailable(const Call& call) {
  return {kUnavailable, ErrorDocument(call.route.error)};
}

ApiAnswer health(const Call& call) {
  text::JsonWriter json(64);
  json.open('{').member("status", "ok").member("service", "Tarnwick").key("port").natural(call.context.port);
  return {kOk, json.close('}').take()};
}

ApiAnswer status(const Call& call) {
  RemoteStatusSnapshot snapshot;
  if (!call.callbacks().status || !call.callbacks().status(snapshot)) {
    return unavailable(call);
  }
  if (call.context.addUsage) {
    call.context.addUsage(snapshot);
  }
  return {kOk, StatusDocument(snapshot)};
}

template <auto callback, typename Snapshot, std::string (*document)(const Snapshot&)>
ApiAnswer snapshotOf(const Call& call) {
  Snapshot snapshot;
  const auto& fill = call.callbacks().*callback;
  return fill && fill(snapshot) ? ApiAnswer{kOk, document(snapshot)} : unavailable(call);
}

ApiAnswer grants(const Call& call) {
  RemoteGrants granted;
  if (!call.callbacks().grants || !call.callbacks().grants(granted)) {
    return unavailable(call);
  }
  if (call.context.addGrants) {
    call.context.addGrants(granted);
  }
  return {kOk, GrantsDocument(granted)};
}

template <auto callback>
ApiAnswer fileList(const Call& call) {
  QueryReader reader(call.request.query);
  const std::wstring path = reader.text("path").value_or(L"");
  const auto& list = call.callbacks().*callback;
  Callbacks::FileEntries entries;
  std::wstring resolved;
  std::wstring error;
  if (!reader.ok() || !list || !list(path, entries, resolved, error)) {
    return Refused(call, error);
  }
  return {kOk, FileListDocument(resolved, entries)};
}

ApiAnswer search(const Call& call) {
  QueryReader reader(call.request.query);
  const std::wstring root = reader.text("root").value_or(L"");
  const std::wstring words = reader.text("q").value_or(L"");
  const auto& find = call.callbacks().playbackSearch;
  Callbacks::FileEntries entries;
  std::wstring error;  // a search says the same whatever went wrong
  if (!reader.ok() || !find || !find(root, words, entries, error)) {
    return Refused(call);
  }
  return {kOk, FileListDocument(root, entries)};
}

// An action without an error of its own: accepted whatever becomes of it, unless nobody takes it over.
template <auto callback>
ApiAnswer action(const Call& call) {
  const auto& act = call.callbacks().*callback;
  return !act || act() ? Accepted(call) : ApiAnswer{kUnavailable, ErrorDocument(L"action unavailable")};
}

template <auto callback>
ApiAnswer actionWithError(const Call& call) {
  const auto& act = call.callbacks().*callback;
  std::wstring error;
  return AcceptedIf(act && act(error), call, error);
}

ApiAnswer startAsio(const Call& call) {
  RemoteStatusSnapshot snapshot;
  if (!call.callbacks().status || !call.callbacks().status(snapshot)) {
    return unavailable(call);
  }
  const bool placeholder = std::find(std::begin(kDevicePlaceholders), std::end(kDevicePlaceholders), snapshot.device) !=
                           std::end(kDevicePlaceholders);
  return placeholder ? Refused(call, kNoDevice) : action<&Callbacks::startAsio>(call);
}

template <auto callback>
ApiAnswer settingsPatch(const Call& call) {
  const auto& apply = call.callbacks().*callback;
  return AcceptedIf(apply && apply(call.request.query), call);
}

ApiAnswer recordConfig(const Call& call) {
  QueryReader reader(call.request.query);
  if (!reader.has("isInput") || !reader.has("channelIndex")) {
    return Refused(call, L"record config missing params");
  }
  const auto isInput = reader.boolean("isInput");
  const auto channel = reader.integer("channelIndex");
  const auto parsed = ParseRecordChannelPatch(call.request.query);
  const auto& apply = call.callbacks().recordChannel;
  return AcceptedIf(reader.ok() && parsed && apply && apply(*isInput, *channel, *parsed), call);
}

constexpr Route kRoutes[] = {
    {"GET", "/healthz", "", L"", health},
    {"GET", "/api/status", "", L"snapshot unavailable", status},
    {"GET", "/api/playback/status", "", L"playback snapshot unavailable",
     snapshotOf<&Callbacks::playback, RemotePlaybackSnapshot, PlaybackDocument>},
    {"GET", "/api/record/status", "", L"record snapshot unavailable",
     snapshotOf<&Callbacks::record, RemoteRecordSnapshot, RecordDocument>},
    {"GET", "/api/cpu-steering/granted", "", L"grants unavailable", grants},
    {"GET", "/api/device/xruns", "", L"xruns unavailable", snapshotOf<&Callbacks::xruns, RemoteXruns, XrunsDocument>},
    {"GET", "/api/playback/files", "", L"playback file list failed", fileList<&Callbacks::playbackFiles>},
    {"GET", "/api/plugin/files", "", L"plugin file list failed", fileList<&Callbacks::pluginFiles>},
    {"GET", "/api/playback/search", "", L"playback search failed", search},

    {"POST", "/api/host/start", "start", L"host start failed", actionWithError<&Callbacks::startHost>},
    {"POST", "/api/host/stop", "stop", L"", action<&Callbacks::stopHost>},
    {"POST", "/api/asio/start", "asio-start", L"snapshot unavailable", startAsio},
    {"POST", "/api/asio/refresh", "asio-refresh", L"", action<&Callbacks::refreshAsio>},
    {"POST", "/api/asio/stop", "asio-stop", L"asio stop failed", actionWithError<&Callbacks::stopAsio>},
    {"POST", "/api/system/reboot", "system-reboot", L"", action<&Callbacks::reboot>},
    {"POST", "/api/system/shutdown", "system-shutdown", L"", action<&Callbacks::shutdown>},
    {"POST", "/api/cpu-steering/open", "cpu-steering-open", L"", action<&Callbacks::openCpuSteering>},
    {"POST", "/api/record/open", "record-open", L"", action<&Callbacks::openRecord>},
    {"POST", "/api/playback/open", "playback-open", L"", action<&Callbacks::openPlayback>},
    {"POST", "/api/instances/add", "add-instance", L"", action<&Callbacks::addInstance>},
    {"POST", "/api/instances/remove-last", "remove-last-instance", L"", action<&Callbacks::removeLastInstance>},
    {"POST", "/api/bypass-all/toggle", "bypass-all-toggle", L"", action<&Callbacks::toggleBypassAll>},
    {"POST", "/api/test-signal-all/toggle", "test-signal-all-toggle", L"", action<&Callbacks::toggleTestSignalAll>},
    {"POST", "/api/record/toggle", "record-toggle", L"record toggle failed", actionWithError<&Callbacks::toggleRecord>},

    {"POST", "/api/host/config", "host-config-patch", L"host config patch rejected",
     settingsPatch<&Callbacks::hostConfig>},
    {"POST", "/api/cpu-steering/config", "cpu-steering-patch", L"cpu steering patch rejected",
     settingsPatch<&Callbacks::cpuSteering>},
    {"POST", "/api/audio/config", "audio-config-patch", L"audio config patch rejected",
     settingsPatch<&Callbacks::audioConfig>},
    {"POST", "/api/record/config", "record-config", L"record config failed", recordConfig},

    {"POST", "/api/playback/add-path", "playback-add-path", L"playback add path failed", AnswerAddPath},
    {"POST", "/api/playback/add-paths", "playback-add-paths", L"playback add paths failed", AnswerAddPaths},
    {"POST", "/api/playback/config", "playback-config", L"playback config empty", AnswerPlaybackConfig},
    {"POST", "/api/playback/tab", "playback-tab", L"playback tab action failed", AnswerPlaybackTab},
    {"POST", "/api/playback/item", "playback-item", L"playback item action failed", AnswerPlaybackItem},
    {"POST", "/api/playback/seek", "playback-seek", L"playback seek failed", AnswerPlaybackSeek},
    {"POST", "/api/playback/control", "playback-control", L"playback control failed", AnswerPlaybackControl},
};

// The digits between "/api/instances/" and "/config"; nothing when the path is not of that form.
std::optional<std::string_view> instanceDigits(std::string_view path) {
  if (path.size() <= kInstancePrefix.size() + kInstanceSuffix.size() || !path.starts_with(kInstancePrefix) ||
      !path.ends_with(kInstanceSuffix)) {
    return std::nullopt;
  }
  path.remove_prefix(kInstancePrefix.size());
  path.remove_suffix(kInstanceSuffix.size());
  const bool digits = std::all_of(path.begin(), path.end(), [](char c) { return c >= '0' && c <= '9'; });
  return digits ? std::optional(path) : std::nullopt;
}

// An index that no number holds is rejected like any other that no instance has.
ApiAnswer patchInstance(const Call& call) {
  const auto index = IndexFromText(*instanceDigits(call.request.path));
  const auto parsed = ParseInstancePatch(call.request.query);
  const auto& apply = call.callbacks().instance;
  if (!index || !parsed || !apply || !apply(*index, *parsed)) {
    return Refused(call);
  }
  return {kAccepted, text::JsonWriter(64)
                         .open('{')
                         .key("accepted")
                         .boolean(true)
                         .key("action")
                         .string(call.route.action)
                         .key("index")
                         .natural(*index)
                         .close('}')
                         .take()};
}

constexpr Route kInstanceRoute{"POST", kInstancePrefix, "patch-instance", L"instance patch rejected", patchInstance};

const Route* findRoute(const ApiRequest& request) {
  const auto* found = std::find_if(std::begin(kRoutes), std::end(kRoutes), [&request](const Route& route) {
    return route.path == request.path && route.method == request.method;
  });
  if (found != std::end(kRoutes)) {
    return found;
  }
  return request.method == kInstanceRoute.method && instanceDigits(request.path) ? &kInstanceRoute : nullptr;
}

}  // namespace

ApiAnswer RouteApiRequest(const RouterContext& context, const ApiRequest& request) {
  try {
    if (request.method != "GET" && request.method != "POST") {
      return {kMethodNotAllowed, ErrorDocument(L"method not allowed")};
    }
    const Route* route = findRoute(request);
    if (route == nullptr) {
      return {kNotFound, ErrorDocument(L"not found")};
    }
    return route->answer({context, request, *route});
  } catch (...) {
    return {};  // internal error
  }
}

}  // namespace tarnwick::remote

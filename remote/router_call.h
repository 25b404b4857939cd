// The parts of a route: a row of the table, a request that met it, and the answers that all routes give alike.
#pragma once

#include <string>
#include <string_view>

#include "remote/documents.h"
#include "remote/router.h"

namespace tarnwick::remote {

struct Call;

struct Route {
  std::string_view method;
  std::string_view path;
  std::string_view action;  // of the answer to an accepted action
  const wchar_t* error;     // the route's own words for a refusal; empty where it has none
  ApiAnswer (*answer)(const Call& call);
};

struct Call {
  const RouterContext& context;
  const ApiRequest& request;
  const Route& route;

  const RemoteControlCallbacks& callbacks() const { return context.callbacks; }
};

inline constexpr int kOk = 200;
inline constexpr int kAccepted = 202;
inline constexpr int kRefused = 400;
inline constexpr int kNotFound = 404;
inline constexpr int kMethodNotAllowed = 405;
inline constexpr int kUnavailable = 503;

inline ApiAnswer Accepted(const Call& call) {
  return {kAccepted, AcceptedDocument(call.route.action)};
}

// With the reason that a callback gave, or the route's own words when it gave none.
inline ApiAnswer Refused(const Call& call, std::wstring_view reason = {}) {
  return {kRefused, ErrorDocument(reason.empty() ? call.route.error : reason)};
}

// The reason is a reference because a callback may fill it while the first argument is worked out.
inline ApiAnswer AcceptedIf(bool accepted, const Call& call, const std::wstring& reason = {}) {
  return accepted ? Accepted(call) : Refused(call, reason);
}

}  // namespace tarnwick::remote

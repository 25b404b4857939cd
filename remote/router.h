// The API: a method, a path, its parameters and a body become a status code and a JSON document.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "remote/callbacks.h"

namespace tarnwick::remote {

// Decoded parameters of a query, in UTF-8 as far as the client sent that.
using QueryParameters = std::map<std::string, std::string>;

struct ApiRequest {
  std::string_view method;
  std::string_view path;
  const QueryParameters& query;
  std::string_view body;
};

struct ApiAnswer {
  int status = 500;
  std::string body = "{\"error\":\"internal error\"}";
};

// The router's needs besides the callbacks.
struct RouterContext {
  const RemoteControlCallbacks& callbacks;
  uint16_t port = 0;                                    // told by "/healthz"
  std::function<void(RemoteStatusSnapshot&)> addUsage;  // processor usage, which the status callback does not know
  std::function<void(const std::string&)> broadcast;    // one text message to all WebSocket clients
  std::function<void(RemoteGrants&)> addGrants{};       // the server's own threads
};

// Answers one request. Any thread, several at once; no exception leaves it. Waits as long as the callback does.
ApiAnswer RouteApiRequest(const RouterContext& context, const ApiRequest& request);

}  // namespace tarnwick::remote

#include "remote/server_http.h"

#include "platform/socket.h"
#include "platform/text.h"
#include "remote/documents.h"
#include "remote/http_connection.h"
#include "remote/http_head.h"
#include "remote/http_origin.h"
#include "remote/http_query.h"
#include "remote/http_response.h"
#include "remote/pages.h"
#include "remote/server_sessions.h"
#include "remote/websocket_handshake.h"

namespace tarnwick::remote {
namespace {

struct HttpAnswer {
  int status = 500;
  std::string_view type = kJsonType;
  std::string body;
};

HttpAnswer errorAnswer(int status, std::string_view text) {
  return {status, kJsonType, ErrorDocument(text)};
}

std::vector<std::string> namesOf(const ServerContext& context) {
  std::vector<std::string> names;
  for (const std::wstring& name : context.machineNames()) {
    names.push_back(platform::Utf8FromWide(name));
  }
  return names;
}

HttpAnswer answerRequest(ServerState& server, const HttpRequestHead& head, const SplitTarget& target) {
  if (head.method == "GET") {
    if (const std::string_view page = PageFor(target.path); !page.empty()) {
      return {200, kHtmlType, std::string(page)};
    }
    if (target.path == "/favicon.ico") {
      const std::string_view icon = ProgramIcon();
      return icon.empty() ? errorAnswer(404, "not found") : HttpAnswer{200, kIconType, std::string(icon)};
    }
  }
  ApiAnswer answer = RouteApiRequest(server.router, {head.method, target.path, target.query, {}});
  return {answer.status, kJsonType, std::move(answer.body)};
}

// Why the request may be a foreign page's; empty when it is not. A page could fill the head until its origin is cut
// off, so a cut head counts as foreign.
std::string foreignRefusal(const ServerState& server, const HttpRequestHead& head, const SplitTarget& target) {
  if (!NeedsOwnOrigin(head.method, target.path)) {
    return {};
  }
  if (!HasAllFields(head.raw)) {
    return "The request's head is longer than " + std::to_string(kMostHeadBytes) +
           " bytes, so it cannot be told which page it came from.";
  }
  return OriginRefusal(HeaderField(head.raw, "Host"), HeaderField(head.raw, "Origin"),
                       [&server] { return namesOf(server.context); });
}

// Why the connection cannot become a WebSocket one; nothing when it can.
std::optional<HttpAnswer> refuseUpgrade(ServerState& server, const std::string& raw) {
  if (!FieldContains(raw, "Connection", "upgrade") || !FieldContains(raw, "Upgrade", "websocket")) {
    return errorAnswer(400, "websocket upgrade required");
  }
  if (HeaderField(raw, "Sec-WebSocket-Key").value_or("").empty()) {
    return errorAnswer(400, "invalid websocket handshake");
  }
  if (SessionsFull(server)) {
    return errorAnswer(503, "too many clients");
  }
  return std::nullopt;
}

}  // namespace

void HandleConnection(ServerState& server, platform::Socket socket) {
  if (!socket.setBlocking(false)) {
    return;
  }
  std::optional<std::string> received = ReceiveHead(socket, server.running, server.context.limits);
  if (!received) {
    return;
  }
  const auto answer = [&](const HttpAnswer& given, std::string_view raw) {
    SendAnswer(socket, BuildHttpResponse(HttpStatusText(given.status), given.type, given.body), raw, server.running,
               server.context.limits);
  };
  const std::optional<HttpRequestHead> head = ParseRequestHead(*received);
  if (!head) {
    answer(errorAnswer(400, "invalid request"), *received);
    return;
  }
  const SplitTarget target = ParseTarget(head->target);
  if (const std::string foreign = foreignRefusal(server, *head, target); !foreign.empty()) {
    answer(errorAnswer(403, foreign), head->raw);
  } else if (head->method != "GET" || target.path != "/ws") {
    answer(answerRequest(server, *head, target), head->raw);
  } else if (const std::optional<HttpAnswer> refusal = refuseUpgrade(server, head->raw)) {
    answer(*refusal, head->raw);
  } else {
    StartSession(server, std::move(socket), HandshakeAnswer(*HeaderField(head->raw, "Sec-WebSocket-Key")),
                 std::string(BytesAfterHead(head->raw)));
  }
}

}  // namespace tarnwick::remote

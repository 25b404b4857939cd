#include "remote/server_sessions.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <exception>

#include "platform/threads.h"
#include "remote/documents.h"
#include "remote/http_query.h"
#include "remote/push_state.h"
#include "remote/request_envelope.h"
#include "remote/websocket_frames.h"

namespace tarnwick::remote {
namespace {

constexpr std::chrono::milliseconds kReadSlice{250};
constexpr std::chrono::milliseconds kFlushSlice{20};
constexpr std::chrono::milliseconds kWriteSlice{100};
constexpr size_t kMostWaitingBytes = size_t{256} << 10;  // of answers, before another request is read
// On a slow link what the system holds is shown that much later; a fast one takes it many times a second.
constexpr size_t kSendBufferBytes = size_t{64} << 10;
constexpr std::chrono::seconds kPeerTimeout{30};  // a phone that left the network gives its place free

// A session's input. Reads until the client leaves or is dropped, or the server stops.
class SessionInput {
 public:
  SessionInput(ServerState& server, WebSocketClient& client, std::string received)
      : server_(server), client_(client), buffer_(std::move(received)), scheduling_(server) {}

  bool read(std::span<char> bytes) {
    while (!bytes.empty()) {
      if (at_ == buffer_.size() && !refill()) {
        return false;
      }
      const size_t count = std::min(bytes.size(), buffer_.size() - at_);
      std::memcpy(bytes.data(), buffer_.data() + at_, count);
      at_ += count;
      bytes = bytes.subspan(count);
    }
    return true;
  }

  // Waits until the client has taken most of its answers: one that asks faster than it reads is not read from. The
  // outbox gives up on one that takes nothing.
  bool awaitRoom() {
    for (;;) {
      const std::optional<size_t> waiting = server_.clients.flush(client_);
      if (!waiting || *waiting <= kMostWaitingBytes) {
        return waiting.has_value();
      }
      scheduling_.apply();
      if (!server_.running) {
        return false;
      }
      client_.socket.waitWritable(kWriteSlice);
    }
  }

 private:
  bool refill() {
    std::array<char, 16384> scratch;
    for (;;) {
      scheduling_.apply();
      if (!server_.running || server_.clients.isDropped(client_)) {
        return false;
      }
      // The push thread may be waiting for something; frames that are on their way go on.
      const bool idle = server_.clients.flush(client_).value_or(0) == 0;
      if (!client_.socket.waitReadable(idle ? kReadSlice : kFlushSlice)) {
        continue;
      }
      const int64_t count = client_.socket.receive(scratch.data(), scratch.size());
      if (count > 0) {
        buffer_.assign(scratch.data(), static_cast<size_t>(count));
        at_ = 0;
        return true;
      }
      if (count != platform::Socket::kWouldBlock) {
        return false;
      }
    }
  }

  ServerState& server_;
  WebSocketClient& client_;
  std::string buffer_;
  size_t at_ = 0;
  ThreadScheduling scheduling_;
};

// The processors' usage is asked for by connection, so the router, which knows none, is not the one to answer.
ApiAnswer subscribe(ServerState& server, WebSocketClient& client, const QueryParameters& query) {
  const auto enabled = query.find("enabled");
  const bool on =
      enabled != query.end() && (enabled->second == "1" || enabled->second == "true" || enabled->second == "TRUE");
  server.clients.watchProcessors(client, on);
  return {202, AcceptedDocument(on ? "cpu-monitor-subscribe" : "cpu-monitor-unsubscribe")};
}

std::string answerText(ServerState& server, WebSocketClient& client, const std::string& text) {
  const std::optional<RequestEnvelope> request = ParseRequestEnvelope(text);
  if (!request || request->path.size() > kMostPathBytes) {
    return ResponseEnvelope(request ? request->id : "0", 400, ErrorDocument("invalid websocket request"));
  }
  const SplitTarget target = ParseTarget(request->path);
  const bool isSubscription = request->method == "POST" && target.path == "/api/cpu-monitor/subscribe";
  const ApiAnswer answer =
      isSubscription ? subscribe(server, client, target.query)
                     : RouteApiRequest(server.router, {request->method, target.path, target.query, request->body});
  return ResponseEnvelope(request->id, answer.status, answer.body);
}

void serve(ServerState& server, WebSocketClient& client, std::string received) {
  SessionInput input(server, client, std::move(received));
  const ByteSource source = [&input](std::span<char> bytes) { return input.read(bytes); };
  for (;;) {
    Frame frame;
    if (!input.awaitRoom() || !ReadFrame(source, frame)) {
      return;
    }
    bool sent = true;
    if (frame.opcode == kPingOpcode) {
      sent = server.clients.send(client, ControlFrame(kPongOpcode));
    } else if (frame.opcode == kTextOpcode && !frame.payload.empty()) {
      sent = server.clients.send(client, TextFrame(answerText(server, client, frame.payload)));
    }
    if (!sent) {
      return;
    }
  }
}

// The session's thread; ends when the client is dropped or leaves, and no exception leaves it.
void sessionLoop(ServerState& server, const std::shared_ptr<WebSocketClient>& client, std::string received) {
  platform::SetThreadName("twk-session");
  try {
    serve(server, *client, std::move(received));
  } catch (const std::exception&) {
    // Short of memory: this connection ends, the others go on.
  }
  server.clients.remove(client);
}

}  // namespace

void StartSession(ServerState& server, platform::Socket socket, const std::string& handshakeAnswer,
                  std::string received) {
  socket.setNoDelay();
  socket.setPeerTimeout(kPeerTimeout);
  socket.setSendBuffer(kSendBufferBytes);
  const auto client = std::make_shared<WebSocketClient>(std::move(socket), server.context.limits);
  server.clients.send(*client, handshakeAnswer);
  PushedState state;
  if (TakeState(server.callbacks, state)) {
    AddUsage(server, state.status);
    server.clients.send(*client, TextFrame(FullMonitorOf(state)));
    server.clients.send(*client, TextFrame(MetersMessage(state.status)));
    client->given = TextsOf(state);
  }

  {
    // Room first, so that nothing fails once the thread runs; only this thread adds and removes sessions.
    const std::lock_guard lock(server.sessionMutex);
    server.sessions.reserve(server.sessions.size() + 1);
  }
  Session session;
  session.finished = std::make_shared<std::atomic<bool>>(false);
  server.clients.add(client);
  try {
    session.thread = std::thread([&server, owned = client, received, finished = session.finished]() mutable {
      sessionLoop(server, owned, std::move(received));
      finished->store(true, std::memory_order_release);
    });
  } catch (...) {
    server.clients.remove(client);
    throw;
  }
  const std::lock_guard lock(server.sessionMutex);
  server.sessions.push_back(std::move(session));
}

bool SessionsFull(ServerState& server) {
  const std::lock_guard lock(server.sessionMutex);
  const auto live = std::count_if(server.sessions.begin(), server.sessions.end(),
                                  [](const Session& session) { return !session.finished->load(); });
  return static_cast<size_t>(live) >= kMostWebSocketClients;
}

void ReapSessions(ServerState& server) {
  const std::lock_guard lock(server.sessionMutex);
  std::erase_if(server.sessions, [](Session& session) {
    if (!session.finished->load(std::memory_order_acquire)) {
      return false;
    }
    session.thread.join();
    return true;
  });
}

}  // namespace tarnwick::remote

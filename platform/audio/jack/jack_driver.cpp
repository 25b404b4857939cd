#include "platform/audio/jack/jack_driver.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/audio/jack/jack_client.h"
#include "platform/audio/jack/jack_session.h"
#include "platform/audio/ordered_driver.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

constexpr int32_t kUnwiredPorts = 2;

// Owned by the back end and by every driver that it has handed out.
struct Shared {
  const BackEndHooks hooks;
  const JackOptions options;
  const JackClient* open = nullptr;  // a driver's connection
};

// libjack knows one server for all connections of a program: while a driver holds on to one that has gone, a further
// connection would get into its way, and while it holds on to one that answers, none is needed to know.
bool serverAnswers(const Shared& shared) {
  return shared.open != nullptr ? !shared.open->events().lost()
                                : JackClient::open(shared.options.serverName, {}) != nullptr;
}

class JackDriver final : public OrderedDriver {
 public:
  explicit JackDriver(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
  JackDriver(const JackDriver&) = delete;
  JackDriver& operator=(const JackDriver&) = delete;
  ~JackDriver() override { ASIOExit(); }

 private:
  AsioError init(const AudioInitRequest& request) override {
    client_ = JackClient::open(shared_->options.serverName, shared_->hooks);
    if (!client_) {
      return ASE_NotPresent;
    }
    if (shared_->open == nullptr) {
      shared_->open = client_.get();
    }
    requestedRate_ = request.sampleRate;
    const size_t captures = client_->physicalPorts(true).size();
    const size_t playbacks = client_->physicalPorts(false).size();
    inputs_ = captures > 0 ? static_cast<int32_t>(captures) : kUnwiredPorts;
    outputs_ = playbacks > 0 ? static_cast<int32_t>(playbacks) : kUnwiredPorts;
    return ASE_OK;
  }

  void exit() override {
    if (shared_->open == client_.get()) {
      shared_->open = nullptr;
    }
    client_.reset();
  }

  AsioError state() const override { return client_->events().lost() ? ASE_HWMalfunction : ASE_OK; }

  AsioError getChannels(int32_t& inputs, int32_t& outputs) override {
    inputs = inputs_;
    outputs = outputs_;
    return ASE_OK;
  }

  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) override {
    minimum = maximum = preferred = client_->period();
    granularity = 0;
    return ASE_OK;
  }

  AsioError getLatencies(int32_t& input, int32_t& output) override {
    const bool wired = session_ && session_->running();
    input = wired ? session_->latency(true) : client_->physicalLatency(true);
    output = wired ? session_->latency(false) : client_->physicalLatency(false);
    return ASE_OK;
  }

  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                          const AudioCallbacks& callbacks) override {
    auto created = std::make_unique<JackSession>(*client_);
    const AsioError result = created->create(infos, count, blockLength, callbacks);
    if (result == ASE_OK) {
      session_ = std::move(created);
      callbacks_ = callbacks;
      client_->expect(blockLength, client_->rate());
    }
    return result;
  }

  AsioError getChannelInfo(AudioChannelInfo& info) override {
    info.type = kFloat32LSB;
    std::snprintf(info.name, sizeof info.name, "%s_%d", info.isInput ? "in" : "out", info.channel + 1);
    return ASE_OK;
  }

  AsioError start() override {
    tellRate();
    return session_->start();
  }

  AsioError stop() override {
    session_->stop();
    return ASE_OK;
  }

  AsioError disposeBuffers() override {
    session_.reset();
    return ASE_OK;
  }

  void tellRate() {
    const uint32_t rate = client_->rate();
    if (std::lround(requestedRate_) == static_cast<long>(rate)) {
      return;
    }
    client_->events().log(L"The JACK server's sample rate is " + std::to_wstring(rate) + L" Hz, not the " +
                          std::to_wstring(std::lround(requestedRate_)) + L" Hz asked for.");
    if (callbacks_.sampleRateDidChange != nullptr) {
      callbacks_.sampleRateDidChange(callbacks_.context, rate);
    }
  }

  const std::shared_ptr<Shared> shared_;
  std::unique_ptr<JackClient> client_;    // from ASIOInit to ASIOExit
  std::unique_ptr<JackSession> session_;  // from ASIOCreateBuffers to ASIODisposeBuffers
  AudioCallbacks callbacks_;
  double requestedRate_ = 0.0;
  int32_t inputs_ = 0;
  int32_t outputs_ = 0;
};

}  // namespace

std::wstring JackDeviceName(const JackOptions& options) {
  const char* const fromEnvironment = std::getenv("JACK_DEFAULT_SERVER");
  const std::string server = !options.serverName.empty()  ? options.serverName
                             : fromEnvironment != nullptr ? fromEnvironment
                                                          : "default";
  return (L"JACK: " + WideFromUtf8(server)).substr(0, kMaximumDriverName);
}

AudioBackEnd JackBackEnd(const BackEndHooks& hooks, const JackOptions& options) {
  const auto shared = std::make_shared<Shared>(Shared{hooks, options});
  AudioBackEnd result;
  result.asioGetDriverNames = [shared] {
    return serverAnswers(*shared) ? std::vector<std::wstring>{JackDeviceName(shared->options)}
                                  : std::vector<std::wstring>{};
  };
  result.loadAsioDriver = [shared](const std::wstring& name) -> std::unique_ptr<AudioDriver> {
    return name == JackDeviceName(shared->options) ? std::make_unique<JackDriver>(shared) : nullptr;
  };
  return result;
}

}  // namespace tarnwick::platform

#include "platform/audio/jack/jack_driver.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/audio/jack/jack_client.h"
#include "platform/audio/jack/jack_session.h"
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

// One loaded driver: the operations in the order that a host calls them.
class Driver {
 public:
  explicit Driver(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver() { exit(); }

  AsioError init(const AudioInitRequest& request) {
    if (client_) {
      return ASE_InvalidMode;
    }
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

  AsioError exit() {
    if (!client_) {
      return ASE_NotPresent;
    }
    session_.reset();
    if (shared_->open == client_.get()) {
      shared_->open = nullptr;
    }
    client_.reset();
    return ASE_OK;
  }

  AsioError getChannels(int32_t& inputs, int32_t& outputs) const {
    inputs = inputs_;
    outputs = outputs_;
    return state();
  }

  AsioError getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) const {
    if (state() != ASE_OK) {
      return state();
    }
    minimum = maximum = preferred = client_->period();
    granularity = 0;
    return ASE_OK;
  }

  AsioError getLatencies(int32_t& input, int32_t& output) const {
    if (state() != ASE_OK) {
      return state();
    }
    const bool wired = session_ && session_->running();
    input = wired ? session_->latency(true) : client_->physicalLatency(true);
    output = wired ? session_->latency(false) : client_->physicalLatency(false);
    return ASE_OK;
  }

  AsioError createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength, const AudioCallbacks& callbacks) {
    if (state() != ASE_OK) {
      return state();
    }
    if (session_) {
      return ASE_InvalidMode;
    }
    if (blockLength != client_->period() || !channelsHold(infos, count)) {
      return ASE_InvalidParameter;
    }
    auto created = std::make_unique<JackSession>(*client_);
    const AsioError result = created->create(infos, count, blockLength, callbacks);
    if (result == ASE_OK) {
      session_ = std::move(created);
      callbacks_ = callbacks;
      client_->expect(blockLength, client_->rate());
    }
    return result;
  }

  AsioError getChannelInfo(AudioChannelInfo& info) const {
    if (state() != ASE_OK) {
      return state();
    }
    if (info.channel < 0 || info.channel >= (info.isInput ? inputs_ : outputs_)) {
      return ASE_InvalidParameter;
    }
    info.isActive = session_ && session_->hasChannel(info.isInput, info.channel);
    info.channelGroup = 0;
    info.type = kFloat32LSB;
    std::snprintf(info.name, sizeof info.name, "%s_%d", info.isInput ? "in" : "out", info.channel + 1);
    return ASE_OK;
  }

  AsioError start() {
    if (state() != ASE_OK) {
      return state();
    }
    if (!session_ || session_->running()) {
      return ASE_InvalidMode;
    }
    tellRate();
    return session_->start();
  }

  AsioError stop() {
    if (session_) {
      session_->stop();
    }
    return client_ ? ASE_OK : ASE_NotPresent;
  }

  AsioError disposeBuffers() {
    if (!client_) {
      return ASE_NotPresent;
    }
    if (!session_) {
      return ASE_InvalidMode;
    }
    session_.reset();
    return ASE_OK;
  }

 private:
  AsioError state() const {
    if (!client_) {
      return ASE_NotPresent;
    }
    return client_->events().lost() ? ASE_HWMalfunction : ASE_OK;
  }

  bool channelsHold(const AudioBufferInfo* infos, int32_t count) const {
    return std::all_of(infos, infos + count, [this](const AudioBufferInfo& info) {
      return info.channelNum >= 0 && info.channelNum < (info.isInput ? inputs_ : outputs_);
    });
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
    if (name != JackDeviceName(shared->options)) {
      return nullptr;
    }
    const auto driver = std::make_shared<Driver>(shared);
    auto record = std::make_unique<AudioDriver>();
    record->ASIOInit = [driver](const AudioInitRequest& request) { return driver->init(request); };
    record->ASIOExit = [driver] { return driver->exit(); };
    record->ASIOGetChannels = [driver](int32_t& inputs, int32_t& outputs) {
      return driver->getChannels(inputs, outputs);
    };
    record->ASIOGetBufferSize = [driver](int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) {
      return driver->getBufferSize(minimum, maximum, preferred, granularity);
    };
    record->ASIOGetLatencies = [driver](int32_t& input, int32_t& output) {
      return driver->getLatencies(input, output);
    };
    record->ASIOCreateBuffers = [driver](AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                         const AudioCallbacks& callbacks) {
      return driver->createBuffers(infos, count, blockLength, callbacks);
    };
    record->ASIOGetChannelInfo = [driver](AudioChannelInfo& info) { return driver->getChannelInfo(info); };
    // The outputs leave with the block anyway.
    record->ASIOOutputReady = [] { return ASE_NotPresent; };
    record->ASIOStart = [driver] { return driver->start(); };
    record->ASIOStop = [driver] { return driver->stop(); };
    record->ASIODisposeBuffers = [driver] { return driver->disposeBuffers(); };
    record->ASIOControlPanel = [] { return ASE_NotPresent; };
    record->keepAlive = driver;
    return record;
  };
  return result;
}

}  // namespace tarnwick::platform

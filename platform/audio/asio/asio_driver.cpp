#include "platform/audio/asio/asio_driver.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/audio/asio/asio_creation.h"
#include "platform/audio/asio/asio_gate.h"
#include "platform/audio/asio/asio_text.h"
#include "platform/trace.h"

namespace tarnwick::platform {
namespace {

struct Nothing {};

}  // namespace

// Everything that the driver's thread holds, also for a call that outlives its caller.
struct AsioDriver::Instance {
  explicit Instance(const GUID& classIdentifier) : classId(classIdentifier) {}

  const GUID classId;
  // Written by the driver's thread when loaded and when released; read by it and by outputReady between the two.
  std::atomic<AsioComDriver*> driver{nullptr};
  bool started = false;     // the driver's thread
  bool hasBuffers = false;  // the driver's thread
  // Set by the user-interface thread before the call, cleared by the driver's thread after it.
  std::atomic<bool> panelOpen{false};

  AsioComDriver& operator*() { return *driver.load(std::memory_order_relaxed); }

  void endSession() {
    if (std::exchange(started, false)) {
      (**this).stop();
    }
    if (std::exchange(hasBuffers, false)) {
      (**this).disposeBuffers();
    }
  }

  void release() {
    if (AsioComDriver* held = driver.load(std::memory_order_relaxed)) {
      endSession();
      driver.store(nullptr, std::memory_order_relaxed);
      held->Release();
    }
  }

  // Those that were given up and whose threads have not ended. User-interface thread.
  static std::vector<std::weak_ptr<Instance>>& stuck() {
    static std::vector<std::weak_ptr<Instance>> instances;
    return instances;
  }
  static bool isStuck(const GUID& classIdentifier) {
    return std::any_of(stuck().begin(), stuck().end(), [&](const std::weak_ptr<Instance>& weak) {
      const auto instance = weak.lock();
      return instance && IsEqualGUID(instance->classId, classIdentifier);
    });
  }
};

AsioDriver::AsioDriver(const AsioEntry& entry, const AsioOptions& options)
    : entry_(entry), options_(options), instance_(std::make_shared<Instance>(entry.classId)) {}

// A call that is not over in time goes on with its own copies.
template <class Answer, class Call>
AsioError AsioDriver::call(std::chrono::milliseconds limit, Answer& answer, Call work) {
  if (givenUp_) {
    return ASE_HWMalfunction;
  }
  struct Record {
    Answer answer;
    AsioError result = ASE_HWMalfunction;
  };
  const auto record = std::make_shared<Record>();
  record->answer = answer;
  const bool inTime = thread_->run(
      [record, work = std::move(work), instance = instance_] {
        if (instance->driver.load(std::memory_order_relaxed) != nullptr) {
          record->result = work(*instance, record->answer);
        }
      },
      limit, options_.onWait);
  if (!inTime) {
    giveUp();
    return ASE_HWMalfunction;
  }
  answer = std::move(record->answer);
  return record->result;
}

template <class Call>
AsioError AsioDriver::call(std::chrono::milliseconds limit, Call work) {
  Nothing nothing;
  return call(limit, nothing,
              [work = std::move(work)](Instance& instance, Nothing&) -> AsioError { return work(instance); });
}

void AsioDriver::giveUp() {
  if (!std::exchange(givenUp_, true)) {
    auto& stuck = Instance::stuck();
    std::erase_if(stuck, [](const std::weak_ptr<Instance>& weak) { return weak.expired(); });
    stuck.push_back(instance_);
    if (options_.log) {
      options_.log(L"ASIO: \"" + entry_.name + L"\" does not answer and is given up.");
    }
  }
}

std::unique_ptr<AsioDriver> AsioDriver::load(const AsioEntry& entry, const AsioOptions& options) {
  if (Instance::isStuck(entry.classId)) {
    Trace(L"ASIO: \"" + entry.name + L"\" is still busy with a call that it was given up for.");
    return nullptr;
  }
  std::unique_ptr<AsioDriver> driver(new AsioDriver(entry, options));
  driver->thread_ = AsioThread::start();
  if (!driver->thread_) {
    return nullptr;
  }
  const auto made = std::make_shared<bool>(false);
  const bool inTime = driver->thread_->run(
      [made, entry, instance = driver->instance_] {
        instance->driver.store(CreateAsioDriver(entry), std::memory_order_relaxed);
        *made = instance->driver.load(std::memory_order_relaxed) != nullptr;
      },
      options.limits.open, options.onWait);
  if (!inTime) {
    driver->giveUp();
  }
  return inTime && *made ? std::move(driver) : nullptr;
}

AsioDriver::~AsioDriver() {
  ASIOExit();
  if (!thread_) {
    return;
  }
  const bool noWait = givenUp_ || instance_->panelOpen.load();
  const auto limit = noWait ? std::chrono::milliseconds(0) : options_.limits.other;
  if (!thread_->finish([instance = instance_] { instance->release(); }, limit, options_.onWait) && !noWait) {
    giveUp();
  }
}

AsioError AsioDriver::init(const AudioInitRequest& request) {
  struct Answer {
    std::string message;
  } answer;
  const AsioError result = call(options_.limits.open, answer,
                                [window = request.systemReference](Instance& instance, Answer& text) -> AsioError {
                                  if ((*instance).init(window) != 0) {
                                    return ASE_OK;
                                  }
                                  char message[kAsioTextRoom] = {};
                                  (*instance).getErrorMessage(message);
                                  message[sizeof message - 1] = '\0';
                                  text.message = message;
                                  return AsioErrorInMessage(text.message);
                                });
  if (result != ASE_OK) {
    Trace(L"ASIO: \"" + entry_.name + L"\" does not open: " + WideFromSystemText(answer.message));
    return result;
  }
  direct_.store(false);
  online_.store(true);
  return ASE_OK;
}

AsioError AsioDriver::getChannels(int32_t& inputs, int32_t& outputs) {
  std::array<int32_t, 2> counts = {};
  const AsioError result = call(options_.limits.other, counts, [](Instance& instance, auto& answer) {
    return (*instance).getChannels(&answer[0], &answer[1]);
  });
  inputs = counts[0];
  outputs = counts[1];
  return result;
}

AsioError AsioDriver::getBufferSize(int32_t& minimum, int32_t& maximum, int32_t& preferred, int32_t& granularity) {
  std::array<int32_t, 4> sizes = {};
  const AsioError result = call(options_.limits.other, sizes, [](Instance& instance, auto& answer) {
    return (*instance).getBufferSize(&answer[0], &answer[1], &answer[2], &answer[3]);
  });
  minimum = sizes[0];
  maximum = sizes[1];
  preferred = sizes[2];
  granularity = sizes[3];
  return result;
}

AsioError AsioDriver::getLatencies(int32_t& input, int32_t& output) {
  std::array<int32_t, 2> latencies = {};
  const AsioError result = call(options_.limits.other, latencies, [](Instance& instance, auto& answer) {
    return (*instance).getLatencies(&answer[0], &answer[1]);
  });
  input = latencies[0];
  output = latencies[1];
  return result;
}

AsioError AsioDriver::createBuffers(AudioBufferInfo* infos, int32_t count, int32_t blockLength,
                                    const AudioCallbacks& callbacks) {
  if (!TakeAsioGate(this, callbacks)) {
    return ASE_InvalidMode;
  }
  direct_.store(true);
  // Drivers ask the host questions from inside this call.
  SetAsioPassage(this, AsioPassage::notifications);
  std::vector<AsioBufferInfo> buffers;
  for (int32_t k = 0; k < count; ++k) {
    buffers.push_back({infos[k].isInput ? 1 : 0, infos[k].channelNum, {nullptr, nullptr}});
  }
  const AsioError result =
      call(options_.limits.open, buffers, [count, blockLength](Instance& instance, auto& answer) -> AsioError {
        const AsioError created = (*instance).createBuffers(answer.data(), count, blockLength, &AsioTrampolines());
        instance.hasBuffers = created == ASE_OK;
        const bool complete = std::all_of(answer.begin(), answer.end(), [](const AsioBufferInfo& info) {
          return info.buffers[0] != nullptr && info.buffers[1] != nullptr;
        });
        if (created == ASE_OK && !complete) {
          instance.endSession();
          return ASE_NoMemory;
        }
        return created;
      });
  if (result != ASE_OK) {
    LeaveAsioGate(this);
    return result;
  }
  for (int32_t k = 0; k < count; ++k) {
    infos[k].buffers[0] = buffers[static_cast<size_t>(k)].buffers[0];
    infos[k].buffers[1] = buffers[static_cast<size_t>(k)].buffers[1];
  }
  return ASE_OK;
}

AsioError AsioDriver::getChannelInfo(AudioChannelInfo& info) {
  AsioChannelInfo asked = {};
  asked.channel = info.channel;
  asked.isInput = info.isInput ? 1 : 0;
  const AsioError result = call(options_.limits.other, asked,
                                [](Instance& instance, auto& answer) { return (*instance).getChannelInfo(&answer); });
  if (result == ASE_OK) {
    info.isActive = asked.isActive != 0;
    info.channelGroup = asked.group;
    info.type = asked.type;
    SetChannelName(info, asked.name);
  }
  return result;
}

AsioError AsioDriver::ASIOOutputReady() noexcept {
  if (!online_.load(std::memory_order_relaxed)) {
    return ASE_NotPresent;
  }
  if (direct_.load(std::memory_order_relaxed)) {
    AsioComDriver* const driver = instance_->driver.load(std::memory_order_relaxed);
    return driver != nullptr ? driver->outputReady() : ASE_NotPresent;
  }
  try {
    return call(options_.limits.other, [](Instance& instance) { return (*instance).outputReady(); });
  } catch (const std::exception&) {
    return ASE_NoMemory;
  }
}

AsioError AsioDriver::start() {
  report_ = std::make_unique<AsioReport>(options_.xruns);
  // The first block may come before the driver's start returns.
  SetAsioPassage(this, AsioPassage::everything);
  const AsioError result = call(options_.limits.open, [](Instance& instance) {
    const AsioError begun = (*instance).start();
    instance.started = begun == ASE_OK;
    return begun;
  });
  if (result != ASE_OK) {
    SetAsioPassage(this, AsioPassage::nothing);
    report_.reset();
  }
  return result;
}

AsioError AsioDriver::stop() {
  const AsioError result = call(options_.limits.other, [](Instance& instance) {
    instance.started = false;
    return (*instance).stop();
  });
  SetAsioPassage(this, AsioPassage::nothing);
  report_.reset();
  return result;
}

AsioError AsioDriver::disposeBuffers() {
  const AsioError result = call(options_.limits.other, [](Instance& instance) {
    return std::exchange(instance.hasBuffers, false) ? (*instance).disposeBuffers() : ASE_OK;
  });
  LeaveAsioGate(this);
  return result;
}

AsioError AsioDriver::controlPanel() {
  if (givenUp_) {
    return ASE_HWMalfunction;
  }
  if (instance_->panelOpen.exchange(true)) {
    return ASE_OK;  // the one that is open
  }
  const auto result = std::make_shared<AsioError>(ASE_OK);
  thread_->run(
      [result, instance = instance_] {
        *result = (**instance).controlPanel();
        instance->panelOpen.store(false);
      },
      options_.limits.panel, options_.onWait);
  return instance_->panelOpen.load() ? ASE_OK : *result;
}

}  // namespace tarnwick::platform

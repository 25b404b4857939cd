#include "app/remote/callbacks.h"

#include <utility>

#include "app/plugin_files.h"
#include "app/power.h"
#include "app/remote/grants.h"
#include "app/remote/patches.h"
#include "app/remote/status.h"

namespace tarnwick::app {
namespace {

using remote::RemoteControlCallbacks;

// More than a person or a script has under way; a flood of them would keep the user-interface thread from all else.
constexpr int32_t kMostPendingActions = 256;

// One action from its posting until it has run, or is known never to.
class PendingAction {
 public:
  explicit PendingAction(std::atomic<int32_t>& count) : count_(count) {
    within_ = count_.fetch_add(1) < kMostPendingActions;
  }
  PendingAction(const PendingAction&) = delete;
  PendingAction& operator=(const PendingAction&) = delete;
  ~PendingAction() { count_.fetch_sub(1); }
  bool within() const { return within_; }

 private:
  std::atomic<int32_t>& count_;
  bool within_ = false;
};

// Runs `work` on the user-interface thread some time later. False when nobody takes it.
bool postAction(Application& app, std::function<void()> work) {
  const auto pending = std::make_shared<PendingAction>(app.remote.pendingActions);
  return pending->within() && app.ui.post([&app, pending, action = std::move(work)] { action(); });
}

RemoteControlCallbacks::Action posted(Application& app, void (*action)(Application& app)) {
  return [&app, action] { return postAction(app, [&app, action] { action(app); }); };
}

// An action that may fail once it runs; the pages hear of it by the name in its answer.
bool postFailing(Application& app, const char* name, bool (*action)(Application& app, std::wstring* error)) {
  return postAction(app, [&app, name, action] {
    std::wstring error;
    if (!action(app, &error)) {
      TellPages(app, name, error);
    }
  });
}

// Why an action would be refused, as far as that is known without waiting: nothing while others are still to run.
bool refused(Application& app, const std::wstring RemoteLink::*refusal, std::wstring& error) {
  if (app.remote.pendingActions.load() > 0) {
    return false;
  }
  const std::lock_guard lock(app.remote.refusalMutex);
  error = app.remote.*refusal;
  return !error.empty();
}

// For work of which one that waits to run stands for all: null while one waits. Whoever gets the mark posts the work,
// which clears the mark first; it clears itself when the work is turned away.
std::shared_ptr<std::atomic<bool>> markFirst(std::atomic<bool>& waiting) {
  if (waiting.exchange(true)) {
    return nullptr;
  }
  return {&waiting, [](std::atomic<bool>* mark) { mark->store(false); }};
}

// Leaves the lines that a start leaves which is refused on the user-interface thread.
void logRefusedStart(Application& app, const std::wstring& reason) {
  if (const auto mark = markFirst(app.remote.refusalPosted)) {
    app.ui.post([&app, mark, reason] {
      mark->store(false);
      if (!app.engine.asioRunning.load()) {
        app.log.add(engine::kStartIgnored);
      }
      app.log.add(reason);
    });
  }
}

bool postRefresh(Application& app) {
  const auto mark = markFirst(app.remote.refreshPosted);
  return !mark || postAction(app, [&app, mark] {
    mark->store(false);
    RefreshDevices(app);
  });
}

bool startHost(Application& app, std::wstring* error) {
  return StartHost(app, error, false);
}

bool postStart(Application& app, std::wstring& error) {
  if (refused(app, &RemoteLink::startRefusal, error)) {
    logRefusedStart(app, error);
    return false;
  }
  return postFailing(app, "start", &startHost);
}

bool startDevice(Application& app, std::wstring* error) {
  return StartDevice(app, error, false);
}

bool stopDevice(Application& app, std::wstring* error) {
  return StopDevice(app, error, false);
}

// Carries a patch over and waits for the answer. The pages hear why one was rejected.
template <class Patch, class Apply>
bool sendPatch(Application& app, const char* name, const Patch& patch, Apply apply) {
  Patch record = patch;
  return platform::SendRecord(app.ui, record, [&app, name, apply](const Patch& received) {
    std::wstring error;
    if (!apply(app, received, error)) {
      TellPages(app, name, error);
      return false;
    }
    return true;
  });
}

// The effect is tried out on the calling thread, in a process of its own, before the user-interface thread hears of it.
bool sendHostPatch(Application& app, const remote::RemoteHostConfigPatch& patch) {
  constexpr char kName[] = "host-config-patch";
  remote::RemoteHostConfigPatch checked = patch;
  if (checked.pluginPath) {
    std::wstring error;
    if (!CheckPluginChoice(*checked.pluginPath, app.remote.ending, error)) {
      TellPages(app, kName, error);
      return false;
    }
  }
  return sendPatch(app, kName, checked, &ApplyHostPatch);
}

void addStateCallbacks(Application& app, RemoteControlCallbacks& callbacks) {
  callbacks.status = [&app](remote::RemoteStatusSnapshot& status) {
    return platform::SendRecord(app.ui, status, [&app](remote::RemoteStatusSnapshot& record) {
      FillRemoteStatus(app, record);
      return true;
    });
  };
  callbacks.grants = [&app](remote::RemoteGrants& grants) {
    return platform::SendRecord(app.ui, grants, [&app](remote::RemoteGrants& record) {
      FillRemoteGrants(app, record);
      return true;
    });
  };
  callbacks.pluginFiles = &ListPluginFiles;
}

void addPatchCallbacks(Application& app, RemoteControlCallbacks& callbacks) {
  callbacks.hostConfig = [&app](const auto& patch) { return sendHostPatch(app, patch); };
  callbacks.audioConfig = [&app](const auto& patch) {
    return sendPatch(app, "audio-config-patch", patch, &ApplyAudioPatch);
  };
  callbacks.cpuSteering = [&app](const auto& patch) {
    return sendPatch(app, "cpu-steering-patch", patch, &ApplySteeringPatch);
  };
  callbacks.instance = [&app](uint32_t index, const auto& patch) {
    return sendPatch(app, "patch-instance", patch, [index](Application& target, const auto& received, auto& error) {
      return ApplyInstancePatch(target, index, received, error);
    });
  };
}

void addActions(Application& app, RemoteControlCallbacks& callbacks) {
  callbacks.startHost = [&app](std::wstring& error) { return postStart(app, error); };
  callbacks.stopHost = posted(app, &StopHost);
  callbacks.startAsio = [&app] { return postFailing(app, "asio-start", &startDevice); };
  callbacks.refreshAsio = [&app] { return postRefresh(app); };
  callbacks.stopAsio = [&app](std::wstring& error) {
    return !refused(app, &RemoteLink::stopAsioRefusal, error) && postFailing(app, "asio-stop", &stopDevice);
  };
  callbacks.reboot = [&app] { return postFailing(app, "system-reboot", &RestartNow); };
  callbacks.shutdown = [&app] { return postFailing(app, "system-shutdown", &ShutdownNow); };
  callbacks.addInstance = [&app] { return postFailing(app, "add-instance", &AddNextInstance); };
  callbacks.removeLastInstance = [&app] { return postFailing(app, "remove-last-instance", &RemoveLastInstance); };
  callbacks.toggleBypassAll = posted(app, [](Application& target) { SetBypassAll(target, !target.host.bypassAll); });
  callbacks.toggleTestSignalAll =
      posted(app, [](Application& target) { SetTestSignalAll(target, !target.engine.testSignalAll.load()); });
}

}  // namespace

RemoteControlCallbacks MakeRemoteCallbacks(Application& app) {
  RemoteControlCallbacks callbacks;
  addStateCallbacks(app, callbacks);
  addPatchCallbacks(app, callbacks);
  addActions(app, callbacks);
  return callbacks;
}

}  // namespace tarnwick::app

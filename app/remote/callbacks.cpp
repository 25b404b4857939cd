#include "app/remote/callbacks.h"

#include <utility>

#include "app/effect_trial.h"
#include "app/folder_listing.h"
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

// Starts or stops the device. Where the last of those that wait to run asks for the same, that one stands for all.
bool postSessionAction(Application& app, bool start) {
  std::atomic<uint64_t>& last = app.remote.lastSessionAction;
  const uint64_t number = 2 * app.remote.sessionActions.fetch_add(1) + 2 + (start ? 1 : 0);
  uint64_t before = last.load();
  do {
    if (before != 0 && (before % 2 != 0) == start) {
      return true;
    }
  } while (!last.compare_exchange_weak(before, number));
  const auto forget = [&last, number] {
    uint64_t own = number;
    last.compare_exchange_strong(own, 0);
  };
  const bool taken = postAction(app, [&app, start, forget] {
    forget();
    std::wstring error;
    if (!(start ? StartDevice(app, &error, false) : StopDevice(app, &error, false))) {
      app.notice(start ? "asio-start" : "asio-stop", error);
    }
  });
  if (!taken) {
    forget();
  }
  return taken;
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

// An effect is tried out on the calling thread, in a process of its own, before the user-interface thread hears of it.
bool sendSettings(Application& app, const char* name, Patch patch, const remote::RemoteSettingsPatch& values) {
  auto changes = ReadSettingsPatch(patch, values);
  if (!changes) {
    return false;
  }
  for (auto& [setting, value] : *changes) {
    std::wstring error;
    if (std::wstring_view(setting->name) == kEffectSetting &&
        !TryOutEffect(std::get<std::wstring>(value), app.remote.ending, error)) {
      TellPages(app, name, error);
      return false;
    }
  }
  return sendPatch(app, name, *changes, &ChangeSettings);
}

bool listPluginFiles(const std::wstring& path, RemoteControlCallbacks::FileEntries& entries, std::wstring& resolved,
                     std::wstring& error) {
  FolderListing listing = ListPluginFiles(path);
  entries.clear();
  for (FolderEntry& entry : listing.entries) {
    entries.push_back({std::move(entry.name), entry.isDirectory, entry.isDrive});
  }
  resolved = std::move(listing.resolved);
  error = std::move(listing.error);
  return listing.succeeded;
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
  callbacks.xruns = [&app](remote::RemoteXruns& xruns) {
    const LateBlocks late = LateBlocksSoFar(app);
    xruns.count = late.total;
    xruns.last = late.last;
    return true;
  };
  callbacks.pluginFiles = &listPluginFiles;
}

void addPatchCallbacks(Application& app, RemoteControlCallbacks& callbacks) {
  callbacks.hostConfig = [&app](const auto& patch) {
    return sendSettings(app, "host-config-patch", Patch::host, patch);
  };
  callbacks.audioConfig = [&app](const auto& patch) {
    return sendSettings(app, "audio-config-patch", Patch::audio, patch);
  };
  callbacks.cpuSteering = [&app](const auto& patch) {
    return sendSettings(app, "cpu-steering-patch", Patch::steering, patch);
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
  callbacks.startAsio = [&app] { return postSessionAction(app, true); };
  callbacks.refreshAsio = [&app] { return postRefresh(app); };
  callbacks.stopAsio = [&app](std::wstring& error) {
    return !refused(app, &RemoteLink::stopAsioRefusal, error) && postSessionAction(app, false);
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

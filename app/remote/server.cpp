#include "app/remote/server.h"

#include <system_error>
#include <utility>

#include "app/application.h"
#include "app/remote/callbacks.h"
#include "platform/network.h"
#include "platform/text.h"
#include "remote/documents.h"

namespace tarnwick::app {
namespace {

// Where browsers on the network find the page.
void tellAddresses(Application& app) {
  const std::wstring port = std::to_wstring(app.options.remotePort);
  app.log.add(L"Remote control page: http://localhost:" + port + L"/");
  for (const platform::NetworkAdapter& adapter : platform::NetworkAdapters()) {
    for (const platform::Ipv4Address& address : adapter.addresses) {
      if (adapter.interfaceType != platform::kLoopbackInterface) {
        app.log.add(L"Remote control page: http://" + platform::WideFromUtf8(platform::Ipv4Text(address.address)) +
                    L":" + port + L"/ (" + adapter.friendlyName + L")");
      }
    }
  }
}

}  // namespace

void StartRemote(Application& app) {
  if (app.options.remotePort == 0) {
    return;
  }
  PublishRefusals(app);
  app.remote.server = std::make_unique<remote::RemoteControlServer>(
      remote::ServerContext{app.options.remotePort, app.steering, app.systemControl.networkPriority,
                            app.remote.cpuUsage, [&app](const std::wstring& line) { app.log.add(line); }},
      MakeRemoteCallbacks(app));
  try {
    if (app.remote.server->start()) {
      tellAddresses(app);
    }
  } catch (const std::system_error& error) {
    app.remote.server->stop();
    app.log.add(L"Remote control server failed: " + platform::WideFromUtf8(error.what()));
  }
}

void StopRemote(Application& app) {
  app.remote.ending = true;
  if (app.remote.server) {
    app.remote.server->stop();
  }
}

void TellPages(Application& app, std::string_view action, const std::wstring& text) {
  if (app.remote.server && !text.empty()) {
    app.remote.server->broadcastText(remote::NoticeMessage(action, text));
  }
}

void PublishRefusals(Application& app) {
  std::wstring start = engine::StartRefusal(app.host);
  std::wstring stop = engine::StopAsioRefusal(app.engine, app.host.ui);
  const std::lock_guard lock(app.remote.refusalMutex);
  app.remote.startRefusal = std::move(start);
  app.remote.stopAsioRefusal = std::move(stop);
}

}  // namespace tarnwick::app

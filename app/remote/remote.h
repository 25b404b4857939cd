// The remote control server's way into the application: its callbacks, which carry every request to the user-interface
// thread.
#pragma once

#include <string>
#include <string_view>

#include "app/application.h"
#include "remote/callbacks.h"

namespace tarnwick::app {

// Starts the server on the port of the options and says where its page is. User-interface thread.
void StartRemote(Application& app);
// Ends it; the user-interface thread must have stopped taking requests, or what waits for it is waited for.
void StopRemote(Application& app);

// The callbacks for an application. They may be called on any thread until the application's thread has closed and the
// server has stopped.
remote::RemoteControlCallbacks MakeRemoteCallbacks(Application& app);

// Tells every page of something that happened to an action after it was accepted. `action` as in its answer. Any thread
// while the server is there.
void TellPages(Application& app, std::string_view action, const std::wstring& text);

// Lets requests know what would be refused now. User-interface thread, after every change that may matter.
void PublishRefusals(Application& app);

}  // namespace tarnwick::app

#include "app/power.h"

#include <functional>

#include "app/application.h"

namespace tarnwick::app {
namespace {

bool ask(Application& app, const std::function<bool()>& request, const wchar_t* failure, std::wstring* error) {
  SaveAtEnd(app);
  if (request()) {
    return true;
  }
  app.log.add(failure);
  if (error != nullptr) {
    *error = failure;
  }
  return false;
}

}  // namespace

bool RestartNow(Application& app, std::wstring* error) {
  app.log.add(L"Restart of this PC requested.");
  return ask(app, app.power.restart, L"The restart could not be requested. Check the system's shutdown policy.", error);
}

bool ShutdownNow(Application& app, std::wstring* error) {
  app.log.add(L"Shutdown of this PC requested.");
  return ask(app, app.power.shutdown, L"The shutdown could not be requested. Check the system's shutdown policy.",
             error);
}

}  // namespace tarnwick::app

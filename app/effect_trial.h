// Trying out an effect before it is chosen. Any thread but the user-interface thread.
#pragma once

#include <atomic>
#include <string>

namespace tarnwick::app {

// Makes `path` the path of a module file and has another process of this program try it out, so that a faulty module
// cannot harm the one that plays. False with the reason when it is no usable effect; one on a share is none.
// One is tried out at a time. `cancelled` ends a trial.
bool TryOutEffect(std::wstring& path, const std::atomic<bool>& cancelled, std::wstring& error);

}  // namespace tarnwick::app

// Calls into an effect, which is code of someone else: nothing that it throws goes further than these.
#pragma once

#include <utility>

#include "pluginterfaces/base/funknown.h"

namespace tarnwick::plugin {

// The result of `call`, or `onThrow` when it throws.
template <typename Call, typename Result>
Result guarded(Call&& call, Result onThrow) noexcept {
  try {
    return static_cast<Result>(std::forward<Call>(call)());
  } catch (...) {
    return onThrow;
  }
}

// The result code of `call`; a throw counts as a failure.
template <typename Call>
Steinberg::tresult guarded(Call&& call) noexcept {
  return guarded(std::forward<Call>(call), static_cast<Steinberg::tresult>(Steinberg::kInternalError));
}

// A reference to `object`'s interface of this type, to be released by the caller, or null.
template <typename Interface>
Interface* queryFor(Steinberg::FUnknown* object) noexcept {
  void* found = nullptr;
  if (object == nullptr ||
      guarded([&] { return object->queryInterface(Interface::iid, &found); }) != Steinberg::kResultOk) {
    return nullptr;
  }
  return static_cast<Interface*>(found);
}

// Gives up a reference and clears it.
template <typename Interface>
void releaseReference(Interface*& reference) noexcept {
  if (Interface* given = std::exchange(reference, nullptr)) {
    guarded([&] { return given->release(); }, Steinberg::uint32{0});
  }
}

}  // namespace tarnwick::plugin

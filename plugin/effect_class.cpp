#include "plugin/effect_class.h"

#include <cstring>
#include <string_view>

#include "platform/text.h"
#include "plugin/guarded_call.h"

namespace tarnwick::plugin {
namespace {

using Steinberg::int32;
using Steinberg::IPluginFactory;
using Steinberg::IPluginFactory2;
using Steinberg::kResultOk;
using Steinberg::PClassInfo;
using Steinberg::PClassInfo2;
using Steinberg::TUID;

constexpr std::string_view kEffectCategory = "Audio Module Class";

// The text of a fixed field, which an effect may have filled to its last byte without a closing zero.
template <size_t Size>
std::string_view textOf(const Steinberg::char8 (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

template <typename Info>
bool takeEffect(const Info& info, TUID* classId, std::wstring* className) {
  if (textOf(info.category) != kEffectCategory) {
    return false;
  }
  if (classId != nullptr) {
    std::memcpy(*classId, info.cid, sizeof(TUID));
  }
  if (className != nullptr) {
    *className = platform::WideFromUtf8(textOf(info.name));
  }
  return true;
}

bool takeEffectAt(IPluginFactory& factory, IPluginFactory2* factory2, int32 index, TUID* classId,
                  std::wstring* className) {
  // The structures' own constructors leave their fields as they are.
  if (factory2 != nullptr) {
    PClassInfo2 info;
    std::memset(static_cast<void*>(&info), 0, sizeof info);
    return guarded([&] { return factory2->getClassInfo2(index, &info); }) == kResultOk &&
           takeEffect(info, classId, className);
  }
  PClassInfo info;
  std::memset(static_cast<void*>(&info), 0, sizeof info);
  return guarded([&] { return factory.getClassInfo(index, &info); }) == kResultOk &&
         takeEffect(info, classId, className);
}

}  // namespace

bool ChooseEffectClass(IPluginFactory& factory, TUID* classId, std::wstring* className) {
  auto* factory2 = queryFor<IPluginFactory2>(&factory);
  const int32 count = guarded([&] { return factory.countClasses(); }, int32{0});
  bool found = false;
  for (int32 index = 0; index < count && !found; ++index) {
    found = takeEffectAt(factory, factory2, index, classId, className);
  }
  releaseReference(factory2);
  return found;
}

}  // namespace tarnwick::plugin

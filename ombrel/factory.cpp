#include "ombrel/factory.h"

#include <atomic>
#include <new>

#include "ombrel/ombrel_component.h"

namespace tarnwick::ombrel {

using namespace Steinberg;

namespace {

constexpr char kVendor[] = "Tarnwick";
constexpr char kName[] = "Ombrel";

// Saved sets name the effect by this id: it stays.
const TUID kClassId = INLINE_UID(0x37FE2168, 0x3BB44E7F, 0xA2865D99, 0xC1C68CF2);

PClassInfo2 classInfo() {
  return {
      kClassId,       PClassInfo::kManyInstances, kVstAudioEffectClass, kName, 0, Vst::PlugType::kFxDynamics, kVendor,
      OMBREL_VERSION, kVstVersionString};
}

// Never destroyed: the count only tells a host what it expects to hear.
class OmbrelFactory final : public IPluginFactory3 {
 public:
  tresult PLUGIN_API queryInterface(const TUID interfaceId, void** object) override {
    if (object == nullptr) {
      return kInvalidArgument;
    }
    if (!FUnknownPrivate::iidEqual(interfaceId, FUnknown::iid) &&
        !FUnknownPrivate::iidEqual(interfaceId, IPluginFactory::iid) &&
        !FUnknownPrivate::iidEqual(interfaceId, IPluginFactory2::iid) &&
        !FUnknownPrivate::iidEqual(interfaceId, IPluginFactory3::iid)) {
      *object = nullptr;
      return kNoInterface;
    }
    addRef();
    *object = static_cast<IPluginFactory3*>(this);
    return kResultOk;
  }

  uint32 PLUGIN_API addRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

  uint32 PLUGIN_API release() override { return references_.fetch_sub(1, std::memory_order_relaxed) - 1; }

  tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) override {
    if (info == nullptr) {
      return kInvalidArgument;
    }
    *info = PFactoryInfo(kVendor, "", "", PFactoryInfo::kUnicode);
    return kResultOk;
  }

  int32 PLUGIN_API countClasses() override { return 1; }

  tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override {
    if (index != 0 || info == nullptr) {
      return kInvalidArgument;
    }
    *info = PClassInfo(kClassId, PClassInfo::kManyInstances, kVstAudioEffectClass, kName);
    return kResultOk;
  }

  tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override {
    if (index != 0 || info == nullptr) {
      return kInvalidArgument;
    }
    *info = classInfo();
    return kResultOk;
  }

  tresult PLUGIN_API getClassInfoUnicode(int32 index, PClassInfoW* info) override {
    if (index != 0 || info == nullptr) {
      return kInvalidArgument;
    }
    *info = {};
    info->fromAscii(classInfo());
    return kResultOk;
  }

  tresult PLUGIN_API setHostContext(FUnknown* /*context*/) override { return kResultOk; }

  tresult PLUGIN_API createInstance(FIDString classId, FIDString interfaceId, void** object) override {
    if (classId == nullptr || interfaceId == nullptr || object == nullptr) {
      return kInvalidArgument;
    }
    *object = nullptr;
    if (!FUnknownPrivate::iidEqual(classId, kClassId)) {
      return kNoInterface;
    }
    auto* const component = new (std::nothrow) OmbrelComponent;
    if (component == nullptr) {
      return kOutOfMemory;
    }
    const tresult result = component->queryInterface(interfaceId, object);
    component->release();
    return result;
  }

 private:
  std::atomic<uint32> references_ = 0;
};

}  // namespace

IPluginFactory3& Factory() {
  static OmbrelFactory factory;
  return factory;
}

}  // namespace tarnwick::ombrel

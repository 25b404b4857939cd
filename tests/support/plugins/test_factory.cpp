// The factory of a test module.
#include <algorithm>
#include <vector>

#include "class_ids.h"
#include "pluginterfaces/base/ipluginbase.h"
#include "test_component.h"
#include "test_controller.h"

namespace tarnwick::test_plugin {
namespace {

namespace Vst = Steinberg::Vst;
using Steinberg::int32;
using Steinberg::kResultOk;
using Steinberg::tresult;

struct ClassEntry {
  const Steinberg::FUID* id;
  const char* category;
  const char* name;
};

constexpr const char* kEffectCategory = "Audio Module Class";
// 64 characters, the whole field, so that no closing zero fits.
constexpr const char* kLongName = "0123456789012345678901234567890123456789012345678901234567890123";

std::vector<ClassEntry> listOfClasses() {
  if (Does("no-classes")) {
    return {};
  }
  if (Does("other-categories")) {
    return {{&kOtherClassId, "audio module class", "Lower case"},
            {&kOtherClassId, "Audio Module Class ", "Blank at the end"},
            {&kOtherClassId, "Audio Module", "Beginning only"},
            {&kControllerClassId, "Component Controller Class", "Controller"}};
  }
  if (Does("two-effects")) {
    return {{&kControllerClassId, "Component Controller Class", "Controller"},
            {&kEffectClassId, kEffectCategory, "First"},
            {&kSecondEffectClassId, kEffectCategory, "Second"}};
  }
  return {{&kEffectClassId, kEffectCategory, Does("long-name") ? kLongName : "Test Effect \xC3\xA4"}};
}

template <typename Info>
void fill(Info& info, const ClassEntry& entry) {
  entry.id->toTUID(info.cid);
  // Bounded by the field, with no zero after a text that fills it.
  std::memcpy(info.category, entry.category, std::min(std::strlen(entry.category) + 1, sizeof info.category));
  std::memcpy(info.name, entry.name, std::min(std::strlen(entry.name) + 1, sizeof info.name));
}

class TestFactory final : public Steinberg::IPluginFactory2, public Counted {
 public:
  TestFactory() : Counted("factory") {}

  tresult PLUGIN_API queryInterface(const Steinberg::TUID interfaceId, void** object) override {
    *object = nullptr;
    const bool known = isId(interfaceId, Steinberg::FUnknown::iid) ||
                       isId(interfaceId, Steinberg::IPluginFactory::iid) ||
                       (isId(interfaceId, Steinberg::IPluginFactory2::iid) && !Does("old-factory"));
    if (!known) {
      return Steinberg::kNoInterface;
    }
    *object = static_cast<Steinberg::IPluginFactory2*>(this);
    add();
    return kResultOk;
  }
  Steinberg::uint32 PLUGIN_API addRef() override { return add(); }
  Steinberg::uint32 PLUGIN_API release() override { return drop(); }

  tresult PLUGIN_API getFactoryInfo(Steinberg::PFactoryInfo*) override { return Steinberg::kNotImplemented; }
  int32 PLUGIN_API countClasses() override { return Fails("count-classes") ? 0 : static_cast<int32>(classes_.size()); }
  tresult PLUGIN_API getClassInfo(int32 index, Steinberg::PClassInfo* info) override {
    Log("factory.getClassInfo " + std::to_string(index));
    return describe(index, *info);
  }
  tresult PLUGIN_API getClassInfo2(int32 index, Steinberg::PClassInfo2* info) override {
    Log("factory.getClassInfo2 " + std::to_string(index));
    return describe(index, *info);
  }
  tresult PLUGIN_API createInstance(Steinberg::FIDString classId, Steinberg::FIDString interfaceId,
                                    void** object) override;

 private:
  template <typename Info>
  tresult describe(int32 index, Info& info) {
    fill(info, classes_[static_cast<size_t>(index)]);
    if (index == NumberOf("info-throws-at", -1)) {
      throw index;
    }
    return resultOf(index <= NumberOf("info-fails-up-to", -1));
  }

  const std::vector<ClassEntry> classes_ = listOfClasses();
};

tresult PLUGIN_API TestFactory::createInstance(Steinberg::FIDString classId, Steinberg::FIDString interfaceId,
                                               void** object) {
  *object = nullptr;
  if (isId(classId, kEffectClassId) && isId(interfaceId, Vst::IComponent::iid)) {
    Log("factory.create component");
    if (Fails("create")) {
      return Steinberg::kResultFalse;
    }
    if (!Does("create-yields-null")) {
      *object = static_cast<Vst::IComponent*>(new TestComponent);
    }
    return kResultOk;
  }
  if (isId(classId, kControllerClassId) && isId(interfaceId, Vst::IEditController::iid)) {
    Log("factory.create controller");
    if (!Does("names-absent-controller")) {
      *object = static_cast<Vst::IEditController*>(new TestController);
      return kResultOk;
    }
  }
  return Steinberg::kNoInterface;
}

}  // namespace
}  // namespace tarnwick::test_plugin

extern "C" SMTG_EXPORT_SYMBOL Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
  using namespace tarnwick::test_plugin;
  return Fails("factory") ? nullptr : new TestFactory;
}

// The objects of a test module: its factory, and an effect that multiplies by its gain in as many channels as it has
// been told to have. It is its own controller unless it has been told to have a separate one, which is another object
// of the same class and whose parameter then does not reach the sound.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "test_module.h"

namespace tarnwick::test_plugin {
namespace {

using namespace Steinberg;
using namespace Steinberg::Vst;

constexpr ParamID kGainId = 1701;  // not its index

bool isId(const TUID iid, const FUID& known) {
  return std::memcmp(iid, known.toTUID(), sizeof(TUID)) == 0;
}

tresult resultOf(bool failed) {
  return failed ? kResultFalse : kResultOk;
}

std::string onOff(TBool state) {
  return state != 0 ? " true" : " false";
}

// Counts an object among the module's live ones and logs its end.
class Counted {
 public:
  explicit Counted(const char* name) : name_(name) { ++liveObjects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  virtual ~Counted() {
    --liveObjects;
    Log(name_ + " freed");
  }

 protected:
  uint32 add() { return ++references_; }
  uint32 drop() {
    const uint32 left = --references_;
    if (left == 0) {
      delete this;
    }
    return left;
  }

  const std::string name_;

 private:
  uint32 references_ = 1;
};

class TestEffect final : public IComponent,
                         public IAudioProcessor,
                         public IConnectionPoint,
                         public IEditController,
                         public Counted {
 public:
  explicit TestEffect(const char* name) : Counted(name) {}

  tresult PLUGIN_API queryInterface(const TUID id, void** object) override;
  uint32 PLUGIN_API addRef() override { return add(); }
  uint32 PLUGIN_API release() override { return drop(); }

  // Component and controller
  tresult PLUGIN_API initialize(FUnknown* context) override {
    Log(name_ + (context == nullptr ? ".initialize null" : ".initialize context"));
    return resultOf(Fails(name_ + "-initialize"));
  }
  tresult PLUGIN_API terminate() override {
    Log(name_ + ".terminate");
    return resultOf(Fails(name_ + "-terminate"));
  }
  tresult PLUGIN_API setState(IBStream*) override { return kResultOk; }
  tresult PLUGIN_API getState(IBStream*) override { return kResultOk; }

  // Component
  tresult PLUGIN_API getControllerClassId(TUID classId) override;
  tresult PLUGIN_API setIoMode(IoMode) override { return kNotImplemented; }
  int32 PLUGIN_API getBusCount(MediaType, BusDirection) override { return 1; }
  tresult PLUGIN_API getBusInfo(MediaType, BusDirection direction, int32, BusInfo& info) override {
    info = {};
    info.channelCount = direction == kInput ? inputs_ : outputs_;
    return resultOf(Fails("bus-info"));
  }
  tresult PLUGIN_API getRoutingInfo(RoutingInfo&, RoutingInfo&) override { return kNotImplemented; }
  tresult PLUGIN_API activateBus(MediaType type, BusDirection direction, int32 index, TBool state) override {
    Log(std::string("component.activateBus ") + (type == kAudio ? "audio" : "event") +
        (direction == kInput ? " input " : " output ") + std::to_string(index) + onOff(state));
    return resultOf(Fails("activate-bus"));
  }
  tresult PLUGIN_API setActive(TBool state) override {
    Log("component.setActive" + onOff(state));
    return resultOf(Fails("set-active"));
  }

  // Processor
  tresult PLUGIN_API setBusArrangements(SpeakerArrangement* inputs, int32 inputCount, SpeakerArrangement* outputs,
                                        int32 outputCount) override {
    const bool mono = inputCount == 1 && outputCount == 1 && inputs[0] == 0x80000 && outputs[0] == 0x80000;
    Log(mono ? "processor.setBusArrangements mono" : "processor.setBusArrangements other");
    return resultOf(inputs_ != 1 || outputs_ != 1);
  }
  tresult PLUGIN_API getBusArrangement(BusDirection direction, int32, SpeakerArrangement& speakers) override {
    speakers = (SpeakerArrangement{1} << std::clamp(direction == kInput ? inputs_ : outputs_, 0, 63)) - 1;
    return kResultOk;
  }
  tresult PLUGIN_API canProcessSampleSize(int32) override { return kResultOk; }
  uint32 PLUGIN_API getLatencySamples() override { return 0; }
  tresult PLUGIN_API setupProcessing(ProcessSetup& setup) override;
  tresult PLUGIN_API setProcessing(TBool state) override {
    Log("processor.setProcessing" + onOff(state));
    return resultOf(Fails("set-processing"));
  }
  tresult PLUGIN_API process(ProcessData& data) override;
  uint32 PLUGIN_API getTailSamples() override { return 0; }

  // Connection point
  tresult PLUGIN_API connect(IConnectionPoint* other) override {
    Log(name_ + (other != nullptr ? ".connect" : ".connect null"));
    return resultOf(Fails(name_ + "-connect"));
  }
  tresult PLUGIN_API disconnect(IConnectionPoint*) override {
    Log(name_ + ".disconnect");
    return kResultOk;
  }
  tresult PLUGIN_API notify(IMessage*) override { return kResultOk; }

  // Controller
  tresult PLUGIN_API setComponentState(IBStream*) override { return kResultOk; }
  int32 PLUGIN_API getParameterCount() override { return Does("no-parameters") ? 0 : 1; }
  tresult PLUGIN_API getParameterInfo(int32 index, ParameterInfo& info) override {
    info = {};
    info.id = kGainId;
    return resultOf(Fails("parameter-info") || index != 0);
  }
  tresult PLUGIN_API getParamStringByValue(ParamID, ParamValue, String128) override { return kNotImplemented; }
  tresult PLUGIN_API getParamValueByString(ParamID, TChar*, ParamValue&) override { return kNotImplemented; }
  ParamValue PLUGIN_API normalizedParamToPlain(ParamID, ParamValue value) override { return value; }
  ParamValue PLUGIN_API plainParamToNormalized(ParamID, ParamValue value) override { return value; }
  ParamValue PLUGIN_API getParamNormalized(ParamID) override { return gain_.load(std::memory_order_relaxed); }
  tresult PLUGIN_API setParamNormalized(ParamID id, ParamValue value) override {
    if (Fails("set-parameter") || id != kGainId) {
      return kInvalidArgument;
    }
    gain_.store(value, std::memory_order_relaxed);
    return kResultOk;
  }
  tresult PLUGIN_API setComponentHandler(IComponentHandler* handler) override {
    Log(handler != nullptr ? "controller.setComponentHandler host" : "controller.setComponentHandler null");
    return kResultOk;
  }
  IPlugView* PLUGIN_API createView(FIDString) override { return nullptr; }

 private:
  // Read once: the sound must not search words.
  const int32 inputs_ = NumberOf("inputs", 1);
  const int32 outputs_ = NumberOf("outputs", 1);
  const bool processFails_ = Does("process-fails");
  const bool processThrows_ = Does("process-throws");
  const bool scribbles_ = Does("scribbles");
  const bool claimsSilence_ = Does("claims-silence");
  std::atomic<double> gain_{0.5};
};

tresult PLUGIN_API TestEffect::queryInterface(const TUID id, void** object) {
  *object = nullptr;
  const bool isController = name_ == "controller";
  const bool controls = isController || !(Does("separate-controller") || Does("no-controller"));
  if (isId(id, FUnknown::iid) || (isId(id, IComponent::iid) && !isController)) {
    *object = static_cast<IComponent*>(this);
  } else if (isId(id, IAudioProcessor::iid) && !isController) {
    Log("component.query processor");
    *object = Fails("processor") ? nullptr : static_cast<IAudioProcessor*>(this);
  } else if (isId(id, IConnectionPoint::iid) && !Does(name_ + "-unconnectable")) {
    *object = static_cast<IConnectionPoint*>(this);
  } else if (isId(id, IEditController::iid) && controls) {
    *object = static_cast<IEditController*>(this);
  }
  if (*object == nullptr) {
    return kNoInterface;
  }
  add();
  return kResultOk;
}

alignas(8) const TUID kFirstClass = INLINE_UID(0x54574B01, 0x7E571E57, 0, 1);
alignas(8) const TUID kSecondClass = INLINE_UID(0x54574B01, 0x7E571E57, 0, 2);
alignas(8) const TUID kControllerClass = INLINE_UID(0x54574B01, 0x7E571E57, 0, 3);

tresult PLUGIN_API TestEffect::getControllerClassId(TUID classId) {
  Log("component.getControllerClassId");
  std::memcpy(classId, kControllerClass, sizeof(TUID));
  return Does("separate-controller") || Does("names-absent-controller") ? kResultOk : kNotImplemented;
}

tresult PLUGIN_API TestEffect::setupProcessing(ProcessSetup& setup) {
  char text[120];
  std::snprintf(text, sizeof text, "processor.setupProcessing mode=%d size=%d block=%d rate=%g", setup.processMode,
                setup.symbolicSampleSize, setup.maxSamplesPerBlock, setup.sampleRate);
  Log(text);
  return resultOf(Fails("setup"));
}

// Trusts its own channel counts, as effects do, up to what the host says it has given.
tresult PLUGIN_API TestEffect::process(ProcessData& data) {
  if (processThrows_) {
    throw std::runtime_error("the test effect throws");
  }
  if (data.processMode != kRealtime || data.symbolicSampleSize != kSample32 || data.numInputs != 1 ||
      data.numOutputs != 1) {
    return kInvalidArgument;
  }
  const auto plain = static_cast<float>(gain_.load(std::memory_order_relaxed));
  const int32 inputs = std::max(std::min(inputs_, data.inputs[0].numChannels), 1);
  const int32 outputs = outputs_ > 1000 ? data.outputs[0].numChannels : std::max(outputs_, 1);
  for (int32 channel = 0; channel < outputs; ++channel) {
    const float* in = data.inputs[0].channelBuffers32[std::min(channel, inputs - 1)];
    float* out = data.outputs[0].channelBuffers32[channel];
    const float factor = plain * static_cast<float>(channel + 1);  // only the first channel has the plain gain
    for (int32 k = 0; k < data.numSamples; ++k) {
      out[k] += in[k] * factor;  // on top of what is there: the host must hand out silence
    }
  }
  if (scribbles_) {
    std::fill_n(data.inputs[0].channelBuffers32[0], data.numSamples, 99.0f);
  }
  data.outputs[0].silenceFlags |= claimsSilence_ ? 1 : 0;
  return resultOf(processFails_);
}

struct ClassEntry {
  const TUID& id;
  const char* category;
  const char* name;
};

std::vector<ClassEntry> listOfClasses() {
  constexpr const char* kEffect = "Audio Module Class";
  if (Does("no-classes")) {
    return {};
  }
  if (Does("other-categories")) {
    return {{kFirstClass, "audio module class", ""}, {kFirstClass, "Audio Module Class ", ""}};
  }
  if (Does("two-effects")) {
    return {{kControllerClass, "Component Controller Class", "Controller"},
            {kFirstClass, kEffect, "First"},
            {kSecondClass, kEffect, "Second"}};
  }
  // 64 characters are the whole field, so that no closing zero fits.
  const char* longName = "0123456789012345678901234567890123456789012345678901234567890123";
  return {{kFirstClass, kEffect, Does("long-name") ? longName : "Test Effect \xC3\xA4"}};
}

class TestFactory final : public IPluginFactory2, public Counted {
 public:
  TestFactory() : Counted("factory") {}

  tresult PLUGIN_API queryInterface(const TUID id, void** object) override {
    const bool known = isId(id, IPluginFactory2::iid) && !Does("old-factory");
    *object = known ? static_cast<IPluginFactory2*>(this) : nullptr;
    return known ? (add(), kResultOk) : kNoInterface;
  }
  uint32 PLUGIN_API addRef() override { return add(); }
  uint32 PLUGIN_API release() override { return drop(); }

  tresult PLUGIN_API getFactoryInfo(PFactoryInfo*) override { return kNotImplemented; }
  int32 PLUGIN_API countClasses() override { return Fails("count-classes") ? 0 : static_cast<int32>(classes_.size()); }
  tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override { return describe(index, *info, ""); }
  tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override { return describe(index, *info, "2"); }
  tresult PLUGIN_API createInstance(FIDString classId, FIDString interfaceId, void** object) override;

 private:
  template <typename Info>
  tresult describe(int32 index, Info& info, const char* version) {
    Log(std::string("factory.getClassInfo") + version + " " + std::to_string(index));
    const ClassEntry& entry = classes_[static_cast<size_t>(index)];
    std::memcpy(info.cid, entry.id, sizeof(TUID));
    // Bounded by the field, with no zero after a text that fills it.
    std::memcpy(info.category, entry.category, std::min(std::strlen(entry.category) + 1, sizeof info.category));
    std::memcpy(info.name, entry.name, std::min(std::strlen(entry.name) + 1, sizeof info.name));
    if (index == NumberOf("info-throws-at", -1)) {
      throw index;
    }
    return resultOf(index == NumberOf("info-fails-at", -1));
  }

  const std::vector<ClassEntry> classes_ = listOfClasses();
};

tresult PLUGIN_API TestFactory::createInstance(FIDString classId, FIDString interfaceId, void** object) {
  *object = nullptr;
  const bool controller = isId(interfaceId, IEditController::iid);
  const auto is = [classId](const TUID& known) { return std::memcmp(classId, known, sizeof(TUID)) == 0; };
  if (controller ? !is(kControllerClass) : !is(kFirstClass) && !is(kSecondClass)) {
    return kNoInterface;
  }
  Log(controller ? "factory.create controller" : "factory.create component");
  if (controller) {
    *object = Does("names-absent-controller") ? nullptr : static_cast<IEditController*>(new TestEffect("controller"));
    return resultOf(*object == nullptr);
  }
  const bool fails = Fails("create");
  *object = fails || Does("create-yields-null") ? nullptr : static_cast<IComponent*>(new TestEffect("component"));
  return resultOf(fails);
}

}  // namespace
}  // namespace tarnwick::test_plugin

extern "C" SMTG_EXPORT_SYMBOL Steinberg::IPluginFactory* PLUGIN_API GetPluginFactory() {
  using namespace tarnwick::test_plugin;
  return Fails("factory") ? nullptr : new TestFactory;
}

// What a host hands to an effect: a stream in memory and parameter changes. Not counted: they live on the stack.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"

namespace tarnwick::ombrel::test {

template <typename Interface>
class Uncounted : public Interface {
 public:
  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID /*interfaceId*/, void** object) override {
    *object = nullptr;
    return Steinberg::kNoInterface;
  }
  Steinberg::uint32 PLUGIN_API addRef() override { return 1; }
  Steinberg::uint32 PLUGIN_API release() override { return 1; }
};

// Moves at most `largestMove` bytes per call.
class MemoryStream final : public Uncounted<Steinberg::IBStream> {
 public:
  explicit MemoryStream(std::vector<uint8_t> content = {}, size_t largestMove = SIZE_MAX)
      : bytes(std::move(content)), largestMove_(largestMove) {}

  Steinberg::tresult PLUGIN_API read(void* buffer, Steinberg::int32 count, Steinberg::int32* moved) override {
    const size_t size = std::min({static_cast<size_t>(count), bytes.size() - position_, largestMove_});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position_), size, static_cast<uint8_t*>(buffer));
    position_ += size;
    *moved = static_cast<Steinberg::int32>(size);
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API write(void* buffer, Steinberg::int32 count, Steinberg::int32* moved) override {
    const size_t size = std::min(static_cast<size_t>(count), largestMove_);
    const auto* const from = static_cast<const uint8_t*>(buffer);
    bytes.insert(bytes.end(), from, from + size);
    *moved = static_cast<Steinberg::int32>(size);
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API seek(Steinberg::int64, Steinberg::int32, Steinberg::int64*) override {
    return Steinberg::kNotImplemented;
  }
  Steinberg::tresult PLUGIN_API tell(Steinberg::int64*) override { return Steinberg::kNotImplemented; }

  std::vector<uint8_t> bytes;

 private:
  size_t largestMove_;
  size_t position_ = 0;
};

// One queue, a parameter and its points; the host fails to give a second one.
class ParameterChange final : public Uncounted<Steinberg::Vst::IParameterChanges>,
                              public Uncounted<Steinberg::Vst::IParamValueQueue> {
 public:
  ParameterChange(Steinberg::Vst::ParamID id, std::vector<double> values) : id_(id), values_(std::move(values)) {}

  Steinberg::int32 PLUGIN_API getParameterCount() override { return 2; }
  Steinberg::Vst::IParamValueQueue* PLUGIN_API getParameterData(Steinberg::int32 index) override {
    return index == 0 ? this : nullptr;
  }
  Steinberg::Vst::IParamValueQueue* PLUGIN_API addParameterData(const Steinberg::Vst::ParamID&,
                                                                Steinberg::int32&) override {
    return nullptr;
  }
  Steinberg::Vst::ParamID PLUGIN_API getParameterId() override { return id_; }
  Steinberg::int32 PLUGIN_API getPointCount() override { return static_cast<Steinberg::int32>(values_.size()); }
  Steinberg::tresult PLUGIN_API getPoint(Steinberg::int32 index, Steinberg::int32& offset,
                                         Steinberg::Vst::ParamValue& value) override {
    offset = index;
    value = values_.at(static_cast<size_t>(index));
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API addPoint(Steinberg::int32, Steinberg::Vst::ParamValue, Steinberg::int32&) override {
    return Steinberg::kNotImplemented;
  }

 private:
  Steinberg::Vst::ParamID id_;
  std::vector<double> values_;
};

}  // namespace tarnwick::ombrel::test

// The stream in memory that a host saves an effect's state to. Not counted: it lives on the stack.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "pluginterfaces/base/ibstream.h"

namespace tarnwick::ombrel::test {

class MemoryStream final : public Steinberg::IBStream {
 public:
  explicit MemoryStream(std::vector<uint8_t> content = {}) : bytes(std::move(content)) {}

  Steinberg::tresult PLUGIN_API queryInterface(const Steinberg::TUID /*interfaceId*/, void** object) override {
    *object = nullptr;
    return Steinberg::kNoInterface;
  }
  Steinberg::uint32 PLUGIN_API addRef() override { return 1; }
  Steinberg::uint32 PLUGIN_API release() override { return 1; }

  Steinberg::tresult PLUGIN_API read(void* buffer, Steinberg::int32 count, Steinberg::int32* moved) override {
    const size_t size = std::min(static_cast<size_t>(count), bytes.size() - position_);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position_), size, static_cast<uint8_t*>(buffer));
    position_ += size;
    *moved = static_cast<Steinberg::int32>(size);
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API write(void* buffer, Steinberg::int32 count, Steinberg::int32* moved) override {
    const auto* const from = static_cast<const uint8_t*>(buffer);
    bytes.insert(bytes.end(), from, from + count);
    *moved = count;
    return Steinberg::kResultOk;
  }
  Steinberg::tresult PLUGIN_API seek(Steinberg::int64, Steinberg::int32, Steinberg::int64*) override {
    return Steinberg::kNotImplemented;
  }
  Steinberg::tresult PLUGIN_API tell(Steinberg::int64*) override { return Steinberg::kNotImplemented; }

  std::vector<uint8_t> bytes;

 private:
  size_t position_ = 0;
};

}  // namespace tarnwick::ombrel::test

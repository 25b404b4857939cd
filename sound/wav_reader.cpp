#include "sound/wav_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <new>
#include <stdexcept>

#include "platform/audio/audio_driver.h"
#include "sound/sample_format.h"
#include "sound/wav_format.h"

namespace tarnwick::sound {
namespace {

constexpr size_t kChunkHead = 8;
constexpr size_t kPlainFormat = 16;
constexpr size_t kExtensibleFormat = 40;
constexpr size_t kDs64Sizes = 24;
constexpr size_t kReadBytes = 1 << 16;

struct Layout {
  bool hasFormat = false;
  uint16_t tag = 0;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;
  uint32_t frameBytes = 0;
  uint32_t bits = 0;
  bool hasDs64 = false;
  uint64_t ds64DataSize = 0;
  bool hasData = false;
  uint64_t dataAt = 0;
  uint64_t dataSize = 0;  // never beyond the file's end
};

bool hasTag(const uint8_t* bytes, const char* tag) {
  return std::memcmp(bytes, tag, 4) == 0;
}

// One file, read by position; what lies beyond its end counts as not there.
class File {
 public:
  bool open(const std::filesystem::path& path) {
    stream_.open(path, std::ios::binary | std::ios::ate);
    const std::streamoff end = stream_ ? static_cast<std::streamoff>(stream_.tellg()) : -1;
    size_ = end > 0 ? static_cast<uint64_t>(end) : 0;
    return end >= 0;
  }
  uint64_t size() const { return size_; }
  bool read(uint64_t at, void* to, size_t bytes) {
    if (at > size_ || bytes > size_ - at) {
      return false;
    }
    stream_.seekg(static_cast<std::streamoff>(at));
    stream_.read(static_cast<char*>(to), static_cast<std::streamsize>(bytes));
    return static_cast<bool>(stream_);
  }

 private:
  std::ifstream stream_;
  uint64_t size_ = 0;
};

void readFormat(File& file, uint64_t at, uint32_t size, Layout& layout) {
  std::array<uint8_t, kExtensibleFormat> bytes{};
  if (size < kPlainFormat || !file.read(at, bytes.data(), std::min<size_t>(size, bytes.size()))) {
    return;
  }
  layout.hasFormat = true;
  layout.tag = wav::ReadLittleEndian<uint16_t>(&bytes[0]);
  layout.channels = wav::ReadLittleEndian<uint16_t>(&bytes[2]);
  layout.sampleRate = wav::ReadLittleEndian<uint32_t>(&bytes[4]);
  layout.frameBytes = wav::ReadLittleEndian<uint16_t>(&bytes[12]);
  layout.bits = wav::ReadLittleEndian<uint16_t>(&bytes[14]);
  constexpr size_t kSubFormat = 24;
  if (layout.tag == wav::kExtensible && size >= kExtensibleFormat &&
      std::equal(wav::kSubFormatTail.begin(), wav::kSubFormatTail.end(), &bytes[kSubFormat + 2])) {
    layout.tag = wav::ReadLittleEndian<uint16_t>(&bytes[kSubFormat]);
  }
}

void takeData(uint64_t fileSize, uint64_t at, uint32_t stated, Layout& layout) {
  const uint64_t there = fileSize - at;
  uint64_t size = stated;
  if (stated == wav::kUnknownSize) {
    const bool known = layout.hasDs64 && layout.ds64DataSize != 0;
    size = known ? layout.ds64DataSize : there;
  }
  layout.hasData = true;
  layout.dataAt = at;
  layout.dataSize = std::min(size, there);
}

// False when the file is no WAV file at all. Stops at the data, since a stream may have nothing sensible behind it.
bool readLayout(File& file, Layout& layout) {
  std::array<uint8_t, 12> head{};
  const bool readable = file.read(0, head.data(), head.size());
  const bool riff = hasTag(&head[0], "RIFF") || hasTag(&head[0], "RF64") || hasTag(&head[0], "BW64");
  if (!readable || !riff || !hasTag(&head[8], "WAVE")) {
    return false;
  }
  std::array<uint8_t, kChunkHead> chunk{};
  for (uint64_t at = head.size(); !layout.hasData && file.read(at, chunk.data(), chunk.size());) {
    const auto size = wav::ReadLittleEndian<uint32_t>(&chunk[4]);
    const uint64_t body = at + kChunkHead;
    std::array<uint8_t, kDs64Sizes> sizes{};
    if (hasTag(chunk.data(), "fmt ") && !layout.hasFormat) {
      readFormat(file, body, size, layout);
    } else if (hasTag(chunk.data(), "ds64") && size >= kDs64Sizes && file.read(body, sizes.data(), sizes.size())) {
      layout.hasDs64 = true;
      layout.ds64DataSize = wav::ReadLittleEndian<uint64_t>(&sizes[8]);
    } else if (hasTag(chunk.data(), "data") && layout.hasFormat) {
      takeData(file.size(), body, size, layout);
    }
    at = body + size + (size & 1);
  }
  return true;
}

bool supported(const Layout& layout) {
  const bool integers = layout.tag == wav::kPcm && layout.bits >= 8 && layout.bits <= 32 && layout.bits % 8 == 0;
  const bool floats = layout.tag == wav::kIeeeFloat && (layout.bits == 32 || layout.bits == 64);
  return (integers || floats) && layout.frameBytes == layout.channels * layout.bits / 8;
}

// The format as a device's sample type; 8 bits, which are unsigned here, become the upper half of 16.
int32_t sampleType(const Layout& layout) {
  if (layout.tag == wav::kIeeeFloat) {
    return layout.bits == 32 ? platform::kFloat32LSB : platform::kFloat64LSB;
  }
  return layout.bits == 32 ? platform::kInt32LSB : layout.bits == 24 ? platform::kInt24LSB : platform::kInt16LSB;
}

// One channel's samples out of `frames` frames, side by side.
void gatherChannel(const uint8_t* from, const Layout& layout, size_t frames, uint8_t* to) {
  if (layout.bits == 8) {
    for (size_t i = 0; i < frames; ++i, from += layout.frameBytes) {
      *to++ = 0;
      *to++ = static_cast<uint8_t>(*from ^ 0x80);
    }
    return;
  }
  const size_t bytes = layout.bits / 8;
  for (size_t i = 0; i < frames; ++i, from += layout.frameBytes, to += bytes) {
    std::memcpy(to, from, bytes);
  }
}

bool readSamples(File& file, const Layout& layout, WavSamples& out) {
  const size_t framesAtOnce = std::max<size_t>(1, kReadBytes / layout.frameBytes);
  const int32_t type = sampleType(layout);
  std::vector<uint8_t> bytes(framesAtOnce * layout.frameBytes);
  std::vector<uint8_t> oneChannel(framesAtOnce * static_cast<size_t>(platform::BytesPerSample(type)));
  for (size_t first = 0; first < out.frames; first += framesAtOnce) {
    const size_t frames = std::min(framesAtOnce, out.frames - first);
    if (!file.read(layout.dataAt + uint64_t{first} * layout.frameBytes, bytes.data(), frames * layout.frameBytes)) {
      return false;
    }
    for (size_t c = 0; c < layout.channels; ++c) {
      gatherChannel(bytes.data() + c * layout.bits / 8, layout, frames, oneChannel.data());
      ReadBlock(type, oneChannel.data(), out.samples.data() + c * out.frames + first, static_cast<int32_t>(frames));
    }
  }
  return true;
}

// The words after the file's name; empty when it was read.
std::wstring readFile(const std::filesystem::path& path, WavSamples& out, uint64_t maximumBytes) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  if (status.type() == std::filesystem::file_type::not_found) {
    return L"does not exist.";
  }
  if (std::filesystem::is_directory(status)) {
    return L"is a folder, not a WAV file.";
  }
  File file;
  if (!std::filesystem::is_regular_file(status) || !file.open(path)) {
    return L"cannot be read.";
  }
  Layout layout;
  if (!readLayout(file, layout)) {
    return L"is not a WAV file.";
  }
  if (!layout.hasFormat) {
    return L"is a WAV file without a format description.";
  }
  if (layout.channels == 0) {
    return L"has no channels.";
  }
  if (layout.channels > static_cast<uint32_t>(kMaximumWavChannels)) {
    return L"has " + std::to_wstring(layout.channels) + L" channels; at most " + std::to_wstring(kMaximumWavChannels) +
           L" are possible.";
  }
  if (!supported(layout)) {
    return L"has an unsupported sample format (format " + std::to_wstring(layout.tag) + L", " +
           std::to_wstring(layout.bits) + L" bits); PCM of 8, 16, 24 or 32 bits and floats of 32 or 64 can be read.";
  }
  if (layout.sampleRate == 0) {
    return L"states no sample rate.";
  }
  const uint64_t frames = layout.dataSize / layout.frameBytes;
  if (frames == 0) {
    return L"has no audio in it.";
  }
  if (frames > maximumBytes / sizeof(float) / layout.channels) {
    return L"is too large: at most " + std::to_wstring(maximumBytes >> 20) + L" MiB of 32-bit samples can be loaded.";
  }
  out.channels = static_cast<int32_t>(layout.channels);
  out.sampleRate = layout.sampleRate;
  out.frames = static_cast<size_t>(frames);
  out.samples.assign(out.frames * layout.channels, 0.0f);
  return readSamples(file, layout, out) ? L"" : L"cannot be read to its end.";
}

}  // namespace

bool ReadWav(const std::wstring& path, WavSamples& out, std::wstring* error, uint64_t maximumBytes) {
  std::wstring words;
  try {
    words = readFile(wav::PathFromWide(path), out, maximumBytes);
  } catch (const std::bad_alloc&) {
    words = L"does not fit into memory.";
  } catch (const std::exception&) {  // the file streams' own
    words = L"cannot be read.";
  }
  if (!words.empty() && error) {
    *error = L"\"" + path + L"\" " + words;
  }
  return words.empty();
}

}  // namespace tarnwick::sound

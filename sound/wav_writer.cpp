#include "sound/wav_writer.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "sound/wav_format.h"

namespace tarnwick::sound {
namespace {

constexpr uint32_t kSampleBytes = 4;
constexpr uint32_t kSampleBits = 32;
constexpr uint32_t kDs64Bytes = 28;
constexpr uint32_t kPlainFormatBytes = 18;
constexpr uint32_t kExtensibleFormatBytes = 40;

// Fills a header from the front.
class HeaderBytes {
 public:
  explicit HeaderBytes(uint8_t* bytes) : bytes_(bytes) {}
  void tag(const char* text) {
    std::memcpy(bytes_ + size_, text, 4);
    size_ += 4;
  }
  template <typename Word>
  void word(Word value) {
    for (size_t k = 0; k < sizeof(Word); ++k) {
      bytes_[size_++] = static_cast<uint8_t>(value >> (8 * k));
    }
  }
  void skip(size_t count) { size_ += count; }
  size_t size() const { return size_; }

 private:
  uint8_t* bytes_;
  size_t size_ = 0;
};

}  // namespace

WavWriter::~WavWriter() {
  if (created_) {
    file_.close();
    std::error_code ignored;
    std::filesystem::remove(wav::PathFromWide(path_), ignored);
  }
}

bool WavWriter::open(const std::wstring& path, int32_t channels, std::wstring* error) {
  path_ = path;
  channels_ = static_cast<uint32_t>(channels);
  std::error_code ignored;
  const auto kind = std::filesystem::status(wav::PathFromWide(path), ignored).type();
  if (!file_.open(path, error)) {
    return false;
  }
  created_ = kind == std::filesystem::file_type::not_found;
  return true;
}

bool WavWriter::begin(double sampleRate, std::wstring* error) {
  const auto rate = static_cast<uint32_t>(std::lround(sampleRate));
  if (sampleRate_ != 0) {
    if (rate != sampleRate_ && error) {
      *error = L"\"" + path_ + L"\" has been begun at " + std::to_wstring(sampleRate_) +
               L" Hz; what is played at another rate is not written.";
    }
    return rate == sampleRate_;
  }
  sampleRate_ = rate;
  created_ = false;
  const Header head = header(false);
  std::wstring words;
  return (file_.clear(&words) && file_.write(head.bytes.data(), head.size, &words)) || fail(error, words);
}

bool WavWriter::write(const float* interleaved, size_t frames, std::wstring* error) {
  std::wstring words;
  if (failed_ || !file_.write(interleaved, frames * channels_ * kSampleBytes, &words)) {
    return fail(error, words);
  }
  frames_ += frames;
  return true;
}

bool WavWriter::refreshHeader(std::wstring* error) {
  if (!file_.isSeekable() || sampleRate_ == 0) {
    return true;
  }
  const Header head = header(true);
  const uint64_t end = head.size + frames_ * channels_ * kSampleBytes;
  std::wstring words;
  return (file_.seek(0, &words) && file_.write(head.bytes.data(), head.size, &words) && file_.seek(end, &words)) ||
         fail(error, words);
}

bool WavWriter::sync(std::wstring* error) {
  std::wstring words;
  return refreshHeader(error) && (file_.sync(&words) || fail(error, words));
}

WavWriter::Header WavWriter::header(bool sizesKnown) const {
  const bool extensible = channels_ > 2;
  const uint32_t formatBytes = extensible ? kExtensibleFormatBytes : kPlainFormatBytes;
  const uint32_t frameBytes = channels_ * kSampleBytes;
  const uint64_t dataSize = frames_ * frameBytes;
  // RIFF form type, and the chunks ds64 or JUNK, fmt, fact and data.
  const uint64_t riffSize = 4 + (8 + kDs64Bytes) + (8 + formatBytes) + (8 + 4) + 8 + dataSize;
  const bool large = sizesKnown && riffSize > riffLimit_;
  const bool stated = sizesKnown && !large;
  const auto small = [stated](uint64_t size) { return stated ? static_cast<uint32_t>(size) : wav::kUnknownSize; };

  Header result;
  HeaderBytes out(result.bytes.data());
  out.tag(large ? "RF64" : "RIFF");
  out.word(small(riffSize));
  out.tag("WAVE");
  out.tag(large ? "ds64" : "JUNK");
  out.word(kDs64Bytes);
  if (large) {
    out.word(riffSize);
    out.word(dataSize);
    out.word(frames_);
    out.word(uint32_t{0});  // entries of the table of further sizes
  } else {
    out.skip(kDs64Bytes);
  }
  out.tag("fmt ");
  out.word(formatBytes);
  out.word(extensible ? wav::kExtensible : wav::kIeeeFloat);
  out.word(static_cast<uint16_t>(channels_));
  out.word(sampleRate_);
  out.word(sampleRate_ * frameBytes);
  out.word(static_cast<uint16_t>(frameBytes));
  out.word(static_cast<uint16_t>(kSampleBits));
  out.word(static_cast<uint16_t>(formatBytes - kPlainFormatBytes));
  if (extensible) {
    out.word(static_cast<uint16_t>(kSampleBits));
    out.word(uint32_t{0});  // no loudspeaker positions
    out.word(wav::kIeeeFloat);
    for (const uint8_t byte : wav::kSubFormatTail) {
      out.word(byte);
    }
  }
  out.tag("fact");
  out.word(uint32_t{4});
  out.word(small(frames_));
  out.tag("data");
  out.word(small(dataSize));
  result.size = out.size();
  return result;
}

// Only the first failure is told.
bool WavWriter::fail(std::wstring* error, const std::wstring& words) {
  if (!failed_ && error) {
    *error = words;
  }
  failed_ = true;
  return false;
}

}  // namespace tarnwick::sound

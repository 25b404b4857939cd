#include "sound/wav_writer.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>

#include "platform/text.h"
#include "sound/wav_format.h"

namespace tarnwick::sound {
namespace {

constexpr uint32_t kSampleBytes = 4;
constexpr uint32_t kSampleBits = 32;
constexpr uint32_t kDs64Bytes = 28;
constexpr uint32_t kPlainFormatBytes = 18;
constexpr uint32_t kExtensibleFormatBytes = 40;

std::wstring reason(int code) {
  return code == 0 ? L"the system gave no reason" : platform::WideFromUtf8(std::generic_category().message(code));
}

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
    stream_.close();
    std::error_code ignored;
    std::filesystem::remove(wav::PathFromWide(path_), ignored);
  }
}

bool WavWriter::openStream(std::ios::openmode mode) {
  try {
    // Unbuffered: what was written is in the file, and after a failed write the header can still be put right.
    stream_.rdbuf()->pubsetbuf(nullptr, 0);
    stream_.clear();
    errno = 0;
    stream_.open(wav::PathFromWide(path_), std::ios::binary | std::ios::out | mode);
  } catch (const std::exception&) {
    stream_.setstate(std::ios::failbit);
  }
  return static_cast<bool>(stream_);
}

bool WavWriter::open(const std::wstring& path, int32_t channels, std::wstring* error) {
  path_ = path;
  channels_ = static_cast<uint32_t>(channels);
  std::error_code ignored;
  const auto kind = std::filesystem::status(wav::PathFromWide(path), ignored).type();
  // A file that is there is opened without emptying it; anything but a file (a FIFO, a device) just to be written.
  const bool isFile = kind == std::filesystem::file_type::regular;
  if (!openStream(isFile ? std::ios::in : std::ios::trunc)) {
    if (error) {
      *error = L"\"" + path + L"\" cannot be created: " + reason(errno) + L".";
    }
    return false;
  }
  created_ = kind == std::filesystem::file_type::not_found;
  seekable_ = stream_.tellp() != std::ofstream::pos_type(-1);
  stream_.clear();
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
  if (seekable_) {
    stream_.close();
    if (!openStream(std::ios::trunc)) {
      return fail(error);
    }
  }
  const Header head = header(false);
  return put(head.bytes.data(), head.size) || fail(error);
}

bool WavWriter::write(const float* interleaved, size_t frames, std::wstring* error) {
  if (failed_ || !put(interleaved, frames * channels_ * kSampleBytes)) {
    return fail(error);
  }
  frames_ += frames;
  return true;
}

bool WavWriter::refreshHeader() {
  if (!seekable_ || sampleRate_ == 0) {
    return true;
  }
  const Header head = header(true);
  stream_.clear();
  stream_.seekp(0);
  const bool written = put(head.bytes.data(), head.size);
  stream_.seekp(0, std::ios::end);
  return written && stream_;
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

bool WavWriter::put(const void* bytes, size_t size) {
  errno = 0;
  stream_.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
  return static_cast<bool>(stream_);
}

bool WavWriter::fail(std::wstring* error) {
  const int code = errno;
  if (!failed_ && error) {
    *error = L"\"" + path_ + L"\" cannot be written: " + reason(code) + L".";
  }
  failed_ = true;
  return false;
}

}  // namespace tarnwick::sound

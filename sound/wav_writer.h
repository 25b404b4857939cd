// Writes a 32-bit float WAV file as it comes, for as long as it comes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/files.h"

namespace tarnwick::sound {

// Above this RIFF size a file becomes RF64 (EBU Tech 3306); smaller values are for tests.
inline constexpr uint64_t kRiffLimit = 0xFFFFFFFE;

// One file. The header keeps room for the 64-bit sizes of RF64 from the start, so it can become one at any time. Until
// the first refreshHeader it states sizes as unknown, and a target that cannot seek (a FIFO, a terminal) stays so.
// One thread at a time.
class WavWriter {
 public:
  explicit WavWriter(uint64_t riffLimit = kRiffLimit) : riffLimit_(riffLimit) {}

  WavWriter(const WavWriter&) = delete;
  WavWriter& operator=(const WavWriter&) = delete;
  // A file that was created and never begun is removed.
  ~WavWriter();

  // Finds out whether the file can be written; what it holds stays until `begin`. A FIFO waits here for its reader.
  // `channels`: 1..1024. False with the reason and the file's name in words. Once.
  bool open(const std::wstring& path, int32_t channels, std::wstring* error);
  // The first time, empties the file, fixes its sample rate and writes the header; later it only checks that the rate
  // is the same. False with words, and nothing may be written then.
  bool begin(double sampleRate, std::wstring* error);
  // Appends interleaved frames. After a failure the file keeps what it had and takes no more.
  bool write(const float* interleaved, size_t frames, std::wstring* error);
  // Brings the header up to what has been written. True where it cannot be. After a failure, told in words unless one
  // was told before, the file takes no more.
  bool refreshHeader(std::wstring* error = nullptr);
  // As refreshHeader, and header and samples are on the disk when this returns true. Waits for the disk.
  bool sync(std::wstring* error);

 private:
  static constexpr size_t kMaximumHeader = 120;
  struct Header {
    std::array<uint8_t, kMaximumHeader> bytes{};
    size_t size = 0;
  };
  Header header(bool sizesKnown) const;
  bool fail(std::wstring* error, const std::wstring& words);

  platform::OutputFile file_;
  std::wstring path_;
  uint64_t riffLimit_;
  uint32_t channels_ = 0;
  uint32_t sampleRate_ = 0;  // 0 until begin
  uint64_t frames_ = 0;      // completely written
  bool failed_ = false;
  bool created_ = false;  // by open, and not begun yet
};

}  // namespace tarnwick::sound

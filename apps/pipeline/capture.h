// SPDX-License-Identifier: MIT
// Where the samples come from: the built-in signal, a sound file read
// through libsndfile, or a headerless dump. Every source hands out blocks of
// interleaved frames of one raw sample type, so the analysis never knows
// which it is reading.
#pragma once

#include "options.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace pipeline {

struct CaptureInfo {
  std::string source;       // the path, or "built-in signal"
  std::string format;       // what the file is, in words
  SampleType type = SampleType::i16;
  unsigned channels = 0;
  double sample_rate = 0;
  uint64_t frames = 0;      // whole frames, when known up front (0: unknown)
  double scale = 1, offset = 0;  // the default code-to-volts mapping
};

class Capture {
 public:
  virtual ~Capture() = default;
  const CaptureInfo& info() const { return info_; }

  // Reads up to max_frames frames into buffer (room for max_frames *
  // channels samples); returns the number read, 0 at the end. Throws
  // InputError when the source fails.
  virtual std::size_t read(void* buffer, std::size_t max_frames) = 0;

  // A problem worth a warning that did not stop the reading (a partial last
  // frame); empty if none. Known once read has returned 0.
  const std::string& warning() const { return warning_; }

 protected:
  CaptureInfo info_;
  std::string warning_;
};

// Opens what the options name. Throws InputError (the file) or UsageError
// (options that do not fit the file).
std::unique_ptr<Capture> open_capture(const Options& options);

}  // namespace pipeline

// SPDX-License-Identifier: MIT
// Command line of morvex-pipeline.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace pipeline {

// Exit statuses: a bad command line is the caller's mistake (2), a capture
// that cannot be read or processed is the input's (1).
enum ExitStatus { kExitOk = 0, kExitInput = 1, kExitUsage = 2 };

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The raw sample types the tool reads. u8, i8, i16 and u16 are the library's
// raw types; f32 carries what a sound file holds at more than 16 bits.
enum class SampleType { u8, i8, i16, u16, f32 };

std::size_t sample_size(SampleType type);
const char* sample_name(SampleType type);

struct Options {
  std::string capture;                    // empty: the built-in signal
  std::optional<SampleType> raw;          // headerless capture of this type
  unsigned channels = 1;                  // raw only
  bool channels_given = false;
  double rate = 0.0;                      // raw only, Hz
  std::optional<double> scale, offset;    // volts = code * scale + offset
  std::size_t block = 4096;               // frames per block
  std::optional<double> level, hysteresis;  // volts, all channels
  std::optional<double> lowpass;          // Hz
  std::string out = "morvex-report";
  bool json = false;
  bool quiet = false;
  bool help = false;
  bool version = false;
};

// Largest block and channel count: the deinterleave exports count a block's
// samples in a signed 32-bit integer, and the plot keeps a few blocks' worth.
inline constexpr std::size_t kMinBlock = 16;
inline constexpr std::size_t kMaxBlock = std::size_t{1} << 22;
inline constexpr unsigned kMaxChannels = 256;

// Throws UsageError with a one-line message.
Options parse_options(int argc, char** argv);

const char* help_text();

}  // namespace pipeline

// SPDX-License-Identifier: MIT
#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace pipeline {

std::size_t sample_size(SampleType type) {
  switch (type) {
    case SampleType::u8:
    case SampleType::i8: return 1;
    case SampleType::i16:
    case SampleType::u16: return 2;
    case SampleType::f32: return 4;
  }
  return 1;
}

const char* sample_name(SampleType type) {
  switch (type) {
    case SampleType::u8: return "u8";
    case SampleType::i8: return "i8";
    case SampleType::i16: return "i16";
    case SampleType::u16: return "u16";
    case SampleType::f32: return "f32";
  }
  return "?";
}

const char* help_text() {
  return R"(Usage: morvex-pipeline [options] [CAPTURE]

Analyses a capture block by block with libmorvex-m and writes a report,
CSV tables and plots. Without CAPTURE it analyses a built-in two-channel
signal: a 1 kHz sine of 0.5 V with noise on channel 0, pulses of 0.5 ms
every 2 ms on channel 1, 16-bit samples at 128 kHz.

CAPTURE is a WAV, FLAC or AIFF file (anything libsndfile reads), or with
--raw a headerless file of interleaved little-endian samples; - reads
standard input.

Input
  --raw TYPE        headerless capture of u8, i8, i16 or u16 samples
  --channels N      channels of a raw capture (default 1)
  --rate HZ         sample rate of a raw capture (required with --raw)
  --scale S         volts per code: volts = code * S + O
  --offset O        volts at code 0
                    Without either, full scale reads +-1 V: i16 code/32768,
                    u8 (code-128)/128, u16 (code-32768)/32768, i8 code/128;
                    files stored at more than 16 bits read as +-1.0.
                    Giving one of the two sets the other to 1 or 0.
Processing
  --block N         frames per block (default 4096, 16 to 4194304); also
                    the length of every transform
  --lowpass HZ      4th-order Butterworth low-pass, started in its steady
                    state, applied before every measurement
  --level V         trigger level in volts (default per channel: the middle
                    of the first block's range)
  --hysteresis V    width of the hysteresis band centred on the level
                    (default: a tenth of the first block's range, at least
                    one code). The signal is high at or above level + V/2
                    and low at or below level - V/2.
Output
  --out DIR         directory for the files (default ./morvex-report)
  --json            the report as JSON on standard output
  --quiet           no text report and no progress bar
  --version         print the library version
  -h, --help        this text

Measurements, per channel
  min, max, mean, rms   of the (filtered) signal in volts
  rising edges      a sample at or above level + hysteresis/2 after the
                    signal was at or below level - hysteresis/2; positions
                    are sample indices from the start of the capture
  pulses            from a rising edge to the next sample at or below
                    level - hysteresis/2; widths in seconds
  spectrum          Hann-windowed blocks (coherent gain taken out), power
                    averaged over every full block. Levels in dBV: 0 dBV is
                    1 V rms, so a sine of amplitude A centred on a bin reads
                    20*log10(A/sqrt(2)) dBV there (up to 1.4 dB less
                    between bins). The strongest frequency is the highest
                    bin from bin 2 up (bins 0 and 1 carry the mean), exact
                    to one bin (sample rate / block). The noise floor is the
                    median bin above DC.

Files in DIR
  spectrum.csv      frequency_hz and one dBV column per channel
  triggers.csv      channel, sample, time_s, pulse_width_s per rising edge
  spectrum.svg/png  the averaged spectrum
  waveform.svg/png  each channel around its first rising edge

Exit status: 0 done, 1 a capture that cannot be read or processed,
2 a bad command line.
)";
}

namespace {

std::string option_name(const char* arg) {
  const char* eq = std::strchr(arg, '=');
  return eq ? std::string(arg, eq) : std::string(arg);
}

double parse_number(const std::string& name, const char* text) {
  errno = 0;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || errno == ERANGE || !std::isfinite(value))
    throw UsageError(name + " needs a finite number, not '" + text + "'");
  return value;
}

unsigned long long parse_count(const std::string& name, const char* text) {
  errno = 0;
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text, &end, 10);
  if (end == text || *end != '\0' || errno == ERANGE || std::strchr(text, '-'))
    throw UsageError(name + " needs a whole number, not '" + text + "'");
  return value;
}

SampleType parse_type(const char* text) {
  for (SampleType t : {SampleType::u8, SampleType::i8, SampleType::i16, SampleType::u16})
    if (std::strcmp(text, sample_name(t)) == 0) return t;
  throw UsageError(std::string("unknown sample type '") + text + "' (use u8, i8, i16 or u16)");
}

}  // namespace

Options parse_options(int argc, char** argv) {
  Options o;
  bool positional_only = false;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    if (positional_only || arg[0] != '-' || std::strcmp(arg, "-") == 0) {
      if (!o.capture.empty()) throw UsageError("more than one capture given ('" + o.capture + "', '" + arg + "')");
      if (arg[0] == '\0') throw UsageError("empty capture name");
      o.capture = arg;
      continue;
    }
    const std::string name = option_name(arg);
    if (name == "--") { positional_only = true; continue; }
    if (name == "-h" || name == "--help") { o.help = true; continue; }
    if (name == "--version") { o.version = true; continue; }
    if (name == "--json") { o.json = true; continue; }
    if (name == "--quiet") { o.quiet = true; continue; }

    // Every other option takes a value, as --name VALUE or --name=VALUE.
    const char* eq = std::strchr(arg, '=');
    const char* value = eq ? eq + 1 : (i + 1 < argc ? argv[++i] : nullptr);
    const bool known = name == "--raw" || name == "--channels" || name == "--rate" || name == "--scale" ||
                       name == "--offset" || name == "--block" || name == "--level" ||
                       name == "--hysteresis" || name == "--lowpass" || name == "--out";
    if (!known) throw UsageError("unknown option '" + name + "'");
    if (!value) throw UsageError(name + " needs a value");

    if (name == "--raw") {
      o.raw = parse_type(value);
    } else if (name == "--channels") {
      const auto n = parse_count(name, value);
      if (n == 0) throw UsageError("--channels must be at least 1");
      if (n > kMaxChannels) throw UsageError("--channels must be at most " + std::to_string(kMaxChannels));
      o.channels = static_cast<unsigned>(n);
      o.channels_given = true;
    } else if (name == "--rate") {
      o.rate = parse_number(name, value);
      if (o.rate <= 0) throw UsageError("--rate must be positive");
    } else if (name == "--scale") {
      o.scale = parse_number(name, value);
    } else if (name == "--offset") {
      o.offset = parse_number(name, value);
    } else if (name == "--block") {
      const auto n = parse_count(name, value);
      if (n < kMinBlock || n > kMaxBlock)
        throw UsageError("--block must be between " + std::to_string(kMinBlock) + " and " +
                         std::to_string(kMaxBlock) + " frames, not " + value);
      o.block = static_cast<std::size_t>(n);
    } else if (name == "--level") {
      o.level = parse_number(name, value);
    } else if (name == "--hysteresis") {
      o.hysteresis = parse_number(name, value);
      if (*o.hysteresis <= 0) throw UsageError("--hysteresis must be positive");
    } else if (name == "--lowpass") {
      o.lowpass = parse_number(name, value);
      if (*o.lowpass <= 0) throw UsageError("--lowpass must be positive");
    } else if (name == "--out") {
      if (*value == '\0') throw UsageError("--out needs a directory name");
      o.out = value;
    }
  }
  if (o.help || o.version) return o;
  if (o.raw) {
    if (o.capture.empty()) throw UsageError("--raw needs a capture file");
    if (o.rate <= 0) throw UsageError("--raw needs --rate");
  } else if (o.channels_given || o.rate > 0) {
    throw UsageError("--channels and --rate describe --raw captures only");
  }
  return o;
}

}  // namespace pipeline

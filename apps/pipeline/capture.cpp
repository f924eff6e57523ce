// SPDX-License-Identifier: MIT
#include "capture.h"

#include "library.h"

#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace pipeline {

namespace {

// Full scale reads +-1 V unless the options say otherwise. Giving either
// --scale or --offset replaces the whole mapping, so that "volts = code *
// scale + offset" holds for exactly the numbers on the command line.
void apply_mapping(CaptureInfo& info, const Options& options) {
  switch (info.type) {
    case SampleType::u8: info.scale = 1.0 / 128; info.offset = -1.0; break;
    case SampleType::i8: info.scale = 1.0 / 128; info.offset = 0.0; break;
    case SampleType::i16: info.scale = 1.0 / 32768; info.offset = 0.0; break;
    case SampleType::u16: info.scale = 1.0 / 32768; info.offset = -1.0; break;
    case SampleType::f32: info.scale = 1.0; info.offset = 0.0; break;
  }
  if (options.scale || options.offset) {
    info.scale = options.scale.value_or(1.0);
    info.offset = options.offset.value_or(0.0);
  }
}

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Checks that a named file exists, can be opened and is not empty, so that
// the common mistakes get the system's own words rather than a decoder's.
// Returns the size of a regular file, or -1 for anything else (a pipe).
long long check_readable(const std::string& path) {
  if (path == "-") return -1;
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) throw InputError("cannot open " + quoted(path) + ": " + std::strerror(errno));
  struct stat st {};
  const int r = fstat(fileno(f), &st);
  std::fclose(f);
  if (r != 0) throw InputError("cannot examine " + quoted(path) + ": " + std::strerror(errno));
  if (S_ISDIR(st.st_mode)) throw InputError(quoted(path) + " is a directory");
  if (!S_ISREG(st.st_mode)) return -1;
  if (st.st_size == 0) throw InputError(quoted(path) + " is empty");
  return static_cast<long long>(st.st_size);
}

// ---------------------------------------------------------------- built-in
// An instrument made of the library's own generators: a noisy 1 kHz sine on
// channel 0 and 0.5 ms pulses every 2 ms on channel 1, 16-bit codes at
// 128 kHz. It is generated in chunks of its own size, whatever block size
// the analysis asks for, so that the signal does not depend on --block.
class BuiltinCapture final : public Capture {
 public:
  static constexpr std::size_t kChunk = 4096;
  static constexpr uint64_t kFrames = 64 * kChunk;

  explicit BuiltinCapture(const Options& options) {
    info_.source = "built-in signal";
    info_.format = "1 kHz sine of 0.5 V with noise; 0.1-0.8 V pulses, 0.5 ms every 2 ms";
    info_.type = SampleType::i16;
    info_.channels = 2;
    info_.sample_rate = 128000.0;
    info_.frames = kFrames;
    apply_mapping(info_, options);
  }

  std::size_t read(void* buffer, std::size_t max_frames) override {
    auto* out = static_cast<int16_t*>(buffer);
    std::size_t done = 0;
    while (done < max_frames && (produced_ < kFrames || next_ < kChunk)) {
      if (next_ == kChunk) generate();
      const std::size_t n = std::min(max_frames - done, kChunk - next_);
      std::memcpy(out + 2 * done, frames_ + 2 * next_, n * 2 * sizeof(int16_t));
      next_ += n;
      done += n;
    }
    return done;
  }

 private:
  void generate() {
    // Periods of 128 and 256 samples are powers of two, so the phases carried
    // from chunk to chunk are exact and every pulse is exactly 64 samples.
    check(morvex_m_waveform_cosine_i16(sine_, kChunk, &sine_phase_, 128.0, 16384.0, 0.0, 0.5, -32768, 32767),
          "sine generator");
    check(morvex_m_add_noise_i16(sine_, kChunk, 1000, -32768, 32767, &seed_), "noise generator");
    check(morvex_m_waveform_square_i16(pulses_, kChunk, 256.0, 3277, 26214, 0.25, &pulse_phase_),
          "pulse generator");
    const uint32_t pulse_seed = seed_ + 1;
    check(morvex_m_add_noise_i16(pulses_, kChunk, 300, -32768, 32767, &pulse_seed), "noise generator");
    seed_ += 2;
    // The instrument delivers its channels interleaved, as a card would.
    for (std::size_t i = 0; i < kChunk; ++i) {
      frames_[2 * i] = sine_[i];
      frames_[2 * i + 1] = pulses_[i];
    }
    produced_ += kChunk;
    next_ = 0;
  }

  int16_t sine_[kChunk], pulses_[kChunk], frames_[2 * kChunk];
  double sine_phase_ = 0.0;
  double pulse_phase_ = 0.5;  // start low, so the first pulse is a whole one
  uint32_t seed_ = 2026;
  uint64_t produced_ = 0;
  std::size_t next_ = kChunk;
};

// ---------------------------------------------------------------- raw dump
class RawCapture final : public Capture {
 public:
  explicit RawCapture(const Options& options) {
    const long long size = check_readable(options.capture);
    info_.source = options.capture;
    info_.type = *options.raw;
    info_.channels = options.channels;
    info_.sample_rate = options.rate;
    info_.format = std::string("raw ") + sample_name(info_.type) + ", " + std::to_string(info_.channels) +
                   (info_.channels == 1 ? " channel" : " channels") + ", little-endian";
    frame_bytes_ = sample_size(info_.type) * info_.channels;
    if (size >= 0) {
      info_.frames = static_cast<uint64_t>(size) / frame_bytes_;
      if (info_.frames == 0)
        throw InputError(quoted(info_.source) + " holds no whole frame (" + std::to_string(size) + " bytes, " +
                         std::to_string(frame_bytes_) + " per frame)");
    }
    apply_mapping(info_, options);
    file_ = options.capture == "-" ? stdin : std::fopen(options.capture.c_str(), "rb");
    if (!file_) throw InputError("cannot open " + quoted(options.capture) + ": " + std::strerror(errno));
  }
  ~RawCapture() override {
    if (file_ && file_ != stdin) std::fclose(file_);
  }

  std::size_t read(void* buffer, std::size_t max_frames) override {
    auto* out = static_cast<unsigned char*>(buffer);
    const std::size_t want = max_frames * frame_bytes_;
    std::size_t have = 0;
    while (have < want) {
      const std::size_t got = std::fread(out + have, 1, want - have, file_);
      if (got == 0) break;
      have += got;
    }
    if (std::ferror(file_)) throw InputError("cannot read " + quoted(info_.source) + ": " + std::strerror(errno));
    bytes_ += have;
    if (have < want) {  // the end of the file
      if (bytes_ == 0) throw InputError(quoted(info_.source) + " is empty");
      if (bytes_ < frame_bytes_) throw InputError(quoted(info_.source) + " holds no whole frame");
      if (const std::size_t rest = have % frame_bytes_)
        warning_ = quoted(info_.source) + " ends in a partial frame: the last " + std::to_string(rest) +
                   (rest == 1 ? " byte was" : " bytes were") + " ignored";
    }
    return have / frame_bytes_;
  }

 private:
  std::FILE* file_ = nullptr;
  std::size_t frame_bytes_ = 1;
  uint64_t bytes_ = 0;
};

// ---------------------------------------------------------------- sound file
// libsndfile decodes the container. Samples keep the file's own codes where
// the library has that raw type: 8-bit PCM is read byte for byte, 16-bit
// (and anything coarser, such as companded or ADPCM data) as 16-bit codes.
// Deeper formats come as floats of full scale +-1.0.
class SoundFileCapture final : public Capture {
 public:
  explicit SoundFileCapture(const Options& options) {
    check_readable(options.capture);
    SF_INFO sf_info{};
    file_.reset(sf_open(options.capture.c_str(), SFM_READ, &sf_info));
    if (!file_)
      throw InputError("cannot read " + quoted(options.capture) + " as a sound file: " + sf_strerror(nullptr));
    info_.source = options.capture;
    if (sf_info.channels < 1) throw InputError(quoted(info_.source) + " has no channels");
    if (sf_info.frames == 0) throw InputError(quoted(info_.source) + " holds no samples");
    if (static_cast<unsigned>(sf_info.channels) > kMaxChannels)
      throw InputError(quoted(info_.source) + " has " + std::to_string(sf_info.channels) +
                       " channels, more than " + std::to_string(kMaxChannels));
    info_.channels = static_cast<unsigned>(sf_info.channels);
    info_.sample_rate = sf_info.samplerate;
    if (info_.sample_rate <= 0) throw InputError(quoted(info_.source) + " has no sample rate");
    info_.frames = sf_info.frames == SF_COUNT_MAX ? 0 : static_cast<uint64_t>(sf_info.frames);

    const int major = sf_info.format & SF_FORMAT_TYPEMASK;
    const int subtype = sf_info.format & SF_FORMAT_SUBMASK;
    const bool byte_codes = major != SF_FORMAT_FLAC;
    if (subtype == SF_FORMAT_PCM_U8 && byte_codes) {
      info_.type = SampleType::u8;
    } else if (subtype == SF_FORMAT_PCM_S8 && byte_codes) {
      info_.type = SampleType::i8;
    } else {
      switch (subtype) {
        case SF_FORMAT_PCM_24: case SF_FORMAT_PCM_32: case SF_FORMAT_FLOAT: case SF_FORMAT_DOUBLE:
        case SF_FORMAT_ALAC_20: case SF_FORMAT_ALAC_24: case SF_FORMAT_ALAC_32:
        case SF_FORMAT_VORBIS: case SF_FORMAT_OPUS:
          info_.type = SampleType::f32;
          break;
        default:
          info_.type = SampleType::i16;
      }
    }
    info_.format = format_name(major) + ", " + format_name(subtype);
    apply_mapping(info_, options);
  }

  std::size_t read(void* buffer, std::size_t max_frames) override {
    if (ended_) return 0;
    const auto frames = static_cast<sf_count_t>(max_frames);
    sf_count_t got = 0;
    switch (info_.type) {
      case SampleType::u8:
      case SampleType::i8:
        got = sf_read_raw(file_.get(), buffer, frames * info_.channels) / info_.channels;
        break;
      case SampleType::f32:
        got = sf_readf_float(file_.get(), static_cast<float*>(buffer), frames);
        break;
      default:
        got = sf_readf_short(file_.get(), static_cast<short*>(buffer), frames);
    }
    got = std::max<sf_count_t>(got, 0);
    read_ += static_cast<uint64_t>(got);
    if (got == frames) return static_cast<std::size_t>(got);
    // The end, or a decoder that gave up. A file cut short (an interrupted
    // recording) still holds good samples: analyse them, and say so.
    ended_ = true;
    if (sf_error(file_.get()) != SF_ERR_NO_ERROR) {
      if (read_ == 0) throw InputError("cannot decode " + quoted(info_.source) + ": " + sf_strerror(file_.get()));
      warning_ = "decoding " + quoted(info_.source) + " stopped after " + std::to_string(read_) +
                 " frames: " + sf_strerror(file_.get());
    } else if (info_.frames && read_ < info_.frames) {
      warning_ = quoted(info_.source) + " ends after " + std::to_string(read_) + " of the " +
                 std::to_string(info_.frames) + " frames its header announces";
    }
    return static_cast<std::size_t>(got);
  }

 private:
  static std::string format_name(int format) {
    SF_FORMAT_INFO fi{};
    fi.format = format;
    if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &fi, sizeof fi) != 0 || !fi.name) return "unknown format";
    return fi.name;
  }

  // Closed also when the constructor gives up on the file.
  std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file_{nullptr, sf_close};
  uint64_t read_ = 0;
  bool ended_ = false;
};

}  // namespace

std::unique_ptr<Capture> open_capture(const Options& options) {
  if (options.capture.empty()) return std::make_unique<BuiltinCapture>(options);
  if (options.raw) return std::make_unique<RawCapture>(options);
  return std::make_unique<SoundFileCapture>(options);
}

}  // namespace pipeline

// SPDX-License-Identifier: MIT
// morvex-pipeline: analyses a capture block by block with libmorvex-m.
//
//   capture --read--> interleaved raw frames --deinterleave--> one array per channel
//     --convert (scale, offset)--> volts --optional low-pass (steady start)-->
//       extremes, sums                                    (carried over the capture)
//       rising-edge and pulse-width triggers              (state carried block to block)
//       Hann weights x block --one plan--> bins --magnitude--> power, averaged
//
// Memory is a few blocks whatever the length of the capture: nothing is kept
// of a block once it has been analysed, except what the plots show.

#include "analysis.h"
#include "capture.h"
#include "library.h"
#include "options.h"
#include "plot.h"
#include "report.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

namespace pipeline {
namespace {

// A progress bar on standard error, only for a person watching a terminal
// and only when the capture is long enough for one to matter.
class Progress {
 public:
  Progress(bool enabled, uint64_t total) : on_(enabled && total > 0), total_(total) {}
  ~Progress() { finish(); }

  void update(uint64_t done) {
    if (!on_) return;
    const auto now = std::chrono::steady_clock::now();
    if (drawn_ && now - last_ < std::chrono::milliseconds(100)) return;
    last_ = now;
    drawn_ = true;
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total_));
    const int width = 40, filled = static_cast<int>(share * width);
    std::fprintf(stderr, "\r[%.*s%.*s] %3d%%", filled, "########################################", width - filled,
                 "                                        ", static_cast<int>(share * 100));
    std::fflush(stderr);
  }
  void finish() {
    if (on_ && drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
  }

 private:
  bool on_;
  uint64_t total_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_;
};

int run(const Options& options, bool fftw) {
  auto capture = open_capture(options);
  const CaptureInfo& info = capture->info();
  if (options.lowpass && *options.lowpass >= info.sample_rate / 2)
    throw UsageError("--lowpass must be below half the sample rate (" + si(info.sample_rate / 2, "Hz", 6) + ")");

  // A capture shorter than a block is analysed as one block of its length.
  std::size_t block = options.block;
  if (info.frames > 0 && info.frames < block) block = static_cast<std::size_t>(info.frames);
  const std::size_t spectrum_size = block >= kMinBlock ? block : 0;

  namespace fs = std::filesystem;
  std::error_code error;
  fs::create_directories(options.out, error);
  if (error || !fs::is_directory(options.out))
    throw InputError("cannot create the output directory '" + options.out + "'" +
                     (error ? ": " + error.message() : ""));
  auto in_out = [&](const char* name) { return (fs::path(options.out) / name).string(); };

  Report report;
  report.outputs = {{in_out("spectrum.csv"), "averaged spectrum, dBV per bin and channel"},
                    {in_out("triggers.csv"), "every rising edge, with the width of its pulse"},
                    {in_out("spectrum.svg"), "plot of the spectrum"},
                    {in_out("spectrum.png"), "plot of the spectrum"},
                    {in_out("waveform.svg"), "plot around the first edges"},
                    {in_out("waveform.png"), "plot around the first edges"}};
  TriggerLog log(report.outputs[1].path, info.sample_rate);

  Splitter splitter(info.type, info.channels, block, info.scale, info.offset);
  std::unique_ptr<SpectrumEngine> spectrum;
  if (spectrum_size) spectrum = std::make_unique<SpectrumEngine>(spectrum_size);

  ChannelSettings settings;
  settings.sample_rate = info.sample_rate;
  settings.block = block;
  settings.level = options.level;
  settings.hysteresis = options.hysteresis;
  settings.lowpass_hz = options.lowpass;
  // One code: the least hysteresis that noise-free quantised data needs.
  // Float samples have no code; one step of 16 bits stands in.
  settings.code_step = std::fabs(info.scale) / (info.type == SampleType::f32 ? 32768.0 : 1.0);
  std::vector<std::unique_ptr<ChannelAnalysis>> channels;
  for (unsigned c = 0; c < info.channels; ++c)
    channels.push_back(std::make_unique<ChannelAnalysis>(c, settings, spectrum_size));

  std::vector<unsigned char> frames(block * info.channels * sample_size(info.type));
  std::vector<float> volts(block);
  Progress progress(!options.quiet && isatty(STDERR_FILENO) && info.frames > 4 * block, info.frames);
  uint64_t done = 0, blocks = 0;
  while (const std::size_t n = capture->read(frames.data(), block)) {
    splitter.split(frames.data(), n);
    for (unsigned c = 0; c < info.channels; ++c) {
      splitter.volts(c, volts.data(), n);
      channels[c]->process(volts.data(), n, done, spectrum.get(), log);
    }
    done += n;
    ++blocks;
    progress.update(done);
  }
  progress.finish();
  if (!capture->warning().empty()) std::fprintf(stderr, "morvex-pipeline: warning: %s\n", capture->warning().c_str());
  if (done == 0) throw InputError("'" + info.source + "' holds no samples");

  report.source = info.source;
  report.format = info.format;
  report.sample_type = sample_name(info.type);
  report.channels = info.channels;
  report.sample_rate = info.sample_rate;
  report.frames = done;
  report.blocks = blocks;
  report.block = block;
  report.scale = info.scale;
  report.offset = info.offset;
  report.lowpass_hz = options.lowpass;
  report.spectrum_size = spectrum_size;
  report.spectrum_blocks = spectrum_size ? done / spectrum_size : 0;
  report.transform = fftw ? "FFTW, loaded at run time" : "built-in FFT";
  for (auto& c : channels) report.channel.push_back(c->finish(log));
  log.close();

  write_spectrum_csv(report.outputs[0].path, report);
  const PlotCaches caches;
  plot_spectrum(report, report.outputs[2].path, report.outputs[3].path);
  plot_waveform(report, report.outputs[4].path, report.outputs[5].path);

  if (options.json)
    write_json(stdout, report);
  else if (!options.quiet)
    write_text(stdout, report);
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) throw InputError("cannot write the report");
  return kExitOk;
}

int fail(const char* message, int status) {
  std::fprintf(stderr, "morvex-pipeline: %s%s\n", message, status == kExitUsage ? " (see --help)" : "");
  return status;
}

}  // namespace
}  // namespace pipeline

int main(int argc, char** argv) {
  using namespace pipeline;
  try {
    const Options options = parse_options(argc, argv);
    if (options.help) {
      std::fputs(help_text(), stdout);
      return kExitOk;
    }
    Library library;
    if (options.version) {
      const uint64_t v = morvex_m_get_version()->version;
      std::printf("morvex-pipeline, libmorvex-m %u.%u.%u\n", static_cast<unsigned>(v >> 48),
                  static_cast<unsigned>(v >> 32) & 0xFFFF, static_cast<unsigned>(v >> 16) & 0xFFFF);
      return kExitOk;
    }
    // Single-precision transforms run on FFTW when the machine has it (the
    // library opens it at run time), and on the built-in FFT otherwise.
    const bool fftw = morvex_m_setopt(MORVEX_M_OPT_FFTW3F, 1) == MORVEX_M_SUCCESS;
    return run(options, fftw);
  } catch (const UsageError& e) {
    return fail(e.what(), kExitUsage);
  } catch (const std::bad_alloc&) {
    return fail("out of memory", kExitInput);
  } catch (const std::exception& e) {
    return fail(e.what(), kExitInput);
  }
}

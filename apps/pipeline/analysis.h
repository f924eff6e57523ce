// SPDX-License-Identifier: MIT
// The per-block analysis. Every numeric step is a libmorvex-m call; what
// lives here is the order of the calls and the state they carry from one
// block to the next.
#pragma once

#include "library.h"
#include "options.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pipeline {

// Splits a block of interleaved frames into one array per channel and turns
// each into volts.
class Splitter {
 public:
  Splitter(SampleType type, unsigned channels, std::size_t block, double scale, double offset);
  void split(const void* frames, std::size_t n);                  // deinterleave n frames
  void volts(unsigned channel, float* out, std::size_t n) const;  // code * scale + offset

 private:
  const void* plane(unsigned channel) const;

  SampleType type_;
  unsigned channels_;
  float scale_, offset_;
  const void* frames_ = nullptr;
  std::vector<std::vector<unsigned char>> planes_;
};

// The averaged spectrum of full blocks: Hann weights made once, one plan for
// every block and channel, power summed per bin in double precision.
class SpectrumEngine {
 public:
  explicit SpectrumEngine(std::size_t n);
  std::size_t size() const { return n_; }
  std::size_t bins() const { return n_ / 2 + 1; }
  // Adds the squared one-sided amplitudes of this block to power[bins()].
  void accumulate(const float* block, double* power);

 private:
  std::size_t n_;
  std::vector<float> weights_, windowed_, magnitude_;
  std::vector<morvex_m_c32f32> bins_;
  std::vector<double> squares_;
  std::unique_ptr<ForwardPlan> plan_;
};

// triggers.csv, written as the edges are found: one row per rising edge
// with the width of the pulse it starts (empty when the capture ends first).
class TriggerLog {
 public:
  explicit TriggerLog(const std::string& path, double sample_rate);
  ~TriggerLog();
  void row(unsigned channel, uint64_t sample, std::optional<uint64_t> width);
  void close();  // throws InputError if anything failed to reach the file

 private:
  std::FILE* file_;
  std::string path_;
  double rate_;
};

struct ChannelResult {
  unsigned index = 0;
  double min = 0, max = 0, mean = 0, rms = 0;  // volts
  double level = 0, hysteresis = 0;            // volts, as used
  uint64_t edges = 0;
  std::vector<uint64_t> first_edges;  // up to ten
  uint64_t pulses = 0;
  double min_width = 0, mean_width = 0, max_width = 0;  // seconds (NaN without pulses)
  std::vector<double> spectrum_dbv;  // per bin; empty when no full block
  double bin_hz = 0;
  double peak_hz = 0, peak_dbv = 0, noise_floor_dbv = 0;

  // The waveform around the first rising edge (or the start of the capture
  // when there is none): snapshot[k] is sample snapshot_start + k.
  std::vector<float> snapshot;
  uint64_t snapshot_start = 0;
  std::optional<uint64_t> first_edge, last_edge;
};

struct ChannelSettings {
  double sample_rate = 0;
  std::size_t block = 0;
  std::optional<double> level, hysteresis;  // from the command line
  double code_step = 0;                     // volts of one code: the least default hysteresis
  std::optional<double> lowpass_hz;
};

class ChannelAnalysis {
 public:
  // spectrum_size: the transform length, 0 for no spectrum.
  ChannelAnalysis(unsigned index, const ChannelSettings& settings, std::size_t spectrum_size);

  // Analyses the n samples of this block (in volts, filtered in place when a
  // low-pass is set); start is the index of samples[0] in the capture.
  void process(float* samples, std::size_t n, uint64_t start, SpectrumEngine* spectrum, TriggerLog& log);

  ChannelResult finish(TriggerLog& log);

 private:
  void choose_levels(float lo, float hi);
  void find_edges(const float* v, std::size_t n, uint64_t start, TriggerLog& log);
  void keep_snapshot(const float* v, std::size_t n, uint64_t start, std::optional<std::size_t> first_edge_at);

  unsigned index_;
  ChannelSettings settings_;
  std::unique_ptr<LowPass> lowpass_;

  // Extremes and sums, carried over the whole capture.
  bool any_ = false;
  float min_ = 0, max_ = 0;
  double sum_ = 0, square_sum_ = 0;
  uint64_t count_ = 0;

  // Trigger levels (fixed on the first block) and the two triggers.
  bool levels_set_ = false;
  float upper_ = 0, lower_ = 0, arm_ = 0;
  double level_ = 0, hysteresis_ = 0;
  TriggerState edge_state_, pulse_state_;
  struct Event {
    std::size_t at;
    bool edge;  // false: the end of a pulse
  };
  std::vector<Event> events_;

  uint64_t edges_ = 0, pulses_ = 0;
  std::vector<uint64_t> first_edges_;
  std::optional<uint64_t> open_pulse_;  // the edge that started the pulse in progress
  std::optional<uint64_t> first_edge_, last_edge_;
  uint64_t min_width_ = 0, max_width_ = 0, width_sum_ = 0;

  // Spectrum.
  std::size_t spectrum_size_;
  std::vector<double> power_;
  uint64_t spectrum_blocks_ = 0;

  // The plot's window: until the first edge, the start of the capture and
  // the latest samples; from then on the samples around that edge.
  std::size_t window_;  // samples kept on each side of the edge
  std::vector<float> history_, snapshot_;
  uint64_t snapshot_start_ = 0;
  std::size_t still_after_ = 0;  // samples after the edge still to keep
  bool snapshot_has_edge_ = false;
};

}  // namespace pipeline

// SPDX-License-Identifier: MIT
#include "analysis.h"

#include <algorithm>
#include <charconv>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

namespace pipeline {

// ---------------------------------------------------------------- Splitter

Splitter::Splitter(SampleType type, unsigned channels, std::size_t block, double scale, double offset)
    : type_(type), channels_(channels), scale_(static_cast<float>(scale)), offset_(static_cast<float>(offset)) {
  // A single channel is its own plane: nothing to split.
  if (channels > 1) planes_.assign(channels, std::vector<unsigned char>(block * sample_size(type)));
}

void Splitter::split(const void* frames, std::size_t n) {
  frames_ = frames;
  if (channels_ == 1) return;
  const std::size_t size = sample_size(type_);
  // Block and channel limits keep the sample count within 32 bits.
  const auto total = static_cast<int32_t>(n * channels_);
  auto u8 = [&](unsigned c) { return planes_[c].data(); };
  auto u16 = [&](unsigned c) { return reinterpret_cast<uint16_t*>(planes_[c].data()); };
  const auto* s8 = static_cast<const uint8_t*>(frames);
  const auto* s16 = static_cast<const uint16_t*>(frames);  // i16 codes split as their bit patterns
  int32_t status = MORVEX_M_FAILED;
  if (size == 1) {
    switch (channels_) {
      case 2: status = morvex_m_deinterleave2_u8(s8, total, u8(0), u8(1)); break;
      case 3: status = morvex_m_deinterleave3_u8(s8, total, u8(0), u8(1), u8(2)); break;
      case 4: status = morvex_m_deinterleave4_u8(s8, total, u8(0), u8(1), u8(2), u8(3)); break;
      case 5: status = morvex_m_deinterleave5_u8(s8, total, u8(0), u8(1), u8(2), u8(3), u8(4)); break;
      case 6: status = morvex_m_deinterleave6_u8(s8, total, u8(0), u8(1), u8(2), u8(3), u8(4), u8(5)); break;
    }
  } else if (size == 2) {
    switch (channels_) {
      case 2: status = morvex_m_deinterleave2_u16(s16, total, u16(0), u16(1)); break;
      case 3: status = morvex_m_deinterleave3_u16(s16, total, u16(0), u16(1), u16(2)); break;
      case 4: status = morvex_m_deinterleave4_u16(s16, total, u16(0), u16(1), u16(2), u16(3)); break;
      case 5: status = morvex_m_deinterleave5_u16(s16, total, u16(0), u16(1), u16(2), u16(3), u16(4)); break;
      case 6:
        status = morvex_m_deinterleave6_u16(s16, total, u16(0), u16(1), u16(2), u16(3), u16(4), u16(5));
        break;
    }
  }
  if (status == MORVEX_M_SUCCESS) return;
  // Float samples and more than six channels: one strided copy per channel.
  for (unsigned c = 0; c < channels_; ++c)
    check(morvex_m_deinterleave(frames, c, channels_, static_cast<int64_t>(n), size, planes_[c].data()),
          "deinterleave");
}

const void* Splitter::plane(unsigned channel) const {
  return channels_ == 1 ? frames_ : planes_[channel].data();
}

void Splitter::volts(unsigned channel, float* out, std::size_t n) const {
  const void* in = plane(channel);
  const float s = scale_, o = offset_;
  int32_t status = MORVEX_M_FAILED;
  switch (type_) {
    case SampleType::u8: status = morvex_m_convert_u8f32(static_cast<const uint8_t*>(in), out, n, s, o); break;
    case SampleType::i8: status = morvex_m_convert_i8f32(static_cast<const int8_t*>(in), out, n, s, o); break;
    case SampleType::i16: status = morvex_m_convert_i16f32(static_cast<const int16_t*>(in), out, n, s, o); break;
    case SampleType::u16: status = morvex_m_convert_u16f32(static_cast<const uint16_t*>(in), out, n, s, o); break;
    case SampleType::f32: status = morvex_m_mulc_addc_f32(static_cast<const float*>(in), out, n, s, o); break;
  }
  check(status, "conversion to volts");
}

// ---------------------------------------------------------------- SpectrumEngine

SpectrumEngine::SpectrumEngine(std::size_t n)
    : n_(n), weights_(n, 1.0f), windowed_(n), magnitude_(n / 2 + 1), bins_(n / 2 + 1), squares_(n / 2 + 1) {
  // The Hann weights, scaled to unit coherent gain, are made once by
  // windowing a block of ones; each block is then one multiplication.
  check(morvex_m_window_hanning_f32(weights_.data(), weights_.data(), n, 1), "Hann window");
  plan_ = std::make_unique<ForwardPlan>(windowed_.data(), n, bins_.data());
}

void SpectrumEngine::accumulate(const float* block, double* power) {
  const std::size_t nb = bins();
  check(morvex_m_mul_f32(block, weights_.data(), windowed_.data(), n_), "Hann window");
  plan_->amplitudes(windowed_.data(), bins_.data());
  check(morvex_m_magnitude_c32f32(bins_.data(), magnitude_.data(), nb), "magnitude");
  // Powers are summed in double precision: a long capture adds up many
  // thousands of blocks, and a float sum would lose the small bins.
  check(morvex_m_convert_f32f64(magnitude_.data(), squares_.data(), nb, 1.0, 0.0), "widening");
  check(morvex_m_pow2_f64(squares_.data(), squares_.data(), nb), "square");
  check(morvex_m_add_f64(power, squares_.data(), power, nb), "power sum");
}

// ---------------------------------------------------------------- TriggerLog

TriggerLog::TriggerLog(const std::string& path, double sample_rate)
    : file_(std::fopen(path.c_str(), "w")), path_(path), rate_(sample_rate) {
  if (!file_) throw InputError("cannot write '" + path + "': " + std::strerror(errno));
  std::fputs("channel,sample,time_s,pulse_width_s\n", file_);
}

TriggerLog::~TriggerLog() {
  if (file_) std::fclose(file_);
}

void TriggerLog::row(unsigned channel, uint64_t sample, std::optional<uint64_t> width) {
  // A busy capture has millions of edges: the shortest round-trip form of
  // each number, made by to_chars, costs a fraction of printf's.
  char line[128];
  char* p = std::to_chars(line, line + 20, channel).ptr;
  *p++ = ',';
  p = std::to_chars(p, p + 24, sample).ptr;
  *p++ = ',';
  p = std::to_chars(p, p + 32, static_cast<double>(sample) / rate_).ptr;
  *p++ = ',';
  if (width) p = std::to_chars(p, p + 32, static_cast<double>(*width) / rate_).ptr;
  *p++ = '\n';
  std::fwrite(line, 1, static_cast<std::size_t>(p - line), file_);
}

void TriggerLog::close() {
  const bool failed = std::ferror(file_) != 0;
  const bool close_failed = std::fclose(file_) != 0;
  file_ = nullptr;
  if (failed || close_failed) throw InputError("cannot write '" + path_ + "'");
}

// ---------------------------------------------------------------- ChannelAnalysis

ChannelAnalysis::ChannelAnalysis(unsigned index, const ChannelSettings& settings, std::size_t spectrum_size)
    : index_(index), settings_(settings), spectrum_size_(spectrum_size),
      power_(spectrum_size ? spectrum_size / 2 + 1 : 0, 0.0),
      window_(std::min<std::size_t>(settings.block, 8192)) {
  if (settings.lowpass_hz) lowpass_ = std::make_unique<LowPass>(settings.sample_rate, *settings.lowpass_hz, 4);
}

void ChannelAnalysis::choose_levels(float lo, float hi) {
  // Without levels on the command line: the middle of the first block's
  // range, with a tenth of the range (at least one code) as hysteresis.
  level_ = settings_.level ? *settings_.level : 0.5 * (static_cast<double>(lo) + hi);
  hysteresis_ = settings_.hysteresis ? *settings_.hysteresis
                                     : std::max((static_cast<double>(hi) - lo) / 10, settings_.code_step);
  upper_ = static_cast<float>(level_ + hysteresis_ / 2);
  lower_ = static_cast<float>(level_ - hysteresis_ / 2);
  if (!(upper_ > lower_)) upper_ = std::nextafter(lower_, std::numeric_limits<float>::infinity());
  // The edge trigger arms on a sample strictly below its arming level, the
  // pulse trigger on one at or below its lower level. One float above the
  // lower level, the two triggers arm on the same samples, so every pulse
  // starts at a reported edge and its width is end minus edge.
  arm_ = std::nextafter(lower_, std::numeric_limits<float>::infinity());
  levels_set_ = true;
}

void ChannelAnalysis::process(float* v, std::size_t n, uint64_t start, SpectrumEngine* spectrum,
                              TriggerLog& log) {
  if (n == 0) return;
  if (lowpass_) lowpass_->run(v, n);

  float lo = 0, hi = 0, block_sum = 0;
  check(morvex_m_minmax_f32(v, n, &lo, &hi), "extremes");
  check(morvex_m_sum_f32(v, n, &block_sum), "sum");
  // The square sum accumulates in double across the whole capture.
  check(morvex_m_square_sum_f32(v, n, &square_sum_), "square sum");
  sum_ += block_sum;
  count_ += n;
  if (!any_ || lo < min_) min_ = lo;
  if (!any_ || hi > max_) max_ = hi;
  any_ = true;

  if (!levels_set_) choose_levels(lo, hi);
  const std::optional<uint64_t> had_edge = first_edge_;
  find_edges(v, n, start, log);
  std::optional<std::size_t> first_here;
  if (!had_edge && first_edge_) first_here = static_cast<std::size_t>(*first_edge_ - start);
  keep_snapshot(v, n, start, first_here);

  if (spectrum && n == spectrum->size()) {
    spectrum->accumulate(v, power_.data());
    ++spectrum_blocks_;
  }
}

void ChannelAnalysis::find_edges(const float* v, std::size_t n, uint64_t start, TriggerLog& log) {
  events_.clear();
  // Each search resumes at the sample of the previous hit: the trigger must
  // re-arm before it fires again, so no edge or pulse is reported twice.
  for (uint64_t p = 0;;) {
    check(morvex_m_trigger_edge_rising_f32(v, n, arm_, upper_, &p, edge_state_.handle()), "edge trigger");
    if (p >= n) break;
    events_.push_back({static_cast<std::size_t>(p), true});
  }
  // Mode 0: every pulse, whatever its width. The trigger fires at the end.
  for (uint64_t p = 0;;) {
    check(morvex_m_trigger_pulse_width_positive_f32(v, n, upper_, lower_, 0, 0, 0, &p, pulse_state_.handle()),
          "pulse-width trigger");
    if (p >= n) break;
    events_.push_back({static_cast<std::size_t>(p), false});
  }
  // An edge needs a sample at or above the upper level, a pulse end one at
  // or below the lower: they never share a sample, and in sample order they
  // alternate.
  std::sort(events_.begin(), events_.end(), [](const Event& a, const Event& b) { return a.at < b.at; });

  for (const Event& e : events_) {
    const uint64_t at = start + e.at;
    if (e.edge) {
      if (open_pulse_) log.row(index_, *open_pulse_, std::nullopt);
      open_pulse_ = at;
      if (first_edges_.size() < 10) first_edges_.push_back(at);
      if (!first_edge_) first_edge_ = at;
      last_edge_ = at;
      ++edges_;
    } else if (open_pulse_) {
      const uint64_t width = at - *open_pulse_;
      log.row(index_, *open_pulse_, width);
      min_width_ = pulses_ == 0 ? width : std::min(min_width_, width);
      max_width_ = std::max(max_width_, width);
      width_sum_ += width;
      ++pulses_;
      open_pulse_.reset();
    }
  }
}

void ChannelAnalysis::keep_snapshot(const float* v, std::size_t n, uint64_t start,
                                    std::optional<std::size_t> edge_at) {
  if (snapshot_has_edge_) {
    const std::size_t take = std::min(n, still_after_);
    snapshot_.insert(snapshot_.end(), v, v + take);
    still_after_ -= take;
    return;
  }
  if (edge_at) {
    // Up to window_ samples before the edge (from earlier blocks if need
    // be), then up to window_ from the edge on.
    const std::size_t p = *edge_at;
    const std::size_t from_block = std::min(p, window_);
    const std::size_t from_history = std::min(history_.size(), window_ - from_block);
    snapshot_.assign(history_.end() - static_cast<std::ptrdiff_t>(from_history), history_.end());
    snapshot_.insert(snapshot_.end(), v + (p - from_block), v + p);
    snapshot_start_ = start + p - from_block - from_history;
    const std::size_t after = std::min(n - p, window_);
    snapshot_.insert(snapshot_.end(), v + p, v + p + after);
    still_after_ = window_ - after;
    snapshot_has_edge_ = true;
    history_ = {};
    return;
  }
  // No edge yet: keep the start of the capture in case none ever comes, and
  // the latest samples as the history of the first edge.
  if (snapshot_.size() < 2 * window_)
    snapshot_.insert(snapshot_.end(), v, v + std::min(n, 2 * window_ - snapshot_.size()));
  if (n >= window_) {
    history_.assign(v + (n - window_), v + n);
  } else {
    history_.insert(history_.end(), v, v + n);
    if (history_.size() > window_)
      history_.erase(history_.begin(), history_.end() - static_cast<std::ptrdiff_t>(window_));
  }
}

ChannelResult ChannelAnalysis::finish(TriggerLog& log) {
  ChannelResult r;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double rate = settings_.sample_rate;
  r.index = index_;
  r.min = min_;
  r.max = max_;
  r.mean = count_ ? sum_ / static_cast<double>(count_) : nan;
  r.rms = count_ ? std::sqrt(square_sum_ / static_cast<double>(count_)) : nan;
  r.level = level_;
  r.hysteresis = hysteresis_;
  if (open_pulse_) log.row(index_, *open_pulse_, std::nullopt);  // the capture ended inside a pulse
  r.edges = edges_;
  r.first_edges = first_edges_;
  r.pulses = pulses_;
  r.min_width = pulses_ ? static_cast<double>(min_width_) / rate : nan;
  r.max_width = pulses_ ? static_cast<double>(max_width_) / rate : nan;
  r.mean_width = pulses_ ? static_cast<double>(width_sum_) / static_cast<double>(pulses_) / rate : nan;
  r.first_edge = first_edge_;
  r.last_edge = last_edge_;
  r.snapshot = std::move(snapshot_);
  r.snapshot_start = snapshot_start_;

  r.peak_hz = r.peak_dbv = r.noise_floor_dbv = nan;
  const std::size_t nb = power_.size();
  if (spectrum_blocks_ == 0 || nb < 3) return r;
  // Mean power per bin, then dBV (0 dBV = 1 V rms). The one-sided amplitude
  // A of a sine is A / sqrt(2) volts rms, so the mean square halves; the DC
  // bin holds the mean itself.
  const double blocks = static_cast<double>(spectrum_blocks_);
  r.spectrum_dbv.resize(nb);
  check(morvex_m_mulc_f64(power_.data(), r.spectrum_dbv.data(), 1, 1.0 / blocks), "spectrum mean");
  check(morvex_m_mulc_f64(power_.data() + 1, r.spectrum_dbv.data() + 1, nb - 1, 0.5 / blocks), "spectrum mean");
  check(morvex_m_log10_f64(r.spectrum_dbv.data(), r.spectrum_dbv.data(), nb, 10.0), "dBV");

  // The strongest frequency, from bin 2 up: bins 0 and 1 hold the mean and
  // its leakage through the Hann window.
  uint64_t peak = 2;
  double peak_dbv = -std::numeric_limits<double>::infinity();
  check(morvex_m_index_max_f64(r.spectrum_dbv.data(), nb, &peak, &peak_dbv), "peak search");
  r.bin_hz = rate / static_cast<double>(spectrum_size_);
  if (peak < nb) {
    r.peak_hz = static_cast<double>(peak) * r.bin_hz;
    r.peak_dbv = peak_dbv;
  }
  // The noise floor: the median bin above DC, which a few tones and their
  // leakage cannot move. NaN bins (from NaN samples) sort last.
  std::vector<double> above_dc(r.spectrum_dbv.begin() + 1, r.spectrum_dbv.end());
  auto mid = above_dc.begin() + static_cast<std::ptrdiff_t>(above_dc.size() / 2);
  std::nth_element(above_dc.begin(), mid, above_dc.end(),
                   [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
  r.noise_floor_dbv = *mid;
  return r;
}

}  // namespace pipeline

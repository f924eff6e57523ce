// SPDX-License-Identifier: MIT
#include "report.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace pipeline {

std::string si(double value, const char* unit, int digits) {
  if (std::isnan(value)) return "n/a";
  if (std::isinf(value)) return std::string(value < 0 ? "-inf " : "inf ") + unit;
  static const char* const prefixes[] = {"p", "n", "\xC2\xB5", "m", "", "k", "M", "G"};
  int p = 4;  // no prefix
  const double mag = std::fabs(value);
  if (mag > 0) {
    p = static_cast<int>(std::floor(std::log10(mag) / 3)) + 4;
    p = p < 0 ? 0 : (p > 7 ? 7 : p);
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.*g %s%s", digits, value / std::pow(1000.0, p - 4), prefixes[p], unit);
  return text;
}

namespace {

std::string dbv(double value) {
  if (std::isnan(value)) return "n/a";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f dBV", value);
  return text;
}

std::string version() {
  const uint64_t v = morvex_m_get_version()->version;
  return std::to_string(v >> 48) + "." + std::to_string((v >> 32) & 0xFFFF) + "." +
         std::to_string((v >> 16) & 0xFFFF);
}

// A minimal JSON writer: objects and arrays nest, commas come by themselves,
// non-finite numbers become null.
class Json {
 public:
  explicit Json(std::FILE* out) : out_(out) {}
  Json& key(const char* k) {
    comma();
    string(k);
    std::fputs(": ", out_);
    after_key_ = true;
    return *this;
  }
  Json& open(char c) {
    comma();
    std::fputc(c, out_);
    first_ = true;
    return *this;
  }
  Json& close(char c) {
    std::fputc(c, out_);
    first_ = false;
    return *this;
  }
  Json& number(double v) {
    comma();
    if (std::isfinite(v))
      std::fprintf(out_, "%.10g", v);
    else
      std::fputs("null", out_);
    return *this;
  }
  Json& integer(uint64_t v) {
    comma();
    std::fprintf(out_, "%llu", static_cast<unsigned long long>(v));
    return *this;
  }
  Json& text(const std::string& s) {
    comma();
    string(s);
    return *this;
  }
  Json& null() {
    comma();
    std::fputs("null", out_);
    return *this;
  }

 private:
  void comma() {
    if (after_key_) {
      after_key_ = false;
      return;
    }
    if (!first_) std::fputs(", ", out_);
    first_ = false;
  }
  void string(const std::string& s) {
    std::fputc('"', out_);
    for (unsigned char c : s) {
      if (c == '"' || c == '\\')
        std::fprintf(out_, "\\%c", c);
      else if (c < 0x20)
        std::fprintf(out_, "\\u%04x", c);
      else
        std::fputc(c, out_);
    }
    std::fputc('"', out_);
  }

  std::FILE* out_;
  bool first_ = true, after_key_ = false;
};

}  // namespace

void write_text(std::FILE* out, const Report& r) {
  const double seconds = static_cast<double>(r.frames) / r.sample_rate;
  std::fprintf(out, "morvex-pipeline (libmorvex-m %s): %s\n", version().c_str(), r.source.c_str());
  std::fprintf(out, "  %s\n", r.format.c_str());
  std::fprintf(out, "  %u channel%s of %s %s at %s; volts = code x %.8g %c %.8g\n", r.channels,
               r.channels == 1 ? "" : "s", r.sample_type.c_str(), r.sample_type == "f32" ? "samples" : "codes",
               si(r.sample_rate, "Hz", 6).c_str(), r.scale,
               r.offset < 0 ? '-' : '+', std::fabs(r.offset));
  std::fprintf(out, "  %llu frames (%s) in %llu block%s of %zu\n", static_cast<unsigned long long>(r.frames),
               si(seconds, "s").c_str(), static_cast<unsigned long long>(r.blocks), r.blocks == 1 ? "" : "s",
               r.block);
  if (r.lowpass_hz) std::fprintf(out, "  low-pass: 4th-order Butterworth at %s\n", si(*r.lowpass_hz, "Hz").c_str());
  if (r.spectrum_blocks)
    std::fprintf(out, "  spectrum: %llu Hann-windowed block%s of %zu, bin %s, %s\n",
                 static_cast<unsigned long long>(r.spectrum_blocks), r.spectrum_blocks == 1 ? "" : "s",
                 r.spectrum_size, si(r.sample_rate / static_cast<double>(r.spectrum_size), "Hz", 6).c_str(),
                 r.transform.c_str());
  else
    std::fprintf(out, "  spectrum: none (the capture is shorter than a transform)\n");

  for (const ChannelResult& c : r.channel) {
    std::fprintf(out, "\nchannel %u\n", c.index);
    std::fprintf(out, "  volts     min %s, max %s, mean %s, rms %s\n", si(c.min, "V").c_str(), si(c.max, "V").c_str(),
                 si(c.mean, "V").c_str(), si(c.rms, "V").c_str());
    std::fprintf(out, "  trigger   level %s, hysteresis %s\n", si(c.level, "V").c_str(),
                 si(c.hysteresis, "V").c_str());
    std::fprintf(out, "  edges     %llu rising", static_cast<unsigned long long>(c.edges));
    if (!c.first_edges.empty()) {
      std::fputs(c.edges > c.first_edges.size() ? "; first at samples" : "; at samples", out);
      for (uint64_t e : c.first_edges) std::fprintf(out, " %llu", static_cast<unsigned long long>(e));
    }
    std::fputc('\n', out);
    std::fprintf(out, "  pulses    %llu", static_cast<unsigned long long>(c.pulses));
    if (c.pulses)
      std::fprintf(out, "; width min %s, mean %s, max %s", si(c.min_width, "s").c_str(),
                   si(c.mean_width, "s").c_str(), si(c.max_width, "s").c_str());
    std::fputc('\n', out);
    if (!c.spectrum_dbv.empty())
      std::fprintf(out, "  spectrum  peak %s at %s; noise floor %s per bin\n", si(c.peak_hz, "Hz", 6).c_str(),
                   dbv(c.peak_dbv).c_str(), dbv(c.noise_floor_dbv).c_str());
  }
  if (!r.outputs.empty()) {
    std::fputs("\nfiles\n", out);
    int width = 0;
    for (const auto& o : r.outputs) width = std::max(width, static_cast<int>(o.path.size()));
    for (const auto& o : r.outputs) std::fprintf(out, "  %-*s  %s\n", width, o.path.c_str(), o.what.c_str());
  }
}

void write_json(std::FILE* out, const Report& r) {
  Json j(out);
  j.open('{');
  j.key("source").text(r.source);
  j.key("format").text(r.format);
  j.key("sample_type").text(r.sample_type);
  j.key("sample_rate").number(r.sample_rate);
  j.key("channels").integer(r.channels);
  j.key("frames").integer(r.frames);
  j.key("blocks").integer(r.blocks);
  j.key("block_size").integer(r.block);
  j.key("duration_s").number(static_cast<double>(r.frames) / r.sample_rate);
  j.key("volts").open('{').key("scale").number(r.scale).key("offset").number(r.offset).close('}');
  j.key("lowpass_hz");
  if (r.lowpass_hz) j.number(*r.lowpass_hz); else j.null();
  j.key("analysis").open('{');
  j.key("spectrum_blocks").integer(r.spectrum_blocks);
  j.key("transform_size").integer(r.spectrum_size);
  j.key("bin_hz").number(r.spectrum_size ? r.sample_rate / static_cast<double>(r.spectrum_size) : NAN);
  j.key("transform").text(r.transform);
  j.close('}');
  j.key("channel").open('[');
  for (const ChannelResult& c : r.channel) {
    j.open('{');
    j.key("index").integer(c.index);
    j.key("min").number(c.min).key("max").number(c.max).key("mean").number(c.mean).key("rms").number(c.rms);
    j.key("trigger").open('{').key("level").number(c.level).key("hysteresis").number(c.hysteresis).close('}');
    j.key("rising_edges").open('{').key("count").integer(c.edges).key("first").open('[');
    for (uint64_t e : c.first_edges) j.integer(e);
    j.close(']').close('}');
    j.key("pulses").open('{').key("count").integer(c.pulses);
    j.key("min_width_s").number(c.min_width).key("mean_width_s").number(c.mean_width);
    j.key("max_width_s").number(c.max_width).close('}');
    j.key("spectrum").open('{').key("peak_hz").number(c.peak_hz).key("peak_dbv").number(c.peak_dbv);
    j.key("noise_floor_dbv").number(c.noise_floor_dbv).close('}');
    j.close('}');
  }
  j.close(']');
  j.key("outputs").open('[');
  for (const auto& o : r.outputs) j.text(o.path);
  j.close(']');
  j.close('}');
  std::fputc('\n', out);
}

void write_spectrum_csv(const std::string& path, const Report& r) {
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) throw InputError("cannot write '" + path + "': " + std::strerror(errno));
  std::fputs("frequency_hz", f);
  for (const ChannelResult& c : r.channel) std::fprintf(f, ",ch%u_dbv", c.index);
  std::fputc('\n', f);
  const std::size_t bins = r.channel.empty() ? 0 : r.channel[0].spectrum_dbv.size();
  for (std::size_t k = 0; k < bins; ++k) {
    std::fprintf(f, "%.10g", static_cast<double>(k) * r.channel[0].bin_hz);
    for (const ChannelResult& c : r.channel) std::fprintf(f, ",%.4f", c.spectrum_dbv[k]);
    std::fputc('\n', f);
  }
  const bool failed = std::ferror(f) != 0;
  if (std::fclose(f) != 0 || failed) throw InputError("cannot write '" + path + "'");
}

}  // namespace pipeline

// SPDX-License-Identifier: MIT
#include "plot.h"

#include <cairo-svg.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

namespace pipeline {

namespace {

constexpr double kWidth = 960, kHeight = 540;            // points
constexpr double kLeft = 84, kRight = 28, kTop = 70, kBottom = 64;
constexpr double kPngScale = 1.25;                       // 1200 x 675 pixels

struct Rgb {
  double r, g, b;
};
// Distinguishable on white and for the common colour deficiencies.
constexpr Rgb kPalette[] = {{0.00, 0.45, 0.70}, {0.84, 0.37, 0.00}, {0.00, 0.62, 0.45}, {0.80, 0.47, 0.65},
                            {0.34, 0.71, 0.91}, {0.90, 0.62, 0.00}, {0.40, 0.40, 0.40}, {0.60, 0.20, 0.20}};
Rgb colour(unsigned i) { return kPalette[i % (sizeof kPalette / sizeof kPalette[0])]; }

struct Series {
  std::string label;
  std::vector<double> x, y;
  unsigned colour = 0;
  std::optional<std::pair<double, double>> marker;  // a point to ring (the spectral peak)
};

struct Chart {
  std::string title, subtitle, x_label, y_label;
  double x_min = 0, x_max = 1, y_min = 0, y_max = 1;
  std::vector<Series> series;
  std::vector<std::pair<double, std::string>> x_lines;  // labelled vertical lines
  std::vector<std::pair<double, unsigned>> y_lines;     // dotted horizontal lines in a series' colour
};

// Tick positions at 1, 2 or 5 times a power of ten, about `target` of them.
std::vector<double> ticks(double lo, double hi, int target, int* decimals) {
  const double raw = (hi - lo) / target;
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  const double f = raw / mag;
  const double step = (f < 1.5 ? 1 : f < 3 ? 2 : f < 7 ? 5 : 10) * mag;
  *decimals = std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  std::vector<double> out;
  for (double v = std::ceil(lo / step - 1e-9) * step; v <= hi + step * 1e-9; v += step)
    out.push_back(std::fabs(v) < step * 1e-9 ? 0.0 : v);
  return out;
}

// At most two points per pixel column: the smallest and largest sample that
// fall in it, found by the library's extremes, so that no peak is lost.
void thin(Series& s, double x_min, double x_max, double columns) {
  if (s.x.size() <= 2 * columns) return;
  std::vector<double> x, y;
  std::size_t i = 0;
  while (i < s.x.size()) {
    const auto col = std::floor((s.x[i] - x_min) / (x_max - x_min) * columns);
    std::size_t j = i + 1;
    while (j < s.x.size() && std::floor((s.x[j] - x_min) / (x_max - x_min) * columns) == col) ++j;
    double lo = 0, hi = 0;
    morvex_m_minmax_f64(&s.y[i], j - i, &lo, &hi);
    x.insert(x.end(), {s.x[i], s.x[j - 1]});
    y.insert(y.end(), {lo, hi});
    i = j;
  }
  s.x = std::move(x);
  s.y = std::move(y);
}

void text_at(cairo_t* cr, const std::string& s, double x, double y, double align_x, double align_y) {
  cairo_text_extents_t e;
  cairo_text_extents(cr, s.c_str(), &e);
  cairo_move_to(cr, x - e.x_bearing - e.width * align_x, y - e.y_bearing - e.height * align_y);
  cairo_show_text(cr, s.c_str());
}

void font(cairo_t* cr, double size, bool bold = false) {
  cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, size);
}

void draw(cairo_t* cr, Chart chart) {
  const double x0 = kLeft, x1 = kWidth - kRight, y0 = kTop, y1 = kHeight - kBottom;
  auto px = [&](double x) { return x0 + (x - chart.x_min) / (chart.x_max - chart.x_min) * (x1 - x0); };
  auto py = [&](double y) { return y1 - (y - chart.y_min) / (chart.y_max - chart.y_min) * (y1 - y0); };

  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);

  // Titles.
  cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
  font(cr, 17, true);
  text_at(cr, chart.title, x0, 16, 0, 0);
  cairo_set_source_rgb(cr, 0.35, 0.35, 0.35);
  font(cr, 12.5);
  text_at(cr, chart.subtitle, x0, 42, 0, 0);

  // Grid and tick labels.
  int dx = 0, dy = 0;
  const auto xt = ticks(chart.x_min, chart.x_max, 10, &dx);
  const auto yt = ticks(chart.y_min, chart.y_max, 8, &dy);
  cairo_set_line_width(cr, 1);
  font(cr, 12);
  char label[32];
  for (double v : xt) {
    cairo_set_source_rgb(cr, 0.88, 0.88, 0.88);
    cairo_move_to(cr, std::round(px(v)) + 0.5, y0);
    cairo_line_to(cr, std::round(px(v)) + 0.5, y1);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
    std::snprintf(label, sizeof label, "%.*f", dx, v);
    text_at(cr, label, px(v), y1 + 8, 0.5, 0);
  }
  for (double v : yt) {
    cairo_set_source_rgb(cr, 0.88, 0.88, 0.88);
    cairo_move_to(cr, x0, std::round(py(v)) + 0.5);
    cairo_line_to(cr, x1, std::round(py(v)) + 0.5);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
    std::snprintf(label, sizeof label, "%.*f", dy, v);
    text_at(cr, label, x0 - 8, py(v), 1, 0.5);
  }

  // Axis labels.
  font(cr, 13.5);
  cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
  text_at(cr, chart.x_label, (x0 + x1) / 2, kHeight - 22, 0.5, 0);
  cairo_save(cr);
  cairo_translate(cr, 22, (y0 + y1) / 2);
  cairo_rotate(cr, -M_PI / 2);
  text_at(cr, chart.y_label, 0, 0, 0.5, 0.5);
  cairo_restore(cr);

  // The data, clipped to the plot area.
  cairo_save(cr);
  cairo_rectangle(cr, x0, y0, x1 - x0, y1 - y0);
  cairo_clip(cr);
  const double dash[] = {5, 4}, dot[] = {1.5, 3};
  for (const auto& [y, c] : chart.y_lines) {
    const Rgb k = colour(c);
    cairo_set_source_rgba(cr, k.r, k.g, k.b, 0.7);
    cairo_set_dash(cr, dot, 2, 0);
    cairo_move_to(cr, x0, py(y));
    cairo_line_to(cr, x1, py(y));
    cairo_stroke(cr);
  }
  for (const auto& [x, text] : chart.x_lines) {
    cairo_set_source_rgb(cr, 0.3, 0.3, 0.3);
    cairo_set_dash(cr, dash, 2, 0);
    cairo_move_to(cr, px(x), y0);
    cairo_line_to(cr, px(x), y1);
    cairo_stroke(cr);
    font(cr, 11.5);
    text_at(cr, text, px(x) + 5, y0 + 6, 0, 0);
  }
  cairo_set_dash(cr, nullptr, 0, 0);
  cairo_set_line_width(cr, 1.3);
  cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
  // Values far below the axis (such as -inf dBV of an empty bin) are drawn
  // just below it, where the clip hides them.
  const double floor_y = chart.y_min - (chart.y_max - chart.y_min);
  const double ceil_y = chart.y_max + (chart.y_max - chart.y_min);
  // Channel 0 last, on top of the others.
  for (auto it = chart.series.rbegin(); it != chart.series.rend(); ++it) {
    Series& s = *it;
    thin(s, chart.x_min, chart.x_max, x1 - x0);
    const Rgb k = colour(s.colour);
    cairo_set_source_rgb(cr, k.r, k.g, k.b);
    bool pen_down = false;
    for (std::size_t i = 0; i < s.x.size(); ++i) {
      if (std::isnan(s.y[i])) {
        pen_down = false;
        continue;
      }
      const double y = py(std::clamp(s.y[i], floor_y, ceil_y));
      if (pen_down)
        cairo_line_to(cr, px(s.x[i]), y);
      else
        cairo_move_to(cr, px(s.x[i]), y);
      pen_down = true;
    }
    cairo_stroke(cr);
    if (s.marker) {
      cairo_arc(cr, px(s.marker->first), py(s.marker->second), 5, 0, 2 * M_PI);
      cairo_set_line_width(cr, 2);
      cairo_stroke(cr);
      cairo_set_line_width(cr, 1.3);
    }
  }
  cairo_restore(cr);

  // Frame.
  cairo_set_source_rgb(cr, 0.45, 0.45, 0.45);
  cairo_set_line_width(cr, 1);
  cairo_rectangle(cr, x0 + 0.5, y0 + 0.5, x1 - x0 - 1, y1 - y0 - 1);
  cairo_stroke(cr);

  // Legend, top right inside the frame.
  font(cr, 12);
  double text_w = 0;
  for (const Series& s : chart.series) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, s.label.c_str(), &e);
    text_w = std::max(text_w, e.x_advance);
  }
  const double row = 19, pad = 9, line = 22;
  const double w = pad + line + 7 + text_w + pad, h = pad + row * chart.series.size() + pad - 4;
  const double lx = x1 - 10 - w, ly = y0 + 10;
  cairo_set_source_rgba(cr, 1, 1, 1, 0.9);
  cairo_rectangle(cr, lx, ly, w, h);
  cairo_fill_preserve(cr);
  cairo_set_source_rgb(cr, 0.7, 0.7, 0.7);
  cairo_stroke(cr);
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    const double cy = ly + pad + row * i + row / 2 - 2;
    const Rgb k = colour(chart.series[i].colour);
    cairo_set_source_rgb(cr, k.r, k.g, k.b);
    cairo_set_line_width(cr, 2.5);
    cairo_move_to(cr, lx + pad, cy);
    cairo_line_to(cr, lx + pad + line, cy);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
    text_at(cr, chart.series[i].label, lx + pad + line + 7, cy, 0, 0.5);
  }
}

void render(const Chart& chart, const std::string& svg_path, const std::string& png_path) {
  auto fail = [](const std::string& path, cairo_status_t status) {
    throw InputError("cannot write '" + path + "': " + cairo_status_to_string(status));
  };
  {
    cairo_surface_t* surface = cairo_svg_surface_create(svg_path.c_str(), kWidth, kHeight);
    cairo_t* cr = cairo_create(surface);
    draw(cr, chart);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    const cairo_status_t status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) fail(svg_path, status);
  }
  {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(kWidth * kPngScale),
                                                          static_cast<int>(kHeight * kPngScale));
    cairo_t* cr = cairo_create(surface);
    cairo_scale(cr, kPngScale, kPngScale);
    draw(cr, chart);
    cairo_destroy(cr);
    cairo_status_t status = cairo_surface_status(surface);
    if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_write_to_png(surface, png_path.c_str());
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) fail(png_path, status);
  }
}

std::string basename(const std::string& path) {
  const auto slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A unit that puts `span` (in the base unit) between 1 and 1000 of it.
std::pair<double, std::string> unit_for(double span, const char* base) {
  static const std::pair<double, const char*> prefixes[] = {{1e-6, "\xC2\xB5"}, {1e-3, "m"}, {1, ""}, {1e3, "k"},
                                                           {1e6, "M"}};
  std::pair<double, std::string> best{1, base};
  for (const auto& [factor, prefix] : prefixes)
    if (span / factor >= 1.5) best = {factor, std::string(prefix) + base};
  return best;
}

}  // namespace

PlotCaches::~PlotCaches() {
  cairo_debug_reset_static_data();  // drops cairo's hold on fontconfig first
  FcFini();
}

void plot_spectrum(const Report& r, const std::string& svg_path, const std::string& png_path) {
  Chart chart;
  const auto [unit, unit_name] = unit_for(r.sample_rate / 2, "Hz");
  chart.title = "Averaged spectrum: " + basename(r.source);
  if (r.spectrum_blocks)
    chart.subtitle = "Hann window, power averaged over " + std::to_string(r.spectrum_blocks) + " block" +
                     (r.spectrum_blocks == 1 ? "" : "s") + " of " + std::to_string(r.spectrum_size) + ", bin " +
                     si(r.sample_rate / static_cast<double>(r.spectrum_size), "Hz", 6) +
                     "; 0 dBV = 1 V rms" + (r.lowpass_hz ? "; low-pass filtered" : "");
  else
    chart.subtitle = "no spectrum: the capture is shorter than one transform";
  chart.x_label = "frequency (" + unit_name + ")";
  chart.y_label = "level (dBV per bin)";
  chart.x_max = r.sample_rate / 2 / unit;

  double top = -std::numeric_limits<double>::infinity(), bottom = std::numeric_limits<double>::infinity();
  for (const ChannelResult& c : r.channel) {
    Series s;
    s.colour = c.index;
    s.label = "ch " + std::to_string(c.index);
    if (c.spectrum_dbv.empty()) {
      chart.series.push_back(std::move(s));
      continue;
    }
    char text[160];
    std::snprintf(text, sizeof text, "ch %u: peak %s at %.1f dBV, floor %.1f dBV", c.index,
                  si(c.peak_hz, "Hz", 5).c_str(), c.peak_dbv, c.noise_floor_dbv);
    s.label = text;
    for (std::size_t k = 0; k < c.spectrum_dbv.size(); ++k) {
      s.x.push_back(static_cast<double>(k) * c.bin_hz / unit);
      s.y.push_back(c.spectrum_dbv[k]);
      if (std::isfinite(c.spectrum_dbv[k])) top = std::max(top, c.spectrum_dbv[k]);
    }
    if (std::isfinite(c.peak_dbv)) s.marker = {{c.peak_hz / unit, c.peak_dbv}};
    if (std::isfinite(c.noise_floor_dbv)) bottom = std::min(bottom, c.noise_floor_dbv);
    chart.series.push_back(std::move(s));
  }
  // From well below the lowest noise floor to just above the highest bin, in
  // whole tens of dB, at least 60 dB and at most 200 dB tall.
  if (!std::isfinite(top)) top = 0;
  if (!std::isfinite(bottom)) bottom = top - 100;
  chart.y_max = std::ceil((top + 8) / 10) * 10;
  chart.y_min = std::floor((bottom - 20) / 10) * 10;
  chart.y_min = std::clamp(chart.y_min, chart.y_max - 200, chart.y_max - 60);
  render(chart, svg_path, png_path);
}

void plot_waveform(const Report& r, const std::string& svg_path, const std::string& png_path) {
  // One time axis for every channel, zero at each channel's first edge.
  // Show one period before it and three after, with the longest period of
  // any channel, as far as the kept samples reach.
  double period = 0, first = std::numeric_limits<double>::infinity(), last = -first;
  for (const ChannelResult& c : r.channel) {
    if (c.edges >= 2) period = std::max(period, static_cast<double>(*c.last_edge - *c.first_edge) / (c.edges - 1));
    const double zero = static_cast<double>(c.first_edge.value_or(c.snapshot_start));
    first = std::min(first, static_cast<double>(c.snapshot_start) - zero);
    last = std::max(last, static_cast<double>(c.snapshot_start + c.snapshot.size()) - 1 - zero);
  }
  if (!(last > first)) first = 0, last = 1;
  double from = first, to = last;
  if (period > 0) from = std::max(first, -period), to = std::min(last, 3 * period);
  if (!(to > from)) from = first, to = last;

  Chart chart;
  const auto [unit, unit_name] = unit_for((to - from) / r.sample_rate, "s");
  chart.title = "Waveform around the first rising edge: " + basename(r.source);
  chart.subtitle = "each channel from its own first rising edge (or the start of the capture)" +
                   std::string(r.lowpass_hz ? "; low-pass filtered" : "") + "; dotted: trigger levels";
  chart.x_label = "time from the edge (" + unit_name + ")";
  chart.y_label = "volts (V)";
  chart.x_min = from / r.sample_rate / unit;
  chart.x_max = to / r.sample_rate / unit;
  chart.x_lines.push_back({0.0, "rising edge"});

  double lo = std::numeric_limits<double>::infinity(), hi = -lo;
  for (const ChannelResult& c : r.channel) {
    Series s;
    s.colour = c.index;
    const double zero = static_cast<double>(c.first_edge.value_or(c.snapshot_start));
    for (std::size_t k = 0; k < c.snapshot.size(); ++k) {
      const double t = static_cast<double>(c.snapshot_start + k) - zero;
      if (t < from || t > to) continue;
      s.x.push_back(t / r.sample_rate / unit);
      s.y.push_back(c.snapshot[k]);
      if (std::isfinite(s.y.back())) lo = std::min(lo, s.y.back()), hi = std::max(hi, s.y.back());
    }
    if (c.first_edge)
      s.label = "ch " + std::to_string(c.index) + ": first edge at " +
                si(static_cast<double>(*c.first_edge) / r.sample_rate, "s") + ", level " + si(c.level, "V");
    else
      s.label = "ch " + std::to_string(c.index) + ": no rising edge, start of the capture";
    if (std::isfinite(c.level)) chart.y_lines.push_back({c.level, c.index});
    chart.series.push_back(std::move(s));
  }
  if (!(hi > lo)) lo = std::isfinite(lo) ? lo - 1 : -1, hi = std::isfinite(hi) ? hi + 1 : 1;
  const double pad = (hi - lo) * 0.08;
  // Room at the top for the legend's rows.
  chart.y_min = lo - pad;
  chart.y_max = hi + pad + (hi - lo) * 0.06 * static_cast<double>(r.channel.size());
  render(chart, svg_path, png_path);
}

}  // namespace pipeline

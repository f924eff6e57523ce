// SPDX-License-Identifier: MIT
// The two plots, each drawn once with cairo onto an SVG and a PNG surface.
#pragma once

#include "report.h"

#include <string>

namespace pipeline {

// Throw InputError when a file cannot be written.
void plot_spectrum(const Report& report, const std::string& svg_path, const std::string& png_path);
void plot_waveform(const Report& report, const std::string& svg_path, const std::string& png_path);

// Text drawing fills caches in cairo and fontconfig that live to the end of
// the process. Holding one of these while plotting hands them back after it,
// so that a leak checker sees a clean exit.
class PlotCaches {
 public:
  PlotCaches() = default;
  PlotCaches(const PlotCaches&) = delete;
  PlotCaches& operator=(const PlotCaches&) = delete;
  ~PlotCaches();
};

}  // namespace pipeline

// The two plots, each drawn once with cairo onto an SVG and a PNG surface.
#pragma once

#include "report.h"

#include <string>

namespace pipeline {

// Throw InputError when a file cannot be written.
void plot_spectrum(const Report& report, const std::string& svg_path, const std::string& png_path);
void plot_waveform(const Report& report, const std::string& svg_path, const std::string& png_path);

}  // namespace pipeline

// SPDX-License-Identifier: MIT
// The report: as text for a person, as JSON for a script, and the averaged
// spectrum as CSV.
#pragma once

#include "analysis.h"

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace pipeline {

struct Report {
  std::string source, format, sample_type;
  unsigned channels = 0;
  double sample_rate = 0;
  uint64_t frames = 0, blocks = 0;
  std::size_t block = 0;
  double scale = 1, offset = 0;
  std::optional<double> lowpass_hz;
  uint64_t spectrum_blocks = 0;
  std::size_t spectrum_size = 0;
  std::string transform;  // which backend ran the transforms
  std::vector<ChannelResult> channel;
  struct Output {
    std::string path, what;
  };
  std::vector<Output> outputs;
};

void write_text(std::FILE* out, const Report& report);
void write_json(std::FILE* out, const Report& report);
// Throws InputError when the file cannot be written.
void write_spectrum_csv(const std::string& path, const Report& report);

// "530.9 mV", "1.00098 kHz", "n/a": a value with an SI prefix.
std::string si(double value, const char* unit, int digits = 4);

}  // namespace pipeline

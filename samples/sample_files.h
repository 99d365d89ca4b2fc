#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace samples {

struct SampleFile {
  /// Relative to the samples folder, with forward slashes.
  std::string path;
  std::vector<std::uint8_t> bytes;
};

/// Every file of the sample scenes: plaza.lws, cameras.lws with a camera for each picture of the gallery,
/// charts.lws with what is better shown without the city around it, and their objects.
/// The same bytes on every machine. Threads: any.
std::vector<SampleFile> sample_files();

}  // namespace samples

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/output/packing.h"

namespace tool {

/// How much of all directions an equirectangular picture shows.
enum class PanoramaCover {
  /// All of them, 360 x 180 degrees.
  sphere,
  /// Those ahead, 180 x 180 degrees.
  half,
};

/// A picture that is an equirectangular panorama, or holds one for each eye.
struct Panorama {
  PanoramaCover cover = PanoramaCover::sphere;
  /// Of the panorama, each eye's by itself, pixels.
  int width = 0;
  int height = 0;
  /// How the picture holds both eyes; none: it is the panorama.
  std::optional<Packing> packing = {};
};

/// What players read of it, as texts by name: the properties "GPano:..." of photo spheres, and for both eyes
/// "GSpherical:StereoMode". Empty where its pixels are not as wide as they are high, which players take for granted. Threads:
/// any.
std::vector<std::pair<std::string, std::string>> panorama_properties(const Panorama& panorama);

/// The same as an XMP packet; empty without properties. Threads: any.
std::string panorama_packet(const std::vector<std::pair<std::string, std::string>>& properties);

}  // namespace tool

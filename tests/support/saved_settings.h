#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "standin/scene/envelope.h"
#include "tests/support/camera_facts.h"

namespace test_support {

/// One value of a camera's scene data.
struct SavedValue {
  SavedFacts::Kind kind = SavedFacts::Kind::envelope;
  standin::Envelope envelope;
  std::uint32_t word = 0;
  float number = 0.0F;
};

/// What a new instance writes, in order.
std::vector<SavedValue> default_settings(const CameraFacts& camera);

/// Values that differ from one another, from the defaults, and from those of another seed. Every second envelope is keyed.
std::vector<SavedValue> distinct_settings(const CameraFacts& camera, int seed = 1);

/// The settings as the host writes them into a scene.
std::vector<std::string> as_text(const std::vector<SavedValue>& settings);
std::vector<std::uint8_t> as_binary(const std::vector<SavedValue>& settings);

}  // namespace test_support

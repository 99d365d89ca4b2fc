#pragma once

#include <string>
#include <vector>

#include "standin/session/session.h"
#include "tool/commands/warnings.h"

namespace tool {

/// What a frame would be without each of its settings, and without the turn of its camera, to tell of those that no ray depends
/// on.
class FramesWithoutASetting {
 public:
  /// Opens one session after the other. Construct it before the session that renders: what a camera publishes last is then what
  /// it renders with. Throws what opening a session throws. Threads: one.
  FramesWithoutASetting(const standin::SessionOptions& options, int frame);

  /// Adds a warning for each setting without which the begun frame of the session would be the same, ray for ray.
  void add_unused(standin::Session& session, const standin::FrameSetup& setup, Warnings& warnings) const;

 private:
  struct Without {
    std::string setting;
    standin::FrameSetup setup;
    /// For the centre, the left and the right eye.
    std::vector<std::vector<standin::RayAnswer>> rays;
  };
  std::vector<Without> all_;
};

}  // namespace tool

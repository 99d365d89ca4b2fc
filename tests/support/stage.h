#pragma once

#include <memory>
#include <string>

#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"

namespace test_support {

/// What the host says of every camera in `test_scene`.
inline constexpr double scene_zoom_factor = 2.5;
inline constexpr double scene_eye_separation = 0.07;

/// The camera "Camera", twelve others "Other 1" to "Other 12", and the objects "Cube" and "Ball".
standin::Scene test_scene();

/// A host with a scene, and the module of this build. Destroy all instances first: on destruction, the stage fails the running
/// test for every mistake that the module made toward the host, and for everything that it left behind.
struct Stage {
  standin::Host host;
  standin::Module module;

  explicit Stage(standin::Scene scene = test_scene());
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  std::unique_ptr<standin::HostedCamera> create(const std::string& server_name, const std::string& camera = "Camera");
};

}  // namespace test_support

#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "standin/remote/ray_service.h"
#include "standin/scene/scene.h"
#include "tests/support/paths.h"

namespace test_support {

/// A scene of one camera that turns, and a program to run it.
class RayService : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv(program_variable);
    folder_ = scratch_folder();
    standin::Scene scene;
    standin::Item camera;
    camera.kind = standin::ItemKind::camera;
    camera.id = 30000000;
    camera.name = "Camera";
    camera.camera = standin::CameraSettings{};
    camera.motion[0] = standin::Envelope::constant(2.5);
    scene.items.push_back(camera);
    standin::write_scene_file(scene, folder_ / "scene.lws");
    options_.scene_file = folder_ / "scene.lws";
    options_.module_file = module_file();
    options_.server_name = "QuorinPanoramicCam";
  }
  void TearDown() override { unsetenv(program_variable); }

  /// A program that does what the shell lines say instead of serving.
  void use_script(const std::string& lines) {
    const auto file = folder_ / "service.sh";
    std::ofstream(file) << "#!/bin/sh\n" << lines << '\n';
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    setenv(program_variable, file.c_str(), 1);
  }

  std::string refusal() const {
    try {
      standin::open_remote_session(options_);
      return "it was opened";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  static constexpr const char* program_variable = "OVICAM_RAY_SERVICE";
  std::filesystem::path folder_;
  standin::SessionOptions options_;
};

}  // namespace test_support

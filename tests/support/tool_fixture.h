#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/paths.h"
#include "tests/support/write_object.h"

namespace test_support {

struct Outcome {
  int exit_code = -1;
  std::string output;
};

inline std::string quoted(const std::filesystem::path& path) { return "'" + path.string() + "'"; }

/// Runs a command of the shell; standard output and standard error come together.
inline Outcome run(const std::string& command) {
  Outcome outcome;
  // NOLINTNEXTLINE(cert-env33-c): commands as a person types them, of the test's own making
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return outcome;
  std::array<char, 4096> part{};
  while (const std::size_t count = fread(part.data(), 1, part.size(), pipe)) outcome.output.append(part.data(), count);
  const int status = pclose(pipe);
  outcome.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

/// Where child processes keep what they keep for a person or for a while.
inline const std::filesystem::path& child_folder() {
  static const std::filesystem::path folder = test_support::scratch_folder();
  return folder;
}

inline std::string tool_command(const std::string& arguments) {
  return "env HOME=" + quoted(child_folder()) + " TMPDIR=" + quoted(child_folder()) + " " +
         quoted(test_support::module_file().parent_path() / "ovicam") + " " + arguments;
}

inline Outcome run_tool(const std::string& arguments) { return run(tool_command(arguments)); }

inline std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline std::vector<std::string> names_in(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

/// The shipped module of the same clone; empty before it is built.
inline std::filesystem::path shipped_module() {
  const std::filesystem::path file = test_support::module_file().parent_path().parent_path() / "windows" / "OviCam.p";
  return std::filesystem::exists(file) && std::filesystem::exists(file.parent_path() / "ovicam-ray-service.exe")
             ? file
             : std::filesystem::path();
}

/// A camera at the origin that looks along +Z, 64x48 pixels; at a distance of 4 m it sees 2 m up and down. In front of it the
/// given objects, 5 m away; the first one moves 1 m to the right every second.
class NativeTool : public testing::Test {
 protected:
  void SetUp() override { write_scene({"cube.lwo"}); }

  void write_scene(const std::vector<std::string>& object_files) {
    write_object(cube(2.0, {0.9, 0.05, 0.05}), folder_ / "cube.lwo");
    standin::Scene scene;
    scene.folder = folder_;
    for (const std::string& file : object_files) {
      standin::Item object;
      object.kind = standin::ItemKind::object;
      object.id = static_cast<std::uint32_t>(0x10000000U + scene.items.size());
      object.name = file;
      object.object_file = file;
      object.motion[2] = standin::Envelope::constant(5.0);
      if (scene.items.empty())
        object.motion[0].keys = {{0.0, 0.0, standin::Span::linear, {}}, {2.0, 2.0, standin::Span::linear, {}}};
      scene.items.push_back(object);
    }
    scene.items.push_back(front_camera());
    standin::write_scene_file(scene, scene_);
  }

  /// At the origin, looking along +Z, 64x48 pixels with a zoom of 2.
  static standin::Item front_camera() {
    standin::Item camera;
    camera.kind = standin::ItemKind::camera;
    camera.id = 0x30000000U;
    camera.name = "Front";
    camera.camera.emplace();
    camera.camera->zoom_factor = standin::Envelope::constant(2.0);
    camera.camera->width_pixels = 64;
    camera.camera->height_pixels = 48;
    return camera;
  }

  std::filesystem::path out(const std::string& name) const { return folder_ / name; }

  Outcome render(const std::string& output, const std::string& more = "") const {
    return run_tool("render " + quoted(scene_) + " --samples 4 --frames 0 -o " + quoted(out(output)) + " " + more);
  }

  const std::filesystem::path folder_ = scratch_folder();
  const std::filesystem::path scene_ = folder_ / "scene.lws";
};

}  // namespace test_support

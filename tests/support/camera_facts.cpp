#include "tests/support/camera_facts.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "tests/support/describe_camera.h"

namespace test_support {
namespace {

/// The cameras add themselves while the program starts, in any order.
std::vector<CameraFacts>& cameras() {
  static std::vector<CameraFacts> list;
  return list;
}

int number_of(const CameraFacts& camera) { return std::stoi(camera.tag_table.substr(std::string("tagInfo").size())); }

}  // namespace

OneOfAllCameras::OneOfAllCameras(CameraFacts (*describe)()) noexcept {
  CameraFacts facts = describe();
  const auto behind = std::ranges::upper_bound(cameras(), number_of(facts), {}, number_of);
  cameras().insert(behind, std::move(facts));
}

const std::vector<CameraFacts>& all_cameras() { return cameras(); }

const CameraFacts& camera_facts(const std::string& server_name) {
  for (const CameraFacts& camera : all_cameras())
    if (camera.server_name == server_name) return camera;
  throw std::out_of_range("There are no facts of a camera called " + server_name);
}

void PrintTo(const CameraFacts& facts, std::ostream* stream) { *stream << facts.server_name; }

}  // namespace test_support

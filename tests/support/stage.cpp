#include "tests/support/stage.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "tests/support/paths.h"

namespace test_support {
namespace {

std::string joined(const std::vector<std::string>& sentences) {
  std::string text;
  for (const std::string& sentence : sentences) text += sentence + '\n';
  return text;
}

}  // namespace

standin::Scene test_scene() {
  standin::Scene scene;
  const auto add = [&](standin::ItemKind kind, std::uint32_t id, const std::string& name) -> standin::Item& {
    standin::Item item;
    item.kind = kind;
    item.id = id;
    item.name = name;
    scene.items.push_back(item);
    return scene.items.back();
  };
  add(standin::ItemKind::object, 10000000, "Cube");
  add(standin::ItemKind::object, 10000001, "Ball");
  standin::CameraSettings settings;
  settings.zoom_factor = standin::Envelope::constant(scene_zoom_factor);
  settings.eye_separation = standin::Envelope::constant(scene_eye_separation);
  add(standin::ItemKind::camera, 30000000, "Camera").camera = settings;
  for (std::uint32_t i = 1; i <= 12; ++i)
    add(standin::ItemKind::camera, 30000000 + i, "Other " + std::to_string(i)).camera = settings;
  return scene;
}

Stage::Stage(standin::Scene scene) : host(std::move(scene)), module(module_file()) {}

Stage::~Stage() {
  EXPECT_EQ(joined(host.violations()), "");
  EXPECT_EQ(joined(host.leaks()), "");
}

std::unique_ptr<standin::HostedCamera> Stage::create(const std::string& server_name, const std::string& camera) {
  return std::make_unique<standin::HostedCamera>(host, module, server_name, camera);
}

}  // namespace test_support

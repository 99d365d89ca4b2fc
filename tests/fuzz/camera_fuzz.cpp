/// Feeds any bytes to every camera: as what a scene file holds of it, in both forms, and as the values of its panel. It then
/// prepares a frame and answers rays, and what it saves it must read as the same.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/host.h"
#include "standin/host/host.h"
#include "standin/host/hosted_camera.h"
#include "standin/host/module.h"

namespace {

using namespace standin;

Scene scene_of_two_cameras() {
  Scene scene;
  for (const char* name : {"Camera", "Other"}) {
    Item item;
    item.kind = ItemKind::camera;
    item.id = static_cast<std::uint32_t>(0x30000000U + scene.items.size());
    item.name = item.given_name = name;
    item.camera.emplace();
    scene.items.push_back(item);
  }
  return scene;
}

struct World {
  Host host{scene_of_two_cameras()};
  Module module{OVICAM_MODULE_FILE};
  std::vector<std::string> servers;

  World() {
    for (const Server& server : module.servers())
      if (server.class_name == LWCAMERA_HANDLER_CLASS) servers.push_back(server.name);
  }
};

/// Bytes from the input, and zeros behind its end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

  template <class Number>
  Number number() {
    Number value{};
    const std::size_t size = std::min(left_, sizeof value);
    std::memcpy(&value, next_, size);
    skip(size);
    return value;
  }
  std::vector<std::uint8_t> bytes() const { return {next_, next_ + left_}; }
  bool empty() const { return left_ == 0; }

 private:
  void skip(std::size_t count) {
    next_ += count;
    left_ -= count;
  }

  const std::uint8_t* next_;
  std::size_t left_;
};

std::vector<std::string> lines_of(const std::vector<std::uint8_t>& bytes) {
  std::vector<std::string> lines(1);
  for (const std::uint8_t byte : bytes)
    if (byte == '\n')
      lines.emplace_back();
    else
      lines.back() += static_cast<char>(byte);
  return lines;
}

void set_panel(HostedCamera& camera, Input& input) {
  const Panel& panel = camera.panel();
  while (!input.empty() && !panel.data.empty()) {
    const PanelData& row = panel.data[input.number<std::uint8_t>() % panel.data.size()];
    if (row.type == "integer" || row.type == "sInteger")
      panel.set_integer(row.id, input.number<std::int32_t>());
    else if (row.type == "float" || row.type == "distance" || row.type == "angle" || row.type == "percent")
      panel.set_float(row.id, input.number<double>());
    else
      panel.get(row.id);
  }
}

void render(HostedCamera& camera) {
  camera.init_render(LWRM_RENDER);
  camera.new_time(1, 0.1);
  camera.new_frame(1, 0.1, 0.02, 3);
  for (const double x : {-0.009, 0.0, 0.007}) {
    const RayAnswer ray = camera.evaluate({.film_x = x, .film_y = 0.4 * x, .lens_x = 0.3, .fractional_time = 0.4});
    static_cast<void>(ray);
    camera.project({x, 0.5, 4.0}, 0.3, Eye::left);
  }
  camera.clean_up();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static World& world = *new World;
  Input input(data, size);
  const std::string& server = world.servers[input.number<std::uint8_t>() % world.servers.size()];
  const auto way = input.number<std::uint8_t>() % 3;
  {
    HostedCamera camera(world.host, world.module, server, "Camera");
    try {
      if (way == 0) camera.load_text(lines_of(input.bytes()));
      if (way == 1) camera.load_binary(input.bytes());
      if (way == 2) set_panel(camera, input);
      render(camera);
      HostedCamera again(world.host, world.module, server, "Camera");
      again.load_text(camera.save_text());
      if (again.save_text() != camera.save_text()) std::abort();
    } catch (const std::runtime_error&) {
      // What the module refuses with a sentence.
    }
  }
  if (!world.host.violations().empty() || !world.host.leaks().empty()) std::abort();
  return 0;
}

/// Feeds any text to the reader of scene files. What it takes, it must be able to write and to read again, and to change
/// without touching what is to stay.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"
#include "standin/scene/scene_edit.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const standin::Scene scene = standin::read_scene(text, "fuzz.lws");
    static_cast<void>(scene.world_poses(0.5));
    for (const standin::Item& item : scene.items)
      if (item.camera && scene.find_camera(item.id) != &item) std::abort();
    static_cast<void>(standin::read_scene(standin::write_scene(scene), "again.lws"));
    if (const standin::Item* camera = scene.current_camera()) {
      if (standin::edited_scene(text, "fuzz.lws", camera->id, {}) != text) std::abort();
      const standin::PluginBlock handler{"CameraHandler", 1, "Some Camera", {"1", "  two"}};
      const standin::CameraTurn turn{{0.5, -0.25, 1.0}, 1.5};
      static_cast<void>(standin::edited_scene(text, "fuzz.lws", camera->id, {handler, std::pair{64, 48}, turn}));
    }
  } catch (const standin::FileError&) {
  }
  return 0;
}

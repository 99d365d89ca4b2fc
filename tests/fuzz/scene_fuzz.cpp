/// Feeds any text to the reader of scene files. What it takes, it must be able to write and to read again.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const standin::Scene scene = standin::read_scene(text, "fuzz.lws");
    static_cast<void>(scene.world_poses(0.5));
    for (const standin::Item& item : scene.items)
      if (item.camera && scene.find_camera(item.id) != &item) std::abort();
    static_cast<void>(standin::read_scene(standin::write_scene(scene), "again.lws"));
  } catch (const standin::FileError&) {
  }
  return 0;
}

/// Feeds any bytes to the reader of object files. What it takes refers to nothing that is not there.

#include <cstdint>
#include <cstdlib>

#include "standin/scene/file_error.h"
#include "standin/scene/object_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const standin::ObjectFile object = standin::read_object({data, size}, "fuzz.lwo");
    for (const standin::Layer& layer : object.layers) {
      for (const standin::Polygon& polygon : layer.polygons) {
        if (polygon.surface >= object.surfaces.size()) std::abort();
        for (const std::uint32_t point : polygon.points)
          if (point >= layer.points.size()) std::abort();
      }
    }
  } catch (const standin::FileError&) {
  }
  return 0;
}

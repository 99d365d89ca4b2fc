#include "samples/sample_files.h"

#include "samples/gallery_cameras.h"
#include "samples/plaza.h"
#include "samples/scene_text.h"

namespace samples {
namespace {

constexpr int last_frame = 120;

/// In the middle of the plaza, looking north.
Placement camera_in_the_middle() { return {{0.0, eye_height, 0.0}, {}, -1, {}}; }

std::vector<SceneCamera> plaza_cameras() {
  return {
      {"Panorama", "QuorinPanoramicCam", 1280, 320, camera_in_the_middle()},
      {"Plain", "Perspective", 640, 480, camera_in_the_middle()},
  };
}

/// From the north-east corner of the plaza to the south-east one.
Placement tram_ride() {
  Placement ride{{tram_line_east, 0.0, 0.0}, {}, 2, {}};
  ride.keys = {{13.0, 0.0}, {4.0, 1.5}, {-13.0, 4.0}};
  return ride;
}

}  // namespace

std::vector<SampleFile> sample_files() {
  std::vector<SampleFile> files;
  std::vector<SceneObject> objects;
  unsigned baked_object = 0;
  std::vector<SceneObject> chart_objects;
  for (const SampleObject& object : plaza_objects()) {
    files.push_back({object.file, object.mesh.object_file(object.name)});
    if (object.name == "hall_north") {
      baked_object = static_cast<unsigned>(files.size());
      chart_objects.push_back({object.file, Placement{lone_hall_place, {}, -1, {}}});
    }
    for (const double heading : object.headings_degrees) {
      objects.push_back({object.file, object.name == "tram" ? tram_ride() : Placement{{}, {heading, 0.0, 0.0}, -1, {}}});
      // Without the city behind it, the plaza is before the sky.
      if (object.name != "skyline") chart_objects.push_back(objects.back());
    }
  }
  const SampleObject board = grid_board();
  files.push_back({board.file, board.mesh.object_file(board.name)});
  chart_objects.push_back({board.file, Placement{board_place, {}, -1, {}}});
  const SampleObject cube = cube_chart();
  files.push_back({cube.file, cube.mesh.object_file(cube.name)});
  chart_objects.push_back({cube.file, Placement{cube_place, {}, -1, {}}});
  // From the south-west, so that the north and east sides are in the sun and the columns throw shadows across the floor.
  const SceneLight sun{38.0, 46.0, 0.75, 0.5};
  const auto add_scene = [&](const std::string& path, std::span<const SceneObject> shown, std::span<const SceneNull> nulls,
                             std::span<const SceneCamera> cameras) {
    const std::string text = scene_text(shown, nulls, sun, cameras, last_frame);
    files.push_back({path, {text.begin(), text.end()}});
  };
  add_scene("plaza.lws", objects, {}, plaza_cameras());
  // The cameras count the convergence point among the scene's objects.
  const SceneNull point{"Convergence Point", {{3.0, 0.9, 2.6}, {}, -1, {}}};
  add_scene("charts.lws", chart_objects, {}, chart_cameras());
  add_scene("cameras.lws", objects, std::span(&point, 1),
            gallery_cameras(static_cast<unsigned>(objects.size()) + 1, baked_object));
  return files;
}

}  // namespace samples

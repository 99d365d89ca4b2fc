#include "samples/sample_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "standin/scene/object_file.h"
#include "standin/scene/scene.h"
#include "tests/support/camera_facts.h"
#include "tests/support/paths.h"

namespace sample_files_test {

namespace fs = std::filesystem;

fs::path samples_folder() { return test_support::source_folder() / "samples"; }

fs::path scene_file() { return samples_folder() / "plaza.lws"; }

std::vector<std::uint8_t> contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool is_animated(const standin::Item& item) {
  return std::ranges::any_of(item.motion, [](const standin::Envelope& channel) { return channel.animated(); });
}

const standin::Item* item_of_file(const standin::Scene& scene, const std::string& file) {
  const auto found = std::ranges::find(scene.items, file, &standin::Item::object_file);
  return found == scene.items.end() ? nullptr : &*found;
}

TEST(SampleFiles, CommittedFilesAreWhatTheGeneratorWrites) {
  std::set<std::string> generated;
  for (const samples::SampleFile& file : samples::sample_files()) {
    EXPECT_TRUE(contents(samples_folder() / file.path) == file.bytes) << file.path << " differs; run make-samples samples";
    generated.insert(file.path);
  }
  for (const auto& entry : fs::directory_iterator(samples_folder() / "objects"))
    EXPECT_TRUE(generated.contains("objects/" + entry.path().filename().string())) << entry.path() << " is left over";
}

TEST(SampleFiles, TogetherStaySmall) {
  std::size_t total = 0;
  for (const samples::SampleFile& file : samples::sample_files()) total += file.bytes.size();
  EXPECT_LT(total, 450'000U);
}

TEST(SampleScene, HasTheCamerasAtEyeHeightInTheMiddle) {
  const standin::Scene scene = standin::read_scene_file(scene_file());
  const standin::Item* panorama = scene.find_camera("Panorama");
  ASSERT_NE(panorama, nullptr);
  ASSERT_TRUE(panorama->camera && panorama->camera->handler);
  EXPECT_EQ(panorama->camera->handler->server_name, "QuorinPanoramicCam");
  EXPECT_TRUE(panorama->camera->handler->saved_lines.empty());
  EXPECT_EQ(panorama->camera->width_pixels, 1280);
  EXPECT_EQ(panorama->camera->height_pixels, 320);
  const standin::Item* plain = scene.find_camera("Plain");
  ASSERT_NE(plain, nullptr);
  ASSERT_TRUE(plain->camera && plain->camera->handler);
  EXPECT_EQ(plain->camera->handler->server_name, "Perspective");
  for (const standin::Item* camera : {panorama, plain})
    EXPECT_EQ(scene.world_pose(*camera, 0.0).position, (standin::Vec3{0.0, 1.6, 0.0}));
}

TEST(SampleCameras, HaveTwelvePlainOnesFirstAndThenCamerasThatTheModuleOffers) {
  const standin::Scene scene = standin::read_scene_file(samples_folder() / "cameras.lws");
  std::vector<std::string> servers;
  for (const standin::Item& item : scene.items) {
    if (!item.camera) continue;
    ASSERT_TRUE(item.camera->handler) << item.name;
    servers.push_back(item.camera->handler->server_name);
    EXPECT_EQ(item.camera->handler->saved_lines.empty(), servers.back() == "Perspective") << item.name;
  }
  const auto plain_end = std::ranges::find_if(servers, [](const std::string& server) { return server != "Perspective"; });
  EXPECT_GE(plain_end - servers.begin(), 12);
  EXPECT_EQ(std::count(plain_end, servers.end(), "Perspective"), 0);
  std::set<std::string> offered{"QuorinBakingCam"};
  for (const test_support::CameraFacts& camera : test_support::all_cameras()) offered.insert(camera.server_name);
  for (auto server = plain_end; server != servers.end(); ++server) EXPECT_TRUE(offered.contains(*server)) << *server;
}

TEST(SampleScene, SunShinesFromTheSouthWestDownwards) {
  const standin::Scene scene = standin::read_scene_file(scene_file());
  const auto sun = std::ranges::find(scene.items, standin::ItemKind::light, &standin::Item::kind);
  ASSERT_NE(sun, scene.items.end());
  ASSERT_TRUE(sun->light);
  EXPECT_EQ(sun->light->type, 0);
  const standin::Vec3 way = scene.world_pose(*sun, 0.0).forward;
  EXPECT_GT(way.x, 0.3);
  EXPECT_LT(way.y, -0.5);
  EXPECT_GT(way.z, 0.3);
}

TEST(SampleScene, OnlyTheTramMoves) {
  const standin::Scene scene = standin::read_scene_file(scene_file());
  EXPECT_EQ(std::ranges::count_if(scene.items, is_animated), 1);
  const standin::Item* tram = item_of_file(scene, "objects/tram.lwo");
  ASSERT_NE(tram, nullptr);
  EXPECT_TRUE(is_animated(*tram));
  const standin::Vec3 start = scene.world_pose(*tram, scene.time_of(scene.first_frame)).position;
  const standin::Vec3 middle = scene.world_pose(*tram, scene.time_of(60)).position;
  const standin::Vec3 end = scene.world_pose(*tram, scene.time_of(scene.last_frame)).position;
  EXPECT_EQ(start, (standin::Vec3{15.0, 0.0, 13.0}));
  EXPECT_LT(middle.z, start.z);
  EXPECT_GT(middle.z, end.z);
  EXPECT_EQ(end, (standin::Vec3{15.0, 0.0, -13.0}));
}

TEST(SampleScene, FindsItsObjectsAndAllTheirSurfacesAreUsed) {
  const standin::Scene scene = standin::read_scene_file(scene_file());
  std::size_t polygons = 0;
  std::set<std::string> files;
  for (const standin::Item& item : scene.items) {
    if (item.kind != standin::ItemKind::object || !files.insert(item.object_file).second) continue;
    const fs::path file = standin::resolve_object_file(scene, item.object_file);
    ASSERT_FALSE(file.empty()) << item.object_file;
    const standin::ObjectFile object = standin::read_object_file(file);
    ASSERT_EQ(object.layers.size(), 1U) << item.object_file;
    std::set<std::uint32_t> used;
    for (const standin::Polygon& polygon : object.layers[0].polygons) used.insert(polygon.surface);
    EXPECT_EQ(used.size(), object.surfaces.size()) << item.object_file;
    polygons += object.layers[0].polygons.size();
  }
  EXPECT_GE(files.size(), 10U);
  EXPECT_GT(polygons, 5000U);
}

/// Normal of a flat polygon whose points run clockwise as seen from its front, not normalised.
standin::Vec3 normal_of(const standin::Layer& layer, const standin::Polygon& polygon) {
  const standin::Vec3 first = layer.points[polygon.points[0]];
  standin::Vec3 sum;
  for (std::size_t i = 1; i + 1 < polygon.points.size(); ++i)
    sum = sum + cross(layer.points[polygon.points[i]] - first, layer.points[polygon.points[i + 1]] - first);
  return sum;
}

TEST(SampleScene, PolygonsAreFlatAndHaveAnArea) {
  for (const auto& entry : fs::directory_iterator(samples_folder() / "objects")) {
    const standin::ObjectFile object = standin::read_object_file(entry.path());
    for (const standin::Polygon& polygon : object.layers.at(0).polygons) {
      const standin::Layer& layer = object.layers[0];
      ASSERT_GE(polygon.points.size(), 3U);
      const standin::Vec3 normal = normal_of(layer, polygon);
      ASSERT_GT(length(normal), 1e-5) << entry.path();
      for (const std::uint32_t point : polygon.points) {
        const double off = dot(normalized(normal), layer.points[point] - layer.points[polygon.points[0]]);
        ASSERT_LT(std::abs(off), 2e-3) << entry.path();
      }
    }
  }
}

TEST(SampleScene, FloorTilesAreNamedAndMapped) {
  const standin::ObjectFile floor = standin::read_object_file(samples_folder() / "objects" / "plaza_floor.lwo");
  const standin::Layer& layer = floor.layers.at(0);
  ASSERT_EQ(layer.polygons.size(), 64U);
  ASSERT_EQ(layer.uv_maps.size(), 1U);
  EXPECT_EQ(layer.uv_maps[0].name, "Plaza UV");
  EXPECT_EQ(layer.uv_maps[0].of_point.size(), layer.points.size());
  for (const standin::Polygon& tile : layer.polygons) {
    standin::Vec3 centre;
    for (const std::uint32_t point : tile.points) centre = centre + layer.points[point] * 0.25;
    const auto letter = static_cast<char>('A' + static_cast<int>((centre.x + 12.0) / 3.0));
    const auto digit = static_cast<char>('1' + static_cast<int>((centre.z + 12.0) / 3.0));
    EXPECT_EQ(floor.surfaces.at(tile.surface).name, std::string("Tile ") + letter + digit);
    EXPECT_GT(normal_of(layer, tile).y, 0.0);
    for (const std::uint32_t point : tile.points) {
      const std::vector<float>& uv = layer.uv_maps[0].of_point.at(point);
      EXPECT_NEAR(uv.at(0), (layer.points[point].x + 12.0) / 24.0, 1e-6);
      EXPECT_NEAR(uv.at(1), (layer.points[point].z + 12.0) / 24.0, 1e-6);
    }
  }
}

}  // namespace sample_files_test

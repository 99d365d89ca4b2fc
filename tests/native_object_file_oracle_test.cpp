// Reads the host's objects with the Open Asset Import Library as well. That library gives each polygon points of its own,
// mirrors depth, and places each layer by nodes for its pivot.
#include <algorithm>
#include <array>
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <cmath>
#include <gtest/gtest.h>
#include <map>

#include "standin/scene/object_file.h"
#include "tests/support/paths.h"

namespace native_object_file_oracle_test {

using standin::Vec3;

/// A polygon's corner: position and texture coordinates, comparable.
using Corner = std::array<double, 5>;

struct Contents {
  std::size_t polygons = 0;
  std::vector<Corner> positions;
  std::vector<Corner> textured;
  std::map<std::string, std::array<double, 3>> colors;
  std::map<std::string, std::size_t> polygons_of_surface;
  std::map<std::string, std::array<double, 3>> pivots;
};

Contents read_here(const std::filesystem::path& path) {
  const standin::ObjectFile file = standin::read_object_file(path);
  Contents contents;
  for (const auto& layer : file.layers) {
    if (!layer.name.empty()) contents.pivots[layer.name] = {layer.pivot.x, layer.pivot.y, layer.pivot.z};
    for (std::uint32_t p = 0; p < layer.polygons.size(); ++p) {
      const auto& polygon = layer.polygons[p];
      if (polygon.points.size() < 3) continue;
      const auto& surface = file.surfaces[polygon.surface];
      ++contents.polygons;
      ++contents.polygons_of_surface[surface.name];
      contents.colors[surface.name] = {surface.color.x, surface.color.y, surface.color.z};
      for (const std::uint32_t point : polygon.points) {
        const Vec3 at = layer.points[point];
        contents.positions.push_back({at.x, at.y, at.z, 0, 0});
        for (const auto& map : layer.uv_maps) {
          const auto own = map.of_point_in_polygon.find({point, p});
          const auto& values = own != map.of_point_in_polygon.end() ? own->second : map.of_point.at(point);
          contents.textured.push_back({at.x, at.y, at.z, values[0], values[1]});
        }
      }
    }
  }
  return contents;
}

void collect(const aiScene& scene, const aiNode& node, const aiMatrix4x4& world_from_parent, Contents& contents) {
  const aiMatrix4x4 world_from_node = world_from_parent * node.mTransformation;
  const std::string name = node.mName.C_Str();
  if (name.starts_with("Pivot-") && !name.starts_with("Pivot-Layer_"))
    contents.pivots[name.substr(6)] = {world_from_node.a4, world_from_node.b4, -world_from_node.c4};
  for (unsigned i = 0; i < node.mNumMeshes; ++i) {
    const aiMesh& mesh = *scene.mMeshes[node.mMeshes[i]];
    const aiMaterial& material = *scene.mMaterials[mesh.mMaterialIndex];
    aiString surface;
    aiColor3D color;
    material.Get(AI_MATKEY_NAME, surface);
    material.Get(AI_MATKEY_COLOR_DIFFUSE, color);
    contents.polygons += mesh.mNumFaces;
    contents.polygons_of_surface[surface.C_Str()] += mesh.mNumFaces;
    contents.colors[surface.C_Str()] = {color.r, color.g, color.b};
    for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
      const aiVector3D at = world_from_node * mesh.mVertices[v];
      contents.positions.push_back({at.x, at.y, -at.z, 0, 0});
      for (unsigned channel = 0; channel < mesh.GetNumUVChannels(); ++channel) {
        const aiVector3D& uv = mesh.mTextureCoords[channel][v];
        contents.textured.push_back({at.x, at.y, -at.z, uv.x, uv.y});
      }
    }
  }
  for (unsigned i = 0; i < node.mNumChildren; ++i) collect(scene, *node.mChildren[i], world_from_node, contents);
}

/// The same corners in whatever order, each within the tolerance of its partner.
void expect_same_corners(std::vector<Corner> ours, std::vector<Corner> theirs) {
  constexpr double tolerance = 1e-5;
  ASSERT_EQ(ours.size(), theirs.size());
  // Rounding must not decide the order of two corners that are nearly alike.
  const auto rounded = [](const Corner& corner) {
    Corner result;
    std::ranges::transform(corner, result.begin(), [](double x) { return std::round(x * 1e4) + 0.0; });
    return result;
  };
  std::ranges::sort(ours, {}, rounded);
  std::ranges::sort(theirs, {}, rounded);
  for (std::size_t i = 0; i < ours.size(); ++i)
    for (std::size_t k = 0; k < ours[i].size(); ++k)
      ASSERT_NEAR(ours[i][k], theirs[i][k], tolerance) << "corner " << i << ", number " << k;
}

template <class Values>
void expect_same_values(const Values& ours, const Values& theirs, const std::string& what) {
  ASSERT_EQ(ours.size(), theirs.size()) << what;
  for (const auto& [name, values] : ours) {
    ASSERT_TRUE(theirs.contains(name)) << what << " " << name;
    for (std::size_t k = 0; k < values.size(); ++k) EXPECT_NEAR(values[k], theirs.at(name)[k], 1e-5) << what << " " << name;
  }
}

TEST(ObjectFileOracle, EveryHostObjectIsReadAsTheImportLibraryReadsIt) {
  const auto folder = test_support::host_scene_folder();
  if (folder.empty()) GTEST_SKIP() << "the files saved by the host are not beside this clone";
  int compared = 0;
  bool textured = false;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".lwo") continue;
    SCOPED_TRACE(entry.path().filename().string());
    Assimp::Importer importer;
    const aiScene* scene = importer.ReadFile(entry.path().string(), 0);
    ASSERT_NE(scene, nullptr) << importer.GetErrorString();
    Contents theirs;
    collect(*scene, *scene->mRootNode, aiMatrix4x4(), theirs);
    const Contents ours = read_here(entry.path());
    EXPECT_EQ(ours.polygons, theirs.polygons);
    EXPECT_EQ(ours.polygons_of_surface, theirs.polygons_of_surface);
    expect_same_corners(ours.positions, theirs.positions);
    expect_same_corners(ours.textured, theirs.textured);
    expect_same_values(ours.colors, theirs.colors, "color of surface");
    expect_same_values(ours.pivots, theirs.pivots, "pivot of layer");
    textured = textured || !ours.textured.empty();
    ++compared;
  }
  EXPECT_GE(compared, 6);
  EXPECT_TRUE(textured);
}

}  // namespace native_object_file_oracle_test

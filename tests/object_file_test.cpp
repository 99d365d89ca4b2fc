#include "standin/scene/object_file.h"

#include <bit>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "standin/scene/file_error.h"
#include "tests/support/paths.h"

namespace object_file_test {

using standin::FileError;
using standin::ObjectFile;
using standin::read_object;
using standin::Vec3;

/// Writes object files byte by byte, as they are laid out: big-endian, parts of even length.
class Bytes {
 public:
  Bytes& letters(const std::string& text) {
    data_.insert(data_.end(), text.begin(), text.end());
    return *this;
  }
  Bytes& text(const std::string& text) {
    letters(text).number(0, 1);
    return even();
  }
  Bytes& number(std::uint32_t value, int size) {
    while (size > 0) data_.push_back(static_cast<std::uint8_t>(value >> 8 * --size));
    return *this;
  }
  Bytes& real(float value) { return number(std::bit_cast<std::uint32_t>(value), 4); }
  Bytes& reals(std::initializer_list<float> values) {
    for (const float value : values) real(value);
    return *this;
  }
  Bytes& numbers(std::initializer_list<std::uint32_t> values) {
    for (const std::uint32_t value : values) number(value, 2);
    return *this;
  }
  Bytes& part(const std::string& name, const Bytes& content, int size_bytes = 4) {
    letters(name).number(static_cast<std::uint32_t>(content.data_.size()), size_bytes);
    data_.insert(data_.end(), content.data_.begin(), content.data_.end());
    return even();
  }
  const std::vector<std::uint8_t>& data() const { return data_; }

 private:
  Bytes& even() { return data_.size() % 2 == 1 ? number(0, 1) : *this; }

  std::vector<std::uint8_t> data_;
};

std::vector<std::uint8_t> form(const std::string& kind, const Bytes& parts) {
  Bytes content;
  content.letters(kind);
  Bytes all = content;
  for (const std::uint8_t byte : parts.data()) all.number(byte, 1);
  return Bytes().part("FORM", all).data();
}

std::vector<std::uint8_t> object(const Bytes& parts) { return form("LWO2", parts); }

Bytes square_points() { return Bytes().reals({0, 0, 0, 0, 1, 0, 1, 1, 0, 1, 0, 0}); }

/// One layer with a square of a red surface, a two-point polygon without surface, and a texture map with a seam.
Bytes square() {
  return Bytes()
      .part("TAGS", Bytes().text("unused").text("Red"))
      .part("LAYR", Bytes().numbers({3, 1}).reals({1, 2, 3}).text("Square").numbers({2}))
      .part("PNTS", square_points())
      .part("VMPA", Bytes().numbers({0, 0}))
      .part("VMAP",
            Bytes().letters("TXUV").numbers({2}).text("Map").numbers({0}).reals({0.25F, 0.5F}).numbers({3}).reals({1, 0}))
      .part("POLS", Bytes().letters("FACE").numbers({4 | 0x8000, 0, 1, 2, 3, 2, 0, 2}))
      .part("PTAG", Bytes().letters("COLR").numbers({0, 9}))
      .part("PTAG", Bytes().letters("SURF").numbers({0, 1}))
      .part("VMAD", Bytes().letters("TXUV").numbers({2}).text("Map").numbers({3, 0}).reals({-1, 2}))
      .part("VMAP", Bytes().letters("WGHT").numbers({1}).text("Weight").numbers({0}).real(1))
      .part("SURF", Bytes()
                        .text("Red")
                        .text("")
                        .part("COLR", Bytes().reals({1, 0.5F, 0.25F}).numbers({0}), 2)
                        .part("ODD!", Bytes().number(7, 1), 2)
                        .part("DIFF", Bytes().real(0.75F).numbers({0}), 2)
                        .part("LUMI", Bytes().real(0.125F).numbers({0}), 2));
}

std::string refusal(const std::vector<std::uint8_t>& bytes) {
  try {
    read_object(bytes, "thing.lwo");
  } catch (const FileError& error) {
    return error.what();
  }
  return "read without an error";
}

TEST(ObjectFileTest, ReadsLayerPointsAndPolygons) {
  const ObjectFile file = read_object(object(square()), "square.lwo");
  ASSERT_EQ(file.layers.size(), 1U);
  const standin::Layer& layer = file.layers[0];
  EXPECT_EQ(layer.number, 3);
  EXPECT_EQ(layer.parent, 2);
  EXPECT_TRUE(layer.hidden);
  EXPECT_EQ(layer.name, "Square");
  EXPECT_EQ(layer.pivot, (Vec3{1, 2, 3}));
  EXPECT_EQ(layer.points, (std::vector<Vec3>{{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}}));
  ASSERT_EQ(layer.polygons.size(), 2U);
  EXPECT_EQ(layer.polygons[0].points, (std::vector<std::uint32_t>{0, 1, 2, 3}));
  EXPECT_EQ(layer.polygons[1].points, (std::vector<std::uint32_t>{0, 2}));
}

TEST(ObjectFileTest, ReadsSurfacesAndGivesPolygonsWithoutOneTheDefault) {
  const ObjectFile file = read_object(object(square()), "square.lwo");
  ASSERT_EQ(file.surfaces.size(), 2U);
  const standin::Surface& red = file.surfaces[file.layers[0].polygons[0].surface];
  EXPECT_EQ(red.name, "Red");
  EXPECT_EQ(red.color, (Vec3{1, 0.5, 0.25}));
  EXPECT_EQ(red.diffuse, 0.75);
  EXPECT_EQ(red.luminosity, 0.125);
  EXPECT_EQ(file.surfaces[file.layers[0].polygons[1].surface].name, "Default");
}

TEST(ObjectFileTest, ReadsTextureMapsOfPointsAndOfPointsInPolygonsOnly) {
  const ObjectFile file = read_object(object(square()), "square.lwo");
  ASSERT_EQ(file.layers[0].uv_maps.size(), 1U);
  const standin::UvMap& map = file.layers[0].uv_maps[0];
  EXPECT_EQ(map.name, "Map");
  EXPECT_EQ(map.dimension, 2);
  EXPECT_EQ(map.of_point, (std::map<std::uint32_t, std::vector<float>>{{0, {0.25F, 0.5F}}, {3, {1, 0}}}));
  ASSERT_EQ(map.of_point_in_polygon.size(), 1U);
  EXPECT_EQ(map.of_point_in_polygon.at({3, 0}), (std::vector<float>{-1, 2}));
}

TEST(ObjectFileTest, IndicesCountFromTheLatestPointsAndPolygons) {
  const Bytes face = Bytes().letters("FACE").numbers({3, 0, 1, 2});
  const Bytes parts = Bytes()
                          .part("TAGS", Bytes().text("A").text("B"))
                          .part("PNTS", square_points())
                          .part("POLS", face)
                          .part("PTAG", Bytes().letters("SURF").numbers({0, 0}))
                          .part("PNTS", square_points())
                          .part("POLS", face)
                          .part("PTAG", Bytes().letters("SURF").numbers({0, 1}));
  const ObjectFile file = read_object(object(parts), "two.lwo");
  ASSERT_EQ(file.layers.size(), 1U);
  ASSERT_EQ(file.layers[0].polygons.size(), 2U);
  EXPECT_EQ(file.layers[0].polygons[1].points, (std::vector<std::uint32_t>{4, 5, 6}));
  EXPECT_EQ(file.surfaces[file.layers[0].polygons[0].surface].name, "A");
  EXPECT_EQ(file.surfaces[file.layers[0].polygons[1].surface].name, "B");
}

TEST(ObjectFileTest, PatchesAreFacesAndOtherKindsAreSkippedWithTheirTags) {
  const Bytes parts = Bytes()
                          .part("TAGS", Bytes().text("A"))
                          .part("PNTS", square_points())
                          .part("POLS", Bytes().letters("PTCH").numbers({4, 0, 1, 2, 3}))
                          .part("POLS", Bytes().letters("BONE").numbers({2, 0, 1}))
                          .part("PTAG", Bytes().letters("SURF").numbers({0, 0}))
                          .part("VMAD", Bytes().letters("TXUV").numbers({2}).text("M").numbers({0, 0}).reals({1, 1}));
  const ObjectFile file = read_object(object(parts), "patch.lwo");
  ASSERT_EQ(file.layers[0].polygons.size(), 1U);
  EXPECT_EQ(file.layers[0].polygons[0].points.size(), 4U);
  EXPECT_EQ(file.surfaces[file.layers[0].polygons[0].surface].name, "Default");
  EXPECT_TRUE(file.layers[0].uv_maps.empty());
}

TEST(ObjectFileTest, LargeIndicesTakeFourBytes) {
  Bytes points;
  for (int i = 0; i < 0xFF01; ++i) points.reals({static_cast<float>(i), 0, 0});
  const Bytes face = Bytes().letters("FACE").numbers({3, 0, 0xFEFF}).number(0xFF00FF00, 4);
  const ObjectFile file = read_object(object(Bytes().part("PNTS", points).part("POLS", face)), "large.lwo");
  EXPECT_EQ(file.layers[0].polygons.at(0).points, (std::vector<std::uint32_t>{0, 0xFEFF, 0xFF00}));
}

TEST(ObjectFileTest, ParentIsOptional) {
  const auto parent = [](const Bytes& layer) {
    return read_object(object(Bytes().part("LAYR", layer)), "l.lwo").layers.at(0).parent;
  };
  const Bytes layer = Bytes().numbers({0, 0}).reals({0, 0, 0}).text("");
  EXPECT_EQ(parent(layer), -1);
  EXPECT_EQ(parent(Bytes(layer).numbers({0xFFFF})), -1);
  EXPECT_EQ(parent(Bytes(layer).numbers({0})), 0);
}

TEST(ObjectFileTest, OtherFormsAreRefusedByNameWithAdvice) {
  const std::string message = refusal(form("LWLO", Bytes()));
  EXPECT_NE(message.find("thing.lwo"), std::string::npos) << message;
  EXPECT_NE(message.find("LWLO"), std::string::npos) << message;
  EXPECT_NE(message.find("save it in the newer form LWO2"), std::string::npos) << message;
  EXPECT_NE(refusal(form("WHAT", Bytes())).find("WHAT"), std::string::npos);
}

/// A triangle with a polygon that lies on it, then one without surface; two surfaces.
Bytes older_parts() {
  return Bytes()
      .part("PNTS", square_points())
      .part("SRFS", Bytes().text("Red").text("Shiny"))
      .part("POLS", Bytes().numbers({3, 0, 1, 2, 0xFFFE, 1, 3, 0, 2, 3, 1}).numbers({2, 0, 3, 0}))
      .part("SURF", Bytes()
                        .text("Red")
                        .part("COLR", Bytes().number(0xFF330000, 4), 2)
                        .part("FLAG", Bytes().numbers({0x104}), 2)
                        .part("LUMI", Bytes().numbers({64}), 2)
                        .part("DIFF", Bytes().numbers({128}), 2)
                        .part("SMAN", Bytes().real(0.5F), 2))
      .part("SURF", Bytes()
                        .text("Shiny")
                        .part("DIFF", Bytes().numbers({128}), 2)
                        .part("VDIF", Bytes().real(0.75F), 2)
                        .part("CTEX", Bytes().text("Planar Image Map"), 2));
}

TEST(ObjectFileTest, TheOlderFormIsOneLayerWithSurfacesByNumber) {
  const ObjectFile file = read_object(form("LWOB", older_parts()), "old.lwo");
  ASSERT_EQ(file.layers.size(), 1U);
  EXPECT_EQ(file.layers[0].number, 0);
  ASSERT_EQ(file.layers[0].polygons.size(), 3U);
  EXPECT_EQ(file.layers[0].polygons[1].points, (std::vector<std::uint32_t>{0, 2, 3}));
  const auto surface_of = [&](std::size_t polygon) { return file.surfaces.at(file.layers[0].polygons[polygon].surface); };
  EXPECT_EQ(surface_of(0).name, "Shiny");
  EXPECT_EQ(surface_of(0).diffuse, 0.75);
  EXPECT_TRUE(surface_of(0).color_is_textured);
  EXPECT_EQ(surface_of(0).smoothing_radians, 0.0);
  EXPECT_FALSE(surface_of(0).back);
  EXPECT_EQ(surface_of(1).name, "Red");
  EXPECT_EQ(surface_of(1).color, (Vec3{1, 0.2, 0}));
  EXPECT_EQ(surface_of(1).luminosity, 0.25);
  EXPECT_EQ(surface_of(1).diffuse, 0.5);
  EXPECT_EQ(surface_of(1).smoothing_radians, 0.5);
  EXPECT_TRUE(surface_of(1).back);
  EXPECT_FALSE(surface_of(1).color_is_textured);
  EXPECT_EQ(surface_of(2).name, "Default");
}

TEST(ObjectFileTest, TheOlderFormDamagedIsReadSoundlyOrRefused) {
  const auto whole = form("LWOB", older_parts());
  std::mt19937 random(9);
  int refused = 0;
  for (int round = 0; round < 3000; ++round) {
    auto damaged = whole;
    damaged[12 + random() % (damaged.size() - 12)] = static_cast<std::uint8_t>(random());
    try {
      const ObjectFile file = read_object(damaged, "old.lwo");
      for (const auto& polygon : file.layers.empty() ? std::vector<standin::Polygon>() : file.layers[0].polygons) {
        ASSERT_LT(polygon.surface, file.surfaces.size());
        for (const std::uint32_t point : polygon.points) ASSERT_LT(point, file.layers[0].points.size());
      }
    } catch (const FileError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 300);
}

TEST(ObjectFileTest, SurfacesHaveSidesSmoothingAndTexturesOfTheirColor) {
  const auto surface = [](const Bytes& parts) {
    Bytes content;
    content.text("S").text("");
    for (const std::uint8_t byte : parts.data()) content.number(byte, 1);
    return read_object(object(Bytes().part("SURF", content)), "s.lwo").surfaces.at(0);
  };
  const auto texture = [](const std::string& kind, const std::string& channel, std::uint32_t enabled) {
    const Bytes header =
        Bytes().text("\x80").part("CHAN", Bytes().letters(channel), 2).part("ENAB", Bytes().numbers({enabled}), 2);
    return Bytes().part("BLOK", Bytes().part(kind, header, 2).part("IMAG", Bytes().numbers({1}), 2), 2);
  };
  EXPECT_TRUE(surface(Bytes()).front);
  EXPECT_FALSE(surface(Bytes()).back);
  EXPECT_EQ(surface(Bytes()).smoothing_radians, 0.0);
  const auto both = surface(Bytes().part("SIDE", Bytes().numbers({3}), 2).part("SMAN", Bytes().real(0.5F), 2));
  EXPECT_TRUE(both.front && both.back);
  EXPECT_EQ(both.smoothing_radians, 0.5);
  EXPECT_FALSE(surface(Bytes().part("SIDE", Bytes().numbers({2}), 2)).front);
  EXPECT_EQ(surface(Bytes().part("SMAN", Bytes().real(-1), 2)).smoothing_radians, 0.0);
  EXPECT_TRUE(surface(texture("IMAP", "COLR", 1)).color_is_textured);
  EXPECT_FALSE(surface(texture("IMAP", "COLR", 0)).color_is_textured);
  EXPECT_FALSE(surface(texture("IMAP", "DIFF", 1)).color_is_textured);
  EXPECT_FALSE(surface(texture("SHDR", "COLR", 1)).color_is_textured);
  EXPECT_FALSE(surface(Bytes().part("BLOK", Bytes().letters("IMAP").numbers({99}), 2)).color_is_textured);
}

TEST(ObjectFileTest, WhatIsNoObjectIsRefused) {
  EXPECT_NE(refusal({}).find("too short"), std::string::npos);
  EXPECT_NE(refusal(Bytes().letters("LWSC and a scene").data()).find("FORM"), std::string::npos);
  const auto folder = test_support::scratch_folder();
  EXPECT_THROW(standin::read_object_file(folder / "missing.lwo"), FileError);
  EXPECT_THROW(standin::read_object_file(folder), FileError);
}

TEST(ObjectFileTest, IndicesOutOfRangeAreRefusedWithTheirPlace) {
  const Bytes begin = Bytes().part("TAGS", Bytes().text("A")).part("PNTS", square_points());
  const Bytes one_face = Bytes(begin).part("POLS", Bytes().letters("FACE").numbers({3, 0, 1, 2}));
  const auto map = [](std::initializer_list<std::uint32_t> indices) {
    return Bytes().letters("TXUV").numbers({2}).text("M").numbers(indices).reals({0, 0});
  };
  EXPECT_NE(refusal(object(Bytes(begin).part("POLS", Bytes().letters("FACE").numbers({3, 0, 1, 4})))).find("point 4"),
            std::string::npos);
  EXPECT_NE(refusal(object(Bytes(one_face).part("PTAG", Bytes().letters("SURF").numbers({1, 0})))).find("polygon 1"),
            std::string::npos);
  EXPECT_NE(refusal(object(Bytes(one_face).part("PTAG", Bytes().letters("SURF").numbers({0, 1})))).find("tag 1"),
            std::string::npos);
  EXPECT_NE(refusal(object(Bytes(one_face).part("VMAP", map({4})))).find("point 4"), std::string::npos);
  EXPECT_NE(refusal(object(Bytes(one_face).part("VMAD", map({0, 1})))).find("polygon 1"), std::string::npos);
  // FORM, size, LWO2; TAGS, size, two bytes; PNTS, size, 48 bytes; POLS, size, FACE, count, two indices.
  EXPECT_NE(refusal(object(Bytes(begin).part("POLS", Bytes().letters("FACE").numbers({3, 0, 1, 4})))).find("byte 96"),
            std::string::npos);
}

TEST(ObjectFileTest, NumbersThatAreNotFiniteAreRefused) {
  for (const float odd : {std::numeric_limits<float>::infinity(), std::nanf("")}) {
    EXPECT_NE(refusal(object(Bytes().part("PNTS", Bytes().reals({0, odd, 0})))).find("byte 24: a number is not finite"),
              std::string::npos);
  }
}

TEST(ObjectFileTest, ATextureMapKeepsOneDimension) {
  const auto map = [](std::uint32_t dimension) { return Bytes().letters("TXUV").numbers({dimension}).text("M"); };
  EXPECT_NE(refusal(object(Bytes().part("VMAP", map(2)).part("VMAP", map(3)))).find("\"M\""), std::string::npos);
  EXPECT_NE(refusal(object(Bytes().part("VMAP", map(0)))).find("\"M\""), std::string::npos);
}

TEST(ObjectFileTest, CutShortAnywhereIsRefusedWithTheByte) {
  const auto whole = object(square());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string message = refusal({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
    EXPECT_EQ(message.find("thing.lwo, byte "), 0U) << "at " << size << ": " << message;
  }
}

TEST(ObjectFileTest, CutShortAnywhereWithAMatchingSizeIsReadOrRefused) {
  const auto whole = object(square());
  int refused = 0;
  for (std::size_t size = 12; size < whole.size(); ++size) {
    std::vector<std::uint8_t> part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    part[6] = static_cast<std::uint8_t>((size - 8) >> 8);
    part[7] = static_cast<std::uint8_t>(size - 8);
    try {
      EXPECT_LE(read_object(part, "thing.lwo").layers.size(), 1U);
    } catch (const FileError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 100);
}

TEST(ObjectFileTest, DamagedBytesAreReadSoundlyOrRefused) {
  const auto whole = object(square());
  std::mt19937 random(7);
  int refused = 0;
  int read = 0;
  for (int round = 0; round < 5000; ++round) {
    auto damaged = whole;
    for (std::size_t count = 1 + random() % 4; count > 0; --count)
      damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random() % 4 == 0 ? 0xFF : random());
    try {
      const ObjectFile file = read_object(damaged, "thing.lwo");
      ++read;
      for (const auto& layer : file.layers) {
        for (const auto& polygon : layer.polygons) {
          ASSERT_LT(polygon.surface, file.surfaces.size());
          for (const std::uint32_t point : polygon.points) ASSERT_LT(point, layer.points.size());
        }
        for (const auto& map : layer.uv_maps) {
          for (const auto& [point, values] : map.of_point) {
            ASSERT_LT(point, layer.points.size());
            ASSERT_EQ(values.size(), static_cast<std::size_t>(map.dimension));
          }
          for (const auto& [place, values] : map.of_point_in_polygon) {
            ASSERT_LT(place.first, layer.points.size());
            ASSERT_LT(place.second, layer.polygons.size());
            ASSERT_EQ(values.size(), static_cast<std::size_t>(map.dimension));
          }
        }
      }
    } catch (const FileError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 500);
  EXPECT_GT(read, 500);
}

TEST(ObjectFileTest, FileOnDiskIsReadAsFromMemory) {
  const auto whole = object(square());
  const auto file = test_support::scratch_folder() / "square with blanks.lwo";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(whole.data()), static_cast<std::streamsize>(whole.size()));
  const ObjectFile read = standin::read_object_file(file);
  ASSERT_EQ(read.layers.size(), 1U);
  EXPECT_EQ(read.layers[0].points.size(), 4U);
}

TEST(ObjectFileTest, HostsLayersKeepTheirNumbersParentsAndPivots) {
  const auto folder = test_support::host_scene_folder();
  if (folder.empty()) GTEST_SKIP() << "the files saved by the host are not beside this clone";
  const ObjectFile file = standin::read_object_file(folder / "hierarchy.lwo");
  ASSERT_EQ(file.layers.size(), 4U);
  const auto& grandchild = file.layers[2];
  EXPECT_EQ(grandchild.number, 2);
  EXPECT_EQ(grandchild.parent, 3);
  EXPECT_EQ(grandchild.name, "GrandChildOfRoot0");
  EXPECT_NEAR(grandchild.pivot.x, 0.8, 1e-6);
  EXPECT_NEAR(grandchild.pivot.z, 1.35, 1e-6);
  EXPECT_EQ(file.layers[1].parent, -1);
}

}  // namespace object_file_test

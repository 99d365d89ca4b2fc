/// Files made to take long to read, or much memory.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <malloc.h>
#include <new>
#include <string>
#include <vector>

#include "standin/host/host.h"
#include "standin/scene/file_error.h"
#include "standin/scene/object_file.h"
#include "standin/scene/object_search.h"
#include "standin/scene/scene.h"
#include "tests/support/tool_fixture.h"

namespace {

std::atomic<std::size_t> bytes_in_use = 0;
std::atomic<std::size_t> most_bytes_in_use = 0;

void* counted(void* memory) {
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now = bytes_in_use += malloc_usable_size(memory);
  std::size_t most = most_bytes_in_use;
  while (most < now && !most_bytes_in_use.compare_exchange_weak(most, now)) {
  }
  return memory;
}

void give_back(void* memory) noexcept {
  if (memory != nullptr) bytes_in_use -= malloc_usable_size(memory);
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return counted(std::malloc(size)); }
void operator delete(void* memory) noexcept { give_back(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { give_back(memory); }

namespace {

using standin::ItemKind;
using standin::Scene;

/// Processor time, which other programs do not lengthen.
double seconds_of(const std::function<void()>& work) {
  double fastest = 1e9;
  for (int run = 0; run < 3; ++run) {
    const std::clock_t start = std::clock();
    work();
    fastest = std::min(fastest, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
  }
  return fastest;
}

/// Four times the input takes about four times as long; where the time grows with the square, sixteen times.
void expect_linear(std::size_t count, const std::function<std::function<void()>(std::size_t)>& work_on) {
  const double once = seconds_of(work_on(count));
  const double four_times = seconds_of(work_on(4 * count));
  EXPECT_LT(four_times, 9.0 * std::max(once, 0.0005)) << once << " s";
}

/// Bytes at the same time, beyond those before.
std::size_t most_bytes_of(const std::function<void()>& work) {
  const std::size_t before = bytes_in_use;
  most_bytes_in_use = before;
  work();
  return most_bytes_in_use - before;
}

void expect_bounded_memory(const std::string& text) {
  constexpr std::size_t most_times = 20;
  const std::size_t bytes = most_bytes_of([&] {
    try {
      standin::read_scene(text, "big.lws");
    } catch (const standin::FileError&) {
    }
  });
  EXPECT_LT(bytes, most_times * text.size());
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string lines_of_the_scene_itself(std::size_t count) {
  return "LWSC\n5\n" + repeated("AddNullObject\n", count) + "FirstFrame 1\n" + repeated("SomethingUnknown 1\n", count);
}

TEST(ReaderBounds, LinesThatAreKeptBesideManyItems) {
  expect_linear(5000, [](std::size_t count) {
    return [text = lines_of_the_scene_itself(count)] { standin::read_scene(text, "kept.lws"); };
  });
  expect_bounded_memory("LWSC\n5\n" + repeated("SomethingUnknown 1\n", 50000));
}

TEST(ReaderBounds, ParentsByNumber) {
  expect_linear(4000, [](std::size_t count) {
    std::string text = "LWSC\n1\n";
    for (std::size_t i = 0; i < count; ++i)
      text += "AddNullObject A\nParentObject " + std::to_string(i == 0 ? count : i) + "\n";
    return [text] { standin::read_scene(text, "parents.lws"); };
  });
}

std::string chain(std::size_t count) {
  std::string text = "LWSC\n5\n";
  for (std::size_t i = 0; i < count; ++i) {
    std::array<char, 80> lines{};
    static_cast<void>(
        std::snprintf(lines.data(), lines.size(), "AddNullObject %08zx A\nParentItem %08zx\n", 0x10000000 + i, 0x10000001 + i));
    text += lines.data();
  }
  return text;
}

TEST(ReaderBounds, AChainOfParents) {
  expect_linear(2000, [](std::size_t count) {
    return [text = chain(count)] {
      const Scene scene = standin::read_scene(text, "chain.lws");
      ASSERT_EQ(scene.world_poses(0.0).size(), scene.items.size());
    };
  });
}

TEST(ReaderBounds, PosesOfAllItemsAreThoseOfEach) {
  Scene scene = standin::read_scene(chain(12) + "AddNullObject 20000001 B\nParentItem 10000003\n", "chain.lws");
  double value = 0.0;
  for (standin::Item& item : scene.items)
    for (standin::Envelope& channel : item.motion) channel = standin::Envelope::constant(value += 0.37);
  // A loop that no file brings, and an item beside it.
  scene.items[11].parent_id = scene.items[9].id;
  const auto poses = scene.world_poses(0.5);
  for (std::size_t i = 0; i < scene.items.size(); ++i) {
    const standin::ItemPose alone = scene.world_pose(scene.items[i], 0.5);
    const double size = 1.0 + length(alone.position);
    EXPECT_LT(length(poses[i].position - alone.position), 1e-9 * size) << i;
    EXPECT_LT(length(poses[i].right - alone.right), 1e-9 * (1.0 + length(alone.right))) << i;
  }
}

TEST(ReaderBounds, MoreItemsThanAnySceneHasAreRefused) {
  const std::string text = "LWSC\n5\n" + repeated("AddBone 40000000\n", 500000);
  expect_bounded_memory(text);
  try {
    standin::read_scene(text, "bones.lws");
    FAIL();
  } catch (const standin::FileError& error) {
    EXPECT_STREQ(error.what(), "bones.lws, line 65539: holds more than 65536 items; split it into several scenes");
  }
  EXPECT_EQ(standin::read_scene("LWSC\n5\n" + repeated("AddBone\n", 65536), "bones.lws").items.size(), 65536U);
}

TEST(ReaderBounds, KindsOfDamageWithoutEnd) {
  std::string text = "LWSC\n5\nAddNullObject A\nItemActive\n{ Envelope\n1\nKey 1 0 0\n";
  for (int i = 0; i < 20000; ++i) text += "x" + std::to_string(i) + "\n";
  text += "}\n";
  EXPECT_EQ(standin::read_scene(text, "kinds.lws").notes.warnings.size(), 100U);
}

TEST(ReaderBounds, PathsThatClimbAndWander) {
  const auto folder = test_support::scratch_folder();
  std::filesystem::create_directories(folder / "Objects");
  for (int i = 0; i < 300; ++i) std::filesystem::create_directory(folder / ("beside" + std::to_string(i)));
  Scene scene;
  scene.folder = folder;
  const auto search_for = [&](const std::string& name) {
    return [&scene, name](std::size_t count) {
      return [&scene, path = repeated(name, count) + "ship.lwo"] {
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(standin::resolve_object_file(scene, path).empty());
      };
    };
  };
  for (const std::string name : {"../", "a/", "./", "Objects/../", "..\\"}) expect_linear(250, search_for(name));
  expect_linear(2000, search_for("../"));
  expect_linear(500, [&](std::size_t count) {
    return [&scene, count] {
      standin::ObjectSearch search(scene);
      for (std::size_t i = 0; i < count; ++i) EXPECT_TRUE(search.find("Objects/" + std::to_string(i) + ".lwo").empty());
    };
  });
}

TEST(ReaderBounds, LinksThatLeadBack) {
  const auto folder = test_support::scratch_folder();
  std::filesystem::create_directory_symlink(".", folder / "a");
  std::filesystem::create_directory_symlink(".", folder / "A");
  Scene scene;
  scene.folder = folder;
  EXPECT_TRUE(standin::resolve_object_file(scene, repeated("a/", 30) + "ship.lwo").empty());
}

std::vector<std::uint8_t> object_of_chunks(const std::string& chunks) {
  const auto big_endian = [](std::size_t number) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
  };
  const std::string bytes = "FORM" + big_endian(chunks.size() + 4) + "LWO2" + chunks;
  return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> many_vertex_maps(std::size_t count) {
  std::string chunks;
  for (std::size_t i = 0; i < count; ++i) {
    std::array<char, 9> name{};
    static_cast<void>(std::snprintf(name.data(), name.size(), "%07zu", i));
    chunks += std::string("VMAP\0\0\0\x0eTXUV\0\2", 14) + std::string(name.data(), 8);
  }
  return object_of_chunks(chunks);
}

TEST(ReaderBounds, ManyVertexMaps) {
  expect_linear(
      10000, [](std::size_t count) { return [bytes = many_vertex_maps(count)] { standin::read_object(bytes, "maps.lwo"); }; });
  const auto bytes = many_vertex_maps(100000);
  EXPECT_LT(most_bytes_of([&] { standin::read_object(bytes, "maps.lwo"); }), 20 * bytes.size());
  expect_linear(10000, [](std::size_t count) {
    auto object = std::make_shared<standin::ObjectFile>(standin::read_object(many_vertex_maps(count), "maps.lwo"));
    return [object, count] {
      standin::SceneObjectService objects;
      objects.add("maps", *object);
      EXPECT_EQ(objects.uv_maps().size(), count);
    };
  });
}

TEST(ReaderBounds, ManyObjects) {
  expect_linear(4000, [](std::size_t count) {
    std::string text = "LWSC\n5\n";
    for (std::size_t i = 0; i < count; ++i) text += "LoadObjectLayer 1 10000000 Objects/" + std::to_string(i) + ".lwo\n";
    auto scene = std::make_shared<Scene>(standin::read_scene(text, "objects.lws"));
    scene->folder = test_support::scratch_folder();
    return [scene] { const standin::Host host(*scene); };
  });
}

TEST(SceneIds, TwoItemsWithOneId) {
  const Scene scene = standin::read_scene(
      "LWSC\n5\nAddNullObject 30000000 Null\nAddNullObject 30000000 Second\nAddNullObject 00000000 Zero\n"
      "AddCamera 30000000\nCameraName Eye\nAddCamera 30000000\nCameraName Other\nParentItem 30000000\nCurrentCamera 30000000\n",
      "twice.lws");
  ASSERT_EQ(scene.items.size(), 5U);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_NE(scene.items[i].id, 0U);
    for (std::size_t j = 0; j < i; ++j) EXPECT_NE(scene.items[i].id, scene.items[j].id);
  }
  EXPECT_EQ(scene.items[4].parent_id, scene.items[0].id);
  EXPECT_EQ(scene.current_camera()->name, "Eye");
  ASSERT_FALSE(scene.notes.warnings.empty());
  EXPECT_EQ(scene.notes.warnings[0],
            "twice.lws: the id 30000000 of \"Second\" is not its own; it gets another one, and whatever names this id means "
            "the first item that has it");
}

TEST(SceneIds, ACameraIsLookedUpAmongTheCameras) {
  Scene scene;
  scene.items.resize(2);
  scene.items[1].kind = ItemKind::camera;
  scene.items[1].camera.emplace();
  scene.items[0].id = scene.items[1].id = scene.current_camera_id = 7;
  EXPECT_EQ(scene.find_camera(7), &scene.items[1]);
  EXPECT_EQ(scene.current_camera(), &scene.items[1]);
  EXPECT_EQ(scene.find_camera(8), nullptr);
}

TEST(SceneIds, ItemsThatAreAttachedToThemselvesStandByThemselves) {
  const Scene scene = standin::read_scene(
      "LWSC\n5\nAddNullObject 10000000 A\nParentItem 10000001\nAddNullObject 10000001 B\nParentItem 10000002\n"
      "AddNullObject 10000002 C\nParentItem 10000001\n",
      "loop.lws");
  EXPECT_EQ(scene.items[0].parent_id, 0x10000001U);
  EXPECT_EQ(scene.items[1].parent_id, 0x10000002U);
  EXPECT_EQ(scene.items[2].parent_id, 0U);
  ASSERT_EQ(scene.notes.warnings.size(), 1U);
  EXPECT_NE(scene.notes.warnings[0].find("\"C\" is attached to itself"), std::string::npos) << scene.notes.warnings[0];
}

class NativeTwiceTheSameId : public test_support::NativeTool {};

TEST_F(NativeTwiceTheSameId, IsRenderedThroughTheCamera) {
  Scene scene = standin::read_scene_file(scene_);
  scene.items[0].id = scene.items[1].id;
  standin::write_scene_file(scene, scene_);
  const auto outcome = render("out.png", "--server QuorinFisheyeCam --camera Front");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  EXPECT_NE(outcome.output.find("is not its own"), std::string::npos) << outcome.output;
}

}  // namespace

#include <bit>
#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <memory>
#include <numbers>
#include <random>
#include <sstream>

#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"
#include "tests/support/paths.h"

namespace scene_file_test {

using standin::EndBehaviour;
using standin::Envelope;
using standin::FileError;
using standin::Item;
using standin::ItemKind;
using standin::read_scene;
using standin::Scene;
using standin::Span;
using standin::Vec3;
using standin::write_scene;

const std::string one_key = "{ Envelope\n  1\n  Key 0 0 0 0 0 0 0 0 0\n  Behaviors 1 1\n}\n";

/// Everything that is understood, and of each kind of line something that is not.
const std::string small_scene =
    "LWSC\n5\n\nRenderRangeType 0\nFirstFrame 0\nLastFrame 10\nFrameStep 2\nFramesPerSecond 25\n"
    "Plugin MasterHandler 1 Some Master\nits line\nEndPlugin\n\n"
    "LoadObjectLayer 2 10000000 Objects/my cube.lwo\nShowObject 7\nObjectMotion\nNumChannels 1\nChannel 1\n" +
    one_key +
    "PivotPosition 1 0.5 -2\n{ Block\n  { Inner\n\n    Key 3\n  }\n}\nAddNullObject 10000001 My null\nParentItem 10000000\n"
    "AmbientColor 0.5 1 1\nAmbientIntensity 0.25\nRadiosityRays 64\n"
    "AddLight 20000000\nLightName Sun\nLightColor 1 0.5 0\nLightIntensity\n{ Envelope\n2\nKey 1 0 3\nKey 2 1 4 0 0 "
    "0\nBehaviors 0 4\n}\n"
    "LightType 2\nPlugin LightHandler 1 Distant\nEndPlugin\n"
    "AddCamera 30000000\nCameraName Main\nCameraMotion\nNumChannels 0\nZoomFactor 2.5\nFrameSize 320 200\nPixelAspect 1.5\n"
    "MotionBlur 2\nMotionBlurPasses 5\nBlurLength 0.25\nApertureHeight 0.024\nDepthOfField 1\nFocalDistance 3\nLensFStop 8\n"
    "EyeSeparation 0.07\nUseGlobalBlur 0\nPlugin CameraHandler 1 Wide Angle\n  1 2\n\n-3.5\nEndPlugin\n"
    "Plugin ItemMotionHandler 2 Shake\n4\nEndPlugin\nGlobalFrameSize 640 480\nViewType 7\n";

std::string refusal(const std::string& text) {
  try {
    read_scene(text, "some.lws");
  } catch (const FileError& error) {
    return error.what();
  }
  return "read without an error";
}

const Item& item_named(const Scene& scene, const std::string& name) {
  for (const Item& item : scene.items)
    if (item.name == name) return item;
  throw std::runtime_error("no item is called " + name);
}

std::vector<std::string> names(const Scene& scene) {
  std::vector<std::string> result;
  for (const Item& item : scene.items) result.push_back(item.name);
  return result;
}

Scene read_host_scene(const std::string& name) { return standin::read_scene_file(test_support::host_scene_folder() / name); }

void write_text(const std::filesystem::path& file, const std::string& text) { std::ofstream(file, std::ios::binary) << text; }

std::string text_of(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

void expect_near(Vec3 actual, Vec3 expected) {
  EXPECT_NEAR(actual.x, expected.x, 1e-12);
  EXPECT_NEAR(actual.y, expected.y, 1e-12);
  EXPECT_NEAR(actual.z, expected.z, 1e-12);
}

TEST(SceneFileTest, ReadsTheScenesOwnSettings) {
  const Scene scene = read_scene(small_scene, "small.lws");
  EXPECT_EQ(scene.version, 5);
  EXPECT_EQ(scene.first_frame, 0);
  EXPECT_EQ(scene.last_frame, 10);
  EXPECT_EQ(scene.frame_step, 2);
  EXPECT_EQ(scene.frames_per_second, 25.0);
  EXPECT_EQ(scene.time_of(5), 0.2);
  EXPECT_EQ(color_at(scene.ambient_color, 0), (Vec3{0.5, 1, 1}));
  EXPECT_TRUE(scene.ambient_intensity.is_constant(0.25));
}

TEST(SceneFileTest, ReadsObjectsNullsAndWhatTheyHangOn) {
  const Scene scene = read_scene(small_scene, "small.lws");
  const Item& cube = item_named(scene, "my cube:Layer2");
  EXPECT_EQ(cube.kind, ItemKind::object);
  EXPECT_EQ(cube.id, 0x10000000U);
  EXPECT_EQ(cube.layer, 2);
  EXPECT_EQ(cube.object_file, "Objects/my cube.lwo");
  EXPECT_EQ(cube.pivot, (Vec3{1, 0.5, -2}));
  const Item& null = item_named(scene, "My null");
  EXPECT_EQ(null.kind, ItemKind::object);
  EXPECT_TRUE(null.object_file.empty());
  EXPECT_EQ(null.parent_id, cube.id);
  EXPECT_EQ(scene.find(0x10000001), &null);
  EXPECT_EQ(scene.find(0x10000002), nullptr);
}

TEST(SceneFileTest, ReadsLightsWithKeyedIntensity) {
  const Scene scene = read_scene(small_scene, "small.lws");
  const Item& sun = item_named(scene, "Sun");
  ASSERT_TRUE(sun.light.has_value());
  EXPECT_EQ(color_at(sun.light->color, 0), (Vec3{1, 0.5, 0}));
  EXPECT_EQ(sun.light->type, 2);
  const Envelope& intensity = sun.light->intensity;
  ASSERT_EQ(intensity.keys.size(), 2U);
  EXPECT_EQ(intensity.keys[0].span, Span::linear);
  EXPECT_EQ(intensity.keys[1].span, Span::stepped);
  EXPECT_EQ(intensity.before, EndBehaviour::reset);
  EXPECT_EQ(intensity.after, EndBehaviour::offset_repeat);
}

TEST(SceneFileTest, ReadsCameraSettingsHandlerAndOtherPlugins) {
  const Scene scene = read_scene(small_scene, "small.lws");
  const Item* item = scene.find_camera("Main");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(scene.find_camera("main"), nullptr);
  const standin::CameraSettings& camera = *item->camera;
  EXPECT_EQ(camera.zoom_factor, Envelope::constant(2.5));
  EXPECT_EQ(camera.width_pixels, 320);
  EXPECT_EQ(camera.height_pixels, 200);
  EXPECT_EQ(camera.pixel_aspect.at(0), 1.5);
  EXPECT_EQ(camera.aperture_height, 0.024);
  EXPECT_TRUE(camera.depth_of_field);
  EXPECT_EQ(camera.focal_distance.at(0), 3.0);
  EXPECT_EQ(camera.lens_f_stop.at(0), 8.0);
  EXPECT_EQ(camera.motion_blur, 2);
  EXPECT_EQ(camera.motion_blur_passes, 5);
  EXPECT_EQ(camera.blur_length.at(0), 0.25);
  EXPECT_EQ(camera.eye_separation.at(0), 0.07);
  ASSERT_TRUE(camera.handler.has_value());
  EXPECT_EQ(camera.handler->server_class, "CameraHandler");
  EXPECT_EQ(camera.handler->server_name, "Wide Angle");
  EXPECT_EQ(camera.handler->saved_lines, (std::vector<std::string>{"  1 2", "", "-3.5"}));
  ASSERT_EQ(camera.other_plugins.size(), 1U);
  EXPECT_EQ(camera.other_plugins[0].slot, 2);
  EXPECT_EQ(camera.other_plugins[0].server_name, "Shake");
}

TEST(SceneFileTest, FilmWidthFollowsTheFramesShape) {
  const Scene scene = read_scene(small_scene, "small.lws");
  const auto film = standin::film_size(*scene.find_camera("Main")->camera);
  EXPECT_DOUBLE_EQ(film[0], 0.024 * 320 / 200 * 1.5);
  EXPECT_DOUBLE_EQ(film[1], 0.024);
}

TEST(SceneFileTest, AnEnvelopeMayStandInPlaceOfANumberInEveryLayout) {
  const std::string keys = "2\nKey 1 0 3\nKey 3 1 3\nBehaviors 1 1\n}\n";
  const std::string begin = "LWSC\n5\nAddCamera\n";
  for (const std::string opening :
       {"ZoomFactor\n{ Envelope\n", "ZoomFactor (envelope)\n{ Envelope\n", "ZoomFactor { Envelope\n"}) {
    const Scene scene = read_scene(begin + opening + keys + "LensFStop 2\n", "keyed.lws");
    EXPECT_EQ(scene.items.at(0).camera->zoom_factor.at(0.5), 2.0) << opening;
    EXPECT_EQ(scene.items.at(0).camera->lens_f_stop.at(0.5), 2.0) << opening;
  }
}

TEST(SceneFileTest, AnEnvelopeWhereOnlyANumberIsUnderstoodIsKeptAsItStands) {
  const std::string keys = "2\nKey 1 0 3\nKey 3 1 3\nBehaviors 1 1\n}\n";
  for (const std::string opening :
       {"FogMinDistance\n{ Envelope\n", "FogMaxAmount (envelope)\n{ Envelope\n", "FogMinDistance { Envelope\n"}) {
    const Scene scene = read_scene("LWSC\n5\n" + opening + keys + "LastFrame 7\n", "keyed.lws");
    EXPECT_EQ(scene.last_frame, 7) << opening;
    EXPECT_NE(write_scene(scene).find(opening + keys), std::string::npos) << opening;
    EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene) << opening;
  }
}

TEST(SceneFileTest, WritingKeepsEveryLineThatIsNotUnderstood) {
  const std::string written = write_scene(read_scene(small_scene, "small.lws"));
  for (const std::string kept :
       {"RenderRangeType 0\n", "Plugin MasterHandler 1 Some Master\nits line\nEndPlugin\n", "ShowObject 7\n",
        "{ Block\n  { Inner\n\n    Key 3\n  }\n}\n", "RadiosityRays 64\n", "Plugin LightHandler 1 Distant\nEndPlugin\n",
        "UseGlobalBlur 0\n", "Plugin CameraHandler 1 Wide Angle\n  1 2\n\n-3.5\nEndPlugin\n",
        "Plugin ItemMotionHandler 2 Shake\n4\nEndPlugin\n", "GlobalFrameSize 640 480\nViewType 7\n"}) {
    EXPECT_NE(written.find(kept), std::string::npos) << kept << "is lost from\n" << written;
  }
}

TEST(SceneFileTest, WhatIsWrittenReadsBackTheSame) {
  const Scene scene = read_scene(small_scene, "small.lws");
  const std::string written = write_scene(scene);
  const Scene again = read_scene(written, "again.lws");
  EXPECT_EQ(again, scene);
  EXPECT_EQ(write_scene(again), written);
}

TEST(SceneFileTest, LinesOfTheSceneDoNotPassToTheLastCamera) {
  Scene scene = read_scene("LWSC\n5\nAddCamera 30000000\n", "one.lws");
  scene.other_lines = {"SomethingOfTheScene 1"};
  EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene);
}

class CommaForPoint : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(SceneFileTest, NumbersReadBackExactlyInAnyLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale(), std::make_unique<CommaForPoint>().release()));
  std::mt19937_64 random(5);
  Scene scene = read_scene("LWSC\n5\nAddCamera 30000000\n", "one.lws");
  auto& keys = scene.items[0].motion[0].keys;
  keys.clear();
  for (int i = 0; i < 1000; ++i) {
    const auto value = std::bit_cast<double>(random());
    keys.push_back({std::isfinite(value) ? value : std::numeric_limits<double>::denorm_min(), i / 30.0, Span::linear, {0.1}});
  }
  scene.items[0].camera->width_pixels = 12345;
  const std::string written = write_scene(scene);
  EXPECT_EQ(read_scene(written, "again.lws"), scene);
  std::locale::global(before);
  EXPECT_NE(written.find("FrameSize 12345 480\n"), std::string::npos);
  EXPECT_EQ(write_scene(scene), written);
}

TEST(SceneFileTest, CarriageReturnsBeforeLineEndsAreIgnored) {
  std::string with_returns;
  for (const char c : small_scene) with_returns += c == '\n' ? "\r\n" : std::string(1, c);
  EXPECT_EQ(read_scene(with_returns, "dos.lws"), read_scene(small_scene, "small.lws"));
}

TEST(SceneFileTest, MissingNamesAndIdsAreGiven) {
  const Scene scene =
      read_scene("LWSC\n5\nLoadObject a.lwo\nLoadObject b.lwo\nAddNullObject Aim\nAddLight\nAddCamera\n", "old.lws");
  EXPECT_EQ(names(scene), (std::vector<std::string>{"a", "b", "Aim", "Light", "Camera"}));
  std::vector<std::uint32_t> ids;
  for (const Item& item : scene.items) ids.push_back(item.id);
  EXPECT_EQ(ids, (std::vector<std::uint32_t>{0x10000000, 0x10000001, 0x10000002, 0x20000000, 0x30000000}));
}

TEST(SceneFileTest, EqualNamesOfOneKindAreNumbered) {
  const Scene scene = read_scene(
      "LWSC\n5\nLoadObject x/cube.lwo\nLoadObject y\\cube.lwo\nAddNullObject 10000002 cube\nAddNullObject 10000003 cube (2)\n"
      "AddLight\nLightName Camera\nAddCamera\nAddCamera\nCameraName Camera\nAddCamera\nCameraName Side\n",
      "same.lws");
  EXPECT_EQ(names(scene), (std::vector<std::string>{"cube (1)", "cube (3)", "cube (4)", "cube (2)", "Camera", "Camera (1)",
                                                    "Camera (2)", "Side"}));
  EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene);
}

TEST(SceneFileTest, ARenamedItemIsWrittenUnderItsNewName) {
  Scene scene = read_scene("LWSC\n5\nAddCamera\nCameraName Old\n", "one.lws");
  scene.items[0].name = "New";
  EXPECT_NE(write_scene(scene).find("CameraName New\n"), std::string::npos);
}

TEST(SceneFileTest, ItemsStandInTheOrderOfTheirKinds) {
  const Scene scene = read_scene("LWSC\n5\nAddCamera\nAddLight\nLoadObject a.lwo\nAddBone\nLoadObject b.lwo\n", "mixed.lws");
  EXPECT_EQ(names(scene), (std::vector<std::string>{"a", "Bone", "b", "Light", "Camera"}));
  EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene);
}

TEST(SceneFileTest, CamerasAreWrittenWithSixChannelsUnlessTheyAreScaled) {
  Scene scene = read_scene("LWSC\n5\nAddCamera\n", "one.lws");
  EXPECT_NE(write_scene(scene).find("NumChannels 6\n"), std::string::npos);
  scene.items[0].motion[8] = Envelope::constant(2.0);
  EXPECT_NE(write_scene(scene).find("NumChannels 9\n"), std::string::npos);
  EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene);
}

TEST(SceneFileTest, KeysOutOfOrderAreSortedByTime) {
  const Scene scene = read_scene(
      "LWSC\n5\nAddCamera\nZoomFactor\n{ Envelope\n3\nKey 3 2 3\nKey 1 0 3\nKey 2 1 3\nBehaviors 1 1\n}\n", "unordered.lws");
  EXPECT_EQ(scene.items[0].camera->zoom_factor.at(0.5), 1.5);
}

TEST(SceneFileTest, PoseOfHeadingPitchAndBank) {
  constexpr double angle = 0.3;
  Scene scene = read_scene("LWSC\n5\nAddCamera\n", "one.lws");
  Item& camera = scene.items[0];
  camera.motion[3] = Envelope::constant(angle);
  expect_near(scene.world_pose(camera, 0).forward, {std::sin(angle), 0, std::cos(angle)});
  expect_near(scene.world_pose(camera, 0).up, {0, 1, 0});
  camera.motion = standin::motion_at_rest();
  camera.motion[4] = Envelope::constant(angle);
  expect_near(scene.world_pose(camera, 0).forward, {0, -std::sin(angle), std::cos(angle)});
  expect_near(scene.world_pose(camera, 0).right, {1, 0, 0});
  camera.motion = standin::motion_at_rest();
  camera.motion[5] = Envelope::constant(angle);
  expect_near(scene.world_pose(camera, 0).right, {std::cos(angle), std::sin(angle), 0});
  expect_near(scene.world_pose(camera, 0).forward, {0, 0, 1});
}

TEST(SceneFileTest, BankIsAppliedFirstThenPitchThenHeading) {
  Scene scene = read_scene("LWSC\n5\nAddCamera\n", "one.lws");
  Item& camera = scene.items[0];
  for (const int channel : {3, 4, 5})
    camera.motion[static_cast<std::size_t>(channel)] = Envelope::constant(std::numbers::pi / 2);
  // Banked, right points up; pitched, that points forward; headed, that points right.
  expect_near(scene.world_pose(camera, 0).right, {1, 0, 0});
  expect_near(scene.world_pose(camera, 0).forward, {0, -1, 0});
  // The axes of a left-handed frame stay one, however they are turned.
  camera.motion[3] = Envelope::constant(0.7);
  camera.motion[4] = Envelope::constant(-0.4);
  const auto pose = scene.world_pose(camera, 0);
  expect_near(standin::cross(pose.right, pose.up), pose.forward);
}

TEST(SceneFileTest, PoseAppliesScalePivotAndParents) {
  Scene scene =
      read_scene("LWSC\n5\nAddNullObject 10000000 Parent\nAddNullObject 10000001 Child\nParentItem 10000000\n", "two.lws");
  Item& parent = scene.items[0];
  Item& child = scene.items[1];
  parent.motion[0] = Envelope::constant(10);
  parent.motion[3] = Envelope::constant(std::numbers::pi / 2);
  parent.motion[8] = Envelope::constant(3);
  parent.pivot = {0, 0, 1};
  // The pivot comes to lie at the position.
  expect_near(scene.world_pose(parent, 0).point_to_world({0, 0, 1}), {10, 0, 0});
  expect_near(scene.world_pose(parent, 0).forward, {3, 0, 0});
  child.motion[2] = Envelope::constant(2);
  child.motion[6] = Envelope::constant(5);
  const auto pose = scene.world_pose(child, 0);
  expect_near(pose.position, {13, 0, 0});
  expect_near(pose.right, {0, 0, -5});
  expect_near(pose.point_to_world({1, 0, 1}), {16, 0, -5});
}

TEST(SceneFileTest, ParentLoopsEndWhereTheyClose) {
  Scene scene = read_scene(
      "LWSC\n5\nAddNullObject 10000000 A\nParentItem 10000001\nAddNullObject 10000001 B\nParentItem 10000000\n"
      "AddNullObject 10000002 Own\nParentItem 10000002\nAddNullObject 10000003 Lost\nParentItem 1000FFFF\n",
      "loop.lws");
  for (Item& item : scene.items) item.motion[0] = Envelope::constant(1);
  expect_near(scene.world_pose(scene.items[0], 0).position, {2, 0, 0});
  expect_near(scene.world_pose(scene.items[2], 0).position, {1, 0, 0});
  expect_near(scene.world_pose(scene.items[3], 0).position, {1, 0, 0});
}

TEST(SceneFileTest, BrokenScenesAreRefusedWithLineAndReason) {
  struct Case {
    std::string text;
    std::string position;
    std::string reason;
  };
  const std::string camera = "LWSC\n5\nAddCamera\n";
  for (const Case& each : {
           Case{"", "line 1", "LWSC"},
           Case{"FORM\n", "line 1", "LWSC"},
           Case{"LWSC\n", "line 2", "version"},
           Case{"LWSC\nfive\n", "line 2", "\"five\" is not a number"},
           Case{"LWSC\n0\n", "line 2", "version 0"},
           Case{"LWSC\n5\nFramesPerSecond 0\n", "line 3", "greater than 0"},
           Case{"LWSC\n5\nFramesPerSecond 3O\n", "line 3", "\"3O\" is not a number"},
           Case{"LWSC\n5\nFrameStep 0\n", "line 3", "out of range"},
           Case{"LWSC\n5\nAmbientColor 1 1\n", "line 3", "is not a number"},
           Case{"LWSC\n5\nLoadObjectLayer 1 10000000\n", "line 3", "file is missing"},
           Case{"LWSC\n5\nLoadObjectLayer 1 xyz a.lwo\n", "line 3", "\"xyz\" is not a number"},
           Case{camera + "FrameSize 640 0\n", "line 4", "out of range"},
           Case{camera + "ZoomFactor nan\n", "line 4", "not finite"},
           Case{camera + "ZoomFactor 1e999\n", "line 4", "is not a number"},
           Case{camera + "ZoomFactor\n", "line 4", "is not a number"},
           Case{camera + "ZoomFactor 3,2\n", "line 4", "\"3,2\" is not a number"},
           Case{camera + "ParentItem 1000000000X\n", "line 4", "is not a number"},
           Case{camera + "ZoomFactor\n{ Envelope\n1\nKey 1 0 0\n", "line 5", "not finished"},
           Case{camera + "ZoomFactor\n{ Envelope\n2000000000\nKey 1 0 0\nBehaviors 1 1\n}\n", "line 5",
                "announces 2000000000 keys"},
           Case{camera + "ZoomFactor\n{ Envelope\n99999999999999999999\n}\n", "line 6", "is not a number"},
           Case{camera + "ZoomFactor\n{ Envelope\n-1\n}\n", "line 6", "out of range"},
           Case{camera + "ZoomFactor\n{ Envelope\n1\nKey 1 0 0 0 0 0 0 0 0 0\n}\n", "line 7", "more numbers"},
           Case{camera + "ZoomFactor\n{ Envelope\n1\nBehaviors 1 x\n}\n", "line 7", "\"x\" is not a number"},
           Case{camera + "ZoomFactor\n{ Envelope\n0\nCameraName x\n}\n", "line 7", "neither Key nor Behaviors"},
           Case{camera + "CameraMotion\n", "line 4", "NumChannels"},
           Case{camera + "CameraMotion\nNumChannels 10\n", "line 5", "out of range"},
           Case{camera + "CameraMotion\nNumChannels 1\nChannel 9\n", "line 6", "out of range"},
           Case{camera + "CameraMotion\nNumChannels 2\nChannel 0\n" + one_key, "line 4", "Channel is missing"},
           Case{camera + "Plugin CameraHandler 1 Wide\n1\n", "line 4", "EndPlugin is missing"},
           Case{camera + "Plugin CameraHandler one Wide\nEndPlugin\n", "line 4", "\"one\" is not a number"},
           Case{camera + "{ Unknown\n{ Deeper\n}\n", "line 4", "not finished"},
       }) {
    const std::string message = refusal(each.text);
    EXPECT_EQ(message.find("some.lws, " + each.position + ": "), 0U) << message << "\nfor\n" << each.text;
    EXPECT_NE(message.find(each.reason), std::string::npos) << message << "\nfor\n" << each.text;
  }
}

TEST(SceneFileTest, BlocksMayLieAtAnyDepth) {
  std::string text = "LWSC\n5\n";
  for (int depth = 0; depth < 100000; ++depth) text += "{ Deep\n";
  EXPECT_NE(refusal(text).find("line 3: the block is not finished"), std::string::npos);
  for (int depth = 0; depth < 100000; ++depth) text += "}\n";
  EXPECT_EQ(read_scene(text, "deep.lws").opening_lines.size(), 200000U);
}

TEST(SceneFileTest, WhatNoFileCanHoldIsNotWritten) {
  const Scene scene = read_scene(small_scene, "small.lws");
  Scene broken_name = scene;
  broken_name.items.back().name = "two\nlines";
  EXPECT_THROW(write_scene(broken_name), FileError);
  Scene broken_number = scene;
  broken_number.items.back().camera->aperture_height = std::nan("");
  EXPECT_THROW(write_scene(broken_number), FileError);
  Scene broken_plugin = scene;
  broken_plugin.items.back().camera->handler->saved_lines.emplace_back("EndPlugin");
  EXPECT_THROW(write_scene(broken_plugin), FileError);
}

TEST(SceneFileTest, CutShortAnywhereIsReadOrRefused) {
  int refused = 0;
  for (std::size_t size = 0; size < small_scene.size(); ++size) {
    try {
      const Scene scene = read_scene(small_scene.substr(0, size), "cut.lws");
      EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene) << size;
    } catch (const FileError& error) {
      EXPECT_EQ(std::string(error.what()).find("cut.lws, line "), 0U) << error.what();
      ++refused;
    }
  }
  EXPECT_GT(refused, 300);
}

TEST(SceneFileTest, DamagedScenesAreReadAndWrittenBackOrRefused) {
  std::mt19937 random(11);
  const std::string odd = "\n\r {}0-9.eKP\t\xff/";
  int refused = 0;
  int read = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string damaged = small_scene;
    for (std::size_t count = 1 + random() % 4; count > 0; --count) {
      const std::size_t at = random() % damaged.size();
      switch (random() % 4) {
        case 0:
          damaged[at] = odd[random() % odd.size()];
          break;
        case 1:
          damaged[at] = static_cast<char>(random());
          break;
        case 2:
          damaged.erase(at, random() % 40);
          break;
        default:
          damaged.insert(at, damaged.substr(random() % damaged.size(), random() % 60));
      }
    }
    Scene scene;
    try {
      scene = read_scene(damaged, "damaged.lws");
    } catch (const FileError&) {
      ++refused;
      continue;
    }
    ++read;
    for (const Item& item : scene.items) {
      const Vec3 position = scene.world_pose(item, 0.5).position;
      ASSERT_FALSE(std::isnan(position.x)) << round;
    }
    ASSERT_EQ(read_scene(write_scene(scene), "again.lws"), scene) << round << "\n" << damaged;
  }
  EXPECT_GT(refused, 500);
  EXPECT_GT(read, 500);
}

TEST(SceneFileTest, FilesAreReplacedWholeAndLeaveNothingBeside) {
  const auto folder = test_support::scratch_folder();
  const auto file = folder / "scene with blanks.lws";
  write_text(file, "an older file\n");
  const Scene scene = read_scene(small_scene, "small.lws");
  standin::write_scene_file(scene, file);
  EXPECT_EQ(text_of(file), write_scene(scene));
  const Scene again = standin::read_scene_file(file);
  EXPECT_EQ(again.items, scene.items);
  EXPECT_TRUE(std::filesystem::equivalent(again.folder, folder));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()), 1);
}

TEST(SceneFileTest, AFailureToWriteLeavesTheOldFileAndNamesIt) {
  const auto folder = test_support::scratch_folder();
  const Scene scene = read_scene(small_scene, "small.lws");
  const auto nowhere = folder / "missing" / "scene.lws";
  try {
    standin::write_scene_file(scene, nowhere);
    ADD_FAILURE() << "written into a folder that does not exist";
  } catch (const FileError& error) {
    EXPECT_NE(std::string(error.what()).find("scene.lws"), std::string::npos) << error.what();
  }
  // A folder of that name cannot be replaced by a file.
  std::filesystem::create_directories(folder / "taken.lws" / "inside");
  EXPECT_THROW(standin::write_scene_file(scene, folder / "taken.lws"), FileError);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()), 1);
  EXPECT_THROW(standin::read_scene_file(folder / "none.lws"), FileError);
  EXPECT_THROW(standin::read_scene_file(folder), FileError);
}

TEST(SceneFileTest, ObjectFilesAreFoundAsWrittenBesideTheSceneAndInTheContentFolder) {
  const auto content = test_support::scratch_folder();
  std::filesystem::create_directories(content / "Scenes" / "Deep");
  std::filesystem::create_directories(content / "Objects");
  write_text(content / "Objects" / "My Cube.lwo", "x");
  write_text(content / "Scenes" / "Deep" / "near.lwo", "x");
  Scene scene;
  scene.folder = content / "Scenes" / "Deep";
  const auto cube = content / "Objects" / "My Cube.lwo";
  const auto beside_scene = content / "Scenes" / "Deep" / "near.lwo";
  const auto found = [&](const std::string& written, const std::filesystem::path& expected) {
    const auto path = standin::resolve_object_file(scene, written);
    return !path.empty() && std::filesystem::equivalent(path, expected);
  };
  EXPECT_TRUE(found(cube.string(), cube));
  EXPECT_TRUE(found("near.lwo", beside_scene));
  EXPECT_TRUE(found("NEAR.LWO", beside_scene));
  EXPECT_TRUE(found("Objects/My Cube.lwo", cube));
  EXPECT_TRUE(found("objects\\my cube.lwo", cube));
  EXPECT_TRUE(found("Q:\\Elsewhere\\Objects\\My Cube.lwo", cube));
  EXPECT_TRUE(found("Q:/Elsewhere/near.lwo", beside_scene));
  EXPECT_TRUE(standin::resolve_object_file(scene, "Objects/no such file.lwo").empty());
  EXPECT_TRUE(standin::resolve_object_file(scene, "Objects").empty());
  EXPECT_TRUE(standin::resolve_object_file(scene, "").empty());
  EXPECT_TRUE(standin::resolve_object_file(scene, "\xff\xfe.lwo").empty());
}

/// A scene of version 1 as its hosts write it: motions and values as rows, degrees, colours in 256ths, one camera.
const std::string oldest_scene =
    "LWSC\n1\n\nFirstFrame 0\nLastFrame 60\nFrameStep 1\nFramesPerSecond 25.000000\n\n"
    "LoadObject Objects/my cube.lwo\nShowObject 6 6\nObjectMotion (unnamed)\n  9\n  2\n"
    "  1 2 3 90 0 0 1 1 1\n  0 0 0.5 0.25 -1\n  5 2 3 90 -45 0 1 2 1\n  50 1 0 0 0\nEndBehavior 2\n"
    "ObjDissolve (envelope)\n  1\n  2\n  0\n  0 0 0 0 0\n  1\n  30 0 0 0 0\nEndBehavior 1\nShadowOptions 7\n\n"
    "AddNullObject Aim here\nObjectMotion (unnamed)\n  9\n  1\n  0 0 0 0 0 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\n"
    "ParentObject 1\nPivotPoint 0 1 0\n\n"
    "AmbientColor 255 51 0\nAmbIntensity 0.250000\n\n"
    "AddLight\nLightName Lamp\nShowLight 0 3\nLightMotion (unnamed)\n  9\n  1\n  0 4 0 0 90 0 1 1 1\n  0 0 0 0 0\n"
    "EndBehavior 1\nLightColor 255 255 0\nLgtIntensity (envelope)\n  1\n  2\n  0\n  0 0 0 0 0\n  2\n  25 1 0 0 0\n"
    "EndBehavior 3\nFalloff 0.25\nConeAngle 20\nEdgeAngle 4\nLightType 2\nShadowType 0\n\n"
    "ShowCamera 0 7\nCameraMotion (unnamed)\n  9\n  1\n  0 1 -5 0 10 0 1 1 1\n  0 0 0 0 0\nEndBehavior 1\n"
    "ZoomFactor (envelope)\n  1\n  2\n  2\n  0 0 0 0 0\n  4\n  25 1 0 0 0\nEndBehavior 1\n"
    "RenderMode 2\nAntialiasing 0\nFrameSize 320 200\nMotionBlur 1\nBlurLength 0.5\nDepthofField 1\nLensFStop 8\n"
    "\nSolidBackdrop 1\nBackdropColor 0 0 0\nCurrentCamera 0\n";

TEST(SceneFileTest, TheOldestVersionHasMotionsInRowsOfDegrees) {
  const Scene scene = read_scene(oldest_scene, "old.lws");
  EXPECT_TRUE(scene.notes.warnings.empty()) << scene.notes.warnings.front();
  EXPECT_EQ(names(scene), (std::vector<std::string>{"my cube", "Aim here", "Lamp", "Camera"}));
  EXPECT_EQ(scene.last_frame, 60);
  EXPECT_EQ(scene.frames_per_second, 25.0);
  const Item& cube = item_named(scene, "my cube");
  EXPECT_EQ(cube.object_file, "Objects/my cube.lwo");
  EXPECT_EQ(cube.motion[0].keys[1].time_seconds, 2.0);
  EXPECT_EQ(cube.motion[0].at(1), 3.0) << "the second key is reached in a straight line";
  EXPECT_EQ(cube.motion[0].after, EndBehaviour::repeat);
  EXPECT_EQ(cube.motion[0].keys[0].span, Span::tcb);
  EXPECT_EQ(cube.motion[0].keys[0].parameters, (std::array<double, 6>{0.5, 0.25, -1}));
  EXPECT_NEAR(cube.motion[3].at(0.5), std::numbers::pi / 2, 1e-12);
  EXPECT_NEAR(cube.motion[4].at(2), -std::numbers::pi / 4, 1e-12);
  EXPECT_EQ(cube.motion[7].at(1), 1.5);
  const Item& aim = item_named(scene, "Aim here");
  EXPECT_EQ(aim.parent_id, cube.id);
  EXPECT_EQ(aim.pivot, (Vec3{0, 1, 0}));
}

TEST(SceneFileTest, TheOldestVersionHasItsLightsAndItsOneCamera) {
  const Scene scene = read_scene(oldest_scene, "old.lws");
  EXPECT_EQ(color_at(scene.ambient_color, 0), (Vec3{1, 0.2, 0}));
  EXPECT_EQ(scene.ambient_intensity.at(0), 0.25);
  const Item& lamp = item_named(scene, "Lamp");
  EXPECT_EQ(color_at(lamp.light->color, 0), (Vec3{1, 1, 0}));
  EXPECT_EQ(lamp.light->intensity.at(0.5), 1.0);
  EXPECT_EQ(lamp.light->intensity.at(1.5), 1.0) << "it oscillates";
  EXPECT_EQ(lamp.light->kind(), standin::LightKind::spot);
  EXPECT_EQ(lamp.light->fall_off, 1);
  EXPECT_EQ(lamp.light->range.at(0), 4.0) << "a quarter is lost with every metre";
  EXPECT_NEAR(lamp.light->cone_radians(0), std::numbers::pi / 9, 1e-12);
  EXPECT_EQ(lamp.light->shadow_type, 0);
  expect_near(scene.world_pose(lamp, 0).forward, {0, -1, 0});
  const Item* camera = scene.current_camera();
  ASSERT_NE(camera, nullptr);
  EXPECT_EQ(camera->camera->zoom_factor.at(0.5), 3.0);
  EXPECT_EQ(camera->camera->width_pixels, 320);
  EXPECT_EQ(camera->camera->motion_blur, 1);
  EXPECT_TRUE(camera->camera->depth_of_field);
  EXPECT_EQ(camera->camera->lens_f_stop.at(0), 8.0);
}

TEST(SceneFileTest, AnOlderSceneIsWrittenAsOneOfTheNewestVersion) {
  Scene scene = read_scene(oldest_scene, "old.lws");
  const std::string written = write_scene(scene);
  EXPECT_EQ(written.find("LWSC\n5\n"), 0U);
  EXPECT_NE(written.find("ObjDissolve (envelope)\n  1\n  2\n  0\n  0 0 0 0 0\n"), std::string::npos) << written;
  scene.version = 5;
  EXPECT_EQ(read_scene(written, "again.lws"), scene) << written;
}

TEST(SceneFileTest, AnOldSceneCutShortOrDamagedIsReadOrRefused) {
  std::mt19937 random(3);
  int refused = 0;
  const auto try_to_read = [&](const std::string& text) {
    try {
      Scene scene = read_scene(text, "cut.lws");
      const std::string written = write_scene(scene);
      scene.version = 5;
      EXPECT_EQ(read_scene(written, "again.lws"), scene) << text;
    } catch (const FileError& error) {
      EXPECT_EQ(std::string(error.what()).find("cut.lws, line "), 0U) << error.what();
      ++refused;
    }
  };
  for (std::size_t size = 0; size < oldest_scene.size(); ++size) try_to_read(oldest_scene.substr(0, size));
  const std::string odd = "\n {}0-9.eK(\t\xff/";
  for (int round = 0; round < 2000; ++round) {
    std::string damaged = oldest_scene;
    for (std::size_t count = 1 + random() % 4; count > 0; --count) {
      // The version stays what it is.
      damaged[7 + random() % (damaged.size() - 7)] = odd[random() % odd.size()];
    }
    try_to_read(damaged);
  }
  EXPECT_GT(refused, 500);
  EXPECT_NE(refusal("LWSC\n1\nAddNullObject A\nObjectMotion (unnamed)\n9\n2000000000\n0 0 0 0 0 0 1 1 1\n0 0 0 0 0\n")
                .find("cut short"),
            std::string::npos);
}

TEST(SceneFileTest, TheThirdVersionHasLayersWithoutIdsAndNamesWithBlanks) {
  const Scene scene = read_scene(
      "LWSC\n3\nLoadObjectLayer 2 10000000 ship of mine.lwo\nObjectMotion\nNumChannels 1\nChannel 0\n" + one_key +
          "LoadObjectLayer 1 b.lwo\nParentItem 10000000\nAddNullObject deadbeef and more\nParentItem 2\nParentObject 0\n"
          "AddLight\nLightName A lamp\nLightColor 1 0.5 0\nAddCamera\nCameraName First\nAddCamera\nCameraName The second\n"
          "CurrentCamera 1\n",
      "three.lws");
  EXPECT_EQ(names(scene), (std::vector<std::string>{"10000000 ship of mine:Layer2", "b", "deadbeef and more", "A lamp", "First",
                                                    "The second"}));
  EXPECT_EQ(scene.items[0].object_file, "10000000 ship of mine.lwo");
  EXPECT_EQ(scene.items[0].layer, 2);
  EXPECT_EQ(scene.items[1].parent_id, scene.items[0].id);
  EXPECT_EQ(scene.items[2].parent_id, scene.items[1].id) << "objects are numbered from 1";
  EXPECT_EQ(scene.current_camera()->name, "The second");
}

TEST(SceneFileTest, TheFourthVersionHasIds) {
  const Scene scene =
      read_scene("LWSC\n4\nLoadObjectLayer 3 10000005 a b.lwo\nAddNullObject 10000007 N\nParentItem 10000005\n", "f.lws");
  EXPECT_EQ(scene.items.at(0).id, 0x10000005U);
  EXPECT_EQ(scene.items.at(0).object_file, "a b.lwo");
  EXPECT_EQ(scene.items.at(1).parent_id, 0x10000005U);
}

TEST(SceneFileTest, TheCurrentCameraIsChosenByIdOrNumberAndOtherwiseTheFirst) {
  const std::string two = "LWSC\n5\nAddCamera 30000004\nCameraName A\nAddCamera 30000002\nCameraName B\n";
  const auto current = [&](const std::string& lines) { return read_scene(two + lines, "two.lws"); };
  EXPECT_EQ(current("").current_camera()->name, "A");
  EXPECT_EQ(current("CurrentCamera 30000002\n").current_camera()->name, "B");
  EXPECT_EQ(current("CurrentCamera 1\n").current_camera()->name, "B");
  EXPECT_EQ(current("CurrentCamera 0\n").current_camera()->name, "A");
  for (const std::string lost :
       {"CurrentCamera 2\n", "CurrentCamera 30000009\n", "CurrentCamera other\n", "CurrentCamera -1\n"}) {
    const Scene scene = current(lost);
    EXPECT_EQ(scene.current_camera()->name, "A") << lost;
    ASSERT_EQ(scene.notes.warnings.size(), 1U) << lost;
    EXPECT_NE(scene.notes.warnings[0].find("first one"), std::string::npos);
  }
  EXPECT_EQ(read_scene(write_scene(current("CurrentCamera 30000002\n")), "again.lws").current_camera()->name, "B");
  EXPECT_EQ(read_scene("LWSC\n5\n", "none.lws").current_camera(), nullptr);
}

TEST(SceneFileTest, LightsHaveFallOffConeAndShadowAndAllMayBeKeyed) {
  const std::string keys = "{ Envelope\n2\nKey 0 0 3\nKey 1 1 3\nBehaviors 1 1\n}\n";
  const Scene scene = read_scene("LWSC\n5\nAmbientIntensity\n" + keys + "AddLight 20000000\nLightName L\nLightColor\n" + keys +
                                     one_key + one_key + "LightIntensity 2\nLightFalloffType 3\nLightRange\n" + keys +
                                     "LightConeAngle 0.5\nLightEdgeAngle\n" + keys + "ShadowType 2\nItemActive 0\n" +
                                     "AddLight 20000001\nPlugin LightHandler 1 AreaLight\n3\nEndPlugin\n",
                                 "lights.lws");
  EXPECT_TRUE(scene.notes.warnings.empty());
  EXPECT_EQ(scene.ambient_intensity.at(0.5), 0.5);
  const standin::LightSettings& light = *scene.items.at(0).light;
  EXPECT_EQ(color_at(light.color, 0.25), (Vec3{0.25, 0, 0}));
  EXPECT_EQ(light.fall_off, 3);
  EXPECT_EQ(light.range.at(0.5), 0.5);
  EXPECT_EQ(light.cone_radians(0), 0.5) << "such a small number is in radians";
  EXPECT_EQ(light.edge_radians(0.5), 0.5);
  EXPECT_EQ(light.shadow_type, 2);
  EXPECT_EQ(scene.items[0].active.at(0), 0.0);
  EXPECT_EQ(scene.items.at(1).light->kind(), standin::LightKind::area);
  EXPECT_EQ(read_scene(write_scene(scene), "again.lws"), scene) << write_scene(scene);
}

TEST(SceneFileTest, ValuesOfUnknownKindsAreKeptAndToldOfOnce) {
  const std::string text =
      "LWSC\n5\nAddLight 20000000\nLightType 9\nAddLight 20000001\nLightType 9\nPlugin LightHandler 1 Glow\nEndPlugin\n"
      "LightFalloffType 7\nAddCamera 30000000\n"
      "TargetItem 20000000\nZoomFactor\n{ Envelope\n2\nKey 1 0 0\nKey 3 2 9\nBehaviors 8 1\n{ Noise\n  { Deep\n  }\n}\nShake "
      "3\n}\n"
      "Plugin ChannelHandler 1 Follower\nitem\nEndPlugin\nPixelAspect\n{ Texture\n1\n}\nLensFStop { Gradient\n2\n}\n"
      "FocalDistance -1.#IND00\nCameraName Last\n";
  const Scene scene = read_scene(text, "odd.lws");
  std::string told;
  for (const std::string& warning : scene.notes.warnings) told += warning + "\n";
  for (const std::string kind : {"light type 9", "light fall-off 7", "key span 9", "end behaviour 8", "TargetItem", "\"{\"",
                                 "\"Shake\"", "\"Follower\"", "PixelAspect", "LensFStop", "#IND"}) {
    const auto first = told.find(kind);
    EXPECT_NE(first, std::string::npos) << kind << " in\n" << told;
    EXPECT_EQ(told.find(kind, first + 1), std::string::npos) << kind << " twice in\n" << told;
  }
  EXPECT_EQ(told.find("odd.lws, line 4: "), 0U) << told;
  const standin::CameraSettings& camera = *scene.find_camera("Last")->camera;
  EXPECT_EQ(camera.zoom_factor.at(1), 2.0) << "straight into the key";
  EXPECT_EQ(camera.zoom_factor.at(-1), 1.0) << "constant before the first";
  EXPECT_EQ(camera.focal_distance.at(0), 0.0);
  const std::string written = write_scene(scene);
  for (const std::string kept :
       {"LightType 9\n", "LightFalloffType 7\n", "Plugin LightHandler 1 Glow\n", "Key 3 2 9 ", "Behaviors 8 1\n",
        "{ Noise\n  { Deep\n  }\n}\nShake 3\n}\nPlugin ChannelHandler 1 Follower\nitem\nEndPlugin\n",
        "PixelAspect\n{ Texture\n1\n}\n", "LensFStop { Gradient\n2\n}\n", "TargetItem 20000000\n"}) {
    EXPECT_NE(written.find(kept), std::string::npos) << kept << "is lost from\n" << written;
  }
  EXPECT_EQ(read_scene(written, "again.lws"), scene) << written;
}

TEST(SceneFileTest, AParentThatIsNotThereIsToldOf) {
  const Scene scene =
      read_scene("LWSC\n5\nAddNullObject 10000000 A\nParentItem 9\nAddNullObject 10000001 B\nParentItem 10000009\n", "p.lws");
  ASSERT_EQ(scene.notes.warnings.size(), 2U);
  EXPECT_NE(scene.notes.warnings[0].find("\"A\" is attached to object 9"), std::string::npos);
  EXPECT_NE(scene.notes.warnings[1].find("\"B\""), std::string::npos);
}

TEST(SceneFileTest, TheContentFolderIsSearchedInPlaceOfTheFoldersAboveTheScene) {
  const auto root = test_support::scratch_folder();
  std::filesystem::create_directories(root / "Scenes");
  std::filesystem::create_directories(root / "Content" / "objects");
  std::filesystem::create_directories(root / "Content" / "Objects");
  write_text(root / "Content" / "objects" / "Ship.LWO", "x");
  write_text(root / "above.lwo", "x");
  Scene scene;
  scene.folder = root / "Scenes";
  EXPECT_TRUE(standin::resolve_object_file(scene, "Objects/ship.lwo").empty());
  EXPECT_FALSE(standin::resolve_object_file(scene, "above.lwo").empty());
  scene.content_folder = root / "Content";
  for (const std::string written : {"Objects/ship.lwo", "OBJECTS\\SHIP.lwo", "C:Objects/ship.lwo", R"(D:\Art\objects\ship.LWO)",
                                    "/elsewhere/objects/Ship.lwo"}) {
    // A file system that does not tell cases apart finds the file by the name as it is written.
    const std::filesystem::path found = standin::resolve_object_file(scene, written);
    ASSERT_FALSE(found.empty()) << written;
    EXPECT_TRUE(std::filesystem::equivalent(found, root / "Content" / "objects" / "Ship.LWO")) << written << ": " << found;
  }
  EXPECT_TRUE(standin::resolve_object_file(scene, "above.lwo").empty());
}

class HostSceneTest : public testing::Test {
 protected:
  void SetUp() override {
    if (test_support::host_scene_folder().empty()) GTEST_SKIP() << "the files saved by the host are not beside this clone";
  }
};

TEST_F(HostSceneTest, EverySceneReadsAndRoundTrips) {
  int scenes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(test_support::host_scene_folder())) {
    if (entry.path().extension() != ".lws") continue;
    SCOPED_TRACE(entry.path().filename().string());
    ++scenes;
    const Scene scene = standin::read_scene_file(entry.path());
    EXPECT_EQ(names(scene), (std::vector<std::string>{"simple_cube", "Light", "Camera"}));
    const Item* camera = scene.find_camera("Camera");
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->id, 0x30000000U);
    EXPECT_EQ(camera->camera->width_pixels, 640);
    EXPECT_EQ(camera->camera->height_pixels, 480);
    EXPECT_EQ(camera->camera->zoom_factor, Envelope::constant(3.2));
    EXPECT_EQ(camera->camera->handler->server_name, "Perspective");
    EXPECT_TRUE(camera->camera->handler->saved_lines.empty());
    EXPECT_DOUBLE_EQ(standin::film_size(*camera->camera)[0], 0.02);
    expect_near(scene.world_pose(*camera, 0).position, {-0.10000002384185791, 0.94999998807907104, -6.384000301361084});
    EXPECT_EQ(standin::resolve_object_file(scene, scene.items[0].object_file).filename(), "simple_cube.lwo");
    Scene again = read_scene(write_scene(scene), "again.lws");
    again.folder = scene.folder;
    EXPECT_EQ(again, scene);
  }
  EXPECT_EQ(scenes, 3);
}

TEST_F(HostSceneTest, NoLineOfTheHostIsLost) {
  for (const std::string name : {"move_x.lws", "move_xz_bezier.lws", "move_y_pre_ofrep_post_osc.lws"}) {
    const std::string written = "\n" + write_scene(read_host_scene(name));
    std::istringstream lines(text_of(test_support::host_scene_folder() / name));
    for (std::string line; std::getline(lines, line);) {
      // Keys are compared as numbers elsewhere: the host writes more digits than it takes.
      if (!line.starts_with("  Key ")) EXPECT_NE(written.find("\n" + line + "\n"), std::string::npos) << line;
    }
  }
}

TEST_F(HostSceneTest, TcbMotionPassesThroughItsKeysWithTheHostsTangents) {
  const Scene scene = read_host_scene("move_x.lws");
  const Envelope& x = scene.items[0].motion[0];
  EXPECT_NEAR(x.at(2.0 / 3), 2.0691125392913818, 1e-12);
  // Half way, a cubic lies off the chord's middle by an eighth of the difference of the tangents that the host saved.
  const double saved_out = x.keys[0].parameters[4];
  const double saved_in = x.keys[1].parameters[3];
  EXPECT_NEAR(x.at(1.0 / 3), 2.0691125392913818 / 2 + (saved_out - saved_in) / 8, 2e-4);
  EXPECT_NEAR(x.at(1.0),
              (2.0691125392913818 - 2.3748657703399658) / 2 + (x.keys[1].parameters[4] - x.keys[2].parameters[3]) / 8, 1e-3);
  EXPECT_EQ(x.at(-1), 0.0);
  EXPECT_EQ(x.at(9), -2.3748657703399658);
}

TEST_F(HostSceneTest, BezierMotionPassesThroughItsKeysAndResetsBeforeThem) {
  const Scene scene = read_host_scene("move_xz_bezier.lws");
  const Envelope& x = scene.items[0].motion[0];
  EXPECT_EQ(x.at(-0.01), 0.0);
  EXPECT_NEAR(x.at(2.0 / 3), 1.924918483918713, 1e-9);
  EXPECT_NEAR(x.at(2.0), -0.52300345897674561, 1e-9);
  EXPECT_NEAR(x.at(5.0), -0.52300345897674561, 1e-9);
  // The first segment's time offsets are thirds of it, so that time runs evenly and the middle is the mean of the control
  // points, weighted 1 3 3 1.
  const double middle =
      (0.0 + 3 * 0.64163307824462457 + 3 * (1.924918483918713 + 0.012913536517090266) + 1.924918483918713) / 8;
  EXPECT_NEAR(x.at(1.0 / 3), middle, 1e-5);
}

TEST_F(HostSceneTest, MotionRepeatsWithOffsetBeforeAndOscillatesAfter) {
  const Scene scene = read_host_scene("move_y_pre_ofrep_post_osc.lws");
  EXPECT_EQ(scene.first_frame, -240);
  const Envelope& y = scene.items[0].motion[1];
  constexpr double duration = 1.7;
  constexpr double rise = 0.98909872770309448;
  EXPECT_NEAR(y.at(1.0), 0.0, 1e-12);
  EXPECT_NEAR(y.at(-0.3), y.at(duration - 0.3) - rise, 1e-12);
  EXPECT_NEAR(y.at(1.2 - 2 * duration), y.at(1.2) - 2 * rise, 1e-12);
  EXPECT_NEAR(y.at(duration + 0.3), y.at(duration - 0.3), 1e-12);
  EXPECT_NEAR(y.at(2 * duration + 0.3), y.at(0.3), 1e-12);
  EXPECT_GT(std::abs(y.at(1.4)), 0.1);
}

}  // namespace scene_file_test

/// A camera changed within the text of a scene's file: what is read is changed, and no other byte is.

#include "standin/scene/scene_edit.h"

#include <gtest/gtest.h>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "standin/scene/file_error.h"
#include "standin/scene/scene.h"

namespace scene_edit_test {

using standin::CameraEdit;
using standin::edited_scene;
using standin::FileError;
using standin::Item;
using standin::PluginBlock;
using standin::read_scene;
using standin::Scene;

std::string channel(const std::string& number, const std::string& value) {
  return "Channel " + number + "\n{ Envelope\n  1\n  Key " + value + " 0 0 0 0 0 0 0 0\n  Behaviors 1 1\n}\n";
}

/// Two cameras between lines that nobody here understands.
const std::string motion = "CameraMotion\nNumChannels 6\n" + channel("0", "1.50") + channel("1", "0") + channel("2", "-3") +
                           "Channel 3\n{ Envelope\n  2\n  Key 0.25 0 0 0 0 0 0 0 0\n  Key  -0.5  1 0 0 0 0 0 0 0\n"
                           "  Behaviors 1 1\n}\nPlugin ChannelHandler 1 Wobble\nKey 7 7 0\nChannel 9\nEndPlugin\n" +
                           channel("4", "0.1") + channel("5", "0");
const std::string before = "LWSC\n5\n\nOddities 3\nFirstFrame 0\nLastFrame 10\nAddNullObject 10000000 Null\n\tNote 7  \n";
const std::string first_camera = "AddCamera 30000000\nCameraName First\nShowCamera 1 -1 0.1 0.8 0.1\n" + motion +
                                 "IKInitialState 0\nZoomFactor 3.20\nFrameSize 320 200\n";
const std::string handler = "Plugin CameraHandler 3 Some Camera\n  1 2\n\n{ Odd\n}\nEndPlugin\n";
const std::string other_plugin = "Plugin ItemMotionHandler 2 Shake\n4\nEndPlugin\nUseGlobalBlur 0\n\n";
const std::string second_camera =
    "AddCamera 30000001\nCameraName Second\nZoomFactor\n{ Envelope\n  2\n"
    "  Key 2 0 1 0.5 0.25 0 0 0 0\n  Key 4 1 5 0.1 0.2 0.3 0.4 0 0\n  Behaviors 1 1\n}\n";
const std::string after = "Antialiasing 0\nViewType 7\n";
const std::string whole = before + first_camera + handler + other_plugin + second_camera + after;

constexpr std::uint32_t first = 0x30000000;
constexpr std::uint32_t second = 0x30000001;

const Item& camera(const Scene& scene, std::uint32_t id) { return *scene.find_camera(id); }

std::string with_line_ends(std::string text, const std::string& line_end) {
  for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += line_end.size())
    text.replace(at, 1, line_end);
  return text;
}

PluginBlock block(const std::string& server, std::vector<std::string> lines) {
  return {"CameraHandler", 1, server, std::move(lines)};
}

TEST(SceneEdit, NothingChangedLeavesEveryByte) {
  EXPECT_EQ(edited_scene(whole, "s", first, {}), whole);
  const PluginBlock same = block("Some Camera", {"  1 2", "", "{ Odd", "}"});
  EXPECT_EQ(edited_scene(whole, "s", first, {same, std::pair{320, 200}, {}}), whole);
}

TEST(SceneEdit, WhatACameraSavesTakesThePlaceOfWhatItHadSaved) {
  for (const std::string line_end : {"\n", "\r\n"}) {
    const std::string text = with_line_ends(whole, line_end);
    const std::string changed = "Plugin CameraHandler 3 Some Camera\n5\nsix\nEndPlugin\n";
    EXPECT_EQ(edited_scene(text, "s", first, {block("Some Camera", {"5", "six"}), {}, {}}),
              with_line_ends(before + first_camera + changed + other_plugin + second_camera + after, line_end));
    const std::string another = "Plugin CameraHandler 1 Another\n7\nEndPlugin\n";
    EXPECT_EQ(edited_scene(text, "s", first, {block("Another", {"7"}), {}, {}}),
              with_line_ends(before + first_camera + another + other_plugin + second_camera + after, line_end));
    const std::string added = "Plugin CameraHandler 1 Another\n7\nEndPlugin\n";
    EXPECT_EQ(edited_scene(text, "s", second, {block("Another", {"7"}), {}, {}}),
              with_line_ends(before + first_camera + handler + other_plugin + second_camera + added + after, line_end));
  }
}

TEST(SceneEdit, AFileThatEndsWithoutALineEndGetsOneBeforeWhatIsAdded) {
  const std::string text = "LWSC\n5\nAddCamera 30000000\nZoomFactor 2";
  EXPECT_EQ(edited_scene(text, "s", first, {block("Another", {"7"}), std::pair{64, 48}, {}}),
            text + "\nPlugin CameraHandler 1 Another\n7\nEndPlugin\nFrameSize 64 48\n");
}

TEST(SceneEdit, TheFramesSizeIsOneLine) {
  EXPECT_NE(edited_scene(whole, "s", first, {{}, std::pair{640, 480}, {}}).find("\nFrameSize 640 480\nPlugin CameraHandler"),
            std::string::npos);
  const Scene scene = read_scene(edited_scene(whole, "s", second, {{}, std::pair{64, 48}, {}}), "s");
  EXPECT_EQ(camera(scene, second).camera->width_pixels, 64);
  EXPECT_EQ(camera(scene, first).camera->width_pixels, 320);
}

TEST(SceneEdit, ATurnIsAddedToTheKeysOfTheAngles) {
  const Scene scene = read_scene(edited_scene(whole, "s", first, {{}, {}, {{1.0, -0.5, 0.0}, 1.0}}), "s");
  const auto& angles = camera(scene, first).motion;
  EXPECT_EQ(angles[3].keys.at(0).value, 1.25);
  EXPECT_EQ(angles[3].keys.at(1).value, 0.5);
  EXPECT_EQ(angles[4].keys.at(0).value, 0.1 - 0.5);
  EXPECT_EQ(angles[3].lines_after.size(), 4U) << "what drives a channel is nobody's keys";
  // Line by line, all but three are as they were.
  std::size_t differences = 0;
  const std::string text = edited_scene(whole, "s", first, {{}, {}, {{1.0, -0.5, 0.0}, 1.0}});
  std::size_t old_at = 0;
  std::size_t new_at = 0;
  while (old_at < whole.size()) {
    const std::size_t old_end = whole.find('\n', old_at);
    const std::size_t new_end = text.find('\n', new_at);
    ASSERT_NE(new_end, std::string::npos);
    if (whole.substr(old_at, old_end - old_at) != text.substr(new_at, new_end - new_at)) ++differences;
    old_at = old_end + 1;
    new_at = new_end + 1;
  }
  EXPECT_EQ(new_at, text.size());
  EXPECT_EQ(differences, 3U);
  EXPECT_NE(text.find("  Key  0.5  1 0 0"), std::string::npos) << "blanks stay";
}

TEST(SceneEdit, AZoomMultipliesValuesAndTangents) {
  const Scene plain = read_scene(edited_scene(whole, "s", first, {{}, {}, {{}, 2.0}}), "s");
  EXPECT_EQ(camera(plain, first).camera->zoom_factor.keys.at(0).value, 6.4);
  const Scene keyed = read_scene(edited_scene(whole, "s", second, {{}, {}, {{}, 2.0}}), "s");
  const Scene untouched = read_scene(whole, "s");
  for (const double time : {-1.0, 0.0, 0.2, 0.5, 0.9, 1.0, 2.0}) {
    EXPECT_NEAR(camera(keyed, second).camera->zoom_factor.at(time),
                2.0 * camera(untouched, second).camera->zoom_factor.at(time), 1e-12)
        << time;
  }
}

std::string refusal(const std::string& text, std::uint32_t id, const CameraEdit& edit) {
  try {
    return "no refusal: " + edited_scene(text, "some.lws", id, edit);
  } catch (const FileError& error) {
    return error.what();
  }
}

TEST(SceneEdit, WhatCannotBeChangedIsRefused) {
  EXPECT_NE(refusal(whole, 0x30000007, {}).find("no such camera"), std::string::npos);
  EXPECT_NE(refusal("no scene", first, {}).find("is not a scene"), std::string::npos);
  for (const std::string line : {"EndPlugin", "two\nlines", "  EndPlugin "})
    EXPECT_NE(refusal(whole, first, {block("Some Camera", {line}), {}, {}}).find("no scene can hold"), std::string::npos)
        << line;
  // Without a motion there are no keys that a turn could be added to, and old scenes have others.
  EXPECT_NE(refusal(whole, second, {{}, {}, {{1.0, 0.0, 0.0}, 1.0}}).find("save it again with the host"), std::string::npos);
  const std::string old =
      "LWSC\n1\nLoadObject a.lwo\nShowCamera 1\nCameraMotion (unnamed)\n9\n1\n0 0 0 45 0 0 1 1 1\n0 0 0 0 0\nZoomFactor 2\n";
  EXPECT_NE(refusal(old, read_scene(old, "s").current_camera()->id, {{}, {}, {{1.0, 0.0, 0.0}, 1.0}}).find("save it again"),
            std::string::npos);
}

}  // namespace scene_edit_test

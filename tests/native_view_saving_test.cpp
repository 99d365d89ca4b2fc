/// What a person takes away from the page of `ovicam view`: scenes, pictures, and the command of a turned camera.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/view_page.h"

namespace native_view_saving_test {

namespace fs = std::filesystem;
using namespace test_support;
using nlohmann::json;

class NativeViewSaving : public NativeView {
 protected:
  struct Answer {
    int status = 0;
    json body;
  };
  static Answer save(Page& page, const json& copy) {
    const auto answer = page.client().Post(page.folder() + "scene", copy.dump(), "application/json");
    EXPECT_TRUE(answer);
    return answer ? Answer{answer->status, json::parse(answer->body)} : Answer{};
  }
  /// The picture of a scene as it is: the words of the page's command that are not about the camera.
  std::string rendered_scene(const fs::path& scene, const std::string& words) {
    const fs::path file = out("of-scene.png");
    const Outcome outcome = run_tool("render " + quoted(scene) + " " + words + " -o " + quoted(file));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return contents(file);
  }
  static std::vector<std::string> lines_of(const fs::path& file) {
    std::vector<std::string> lines;
    std::istringstream text(contents(file));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }
  /// Turns every control, one after the other, and returns the last state.
  static json turn_every_control(Page& page, json state) {
    const json rows = state.at("rows");
    for (const json& described : rows) {
      const std::string label = described.at("name");
      const std::string value = another_value(row_called(state, label));
      if (!value.empty()) state = page.state_with(page.change({{"settings", json::array({json::array({label, value})})}}));
      EXPECT_EQ(state.at("trouble"), "") << label << '=' << value;
    }
    return state;
  }
  /// A copy of the sample scene with every camera, and a folder beside it: a picture tells of its scene's name.
  fs::path copied_samples() const {
    fs::path scene = out("cameras.lws");
    fs::copy_file(source_folder() / "samples" / "cameras.lws", scene);
    fs::create_directory(out("copy"));
    return scene;
  }
  void every_camera_is_saved(const std::string& module, const std::vector<std::string>& only) {
    const fs::path scene = copied_samples();
    const std::string same = " --content " + quoted(source_folder() / "samples") + " " + module;
    Page page(quoted(scene) + same + " --size 24x16 --samples 2", out("log"));
    page.open();
    std::size_t saved = 0;
    for (const json& server : json(page.state().at("servers"))) {
      const std::string name = server.at("name");
      if (!only.empty() && std::ranges::find(only, name) == only.end()) continue;
      SCOPED_TRACE(name);
      const json state = turn_every_control(page, page.state_with(page.change({{"server", name}})));
      const Answer answer = save(page, {{"name", "copy/cameras"}, {"replace", true}});
      ASSERT_EQ(answer.status, 200) << answer.body;
      EXPECT_EQ(answer.body.at("file"), (out("copy") / "cameras.lws").string());
      const std::string camera = state.at("cameras").at(state.at("choice").at("camera").get<std::size_t>()).at("name");
      const std::string words = same + " --camera " + test_support::quoted(camera) + " --size 24x16 --samples 2";
      EXPECT_TRUE(rendered_scene(out("copy") / "cameras.lws", words) == page.refined_picture(state.at("change")).png);
      ++saved;
      // Whatever else the file has is there byte for byte: what differs is one block.
      const auto before = lines_of(scene);
      const auto after = lines_of(out("copy") / "cameras.lws");
      const auto [old_start, new_start] = std::ranges::mismatch(before, after);
      std::size_t tail = 0;
      while (tail < before.size() && tail < after.size() && before[before.size() - 1 - tail] == after[after.size() - 1 - tail])
        ++tail;
      for (auto line = new_start; line < after.end() - static_cast<std::ptrdiff_t>(tail); ++line)
        EXPECT_FALSE(line->starts_with("AddCamera") || line->starts_with("CameraMotion")) << *line;
    }
    EXPECT_EQ(saved, only.empty() ? 18U : only.size());
    EXPECT_EQ(contents(scene), contents(source_folder() / "samples" / "cameras.lws"));
  }
};

TEST_F(NativeViewSaving, EveryCamerasSceneRendersAsThePageDoes) { every_camera_is_saved("", {}); }

TEST_F(NativeViewSaving, TheShippedModulesCamerasAreSavedTheSame) {
  if (shipped_module().empty()) GTEST_SKIP() << "it is not built";
  every_camera_is_saved("--module " + quoted(shipped_module()), {"QuorinPanoramicCam", "QuorinStereoCam", "QuorinCylinderCam"});
}

TEST_F(NativeViewSaving, KeysOfAnEnvelopeStay) {
  Page first(small_view(), out("log"));
  first.open();
  ASSERT_EQ(save(first, {{"name", "plain"}}).status, 200);
  first.close();
  first.tool().kill(SIGINT);
  EXPECT_EQ(first.tool().wait(), 0);
  // The first value that is saved gets keys.
  std::string text = contents(out("plain.lws"));
  const std::size_t block = text.find("{ VParm", text.find("Plugin CameraHandler 1 QuorinPanoramicCam"));
  ASSERT_NE(block, std::string::npos) << text;
  const std::size_t end = text.find("}\n", block);
  const std::string keys =
      "{ VParm\n  { Envelope\n    2\n    Key 3 0 3 0 0 0 0 0 0\n    Key 1 2 3 0 0 0 0 0 0\n    Behaviors 1 1\n  }\n";
  text.replace(block, end - block, keys);
  std::ofstream(out("keyed.lws"), std::ios::binary) << text;
  fs::create_directory(out("copy"));
  Page page(quoted(out("keyed.lws")) + " --samples 2", out("log2"));
  page.open();
  const json state =
      page.state_with(page.change({{"settings", json::array({json::array({"Upper Vertical FOV angle", "30"})})}}));
  EXPECT_EQ(state.at("trouble"), "");
  EXPECT_TRUE(row_called(state, "Horizontal FOV angle").at("animated"));
  ASSERT_EQ(save(page, {{"name", "copy/keyed.lws"}}).status, 200);
  const standin::Scene saved = standin::read_scene_file(out("copy") / "keyed.lws");
  std::string lines;
  for (const std::string& line : saved.current_camera()->camera->handler->saved_lines) lines += line + "\n";
  EXPECT_NE(lines.find("Key 1 2 3"), std::string::npos) << lines;
  const std::uint64_t later = page.change({{"frame", 30}});
  EXPECT_TRUE(rendered_scene(out("copy") / "keyed.lws", "--samples 2 --frames 30") == page.refined_picture(later).png);
}

TEST_F(NativeViewSaving, TurnAndFrameSizeAreSavedOnlyWhereTheyAreAskedFor) {
  Page page(quoted(scene_) + " --server QuorinPanoramicCam --samples 2", out("log"));
  page.open();
  fs::create_directory(out("a"));
  const std::uint64_t change = page.change({{"turn", {12.5, -7.25, 3.0}}, {"zoom", 1.3}, {"size", {50, 40}}});
  const std::string picture = page.refined_picture(change).png;
  ASSERT_EQ(save(page, {{"name", "without"}}).status, 200);
  ASSERT_EQ(save(page, {{"name", "a/scene"}, {"turn", true}, {"frame_size", true}}).status, 200);
  const standin::Scene before = standin::read_scene_file(scene_);
  const standin::Scene without = standin::read_scene_file(out("without.lws"));
  EXPECT_EQ(without.current_camera()->motion, before.current_camera()->motion);
  EXPECT_EQ(without.current_camera()->camera->width_pixels, 64);
  EXPECT_TRUE(rendered_scene(out("a") / "scene.lws", "--samples 2") == picture);
}

TEST_F(NativeViewSaving, NothingOfAPersonIsReplacedUnasked) {
  Page page(small_view(), out("log"));
  page.open();
  const std::string scene = contents(scene_);
  std::ofstream(out("mine.lws")) << "mine";
  EXPECT_EQ(save(page, {{"name", "mine"}}).status, 409);
  EXPECT_EQ(save(page, {{"name", "mine.lws"}, {"replace", false}}).status, 409);
  EXPECT_EQ(contents(out("mine.lws")), "mine");
  fs::create_directory(out("folder"));
  fs::create_directory(out("folder.lws"));
  fs::create_symlink(scene_, out("link.lws"));
  const fs::path elsewhere = scratch_folder();
  fs::create_directory_symlink(elsewhere, out("away"));
  for (const std::string name : {"", " ", "scene", "scene.lws", "folder/../scene.lws", "../up", "folder/../../up", "none/scene",
                                 "/tmp/x.lws", "link", "folder", "away/new", "a\nb", "folder/./../x"}) {
    if (name == "folder") continue;
    const Answer answer = save(page, {{"name", name}, {"replace", true}});
    EXPECT_EQ(answer.status, 400) << name;
    EXPECT_FALSE(answer.body.at("trouble").get<std::string>().empty()) << name;
  }
  EXPECT_EQ(save(page, {{"name", "folder"}, {"replace", true}}).status, 400) << "a folder of that name";
  EXPECT_TRUE(fs::is_empty(elsewhere));
  EXPECT_EQ(contents(scene_), scene);
  EXPECT_EQ(contents(out("mine.lws")), "mine");
  EXPECT_EQ(save(page, {{"name", "mine"}, {"replace", true}}).status, 200);
  EXPECT_EQ(standin::read_scene_file(out("mine.lws")).items.size(), standin::read_scene_file(scene_).items.size());
  for (const std::string body : {"", "[]", R"({"name":1})", R"({"name":"x","other":1})", R"({"name":"x","turn":1})"})
    EXPECT_EQ(status_of(page.client().Post(page.folder() + "scene", body, "application/json")), 400) << body;
  EXPECT_EQ(status_of(page.client().Post(page.folder() + "scene", R"({"name":"x"})", "text/plain")), 400);
  EXPECT_EQ(status_of(page.client().Post("/" + std::string(32, '0') + "/scene", R"({"name":"x"})", "application/json")), 403);
  EXPECT_FALSE(fs::exists(out("x.lws")));
  // The folder holds what it held, and nothing unfinished.
  for (const std::string& name : names_in(folder_)) EXPECT_EQ(name.find("unfinished"), std::string::npos) << name;
}

TEST_F(NativeViewSaving, ASceneThatHasChangedMeanwhileIsNotMixedWithItsOldSelf) {
  Page page(small_view(), out("log"));
  page.open();
  standin::Scene other = standin::read_scene_file(scene_);
  other.items.back().name = other.items.back().given_name = "Elsewhere";
  standin::write_scene_file(other, scene_);
  fs::last_write_time(scene_, fs::last_write_time(scene_) + std::chrono::seconds(5));
  const Answer answer = save(page, {{"name", "new"}});
  EXPECT_EQ(answer.status, 400);
  EXPECT_NE(answer.body.at("trouble").get<std::string>().find("changed meanwhile"), std::string::npos) << answer.body;
  EXPECT_FALSE(fs::exists(out("new.lws")));
}

TEST_F(NativeViewSaving, TheExrIsThatOfTheCommand) {
  Page page(quoted(scene_) + " --server QuorinStereoCam --samples 2", out("log"));
  page.open();
  for (const json& change : {json{{"frame", 3}}, json{{"eye", "left"}}, json{{"eye", "red-cyan"}},
                             json{{"turn", {20.0, 1.5, 0.0}}}, json{{"zoom", 0.75}}}) {
    const std::uint64_t number = page.change(change);
    page.refined_picture(number);
    const auto exr = page.client().Get(page.folder() + "picture.exr");
    ASSERT_EQ(status_of(exr), 200) << change;
    EXPECT_EQ(exr->get_header_value("Picture-Change"), std::to_string(number));
    EXPECT_TRUE(exr->body == rendered(page.state(), ".exr")) << change;
  }
  page.refined_picture(page.change({{"gizmo", true}}));
  EXPECT_EQ(status_of(page.client().Get(page.folder() + "picture.exr")), 404) << "a drawing is no light";
}

TEST_F(NativeViewSaving, ATurnedCamerasCommandGivesTheSamePicture) {
  for (const std::string& module :
       {std::string(), shipped_module().empty() ? std::string() : "--module " + quoted(shipped_module())}) {
    Page page(quoted(scene_) + " --server QuorinStereoCam --samples 2 " + module, out(module.empty() ? "log" : "log2"));
    page.open();
    std::string last;
    for (const json& change :
         {json{{"turn", {-10.125, 0.0, 0.0}}}, json{{"turn", {7.7, -3.3, 11.1}}}, json{{"zoom", 1.2345}},
          json{{"zoom", 0.5}, {"turn", {0.001, 0.0, 0.0}}}, json{{"frame", 12}}, json{{"size", {33, 21}}}}) {
      const std::uint64_t number = page.change(change);
      const std::string png = page.refined_picture(number).png;
      EXPECT_TRUE(png == rendered(page.state())) << change << page.state().at("command");
      EXPECT_NE(png, last) << change;
      last = png;
    }
    const json other = page.state_with(page.change({{"camera", 0}}));
    EXPECT_EQ(other.at("choice").at("zoom"), 1.0) << "a turn is of one camera";
    EXPECT_EQ(other.at("command").get<std::string>().find("--turn"), std::string::npos);
  }
}

TEST_F(NativeViewSaving, ATurnThatIsNoTurnOrHasNoEffectIsTold) {
  Page page(small_view(), out("log"));
  page.open();
  for (const std::string body : {R"({"turn":[1,2]})", R"({"turn":1})", R"({"turn":[1,2,"3"]})", R"({"turn":[1e9,0,0]})",
                                 R"({"zoom":0})", R"({"zoom":-1})", R"({"zoom":1e9})", R"({"zoom":"1"})", R"({"compare":1})"})
    EXPECT_EQ(status_of(page.post(body)), 400) << body;
  const json zoomed = page.state_with(page.change({{"zoom", 2.0}}));
  EXPECT_NE(zoomed.at("trouble").get<std::string>().find("does not follow the zoom"), std::string::npos)
      << zoomed.at("trouble");
  const json turned = page.state_with(page.change({{"turn", {5.0, 0.0, 0.0}}}));
  EXPECT_EQ(turned.at("trouble"), "");
}

TEST_F(NativeViewSaving, ThePlainPerspectiveIsThatOfTheHostsCamera) {
  Page page(quoted(scene_) + " --server QuorinFisheyeCam --samples 2", out("log"));
  page.open();
  EXPECT_EQ(status_of(page.client().Get(page.folder() + "plain.png")), 404);
  for (const json& change : {json{{"compare", true}}, json{{"frame", 20}}, json{{"turn", {6.0, 2.0, 0.0}}, {"zoom", 1.5}},
                             json{{"eye", "red-cyan"}}, json{{"size", {40, 44}}}}) {
    const std::uint64_t number = page.change(change);
    const Page::Picture picture = page.refined_picture(number);
    const auto plain = page.client().Get(page.folder() + "plain.png");
    ASSERT_EQ(status_of(plain), 200) << change;
    EXPECT_EQ(plain->get_header_value("Picture-Number"), std::to_string(picture.number));
    json state = page.state();
    EXPECT_TRUE(picture.png == rendered(state)) << change;
    std::string command = state.at("command");
    command.replace(command.find("QuorinFisheyeCam"), std::string("QuorinFisheyeCam").size(), "Perspective");
    state["command"] = command;
    EXPECT_TRUE(plain->body == rendered(state)) << command;
    EXPECT_NE(plain->body, picture.png);
  }
  page.refined_picture(page.change({{"compare", false}}));
  EXPECT_EQ(status_of(page.client().Get(page.folder() + "plain.png")), 404);
}

TEST_F(NativeViewSaving, AFullSphereIsKnownByItsRays) {
  Page page(quoted(scene_) + " --samples 1 --size 32x16", out("log"));
  page.open();
  const auto is_sphere = [&](const json& change) { return page.state_with(page.change(change)).at("full_sphere").get<bool>(); };
  const auto set = [](const char* label, const char* value) {
    return json{{"settings", json::array({json::array({label, value})})}};
  };
  EXPECT_TRUE(is_sphere({{"server", "QuorinImmersiveCam"}}));
  const std::uint64_t number = page.change({{"turn", {40.0, 25.0, 10.0}}});
  EXPECT_TRUE(page.state_with(number).at("full_sphere").get<bool>()) << "wherever it looks";
  const std::string saved = page.refined_picture(number).png;
  EXPECT_TRUE(saved == rendered(page.state()));
  EXPECT_NE(saved.find("GPano"), std::string::npos) << "what is saved tells players of it";
  EXPECT_FALSE(is_sphere({{"server", "Perspective"}}));
  EXPECT_FALSE(is_sphere({{"server", "QuorinSphericalCam"}}));
  for (const char* server : {"QuorinPanoramicCam", "QuorinAdvPanCam"}) {
    EXPECT_FALSE(is_sphere({{"server", server}})) << "as it comes, it leaves out what is above and below";
    EXPECT_FALSE(is_sphere(set("Upper Vertical FOV angle", "90")));
    EXPECT_TRUE(is_sphere(set("Lower Vertical FOV angle", "-90"))) << server;
    EXPECT_FALSE(is_sphere(set("Horizontal FOV angle", "350")));
    is_sphere(set("Horizontal FOV angle", "360"));
    is_sphere(set("Upper Vertical FOV angle", "-90"));
    EXPECT_FALSE(is_sphere(set("Lower Vertical FOV angle", "90"))) << "on its head";
  }
}

}  // namespace native_view_saving_test

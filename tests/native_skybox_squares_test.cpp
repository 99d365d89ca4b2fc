#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <cmath>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_skybox_squares_test {

namespace fs = std::filesystem;
using test_support::names_in;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;

constexpr int side = 96;
constexpr double quarter_turn = std::numbers::pi / 2.0;

fs::path samples() { return test_support::source_folder() / "samples"; }

OIIO::ImageBuf read(const fs::path& file) {
  OIIO::ImageBuf picture(file.string());
  EXPECT_TRUE(picture.read(0, 0, true, OIIO::TypeDesc::FLOAT)) << picture.geterror();
  return picture;
}

OIIO::ImageBuf square(const OIIO::ImageBuf& of, int column, int row) {
  return OIIO::ImageBufAlgo::cut(of,
                                 {column * side, (column + 1) * side, row * side, (row + 1) * side, 0, 1, 0, of.nchannels()});
}

bool same(const OIIO::ImageBuf& a, const OIIO::ImageBuf& b) {
  return OIIO::ImageBufAlgo::compare(a, b, 0.0F, 0.0F).maxerror == 0.0;
}

class SkyboxSquares : public NativeTool {
 protected:
  void render_sky(const std::string& camera, const std::string& file) const {
    ASSERT_EQ(run_tool("render " + quoted(samples() / "cameras.lws") + " --camera '" + camera +
                       "' --size 512x384 --samples 9 -o " + quoted(out(file)))
                  .exit_code,
              0);
  }

  Outcome split(const std::string& file, const std::string& folder, const std::string& more = "") const {
    return run_tool("skybox split " + quoted(out(file)) + " --face " + std::to_string(side) + " -o " + quoted(out(folder)) +
                    more);
  }

  /// The same side as the host's own perspective of a quarter turn sees it.
  OIIO::ImageBuf through_perspective(double heading, double pitch) const {
    standin::Scene scene = standin::read_scene_file(samples() / "cameras.lws");
    for (standin::Item& item : scene.items) {
      if (!item.camera || item.name != "Skybox Cross") continue;
      item.motion[3] = standin::Envelope::constant(heading);
      item.motion[4] = standin::Envelope::constant(pitch);
      item.camera->zoom_factor = standin::Envelope::constant(1.0);
      item.camera->handler.reset();
    }
    standin::write_scene_file(scene, out("turned.lws"));
    const Outcome outcome = run_tool("render " + quoted(out("turned.lws")) + " --content " + quoted(samples()) +
                                     " --camera 'Skybox Cross' --size " + std::to_string(side) + "x" + std::to_string(side) +
                                     " --samples 16 -o " + quoted(out("turned.png")));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_EQ(outcome.output.find("not found"), std::string::npos) << outcome.output;
    return read(out("turned.png"));
  }
};

TEST_F(SkyboxSquares, EachIsWhatAPerspectiveOfAQuarterTurnSees) {
  render_sky("Skybox Cross", "sky.png");
  ASSERT_EQ(split("sky.png", "faces").exit_code, 0);
  struct View {
    std::string name;
    double heading;
    double pitch;
  };
  for (const auto& [name, heading, pitch] :
       {View{"front", 0, 0}, View{"right", quarter_turn, 0}, View{"back", 2 * quarter_turn, 0}, View{"left", -quarter_turn, 0},
        View{"top", 0, -quarter_turn}, View{"bottom", 0, quarter_turn}}) {
    const OIIO::ImageBuf expected = through_perspective(heading, pitch);
    const OIIO::ImageBuf found = read(out("faces") / (name + ".png"));
    ASSERT_EQ(found.spec().width, side);
    ASSERT_EQ(found.spec().height, side);
    const auto error = [&](const OIIO::ImageBuf& other) {
      return OIIO::ImageBufAlgo::compare(expected, other, 1.0F, 1.0F).meanerror;
    };
    // Both are resampled, but neither mirrored nor turned.
    EXPECT_LT(error(found), 0.012) << name;
    EXPECT_GT(error(OIIO::ImageBufAlgo::flop(found)), 2.0 * error(found)) << name;
    EXPECT_GT(error(OIIO::ImageBufAlgo::flip(found)), 2.0 * error(found)) << name;
    EXPECT_GT(error(OIIO::ImageBufAlgo::rotate90(found)), 1.5 * error(found)) << name;
    // A pixel off is further away.
    for (const auto& [right, down] : {std::pair{1, 0}, std::pair{-1, 0}, std::pair{0, 1}, std::pair{0, -1}})
      EXPECT_GT(error(OIIO::ImageBufAlgo::circular_shift(found, right, down)), 1.2 * error(found)) << name;
  }
}

TEST_F(SkyboxSquares, TheyMeetAtTheirEdgesInEitherLayout) {
  for (const std::string layout : {"Cross", "Alternate"}) {
    render_sky("Skybox " + layout, "sky.exr");
    ASSERT_EQ(split("sky.exr", layout).exit_code, 0);
    const OIIO::ImageBuf front = read(out(layout) / "front.exr");
    const OIIO::ImageBuf right = read(out(layout) / "right.exr");
    const OIIO::ImageBuf back = read(out(layout) / "back.exr");
    const OIIO::ImageBuf left = read(out(layout) / "left.exr");
    const OIIO::ImageBuf top = read(out(layout) / "top.exr");
    const OIIO::ImageBuf bottom = read(out(layout) / "bottom.exr");
    double across = 0.0;
    double within = 0.0;
    const auto compare = [](const OIIO::ImageBuf& a, int ac, int ar, const OIIO::ImageBuf& b, int bc, int br) {
      double sum = 0.0;
      for (int channel = 0; channel < 3; ++channel)
        sum += std::abs(a.getchannel(ac, ar, 0, channel) - b.getchannel(bc, br, 0, channel));
      return sum;
    };
    constexpr int last = side - 1;
    for (int i = 0; i < side; ++i) {
      across += compare(left, last, i, front, 0, i) + compare(front, last, i, right, 0, i) +
                compare(right, last, i, back, 0, i) + compare(back, last, i, left, 0, i) +
                compare(front, i, last, bottom, i, 0);
      across += layout == "Cross" ? compare(top, i, last, front, i, 0) : compare(top, i, last, back, i, 0);
      for (const OIIO::ImageBuf* face : {&left, &front, &right, &back}) within += compare(*face, last - 1, i, *face, last, i);
      within += compare(front, i, last - 1, front, i, last) + compare(top, i, last - 1, top, i, last);
    }
    // From one face to the next is no further than from one pixel to the next.
    EXPECT_LT(across, 1.2 * within) << layout;
    EXPECT_GT(within, 1.0);
    for (const OIIO::ImageBuf* face : {&left, &front, &right, &back, &top, &bottom})
      for (int i = 0; i < side; ++i)
        for (const auto& [column, row] : {std::pair{0, i}, std::pair{last, i}, std::pair{i, 0}, std::pair{i, last}})
          EXPECT_NEAR(face->getchannel(column, row, 0, 3), 1.0, 1e-3) << "nothing of the empty cells";
  }
}

TEST_F(SkyboxSquares, LayoutsHoldTheSquaresInTheirOrder) {
  render_sky("Skybox Cross", "sky.png");
  ASSERT_EQ(split("sky.png", "faces").exit_code, 0);
  for (const std::string layout : {"cross", "horizontal", "vertical"})
    ASSERT_EQ(split("sky.png", "one", " --output-layout " + layout).exit_code, 0);
  EXPECT_EQ(names_in(out("one")), (std::vector<std::string>{"cross.png", "horizontal.png", "vertical.png"}));
  const OIIO::ImageBuf cross = read(out("one/cross.png"));
  const OIIO::ImageBuf horizontal = read(out("one/horizontal.png"));
  const OIIO::ImageBuf vertical = read(out("one/vertical.png"));
  EXPECT_EQ(cross.spec().width, 4 * side);
  EXPECT_EQ(cross.spec().height, 3 * side);
  int place = 0;
  for (const std::string name : {"right", "left", "top", "bottom", "front", "back"}) {
    const OIIO::ImageBuf face = read(out("faces") / (name + ".png"));
    EXPECT_TRUE(same(square(horizontal, place, 0), face)) << name;
    EXPECT_TRUE(same(square(vertical, 0, place), face)) << name;
    ++place;
  }
  int column = 0;
  for (const std::string name : {"left", "front", "right", "back"})
    EXPECT_TRUE(same(square(cross, column++, 1), read(out("faces") / (name + ".png")))) << name;
  EXPECT_TRUE(same(square(cross, 1, 0), read(out("faces/top.png"))));
  EXPECT_TRUE(same(square(cross, 1, 2), read(out("faces/bottom.png"))));
  EXPECT_EQ(square(cross, 0, 0).getchannel(side / 2, side / 2, 0, 3), 0.0F);
}

/// The same squares, as other programs name and turn them.
TEST_F(SkyboxSquares, OtherProgramsGetTheirOwnNamesAndTurns) {
  render_sky("Skybox Cross", "sky.png");
  ASSERT_EQ(split("sky.png", "faces").exit_code, 0);
  struct Named {
    std::string name;
    std::string as;
    /// To the right, in quarters.
    int turns;
  };
  const auto expect = [&](const std::string& layout, const std::vector<Named>& faces) {
    const Outcome outcome = split("sky.png", layout, " --output-layout " + layout);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.output;
    EXPECT_EQ(names_in(out(layout)).size(), 6U);
    for (const auto& [name, as, turns] : faces) {
      OIIO::ImageBuf face = read(out("faces") / (name + ".png"));
      if (turns == 1) face = OIIO::ImageBufAlgo::rotate90(face);
      if (turns == 2) face = OIIO::ImageBufAlgo::rotate180(face);
      if (turns == 3) face = OIIO::ImageBufAlgo::rotate270(face);
      const OIIO::ImageBuf found = read(out(layout) / (as + ".png"));
      // Samples are added up in another order.
      EXPECT_LT(OIIO::ImageBufAlgo::compare(face, found, 0.0F, 0.0F).maxerror, 1.01 / 255.0) << layout << ' ' << as;
    }
  };
  expect("opengl",
         {{"right", "px", 0}, {"left", "nx", 0}, {"top", "py", 0}, {"bottom", "ny", 0}, {"front", "pz", 0}, {"back", "nz", 0}});
  expect("unreal",
         {{"front", "px", 3}, {"back", "nx", 1}, {"right", "py", 2}, {"left", "ny", 0}, {"top", "pz", 3}, {"bottom", "nz", 3}});
  expect("quake",
         {{"right", "lf", 0}, {"left", "rt", 0}, {"top", "up", 3}, {"bottom", "dn", 1}, {"front", "ft", 0}, {"back", "bk", 0}});
  ASSERT_EQ(split("sky.png", "one", " --output-layout vertical-cross").exit_code, 0);
  const OIIO::ImageBuf cross = read(out("one/vertical-cross.png"));
  EXPECT_EQ(cross.spec().width, 3 * side);
  EXPECT_EQ(cross.spec().height, 4 * side);
  EXPECT_LT(
      OIIO::ImageBufAlgo::compare(square(cross, 1, 3), OIIO::ImageBufAlgo::rotate180(read(out("faces/back.png"))), 0.0F, 0.0F)
          .maxerror,
      1.01 / 255.0);
}

TEST_F(SkyboxSquares, LayoutsAreListed) {
  const Outcome text = run_tool("skybox layouts");
  ASSERT_EQ(text.exit_code, 0) << text.output;
  EXPECT_NE(text.output.find("column 1, row 0: looks to +Y, with +X to the right and -Z up"), std::string::npos) << text.output;
  const Outcome json = run_tool("skybox layouts --json");
  ASSERT_EQ(json.exit_code, 0) << json.output;
  const auto layouts = nlohmann::json::parse(json.output);
  ASSERT_EQ(layouts.size(), 10U);
  EXPECT_EQ(layouts[0]["name"], "cross");
  for (const auto& layout : layouts) EXPECT_EQ(layout["faces"].size(), 6U);
  EXPECT_EQ(layouts[0]["faces"][1],
            (nlohmann::json{{"name", "front"}, {"column", 1}, {"row", 1}, {"right", "+X"}, {"up", "+Y"}, {"ahead", "+Z"}}));
}

TEST_F(SkyboxSquares, MistakesAreToldAndLeaveNothing) {
  render_sky("Skybox Cross", "sky.png");
  const auto before = names_in(folder_);
  const std::string command = "skybox split " + quoted(out("sky.png")) + " -o " + quoted(out("none"));
  for (const std::string mistake : {" --face 0", " --face -3", " --face 4097", " --face ten", " --output-layout cross",
                                    " --face 8 --output-layout diamond"}) {
    const Outcome outcome = run_tool(command + mistake);
    EXPECT_EQ(outcome.exit_code, 2) << mistake << outcome.output;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
  }
  EXPECT_EQ(names_in(folder_), before);
  // Cells of a pixel or two still give squares, and a square may be a single pixel.
  ASSERT_EQ(run_tool("render " + quoted(samples() / "cameras.lws") + " --camera 'Skybox Cross' --size 12x9 --samples 1 -o " +
                     quoted(out("small.png")))
                .exit_code,
            0);
  EXPECT_EQ(
      run_tool("skybox split --layout cross " + quoted(out("small.png")) + " --face 1 -o " + quoted(out("tiny"))).exit_code, 0);
  EXPECT_EQ(read(out("tiny/top.png")).spec().width, 1);
}

}  // namespace native_skybox_squares_test

#include <OpenImageIO/imageio.h>
#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/paths.h"
#include "tests/support/tool_fixture.h"

namespace native_picture_metadata_test {

using nlohmann::json;
using test_support::contents;
using test_support::NativeTool;
using test_support::Outcome;
using test_support::quoted;
using test_support::run;
using test_support::run_tool;
using test_support::shipped_module;

std::string sample_scene() { return quoted(test_support::source_folder() / "samples" / "cameras.lws"); }

OIIO::ImageSpec layout_of(const std::filesystem::path& file) {
  const auto input = OIIO::ImageInput::open(file.string());
  EXPECT_NE(input, nullptr) << file << ": " << OIIO::geterror();
  return input != nullptr ? input->spec() : OIIO::ImageSpec();
}

using Matrix = std::array<float, 16>;

Matrix matrix_of(const OIIO::ImageSpec& layout, const std::string& name) {
  Matrix matrix{};
  EXPECT_TRUE(layout.getattribute(name, OIIO::TypeDesc::TypeMatrix, matrix.data())) << name;
  return matrix;
}

/// A point as a row, times the matrix, after its division.
std::array<double, 3> transformed(const std::array<double, 3>& point, const Matrix& matrix) {
  std::array<double, 4> sum{};
  for (std::size_t column = 0; column < 4; ++column)
    for (std::size_t row = 0; row < 4; ++row) sum[column] += (row < 3 ? point[row] : 1.0) * matrix[4 * row + column];
  return {sum[0] / sum[3], sum[1] / sum[3], sum[2] / sum[3]};
}

TEST_F(NativeTool, AnExrTellsWhatItShows) {
  const std::string camera = " --camera Panoramic --set HorizontalFOVradians=3.25 --frames 2 --size 64x24 --samples 1 -o ";
  ASSERT_EQ(run_tool("render " + sample_scene() + camera + quoted(out("a.exr"))).exit_code, 0);
  const Outcome header = run("exrheader " + quoted(out("a.exr")));
  ASSERT_EQ(header.exit_code, 0);
  for (const std::string line :
       {"ovicam/scene (type string): \"cameras.lws\"", "ovicam/camera (type string): \"Panoramic\"",
        "ovicam/server (type string): \"QuorinPanoramicCam\"", "ovicam/parameter/HorizontalFOVradians (type double): 3.25",
        "ovicam/frame (type int): 2", "ovicam/module (type string): \"4.0.0.22\"", "ovicam/tool (type string): \"4.0.0.22\"",
        "framesPerSecond (type rational): 30/1 (30)", "ovicam/filmHeightMetres (type double): 0.015",
        "worldToCamera (type m44f):", "worldToNDC (type m44f):", "pixelAspectRatio (type float): 1\n"})
    EXPECT_NE(header.output.find(line), std::string::npos) << line << "\n" << header.output;
  EXPECT_EQ(header.output.find("Date"), std::string::npos) << header.output;
  const Outcome info = run("oiiotool --info -v " + quoted(out("a.exr")));
  EXPECT_NE(info.output.find("ovicam/seconds: 0.0666667"), std::string::npos) << info.output;
  EXPECT_NE(info.output.find("framesPerSecond: 30/1 (30)"), std::string::npos) << info.output;

  // The same bytes again, and from a scene in another folder.
  const auto copy = std::filesystem::path(test_support::scratch_folder()) / "cameras.lws";
  std::filesystem::copy(test_support::source_folder() / "samples", copy.parent_path(),
                        std::filesystem::copy_options::recursive | std::filesystem::copy_options::overwrite_existing);
  ASSERT_EQ(run_tool("render " + quoted(copy) + camera + quoted(out("b.exr"))).exit_code, 0);
  EXPECT_EQ(contents(out("a.exr")), contents(out("b.exr")));
}

TEST_F(NativeTool, ParametersAndMatricesAreThoseOfTheFrame) {
  // The power from 2 to 5 within a second, and a camera that moves.
  std::string text = contents(test_support::source_folder() / "samples" / "cameras.lws");
  const std::string saved = "Plugin CameraHandler 1 QuorinFisheyeCam\n{ VParm\n  2\n}";
  ASSERT_NE(text.find(saved), std::string::npos);
  text.replace(
      text.find(saved), saved.size(),
      "Plugin CameraHandler 1 QuorinFisheyeCam\n{ VParm\n  { Envelope\n    2\n    Key 2 0 3 0 0 0 0 0 0\n    Key 5 1 3 "
      "0 0 0 0 0 0\n    Behaviors 1 1\n  }\n}");
  std::ofstream(out("keyed.lws")) << text;
  const auto layout_at = [&](int frame, const std::string& camera) {
    const auto file = out("f.exr");
    const Outcome outcome =
        run_tool("render " + quoted(out("keyed.lws")) + " --content " + quoted(test_support::source_folder() / "samples") +
                 " --camera '" + camera + "' --size 8x6 --samples 1 --frames " + std::to_string(frame) + " -o " + quoted(file));
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
    return layout_of(file);
  };
  const auto power = [&](int frame) {
    double value = 0.0;
    const OIIO::ImageSpec layout = layout_at(frame, "Fisheye Power 2");
    EXPECT_TRUE(layout.getattribute("ovicam/parameter/FisheyePower", OIIO::TypeDesc::DOUBLE, &value));
    return value;
  };
  EXPECT_NEAR(power(0), 2.0, 1e-9);
  EXPECT_NEAR(power(10), 3.0, 1e-9);
  EXPECT_NEAR(power(30), 5.0, 1e-9);
  EXPECT_NE(matrix_of(layout_at(0, "Ride"), "worldToCamera"), matrix_of(layout_at(30, "Ride"), "worldToCamera"));
}

TEST_F(NativeTool, APngTellsTheEssentials) {
  ASSERT_EQ(
      run_tool("render " + sample_scene() + " --camera 'Skybox Cross' --size 32x24 --samples 1 -o " + quoted(out("a.png")))
          .exit_code,
      0);
  const OIIO::ImageSpec layout = layout_of(out("a.png"));
  EXPECT_EQ(layout.get_string_attribute("Scene"), "cameras.lws");
  EXPECT_EQ(layout.get_string_attribute("Camera"), "Skybox Cross");
  EXPECT_EQ(layout.get_string_attribute("Server"), "QuorinSkyboxCam");
  EXPECT_EQ(layout.get_string_attribute("Frame"), "0");
  EXPECT_EQ(layout.get_string_attribute("Software"), "ovicam 4.0.0.22");
  EXPECT_EQ(layout.get_string_attribute("DateTime"), "");
}

TEST_F(NativeTool, APointOfTheWorldIsWhereTheMatricesSay) {
  ASSERT_EQ(render("a.exr").exit_code, 0);
  const OIIO::ImageSpec layout = layout_of(out("a.exr"));
  // Half a metre to the right and 1 up, 4 m ahead, where the picture is 4 m high. The files' world has -Z ahead.
  const std::array<double, 3> point{0.5, 1.0, -4.0};
  const auto in_camera = transformed(point, matrix_of(layout, "worldToCamera"));
  EXPECT_NEAR(in_camera[0], 0.5, 1e-6);
  EXPECT_NEAR(in_camera[1], 1.0, 1e-6);
  EXPECT_NEAR(in_camera[2], 4.0, 1e-6);
  const auto in_picture = transformed(point, matrix_of(layout, "worldToNDC"));
  EXPECT_NEAR(in_picture[0], 0.5 + 0.5 / (4.0 * 64 / 48), 1e-6);
  EXPECT_NEAR(in_picture[1], 0.25, 1e-6);
}

TEST_F(NativeTool, TheMatricesFollowTheRaysOfATurnedCamera) {
  for (const std::string eye : {"centre", "left", "right"}) {
    const std::string camera = " --camera Fountain --server Perspective --eye " + eye;
    ASSERT_EQ(run_tool("render " + sample_scene() + camera + " --size 64x36 --samples 1 -o " + quoted(out("a.exr"))).exit_code,
              0);
    const Matrix to_picture = matrix_of(layout_of(out("a.exr")), "worldToNDC");
    const Outcome outcome = run_tool("rays " + sample_scene() + camera + " --grid 3x2 --json");
    const json rays = json::parse(outcome.output, nullptr, false);
    ASSERT_TRUE(rays.is_object()) << outcome.output;
    ASSERT_EQ(rays.at("rays").size(), 6U);
    for (const json& ray : rays.at("rays")) {
      std::array<double, 3> point{};
      for (std::size_t axis = 0; axis < 3; ++axis)
        point[axis] = ray.at("start")[axis].get<double>() + 7.0 * ray.at("direction")[axis].get<double>();
      point[2] = -point[2];
      const auto at = transformed(point, to_picture);
      EXPECT_NEAR(at[0], 0.5 + ray.at("film")[0].get<double>() / rays.at("film")[0].get<double>(), 1e-5);
      EXPECT_NEAR(at[1], 0.5 - ray.at("film")[1].get<double>() / rays.at("film")[1].get<double>(), 1e-5);
    }
  }
}

TEST_F(NativeTool, TheShippedModuleTellsTheSame) {
  if (shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p with its ray service";
  const std::string camera = " --camera Immersive --size 16x12 --samples 1 --frames 3 -o ";
  ASSERT_EQ(run_tool("render " + sample_scene() + camera + quoted(out("here.exr"))).exit_code, 0);
  ASSERT_EQ(run_tool("render " + sample_scene() + " --module " + quoted(shipped_module()) + camera + quoted(out("there.exr")))
                .exit_code,
            0);
  const auto facts = [&](const std::string& file) {
    std::vector<std::string> lines;
    for (const auto& attribute : layout_of(out(file)).extra_attribs)
      lines.push_back(attribute.name().string() + " = " + attribute.get_string());
    return lines;
  };
  EXPECT_EQ(facts("here.exr"), facts("there.exr"));
}

}  // namespace native_picture_metadata_test

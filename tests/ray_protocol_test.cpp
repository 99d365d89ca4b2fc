/// The ray service's messages: what one end packs the other unpacks, and bytes that are no message are refused with a sentence.

#include "standin/remote/ray_protocol.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace standin::ray_protocol::ray_protocol_test {

/// What a program at the other end makes of the bytes.
template <class Message>
Message read_back(std::vector<char> bytes) {
  MessageReader reader(std::move(bytes));
  Kind kind{};
  reader(kind);
  EXPECT_EQ(kind, Message::kind);
  return unpacked<Message>(reader);
}

template <class Message>
Message round_trip(const Message& message) {
  return read_back<Message>(packed(message));
}

/// What is said of the bytes; empty when they are read.
template <class Message>
std::string refusal_of(std::vector<char> bytes) {
  try {
    read_back<Message>(std::move(bytes));
    return {};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::vector<char> with_number(std::vector<char> bytes, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < sizeof number; ++i) bytes.at(at + i) = static_cast<char>(number >> (8 * i));
  return bytes;
}

/// A description that has something in every place.
DescribeModule::Answer description() {
  Picture drawing(3, 2);
  drawing.set(2, 1, {1, 2, 3});
  drawing.texts.push_back({"Front", 4, -5});
  ControlDescription row;
  row.id = 0x8005;
  row.label = "Größe";
  row.control_class = "iPopChoice";
  row.data_type = "integer";
  row.value = "1";
  row.choices = {"one", "", "three"};
  row.channel_name = "Size";
  row.animated = true;
  row.minimum = -0.25;
  row.choices_of = "cameras";
  row.divider_below = true;
  row.drawing = drawing;
  CameraDescription camera;
  camera.server_name = "Server";
  camera.user_name = "Name";
  camera.depth_of_field = true;
  camera.projects = true;
  camera.parameters = {{"Channel", 1.5}};
  camera.panel_rows = {ControlDescription(), row};
  camera.saved_items = {{"envelope", {"Channel"}, {"Label"}}};
  ModuleDescription module;
  module.servers = {{"Class", "Server", {{7, "Name"}, {8, ""}}}};
  module.cameras = {camera, CameraDescription()};
  module.unregistered_cameras = {camera};
  return {module};
}

TEST(RayProtocol, CarriesWholeDescriptions) { EXPECT_EQ(round_trip(description()).description, description().description); }

TEST(RayProtocol, CarriesWhatASessionIsOpenedWith) {
  OpenSession request;
  request.options.scene_file = std::u8string(u8"ordner/größe 日本.lws");
  request.options.module_file = "OviCam.p";
  request.options.camera_name = "Camera";
  request.options.server_name = "QuorinStereoCam";
  request.options.settings = {{"EyeSeparation", "2"}, {"ISO", ""}};
  request.options.width_pixels = 1920;
  request.options.height_pixels = -1;
  request.options.turn = {{0.25, -1.5, 3.0}, 1.25};
  request.options.motion_steps = 199;
  request.options.motion_blur = true;
  request.shared_rays = "/dev/shm/rays";
  request.shared_requests = 8;
  EXPECT_EQ(round_trip(request).shared_rays, "/dev/shm/rays");
  EXPECT_EQ(round_trip(request).shared_requests, 8U);
  const SessionOptions there = round_trip(request).options;
  EXPECT_EQ(there.scene_file, request.options.scene_file);
  EXPECT_EQ(there.module_file, request.options.module_file);
  EXPECT_EQ(there.camera_name, "Camera");
  EXPECT_EQ(there.server_name, "QuorinStereoCam");
  EXPECT_EQ(there.settings, request.options.settings);
  EXPECT_EQ(there.turn, request.options.turn);
  EXPECT_EQ(there.width_pixels, 1920);
  EXPECT_EQ(there.height_pixels, -1);
  EXPECT_EQ(there.motion_steps, 199U);
  EXPECT_TRUE(there.motion_blur);
  EXPECT_FALSE(there.depth_of_field);
}

TEST(RayProtocol, CarriesFramesAndPoints) {
  const auto frame = round_trip(BeginFrame::Answer{
      {-3, 0.25, 0.02, 0.015, 0.01, true, "QuorinStereoCam", "v1", {{"Zoom", 2.5}, {"ISO", -1.0}}, {{"Type", "Cross"}}},
      {"one", "two"}});
  EXPECT_EQ(frame.setup.frame, -3);
  EXPECT_EQ(frame.setup.start_seconds, 0.25);
  EXPECT_EQ(frame.setup.duration_seconds, 0.02);
  EXPECT_EQ(frame.setup.film_width, 0.015);
  EXPECT_EQ(frame.setup.film_height, 0.01);
  EXPECT_TRUE(frame.setup.depth_of_field);
  EXPECT_EQ(frame.setup.server_name, "QuorinStereoCam");
  EXPECT_EQ(frame.setup.module_version, "v1");
  EXPECT_EQ(frame.setup.parameters, (std::vector<std::pair<std::string, double>>{{"Zoom", 2.5}, {"ISO", -1.0}}));
  EXPECT_EQ(frame.setup.settings, (std::vector<std::pair<std::string, std::string>>{{"Type", "Cross"}}));
  EXPECT_EQ(frame.warnings, (std::vector<std::string>{"one", "two"}));
  const auto point = round_trip(ProjectPoint{{1.0, -2.0, 3.0}, 0.5, Eye::right});
  EXPECT_EQ(point.world, (Vec3{1.0, -2.0, 3.0}));
  EXPECT_EQ(point.fractional_time, 0.5);
  EXPECT_EQ(point.eye, Eye::right);
  EXPECT_EQ(round_trip(ProjectPoint::Answer{{{0.5, -0.25}}}).film, (std::pair{0.5, -0.25}));
  EXPECT_EQ(round_trip(ProjectPoint::Answer{}).film, std::nullopt);
  EXPECT_EQ(round_trip(EvaluateRays{17, 3}).count, 17U);
  EXPECT_EQ(round_trip(EvaluateRays{17, 3}).request, 3U);
  EXPECT_EQ(round_trip(ProjectPoints{17, 3}).count, 17U);
  EXPECT_EQ(round_trip(ProjectPoints{17, 3}).request, 3U);
  EXPECT_EQ(round_trip(PlacesFilled{3, "It cannot be done"}).request, 3U);
  EXPECT_EQ(round_trip(PlacesFilled{3, "It cannot be done"}).failure, "It cannot be done");
  EXPECT_EQ(round_trip(Failure{"It cannot be done"}).sentence, "It cannot be done");
}

GizmoElement triangle() {
  GizmoElement element;
  element.shape = GizmoShape::triangle;
  element.points = {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, -9.0}};
  element.radius = 0.25;
  element.coordinate_system = LWCSYS_OBJECT;
  element.color = {0.1F, 0.2F, 0.3F, 0.4F};
  element.draw_mode = 5;
  return element;
}

TEST(RayProtocol, CarriesAnOpenPanel) {
  EXPECT_EQ(round_trip(Turn{{{0.0, 0.5, -0.25}, 2.0}}).turn, (CameraTurn{{0.0, 0.5, -0.25}, 2.0}));
  const Set set = round_trip(Set{"Eye Separation", "6cm"});
  EXPECT_EQ(set.name, "Eye Separation");
  EXPECT_EQ(set.text, "6cm");
  const Set::Answer applied = round_trip(Set::Answer{{"Eye Separation: 6 cm", "a warning"}, {"another"}});
  EXPECT_EQ(applied.applied.shown, "Eye Separation: 6 cm");
  EXPECT_EQ(applied.applied.warning, "a warning");
  EXPECT_EQ(applied.warnings, std::vector<std::string>{"another"});
  const std::vector<ControlDescription> rows = description().description.cameras.at(0).panel_rows;
  EXPECT_EQ(round_trip(ShowPanel::Answer{rows}).rows, rows);
  EXPECT_EQ(round_trip(SaveLines::Answer{{"1 0", "", "Größe"}}).lines, (std::vector<std::string>{"1 0", "", "Größe"}));
  const DrawGizmo draw = round_trip(DrawGizmo{{1.0, 2.0, 3.0}, {0.0, 0.0, -1.0}});
  EXPECT_EQ(draw.eye_position, (Vec3{1.0, 2.0, 3.0}));
  EXPECT_EQ(draw.direction, (Vec3{0.0, 0.0, -1.0}));
  const auto elements = round_trip(DrawGizmo::Answer{{triangle()}}).elements;
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0].shape, GizmoShape::triangle);
  EXPECT_EQ(elements[0].points, triangle().points);
  EXPECT_EQ(elements[0].radius, 0.25);
  EXPECT_EQ(elements[0].coordinate_system, LWCSYS_OBJECT);
  EXPECT_EQ(elements[0].color, triangle().color);
  EXPECT_EQ(elements[0].draw_mode, 5U);
}

TEST(RayProtocol, RefusesShapesWithoutTheirCorners) {
  const std::string sentence = "The ray service's drawing of a gizmo makes no sense";
  GizmoElement cut = triangle();
  cut.points.pop_back();
  EXPECT_EQ(refusal_of<DrawGizmo::Answer>(packed(DrawGizmo::Answer{{cut}})), sentence);
  for (const int shape : {-1, 5, 1000}) {
    GizmoElement unknown = triangle();
    unknown.shape = static_cast<GizmoShape>(shape);
    EXPECT_EQ(refusal_of<DrawGizmo::Answer>(packed(DrawGizmo::Answer{{unknown}})), sentence) << shape;
  }
}

TEST(RayProtocol, BeginsWithItsKindAndThenItsVersion) {
  const std::vector<char> bytes = packed(DescribeModule{});
  // Kind, version, and the length of an empty path.
  const std::vector<char> expected{7,
                                   static_cast<char>(version),
                                   static_cast<char>(version >> 8),
                                   static_cast<char>(version >> 16),
                                   static_cast<char>(version >> 24),
                                   0,
                                   0,
                                   0,
                                   0};
  EXPECT_EQ(bytes, expected);
  EXPECT_NE(refusal_of<DescribeModule>(with_number(bytes, 1, version - 1)).find("another version"), std::string::npos);
  // Whatever follows another version's word is none of ours.
  EXPECT_NE(refusal_of<OpenSession>({1, 0, 0, 0, 0}).find("another version"), std::string::npos);
}

TEST(RayProtocol, RefusesMessagesThatAreCutShort) {
  const std::vector<char> whole = packed(description());
  for (std::size_t size = 1; size < whole.size(); ++size) {
    const auto end = whole.begin() + static_cast<std::ptrdiff_t>(size);
    ASSERT_EQ(refusal_of<DescribeModule::Answer>({whole.begin(), end}), "The ray service's message is shorter than it says")
        << size;
  }
}

TEST(RayProtocol, RefusesMessagesThatGoOn) {
  std::vector<char> bytes = packed(EvaluateRays{5, 2});
  bytes.push_back(0);
  EXPECT_EQ(refusal_of<EvaluateRays>(bytes), "The ray service's message is longer than it says");
}

TEST(RayProtocol, RefusesDrawingsThatMakeNoSense) {
  const auto refusal = [](std::uint32_t width, std::uint32_t height) {
    MessageWriter writer;
    writer(width, height);
    MessageReader reader(writer.take_bytes());
    Picture picture;
    try {
      reader(picture);
      return std::string();
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_NE(refusal(0, 5).find("makes no sense"), std::string::npos);
  EXPECT_NE(refusal(5, 0xFFFFFFFF).find("makes no sense"), std::string::npos);
  EXPECT_NE(refusal(4097, 5).find("makes no sense"), std::string::npos);
  EXPECT_NE(refusal(4096, 4096).find("shorter than it says"), std::string::npos);
}

/// Every byte by itself set to what does most harm in a length: a sentence or another message, and nothing worse.
TEST(RayProtocol, SurvivesAnyDamagedByte) {
  const std::vector<char> whole = packed(description());
  std::size_t refused = 0;
  for (std::size_t at = 1; at < whole.size(); ++at) {
    for (const int damaged : {0x00, 0x01, 0x02, 0x7F, 0x80, 0xFF}) {
      std::vector<char> bytes = whole;
      bytes[at] = static_cast<char>(damaged);
      if (!refusal_of<DescribeModule::Answer>(std::move(bytes)).empty()) ++refused;
    }
  }
  EXPECT_GT(refused, whole.size());
}

/// An element that is larger than the smallest that a message could hold, and that is counted.
struct Counted {
  Counted() { ++made; }
  double value = 0.0;
  inline static int made = 0;
};

template <class Archive>
void serialize(Archive& archive, Counted& counted) {
  archive(counted.value);
}

TEST(RayProtocol, MakesNoMoreElementsThanTheMessageHolds) {
  const auto read_counted = [](std::uint32_t count) {
    MessageWriter writer;
    writer(count, 1.0, 2.0, 3.0);
    MessageReader reader(writer.take_bytes());
    std::vector<Counted> elements;
    Counted::made = 0;
    reader(elements);
    return elements;
  };
  EXPECT_EQ(read_counted(3).back().value, 3.0);
  EXPECT_THROW(read_counted(24), std::runtime_error);
  EXPECT_EQ(Counted::made, 4);
  EXPECT_THROW(read_counted(0xFFFFFFFF), std::runtime_error);
  EXPECT_EQ(Counted::made, 0);
}

}  // namespace standin::ray_protocol::ray_protocol_test

#include "tests/support/camera_facts.h"

#include <numbers>
#include <ostream>
#include <stdexcept>

#include "tests/support/stage.h"

namespace test_support {
namespace {

constexpr double pi = std::numbers::pi;
constexpr const char* version_text = "v4.0.0.22 Oct 28 2026";

SavedFacts envelope(const std::string& channel) { return {SavedFacts::Kind::envelope, channel}; }
SavedFacts word(double default_value) { return {SavedFacts::Kind::word, "", default_value}; }
SavedFacts reserved() { return {SavedFacts::Kind::reserved_word, "", 0.0}; }
SavedFacts number(const std::string& channel, double default_value) {
  return {SavedFacts::Kind::number, channel, default_value};
}

/// Adds the panel's rows one after the other.
struct Rows {
  CameraFacts& camera;

  Rows& logo(std::uint32_t id) {
    camera.controls.push_back({id, "Logo", "dThumbnail", "", ""});
    camera.values.push_back({id, ValueFacts::Kind::none, "", 0.0});
    return *this;
  }
  Rows& text(std::uint32_t id, const std::string& label, const std::string& shown) {
    camera.controls.push_back({id, label, "sInfo", label, "string"});
    camera.values.push_back({id, ValueFacts::Kind::text, shown, 0.0});
    return *this;
  }
  Rows& version(std::uint32_t id) { return text(id, "Version", version_text); }
  Rows& envelope(std::uint32_t id, const std::string& label, const std::string& control_class, const std::string& channel,
                 const std::string& data_name, const std::string& data_type) {
    camera.controls.push_back({id, label, control_class, data_name, data_type});
    return hidden_envelope(id, channel);
  }
  Rows& envelope(std::uint32_t id, const std::string& label, const std::string& control_class, const std::string& channel) {
    return envelope(id, label, control_class, channel, label, control_class);
  }
  Rows& zoom(std::uint32_t id) { return envelope(id, "ZoomFactor", "zoomfactor-env", "ZoomFactor", "ZoomFactor", "float-env"); }
  Rows& word(std::uint32_t id, const std::string& label, const std::string& control_class, double default_value,
             const std::string& data_name) {
    camera.controls.push_back({id, label, control_class, data_name, "integer"});
    return hidden_word(id, default_value);
  }
  Rows& word(std::uint32_t id, const std::string& label, const std::string& control_class, double default_value) {
    return word(id, label, control_class, default_value, label);
  }
  Rows& number(std::uint32_t id, const std::string& label, double default_value) {
    camera.controls.push_back({id, label, "float", label, "float"});
    camera.values.push_back({id, ValueFacts::Kind::number, "", default_value});
    return *this;
  }
  Rows& photographic() {
    return number(0x8014, "ISO", 800.0).number(0x8015, "Iris (f-stop)", 2.8).number(0x8016, "Shutter Angle", 180.0);
  }
  Rows& hidden_envelope(std::uint32_t id, const std::string& channel) {
    camera.values.push_back({id, ValueFacts::Kind::envelope, channel, 0.0});
    return *this;
  }
  Rows& hidden_word(std::uint32_t id, double default_value) {
    camera.values.push_back({id, ValueFacts::Kind::word, "", default_value});
    return *this;
  }
  Rows& hidden_text(std::uint32_t id, const std::string& shown) {
    camera.values.push_back({id, ValueFacts::Kind::text, shown, 0.0});
    return *this;
  }
};

CameraFacts named(const std::string& server_name, const std::string& user_name, const std::string& name_space,
                  const std::string& tag_table, const std::string& description, unsigned flags) {
  CameraFacts camera;
  camera.server_name = server_name;
  camera.plugin_name = server_name;
  camera.user_name = user_name;
  camera.name_space = name_space;
  camera.tag_table = tag_table;
  camera.description = description;
  camera.flags = flags;
  return camera;
}

CameraFacts tiles(CameraFacts camera, const std::vector<std::pair<std::string, std::string>>& names_and_labels) {
  camera.looks_through_other_cameras = true;
  Rows rows{camera};
  rows.logo(0x8000).version(0x8002);
  std::uint32_t id = 0x8006;
  for (const auto& [name, label] : names_and_labels) {
    rows.word(id++, label, "iPopChoice", 0.0, name);
    camera.saved.push_back(word(0.0));
  }
  return camera;
}

std::vector<std::pair<std::string, std::string>> grid_names(int rows, int columns) {
  std::vector<std::pair<std::string, std::string>> names;
  for (int row = 1; row <= rows; ++row) {
    for (int column = 1; column <= columns; ++column) {
      const std::string name = std::to_string(row) + "-" + std::to_string(column) + " Camera";
      names.emplace_back(name, name);
    }
  }
  return names;
}

CameraFacts stereo() {
  CameraFacts camera =
      named("QuorinStereoCam", "Quorin Stereo Camera", "StereoCam", "tagInfo4", "QuorinStereoCam Oct 28 2026 01:03:22", 0);
  camera.has_a_lens = true;
  camera.has_two_eyes = true;
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"EyeSeparation", scene_eye_separation},
                     {"ConvergenceLimit", 10.0},
                     {"HorizontalScale", 1.0},
                     {"HorizontalShiftFactor", 1.0},
                     {"PhotoISO", 800.0},
                     {"PhotoIris", 2.8},
                     {"PhotoShutter", 180.0}};
  camera.saved = {envelope("EyeSeparation"),
                  envelope("ConvergenceLimit"),
                  envelope("HorizontalScale"),
                  envelope("HorizontalShiftFactor"),
                  word(0.0),
                  word(0.0),
                  reserved(),
                  reserved(),
                  reserved(),
                  number("PhotoISO", 800.0),
                  number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}
      .logo(0x800c)
      .version(0x8008)
      .zoom(0x8001)
      .envelope(0x8004, "Eye Separation", "distance-env", "EyeSeparation")
      .word(0x8002, "Convergence Item", "iPopChoice", 0.0)
      .envelope(0x8005, "Convergence Limit", "distance-env", "ConvergenceLimit")
      .envelope(0x8006, "Convergence Toe In", "percent-env", "HorizontalScale")
      .word(0x8003, "Show Convergence Plane", "iBoolean", 0.0)
      .photographic()
      .hidden_envelope(0x8007, "HorizontalShiftFactor");
  return camera;
}

CameraFacts skybox() {
  CameraFacts camera =
      named("QuorinSkyboxCam", "Quorin Skybox Camera", "SkyboxCam", "tagInfo5", "QuorinSkyboxCam Oct 28 2026 01:03:10", 0);
  camera.film_has_gaps = true;
  camera.projects = false;
  camera.saved = {word(0.0)};
  Rows{camera}.logo(0x8000).version(0x8002).logo(0x8012).word(0x8006, "Skybox Type", "iPopChoice", 0.0);
  return camera;
}

CameraFacts panoramic() {
  CameraFacts camera = named("QuorinPanoramicCam", "Quorin Panoramic Camera", "PanoramicCam", "tagInfo6",
                             "QuorinPanoramicCam Oct 28 2026 01:02:48", 0);
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"HorizontalFOVradians", 2.0 * pi},
                     {"MaxVerticalFOVradians", pi / 4.0},
                     {"MinVerticalFOVradians", -pi / 4.0}};
  camera.saved = {envelope("HorizontalFOVradians"), envelope("MaxVerticalFOVradians"), envelope("MinVerticalFOVradians")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Horizontal FOV angle", "angle-env", "HorizontalFOVradians")
      .envelope(0x8007, "Upper Vertical FOV angle", "angle-env", "MaxVerticalFOVradians")
      .envelope(0x8008, "Lower Vertical FOV angle", "angle-env", "MinVerticalFOVradians")
      .hidden_envelope(0x8000, "ZoomFactor");
  camera.dividers_after = {0x8001, 0x8006, 0x8000, 0x8008};
  camera.sensitive = {0x8007, 0x8008, 0x8006, 0x8007, 0x8008};
  return camera;
}

CameraFacts cylinder() {
  CameraFacts camera = named("QuorinCylinderCam", "Quorin Cylinder Camera", "CylinderCam", "tagInfo7",
                             "QuorinCylinderCam Oct 28 2026 01:02:09", 0);
  camera.rays_need_a_record = false;
  camera.refused_projection_may_write = true;
  camera.channels = {{"SizeAxis", 1.0}, {"MaxVerticalFOVradians", pi / 18.0}, {"MinVerticalFOVradians", -pi / 18.0}};
  camera.saved = {envelope("SizeAxis"), envelope("MaxVerticalFOVradians"), envelope("MinVerticalFOVradians"), word(1.0)};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Size", "iPopChoice", 1.0)
      .envelope(0x8006, "", "distance-env", "SizeAxis")
      .envelope(0x8008, "Maximum FOV Angle", "angle-env", "MaxVerticalFOVradians", "Upper FOV Angle", "angle-env")
      .envelope(0x8009, "Minimum FOV Angle", "angle-env", "MinVerticalFOVradians", "Lower FOV Angle", "angle-env");
  return camera;
}

CameraFacts perspective(const std::string& server_name, const std::string& user_name, const std::string& tag_table,
                        const std::string& handler_activation, const std::string& interface_activation, unsigned flags) {
  CameraFacts camera =
      named(server_name, user_name, "PerspectiveCam", tag_table, "QuorinPerspectiveCam Oct 28 2026 01:02:55", flags);
  camera.handler_activation = handler_activation;
  camera.interface_activation = interface_activation;
  camera.plugin_name = "QuorinPerspectiveCam";
  // Servers without depth of field have a pinhole.
  camera.has_a_lens = flags != 0;
  camera.rays_need_a_record = false;
  camera.channels = {
      {"ZoomFactor", scene_zoom_factor}, {"SizeAxis", 0.0}, {"PhotoISO", 800.0}, {"PhotoIris", 2.8}, {"PhotoShutter", 180.0}};
  camera.saved = {envelope("SizeAxis"), word(1.0), number("PhotoISO", 800.0), number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}.logo(0x8005).version(0x8001).zoom(0x8000).photographic();
  return camera;
}

CameraFacts fisheye() {
  CameraFacts camera =
      named("QuorinFisheyeCam", "Quorin Fisheye Camera", "FisheyeCam", "tagInfo9", "QuorinFisheyeCam Oct 28 2026 01:02:17", 1);
  camera.has_a_lens = true;
  camera.rays_need_a_record = false;
  camera.channels = {{"ZoomFactor", scene_zoom_factor}, {"FisheyePower", 1.0}, {"FisheyeScale", 1.0}};
  camera.saved = {envelope("FisheyePower"), envelope("FisheyeScale"), word(1.0), word(0.0), word(1.0), word(1.0)};
  Rows{camera}
      .logo(0x8007)
      .version(0x8003)
      .zoom(0x8000)
      .envelope(0x8001, "Distortion Power", "float-env", "FisheyePower")
      .word(0x800A, "Auto Distortion Scale", "iBoolean", 1.0)
      .envelope(0x8002, "Distortion Scale", "float-env", "FisheyeScale")
      .word(0x800B, "Parallel Film Normals", "iBoolean", 1.0)
      .word(0x8008, "Preview in Camera View", "iBoolean", 0.0)
      .hidden_word(0x8009, 1.0);
  return camera;
}

/// The advanced panoramic camera and the immersive one have the same parameters.
void add_panorama_parameters(CameraFacts& camera, double upper_angle_radians) {
  camera.channels = {{"ZoomFactor", scene_zoom_factor},
                     {"HorizontalFOVradians", 2.0 * pi},
                     {"MaxVerticalFOVradians", upper_angle_radians},
                     {"MinVerticalFOVradians", -upper_angle_radians},
                     {"HScalePos", 1.0},
                     {"VScalePos", 1.0},
                     {"HScaleNeg", 1.0},
                     {"VScaleNeg", 1.0},
                     {"HShift", 0.0},
                     {"VShift", 0.0}};
  for (const char* channel : {"HorizontalFOVradians", "MaxVerticalFOVradians", "MinVerticalFOVradians", "HScalePos",
                              "VScalePos", "HShift", "VShift", "HScaleNeg", "VScaleNeg"}) {
    camera.saved.push_back(envelope(channel));
  }
}

CameraFacts advanced_panoramic() {
  CameraFacts camera =
      named("QuorinAdvPanCam", "Quorin SuperPano Camera", "AdvPanCam", "tagInfo12", "QuorinAdvPanCam Oct 28 2026 01:01:51", 0);
  add_panorama_parameters(camera, pi / 4.0);
  camera.gizmo_handle_answer = 0;
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Horizontal FOV angle", "angle-env", "HorizontalFOVradians")
      .envelope(0x8007, "Upper Vertical FOV angle", "angle-env", "MaxVerticalFOVradians")
      .envelope(0x8008, "Lower Vertical FOV angle", "angle-env", "MinVerticalFOVradians")
      .envelope(0x800a, "Right Horizontal Scale", "percent-env", "HScalePos")
      .envelope(0x8009, "Top Vertical Scale", "percent-env", "VScalePos")
      .envelope(0x800c, "Left Horizontal Scale", "percent-env", "HScaleNeg")
      .envelope(0x800b, "Bottom Vertical Scale", "percent-env", "VScaleNeg")
      .envelope(0x800e, "Horizontal Shift", "percent-env", "HShift")
      .envelope(0x800d, "Vertical Shift", "percent-env", "VShift")
      .hidden_envelope(0x8000, "ZoomFactor");
  camera.dividers_after = {0x8001, 0x8006, 0x8008, 0x800b, 0x800d};
  camera.sensitive = {0x8006, 0x8007, 0x8008, 0x800a, 0x8009, 0x800c, 0x800b, 0x800e, 0x800d};
  return camera;
}

CameraFacts immersive() {
  CameraFacts camera = named("QuorinImmersiveCam", "Quorin Immersive Camera", "ImmersiveCam", "tagInfo24",
                             "QuorinImmersiveCam Oct 28 2026 01:02:25", 0);
  add_panorama_parameters(camera, pi / 2.0);
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .hidden_envelope(0x8000, "ZoomFactor")
      .hidden_envelope(0x8006, "HorizontalFOVradians")
      .hidden_envelope(0x8007, "MaxVerticalFOVradians")
      .hidden_envelope(0x8008, "MinVerticalFOVradians")
      .hidden_envelope(0x8009, "VScalePos")
      .hidden_envelope(0x800a, "HScalePos")
      .hidden_envelope(0x800b, "VScaleNeg")
      .hidden_envelope(0x800c, "HScaleNeg")
      .hidden_envelope(0x800d, "VShift")
      .hidden_envelope(0x800e, "HShift")
      .hidden_text(0x8010, "Directions are as follows:\nwhat.");
  camera.dividers_after = {0x8001};
  return camera;
}

CameraFacts overscan(CameraFacts camera) {
  camera.plugin_name = "QuorinOverscanCam";
  camera.looks_through_other_cameras = true;
  camera.channels = {{"SizeAxis", 0.2}, {"Overscan", 0.0}, {"Vertical Jitter", 0.0}, {"Horizontal Jitter", 0.0}};
  return camera;
}

CameraFacts overscan() {
  CameraFacts camera = overscan(named("QuorinOverscanCam", "Quorin Overscan Camera", "OverscanCam", "tagInfo18",
                                      "QuorinOverscanCam Oct 28 2026 01:02:41", 1));
  camera.saved = {word(0.0), envelope("Overscan"), envelope("Vertical Jitter"), envelope("Horizontal Jitter")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Selected Camera", "iPopChoice", 0.0)
      .text(0x800a, "Selected Camera Resolution", "Width x Height")
      .envelope(0x8006, "Overscan Percentage", "percent-env", "Overscan")
      .text(0x800b, "Calc. Overscan Resolution", "Width x Height")
      .envelope(0x8008, "Vertical Jitter", "percent-env", "Vertical Jitter")
      .envelope(0x8009, "Horizontal Jitter", "percent-env", "Horizontal Jitter");
  camera.dividers_after = {0x8001};
  return camera;
}

CameraFacts dpi() {
  CameraFacts camera = overscan(
      named("QuorinDpiCam", "Quorin DPI Camera", "OverscanCam", "tagInfo19", "QuorinOverscanCam Oct 28 2026 01:02:41", 1));
  camera.handler_activation = "DpiCameraHandler";
  camera.interface_activation = "DpiCameraInterface";
  camera.gizmo_activation = "DpiCameraGizmo";
  camera.rays_need_a_record = false;
  camera.saved = {word(0.0), word(300.0), word(0.0), envelope("SizeAxis"), envelope("Overscan")};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .word(0x8007, "Selected Camera", "iPopChoice", 0.0)
      .word(0x800e, "Dots Per Inch", "iSliderText", 300.0)
      .word(0x800d, "Printed Image Size", "iPopChoice", 0.0)
      .envelope(0x800c, "", "distance-env", "SizeAxis")
      .text(0x800a, "Selected Camera Resolution", "Width x Height")
      .envelope(0x8006, "Edge Bleed size", "distance-env", "Overscan")
      .text(0x800b, "Calculated Resolution", "Width x Height");
  camera.dividers_after = {0x8001, 0x8007, 0x800c, 0x800b};
  return camera;
}

CameraFacts radial_shift() {
  CameraFacts camera = named("QuorinRadialShiftCam", "Quorin Radial Shift Camera", "RadialShiftCam", "tagInfo20",
                             "QuorinRadialShiftCam Oct 28 2026 01:03:01", 0);
  camera.has_a_lens = true;
  camera.rays_need_a_record = false;
  camera.channels = {{"ZoomFactor", scene_zoom_factor}};
  for (const char* channel :
       {"RadialShiftA", "RadialShiftB", "RadialShiftC", "ImageShiftH", "ImageShiftV", "ImageShearH", "ImageShearV"}) {
    camera.channels.push_back({channel, 0.0});
    camera.saved.push_back(envelope(channel));
  }
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .zoom(0x8000)
      .envelope(0x8006, "Radial Distortion (a)", "float-env", "RadialShiftA")
      .envelope(0x8007, "Radial Distortion (b)", "float-env", "RadialShiftB")
      .envelope(0x8008, "Radial Distortion (c)", "float-env", "RadialShiftC")
      .envelope(0x8009, "Horizontal Image Shift (d)", "float-env", "ImageShiftH")
      .envelope(0x800a, "Vertical Image Shift (e)", "float-env", "ImageShiftV")
      .envelope(0x800b, "Horizontal Image Shear (f)", "float-env", "ImageShearH")
      .envelope(0x800c, "Vertical Image Shear (g)", "float-env", "ImageShearV");
  camera.dividers_after = {0x8001, 0x8000, 0x8008, 0x800a};
  camera.sensitive = {0x8006, 0x8007, 0x8008, 0x8009, 0x800a, 0x800b, 0x800c};
  return camera;
}

CameraFacts spherical() {
  CameraFacts camera = named("QuorinSphericalCam", "Quorin Spherical Camera", "SphericalCam", "tagInfo22",
                             "QuorinSphericalCam Oct 28 2026 01:03:14", 0);
  camera.rays_need_a_record = false;
  camera.channels = {{"AngularFieldOfView", pi}, {"PhotoISO", 800.0}, {"PhotoIris", 2.8}, {"PhotoShutter", 180.0}};
  camera.saved = {envelope("AngularFieldOfView"), number("PhotoISO", 800.0), number("PhotoIris", 2.8),
                  number("PhotoShutter", 180.0)};
  Rows{camera}
      .logo(0x8005)
      .version(0x8001)
      .envelope(0x8006, "Angular Field Of View", "angle-env", "AngularFieldOfView")
      .photographic();
  return camera;
}

}  // namespace

const std::vector<CameraFacts>& all_cameras() {
  static const std::vector<CameraFacts> cameras{
      tiles(named("QuorinMultiCam", "Quorin Dual Camera", "MultiCam", "tagInfo1", "QormMultiCam Oct 28 2026 01:02:33", 1),
            {{"Left Camera", "Cam 1 (Left Side of Frame)"}, {"Right Camera", "Cam 2 (Right Side of Frame)"}}),
      tiles(named("Quorin4UpCam", "Quorin 4Up Camera", "FourUpCam", "tagInfo2", "Quorin4UpCam Oct 28 2026 01:01:42", 1),
            grid_names(2, 2)),
      tiles(named("Quorin12UpCam", "Quorin 12Up Camera", "TwelveUpCam", "tagInfo3", "Quorin12UpCam Oct 28 2026 01:01:33", 1),
            grid_names(3, 4)),
      stereo(),
      skybox(),
      panoramic(),
      cylinder(),
      perspective("QuorinPerspectiveCam", "Quorin Perspective", "tagInfo8", "CameraHandler_DOF_MB", "CameraInterface", 1),
      fisheye(),
      perspective("QuorinPerspectiveNoDOFCam", "Quorin No DoF", "tagInfo10", "CameraHandler_NoDOF_MB", "CameraInterface", 0),
      perspective("QuorinPerspectiveNoDOFNoMBCam", "Quorin No DoF No MB", "tagInfo11", "CameraHandler_NoDOF_NoMB",
                  "CameraInterface2", 0),
      advanced_panoramic(),
      overscan(),
      dpi(),
      radial_shift(),
      spherical(),
      immersive(),
  };
  return cameras;
}

const CameraFacts& camera_facts(const std::string& server_name) {
  for (const CameraFacts& camera : all_cameras()) {
    if (camera.server_name == server_name) return camera;
  }
  throw std::out_of_range("There are no facts of a camera called " + server_name);
}

void PrintTo(const CameraFacts& facts, std::ostream* stream) { *stream << facts.server_name; }

}  // namespace test_support

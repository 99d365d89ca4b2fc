#include "samples/scene_text.h"

#include <charconv>
#include <cstddef>
#include <numbers>

namespace samples {
namespace {

void append_channel(std::string& text, std::size_t channel, std::span<const MotionKey> keys) {
  text += "Channel " + std::to_string(channel) + "\n{ Envelope\n  " + std::to_string(keys.size()) + "\n";
  for (const MotionKey& key : keys) text += "  Key " + number(key.value) + " " + number(key.time_seconds) + " 0 0 0 0 0 0 0\n";
  text += "  Behaviors 1 1\n}\n";
}

void append_motion(std::string& text, std::string_view keyword, const Placement& placement) {
  constexpr std::size_t channel_count = 9;
  text += std::string(keyword) + "\nNumChannels " + std::to_string(channel_count) + "\n";
  for (std::size_t channel = 0; channel < channel_count; ++channel) {
    MotionKey rest{1.0, 0.0};
    if (channel < 3) rest.value = placement.position[channel];
    if (channel >= 3 && channel < 6) rest.value = placement.turn_degrees[channel - 3] * std::numbers::pi / 180.0;
    const bool keyed = placement.keyed_channel == static_cast<int>(channel);
    append_channel(text, channel, keyed ? std::span<const MotionKey>(placement.keys) : std::span<const MotionKey>(&rest, 1));
  }
}

void append_camera(std::string& text, std::size_t index, const SceneCamera& camera) {
  const std::string size = std::to_string(camera.width_pixels) + " " + std::to_string(camera.height_pixels);
  text += "AddCamera " + std::to_string(30000000 + index) + "\nCameraName " + camera.name +
          "\nShowCamera 1 -1 0.12549 0.878431 0.12549\n";
  append_motion(text, "CameraMotion", camera.placement);
  text += "IKInitialState 0\nZoomFactor " + number(camera.zoom_factor) + "\nZoomType 1\nResolutionMultiplier 1.0\nFrameSize " +
          size + "\nPixelAspect 1\nMaskPosition 0 0 " + size + "\nMotionBlur " + (camera.motion_blur ? "1" : "0") +
          "\nMotionBlurPasses 1\nApertureHeight " + number(camera.film_height) + "\nDepthOfField " +
          (camera.depth_of_field ? "1" : "0") + "\nFocalDistance " + number(camera.focal_distance) + "\nLensFStop " +
          number(camera.f_stop) + "\nUseGlobalResolution 0\nUseGlobalMask 0\nUseGlobalBlur 0\nPlugin CameraHandler 1 " +
          camera.server + "\n";
  for (const std::string& line : camera.saved_lines) text += line + "\n";
  text += "EndPlugin\n\n";
}

}  // namespace

std::string number(double value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), value);
  return {digits.begin(), end.ptr};
}

std::string scene_text(std::span<const SceneObject> objects, std::span<const SceneNull> nulls, const SceneLight& sun,
                       std::span<const SceneCamera> cameras, int last_frame) {
  const std::string last = std::to_string(last_frame);
  std::string text = "LWSC\n5\n\nRenderRangeType 0\nFirstFrame 0\nLastFrame " + last +
                     "\nFrameStep 1\nPreviewFirstFrame 0\nPreviewLastFrame " + last +
                     "\nPreviewFrameStep 1\nCurrentFrame 0\nFramesPerSecond 30\nChangeScene 0\n\n";

  std::size_t index = 0;
  for (const SceneObject& object : objects) {
    text += "LoadObjectLayer 1 " + std::to_string(10000000 + index++) + " " + object.file +
            "\nChangeObject 0\nShowObject 7 -1 0.376471 0.878431 0.941176\nGroup 0\n";
    append_motion(text, "ObjectMotion", object.placement);
    text += "IKInitialState 0\nSubPatchLevel 3 3\nShadowOptions 7\n\n";
  }

  for (const SceneNull& null : nulls) {
    text += "AddNullObject " + std::to_string(10000000 + index++) + " " + null.name +
            "\nChangeObject 0\nShowObject 7 -1 0.376471 0.878431 0.941176\nGroup 0\n";
    append_motion(text, "ObjectMotion", null.placement);
    text += "IKInitialState 0\n\n";
  }

  text += "AmbientColor 1 1 1\nAmbientIntensity " + number(sun.ambient_intensity) +
          "\n\nAddLight 20000000\nLightName Sun\nShowLight 1 -1 0.941176 0.376471 0.941176\n";
  append_motion(text, "LightMotion", {{0.0, 60.0, 0.0}, {sun.heading_degrees, sun.pitch_degrees, 0.0}, -1, {}});
  text += "IKInitialState 0\nLightColor 1 0.96 0.88\nLightIntensity " + number(sun.intensity) +
          "\nAffectCaustics 1\nLightType 0\nShadowType 1\nShadowColor 0 0 0\n"
          "Plugin LightHandler 1 DistantLight\nEndPlugin\n\n";

  index = 0;
  for (const SceneCamera& camera : cameras) append_camera(text, index++, camera);

  text +=
      "Antialiasing 0\nAntiAliasingLevel -1\n\nSolidBackdrop 0\nBackdropColor 0.62 0.8 0.94\nZenithColor 0.2 0.42 0.76\n"
      "SkyColor 0.74 0.87 0.96\nGroundColor 0.45 0.5 0.36\nNadirColor 0.36 0.34 0.28\nFogType 0\n\nRenderMode 2\n"
      "RayTraceEffects 1\n\nViewConfiguration 0\nDefineView 0\nViewType 7\nViewLevel 5\nViewAimpoint 0 0 0\n"
      "ViewRotation -17.2 18 0\nViewZoomFactor 4\n\nGridNumber 80\nGridSize 1\nCurrentObject 0\nCurrentLight 0\n"
      "CurrentCamera 0\n";
  return text;
}

}  // namespace samples

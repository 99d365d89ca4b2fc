#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "standin/scene/scene.h"

namespace standin {

/// A keyword of the scene file and the member that it sets.
template <class Owner, class Value>
struct Keyword {
  std::string_view name;
  Value Owner::*member;
  Value minimum{};
};

/// Numbers of the scene that are written before its items.
inline constexpr std::array frame_keywords = {
    Keyword<Scene, int>{"FirstFrame", &Scene::first_frame, INT32_MIN},
    Keyword<Scene, int>{"LastFrame", &Scene::last_frame, INT32_MIN},
    Keyword<Scene, int>{"FrameStep", &Scene::frame_step, 1},
};

struct CameraValue {
  std::string_view name;
  Envelope CameraSettings::*member;
};

inline constexpr std::array camera_value_keywords = {
    CameraValue{"ZoomFactor", &CameraSettings::zoom_factor},
    CameraValue{"PixelAspect", &CameraSettings::pixel_aspect},
    CameraValue{"FocalDistance", &CameraSettings::focal_distance},
    CameraValue{"LensFStop", &CameraSettings::lens_f_stop},
    CameraValue{"BlurLength", &CameraSettings::blur_length},
    CameraValue{"EyeSeparation", &CameraSettings::eye_separation},
};

struct LightValue {
  std::string_view name;
  /// What older hosts call it; may be empty.
  std::string_view older_name;
  Envelope LightSettings::*member;
};

inline constexpr std::array light_value_keywords = {
    LightValue{"LightIntensity", "LgtIntensity", &LightSettings::intensity},
    LightValue{"LightRange", "", &LightSettings::range},
    LightValue{"LightConeAngle", "ConeAngle", &LightSettings::cone_angle},
    LightValue{"LightEdgeAngle", "EdgeAngle", &LightSettings::edge_angle},
};

/// Servers of lights, by the number of the kind.
inline constexpr std::array<std::string_view, 5> light_servers = {"DistantLight", "PointLight", "SpotLight", "LinearLight",
                                                                  "AreaLight"};

inline constexpr std::array camera_number_keywords = {
    Keyword<CameraSettings, int>{"MotionBlur", &CameraSettings::motion_blur, 0},
    Keyword<CameraSettings, int>{"MotionBlurPasses", &CameraSettings::motion_blur_passes, 0},
};

/// How items of one kind are written. Objects that are not nulls have keywords of their own.
struct ItemKeywords {
  ItemKind kind;
  std::string_view add;
  /// Empty: the name is in the line that adds the item.
  std::string_view name;
  std::string_view motion;
  std::string_view unnamed;
  std::uint32_t first_id;
};

inline constexpr std::array item_keywords = {
    ItemKeywords{ItemKind::object, "AddNullObject", "", "ObjectMotion", "Null", 0x10000000},
    ItemKeywords{ItemKind::light, "AddLight", "LightName", "LightMotion", "Light", 0x20000000},
    ItemKeywords{ItemKind::camera, "AddCamera", "CameraName", "CameraMotion", "Camera", 0x30000000},
    ItemKeywords{ItemKind::bone, "AddBone", "BoneName", "BoneMotion", "Bone", 0x40000000},
};

constexpr const ItemKeywords& keywords_of(ItemKind kind) { return item_keywords[static_cast<std::size_t>(kind)]; }

/// Keywords that return to the scene's own settings after an item's; what follows them belongs to no item.
inline constexpr std::array<std::string_view, 20> scene_section_keywords = {
    "FirstFrame",       "LastFrame",     "FrameStep",       "FramesPerSecond", "AmbientColor",
    "AmbientIntensity", "RadiosityType", "EnableRadiosity", "GlobalFrameSize", "Antialiasing",
    "SolidBackdrop",    "BackdropColor", "FogType",         "RenderMode",      "ViewConfiguration",
    "GridNumber",       "CurrentObject", "CurrentLight",    "CurrentCamera",   "AmbIntensity"};

/// Objects with their bones, then lights, then cameras: the order in which a scene file holds its items.
constexpr int file_order(ItemKind kind) { return kind == ItemKind::bone ? 0 : static_cast<int>(kind); }

/// The first word of a line, without surrounding blanks.
std::string_view first_word(std::string_view line);

/// Without leading and trailing blanks.
std::string_view trimmed(std::string_view text);

bool starts_scene_section(std::string_view keyword);

/// Whether a line that begins so is read as a line of its own.
bool is_known_keyword(std::string_view keyword);

}  // namespace standin

#pragma once

#include <algorithm>
#include <array>
#include <cereal/types/optional.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/utility.hpp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "standin/remote/message_archive.h"
#include "standin/session/introspection.h"
#include "standin/session/session.h"

/// What the ray service and its client say to each other. A message is its length in 32 bits, its kind, and the values of one
/// of the structs below. The client sends requests; the service answers each with the request's `Answer`, or with a Failure.

namespace standin::ray_protocol {

/// To be raised with every change of a message, so that programs of different builds refuse each other with a sentence.
constexpr std::uint32_t version = 0x4F56000D;
/// Rays per request: enough to share the cost of the pipe, and few enough that they stay in a processor's own memory.
constexpr std::size_t most_rays = 8192;
/// Requests for rays or points that may be under way at once.
constexpr std::uint32_t most_requests = 64;
/// A longer message than this is refused before memory is allocated for it.
constexpr std::uint32_t most_bytes = 64U << 20;
/// A panel's drawing is smaller than a screen.
constexpr int longest_picture_side = 4096;

enum class Kind : std::uint8_t {
  open = 1,
  begin_frame,
  evaluate,
  project,
  done,
  failed,
  describe,
  end,
  show_panel,
  set,
  draw_gizmo,
  save,
  turn,
  project_points
};

// --- The messages.

/// Comes first in the requests that a conversation may begin with. Reading another version throws before anything that depends
/// on it is read.
struct VersionWord {
  std::uint32_t number = version;
};

/// Opens the session that the other requests are about, in place of one that was open.
struct OpenSession {
  static constexpr Kind kind = Kind::open;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::vector<std::string> warnings;
    std::vector<std::string> notes;
  };
  VersionWord version_word;
  SessionOptions options;
  /// Of SharedRays, for so many requests, each of `most_rays`; empty for none.
  std::filesystem::path shared_rays;
  std::uint32_t shared_requests = 0;
};

struct BeginFrame {
  static constexpr Kind kind = Kind::begin_frame;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    FrameSetup setup;
    std::vector<std::string> warnings;
    /// Whether the service sees the memory that it was offered: then no ray of this frame passes through the pipe.
    bool shares_rays = false;
  };
  std::int32_t frame = 0;
};

/// The answer to rays or points, for a request with this number among those that are under way. Says why where it failed.
struct PlacesFilled {
  static constexpr Kind kind = Kind::done;
  std::uint32_t request = 0;
  std::string failure;
};

/// `count` queries lie in the request's part of the shared memory, and as many answers do when the answer comes; other requests
/// may follow before that, and be answered before. Without that memory queries and answers follow the request and the answer,
/// as they lie in memory: rays are nearly all of the traffic, and packing them would take longer than the module takes to
/// answer.
struct EvaluateRays {
  static constexpr Kind kind = Kind::evaluate;
  using Answer = PlacesFilled;
  std::uint32_t count = 0;
  std::uint32_t request = 0;
};
static_assert(std::is_trivially_copyable_v<RayQuery> && sizeof(RayQuery) == 48);
static_assert(std::is_trivially_copyable_v<RayAnswer> && sizeof(RayAnswer) == 80);

/// As EvaluateRays: points and film positions lie where rays and their answers do.
struct ProjectPoints {
  static constexpr Kind kind = Kind::project_points;
  using Answer = PlacesFilled;
  std::uint32_t count = 0;
  std::uint32_t request = 0;
};
static_assert(std::is_trivially_copyable_v<PointQuery> && sizeof(PointQuery) == 40);
static_assert(std::is_trivially_copyable_v<PointAnswer> && sizeof(PointAnswer) == 24);

struct ProjectPoint {
  static constexpr Kind kind = Kind::project;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::optional<std::pair<double, double>> film;
  };
  Vec3 world;
  double fractional_time = 0.0;
  Eye eye = Eye::centre;
};

/// The camera's rendering ends, and camera and module are no more. The last thing that is asked of a session.
struct EndSession {
  static constexpr Kind kind = Kind::end;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    /// What came to light since the last frame began.
    std::vector<std::string> warnings;
  };
};

struct DescribeModule {
  static constexpr Kind kind = Kind::describe;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    ModuleDescription description;
  };
  VersionWord version_word;
  std::filesystem::path module_file;
};

/// The open session's panel.
struct ShowPanel {
  static constexpr Kind kind = Kind::show_panel;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::vector<ControlDescription> rows;
  };
};

struct Set {
  static constexpr Kind kind = Kind::set;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    AppliedSetting applied;
    std::vector<std::string> warnings;
  };
  std::string name;
  std::string text;
};

struct DrawGizmo {
  static constexpr Kind kind = Kind::draw_gizmo;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::vector<GizmoElement> elements;
  };
  Vec3 eye_position;
  Vec3 direction;
};

struct SaveLines {
  static constexpr Kind kind = Kind::save;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::vector<std::string> lines;
  };
};

struct Turn {
  static constexpr Kind kind = Kind::turn;
  struct Answer {
    static constexpr Kind kind = Kind::done;
    std::vector<std::string> warnings;
  };
  CameraTurn turn;
};

struct Failure {
  static constexpr Kind kind = Kind::failed;
  std::string sentence;
};

// --- Their values, in the order of the message. Each function serves both directions.

template <class Archive>
void serialize(Archive& archive, VersionWord& word) {
  archive(word.number);
  if (word.number != version)
    throw std::runtime_error("The ray service is of another version than this program; build both from the same sources");
}

template <class Archive>
void serialize(Archive& archive, OpenSession& request) {
  archive(request.version_word, request.options, request.shared_rays, request.shared_requests);
}

template <class Archive>
void serialize(Archive& archive, OpenSession::Answer& answer) {
  archive(answer.warnings, answer.notes);
}

template <class Archive>
void serialize(Archive& archive, BeginFrame& request) {
  archive(request.frame);
}

template <class Archive>
void serialize(Archive& archive, BeginFrame::Answer& answer) {
  archive(answer.setup, answer.warnings, answer.shares_rays);
}

template <class Archive>
void serialize(Archive& archive, PlacesFilled& answer) {
  archive(answer.request, answer.failure);
}

template <class Archive>
void serialize(Archive& archive, EvaluateRays& request) {
  archive(request.count, request.request);
}

template <class Archive>
void serialize(Archive& archive, ProjectPoints& request) {
  archive(request.count, request.request);
}

template <class Archive>
void serialize(Archive& archive, ProjectPoint& request) {
  archive(request.world, request.fractional_time, request.eye);
}

template <class Archive>
void serialize(Archive& archive, ProjectPoint::Answer& answer) {
  archive(answer.film);
}

template <class Archive>
void serialize(Archive& archive, EndSession::Answer& answer) {
  archive(answer.warnings);
}

template <class Archive>
void serialize(Archive& archive, DescribeModule& request) {
  archive(request.version_word, request.module_file);
}

template <class Archive>
void serialize(Archive& archive, DescribeModule::Answer& answer) {
  archive(answer.description);
}

template <class Archive>
void serialize(Archive& archive, ShowPanel::Answer& answer) {
  archive(answer.rows);
}

template <class Archive>
void serialize(Archive& archive, Set& request) {
  archive(request.name, request.text);
}

template <class Archive>
void serialize(Archive& archive, Set::Answer& answer) {
  archive(answer.applied.shown, answer.applied.warning, answer.warnings);
}

template <class Archive>
void serialize(Archive& archive, DrawGizmo& request) {
  archive(request.eye_position, request.direction);
}

template <class Archive>
void serialize(Archive& archive, DrawGizmo::Answer& answer) {
  archive(answer.elements);
}

template <class Archive>
void serialize(Archive& archive, SaveLines::Answer& answer) {
  archive(answer.lines);
}

template <class Archive>
void serialize(Archive& archive, GizmoElement& element) {
  // An unscoped enumeration is also a bool to the archive.
  auto coordinate_system = static_cast<std::int32_t>(element.coordinate_system);
  archive(element.shape, element.points, element.radius, coordinate_system);
  element.coordinate_system = static_cast<LWCoordinateSystem>(coordinate_system);
  for (float& channel : element.color) archive(channel);
  archive(element.draw_mode);
  if constexpr (Archive::is_loading::value) {
    constexpr std::array<std::size_t, 5> corners{1, 2, 3, 4, 1};
    const auto shape = static_cast<std::size_t>(element.shape);
    if (shape >= corners.size() || element.points.size() != corners[shape])
      throw std::runtime_error("The ray service's drawing of a gizmo makes no sense");
  }
}

template <class Archive>
void serialize(Archive& archive, Turn& request) {
  archive(request.turn);
}

template <class Archive>
void serialize(Archive& archive, Turn::Answer& answer) {
  archive(answer.warnings);
}

template <class Archive>
void serialize(Archive& archive, CameraTurn& turn) {
  archive(turn.radians, turn.zoom);
}

template <class Archive>
void serialize(Archive& archive, Failure& failure) {
  archive(failure.sentence);
}

template <class Archive>
void serialize(Archive& archive, Vec3& vector) {
  archive(vector.x, vector.y, vector.z);
}

template <class Archive>
void serialize(Archive& archive, SessionOptions& options) {
  archive(options.scene_file, options.module_file, options.content_folder, options.camera_name, options.server_name,
          options.settings, options.width_pixels, options.height_pixels, options.turn, options.motion_steps,
          options.motion_blur, options.depth_of_field);
}

template <class Archive>
void serialize(Archive& archive, FrameSetup& setup) {
  archive(setup.frame, setup.start_seconds, setup.duration_seconds, setup.film_width, setup.film_height, setup.depth_of_field,
          setup.server_name, setup.module_version, setup.parameters, setup.settings);
}

template <class Archive>
void serialize(Archive& archive, Picture::Text& text) {
  archive(text.text, text.x, text.y);
}

template <class Archive>
void serialize(Archive& archive, Picture& picture) {
  int width = picture.width();
  int height = picture.height();
  archive(width, height);
  if constexpr (Archive::is_loading::value) {
    if (std::min(width, height) < 1 || std::max(width, height) > longest_picture_side)
      throw std::runtime_error("The ray service's drawing of a panel makes no sense");
    archive.require(sizeof(Picture::Color) * static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    picture = Picture(width, height);
  }
  archive(cereal::binary_data(picture.pixels().data(), picture.pixels().size_bytes()), picture.texts);
}

template <class Archive>
void serialize(Archive& archive, ControlDescription& row) {
  archive(row.id, row.label, row.control_class, row.data_type, row.value, row.choices, row.channel_name, row.animated,
          row.minimum, row.maximum, row.choices_of, row.divider_below, row.drawing);
}

template <class Archive>
void serialize(Archive& archive, ParameterDescription& parameter) {
  archive(parameter.channel_name, parameter.default_value);
}

template <class Archive>
void serialize(Archive& archive, SavedItemDescription& item) {
  archive(item.kind, item.channel_names, item.labels);
}

template <class Archive>
void serialize(Archive& archive, CameraDescription& camera) {
  archive(camera.server_name, camera.user_name, camera.depth_of_field, camera.projects, camera.parameters, camera.panel_rows,
          camera.saved_items);
}

template <class Archive>
void serialize(Archive& archive, ServerDescription& server) {
  archive(server.class_name, server.name, server.user_names);
}

template <class Archive>
void serialize(Archive& archive, ModuleDescription& description) {
  archive(description.servers, description.cameras, description.unregistered_cameras);
}

/// Paths go as UTF-8: a Windows program would read a narrow text in its code page.
inline void save(MessageWriter& archive, const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  archive(std::string(text.begin(), text.end()));
}

inline void load(MessageReader& archive, std::filesystem::path& path) {
  std::string text;
  archive(text);
  path = std::u8string(text.begin(), text.end());
}

// --- Messages as bytes, without the length in front of them.

template <class Message>
std::vector<char> packed(const Message& message) {
  MessageWriter archive;
  archive(Message::kind, message);
  return archive.take_bytes();
}

/// The rest of a message whose kind has been read, and nothing beyond. Throws std::runtime_error as MessageReader does.
template <class Message>
Message unpacked(MessageReader& archive) {
  Message message;
  archive(message);
  archive.require_end();
  return message;
}

}  // namespace standin::ray_protocol

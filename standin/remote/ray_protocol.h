#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "standin/session/introspection.h"
#include "standin/session/session.h"

/// What the ray service and its client say to one another: messages of a 32-bit length, a kind and its values, little-endian.
/// The client asks; every request has one answer.

namespace standin::ray_protocol {

static_assert(std::endian::native == std::endian::little, "values are copied as they lie in memory");

constexpr std::uint32_t version = 0x4F560005;
/// Rays per request: long enough that the pipe's cost is shared, short enough that other threads get their turn.
constexpr std::size_t most_rays = 16384;
constexpr std::uint32_t most_bytes = 64U << 20;

enum class Kind : std::uint8_t { open = 1, begin_frame, evaluate, project, done, failed, describe };

class Writer {
 public:
  explicit Writer(Kind kind) { put(kind); }

  template <class Value>
  requires std::is_trivially_copyable_v<Value>
  void put(const Value& value) {
    const std::size_t at = bytes_.size();
    bytes_.resize(at + sizeof value);
    std::memcpy(bytes_.data() + at, &value, sizeof value);
  }
  void put_text(const std::string& text) {
    put(static_cast<std::uint32_t>(text.size()));
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }
  /// As UTF-8: a Windows program would take a narrow text for one in its code page.
  void put_path(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    put_text({text.begin(), text.end()});
  }
  void put_vector(Vec3 value) {
    put(value.x);
    put(value.y);
    put(value.z);
  }

  const std::vector<char>& bytes() const { return bytes_; }

 private:
  std::vector<char> bytes_;
};

class Reader {
 public:
  explicit Reader(std::vector<char> bytes) : bytes_(std::move(bytes)) {}

  template <class Value>
  requires std::is_trivially_copyable_v<Value> Value take() {
    Value value;
    std::memcpy(&value, advance(sizeof value), sizeof value);
    return value;
  }
  std::string take_text() {
    const auto size = take<std::uint32_t>();
    return {advance(size), size};
  }
  std::filesystem::path take_path() {
    const std::string text = take_text();
    return std::u8string(text.begin(), text.end());
  }
  Vec3 take_vector() {
    const auto x = take<double>();
    const auto y = take<double>();
    const auto z = take<double>();
    return {x, y, z};
  }

 private:
  const char* advance(std::size_t size) {
    if (bytes_.size() - position_ < size) {
      throw std::runtime_error("The ray service's message is shorter than it says");
    }
    const char* at = bytes_.data() + position_;
    position_ += size;
    return at;
  }

  std::vector<char> bytes_;
  std::size_t position_ = 0;
};

inline void put_options(Writer& message, const SessionOptions& options) {
  message.put_path(options.scene_file);
  message.put_path(options.module_file);
  message.put_text(options.camera_name);
  message.put_text(options.server_name);
  message.put(static_cast<std::uint32_t>(options.settings.size()));
  for (const auto& [name, value] : options.settings) {
    message.put_text(name);
    message.put_text(value);
  }
  message.put(static_cast<std::int32_t>(options.width_pixels));
  message.put(static_cast<std::int32_t>(options.height_pixels));
  message.put(static_cast<std::uint32_t>(options.motion_steps));
  message.put(options.motion_blur);
  message.put(options.depth_of_field);
}

inline SessionOptions take_options(Reader& message) {
  SessionOptions options;
  options.scene_file = message.take_path();
  options.module_file = message.take_path();
  options.camera_name = message.take_text();
  options.server_name = message.take_text();
  for (auto left = message.take<std::uint32_t>(); left > 0; --left) {
    std::string name = message.take_text();
    options.settings.emplace_back(std::move(name), message.take_text());
  }
  options.width_pixels = message.take<std::int32_t>();
  options.height_pixels = message.take<std::int32_t>();
  options.motion_steps = message.take<std::uint32_t>();
  options.motion_blur = message.take<bool>();
  options.depth_of_field = message.take<bool>();
  return options;
}

inline void put_setup(Writer& message, const FrameSetup& setup) {
  message.put(static_cast<std::int32_t>(setup.frame));
  message.put(setup.start_seconds);
  message.put(setup.duration_seconds);
  message.put(setup.film_width);
  message.put(setup.film_height);
  message.put(setup.depth_of_field);
}

inline FrameSetup take_setup(Reader& message) {
  FrameSetup setup;
  setup.frame = message.take<std::int32_t>();
  setup.start_seconds = message.take<double>();
  setup.duration_seconds = message.take<double>();
  setup.film_width = message.take<double>();
  setup.film_height = message.take<double>();
  setup.depth_of_field = message.take<bool>();
  return setup;
}

/// Rays go as they lie in memory, behind the message that announces them and beside its length: they are most of what is
/// said, and copying them would cost more than the module's part.
static_assert(std::is_trivially_copyable_v<RayQuery> && sizeof(RayQuery) == 48);
static_assert(std::is_trivially_copyable_v<RayAnswer> && sizeof(RayAnswer) == 80);

template <class Element, class Put>
void put_each(Writer& message, const std::vector<Element>& elements, Put put) {
  message.put(static_cast<std::uint32_t>(elements.size()));
  for (const Element& element : elements) put(element);
}

template <class Element, class Take>
std::vector<Element> take_each(Reader& message, Take take) {
  std::vector<Element> elements;
  for (auto left = message.take<std::uint32_t>(); left > 0; --left) elements.push_back(take());
  return elements;
}

inline void put_number(Writer& message, const std::optional<double>& number) {
  message.put(number.has_value());
  message.put(number.value_or(0.0));
}

inline std::optional<double> take_number(Reader& message) {
  const auto given = message.take<bool>();
  const auto number = message.take<double>();
  return given ? std::optional(number) : std::nullopt;
}

inline void put_texts(Writer& message, const std::vector<std::string>& texts) {
  put_each(message, texts, [&](const std::string& text) { message.put_text(text); });
}

inline std::vector<std::string> take_texts(Reader& message) {
  return take_each<std::string>(message, [&] { return message.take_text(); });
}

/// A panel's drawing is smaller than a screen.
constexpr std::int32_t longest_picture_side = 4096;

inline void put_picture(Writer& message, const Picture& picture) {
  message.put(static_cast<std::int32_t>(picture.width()));
  message.put(static_cast<std::int32_t>(picture.height()));
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) message.put(picture.at(x, y));
  }
  put_each(message, picture.texts, [&](const Picture::Text& text) {
    message.put_text(text.text);
    message.put(static_cast<std::int32_t>(text.x));
    message.put(static_cast<std::int32_t>(text.y));
  });
}

inline Picture take_picture(Reader& message) {
  const auto width = message.take<std::int32_t>();
  const auto height = message.take<std::int32_t>();
  if (std::min(width, height) < 1 || std::max(width, height) > longest_picture_side) {
    throw std::runtime_error("The ray service's drawing of a panel makes no sense");
  }
  Picture picture(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) picture.set(x, y, message.take<Picture::Color>());
  }
  picture.texts = take_each<Picture::Text>(message, [&] {
    std::string text = message.take_text();
    const auto x = message.take<std::int32_t>();
    return Picture::Text{std::move(text), x, message.take<std::int32_t>()};
  });
  return picture;
}

inline void put_row(Writer& message, const ControlDescription& row) {
  message.put(row.id);
  message.put_text(row.label);
  message.put_text(row.control_class);
  message.put_text(row.data_type);
  message.put_text(row.value);
  put_texts(message, row.choices);
  message.put_text(row.channel_name);
  message.put(row.animated);
  put_number(message, row.minimum);
  put_number(message, row.maximum);
  message.put_text(row.choices_of);
  message.put(row.divider_below);
  message.put(row.drawing.has_value());
  if (row.drawing) put_picture(message, *row.drawing);
}

inline ControlDescription take_row(Reader& message) {
  ControlDescription row;
  row.id = message.take<std::uint32_t>();
  row.label = message.take_text();
  row.control_class = message.take_text();
  row.data_type = message.take_text();
  row.value = message.take_text();
  row.choices = take_texts(message);
  row.channel_name = message.take_text();
  row.animated = message.take<bool>();
  row.minimum = take_number(message);
  row.maximum = take_number(message);
  row.choices_of = message.take_text();
  row.divider_below = message.take<bool>();
  if (message.take<bool>()) row.drawing = take_picture(message);
  return row;
}

inline void put_camera(Writer& message, const CameraDescription& camera) {
  message.put_text(camera.server_name);
  message.put_text(camera.user_name);
  message.put(camera.depth_of_field);
  message.put(camera.projects);
  put_each(message, camera.parameters, [&](const ParameterDescription& parameter) {
    message.put_text(parameter.channel_name);
    message.put(parameter.default_value);
  });
  put_each(message, camera.panel_rows, [&](const ControlDescription& row) { put_row(message, row); });
  put_each(message, camera.saved_items, [&](const SavedItemDescription& item) {
    message.put_text(item.kind);
    put_texts(message, item.channel_names);
    put_texts(message, item.labels);
  });
}

inline CameraDescription take_camera(Reader& message) {
  CameraDescription camera;
  camera.server_name = message.take_text();
  camera.user_name = message.take_text();
  camera.depth_of_field = message.take<bool>();
  camera.projects = message.take<bool>();
  camera.parameters = take_each<ParameterDescription>(message, [&] {
    std::string channel_name = message.take_text();
    return ParameterDescription{std::move(channel_name), message.take<double>()};
  });
  camera.panel_rows = take_each<ControlDescription>(message, [&] { return take_row(message); });
  camera.saved_items = take_each<SavedItemDescription>(message, [&] {
    SavedItemDescription item;
    item.kind = message.take_text();
    item.channel_names = take_texts(message);
    item.labels = take_texts(message);
    return item;
  });
  return camera;
}

inline void put_description(Writer& message, const ModuleDescription& description) {
  put_each(message, description.servers, [&](const ServerDescription& server) {
    message.put_text(server.class_name);
    message.put_text(server.name);
    put_each(message, server.user_names, [&](const auto& user_name) {
      message.put(user_name.first);
      message.put_text(user_name.second);
    });
  });
  for (const auto* cameras : {&description.cameras, &description.unregistered_cameras}) {
    put_each(message, *cameras, [&](const CameraDescription& camera) { put_camera(message, camera); });
  }
}

inline ModuleDescription take_description(Reader& message) {
  ModuleDescription description;
  description.servers = take_each<ServerDescription>(message, [&] {
    ServerDescription server;
    server.class_name = message.take_text();
    server.name = message.take_text();
    server.user_names = take_each<std::pair<std::uint32_t, std::string>>(message, [&] {
      const auto tag = message.take<std::uint32_t>();
      return std::pair{tag, message.take_text()};
    });
    return server;
  });
  for (auto* cameras : {&description.cameras, &description.unregistered_cameras}) {
    *cameras = take_each<CameraDescription>(message, [&] { return take_camera(message); });
  }
  return description;
}

}  // namespace standin::ray_protocol

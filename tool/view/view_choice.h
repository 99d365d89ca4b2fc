#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

/// What a person looks at with. A camera is known by its place among the scene's cameras: names need not be in UTF-8.
enum class ViewEye { centre, left, right, red_cyan };

/// Limits of what a page may ask for.
inline constexpr int most_view_side = 8192;
inline constexpr std::int64_t most_view_pixels = std::int64_t{16} << 20;
inline constexpr std::uint32_t most_view_samples = 4096;
inline constexpr int farthest_view_frame = 1000000;

struct ViewChoice {
  std::size_t camera = 0;
  /// Empty for the server that the scene has for the camera.
  std::string server;
  int frame = 0;
  ViewEye eye = ViewEye::centre;
  /// Pixels.
  int width = 0;
  int height = 0;
  std::uint32_t samples = 16;
  /// The gizmo's drawing in place of the camera's picture.
  bool gizmo = false;
  /// Heading, pitch and bank, degrees that are added to the camera's own; and what its zoom factor is multiplied by.
  std::array<double, 3> turn{};
  double zoom = 1.0;
  /// Whether the host's plain perspective of the same place is rendered beside it.
  bool compare = false;

  friend bool operator==(const ViewChoice&, const ViewChoice&) = default;
};

/// What a person changes; what is not there stays as it is. A change after another one joins it, so that there is never more
/// than one to be done.
struct ViewChange {
  std::optional<std::size_t> camera;
  std::optional<std::string> server;
  std::optional<int> frame;
  std::optional<ViewEye> eye;
  std::optional<std::pair<int, int>> size;
  std::optional<std::uint32_t> samples;
  std::optional<bool> gizmo;
  std::optional<std::array<double, 3>> turn;
  std::optional<double> zoom;
  std::optional<bool> compare;
  /// Everything of the camera's panel as the scene and the command line have it.
  bool reset = false;
  /// Label and value, in the order in which they are set; each label once.
  std::vector<std::pair<std::string, std::string>> settings;

  void join(ViewChange later);
};

/// "centre", "left", "right" and "red-cyan".
std::string_view name_of(ViewEye eye);

/// The change that a page sends as JSON. Throws std::runtime_error with a sentence where it is none, or beyond the limits.
ViewChange parse_change(const std::string& body, std::size_t camera_count);

/// The same setting again takes the place of the one before, at the end.
void add_setting(std::vector<std::pair<std::string, std::string>>& settings, std::pair<std::string, std::string> setting);

}  // namespace tool

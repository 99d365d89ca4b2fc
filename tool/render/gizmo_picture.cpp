#include "tool/render/gizmo_picture.h"

#include <algorithm>
#include <array>
#include <cairo.h>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <numbers>
#include <set>
#include <span>
#include <utility>
#include <vector>

#include "standin/host/plain_camera.h"
#include "tool/output/new_file.h"

namespace tool {
namespace {

using standin::GizmoElement;
using standin::GizmoShape;
using standin::ItemPose;
using standin::Vec3;

constexpr double vertical_field_degrees = 45.0;
/// Metres from the eye; anything nearer is clipped.
constexpr double nearest = 0.02;

using Color = std::array<double, 4>;
constexpr Color background{0.22, 0.23, 0.25, 1.0};
constexpr Color wire{0.62, 0.66, 0.72, 0.35};
constexpr Color camera_color{0.45, 0.95, 0.55, 1.0};

struct CairoRelease {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};

struct Pixel2 {
  double x = 0.0;
  double y = 0.0;
};

ItemPose look_along(const ViewLine& line) {
  Vec3 forward = line.at - line.from;
  forward = length(forward) > 0.0 ? normalized(forward) : Vec3{0.0, 0.0, 1.0};
  // When looking straight up or down, north is at the top of the picture.
  const Vec3 top = std::abs(forward.y) > 0.9999 ? Vec3{0.0, 0.0, forward.y > 0.0 ? -1.0 : 1.0} : Vec3{0.0, 1.0, 0.0};
  const Vec3 right = normalized(cross(top, forward));
  return {line.from, right, cross(forward, right), forward};
}

/// Draws lines and surfaces of world space as an eye sees them.
class Canvas {
 public:
  Canvas(const ViewLine& line, int width, int height)
      : eye_(look_along(line)),
        width_(width),
        height_(height),
        scale_(height / 2.0 / std::tan(vertical_field_degrees * std::numbers::pi / 360.0)),
        surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
        context_(cairo_create(surface_.get())) {
    cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
    use(background);
    cairo_paint(context_.get());
  }

  void use(const Color& color) { cairo_set_source_rgba(context_.get(), color[0], color[1], color[2], color[3]); }

  double depth_of(Vec3 world) const { return dot(world - eye_.position, eye_.forward); }

  void add_line(Vec3 from, Vec3 to) {
    Vec3 a = seen(from);
    Vec3 b = seen(to);
    if (a.z < nearest && b.z < nearest) return;
    if (a.z < nearest) a = cut(a, b);
    if (b.z < nearest) b = cut(b, a);
    const Pixel2 start = pixel(a);
    const Pixel2 end = pixel(b);
    if (!may_show(start, end)) return;
    cairo_move_to(context_.get(), start.x, start.y);
    cairo_line_to(context_.get(), end.x, end.y);
  }

  void add_polygon(std::span<const Vec3> corners) {
    std::vector<Vec3> points;
    for (std::size_t i = 0; i < corners.size(); ++i) {
      const Vec3 here = seen(corners[i]);
      const Vec3 next = seen(corners[(i + 1) % corners.size()]);
      if (here.z >= nearest) points.push_back(here);
      if ((here.z < nearest) != (next.z < nearest)) points.push_back(cut(here, next));
    }
    if (points.empty()) return;
    for (const Vec3& point : points) {
      const Pixel2 at = pixel(point);
      cairo_line_to(context_.get(), at.x, at.y);
    }
    cairo_close_path(context_.get());
  }

  /// Whether the corners run clockwise as seen from the eye.
  bool shows_front(std::span<const Vec3> corners) const {
    return corners.size() < 3 || dot(cross(corners[1] - corners[0], corners[2] - corners[0]), corners[0] - eye_.position) < 0.0;
  }

  /// Facing the eye; radius in metres, or in pixels where `in_pixels`.
  void add_circle(Vec3 centre, double radius, bool in_pixels) {
    const Vec3 at = seen(centre);
    if (at.z < nearest) return;
    const Pixel2 middle = pixel(at);
    cairo_new_sub_path(context_.get());
    cairo_arc(context_.get(), middle.x, middle.y, in_pixels ? radius : std::min(radius / at.z * scale_, 1e5), 0.0,
              2.0 * std::numbers::pi);
  }

  void stroke(double line_width) {
    cairo_set_line_width(context_.get(), line_width);
    cairo_stroke(context_.get());
  }

  void fill() { cairo_fill(context_.get()); }

  /// As a PNG.
  void write(const PngWriter::Sink& to) const {
    cairo_surface_flush(surface_.get());
    // An exception must not pass through cairo.
    struct Sink {
      const PngWriter::Sink& to;
      std::exception_ptr failed;
    } sink{to, {}};
    const auto write = [](void* taker, const unsigned char* bytes, unsigned count) {
      auto& [take, failed] = *static_cast<Sink*>(taker);
      try {
        take(std::as_bytes(std::span(bytes, count)));
        return CAIRO_STATUS_SUCCESS;
      } catch (...) {
        failed = std::current_exception();
        return CAIRO_STATUS_WRITE_ERROR;
      }
    };
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface_.get(), write, &sink);
    if (sink.failed) std::rethrow_exception(sink.failed);
    if (status != CAIRO_STATUS_SUCCESS)
      throw std::runtime_error(std::string("The gizmo cannot be drawn: ") + cairo_status_to_string(status));
  }

 private:
  Vec3 seen(Vec3 world) const { return eye_.direction_from_world(world - eye_.position); }
  /// Where the line between two points meets the nearest distance.
  static Vec3 cut(Vec3 a, Vec3 b) {
    Vec3 at = a + (b - a) * ((nearest - a.z) / (b.z - a.z));
    at.z = nearest;
    return at;
  }
  Pixel2 pixel(Vec3 at) const { return {width_ / 2.0 + at.x / at.z * scale_, height_ / 2.0 - at.y / at.z * scale_}; }
  bool may_show(Pixel2 a, Pixel2 b) const {
    return std::isfinite(a.x + a.y + b.x + b.y) && std::max(a.x, b.x) >= 0.0 && std::max(a.y, b.y) >= 0.0 &&
           std::min(a.x, b.x) <= width_ && std::min(a.y, b.y) <= height_;
  }

  ItemPose eye_;
  int width_;
  int height_;
  /// Pixels per metre at a distance of one metre.
  double scale_;
  std::unique_ptr<cairo_surface_t, CairoRelease> surface_;
  std::unique_ptr<cairo_t, CairoRelease> context_;
};

void draw_wires(Canvas& canvas, const GizmoView& view) {
  canvas.use(wire);
  for (const PlacedLayer& placed : view.layers) {
    const ItemPose pose = placed.world_pose(view.scene, view.time_seconds);
    const auto& points = placed.layer->points;
    std::set<std::pair<std::uint32_t, std::uint32_t>> edges;
    for (const standin::Polygon& polygon : placed.layer->polygons) {
      for (std::size_t i = 0; i < polygon.points.size(); ++i) {
        const auto ends = std::minmax(polygon.points[i], polygon.points[(i + 1) % polygon.points.size()]);
        if (ends.second < points.size()) edges.insert(ends);
      }
    }
    for (const auto& [from, to] : edges) canvas.add_line(pose.point_to_world(points[from]), pose.point_to_world(points[to]));
    canvas.stroke(0.8);
  }
}

/// A pyramid from the lens to its view, with a mark on its upper side; it looks equally large at any distance.
void draw_camera(Canvas& canvas, const GizmoView& view, const ItemPose& pose) {
  const double size = 0.07 * std::max(1.0, canvas.depth_of(pose.position));
  const auto [film_width, film_height] = standin::film_size(*view.camera.camera);
  const double half_height = 0.4 * size;
  const double half_width = std::min(half_height * film_width / film_height, 1.5 * size);
  const auto at = [&](double right, double up, double forward) {
    return pose.position + pose.right * right + pose.up * up + pose.forward * forward;
  };
  const std::array<Vec3, 4> frame{at(-half_width, -half_height, size), at(-half_width, half_height, size),
                                  at(half_width, half_height, size), at(half_width, -half_height, size)};
  const std::array<Vec3, 3> mark{at(-0.5 * half_width, 1.15 * half_height, size), at(0.0, 1.9 * half_height, size),
                                 at(0.5 * half_width, 1.15 * half_height, size)};
  canvas.use(camera_color);
  canvas.add_polygon(frame);
  for (const Vec3& corner : frame) canvas.add_line(pose.position, corner);
  canvas.stroke(1.5);
  canvas.add_polygon(mark);
  canvas.fill();
}

void draw_element(Canvas& canvas, const GizmoElement& element) {
  constexpr double line_width = 1.5;
  canvas.use({element.color[0], element.color[1], element.color[2], element.color[3]});
  switch (element.shape) {
    case GizmoShape::point:
      canvas.add_circle(element.points[0], 2.5, true);
      canvas.fill();
      return;
    case GizmoShape::line:
      canvas.add_line(element.points[0], element.points[1]);
      canvas.stroke(line_width);
      return;
    case GizmoShape::circle:
      canvas.add_circle(element.points[0], element.radius, false);
      canvas.stroke(line_width);
      return;
    case GizmoShape::triangle:
    case GizmoShape::quad:
      if ((element.draw_mode & LWDRAWMODE_CULL) != 0 && !canvas.shows_front(element.points)) return;
      canvas.add_polygon(element.points);
      if ((element.draw_mode & LWDRAWMODE_OUTLINE) != 0)
        canvas.stroke(line_width);
      else
        canvas.fill();
      return;
  }
}

double mean_depth(const Canvas& canvas, const GizmoElement& element) {
  double sum = 0.0;
  for (const Vec3& point : element.points) sum += canvas.depth_of(point);
  return sum / static_cast<double>(element.points.size());
}

void draw_gizmo(Canvas& canvas, std::span<const GizmoElement> elements) {
  // Consecutive elements in a mode that tests depth are drawn from far to near; everything else is drawn in order.
  const auto tests_depth = [](const GizmoElement& element) { return (element.draw_mode & LWDRAWMODE_DEPTHTEST) != 0; };
  std::vector<const GizmoElement*> run;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    run.push_back(&elements[i]);
    const bool continues = i + 1 < elements.size() && tests_depth(elements[i]) &&
                           elements[i + 1].draw_mode == elements[i].draw_mode && elements[i + 1].color == elements[i].color;
    if (continues) continue;
    std::ranges::stable_sort(run, std::ranges::greater(),
                             [&](const GizmoElement* element) { return mean_depth(canvas, *element); });
    for (const GizmoElement* element : run) draw_element(canvas, *element);
    run.clear();
  }
}

/// The elements with their points in world space; those in item space are relative to the camera.
std::vector<GizmoElement> in_world(std::span<const GizmoElement> elements, const ItemPose& camera) {
  std::vector<GizmoElement> placed;
  for (const GizmoElement& element : elements) {
    // Icons and elements that are fixed to the viewport have no position in the world.
    if (element.coordinate_system != LWCSYS_WORLD && element.coordinate_system != LWCSYS_OBJECT) continue;
    GizmoElement& copy = placed.emplace_back(element);
    if (element.coordinate_system == LWCSYS_OBJECT)
      for (Vec3& point : copy.points) point = camera.point_to_world(point);
  }
  return placed;
}

}  // namespace

ViewLine view_of_gizmo(const ItemPose& camera, std::span<const GizmoElement> elements) {
  Vec3 low = camera.position;
  Vec3 high = camera.position;
  for (const GizmoElement& element : in_world(elements, camera)) {
    for (const Vec3& point : element.points) {
      low = {std::min(low.x, point.x), std::min(low.y, point.y), std::min(low.z, point.z)};
      high = {std::max(high.x, point.x), std::max(high.y, point.y), std::max(high.z, point.z)};
    }
  }
  const Vec3 centre = (low + high) * 0.5;
  const double radius = std::max(1.5, length(high - low) * 0.5);
  // For a camera that looks straight down, behind is above.
  const Vec3 level{camera.forward.x, 0.0, camera.forward.z};
  const Vec3 ahead = length(level) > 1e-3 ? normalized(level) : Vec3{0.0, 0.0, 1.0};
  const Vec3 aside = cross(Vec3{0.0, 1.0, 0.0}, ahead);
  const Vec3 way = normalized(ahead * -1.0 + aside * 0.8 + Vec3{0.0, 0.75, 0.0});
  return {centre + way * (1.3 * radius / std::tan(vertical_field_degrees * std::numbers::pi / 360.0)), centre};
}

void write_gizmo_picture(const GizmoView& view, const PngWriter::Sink& to) {
  Canvas canvas(view.line, view.width, view.height);
  const ItemPose pose = standin::with_unit_axes(view.scene.world_pose(view.camera, view.time_seconds));
  draw_wires(canvas, view);
  draw_camera(canvas, view, pose);
  draw_gizmo(canvas, in_world(view.elements, pose));
  canvas.write(to);
}

void write_gizmo_picture(const GizmoView& view, const std::filesystem::path& name) {
  NewFile file(name);
  write_gizmo_picture(view, [&](std::span<const std::byte> bytes) { file.write(bytes); });
  file.finish();
}

}  // namespace tool

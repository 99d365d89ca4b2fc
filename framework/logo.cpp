#include "framework/logo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace framework {
namespace {

struct Point {
  double x;
  double y;
};

struct Stroke {
  Point from;
  Point to;
};

/// Part of a ring: everything but an opening to the right of so many degrees either way.
struct Arc {
  Point centre;
  double radius;
  double opening_degrees;
};

constexpr double stroke_half_width = 3.2;

// The mark in pixels, y upward: an iris of six blades, then the name.
constexpr std::array arcs{
    Arc{{32.0, 30.0}, 24.0, 0.0},
    Arc{{88.0, 30.0}, 16.0, 0.0},
    Arc{{178.0, 30.0}, 16.0, 48.0},
};
constexpr std::array strokes{
    Stroke{{112.0, 46.0}, {127.0, 14.0}}, Stroke{{127.0, 14.0}, {142.0, 46.0}}, Stroke{{152.0, 14.0}, {152.0, 46.0}},
    Stroke{{202.0, 14.0}, {217.0, 46.0}}, Stroke{{217.0, 46.0}, {232.0, 14.0}}, Stroke{{208.0, 25.0}, {226.0, 25.0}},
    Stroke{{242.0, 14.0}, {242.0, 46.0}}, Stroke{{242.0, 46.0}, {257.0, 24.0}}, Stroke{{257.0, 24.0}, {272.0, 46.0}},
    Stroke{{272.0, 46.0}, {272.0, 14.0}},
};
constexpr int blades = 6;

double distance_to(const Stroke& stroke, Point p) {
  const double dx = stroke.to.x - stroke.from.x;
  const double dy = stroke.to.y - stroke.from.y;
  const double along = ((p.x - stroke.from.x) * dx + (p.y - stroke.from.y) * dy) / (dx * dx + dy * dy);
  const double t = std::clamp(along, 0.0, 1.0);
  return std::hypot(p.x - stroke.from.x - t * dx, p.y - stroke.from.y - t * dy);
}

double distance_to(const Arc& arc, Point p) {
  const double x = p.x - arc.centre.x;
  const double y = p.y - arc.centre.y;
  const double opening = arc.opening_degrees * (3.141592653589793 / 180.0);
  if (std::abs(std::atan2(y, x)) >= opening) return std::abs(std::hypot(x, y) - arc.radius);
  return std::hypot(x - arc.radius * std::cos(opening), std::abs(y) - arc.radius * std::sin(opening));
}

/// From the ring inward, each blade's edge is tangent to the opening in the middle.
double distance_to_blades(Point p) {
  const Arc& ring = arcs.front();
  double nearest = 1e9;
  for (int blade = 0; blade < blades; ++blade) {
    const double angle = blade * (2.0 * 3.141592653589793 / blades);
    const Point inner{ring.centre.x + 9.0 * std::cos(angle), ring.centre.y + 9.0 * std::sin(angle)};
    const Point outer{ring.centre.x + ring.radius * std::cos(angle + 1.0), ring.centre.y + ring.radius * std::sin(angle + 1.0)};
    nearest = std::min(nearest, distance_to(Stroke{inner, outer}, p));
  }
  return nearest;
}

std::uint8_t computed_grey(int row, int column) {
  const Point p{column + 0.5, row + 0.5};
  double outside = distance_to_blades(p) - 1.0;
  for (const Arc& arc : arcs) outside = std::min(outside, distance_to(arc, p) - stroke_half_width);
  for (const Stroke& stroke : strokes) outside = std::min(outside, distance_to(stroke, p) - stroke_half_width);
  return static_cast<std::uint8_t>(std::lround(230.0 * std::clamp(0.5 - outside, 0.0, 1.0)));
}

using Picture = std::array<std::array<std::uint8_t, logo_columns>, logo_rows>;

Picture computed_picture() {
  Picture picture{};
  for (int row = 0; row < logo_rows; ++row)
    for (int column = 0; column < logo_columns; ++column)
      picture[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] = computed_grey(row, column);
  return picture;
}

}  // namespace

std::uint8_t logo_grey(int row, int column) {
  // Every panel shows it, and computing it takes longer than the rest of a panel.
  static const Picture picture = computed_picture();
  return picture[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
}

}  // namespace framework

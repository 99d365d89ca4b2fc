#include "tool/lens/numerical_inverse.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nanoflann.hpp>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

namespace tool {
namespace {

using standin::Vec3;

/// Nodes along each side of the frame.
constexpr int nodes_inside = 96;
/// As far around the frame, in frames, and as densely per frame.
constexpr double margin = 0.5;
constexpr int nodes_outside = 24;
/// Half the distance, in frames, over which a node's derivatives are taken.
constexpr double derivative_step = 1e-4;
/// Nodes from which a place is looked for, the nearest first.
constexpr std::size_t most_starts = 6;
constexpr int most_steps = 30;
/// Of directions that follow one another, every so many is looked for from a node, and those in between from its answers.
constexpr std::size_t stride = 16;
/// Between directions that follow one another like that: of a chord on the unit sphere.
constexpr double longest_chord = 0.2;
/// In frames: of one step, and of all of them together.
constexpr double longest_step = 0.1;
constexpr double longest_way = 0.3;

/// Two directions across this one, and each other.
std::pair<Vec3, Vec3> axes_across(Vec3 a) {
  const Vec3 other = std::abs(a.x) < 0.6 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0};
  const Vec3 first = normalized(cross(other, a));
  return {first, cross(a, first)};
}

struct Node {
  double s = 0.0;
  double t = 0.0;
  Vec3 towards;
  Vec3 by_s;
  Vec3 by_t;
};

/// One direction that is being looked for.
struct Search {
  std::size_t index = 0;
  Vec3 across;
  Vec3 up;
  /// By rows: how the direction changes with the place.
  std::array<double, 4> change{};
  FramePlace start;
  FramePlace at;
  /// The place before that, and how far off the direction was there.
  FramePlace before;
  std::array<double, 2> off_before{};

  /// The step that leads from a direction so far off to the wanted one; none where the place does not change the direction.
  bool step_for(const std::array<double, 2>& off, double& s, double& t) const {
    const auto& [a, b, c, d] = change;
    const double determinant = a * d - b * c;
    s = (b * off[1] - d * off[0]) / determinant;
    t = (c * off[0] - a * off[1]) / determinant;
    return std::isfinite(s) && std::isfinite(t);
  }
};

bool is_inside(const FramePlace& place) { return place.s >= 0.0 && place.s <= 1.0 && place.t >= 0.0 && place.t <= 1.0; }

/// What nanoflann asks of a set of points.
struct NodePoints {
  std::vector<Node> nodes;

  std::size_t kdtree_get_point_count() const { return nodes.size(); }
  double kdtree_get_pt(std::size_t node, std::size_t axis) const {
    const Vec3& towards = nodes[node].towards;
    return axis == 0 ? towards.x : axis == 1 ? towards.y : towards.z;
  }
  template <class Box>
  bool kdtree_get_bbox(Box& /*box*/) const {
    return false;
  }
};

using NodeTree =
    nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, NodePoints>, NodePoints, 3, std::uint32_t>;

NodePoints nodes_at(const NumericalInverse::Look& look, const std::vector<FramePlace>& places) {
  constexpr std::size_t looks = 5;
  std::vector<FramePlace> around;
  around.reserve(places.size() * looks);
  for (const FramePlace& place : places) {
    around.push_back(place);
    around.push_back({place.s - derivative_step, place.t, true});
    around.push_back({place.s + derivative_step, place.t, true});
    around.push_back({place.s, place.t - derivative_step, true});
    around.push_back({place.s, place.t + derivative_step, true});
  }
  std::vector<LensDirection> seen(around.size());
  look(around, seen);
  NodePoints points;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::span<const LensDirection, looks> here(&seen[i * looks], looks);
    if (!std::ranges::all_of(here, &LensDirection::found)) continue;
    const Vec3 middle = here[0].towards;
    const auto is_smooth = [&](Vec3 less, Vec3 more) {
      return length(less + more - middle * 2.0) <= 0.05 * length(more - less) + 1e-6;
    };
    if (!is_smooth(here[1].towards, here[2].towards) || !is_smooth(here[3].towards, here[4].towards)) continue;
    constexpr double per_frame = 1.0 / (2.0 * derivative_step);
    points.nodes.push_back({places[i].s, places[i].t, middle, (here[2].towards - here[1].towards) * per_frame,
                            (here[4].towards - here[3].towards) * per_frame});
  }
  return points;
}

std::vector<FramePlace> places_inside() {
  std::vector<FramePlace> places;
  for (int row = 0; row < nodes_inside; ++row)
    for (int column = 0; column < nodes_inside; ++column)
      places.push_back({(column + 0.5) / nodes_inside, (row + 0.5) / nodes_inside, true});
  return places;
}

std::vector<FramePlace> places_outside() {
  constexpr int count = static_cast<int>(nodes_outside * (1.0 + 2.0 * margin));
  std::vector<FramePlace> places;
  for (int row = 0; row < count; ++row) {
    for (int column = 0; column < count; ++column) {
      const FramePlace place{(column + 0.5) / nodes_outside - margin, (row + 0.5) / nodes_outside - margin, true};
      if (!is_inside(place)) places.push_back(place);
    }
  }
  return places;
}

}  // namespace

struct NumericalInverse::Grid {
  Grid(NodePoints of, double spacing_in_frames)
      : points(std::move(of)),
        tree(3, points),
        spacing(spacing_in_frames),
        node_at(static_cast<std::size_t>(nodes_inside) * nodes_inside) {
    for (const Node& node : points.nodes)
      if (is_inside({node.s, node.t, true}))
        node_at[place_of(static_cast<std::size_t>(node.s * nodes_inside), static_cast<std::size_t>(node.t * nodes_inside))] =
            &node;
  }
  Grid(const Grid&) = delete;
  Grid& operator=(const Grid&) = delete;

  static std::size_t place_of(std::size_t column, std::size_t row) { return row * nodes_inside + column; }

  /// How the direction changes with a place within the frame, between the nodes around it; false where one of these is none.
  bool derivatives(double s, double t, Vec3& by_s, Vec3& by_t) const {
    const double x = std::clamp(s * nodes_inside - 0.5, 0.0, nodes_inside - 1.0 - 1e-9);
    const double y = std::clamp(t * nodes_inside - 0.5, 0.0, nodes_inside - 1.0 - 1e-9);
    const auto column = static_cast<std::size_t>(x);
    const auto row = static_cast<std::size_t>(y);
    const std::array around{node_at[place_of(column, row)], node_at[place_of(column + 1, row)],
                            node_at[place_of(column, row + 1)], node_at[place_of(column + 1, row + 1)]};
    if (std::ranges::find(around, nullptr) != around.end()) return false;
    const double right = x - static_cast<double>(column);
    const double up = y - static_cast<double>(row);
    const auto between = [&](Vec3 Node::*which) {
      return (around[0]->*which * (1.0 - right) + around[1]->*which * right) * (1.0 - up) +
             (around[2]->*which * (1.0 - right) + around[3]->*which * right) * up;
    };
    by_s = between(&Node::by_s);
    by_t = between(&Node::by_t);
    return true;
  }

  /// Whether a place that looks there can be a neighbour of the node: without such a node there is no such place either.
  bool is_near(const Node& node, double squared_distance) const {
    const double far = 2.0 * spacing * (length(node.by_s) + length(node.by_t));
    return squared_distance <= far * far;
  }

  NodePoints points;
  NodeTree tree;
  double spacing;
  /// Within the frame, by rows; null where the lens is not smooth.
  std::vector<const Node*> node_at;
};

NumericalInverse::NumericalInverse(Look look, double tolerance)
    : look_(std::move(look)),
      tolerance_(tolerance),
      inside_(std::make_unique<Grid>(nodes_at(look_, places_inside()), 1.0 / nodes_inside)),
      outside_(std::make_unique<Grid>(nodes_at(look_, places_outside()), 1.0 / nodes_outside)) {}

NumericalInverse::~NumericalInverse() = default;

void NumericalInverse::locate(std::span<const LensDirection> directions, std::span<FramePlace> places) const {
  std::ranges::fill(places, FramePlace{});
  std::vector<Search> searches;
  std::vector<Search> going_on;
  std::vector<FramePlace> asked;
  std::vector<LensDirection> seen;
  for (std::vector<Search>* each : {&searches, &going_on}) each->reserve(directions.size());
  asked.reserve(directions.size());
  seen.reserve(directions.size());
  const auto begin = [&](const Grid& grid, std::size_t start, std::size_t every) {
    searches.clear();
    for (std::size_t i = 0; i < directions.size(); i += every) {
      if (!directions[i].found || (places[i].found && is_inside(places[i]))) continue;
      const Vec3 wanted = directions[i].towards;
      const std::array<double, 3> point{wanted.x, wanted.y, wanted.z};
      std::array<std::uint32_t, most_starts> nearest{};
      std::array<double, most_starts> distances{};
      if (grid.tree.knnSearch(point.data(), start + 1, nearest.data(), distances.data()) <= start) continue;
      const Node& node = grid.points.nodes[nearest[start]];
      if (!grid.is_near(node, distances[start])) continue;
      Search search;
      search.index = i;
      search.start = {node.s, node.t, true};
      std::tie(search.across, search.up) = axes_across(wanted);
      search.change = {dot(node.by_s, search.across), dot(node.by_t, search.across), dot(node.by_s, search.up),
                       dot(node.by_t, search.up)};
      search.before = {node.s, node.t, true};
      search.off_before = {dot(node.towards, search.across), dot(node.towards, search.up)};
      double s = 0.0;
      double t = 0.0;
      if (dot(node.towards, wanted) <= 0.0 || !search.step_for(search.off_before, s, t)) continue;
      const double shorter = std::min(1.0, longest_step / std::sqrt(s * s + t * t));
      search.at = {node.s + s * shorter, node.t + t * shorter, true};
      searches.push_back(search);
    }
  };
  /// Whether the search goes on, after its place was found to look that way.
  const auto go_on = [&](Search& search, const LensDirection& sight) {
    const Vec3 wanted = directions[search.index].towards;
    if (!sight.found || dot(sight.towards, wanted) <= 0.0) {
      // Beyond what the lens sees: not as far.
      search.at = {(search.at.s + search.before.s) / 2.0, (search.at.t + search.before.t) / 2.0, true};
      return true;
    }
    const std::array<double, 2> off{dot(sight.towards, search.across), dot(sight.towards, search.up)};
    const double by_s = search.at.s - search.before.s;
    const double by_t = search.at.t - search.before.t;
    const double squared = by_s * by_s + by_t * by_t;
    if (squared > 0.0) {
      for (std::size_t row = 0; row < 2; ++row) {
        double* change = &search.change[2 * row];
        const double unforeseen = off[row] - search.off_before[row] - change[0] * by_s - change[1] * by_t;
        change[0] += unforeseen * by_s / squared;
        change[1] += unforeseen * by_t / squared;
      }
    }
    double s = 0.0;
    double t = 0.0;
    if (!search.step_for(off, s, t)) return false;
    const double step = std::sqrt(s * s + t * t);
    const double shorter = std::min(1.0, longest_step / step);
    const double way_s = search.at.s - search.start.s;
    const double way_t = search.at.t - search.start.t;
    if (way_s * way_s + way_t * way_t > longest_way * longest_way) return false;
    search.before = search.at;
    search.off_before = off;
    search.at = {search.at.s + s * shorter, search.at.t + t * shorter, true};
    if (step > tolerance_) return true;
    if (!places[search.index].found || is_inside(search.at)) places[search.index] = search.at;
    return false;
  };
  /// Begins between places that were found for the directions before and after.
  const auto begin_between = [&] {
    searches.clear();
    for (std::size_t first = 0; first + stride < directions.size(); first += stride) {
      const FramePlace& before = places[first];
      const FramePlace& after = places[first + stride];
      if (!before.found || !after.found || !is_inside(before) || !is_inside(after)) continue;
      const Vec3 from = directions[first].towards;
      const Vec3 chord = directions[first + stride].towards - from;
      const double squared = dot(chord, chord);
      if (!(squared > 0.0) || squared > longest_chord * longest_chord) continue;
      // Of a direction's several places, these two may be different ones.
      Vec3 by_s;
      Vec3 by_t;
      if (!inside_->derivatives(before.s, before.t, by_s, by_t)) continue;
      const Vec3 foreseen = by_s * (after.s - before.s) + by_t * (after.t - before.t);
      if (length(foreseen - chord) > 0.5 * length(chord)) continue;
      for (std::size_t i = first + 1; i < first + stride; ++i) {
        if (!directions[i].found) continue;
        const Vec3 wanted = directions[i].towards;
        const double along = dot(wanted - from, chord) / squared;
        Search search;
        search.index = i;
        search.at = {before.s + (after.s - before.s) * along, before.t + (after.t - before.t) * along, true};
        if (!is_inside(search.at) || !inside_->derivatives(search.at.s, search.at.t, by_s, by_t)) continue;
        search.start = search.before = search.at;
        std::tie(search.across, search.up) = axes_across(wanted);
        search.change = {dot(by_s, search.across), dot(by_t, search.across), dot(by_s, search.up), dot(by_t, search.up)};
        searches.push_back(search);
      }
    }
  };
  const auto finish = [&] {
    for (int step = 0; step < most_steps && !searches.empty(); ++step) {
      asked.clear();
      for (const Search& search : searches) asked.push_back(search.at);
      seen.resize(asked.size());
      look_(asked, seen);
      going_on.clear();
      for (std::size_t i = 0; i < searches.size(); ++i)
        if (go_on(searches[i], seen[i])) going_on.push_back(searches[i]);
      std::swap(searches, going_on);
    }
  };
  const auto solve = [&](const Grid& grid, std::size_t start, std::size_t every) {
    begin(grid, start, every);
    finish();
  };
  if (directions.size() > 2 * stride) {
    for (std::size_t start = 0; start < most_starts; ++start) solve(*inside_, start, stride);
    begin_between();
    finish();
  }
  for (std::size_t start = 0; start < most_starts; ++start) solve(*inside_, start, 1);
  bool all_found = true;
  for (std::size_t i = 0; i < directions.size(); ++i) all_found = all_found && (!directions[i].found || places[i].found);
  if (all_found) return;
  for (std::size_t start = 0; start < most_starts; ++start) solve(*outside_, start, 1);
}

}  // namespace tool

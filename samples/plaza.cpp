#include "samples/plaza.h"

#include <cmath>
#include <functional>
#include <numbers>

namespace samples {
namespace {

constexpr double pi = std::numbers::pi;

namespace palette {
const Paint stone{"Limestone", {0.86, 0.81, 0.72}};
const Paint pale_stone{"Pale Stone", {0.93, 0.90, 0.84}};
const Paint dark_stone{"Granite", {0.42, 0.42, 0.44}};
const Paint paving{"Paving", {0.72, 0.68, 0.62}};
const Paint gravel{"Gravel", {0.50, 0.46, 0.42}};
const Paint grass{"Grass", {0.45, 0.60, 0.28}};
const Paint glass{"Window Glass", {0.17, 0.26, 0.36}, 0.1};
const Paint bright_glass{"Sunlit Glass", {0.52, 0.70, 0.82}, 0.25};
const Paint slate{"Slate", {0.36, 0.38, 0.45}};
const Paint tiles{"Clay Tiles", {0.68, 0.36, 0.24}};
const Paint iron{"Wrought Iron", {0.13, 0.15, 0.17}};
const Paint wood{"Oak", {0.55, 0.36, 0.20}};
const Paint water{"Water", {0.30, 0.62, 0.74}, 0.15};
const Paint spray{"Spray", {0.85, 0.94, 0.98}, 0.3};
const Paint lamp_light{"Lamp Glass", {1.0, 0.94, 0.78}, 0.6};
const Paint bark{"Bark", {0.36, 0.26, 0.18}};
const Paint leaves{"Leaves", {0.30, 0.52, 0.22}};
const Paint fresh_leaves{"Fresh Leaves", {0.48, 0.66, 0.26}};
const Paint needles{"Needles", {0.16, 0.38, 0.25}};
const Paint copper{"Green Copper", {0.45, 0.70, 0.62}};
const Paint gold{"Gold", {0.92, 0.72, 0.26}};
const Paint red{"Signal Red", {0.80, 0.14, 0.12}};
const Paint green{"Signal Green", {0.14, 0.56, 0.28}};
const Paint blue{"Signal Blue", {0.13, 0.34, 0.72}};
const Paint yellow{"Signal Yellow", {0.95, 0.76, 0.14}};
const Paint cream{"Cream", {0.96, 0.92, 0.80}};
const Paint ink{"Lettering", {0.16, 0.17, 0.22}};
const Paint cloud{"Cloud", {1.0, 1.0, 1.0}, 0.45};
}  // namespace palette

/// The four sides of the plaza, clockwise from the north as a camera's heading turns.
constexpr std::size_t side_count = 4;
enum Side : std::size_t { north, east, south, west };

const std::array<const Paint*, side_count> side_colors{&palette::red, &palette::green, &palette::yellow, &palette::blue};
constexpr std::array<std::string_view, side_count> side_letters{"N", "E", "S", "W"};

/// Quarter turns are exact, which sines would not be.
ItemPose facing(std::size_t side, Vec3 position = {}) {
  constexpr std::array<Vec3, side_count> ways{Vec3{0, 0, 1}, Vec3{1, 0, 0}, Vec3{0, 0, -1}, Vec3{-1, 0, 0}};
  return ItemPose{position, ways[(side + 1) % side_count], {0, 1, 0}, ways[side]};
}

/// A frame turned to a heading in degrees, clockwise from the north as seen from above.
ItemPose turned_to(double heading_degrees, Vec3 position) {
  const double heading = heading_degrees * pi / 180.0;
  return ItemPose{position, {std::cos(heading), 0, -std::sin(heading)}, {0, 1, 0}, {std::sin(heading), 0, std::cos(heading)}};
}

/// A box by the middle of its underside and its size.
void block(Mesh& mesh, Vec3 foot, Vec3 size) {
  mesh.box({foot.x - size.x / 2, foot.y, foot.z - size.z / 2}, {foot.x + size.x / 2, foot.y + size.y, foot.z + size.z / 2});
}

/// A square frame of four flat pieces at a height, from one half side to another, without overlap.
void flat_frame(Mesh& mesh, double inner, double outer, double height) {
  mesh.quad({-outer, height, inner}, {2 * outer, 0, 0}, {0, 0, outer - inner});
  mesh.quad({-outer, height, -outer}, {2 * outer, 0, 0}, {0, 0, outer - inner});
  mesh.quad({-outer, height, -inner}, {outer - inner, 0, 0}, {0, 0, 2 * inner});
  mesh.quad({inner, height, -inner}, {outer - inner, 0, 0}, {0, 0, 2 * inner});
}

// --- The ground -------------------------------------------------------------------------------------------------------

constexpr int tile_count = 8;
constexpr double tile_side = 2 * floor_half_side / tile_count;
constexpr double inlay_height = 0.02;

std::string tile_name(int column, int row) {
  return std::string(1, static_cast<char>('A' + column)) + static_cast<char>('1' + row);
}

/// The side of the plaza that a floor position lies on.
Side side_of(double x, double z) {
  if (std::abs(z) >= std::abs(x)) return z > 0 ? north : south;
  return x > 0 ? east : west;
}

Mesh floor() {
  Mesh mesh;
  for (int row = 0; row < tile_count; ++row) {
    for (int column = 0; column < tile_count; ++column) {
      const double x = column * tile_side - floor_half_side;
      const double z = row * tile_side - floor_half_side;
      const Vec3 base = (row + column) % 2 == 0 ? Vec3{0.66, 0.62, 0.57} : Vec3{0.88, 0.85, 0.79};
      const Vec3 tint = side_colors[side_of(x + tile_side / 2, z + tile_side / 2)]->color;
      mesh.paint({"Tile " + tile_name(column, row), base * 0.88 + tint * 0.12});
      mesh.quad({x, 0, z}, {tile_side, 0, 0}, {0, 0, tile_side});
    }
  }
  mesh.map_from_above("Plaza UV", floor_half_side);
  return mesh;
}

Mesh ground() {
  constexpr double paved = 24.0;
  constexpr double far_edge = 330.0;
  Mesh mesh;
  mesh.paint(palette::paving);
  flat_frame(mesh, floor_half_side, paved, 0);
  mesh.paint(palette::grass);
  flat_frame(mesh, paved, far_edge, 0);
  mesh.paint(palette::dark_stone);
  flat_frame(mesh, floor_half_side + 0.1, floor_half_side + 0.4, inlay_height);
  // Streets leave the plaza through its open corners.
  mesh.paint(palette::paving);
  for (std::size_t side = 0; side < side_count; ++side) {
    mesh.place(facing(side));
    mesh.polygon(std::array{Vec3{21, inlay_height, 24}, Vec3{171, inlay_height, 174}, Vec3{174, inlay_height, 171},
                            Vec3{24, inlay_height, 21}});
  }
  return mesh;
}

Mesh grid() {
  Mesh mesh;
  mesh.paint(palette::ink);
  for (int row = 0; row < tile_count; ++row) {
    for (int column = 0; column < tile_count; ++column) {
      const double x = (column + 0.5) * tile_side - floor_half_side;
      const double z = (row + 0.5) * tile_side - floor_half_side;
      // Upright as seen from the middle.
      const ItemPose way = facing(side_of(x, z));
      const bool innermost = std::abs(x) < tile_side && std::abs(z) < tile_side;
      mesh.lettering({x, inlay_height, z}, way.right, way.forward, tile_name(column, row), innermost ? 1.0 : 1.5);
    }
  }
  // A compass rose below the camera.
  for (std::size_t side = 0; side < side_count; ++side) {
    const auto half_point = [&](double sign, double length, double half_width, double height) {
      const Vec3 tip{0, height, length};
      const Vec3 shoulder{sign * half_width, height, half_width};
      const Vec3 centre{0, height, 0};
      mesh.polygon(sign < 0 ? std::array{centre, shoulder, tip} : std::array{centre, tip, shoulder});
    };
    mesh.place(turned_to(90.0 * static_cast<double>(side) + 45.0, {}));
    for (const double sign : {-1.0, 1.0}) {
      mesh.paint(sign < 0 ? palette::dark_stone : palette::pale_stone);
      half_point(sign, 0.75, 0.15, 0.01);
    }
    mesh.place(facing(side));
    for (const double sign : {-1.0, 1.0}) {
      mesh.paint(sign < 0 ? *side_colors[side] : palette::cream);
      half_point(sign, 1.1, 0.2, inlay_height);
    }
  }
  return mesh;
}

// --- The buildings: in a side's own frame x runs to the right along it, z away from the middle --------------------------

constexpr double facade_half_width = 13.0;
constexpr double wall_front = 21.5;
constexpr double arcade_roof = 5.5;

void column(Mesh& mesh, double x, double z) {
  mesh.paint(palette::stone);
  block(mesh, {x, 0.15, z}, {0.74, 0.2, 0.74});
  constexpr auto shaft = std::to_array<ProfilePoint>({{0.34, 0.35}, {0.27, 0.5}, {0.23, 2.75}, {0.34, 3.0}});
  mesh.paint(palette::pale_stone);
  mesh.turned({x, 0, z}, shaft, 10);
  mesh.paint(palette::stone);
  block(mesh, {x, 3.0, z}, {0.74, 0.2, 0.74});
}

/// The wall over one opening of an arcade, from spring to top, round-arched; between two column axes.
void arch(Mesh& mesh, double left, double right, double front, double back) {
  constexpr double spring = 3.2;
  constexpr double top = 4.9;
  constexpr double half_column = 0.3;
  constexpr int steps = 8;
  const double centre = (left + right) / 2;
  const double radius = (right - left) / 2 - half_column;
  const auto at = [&](int step, double z) {
    const double angle = pi * step / steps;
    return Vec3{centre - radius * std::cos(angle), spring + radius * std::sin(angle), z};
  };
  const auto faces = [&](Vec3 low_left, Vec3 low_right) {
    const Vec3 depth{0, 0, back - front};
    const Vec3 high_left{low_left.x, top, front};
    const Vec3 high_right{low_right.x, top, front};
    mesh.polygon(std::array{low_left, high_left, high_right, low_right});
    mesh.polygon(std::array{low_right + depth, high_right + depth, high_left + depth, low_left + depth});
  };
  faces({left, spring, front}, {left + half_column, spring, front});
  for (int step = 0; step < steps; ++step) {
    faces(at(step, front), at(step + 1, front));
    mesh.polygon(std::array{at(step, back), at(step, front), at(step + 1, front), at(step + 1, back)});
  }
  faces({right - half_column, spring, front}, {right, spring, front});
}

constexpr double arcade_axis = 18.0;
constexpr double bay_width = 3.0;
constexpr int bay_count = 8;
constexpr double arcade_half_width = bay_width * bay_count / 2;

/// The stone of a colonnade, with floor, beams, roof and balustrade: one object for all four sides.
Mesh arcade() {
  Mesh mesh;
  mesh.paint(palette::dark_stone);
  mesh.box({-facade_half_width, 0, 17.2}, {facade_half_width, 0.15, wall_front});
  for (int i = 0; i <= bay_count; ++i) {
    const double x = i * bay_width - arcade_half_width;
    column(mesh, x, arcade_axis);
    mesh.paint(palette::wood);
    mesh.box({x - 0.15, 4.6, arcade_axis + 0.3}, {x + 0.15, 4.9, wall_front});
  }
  mesh.paint(palette::pale_stone);
  mesh.box({-arcade_half_width - 0.6, 4.9, arcade_axis - 0.5}, {arcade_half_width + 0.6, 5.2, wall_front});
  mesh.paint(palette::stone);
  mesh.box({-arcade_half_width - 0.8, 5.2, arcade_axis - 0.75}, {arcade_half_width + 0.8, arcade_roof, wall_front});
  mesh.paint(palette::pale_stone);
  mesh.box({-arcade_half_width - 0.5, 6.15, arcade_axis - 0.5}, {arcade_half_width + 0.5, 6.3, arcade_axis - 0.3});
  for (int i = 0; i <= 4 * bay_count; ++i) {
    const Vec3 foot{i * bay_width / 4 - arcade_half_width, arcade_roof, arcade_axis - 0.4};
    if (i % 4 == 0)
      block(mesh, foot, {0.3, 0.95, 0.3});
    else
      mesh.bar(foot, foot + Vec3{0, 0.65, 0}, 0.08);
  }
  return mesh;
}

/// The walls over an arcade's columns, in the colour of their side.
void arches(Mesh& mesh, const Paint& paint) {
  mesh.paint(paint);
  for (int i = 0; i < bay_count; ++i) {
    const double left = i * bay_width - arcade_half_width;
    arch(mesh, left, left + bay_width, arcade_axis - 0.3, arcade_axis + 0.3);
  }
  for (const double end : {-1.0, 1.0}) block(mesh, {end * (arcade_half_width + 0.2), 3.2, arcade_axis}, {0.4, 1.7, 0.6});
}

/// A framed window of two by two panes on a wall that faces the middle.
void window(Mesh& mesh, double x, double sill, double width, double height, double wall, const Paint& frame) {
  mesh.paint(frame);
  constexpr double bar = 0.1;
  const auto pane = [&](double left, double low, double right, double high, double offset) {
    mesh.quad({x + left, sill + low, wall - offset}, {right - left, 0, 0}, {0, high - low, 0});
  };
  pane(-width / 2, 0, width / 2, height, 0.03);
  pane(-bar / 2, bar, bar / 2, height - bar, 0.09);
  pane(bar - width / 2, height / 2 - bar / 2, width / 2 - bar, height / 2 + bar / 2, 0.09);
  mesh.box({x - width / 2 - 0.12, sill - 0.14, wall - 0.2}, {x + width / 2 + 0.12, sill, wall});
  mesh.paint(palette::glass);
  pane(bar - width / 2, bar, width / 2 - bar, height - bar, 0.06);
}

/// Doors and windows on the ground floor, in the shade of the arcade.
void shop_fronts(Mesh& mesh, const Paint& frame) {
  for (int i = 0; i < 8; ++i) {
    const double x = i * 3.0 - 10.5;
    if (i % 3 == 1) {
      mesh.paint(palette::wood);
      mesh.box({x - 0.8, 0.15, wall_front - 0.1}, {x + 0.8, 3.0, wall_front});
    } else {
      window(mesh, x, 1.0, 1.7, 2.1, wall_front, frame);
    }
  }
}

/// The letter of a side on a wall, on a plaque.
void side_plaque(Mesh& mesh, std::size_t side, Vec3 centre, double height) {
  mesh.paint(palette::cream);
  mesh.box({centre.x - height * 0.65, centre.y - height * 0.72, centre.z - 0.1},
           {centre.x + height * 0.65, centre.y + height * 0.72, centre.z});
  mesh.paint(*side_colors[side]);
  mesh.lettering({centre.x, centre.y, centre.z - 0.13}, {1, 0, 0}, {0, 1, 0}, side_letters[side], height);
}

/// A long brick hall with a gabled middle and a clock tower.
Mesh north_hall() {
  const Paint brick{"Red Brick", {0.70, 0.25, 0.19}};
  const Paint deep_brick{"Dark Red Brick", {0.56, 0.18, 0.15}};
  constexpr double eaves = 10.6;
  Mesh mesh;
  mesh.place(facing(north));
  arches(mesh, brick);
  mesh.paint(brick);
  mesh.box({-facade_half_width, 0, wall_front}, {facade_half_width, eaves, 31});
  shop_fronts(mesh, palette::cream);
  mesh.paint(palette::cream);
  mesh.box({-facade_half_width - 0.1, 8.0, wall_front - 0.12}, {facade_half_width + 0.1, 8.2, wall_front});
  mesh.box({-facade_half_width - 0.4, eaves, wall_front - 0.5}, {facade_half_width + 0.4, eaves + 0.3, 31.4});
  for (int i = 0; i < 8; ++i) {
    const double x = i * 3.0 - 10.5;
    window(mesh, x, 6.3, 1.3, 1.5, wall_front, palette::cream);
    window(mesh, x, 8.55, 1.3, 1.6, wall_front, palette::cream);
  }
  mesh.paint(deep_brick);
  for (int i = 0; i <= 8; ++i) {
    const double x = i * 3.0 - 12.0;
    mesh.box({x - 0.3, arcade_roof, wall_front - 0.25}, {x + 0.3, eaves, wall_front});
  }
  mesh.paint(palette::slate);
  mesh.gable_roof({-facade_half_width - 0.4, eaves + 0.3, wall_front - 0.5}, {facade_half_width + 0.4, 15.0, 31.4}, false);
  mesh.paint(brick);
  mesh.gable_roof({-4.2, eaves + 0.3, wall_front - 0.8}, {4.2, 14.8, 26.2}, true);
  side_plaque(mesh, north, {0, 12.4, wall_front - 0.8}, 1.5);

  constexpr double clock_height = 20.3;
  mesh.paint(brick);
  mesh.box({-2, 12, 27}, {2, 22, 31});
  mesh.paint(palette::cream);
  mesh.box({-2.3, 22, 26.7}, {2.3, 22.4, 31.3});
  std::vector<Vec3> dial;
  for (int hour = 0; hour < 12; ++hour) {
    const double angle = 2 * pi * hour / 12;
    dial.push_back({1.45 * std::sin(angle), clock_height + 1.45 * std::cos(angle), 26.95});
  }
  mesh.polygon(dial);
  mesh.paint(palette::ink);
  mesh.bar({0, clock_height, 26.85}, {0, clock_height + 1.2, 26.85}, 0.08);
  mesh.bar({0, clock_height, 26.85}, {0.8, clock_height - 0.4, 26.85}, 0.1);
  mesh.paint(palette::slate);
  constexpr auto spire = std::to_array<ProfilePoint>({{3.1, 22.4}, {1.2, 24.4}, {0, 28.4}});
  mesh.turned({0, 0, 29}, spire, 8);
  mesh.map_from_south("Front UV", -0.8, 30.0);
  return mesh;
}

/// A row of gabled town houses of different heights.
Mesh east_houses() {
  struct House {
    double eaves;
    Vec3 color;
    double roof;
  };
  constexpr auto houses = std::to_array<House>({
      {9.4, {0.42, 0.62, 0.40}, 3.2},
      {10.8, {0.24, 0.48, 0.34}, 3.6},
      {12.2, {0.56, 0.72, 0.46}, 4.2},
      {10.2, {0.20, 0.54, 0.44}, 3.0},
      {11.4, {0.40, 0.56, 0.28}, 3.8},
  });
  constexpr double width = 2 * facade_half_width / houses.size();
  const Paint green_trim{"Green Plaster", {0.44, 0.64, 0.45}};
  Mesh mesh;
  mesh.place(facing(east));
  arches(mesh, green_trim);
  for (std::size_t i = 0; i < houses.size(); ++i) {
    const House& house = houses[i];
    const double left = -facade_half_width + static_cast<double>(i) * width;
    const double middle = left + width / 2;
    const Paint wall{"Green House " + std::to_string(i + 1), house.color};
    mesh.paint(wall);
    mesh.box({left, 0, wall_front}, {left + width, house.eaves, 30});
    mesh.gable_roof({left, house.eaves, wall_front}, {left + width, house.eaves + house.roof, 30}, true);
    // The roof's skin stands out over the wall and its gable.
    mesh.paint(i % 2 == 0 ? palette::tiles : palette::slate);
    const double overhang = 0.35;
    const Vec3 ridge{middle, house.eaves + house.roof + 0.15, wall_front - overhang};
    const Vec3 back{0, 0, 30 + overhang - ridge.z};
    for (const double end : {-1.0, 1.0}) {
      const Vec3 edge{middle + end * width / 2, house.eaves + 0.15, ridge.z};
      const Vec3 thick{0, -0.15, 0};
      const auto slope =
          end < 0 ? std::array{edge, edge + back, ridge + back, ridge} : std::array{ridge, ridge + back, edge + back, edge};
      const auto fascia =
          end < 0 ? std::array{edge + thick, edge, ridge, ridge + thick} : std::array{ridge + thick, ridge, edge, edge + thick};
      mesh.polygon(slope);
      mesh.paint(palette::cream);
      mesh.polygon(fascia);
      mesh.quad(end < 0 ? edge + thick + back : edge + thick, end < 0 ? back * -1.0 : back, thick * -1.0);
      mesh.polygon(std::array{slope[3] + thick, slope[2] + thick, slope[1] + thick, slope[0] + thick});
      mesh.paint(i % 2 == 0 ? palette::tiles : palette::slate);
    }
    mesh.paint(palette::tiles);
    block(mesh, {middle + 1.4, house.eaves + 0.5, 25}, {0.7, house.roof + 0.6, 0.7});
    const int floors = house.eaves > 11.0 ? 3 : 2;
    const double storey = (house.eaves - 6.0) / floors;
    for (int floor_number = 0; floor_number < floors; ++floor_number)
      for (const double offset : {-1.3, 1.3})
        window(mesh, middle + offset, 6.3 + floor_number * storey, 1.3, storey - 0.7, wall_front, palette::pale_stone);
    if (i != 2) window(mesh, middle, house.eaves + 0.3, 0.9, 1.2, wall_front, palette::pale_stone);
  }
  shop_fronts(mesh, palette::pale_stone);
  side_plaque(mesh, east, {0, 13.7, wall_front}, 1.3);
  return mesh;
}

/// A villa in ochre with tall windows and a copper dome.
Mesh south_palace() {
  const Paint ochre{"Yellow Plaster", {1.0, 0.84, 0.42}};
  const Paint deep_ochre{"Ochre", {0.95, 0.66, 0.26}};
  constexpr double eaves = 9.8;
  Mesh mesh;
  mesh.place(facing(south));
  arches(mesh, deep_ochre);
  mesh.paint(ochre);
  mesh.box({-facade_half_width, 0, wall_front}, {facade_half_width, eaves, 31});
  mesh.paint(deep_ochre);
  mesh.box({-5.2, arcade_roof, wall_front - 0.6}, {5.2, eaves + 1.2, 30.9});
  shop_fronts(mesh, palette::pale_stone);
  for (int i = 0; i < 8; ++i) {
    const double x = i * 3.0 - 10.5;
    const double wall = std::abs(x) < 5 ? wall_front - 0.6 : wall_front;
    window(mesh, x, 6.35, 1.3, 2.3, wall, palette::pale_stone);
    mesh.paint(palette::pale_stone);
    mesh.gable_roof({x - 0.95, 8.7, wall - 0.35}, {x + 0.95, 9.3, wall}, true);
  }
  mesh.paint(palette::pale_stone);
  mesh.box({-facade_half_width - 0.4, eaves, wall_front - 0.5}, {-5.2, eaves + 0.35, 31.4});
  mesh.box({5.2, eaves, wall_front - 0.5}, {facade_half_width + 0.4, eaves + 0.35, 31.4});
  mesh.box({-5.6, eaves + 1.2, wall_front - 1.0}, {5.6, eaves + 1.6, 31.4});
  for (const double x : {-5.2, -2.6, 0.0, 2.6, 5.2}) {
    constexpr auto urn = std::to_array<ProfilePoint>({{0.12, 0}, {0.36, 0.7}, {0, 1.1}});
    mesh.turned({x, eaves + 1.6, wall_front - 0.7}, urn, 7);
  }
  mesh.paint(deep_ochre);
  constexpr auto drum = std::to_array<ProfilePoint>({{4.0, 11.2}, {4.0, 13.6}});
  mesh.turned({0, 0, 26.5}, drum, 16);
  mesh.paint(palette::pale_stone);
  constexpr auto ring = std::to_array<ProfilePoint>({{4.3, 13.6}, {4.3, 13.9}});
  mesh.turned({0, 0, 26.5}, ring, 16);
  for (int i = 0; i < 12; ++i) {
    const double angle = 2 * pi * i / 12;
    constexpr auto pillar = std::to_array<ProfilePoint>({{0.22, 11.4}, {0.22, 13.6}});
    mesh.turned({4.15 * std::sin(angle), 0, 26.5 + 4.15 * std::cos(angle)}, pillar, 5);
  }
  mesh.paint(palette::copper);
  const Paint copper_rib{"Copper Ribs", {0.36, 0.60, 0.54}};
  std::vector<ProfilePoint> dome;
  for (int ring_number = 0; ring_number <= 6; ++ring_number) {
    const double angle = 75.0 * ring_number / 6 * pi / 180;
    dome.push_back({3.9 * std::cos(angle), 13.9 + 4.2 * std::sin(angle)});
  }
  mesh.turned({0, 0, 26.5}, dome, 16, &copper_rib);
  mesh.paint(palette::gold);
  constexpr auto lantern = std::to_array<ProfilePoint>({{0.8, 17.9}, {0.8, 19.6}, {1.0, 19.7}, {0.3, 20.6}, {0, 23.0}});
  mesh.turned({0, 0, 26.5}, lantern, 8);
  side_plaque(mesh, south, {0, 9.75, wall_front - 0.6}, 1.2);
  return mesh;
}

/// Three office blocks with long bands of glass.
Mesh west_offices() {
  struct Block {
    double left, right, front, height;
    Vec3 color;
  };
  constexpr auto blocks = std::to_array<Block>({
      {-13.0, -4.6, 21.5, 10.4, {0.42, 0.62, 0.88}},
      {-4.6, 4.6, 21.2, 15.6, {0.24, 0.45, 0.78}},
      {4.6, 13.0, 21.5, 12.4, {0.60, 0.78, 0.95}},
  });
  const Paint trim{"Blue Concrete", {0.56, 0.70, 0.90}};
  Mesh mesh;
  mesh.place(facing(west));
  arches(mesh, trim);
  mesh.paint({"Blue Shop Front", {0.34, 0.52, 0.80}});
  mesh.box({-facade_half_width, 0, wall_front}, {facade_half_width, arcade_roof, 31});
  shop_fronts(mesh, palette::pale_stone);
  int number = 0;
  for (const Block& office : blocks) {
    mesh.paint({"Blue Office " + std::to_string(++number), office.color});
    mesh.box({office.left, arcade_roof, office.front}, {office.right, office.height, 31});
    mesh.paint(palette::pale_stone);
    mesh.box({office.left - 0.15, office.height, office.front - 0.3}, {office.right + 0.15, office.height + 0.35, 31.2});
    constexpr double storey = 1.9;
    double sill = 6.1;
    while (sill + 1.2 < office.height) {
      mesh.paint(palette::pale_stone);
      mesh.box({office.left + 0.4, sill - 0.15, office.front - 0.25}, {office.right - 0.4, sill, office.front});
      mesh.paint(palette::bright_glass);
      mesh.quad({office.left + 0.5, sill, office.front - 0.04}, {office.right - office.left - 1.0, 0, 0}, {0, 1.2, 0});
      mesh.paint(palette::iron);
      const int mullions = 6;
      for (int i = 0; i <= mullions; ++i) {
        const double x = office.left + 0.5 + (office.right - office.left - 1.0) * i / mullions;
        mesh.quad({x - 0.05, sill, office.front - 0.1}, {0.1, 0, 0}, {0, 1.2, 0});
      }
      sill += storey;
    }
  }
  side_plaque(mesh, west, {0, 14.6, 21.2}, 1.2);
  mesh.paint(palette::iron);
  mesh.bar({3, 15.9, 26}, {3, 22, 26}, 0.12);
  mesh.paint(palette::red);
  mesh.ball({3, 22, 26}, 0.35, 8, 4);
  return mesh;
}

// --- Objects on the plaza ------------------------------------------------------------------------------------------------

void bench(Mesh& mesh) {
  mesh.paint(palette::iron);
  for (const double x : {-0.75, 0.75}) mesh.box({x - 0.05, 0, -0.22}, {x + 0.05, 0.42, 0.22});
  mesh.paint(palette::wood);
  for (const double z : {-0.13, 0.11}) mesh.box({-0.95, 0.42, z - 0.1}, {0.95, 0.47, z + 0.1});
  for (const double y : {0.62, 0.80}) mesh.box({-0.95, y, 0.22}, {0.95, y + 0.12, 0.27});
}

void street_lamp(Mesh& mesh, Vec3 foot) {
  mesh.paint(palette::iron);
  constexpr auto pole = std::to_array<ProfilePoint>({{0.2, 0}, {0.06, 0.5}, {0.05, 3.6}});
  mesh.turned(foot, pole, 6);
  constexpr auto hat = std::to_array<ProfilePoint>({{0.28, 4.05}, {0, 4.4}});
  mesh.turned(foot, hat, 6);
  mesh.paint(palette::lamp_light);
  constexpr auto light = std::to_array<ProfilePoint>({{0.12, 3.6}, {0.22, 4.05}});
  mesh.turned(foot, light, 6);
}

void round_tree(Mesh& mesh, Vec3 foot, double height) {
  mesh.paint(palette::bark);
  const auto trunk = std::to_array<ProfilePoint>({{0.04 * height, 0}, {0.025 * height, 0.5 * height}});
  mesh.turned(foot, trunk, 5);
  mesh.paint(palette::leaves);
  mesh.ball(foot + Vec3{0, height * 0.66, 0}, height * 0.27, 9, 5, 1.15);
  mesh.paint(palette::fresh_leaves);
  mesh.ball(foot + Vec3{height * 0.13, height * 0.8, -height * 0.07}, height * 0.19, 7, 4);
}

void fir_tree(Mesh& mesh, Vec3 foot, double height) {
  mesh.paint(palette::bark);
  const auto trunk = std::to_array<ProfilePoint>({{0.035 * height, 0}, {0.03 * height, 0.2 * height}});
  mesh.turned(foot, trunk, 5);
  mesh.paint(palette::needles);
  for (int tier = 0; tier < 3; ++tier) {
    const double base = (0.14 + 0.24 * tier) * height;
    const auto cone = std::to_array<ProfilePoint>({{(0.24 - 0.055 * tier) * height, base}, {0, base + 0.4 * height}});
    mesh.turned(foot, cone, 8);
  }
}

void fountain(Mesh& mesh, Vec3 foot) {
  mesh.paint(palette::pale_stone);
  constexpr auto basin =
      std::to_array<ProfilePoint>({{2.3, 0}, {2.2, 0.15}, {2.2, 0.5}, {2.35, 0.6}, {2.0, 0.6}, {1.95, 0.25}});
  mesh.turned(foot, basin, 16);
  mesh.paint(palette::water);
  constexpr auto pool = std::to_array<ProfilePoint>({{1.98, 0.3}, {1.98, 0.46}});
  mesh.turned(foot, pool, 16);
  mesh.paint(palette::stone);
  constexpr auto stem =
      std::to_array<ProfilePoint>({{0.5, 0.4}, {0.25, 0.7}, {0.2, 1.4}, {1.0, 1.7}, {1.05, 1.8}, {0.15, 1.7}, {0.12, 2.4}});
  mesh.turned(foot, stem, 12);
  mesh.paint(palette::spray);
  for (int jet = 0; jet < 6; ++jet) {
    const double angle = 2 * pi * jet / 6;
    Vec3 last = foot + Vec3{0, 2.4, 0};
    for (int step = 1; step <= 5; ++step) {
      const double reach = 1.5 * step / 5;
      const Vec3 next = foot + Vec3{reach * std::sin(angle), 2.4 + 1.9 * reach - 2.1 * reach * reach, reach * std::cos(angle)};
      mesh.bar(last, next, 0.035);
      last = next;
    }
  }
}

void obelisk(Mesh& mesh, Vec3 foot) {
  mesh.paint(palette::dark_stone);
  block(mesh, foot, {3.0, 0.3, 3.0});
  block(mesh, foot + Vec3{0, 0.3, 0}, {2.2, 0.3, 2.2});
  mesh.paint(palette::pale_stone);
  block(mesh, foot + Vec3{0, 0.6, 0}, {1.5, 1.3, 1.5});
  constexpr auto needle = std::to_array<ProfilePoint>({{0.7, 1.9}, {0.42, 5.4}});
  mesh.turned(foot, needle, 4);
  mesh.paint(palette::gold);
  constexpr auto tip = std::to_array<ProfilePoint>({{0.42, 5.4}, {0, 6.0}});
  mesh.turned(foot, tip, 4);
}

void cafe_table(Mesh& mesh, Vec3 foot, const Paint& shade) {
  mesh.paint(palette::iron);
  constexpr auto stand = std::to_array<ProfilePoint>({{0.3, 0}, {0.04, 0.06}, {0.04, 2.6}});
  mesh.turned(foot, stand, 6);
  mesh.paint(palette::cream);
  constexpr auto top = std::to_array<ProfilePoint>({{0.5, 0.7}, {0.5, 0.75}});
  mesh.turned(foot, top, 10);
  mesh.paint(shade);
  constexpr auto canopy = std::to_array<ProfilePoint>({{1.5, 2.2}, {0, 2.85}});
  mesh.turned(foot, canopy, 12, &palette::cream);
  mesh.paint(palette::wood);
  for (const double angle : {0.6, 2.7, 4.8}) {
    const Vec3 seat = foot + Vec3{0.95 * std::sin(angle), 0, 0.95 * std::cos(angle)};
    constexpr auto stool = std::to_array<ProfilePoint>({{0.12, 0}, {0.2, 0.46}});
    mesh.turned(seat, stool, 6);
  }
}

/// Close to the camera, one on each diagonal.
void near_things(Mesh& mesh) {
  mesh.place(turned_to(45, {3, 0, 3}));
  mesh.paint(palette::tiles);
  constexpr auto pot = std::to_array<ProfilePoint>({{0.32, 0}, {0.45, 0.5}, {0.5, 0.5}, {0.5, 0.6}, {0.4, 0.6}, {0.38, 0.52}});
  mesh.turned({}, pot, 12);
  mesh.paint(palette::fresh_leaves);
  mesh.ball({0, 0.85, 0}, 0.42, 10, 6, 0.9);
  for (int flower = 0; flower < 7; ++flower) {
    const double angle = 2.4 * flower;
    const double away = 0.16 + 0.035 * flower;
    mesh.paint(flower % 2 == 0 ? palette::red : palette::yellow);
    mesh.ball({away * std::sin(angle), 1.22 - away * 0.5, away * std::cos(angle)}, 0.075, 5, 3);
  }

  mesh.place(turned_to(135, {3, 0, -3}));
  bench(mesh);

  mesh.place(turned_to(225, {-3, 0, -3}));
  mesh.paint(palette::stone);
  block(mesh, {}, {0.7, 0.12, 0.7});
  block(mesh, {0, 0.12, 0}, {0.45, 0.6, 0.45});
  mesh.paint(palette::blue);
  mesh.ball({0, 1.06, 0}, 0.35, 12, 7, 1.0, &palette::cream);

  mesh.place(turned_to(315, {-3, 0, 3}));
  mesh.paint(palette::pale_stone);
  constexpr auto pedestal =
      std::to_array<ProfilePoint>({{0.34, 0}, {0.3, 0.12}, {0.16, 0.22}, {0.14, 0.8}, {0.36, 0.9}, {0.36, 0.96}});
  mesh.turned({}, pedestal, 12);
  mesh.paint(palette::gold);
  mesh.bar({-0.25, 0.96, 0}, {0.15, 1.36, 0}, 0.035);
  mesh.place({});
}

Mesh furniture() {
  Mesh mesh;
  near_things(mesh);
  fountain(mesh, {0, 0, 14.6});
  obelisk(mesh, {0, 0, -14.6});
  const std::array shades{&palette::blue, &palette::red, &palette::green, &palette::yellow};
  for (std::size_t i = 0; i < shades.size(); ++i) cafe_table(mesh, {-14.4, 0, -6.6 + 4.4 * static_cast<double>(i)}, *shades[i]);
  for (const std::size_t side : {north, south, west}) {
    mesh.place(facing(side));
    for (const double x : {-10.2, 10.2}) round_tree(mesh, {x, 0, 14.2}, 5.0);
  }
  for (const std::size_t side : {north, south}) {
    for (const double sign : {-1.0, 1.0}) {
      ItemPose spot = facing(side);
      spot.position = spot.point_to_world({sign * 6.0, 0, 14.6});
      mesh.place(spot);
      bench(mesh);
    }
  }
  return mesh;
}

/// Lamps along one side of the plaza and the trees of the corner to its right: one object for all four sides.
Mesh lamps_and_trees() {
  Mesh mesh;
  for (const double x : {-6.0, 6.0}) street_lamp(mesh, {x, 0, 12.9});
  fir_tree(mesh, {20.0, 0, 27.0}, 7.0);
  fir_tree(mesh, {27.5, 0, 19.5}, 8.5);
  round_tree(mesh, {22.0, 0, 33.0}, 7.5);
  fir_tree(mesh, {46.0, 0, 33.0}, 12.0);
  return mesh;
}

// --- The tram and its line ----------------------------------------------------------------------------------------------

constexpr double line_end = 200.0;

Mesh tram_line() {
  Mesh mesh;
  mesh.place(ItemPose{{tram_line_east, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
  mesh.paint(palette::gravel);
  mesh.box({-1.3, 0, -line_end}, {1.3, 0.03, line_end});
  mesh.paint(palette::iron);
  for (const double x : {-0.72, 0.72}) mesh.box({x - 0.05, 0.03, -line_end}, {x + 0.05, 0.1, line_end});
  mesh.bar({0, 5.6, -line_end}, {0, 5.6, line_end}, 0.025);
  for (int pole = 0; pole < 8; ++pole) {
    const double z = 30.0 * pole - 105;
    mesh.bar({1.7, 0, z}, {1.7, 6.4, z}, 0.11);
    mesh.bar({1.7, 6.0, z}, {-0.2, 5.7, z}, 0.05);
  }
  return mesh;
}

Mesh tram() {
  constexpr double half_width = 1.15;
  constexpr double half_length = 4.6;
  Mesh mesh;
  mesh.paint(palette::iron);
  for (const double z : {-3.0, -1.9, 1.9, 3.0}) mesh.box({-0.8, 0.11, z - 0.33}, {0.8, 0.65, z + 0.33});
  mesh.paint(palette::red);
  mesh.box({-half_width, 0.5, -half_length}, {half_width, 1.55, half_length});
  mesh.paint(palette::cream);
  mesh.box({-half_width, 1.55, -half_length}, {half_width, 2.75, half_length});
  mesh.paint(palette::red);
  mesh.box({-half_width - 0.05, 2.75, -half_length - 0.05}, {half_width + 0.05, 2.9, half_length + 0.05});
  mesh.paint(palette::slate);
  mesh.box({-half_width + 0.25, 2.9, -half_length + 0.4}, {half_width - 0.25, 3.1, half_length - 0.4});
  for (const std::size_t side : {east, west}) {
    mesh.place(facing(side));
    mesh.paint(palette::glass);
    for (int i = 0; i < 7; ++i) mesh.quad({-4.35 + i * 1.26, 1.75, -half_width - 0.02}, {1.08, 0, 0}, {0, 0.85, 0});
    mesh.paint(palette::gold);
    mesh.quad({-half_length, 1.4, -half_width - 0.02}, {2 * half_length, 0, 0}, {0, 0.08, 0});
  }
  for (const std::size_t end : {north, south}) {
    mesh.place(facing(end));
    mesh.paint(palette::glass);
    mesh.quad({-0.95, 1.75, -half_length - 0.02}, {1.9, 0, 0}, {0, 0.85, 0});
    mesh.paint(palette::lamp_light);
    mesh.box({-0.2, 1.0, -half_length - 0.1}, {0.2, 1.35, -half_length});
  }
  mesh.place({});
  mesh.paint(palette::iron);
  mesh.bar({0, 3.1, -0.8}, {0, 4.3, 0.3}, 0.04);
  mesh.bar({0, 4.3, 0.3}, {0, 5.5, -0.6}, 0.04);
  mesh.bar({-0.6, 5.52, -0.6}, {0.6, 5.52, -0.6}, 0.05);
  return mesh;
}

// --- Overhead and far away ----------------------------------------------------------------------------------------------

/// A ring over the camera with the four letters, hung from strings of pennants that end at the arcades.
Mesh sky_ring() {
  constexpr double height = 10.0;
  constexpr double ring_radius = 2.6;
  Mesh mesh;
  for (std::size_t side = 0; side < side_count; ++side) {
    mesh.place(turned_to(90.0 * static_cast<double>(side), {}));
    constexpr int steps = 6;
    const auto rim = [&](int step, double radius, double y) {
      const double angle = (-45.0 + 90.0 * step / steps) * pi / 180;
      return Vec3{radius * std::sin(angle), y, radius * std::cos(angle)};
    };
    mesh.paint(*side_colors[side]);
    for (int step = 0; step < steps; ++step) {
      const auto face = [&](double r0, double y0, double r1, double y1) {
        mesh.polygon(std::array{rim(step + 1, r0, y0), rim(step + 1, r1, y1), rim(step, r1, y1), rim(step, r0, y0)});
      };
      constexpr double outer = ring_radius + 0.12;
      constexpr double inner = ring_radius - 0.12;
      face(outer, height, outer, height + 0.3);
      face(outer, height + 0.3, inner, height + 0.3);
      face(inner, height + 0.3, inner, height);
      face(inner, height, outer, height);
    }
    mesh.place(facing(side));
    mesh.lettering({0, height, 1.6}, {1, 0, 0}, {0, 0, -1}, side_letters[side], 1.1);
    mesh.paint(palette::iron);
    mesh.bar({-0.6, height + 0.1, 2.5}, {-0.3, height + 0.1, 0.9}, 0.03);
    mesh.bar({0.6, height + 0.1, 2.5}, {0.3, height + 0.1, 0.9}, 0.03);
  }
  // Eight wires lead from the ring to the front edge of the arcades, all at the same distance; near the ring a garland of
  // pennants runs around them.
  constexpr int wires = 8;
  constexpr double garland_share = 0.25;
  const auto wire_point = [&](int wire, double share) {
    const double heading = (22.5 + 45.0 * wire) * pi / 180;
    const double distance = ring_radius + share * (17.6 / std::cos(22.5 * pi / 180) - ring_radius);
    const double wire_height = height + 0.15 - 3.85 * share - 5.0 * share * (1 - share);
    return Vec3{distance * std::sin(heading), wire_height, distance * std::cos(heading)};
  };
  mesh.place({});
  for (int wire = 0; wire < wires; ++wire) {
    constexpr int steps = 6;
    for (int step = 0; step < steps; ++step) {
      mesh.paint(palette::iron);
      const Vec3 at = wire_point(wire, static_cast<double>(step) / steps);
      mesh.bar(at, wire_point(wire, (step + 1.0) / steps), 0.02);
      if (step % 2 == 0) continue;
      mesh.paint(palette::lamp_light);
      mesh.ball(at - Vec3{0, 0.22, 0}, 0.2, 5, 2);
    }
    const Vec3 left = wire_point(wire, garland_share);
    const Vec3 right = wire_point(wire + 1, garland_share);
    constexpr int pennants = 8;
    Vec3 last = left;
    for (int pennant = 1; pennant <= pennants; ++pennant) {
      const double share = static_cast<double>(pennant) / pennants;
      const Vec3 next = left * (1 - share) + right * share - Vec3{0, 3.6 * share * (1 - share), 0};
      const Vec3 low = (last + next) * 0.5 - Vec3{0, 0.6, 0};
      const Vec3 inset = (next - last) * 0.1;
      mesh.paint(palette::iron);
      mesh.bar(last, next, 0.015);
      Paint cloth = *side_colors[static_cast<std::size_t>(pennant) % side_count];
      cloth.name += " Pennant";
      mesh.paint(cloth);
      mesh.polygon(std::array{last + inset, next - inset, low});
      last = next;
    }
  }
  return mesh;
}

void far_tower(Mesh& mesh, Vec3 foot, double width, double height, const Paint& wall, bool pointed) {
  // Seen from a corner, so that two of its sides show.
  mesh.place(turned_to(std::atan2(foot.x, foot.z) * 180 / pi + (pointed ? 30 : -30), foot));
  mesh.paint(wall);
  block(mesh, {}, {width, height, width});
  mesh.paint(palette::bright_glass);
  const ItemPose tower = mesh.frame();
  const auto turn = [&](Vec3 way) { return tower.right * way.x + tower.forward * way.z; };
  constexpr int bands = 6;
  const double storey = height / (bands + 1);
  for (std::size_t side = 0; side < side_count; ++side) {
    const ItemPose face = facing(side);
    const Vec3 inwards = turn(face.forward);
    // Sides that face away from the plaza have no detail.
    if (dot(inwards, foot) < width) continue;
    mesh.place(ItemPose{foot, turn(face.right), face.up, inwards});
    for (int band = 0; band < bands; ++band)
      mesh.quad({-width * 0.42, (band + 0.9) * storey, -width / 2 - 0.1}, {width * 0.84, 0, 0}, {0, storey * 0.55, 0});
  }
  mesh.place(tower);
  mesh.paint(wall);
  if (pointed) {
    const auto spire =
        std::to_array<ProfilePoint>({{width * 0.62, height}, {width * 0.2, height + width}, {0, height + width * 2.6}});
    mesh.turned({}, spire, 8);
  } else {
    block(mesh, {0, height, 0}, {width * 0.55, height * 0.08, width * 0.55});
    mesh.bar({0, height * 1.08, 0}, {0, height * 1.25, 0}, 0.3);
  }
}

Mesh skyline() {
  struct Tower {
    double heading_degrees, distance, width, height;
    bool pointed;
  };
  constexpr auto towers = std::to_array<Tower>({
      {-14, 95, 11, 62, false},
      {16, 120, 13, 82, true},
      {38, 110, 12, 44, false},
      {50, 84, 10, 58, true},
      {74, 105, 12, 76, false},
      {101, 96, 9, 62, true},
      {141, 130, 14, 84, false},
      {163, 110, 10, 70, true},
      {196, 92, 12, 56, false},
      {219, 120, 13, 66, true},
      {232, 80, 10, 38, false},
      {255, 110, 14, 80, false},
      {284, 92, 9, 66, true},
      {308, 125, 14, 74, false},
      {321, 86, 10, 42, true},
  });
  Mesh mesh;
  for (const Tower& tower : towers) {
    const double heading = tower.heading_degrees * pi / 180;
    const Vec3 foot{tower.distance * std::sin(heading), 0, tower.distance * std::cos(heading)};
    const auto side = side_of(foot.x, foot.z);
    // Haze takes half of the colour away.
    const Paint wall{std::string("Far Tower ") + std::string(side_letters[side]),
                     side_colors[side]->color * 0.35 + Vec3{0.66, 0.74, 0.84} * 0.65};
    far_tower(mesh, foot, tower.width, tower.height, wall, tower.pointed);
  }

  mesh.place({});
  struct Range {
    double near, far, height;
    Paint paint;
    int seed;
  };
  const std::array ranges{Range{180, 245, 20, {"Near Hills", {0.46, 0.62, 0.40}}, 3},
                          Range{245, 325, 46, {"Far Hills", {0.52, 0.64, 0.68}}, 7}};
  for (const Range& range : ranges) {
    constexpr int steps = 40;
    mesh.paint(range.paint);
    const auto at = [&](int step, double distance, double height) {
      const double heading = 2 * pi * (step % steps) / steps;
      return Vec3{distance * std::sin(heading), height, distance * std::cos(heading)};
    };
    const auto ridge = [&](int step) {
      const int number = (step % steps) * range.seed;
      return at(step, range.far, range.height * (0.45 + 0.055 * (number * number % 11)));
    };
    for (int step = 0; step < steps; ++step) {
      mesh.polygon(std::array{at(step, range.near, 0), ridge(step), at(step + 1, range.near, 0)});
      mesh.polygon(std::array{ridge(step), ridge(step + 1), at(step + 1, range.near, 0)});
    }
  }

  struct Cloud {
    double heading_degrees, distance, height, size;
  };
  constexpr auto clouds =
      std::to_array<Cloud>({{8, 230, 170, 20}, {66, 210, 130, 17}, {152, 230, 165, 21}, {282, 230, 165, 21}});
  mesh.paint(palette::cloud);
  for (const Cloud& cloud : clouds) {
    mesh.place(turned_to(cloud.heading_degrees, {}));
    mesh.ball({0, cloud.height, cloud.distance}, cloud.size, 9, 4, 0.5);
    mesh.ball({cloud.size * 1.1, cloud.height - 2, cloud.distance + 4}, cloud.size * 0.7, 8, 4, 0.5);
    mesh.ball({-cloud.size * 1.2, cloud.height - 3, cloud.distance - 3}, cloud.size * 0.62, 7, 4, 0.5);
  }

  mesh.place(turned_to(-33, {}));
  constexpr double balloon_distance = 62;
  constexpr double balloon_height = 46;
  mesh.paint(palette::red);
  constexpr auto envelope = std::to_array<ProfilePoint>(
      {{0.9, -6.4}, {2.6, -4.2}, {4.4, -1.8}, {5.0, 0.4}, {4.7, 2.4}, {3.6, 4.0}, {1.8, 5.0}, {0, 5.3}});
  mesh.turned({0, balloon_height, balloon_distance}, envelope, 14, &palette::cream);
  mesh.paint(palette::wood);
  block(mesh, {0, balloon_height - 9.6, balloon_distance}, {1.3, 1.1, 1.3});
  mesh.paint(palette::iron);
  for (const double x : {-0.6, 0.6})
    for (const double z : {-0.6, 0.6})
      mesh.bar({x, balloon_height - 8.5, balloon_distance + z}, {x, balloon_height - 6.4, balloon_distance + z}, 0.04);
  return mesh;
}

}  // namespace

SampleObject grid_board() {
  constexpr int half_width = 24;
  constexpr int half_height = 16;
  constexpr double line = 0.05;
  Mesh mesh;
  mesh.paint(palette::cream);
  mesh.quad({-half_width, -half_height, 0}, {2 * half_width, 0, 0}, {0, 2 * half_height, 0});
  // Each kind of line lies a little before the one below it.
  const auto upright = [&](int x, double half, double z) {
    mesh.quad({x - half, -half_height, z}, {2 * half, 0, 0}, {0, 2 * half_height, 0});
  };
  const auto level = [&](int y, double half, double z) {
    mesh.quad({-half_width, y - half, z}, {2 * half_width, 0, 0}, {0, 2 * half, 0});
  };
  mesh.paint(palette::ink);
  for (int x = -half_width + 1; x < half_width; ++x)
    if (x != 0) upright(x, line / 2, -0.02);
  for (int y = -half_height + 1; y < half_height; ++y)
    if (y != 0) level(y, line / 2, -0.04);
  mesh.paint(palette::red);
  level(0, line, -0.06);
  mesh.paint(palette::blue);
  upright(0, line, -0.08);
  return {"objects/grid_board.lwo", "grid_board", std::move(mesh), {0}};
}

SampleObject cube_chart() {
  constexpr double half = 5.0;
  /// Nothing shines in there but the sides themselves.
  constexpr double glow = 1.0;
  constexpr Vec3 x{1, 0, 0};
  constexpr Vec3 y{0, 1, 0};
  constexpr Vec3 z{0, 0, 1};
  struct Side {
    std::string name;
    std::string axis;
    Vec3 color;
    Vec3 right;
    Vec3 up;
    Vec3 ahead;
    /// Of the arrow's ends, from the middle upward.
    double foot = -0.9;
    double tip = 4.2;
  };
  const std::array sides{
      Side{"FRONT", "+Z", {0.86, 0.36, 0.30}, x, y, z},
      Side{"BACK", "-Z", {0.90, 0.72, 0.28}, x * -1.0, y, z * -1.0},
      Side{"RIGHT", "+X", {0.36, 0.68, 0.42}, z * -1.0, y, x},
      Side{"LEFT", "-X", {0.34, 0.52, 0.82}, z, y, x * -1.0},
      Side{"TOP", "+Y", {0.62, 0.80, 0.92}, x, z * -1.0, y, 4.2, -0.9},
      Side{"BOTTOM", "-Y", {0.66, 0.60, 0.54}, x, z, y * -1.0},
  };
  Mesh mesh;
  for (const Side& side : sides) {
    // Marks lie a little before the side.
    const auto at = [&](double right, double up, double before) {
      return side.ahead * (half - before) + side.right * right + side.up * up;
    };
    mesh.paint({"Cube " + side.name, side.color, glow});
    mesh.quad(at(-half, -half, 0), side.right * (2 * half), side.up * (2 * half));
    mesh.paint({"Cube Edge", {0.97, 0.97, 0.94}, glow});
    for (const double edge : {-half, half - 0.15}) {
      mesh.quad(at(edge, -half, 0.01), side.right * 0.15, side.up * (2 * half));
      mesh.quad(at(-half, edge, 0.02), side.right * (2 * half), side.up * 0.15);
    }
    mesh.paint({"Cube Mark", {0.10, 0.11, 0.14}, glow});
    mesh.lettering(at(0, -2.3, 0.03), side.right, side.up, side.name, 1.3);
    mesh.lettering(at(0, -4.0, 0.03), side.right, side.up, side.axis, 1.0);
    const double way = side.tip > side.foot ? 1.0 : -1.0;
    const double barb = side.tip - 2.2 * way;
    mesh.quad(at(-0.35, std::min(side.foot, barb), 0.03), side.right * 0.7, side.up * std::abs(barb - side.foot));
    mesh.polygon(std::array{at(-1.3 * way, barb, 0.03), at(0, side.tip, 0.03), at(1.3 * way, barb, 0.03)});
  }
  return {"objects/cube_chart.lwo", "cube_chart", std::move(mesh), {0}};
}

std::vector<SampleObject> plaza_objects() {
  struct Maker {
    std::string name;
    std::function<Mesh()> make;
    std::vector<double> headings_degrees = {0};
  };
  const std::array makers{
      Maker{"arcade", arcade, {0, 90, 180, 270}},
      Maker{"lamps_and_trees", lamps_and_trees, {0, 90, 180, 270}},
      Maker{"plaza_floor", floor},
      Maker{"plaza_ground", ground},
      Maker{"plaza_grid", grid},
      Maker{"hall_north", north_hall},
      Maker{"houses_east", east_houses},
      Maker{"palace_south", south_palace},
      Maker{"offices_west", west_offices},
      Maker{"furniture", furniture},
      Maker{"tram_line", tram_line},
      Maker{"tram", tram},
      Maker{"sky_ring", sky_ring},
      Maker{"skyline", skyline},
  };
  std::vector<SampleObject> objects;
  objects.reserve(makers.size());
  for (const Maker& maker : makers)
    objects.push_back({"objects/" + maker.name + ".lwo", maker.name, maker.make(), maker.headings_degrees});
  return objects;
}

}  // namespace samples

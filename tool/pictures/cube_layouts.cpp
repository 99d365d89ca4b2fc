#include "tool/pictures/cube_layouts.h"

#include <algorithm>

namespace tool {
namespace {

using standin::Vec3;

constexpr Vec3 x{1.0, 0.0, 0.0};
constexpr Vec3 y{0.0, 1.0, 0.0};
constexpr Vec3 z{0.0, 0.0, 1.0};

constexpr CubeSide turned_left(const CubeSide& side) { return {side.up * -1.0, side.right, side.forward}; }
constexpr CubeSide turned_right(const CubeSide& side) { return {side.up, side.right * -1.0, side.forward}; }
constexpr CubeSide turned_around(const CubeSide& side) { return {side.right * -1.0, side.up * -1.0, side.forward}; }

// As somebody sees them who looks ahead and turns to each: what looks up and down is joined to the front.
constexpr CubeSide right{z * -1.0, y, x};
constexpr CubeSide left{z, y, x * -1.0};
constexpr CubeSide top{x, z * -1.0, y};
constexpr CubeSide bottom{x, z, y * -1.0};
constexpr CubeSide front{x, y, z};
constexpr CubeSide back{x * -1.0, y, z * -1.0};

constexpr std::array layouts{
    CubeLayout{"cross",
               "the skybox camera; a horizontal cross, which most engines take",
               4,
               3,
               {{{"left", left, 0, 1},
                 {"front", front, 1, 1},
                 {"right", right, 2, 1},
                 {"back", back, 3, 1},
                 {"top", top, 1, 0},
                 {"bottom", bottom, 1, 2}}}},
    CubeLayout{"alternate",
               "the skybox camera's other shape, with the top joined to the back",
               4,
               3,
               {{{"left", left, 0, 1},
                 {"front", front, 1, 1},
                 {"right", right, 2, 1},
                 {"back", back, 3, 1},
                 {"top", turned_around(top), 3, 0},
                 {"bottom", bottom, 1, 2}}}},
    CubeLayout{"vertical-cross",
               "a vertical cross, as light probes have it: the back stands on its head, joined to the bottom",
               3,
               4,
               {{{"left", left, 0, 1},
                 {"front", front, 1, 1},
                 {"right", right, 2, 1},
                 {"back", turned_around(back), 1, 3},
                 {"top", top, 1, 0},
                 {"bottom", bottom, 1, 2}}}},
    CubeLayout{"horizontal",
               "a row of +X, -X, +Y, -Y, +Z and -Z",
               6,
               1,
               {{{"right", right, 0, 0},
                 {"left", left, 1, 0},
                 {"top", top, 2, 0},
                 {"bottom", bottom, 3, 0},
                 {"front", front, 4, 0},
                 {"back", back, 5, 0}}}},
    CubeLayout{"vertical",
               "a column of +X, -X, +Y, -Y, +Z and -Z: the order of a cube map's memory in OpenGL, Vulkan and DirectX",
               1,
               6,
               {{{"right", right, 0, 0},
                 {"left", left, 0, 1},
                 {"top", top, 0, 2},
                 {"bottom", bottom, 0, 3},
                 {"front", front, 0, 4},
                 {"back", back, 0, 5}}}},
    CubeLayout{"3x2",
               "two rows of three, as cube map videos have them: +X, -X and +Y above -Y, +Z and -Z",
               3,
               2,
               {{{"right", right, 0, 0},
                 {"left", left, 1, 0},
                 {"top", top, 2, 0},
                 {"bottom", bottom, 0, 1},
                 {"front", front, 1, 1},
                 {"back", back, 2, 1}}}},
    CubeLayout{"separate",
               "people: six files by what each shows",
               0,
               0,
               {{{"left", left}, {"front", front}, {"right", right}, {"back", back}, {"top", top}, {"bottom", bottom}}}},
    CubeLayout{"opengl",
               "six files of a cube map in OpenGL, Vulkan, DirectX and WebGL",
               0,
               0,
               {{{"px", right}, {"nx", left}, {"py", top}, {"ny", bottom}, {"pz", front}, {"nz", back}}}},
    // Their world's X lies ahead, Y to the right and Z up; a cube map is read by these axes, whose own up is Y.
    CubeLayout{"unreal",
               "six files of a cube map in Unreal Engine, whose world has X ahead, Y to the right and Z up",
               0,
               0,
               {{{"px", turned_left(front)},
                 {"nx", turned_right(back)},
                 {"py", turned_around(right)},
                 {"ny", left},
                 {"pz", turned_left(top)},
                 {"nz", turned_left(bottom)}}}},
    // What is to the right of the front is called left there, and the other way round.
    CubeLayout{
        "quake",
        "six files of a sky in id Tech 2 and its descendants, which call lf what is to the right of ft",
        0,
        0,
        {{{"rt", left}, {"lf", right}, {"bk", back}, {"ft", front}, {"up", turned_left(top)}, {"dn", turned_right(bottom)}}}},
};

}  // namespace

std::span<const CubeLayout> cube_layouts() { return layouts; }

const CubeLayout* find_cube_layout(std::string_view name) {
  const auto* found = std::ranges::find(layouts, name, &CubeLayout::name);
  return found == layouts.end() ? nullptr : found;
}

std::string cube_layout_names(bool of_one_picture) {
  std::string names;
  std::string_view last;
  for (const CubeLayout& layout : layouts) {
    if (layout.is_one_picture() != of_one_picture) continue;
    if (!last.empty()) names.append(names.empty() ? "" : ", ").append(last);
    last = layout.name;
  }
  return names.append(" or ").append(last);
}

const CubeLayout* cube_layout_of_shape(int width, int height) {
  const auto* found = std::ranges::find_if(
      layouts, [&](const CubeLayout& layout) { return cube_face_pixels(layout, width, height).has_value(); });
  return found == layouts.end() ? nullptr : found;
}

std::optional<int> cube_face_pixels(const CubeLayout& layout, int width, int height) {
  if (!layout.is_one_picture() || width < layout.columns) return std::nullopt;
  const int side = width / layout.columns;
  if (side * layout.columns != width || side * layout.rows != height) return std::nullopt;
  return side;
}

}  // namespace tool

#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "framework/lens.h"
#include "framework/server.h"
#include "platform/export.h"

extern "C" {
OVICAM_EXPORT extern const framework::TagTable tagInfo5;
}

/// The six faces of a cube around the camera, unfolded on a grid of three rows and four columns.
namespace SkyboxCam {

enum class Layout : std::uint32_t { cross = 0, alternate = 1 };

/// How the box is unfolded on the film: the grid's offset from the film centre in metres, and the layout.
struct Unfolding {
  double split_x = 0.0;
  double split_y = 0.0;
  Layout layout = Layout::cross;
};

/// What a ray depends on, besides the film position: the unfolding, and the camera's position and matrix rows as the host's
/// frame record has them.
struct Box {
  Unfolding unfolding;
  framework::Vector position;
  std::array<framework::Vector, 3> rows;
};

/// The rows that turn a direction of a face's own space into one of the world.
using FaceRows = std::array<framework::Vector, 3>;

/// One face of the cube. Its world direction takes the rows of the camera's matrix in this order and with these signs.
struct Face {
  std::array<std::uint8_t, 3> rows;
  std::array<double, 3> signs;
};

inline constexpr Face left_face{{2, 1, 0}, {-1.0, 1.0, 1.0}};
inline constexpr Face front_face{{0, 1, 2}, {1.0, 1.0, 1.0}};
inline constexpr Face right_face{{2, 1, 0}, {1.0, 1.0, -1.0}};
inline constexpr Face back_face{{0, 1, 2}, {-1.0, 1.0, -1.0}};
inline constexpr Face upper_face{{0, 2, 1}, {1.0, 1.0, -1.0}};
/// Mirrored in x, to join the back face below it.
inline constexpr Face upper_face_over_back{{0, 2, 1}, {-1.0, 1.0, 1.0}};
inline constexpr Face lower_face{{0, 2, 1}, {1.0, -1.0, 1.0}};

/// The rows of one face. `camera_row` returns a row of the camera's matrix by its index.
template <class CameraRow>
FaceRows rows_of(const Face& face, CameraRow camera_row) {
  const auto signed_row = [&](std::size_t i) { return camera_row(face.rows[i]) * face.signs[i]; };
  return {signed_row(0), signed_row(1), signed_row(2)};
}

/// The faces by row, from the lowest film y, and column, from the lowest film x; null where there is none.
using FaceGrid = std::array<std::array<const Face*, 4>, 3>;
inline constexpr std::array<const Face*, 4> lowest_row{nullptr, &lower_face, nullptr, nullptr};
inline constexpr std::array<const Face*, 4> middle_row{&left_face, &front_face, &right_face, &back_face};
inline constexpr FaceGrid cross_grid{{lowest_row, middle_row, {nullptr, &upper_face, nullptr, nullptr}}};
inline constexpr FaceGrid alternate_grid{{lowest_row, middle_row, {nullptr, nullptr, nullptr, &upper_face_over_back}}};
/// A layout that a scene file made up has no upper face.
inline constexpr FaceGrid unknown_grid{{lowest_row, middle_row, {}}};

constexpr const FaceGrid& faces_of(Layout layout) {
  return layout == Layout::cross ? cross_grid : layout == Layout::alternate ? alternate_grid : unknown_grid;
}

/// Down to a tenth of a millimetre. The conversion is the floor: the library's own costs more than the rest of a ray on
/// Windows, and beyond 2^52 there are no fractions left to cut.
inline double cut_to_tenth_of_millimetre(double metres) {
  double tenths = metres * 10000.0;
  if (framework::math::abs(tenths) < 0x1p52) {
    const auto toward_zero = static_cast<double>(static_cast<std::int64_t>(tenths));
    tenths = toward_zero > tenths ? toward_zero - 1.0 : toward_zero;
  }
  return tenths / 10000.0;
}

/// The grid that a film is divided into, metres.
struct Grid {
  explicit Grid(framework::Film film)
      : width(cut_to_tenth_of_millimetre(film.width)),
        third_of_height(cut_to_tenth_of_millimetre(film.height) / 3.0),
        sixth_of_height(cut_to_tenth_of_millimetre(film.height) / 6.0) {}

  double width;
  double third_of_height;
  double sixth_of_height;
};

/// The ray of a position on a face's own film, metres from the face's centre; its direction is also its film normal. A cube's
/// face would take a sixth of the whole film's height for the film distance; this is slightly more, so that each face is a
/// touch narrower than a cube's and no seam shows twice. Threads: any.
inline framework::Ray perspective_ray(framework::Vector position, const FaceRows& rows, double film_height,
                                      framework::FilmPoint on_face) {
  using namespace framework;
  const Vector local = normalized({on_face.x, on_face.y, 0.1685 * film_height});
  const Vector direction{dot(rows[0], local), dot(rows[1], local), dot(rows[2], local)};
  return {position, direction, direction};
}

/// What a film position shows: a position on a face's own film, metres from the face's centre.
struct FaceView {
  framework::FilmPoint on_face;
  const Face* face;
};

/// None where the grid has no face. `grid` is the film's. Threads: any.
inline std::optional<FaceView> face_view(const Unfolding& unfolding, const Grid& grid, framework::FilmPoint at) {
  using namespace framework;
  // A position on a boundary belongs to the lower cell.
  const double quarter = 0.25 * grid.width;
  const double sixth = grid.sixth_of_height;
  const std::size_t column = at.x <= unfolding.split_x - quarter   ? 0
                             : at.x <= unfolding.split_x           ? 1
                             : at.x <= unfolding.split_x + quarter ? 2
                                                                   : 3;
  const std::size_t row = at.y <= unfolding.split_y - sixth ? 0 : at.y <= unfolding.split_y + sixth ? 1 : 2;
  const Face* face = faces_of(unfolding.layout)[row][column];
  if (face == nullptr) return std::nullopt;
  constexpr std::array column_shares{0.375, 0.125, -0.125, -0.375};
  constexpr std::array row_shares{1.0, 0.0, -1.0};
  return FaceView{{at.x + column_shares[column] * grid.width, at.y + row_shares[row] * grid.third_of_height}, face};
}

/// The ray of a film position, from the camera's position. None where the grid has no face. Threads: any.
inline std::optional<framework::Ray> map(const Box& box, framework::Film film, framework::FilmPoint at) {
  const std::optional<FaceView> view = face_view(box.unfolding, Grid(film), at);
  if (!view) return std::nullopt;
  const FaceRows rows = rows_of(*view->face, [&](std::size_t i) { return box.rows[i]; });
  return perspective_ray(box.position, rows, film.height, view->on_face);
}

ActivateFunc CameraHandler, CameraInterface, CameraGizmo;

inline constexpr framework::CameraServer server{"QuorinSkyboxCam", &tagInfo5, CameraHandler, CameraInterface, CameraGizmo};

}  // namespace SkyboxCam

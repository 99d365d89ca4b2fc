#include "tool/commands/skybox_command.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "tool/commands/usage_error.h"
#include "tool/output/new_file.h"
#include "tool/pictures/cube_faces.h"
#include "tool/pictures/stored_picture.h"

namespace tool {
namespace {

constexpr std::size_t column_count = 4;
constexpr std::size_t row_count = 3;
/// The camera shifts its grid by this fraction of a pixel towards smaller film positions.
constexpr double grid_shift_pixels = 0.95;
/// Of a square face: six of them in a row fit a picture.
constexpr int most_face_pixels = 4096;

enum class Layout { cross, alternate };

struct Face {
  std::string_view name;
  /// Columns from the left and rows from the top, from 0.
  std::size_t column = 0;
  std::size_t row = 0;
};

constexpr std::array<Face, 6> faces_of(Layout layout) {
  return {{{"left", 0, 1},
           {"front", 1, 1},
           {"right", 2, 1},
           {"back", 3, 1},
           {"top", layout == Layout::cross ? std::size_t{1} : std::size_t{3}, 0},
           {"bottom", 1, 2}}};
}

/// Where the camera's cells begin and end, in whole pixels: a pixel belongs to the cell that its centre lies in.
struct FaceGrid {
  std::array<int, column_count + 1> columns{};
  std::array<int, row_count + 1> rows{};
};

/// The camera truncates film sizes to four decimals.
double cut(double film_size) { return std::floor(film_size * 10000.0) / 10000.0; }

FaceGrid grid_of(int width, int height, double film_height) {
  standin::CameraSettings camera;
  camera.width_pixels = width;
  camera.height_pixels = height;
  camera.aperture_height = film_height;
  const auto [film_width, same_height] = standin::film_size(camera);
  const double split_x = -grid_shift_pixels / width * film_width;
  const double split_y = -grid_shift_pixels / height * film_height;

  FaceGrid grid;
  grid.columns.back() = width;
  for (int column = width - 1; column >= 0; --column) {
    const double x = ((column + 0.5) / width - 0.5) * film_width;
    for (std::size_t boundary = 1; boundary < column_count; ++boundary) {
      const double at = split_x + (static_cast<double>(boundary) - 2.0) * 0.25 * cut(film_width);
      if (x > at) grid.columns[boundary] = column;
    }
  }
  grid.rows.back() = height;
  for (int row = 0; row < height; ++row) {
    const double y = (0.5 - (row + 0.5) / height) * film_height;
    if (y > split_y + cut(film_height) / 6.0) grid.rows[1] = row + 1;
    if (y > split_y - cut(film_height) / 6.0) grid.rows[2] = row + 1;
  }
  return grid;
}

PixelBox cell_of(const FaceGrid& grid, const Face& face) {
  const int left = grid.columns[face.column];
  const int top = grid.rows[face.row];
  return {left, top, grid.columns[face.column + 1] - left, grid.rows[face.row + 1] - top};
}

bool has_room(const PixelBox& cell) { return cell.width > 0 && cell.height > 0; }

std::runtime_error unusable(const std::string& file, const std::string& reason) {
  return std::runtime_error(file + ": " + reason);
}

/// Whether every pixel of a cell is transparent. Its edges do not count: samples of the next cell may have reached them.
bool is_empty(const StoredPicture& picture, const PixelBox& cell) {
  const PixelBox inner{cell.left + 1, cell.top + 1, cell.width - 2, cell.height - 2};
  if (!has_room(inner)) return true;
  const std::vector<float> samples = picture.samples(inner);
  for (std::size_t i = static_cast<std::size_t>(picture.alpha_channel()); i < samples.size(); i += picture.channels().size())
    if (samples[i] > 0.0F) return false;
  return true;
}

Layout detect_layout(const StoredPicture& picture, const FaceGrid& grid, const std::string& file) {
  const std::string remedy = "; give --layout cross or --layout alternate";
  if (picture.alpha_channel() < 0) throw unusable(file, "it has no alpha channel, which shows the empty cells" + remedy);
  std::array<std::array<bool, column_count>, row_count> empty{};
  for (std::size_t row = 0; row < row_count; ++row)
    for (std::size_t column = 0; column < column_count; ++column)
      empty[row][column] = is_empty(picture, cell_of(grid, {"", column, row}));
  for (const Layout layout : {Layout::cross, Layout::alternate}) {
    std::array<std::array<bool, column_count>, row_count> expected{};
    for (auto& row : expected) row.fill(true);
    for (const Face& face : faces_of(layout)) expected[face.row][face.column] = false;
    if (empty == expected) return layout;
  }
  throw unusable(file, "its empty cells match neither skybox layout" + remedy);
}

std::optional<Layout> parse_layout(const std::string& text) {
  if (text.empty()) return std::nullopt;
  if (text == "cross") return Layout::cross;
  if (text == "alternate") return Layout::alternate;
  throw UsageError("--layout " + text + ": give cross or alternate");
}

/// How the faces lie in what is written.
enum class Order { separate, cross, horizontal, vertical };

Order parse_order(const std::string& text) {
  if (text.empty() || text == "separate") return Order::separate;
  if (text == "cross") return Order::cross;
  if (text == "horizontal") return Order::horizontal;
  if (text == "vertical") return Order::vertical;
  throw UsageError("--output-layout " + text + ": give separate, cross, horizontal or vertical");
}

/// Of the faces as faces_of has them, and of the strips: +X, -X, +Y, -Y, +Z and -Z.
constexpr std::array<std::size_t, 6> strip_order{2, 0, 4, 5, 1, 3};

/// As the camera's page has it: the world's axes by face, in the order of faces_of. What looks up is joined to the front, or,
/// in the alternate layout of the frame, to the back.
std::array<CubeSide, 6> sides_of(Layout layout) {
  using standin::Vec3;
  constexpr Vec3 x{1.0, 0.0, 0.0};
  constexpr Vec3 y{0.0, 1.0, 0.0};
  constexpr Vec3 z{0.0, 0.0, 1.0};
  const double turned = layout == Layout::cross ? 1.0 : -1.0;
  return {
      {{z, y, x * -1.0}, {x, y, z}, {z * -1.0, y, x}, {x * -1.0, y, z * -1.0}, {x * turned, z * -turned, y}, {x, z, y * -1.0}}};
}

/// The cells of a frame as views. Throws when one has no pixel that belongs to it wholly.
std::array<CubeView, 6> views_of(const std::string& file, int width, int height, double film_height, Layout layout) {
  /// The camera's film distance, as a share of the film's height.
  constexpr double film_distance = 0.1685;
  standin::CameraSettings camera;
  camera.width_pixels = width;
  camera.height_pixels = height;
  camera.aperture_height = film_height;
  const double film_width = standin::film_size(camera)[0];
  const auto column_at = [&](double film_x) { return (film_x / film_width + 0.5) * width; };
  const auto row_at = [&](double film_y) { return (0.5 - film_y / film_height) * height; };
  const double split_x = -grid_shift_pixels / width * film_width;
  const double split_y = -grid_shift_pixels / height * film_height;
  const double cell_width = 0.25 * cut(film_width);
  const double cell_height = cut(film_height) / 3.0;
  const auto faces = faces_of(layout);
  const auto sides = sides_of(layout);
  std::array<CubeView, 6> views;
  for (std::size_t i = 0; i < views.size(); ++i) {
    // The camera moves the cells' borders, and not what is in them.
    const double middle_x = (static_cast<double>(faces[i].column) - 1.5) * cell_width;
    const double middle_y = (1.0 - static_cast<double>(faces[i].row)) * cell_height;
    const auto first = [](double border, int least) { return std::max(least, static_cast<int>(std::ceil(border - 1e-6))); };
    const auto end = [](double border, int most) { return std::min(most, static_cast<int>(std::floor(border + 1e-6))); };
    // The outermost cells reach to the edge of the film.
    const int left = faces[i].column == 0 ? 0 : first(column_at(split_x + middle_x - cell_width / 2.0), 0);
    const int right = faces[i].column == 3 ? width : end(column_at(split_x + middle_x + cell_width / 2.0), width);
    const int top = faces[i].row == 0 ? 0 : first(row_at(split_y + middle_y + cell_height / 2.0), 0);
    const int bottom = faces[i].row == 2 ? height : end(row_at(split_y + middle_y - cell_height / 2.0), height);
    if (right <= left || bottom <= top) throw unusable(file, "its six faces have too few pixels to be resampled");
    views[i] = {sides[i],
                column_at(middle_x),
                row_at(middle_y),
                film_distance * film_height / film_width * width,
                film_distance * height,
                {left, top, right - left, bottom - top}};
  }
  return views;
}

/// Six squares in one picture. `at` says where each begins, in squares.
std::vector<float> assembled(const std::array<std::vector<float>, 6>& faces, std::size_t side, std::size_t channels,
                             std::size_t squares_across, std::size_t squares_down,
                             const std::array<std::pair<std::size_t, std::size_t>, 6>& at) {
  std::vector<float> picture(squares_across * squares_down * side * side * channels);
  const std::size_t row_length = side * channels;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    for (std::size_t row = 0; row < side; ++row) {
      const std::size_t to = ((at[i].second * side + row) * squares_across + at[i].first) * row_length;
      std::copy_n(faces[i].begin() + static_cast<std::ptrdiff_t>(row * row_length), row_length,
                  picture.begin() + static_cast<std::ptrdiff_t>(to));
    }
  }
  return picture;
}

struct SkyboxArguments {
  std::string picture;
  std::string folder;
  std::string layout;
  int face_pixels = 0;
  std::string output_layout;
  double film_height = standin::CameraSettings().aperture_height;
};

/// Writes the faces as squares of the same size.
void write_squares(const SkyboxArguments& arguments, const StoredPicture& picture, Layout layout, Order order) {
  const int side = arguments.face_pixels;
  const auto faces = faces_of(layout);
  const CubePicture cube(picture,
                         views_of(arguments.picture, picture.width(), picture.height(), arguments.film_height, layout));
  // In a strip or a cross, what looks up is joined to the front, whatever the frame's layout.
  const auto sides = sides_of(order == Order::separate ? layout : Layout::cross);
  const std::filesystem::path folder = arguments.folder;
  const std::string extension = std::filesystem::path(arguments.picture).extension().string();
  std::array<std::unique_ptr<NewFile>, 6> files;
  std::array<std::vector<float>, 6> pixels;
  for (std::size_t i = 0; i < sides.size(); ++i) {
    pixels[i] = cube.side(sides[i], side);
    if (order != Order::separate) continue;
    files[i] = std::make_unique<NewFile>(folder / (std::string(faces[i].name) + extension));
    files[i]->write(picture.file_of(side, side, pixels[i]));
    files[i]->complete();
    pixels[i] = {};
  }
  if (order == Order::separate) {
    for (std::size_t i = 0; i < sides.size(); ++i) {
      files[i]->finish();
      std::cout << faces[i].name << ": " << side << 'x' << side << " pixels -> " << files[i]->name().string() << '\n';
    }
    return;
  }
  std::array<std::pair<std::size_t, std::size_t>, 6> places;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::size_t face = order == Order::cross ? i : strip_order[i];
    places[face] = order == Order::cross        ? std::pair(faces_of(Layout::cross)[i].column, faces_of(Layout::cross)[i].row)
                   : order == Order::horizontal ? std::pair(i, std::size_t{0})
                                                : std::pair(std::size_t{0}, i);
  }
  const std::size_t across = order == Order::cross ? column_count : order == Order::horizontal ? 6 : 1;
  const std::size_t down = order == Order::cross ? row_count : order == Order::horizontal ? 1 : 6;
  NewFile file(folder / (arguments.output_layout + extension));
  const int width = side * static_cast<int>(across);
  const int height = side * static_cast<int>(down);
  file.write(picture.file_of(
      width, height, assembled(pixels, static_cast<std::size_t>(side), picture.channels().size(), across, down, places)));
  file.finish();
  std::cout << arguments.output_layout << ": " << width << 'x' << height << " pixels -> " << file.name().string() << '\n';
}

void split(const SkyboxArguments& arguments) {
  const auto wanted_layout = parse_layout(arguments.layout);
  const Order order = parse_order(arguments.output_layout);
  const auto read = read_picture(arguments.picture);
  const StoredPicture& picture = *read;
  const int width = picture.width();
  const int height = picture.height();
  const std::string size = std::to_string(width) + 'x' + std::to_string(height);
  const FaceGrid grid = grid_of(width, height, arguments.film_height);
  for (const Layout layout : {Layout::cross, Layout::alternate}) {
    for (const Face& face : faces_of(layout))
      if (!has_room(cell_of(grid, face)))
        throw unusable(arguments.picture, "a picture of " + size + " pixels is too small for the six faces");
  }
  const Layout layout = wanted_layout ? *wanted_layout : detect_layout(picture, grid, arguments.picture);

  std::error_code error;
  std::filesystem::create_directories(arguments.folder, error);
  if (error) throw unusable(arguments.folder, "the folder cannot be created: " + error.message());
  if (arguments.face_pixels > 0) {
    write_squares(arguments, picture, layout, order);
    return;
  }
  const std::string extension = std::filesystem::path(arguments.picture).extension().string();
  std::array<std::unique_ptr<NewFile>, 6> files;
  const auto faces = faces_of(layout);
  // All six are written before the first is renamed, so that there are never some without the others.
  for (std::size_t i = 0; i < faces.size(); ++i) {
    files[i] = std::make_unique<NewFile>(std::filesystem::path(arguments.folder) / (std::string(faces[i].name) + extension));
    files[i]->write(picture.file_of_part(cell_of(grid, faces[i])));
    files[i]->complete();
  }
  for (std::size_t i = 0; i < faces.size(); ++i) {
    files[i]->finish();
    const PixelBox cell = cell_of(grid, faces[i]);
    std::cout << faces[i].name << ": " << cell.width << 'x' << cell.height << " pixels from column " << cell.left << ", row "
              << cell.top << " -> " << files[i]->name().string() << '\n';
  }
}

}  // namespace

void add_skybox_command(CLI::App& app) {
  auto* skybox = app.add_subcommand("skybox", "Works on frames of the skybox camera.");
  skybox->footer("Example:\n  ovicam skybox split skybox.png -o faces");
  skybox->require_subcommand(1);
  auto* command = skybox->add_subcommand("split", "Cuts a skybox frame into left, front, right, back, top and bottom.");
  command->footer(
      "Example:\n  ovicam skybox split build/gallery/pictures/skybox_cross.png -o faces\n"
      "A pixel goes to the face that its centre lies on. The camera's grid is not quite centred, so the outermost faces are a "
      "pixel narrower or wider than the others; a size that is not a multiple of 4 and 3 adds another pixel to that.\n"
      "With --face, each is a square of exactly a quarter turn instead, and they meet at their edges: the camera's faces are a "
      "touch narrower, and what is missing between two goes over from the one into the other. Strips have right, left, top, "
      "bottom, front and back: +X, -X, +Y, -Y, +Z and -Z. In strips and in the cross, the top joins the front.");
  const auto arguments = std::make_shared<SkyboxArguments>();
  command->add_option("PICTURE", arguments->picture, "Rendered skybox frame, PNG or EXR")->required();
  command->add_option("-o,--output", arguments->folder, "Folder for the six faces; created if it does not exist")->required();
  command->add_option("--layout", arguments->layout, "cross or alternate (default: told from the empty cells)");
  auto* face = command->add_option("--face", arguments->face_pixels, "Six equal squares of so many pixels on each side")
                   ->check(CLI::Range(1, most_face_pixels));
  command
      ->add_option("--output-layout", arguments->output_layout,
                   "With --face: separate (default), or one picture, cross, horizontal or vertical")
      ->needs(face);
  command->add_option("--film-height", arguments->film_height, "Film height of the camera, metres")
      ->check(CLI::Range(0.001, 1.0))
      ->capture_default_str();
  command->callback([arguments] { split(*arguments); });
}

}  // namespace tool

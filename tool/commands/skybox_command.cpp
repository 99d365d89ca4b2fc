#include "tool/commands/skybox_command.h"

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
#include "tool/pictures/stored_picture.h"

namespace tool {
namespace {

constexpr std::size_t column_count = 4;
constexpr std::size_t row_count = 3;
/// The camera shifts its grid by this fraction of a pixel towards smaller film positions.
constexpr double grid_shift_pixels = 0.95;

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
struct Grid {
  std::array<int, column_count + 1> columns{};
  std::array<int, row_count + 1> rows{};
};

/// The camera truncates film sizes to four decimals.
double cut(double film_size) { return std::floor(film_size * 10000.0) / 10000.0; }

Grid grid_of(int width, int height, double film_height) {
  standin::CameraSettings camera;
  camera.width_pixels = width;
  camera.height_pixels = height;
  camera.aperture_height = film_height;
  const auto [film_width, same_height] = standin::film_size(camera);
  const double split_x = -grid_shift_pixels / width * film_width;
  const double split_y = -grid_shift_pixels / height * film_height;

  Grid grid;
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

PixelBox cell_of(const Grid& grid, const Face& face) {
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

Layout detect_layout(const StoredPicture& picture, const Grid& grid, const std::string& file) {
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

struct Arguments {
  std::string picture;
  std::string folder;
  std::string layout;
  double film_height = standin::CameraSettings().aperture_height;
};

void split(const Arguments& arguments) {
  const auto wanted_layout = parse_layout(arguments.layout);
  const auto read = read_picture(arguments.picture);
  const StoredPicture& picture = *read;
  const int width = picture.width();
  const int height = picture.height();
  const std::string size = std::to_string(width) + 'x' + std::to_string(height);
  const Grid grid = grid_of(width, height, arguments.film_height);
  for (const Layout layout : {Layout::cross, Layout::alternate}) {
    for (const Face& face : faces_of(layout))
      if (!has_room(cell_of(grid, face)))
        throw unusable(arguments.picture, "a picture of " + size + " pixels is too small for the six faces");
  }
  const Layout layout = wanted_layout ? *wanted_layout : detect_layout(picture, grid, arguments.picture);

  std::error_code error;
  std::filesystem::create_directories(arguments.folder, error);
  if (error) throw unusable(arguments.folder, "the folder cannot be created: " + error.message());
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
      "pixel narrower or wider than the others; a size that is not a multiple of 4 and 3 adds another pixel to that.");
  const auto arguments = std::make_shared<Arguments>();
  command->add_option("PICTURE", arguments->picture, "Rendered skybox frame, PNG or EXR")->required();
  command->add_option("-o,--output", arguments->folder, "Folder for the six faces; created if it does not exist")->required();
  command->add_option("--layout", arguments->layout, "cross or alternate (default: told from the empty cells)");
  command->add_option("--film-height", arguments->film_height, "Film height of the camera, metres")
      ->check(CLI::Range(0.001, 1.0))
      ->capture_default_str();
  command->callback([arguments] { split(*arguments); });
}

}  // namespace tool

#include "tool/commands/skybox_command.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "tool/commands/usage_error.h"
#include "tool/output/json_output.h"
#include "tool/output/new_file.h"
#include "tool/pictures/cube_cells.h"
#include "tool/pictures/cube_faces.h"
#include "tool/pictures/cube_layouts.h"
#include "tool/pictures/stored_picture.h"

namespace tool {
namespace {

constexpr std::size_t column_count = 4;
constexpr std::size_t row_count = 3;
/// Of a square face: six of them in a row fit a picture.
constexpr int most_face_pixels = 4096;

/// Those of the camera's frames.
std::array<const CubeLayout*, 2> frame_layouts() { return {find_cube_layout("cross"), find_cube_layout("alternate")}; }

/// Where the camera's cells begin and end, in whole pixels: a pixel belongs to the cell that its centre lies in.
struct FaceGrid {
  std::array<int, column_count + 1> columns{};
  std::array<int, row_count + 1> rows{};
};

FaceGrid grid_of(int width, int height, double film_height) {
  const SkyboxGrid shares = skybox_grid(width, height, film_height);
  FaceGrid grid;
  for (std::size_t i = 0; i <= column_count; ++i)
    grid.columns[i] = static_cast<int>(std::floor(shares.columns[i] * width + 0.5));
  for (std::size_t i = 0; i <= row_count; ++i)
    grid.rows[i] = static_cast<int>(std::ceil((1.0 - shares.rows[i]) * height - 0.5));
  return grid;
}

PixelBox cell_at(const FaceGrid& grid, std::size_t column, std::size_t row) {
  const int left = grid.columns[column];
  const int top = grid.rows[row];
  return {left, top, grid.columns[column + 1] - left, grid.rows[row + 1] - top};
}

PixelBox cell_of(const FaceGrid& grid, const CubeFace& face) {
  return cell_at(grid, static_cast<std::size_t>(face.column), static_cast<std::size_t>(face.row));
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
  for (auto i = static_cast<std::size_t>(picture.alpha_channel()); i < samples.size(); i += picture.channels().size())
    if (samples[i] > 0.0F) return false;
  return true;
}

const CubeLayout& detect_layout(const StoredPicture& picture, const FaceGrid& grid, const std::string& file) {
  const std::string remedy = "; give --layout cross or --layout alternate";
  if (picture.alpha_channel() < 0) throw unusable(file, "it has no alpha channel, which shows the empty cells" + remedy);
  std::array<std::array<bool, column_count>, row_count> empty{};
  for (std::size_t row = 0; row < row_count; ++row)
    for (std::size_t column = 0; column < column_count; ++column)
      empty[row][column] = is_empty(picture, cell_at(grid, column, row));
  for (const CubeLayout* layout : frame_layouts()) {
    std::array<std::array<bool, column_count>, row_count> expected{};
    for (auto& row : expected) row.fill(true);
    for (const CubeFace& face : layout->faces)
      expected[static_cast<std::size_t>(face.row)][static_cast<std::size_t>(face.column)] = false;
    if (empty == expected) return *layout;
  }
  throw unusable(file, "its empty cells match neither skybox layout" + remedy);
}

/// Null: to be told from the picture.
const CubeLayout* parse_layout(const std::string& text) {
  if (text.empty()) return nullptr;
  for (const CubeLayout* layout : frame_layouts())
    if (text == layout->name) return layout;
  throw UsageError("--layout " + text + ": give cross or alternate");
}

const CubeLayout& parse_output_layout(const std::string& text) {
  const CubeLayout* layout = find_cube_layout(text);
  if (layout == nullptr) {
    throw UsageError("--output-layout " + text + ": for six files give " + cube_layout_names(false) + "; for one picture " +
                     cube_layout_names(true));
  }
  return *layout;
}

/// The cells of a frame as views. Throws when one has no pixel that belongs to it wholly.
std::array<CubeView, 6> views_of(const std::string& file, int width, int height, double film_height, const CubeLayout& layout) {
  const auto cells = skybox_cells(layout, width, height, film_height);
  std::array<CubeView, 6> views;
  for (std::size_t i = 0; i < views.size(); ++i) {
    const CubeCell& cell = cells[i];
    const PixelBox pixels = whole_pixels(cell.left, cell.right, cell.bottom, cell.top, width, height);
    if (!has_room(pixels)) throw unusable(file, "its six faces have too few pixels to be resampled");
    views[i] = {cell.side,
                cell.middle_s * width,
                (1.0 - cell.middle_t) * height,
                cell.s_at_45_degrees * width,
                cell.t_at_45_degrees * height,
                pixels};
  }
  return views;
}

struct SkyboxArguments {
  std::string picture;
  std::string folder;
  std::string layout;
  int face_pixels = 0;
  std::string output_layout = "separate";
  double film_height = standin::CameraSettings().aperture_height;
};

std::string pixels_text(int width, int height) { return std::to_string(width) + 'x' + std::to_string(height) + " pixels"; }

std::string extension_of(const SkyboxArguments& arguments) {
  return std::filesystem::path(arguments.picture).extension().string();
}

/// `bytes_of` gives what a face's file holds, and `text_of` what a person reads of it. All six are written before the first is
/// renamed, so that there are never some without the others.
template <class BytesOf, class TextOf>
void write_files(const SkyboxArguments& arguments, const std::array<CubeFace, 6>& faces, BytesOf bytes_of, TextOf text_of) {
  std::array<std::unique_ptr<NewFile>, 6> files;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    files[i] = std::make_unique<NewFile>(std::filesystem::path(arguments.folder) /
                                         (std::string(faces[i].name) + extension_of(arguments)));
    files[i]->write(bytes_of(faces[i]));
    files[i]->complete();
  }
  for (std::size_t i = 0; i < faces.size(); ++i) {
    files[i]->finish();
    std::cout << faces[i].name << ": " << text_of(faces[i]) << " -> " << files[i]->name().string() << '\n';
  }
}

void write_one_picture(const SkyboxArguments& arguments, const StoredPicture& picture, const CubePicture& cube,
                       const CubeLayout& layout) {
  const auto side = static_cast<std::size_t>(arguments.face_pixels);
  const std::size_t face_row = side * picture.channels().size();
  const std::size_t picture_row = static_cast<std::size_t>(layout.columns) * face_row;
  std::vector<float> samples(static_cast<std::size_t>(layout.rows) * side * picture_row);
  for (const CubeFace& face : layout.faces) {
    const std::vector<float> pixels = cube.side(face.side, arguments.face_pixels);
    const std::size_t first =
        static_cast<std::size_t>(face.row) * side * picture_row + static_cast<std::size_t>(face.column) * face_row;
    for (std::size_t row = 0; row < side; ++row)
      std::copy_n(&pixels[row * face_row], face_row, &samples[first + row * picture_row]);
  }
  NewFile file(std::filesystem::path(arguments.folder) / (arguments.output_layout + extension_of(arguments)));
  const int width = arguments.face_pixels * layout.columns;
  const int height = arguments.face_pixels * layout.rows;
  file.write(picture.file_of(width, height, samples));
  file.finish();
  std::cout << arguments.output_layout << ": " << pixels_text(width, height) << " -> " << file.name().string() << '\n';
}

/// Writes the faces as squares of the same size.
void write_squares(const SkyboxArguments& arguments, const StoredPicture& picture, const CubeLayout& of_frame,
                   const CubeLayout& wanted) {
  const CubePicture cube(picture,
                         views_of(arguments.picture, picture.width(), picture.height(), arguments.film_height, of_frame));
  if (wanted.is_one_picture()) {
    write_one_picture(arguments, picture, cube, wanted);
    return;
  }
  const int side = arguments.face_pixels;
  // By the same names, and turned as they are in the frame, where the frame is only taken apart.
  write_files(
      arguments, arguments.output_layout == "separate" ? of_frame.faces : wanted.faces,
      [&](const CubeFace& face) { return picture.file_of(side, side, cube.side(face.side, side)); },
      [&](const CubeFace&) { return pixels_text(side, side); });
}

void split(const SkyboxArguments& arguments) {
  const CubeLayout* const wanted_layout = parse_layout(arguments.layout);
  const CubeLayout& order = parse_output_layout(arguments.output_layout);
  const auto read = read_picture(arguments.picture);
  const StoredPicture& picture = *read;
  const int width = picture.width();
  const int height = picture.height();
  const std::string size = std::to_string(width) + 'x' + std::to_string(height);
  const FaceGrid grid = grid_of(width, height, arguments.film_height);
  for (const CubeLayout* layout : frame_layouts()) {
    for (const CubeFace& face : layout->faces)
      if (!has_room(cell_of(grid, face)))
        throw unusable(arguments.picture, "a picture of " + size + " pixels is too small for the six faces");
  }
  const CubeLayout& layout = wanted_layout != nullptr ? *wanted_layout : detect_layout(picture, grid, arguments.picture);

  std::error_code error;
  std::filesystem::create_directories(arguments.folder, error);
  if (error) throw unusable(arguments.folder, "the folder cannot be created: " + error.message());
  if (arguments.face_pixels > 0) {
    write_squares(arguments, picture, layout, order);
    return;
  }
  write_files(
      arguments, layout.faces, [&](const CubeFace& face) { return picture.file_of_part(cell_of(grid, face)); },
      [&](const CubeFace& face) {
        const PixelBox cell = cell_of(grid, face);
        return pixels_text(cell.width, cell.height) + " from column " + std::to_string(cell.left) + ", row " +
               std::to_string(cell.top);
      });
}

/// An axis of the world, such as "+X".
std::string axis_name(standin::Vec3 axis) {
  const std::array<double, 3> parts{axis.x, axis.y, axis.z};
  std::string name;
  for (std::size_t i = 0; i < parts.size(); ++i)
    if (parts[i] != 0.0) name.append(parts[i] > 0.0 ? "+" : "-").append(1, "XYZ"[i]);
  return name;
}

void list_layouts(bool as_json) {
  auto described = nlohmann::json::array();
  for (const CubeLayout& layout : cube_layouts()) {
    auto faces = nlohmann::json::array();
    for (const CubeFace& face : layout.faces) {
      faces.push_back({{"name", face.name},
                       {"column", face.column},
                       {"row", face.row},
                       {"right", axis_name(face.side.right)},
                       {"up", axis_name(face.side.up)},
                       {"ahead", axis_name(face.side.forward)}});
    }
    described.push_back({{"name", layout.name},
                         {"used_by", layout.used_by},
                         {"columns", layout.columns},
                         {"rows", layout.rows},
                         {"faces", faces}});
    if (as_json) continue;
    std::cout << layout.name << ": ";
    if (layout.is_one_picture()) std::cout << layout.columns << 'x' << layout.rows << " faces; ";
    std::cout << layout.used_by << '\n';
    for (const CubeFace& face : layout.faces) {
      std::cout << "  " << face.name << std::string(8 - face.name.size(), ' ');
      if (layout.is_one_picture()) std::cout << "column " << face.column << ", row " << face.row << ": ";
      std::cout << "looks to " << axis_name(face.side.forward) << ", with " << axis_name(face.side.right)
                << " to the right and " << axis_name(face.side.up) << " up\n";
    }
  }
  if (as_json) write_json(std::cout, described);
}

}  // namespace

void add_skybox_command(CLI::App& app) {
  auto* skybox = app.add_subcommand("skybox", "Works on frames of the skybox camera and on cube maps.");
  skybox->footer("Example:\n  ovicam skybox split skybox.png -o faces");
  skybox->require_subcommand(1);
  auto* command = skybox->add_subcommand("split", "Cuts a skybox frame into left, front, right, back, top and bottom.");
  command->footer(
      "Example:\n  ovicam skybox split build/gallery/pictures/skybox_cross.png -o faces\n"
      "A pixel goes to the face that its centre lies on. The camera's grid is not quite centred, so the outermost faces are a "
      "pixel narrower or wider than the others; a size that is not a multiple of 4 and 3 adds another pixel to that.\n"
      "With --face, each is a square of exactly a quarter turn instead, and they meet at their edges: the camera's faces are a "
      "touch narrower, and what is missing between two goes over from the one into the other. horizontal and vertical are "
      "strips "
      "of right, left, top, bottom, front and back: +X, -X, +Y, -Y, +Z and -Z. \"ovicam skybox layouts\" tells of all, and "
      "docs/cubemaps.md draws them.");
  const auto arguments = std::make_shared<SkyboxArguments>();
  command->add_option("PICTURE", arguments->picture, "Rendered skybox frame, PNG or EXR")->required();
  command->add_option("-o,--output", arguments->folder, "Folder for the six faces; created if it does not exist")->required();
  command->add_option("--layout", arguments->layout, "cross or alternate (default: told from the empty cells)");
  auto* face = command->add_option("--face", arguments->face_pixels, "Six equal squares of so many pixels on each side")
                   ->check(CLI::Range(1, most_face_pixels));
  command
      ->add_option("--output-layout", arguments->output_layout,
                   "With --face: six files, " + cube_layout_names(false) + "; or one picture, " + cube_layout_names(true))
      ->capture_default_str()
      ->needs(face);
  command->add_option("--film-height", arguments->film_height, "Film height of the camera, metres")
      ->check(CLI::Range(0.001, 1.0))
      ->capture_default_str();
  command->callback([arguments] { split(*arguments); });

  auto* layouts = skybox->add_subcommand("layouts", "Lists the orders of a cube's faces, and how each face is turned.");
  layouts->footer("Example:\n  ovicam skybox layouts\nThe world's axes: +X to the right, +Y up, +Z ahead.");
  const auto as_json = std::make_shared<bool>(false);
  layouts->add_flag("--json", *as_json, "As JSON, for programs");
  layouts->callback([as_json] { list_layouts(*as_json); });
}

}  // namespace tool

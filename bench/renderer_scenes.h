#pragma once

#include <filesystem>

namespace bench {

/// Writes a scene whose camera "Front" sees one red cube, and returns its file. Throws std::runtime_error when the folder
/// cannot be written.
std::filesystem::path write_cube_scene(const std::filesystem::path& folder);

/// The same with a smooth, hilly ground of a million triangles.
std::filesystem::path write_mesh_scene(const std::filesystem::path& folder);

}  // namespace bench

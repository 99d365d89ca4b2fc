#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "interop/camera_link.h"

namespace tool {

/// The ST map that other programs are to use, as the camera link file tells of it.
struct PublishedStMap {
  /// Absolute.
  std::filesystem::path file;
  /// From 0 to 1; none: as the link file has it, or 1 where it has none.
  std::optional<double> strength;
  std::optional<double> blend;
};

/// The map of a command line. Throws std::runtime_error with a sentence where the file is not a picture with two channels, or
/// its path cannot stand in the link file.
PublishedStMap checked_stmap(const std::string& file, std::optional<double> strength, std::optional<double> blend);

/// The values with the map among them, written by the exported writer. Throws std::runtime_error where the link file stays as
/// it was.
void publish_stmap(decltype(QrmLink_WriteEx6)* write, const QrmLinkRecord& record, const PublishedStMap& map);

/// Lines of a link file's text, but those on the ST map, whose values another text does not have.
std::vector<std::string> lines_not_kept(const std::string& before, const std::string& after);

}  // namespace tool

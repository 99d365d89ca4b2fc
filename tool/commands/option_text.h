#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "standin/scene/scene.h"
#include "standin/session/session.h"
#include "tool/output/packing.h"
#include "tool/output/pixel_box.h"
#include "tool/render/layers.h"

namespace tool {

/// The numbers of a text such as 640x480; none for anything else.
std::optional<std::pair<int, int>> two_numbers(std::string_view text);

/// Three finite numbers with commas between them; none for anything else.
std::optional<standin::Vec3> three_numbers(std::string_view text);

struct PictureSize {
  int width = 0;
  int height = 0;
};

/// The size that --size names, in pixels. Throws UsageError.
PictureSize parse_size(std::string_view text);

/// The same, or the camera's own size when the text is empty. Throws std::runtime_error, which names the scene's file, when
/// a picture cannot have that size.
PictureSize picture_size(std::string_view text, const standin::CameraSettings& camera, const std::string& scene_file);

/// The part of a frame that --region names; all of it when the text is empty. Throws UsageError when it is not within the
/// frame.
PixelBox parse_region(std::string_view text, PictureSize frame);

/// The layers that --layers names, each once; none when the text is empty. Throws UsageError.
std::vector<Layer> parse_layers(const std::string& text);

/// The eye that --eye names. Throws UsageError, which tells of the command's `others` as well.
standin::Eye parse_eye(std::string_view text, const std::string& others = {});

/// The packing that --packing, or the option of that name, names; none when the text is empty. Throws UsageError.
std::optional<Packing> parse_packing(const std::string& text, const std::string& option = "--packing");

/// The whole picture of both eyes. Throws UsageError when that is too large.
PictureSize packed_size(Packing packing, PictureSize eye);

/// The size of each eye's picture, which has to be square for VR180. Throws UsageError.
void check_size_of_eye(Packing packing, PictureSize eye);

}  // namespace tool

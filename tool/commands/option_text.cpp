#include "tool/commands/option_text.h"

#include <charconv>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tool/commands/usage_error.h"
#include "tool/output/picture.h"

namespace tool {
namespace {

bool allowed(PictureSize size) {
  return size.width > 0 && size.height > 0 && size.width <= largest_picture_side && size.height <= largest_picture_side;
}

std::string limits() { return "width and height must be from 1 to " + std::to_string(largest_picture_side) + " pixels"; }

}  // namespace

std::optional<std::pair<int, int>> two_numbers(std::string_view text) {
  std::pair<int, int> numbers;
  const char* end = text.data() + text.size();
  const auto [separator, first_error] = std::from_chars(text.data(), end, numbers.first);
  if (first_error != std::errc() || separator == end || *separator != 'x') return std::nullopt;
  const auto [rest, second_error] = std::from_chars(separator + 1, end, numbers.second);
  if (second_error != std::errc() || rest != end) return std::nullopt;
  return numbers;
}

PictureSize parse_size(std::string_view text) {
  const auto numbers = two_numbers(text);
  if (!numbers) throw UsageError("--size " + std::string(text) + ": give WIDTHxHEIGHT in pixels, such as 640x480");
  const PictureSize size{numbers->first, numbers->second};
  if (!allowed(size)) throw UsageError("--size " + std::string(text) + ": " + limits());
  return size;
}

PictureSize picture_size(std::string_view text, const standin::CameraSettings& camera, const std::string& scene_file) {
  if (!text.empty()) return parse_size(text);
  const PictureSize size{camera.width_pixels, camera.height_pixels};
  if (!allowed(size)) throw std::runtime_error(scene_file + ": " + limits() + "; give --size");
  return size;
}

standin::Eye parse_eye(std::string_view text) {
  if (text == "centre") return standin::Eye::centre;
  if (text == "left") return standin::Eye::left;
  if (text == "right") return standin::Eye::right;
  throw UsageError("--eye " + std::string(text) + ": give centre, left or right");
}

}  // namespace tool

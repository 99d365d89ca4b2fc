#include "tool/commands/option_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string>
#include <system_error>

#include "standin/scene/number_text.h"
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

std::optional<standin::Vec3> three_numbers(std::string_view text) {
  std::array<double, 3> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) {
      if (!text.starts_with(',')) return std::nullopt;
      text.remove_prefix(1);
    }
    const auto number = standin::take_number(text);
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  return text.empty() ? std::optional(standin::Vec3{numbers[0], numbers[1], numbers[2]}) : std::nullopt;
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

PixelBox parse_region(std::string_view text, PictureSize frame) {
  if (text.empty()) return {0, 0, frame.width, frame.height};
  std::array<int, 4> numbers{};
  const char* next = text.data();
  const char* end = next + text.size();
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto [rest, error] = std::from_chars(next, end, numbers[i]);
    const bool last = i + 1 == numbers.size();
    if (error != std::errc() || (last ? rest != end : rest == end || *rest != ','))
      throw UsageError("--region " + std::string(text) + ": give X,Y,WIDTH,HEIGHT in pixels, such as 100,50,320,240");
    next = last ? rest : rest + 1;
  }
  const auto [left, top, width, height] = numbers;
  if (left < 0 || top < 0 || width < 1 || height < 1 || width > frame.width - left || height > frame.height - top) {
    throw UsageError("--region " + std::string(text) + ": it must lie within the frame of " + std::to_string(frame.width) +
                     "x" + std::to_string(frame.height) + " pixels, and be a pixel wide and high at least");
  }
  return {left, top, width, height};
}

std::vector<Layer> parse_layers(const std::string& text) {
  std::vector<Layer> layers;
  for (std::size_t start = 0; !text.empty() && start <= text.size();) {
    const std::size_t end = std::min(text.find(',', start), text.size());
    const std::string name = text.substr(start, end - start);
    const auto layer = layer_named(name);
    if (!layer) throw UsageError("--layers: \"" + name + "\" is not one of depth, normal, position, uv, motion");
    if (std::ranges::find(layers, *layer) != layers.end())
      throw UsageError("--layers: " + name + " is there twice; give it once");
    layers.push_back(*layer);
    start = end + 1;
  }
  return layers;
}

standin::Eye parse_eye(std::string_view text, const std::string& others) {
  if (text == "centre") return standin::Eye::centre;
  if (text == "left") return standin::Eye::left;
  if (text == "right") return standin::Eye::right;
  throw UsageError("--eye " + std::string(text) + ": give centre, left" +
                   (others.empty() ? " or right" : ", right or " + others));
}

std::optional<Packing> parse_packing(const std::string& text, const std::string& option) {
  if (text.empty()) return std::nullopt;
  for (const Packing packing : {Packing::side_by_side, Packing::over_under, Packing::vr180})
    if (text == name_of(packing)) return packing;
  throw UsageError(option + " " + text + ": give side-by-side, over-under or vr180");
}

PictureSize packed_size(Packing packing, PictureSize eye) {
  const PixelBox whole = packed_frame(packing, eye.width, eye.height);
  const PictureSize size{whole.width, whole.height};
  if (!allowed(size)) {
    throw UsageError("both eyes would make a picture of " + std::to_string(size.width) + "x" + std::to_string(size.height) +
                     " pixels; " + limits() + ": give a smaller --size, which is that of one eye");
  }
  return size;
}

void check_size_of_eye(Packing packing, PictureSize eye) {
  if (packing == Packing::vr180 && eye.width != eye.height)
    throw UsageError("--size " + std::to_string(eye.width) + "x" + std::to_string(eye.height) +
                     ": each eye of vr180 is as wide as it is high; give it a size such as 2048x2048");
}

}  // namespace tool

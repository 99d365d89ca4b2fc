#include "tool/lens/st_map.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <vector>

namespace tool {
namespace {

/// Pixels that one thread takes at a time.
constexpr std::size_t part_size = 8192;
/// Places along each edge of a frame whose extent is looked for, and along each side within it.
constexpr int edge_places = 4096;
constexpr int inner_places = 128;

/// The frame's edge, corners included, and what is in it.
std::vector<FramePlace> places_all_over() {
  std::vector<FramePlace> places;
  for (int i = 0; i <= edge_places; ++i) {
    const double along = static_cast<double>(i) / edge_places;
    for (const double edge : {0.0, 1.0}) {
      places.push_back({along, edge, true});
      places.push_back({edge, along, true});
    }
  }
  for (int row = 0; row < inner_places; ++row)
    for (int column = 0; column < inner_places; ++column)
      places.push_back({(column + 0.5) / inner_places, (row + 0.5) / inner_places, true});
  return places;
}

}  // namespace

void map_rows(const Lens& pixels, const MapPixels& form, const Lens& into, PixelBox rows, std::span<float> samples) {
  const auto width = static_cast<std::size_t>(rows.width);
  const std::size_t count = width * static_cast<std::size_t>(rows.height);
  tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count, part_size), [&](const tbb::blocked_range<std::size_t>& part) {
    std::vector<FramePlace> places(part.size());
    std::vector<LensDirection> directions(part.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
      const auto column = static_cast<int>((part.begin() + i) % width);
      const auto row = static_cast<int>((part.begin() + i) / width);
      places[i] = {(rows.left + column + 0.5) / form.frame_width, 1.0 - (rows.top + row + 0.5) / form.frame_height, true};
    }
    pixels.look(places, directions);
    into.locate(directions, places);
    for (std::size_t i = 0; i < places.size(); ++i) {
      float* sample = &samples[(part.begin() + i) * map_channels];
      const FramePlace& place = places[i];
      // A place too far away for a float is none.
      const bool found =
          place.found && std::isfinite(static_cast<float>(place.s)) && std::isfinite(static_cast<float>(place.t));
      sample[0] = found ? static_cast<float>(place.s) : 0.0F;
      sample[1] = found ? static_cast<float>(place.t) : 0.0F;
      sample[2] = 0.0F;
      sample[3] = found ? 1.0F : 0.0F;
    }
  });
}

PixelBox window_that_shows(const Lens& pixels, int frame_width, int frame_height, const Lens& shown, int largest_side) {
  const std::vector<FramePlace> seen = places_all_over();
  std::vector<LensDirection> directions(seen.size());
  std::vector<FramePlace> places(seen.size());
  shown.look(seen, directions);
  pixels.locate(directions, places);
  double left = 0.0;
  double right = 1.0;
  double bottom = 0.0;
  double top = 1.0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (!directions[i].found) continue;
    if (!places[i].found) {
      throw std::runtime_error("no frame of " + pixels.description() + " shows all that " + shown.description() +
                               " sees; give --overscan 0 for the frame alone, or --overscan with a percentage");
    }
    left = std::min(left, places[i].s);
    right = std::max(right, places[i].s);
    bottom = std::min(bottom, places[i].t);
    top = std::max(top, places[i].t);
  }
  const double width = std::ceil(right * frame_width - 1e-3) - std::floor(left * frame_width + 1e-3);
  const double height = std::ceil(top * frame_height - 1e-3) - std::floor(bottom * frame_height + 1e-3);
  if (!(std::max(width, height) <= largest_side)) {
    throw std::runtime_error(
        "the frame of " + pixels.description() + " that shows all that " + shown.description() + " sees is larger than " +
        std::to_string(largest_side) +
        " pixels; give --overscan 0 for the frame alone, --overscan with a percentage, or a smaller --size");
  }
  const auto first_column = static_cast<int>(std::floor(left * frame_width + 1e-3));
  const auto first_row = frame_height - static_cast<int>(std::ceil(top * frame_height - 1e-3));
  return {first_column, first_row, static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace tool

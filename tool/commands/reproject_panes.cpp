#include "tool/commands/reproject_panes.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "tool/lens/reprojection.h"
#include "tool/output/progress.h"

namespace tool {
namespace {

/// Numbers of the new picture that are in memory at once, and its rows at least and at most.
constexpr std::size_t numbers_at_once = std::size_t{1} << 23;
constexpr int fewest_rows = 64;
constexpr int most_rows = 256;

standin::Eye eye_named(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter; });
  if (name == "left" || name == "l") return standin::Eye::left;
  if (name == "right" || name == "r") return standin::Eye::right;
  return standin::Eye::centre;
}

std::vector<std::size_t> every_channel(const LargePicture& picture) {
  std::vector<std::size_t> channels(picture.channels().size());
  std::iota(channels.begin(), channels.end(), std::size_t{0});
  return channels;
}

/// The next rows of a pane, with its channels alone, into those of the new picture.
void fill_rows(const Pane& pane, Reprojection& reprojection, const PixelBox& rows, std::size_t channel_count,
               std::vector<float>& own, std::span<float> samples) {
  const int first = std::max(rows.top, pane.place.top);
  const int end = std::min(rows.top + rows.height, pane.place.top + pane.place.height);
  if (first >= end) return;
  const PixelBox part{0, first - pane.place.top, pane.place.width, end - first};
  const std::size_t own_count = pane.of.channels.size();
  if (own_count == channel_count && part.width == rows.width && std::ranges::is_sorted(pane.of.channels)) {
    const std::size_t row = static_cast<std::size_t>(rows.width) * channel_count;
    reprojection.fill(
        part, samples.subspan(static_cast<std::size_t>(first - rows.top) * row, static_cast<std::size_t>(part.height) * row));
    return;
  }
  own.resize(static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height) * own_count);
  reprojection.fill(part, own);
  const float* from = own.data();
  for (int row = first; row < end; ++row) {
    const std::size_t start = static_cast<std::size_t>(row - rows.top) * static_cast<std::size_t>(rows.width) +
                              static_cast<std::size_t>(pane.place.left);
    for (std::size_t pixel = start; pixel < start + static_cast<std::size_t>(part.width); ++pixel)
      for (const std::size_t channel : pane.of.channels) samples[pixel * channel_count + channel] = *from++;
  }
}

}  // namespace

EyePictures seen_by(const LargePicture& picture, standin::Eye eye) {
  EyePictures pictures{{}, every_channel(picture), {}, {picture.width(), picture.height()}};
  pictures.eyes.push_back({eye, std::make_unique<PictureChannels>(picture, pictures.channels), pictures.channels});
  return pictures;
}

EyePictures by_views(const LargePicture& picture) {
  std::map<standin::Eye, std::vector<std::size_t>> channels;
  for (const PictureView& view : views_of(picture))
    std::ranges::copy(view.channels, std::back_inserter(channels[eye_named(view.name)]));
  EyePictures pictures{{}, every_channel(picture), {}, {picture.width(), picture.height()}};
  for (auto& [eye, of_eye] : channels) {
    std::ranges::sort(of_eye);
    pictures.eyes.push_back({eye, std::make_unique<PictureChannels>(picture, of_eye), of_eye});
  }
  return pictures;
}

EyePictures views_to_pack(const LargePicture& picture, const std::string& name) {
  const std::vector<PictureView> views = views_of(picture);
  const PictureView* left = nullptr;
  const PictureView* right = nullptr;
  for (const PictureView& view : views) {
    if (eye_named(view.name) == standin::Eye::left) left = &view;
    if (eye_named(view.name) == standin::Eye::right) right = &view;
  }
  if (left == nullptr || right == nullptr) {
    throw std::runtime_error(
        name +
        ": it has no views left and right to be packed; give an EXR of \"ovicam render --stereo\", or, of a "
        "picture that is packed already, --packed");
  }
  if (views.size() > 2) throw std::runtime_error(name + ": it has more views than left and right; pack only those two");
  EyePictures pictures{{}, left->channels, {}, {picture.width(), picture.height()}};
  std::vector<std::string>& names = pictures.names;
  for (const std::size_t channel : left->channels) names.push_back(name_without_view(picture.channels()[channel], left->name));
  std::vector<std::size_t> places;
  for (const std::size_t channel : right->channels) {
    const std::string of_right = name_without_view(picture.channels()[channel], right->name);
    const auto place = static_cast<std::size_t>(std::ranges::find(names, of_right) - names.begin());
    if (place < names.size()) places.push_back(place);
  }
  if (left->channels.size() != right->channels.size() || places.size() != names.size())
    throw std::runtime_error(name + ": its left and its right view have other channels; leave out those that only one has");
  std::vector<std::size_t> in_order(names.size());
  std::iota(in_order.begin(), in_order.end(), std::size_t{0});
  pictures.eyes.push_back({standin::Eye::left, std::make_unique<PictureChannels>(picture, left->channels), in_order});
  pictures.eyes.push_back({standin::Eye::right, std::make_unique<PictureChannels>(picture, right->channels), places});
  return pictures;
}

EyePictures unpacked(const LargePicture& picture, Packing packing, const std::string& name) {
  const PixelBox two = packed_frame(packing, 1, 1);
  if (picture.width() % two.width != 0 || picture.height() % two.height != 0) {
    throw std::runtime_error(name + ": it is " + std::to_string(picture.width()) + "x" + std::to_string(picture.height()) +
                             " pixels, which are no two equal halves " + std::string(name_of(packing)));
  }
  EyePictures pictures{{}, every_channel(picture), {}, {picture.width() / two.width, picture.height() / two.height}};
  for (const bool right : {false, true}) {
    const PixelBox place = place_of_eye(packing, right, pictures.size.width, pictures.size.height);
    pictures.eyes.push_back(
        {right ? standin::Eye::right : standin::Eye::left, std::make_unique<PicturePart>(picture, place), pictures.channels});
  }
  return pictures;
}

EyeLenses::EyeLenses(const OpenLens& from, const OpenLens& to, standin::Eye eye)
    : from_(in_common_axes(from, to, eye)), to_(in_common_axes(to, from, eye)) {}

/// A scene's camera is in its own axes where the other lens is in none of a scene.
const Lens* EyeLenses::in_common_axes(const OpenLens& lens, const OpenLens& other, standin::Eye eye) {
  const Lens* of_eye = lens.lens.get();
  if (auto another = lens.of_another_eye(eye)) of_eye = owned_.emplace_back(std::move(another)).get();
  if (!lens.pose || other.pose) return of_eye;
  return owned_.emplace_back(std::make_unique<LensInPose>(*of_eye, *lens.pose)).get();
}

PaneReport write_panes(std::span<const Pane> panes, PictureSize size, std::size_t channel_count, const PictureFilter& filter,
                       PictureWriter& writer) {
  std::vector<std::unique_ptr<Reprojection>> reprojections;
  for (const Pane& pane : panes) {
    reprojections.push_back(std::make_unique<Reprojection>(*pane.of.pixels, pane.lenses.from(), pane.lenses.to(),
                                                           pane.place.width, pane.place.height, filter));
  }
  const std::size_t row = static_cast<std::size_t>(size.width) * channel_count;
  const int rows_at_once = std::clamp(static_cast<int>(numbers_at_once / row), fewest_rows, most_rows);
  std::vector<float> samples;
  std::vector<float> own;
  Progress progress(static_cast<double>(size.width) * size.height);
  for (int first = 0; first < size.height; first += rows_at_once) {
    const PixelBox rows{0, first, size.width, std::min(rows_at_once, size.height - first)};
    samples.assign(row * static_cast<std::size_t>(rows.height), 0.0F);
    for (std::size_t i = 0; i < panes.size(); ++i) fill_rows(panes[i], *reprojections[i], rows, channel_count, own, samples);
    writer.write_rows(samples);
    progress.add(static_cast<std::uint64_t>(rows.width) * static_cast<std::uint64_t>(rows.height));
  }
  PaneReport report;
  for (const auto& reprojection : reprojections) {
    report.has_seen = report.has_seen || reprojection->has_seen();
    report.has_broken_numbers = report.has_broken_numbers || reprojection->has_broken_numbers();
  }
  return report;
}

}  // namespace tool

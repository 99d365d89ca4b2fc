#include "tool/commands/reproject_panes.h"

#include <algorithm>
#include <cstdint>
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

/// The next rows of a pane, with its channels alone, into those of the new picture.
void fill_rows(const Pane& pane, Reprojection& reprojection, const PixelBox& rows, std::size_t channel_count,
               std::vector<float>& own, std::span<float> samples) {
  const int first = std::max(rows.top, pane.place.top);
  const int end = std::min(rows.top + rows.height, pane.place.top + pane.place.height);
  if (first >= end) return;
  const PixelBox part{0, first - pane.place.top, pane.place.width, end - first};
  const std::size_t own_count = pane.channels.size();
  if (own_count == channel_count && part.width == rows.width) {
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
      for (const std::size_t channel : pane.channels) samples[pixel * channel_count + channel] = *from++;
  }
}

}  // namespace

std::vector<EyeView> eye_views_of(const LargePicture& picture) {
  std::vector<EyeView> eyes;
  for (PictureView& view : views_of(picture)) {
    const standin::Eye eye = eye_named(view.name);
    const auto same = std::ranges::find(eyes, eye, &EyeView::eye);
    if (same == eyes.end())
      eyes.push_back({eye, std::move(view)});
    else
      std::ranges::copy(view.channels, std::back_inserter(same->view.channels));
  }
  return eyes;
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

PaneReport write_panes(std::span<const Pane> panes, PictureSize size, std::size_t channel_count, PictureWriter& writer) {
  std::vector<std::unique_ptr<Reprojection>> reprojections;
  for (const Pane& pane : panes) {
    reprojections.push_back(std::make_unique<Reprojection>(pane.picture, pane.lenses.from(), pane.lenses.to(), pane.place.width,
                                                           pane.place.height));
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

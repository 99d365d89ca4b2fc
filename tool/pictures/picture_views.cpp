#include "tool/pictures/picture_views.h"

#include <algorithm>
#include <utility>

namespace tool {
namespace {

/// Where the name of a channel's view would be: before the last part of the channel's name, between dots.
std::string_view part_before_last(std::string_view channel) {
  const std::size_t last = channel.rfind('.');
  if (last == std::string_view::npos || last == 0) return {};
  const std::size_t before = channel.rfind('.', last - 1);
  const std::size_t start = before == std::string_view::npos ? 0 : before + 1;
  return channel.substr(start, last - start);
}

}  // namespace

std::vector<PictureView> views_of(const LargePicture& picture) {
  std::vector<PictureView> views;
  for (const std::string& name : picture.views()) views.push_back({name, {}});
  if (views.empty()) views.emplace_back();
  for (std::size_t i = 0; i < picture.channels().size(); ++i) {
    const auto named = std::ranges::find(views, part_before_last(picture.channels()[i]), &PictureView::name);
    (named != views.end() ? *named : views.front()).channels.push_back(i);
  }
  std::erase_if(views, [](const PictureView& view) { return view.channels.empty(); });
  return views;
}

std::string name_without_view(const std::string& channel, const std::string& view) {
  if (view.empty() || part_before_last(channel) != view) return channel;
  const std::size_t start = channel.rfind('.') - view.size();
  return channel.substr(0, start) + channel.substr(start + view.size() + 1);
}

PictureChannels::PictureChannels(const PicturePixels& picture, std::vector<std::size_t> channels)
    : picture_(picture), channels_(std::move(channels)) {
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    names_.push_back(picture.channels()[channels_[i]]);
    if (static_cast<int>(channels_[i]) == picture.alpha_channel()) alpha_ = static_cast<int>(i);
  }
}

void PictureChannels::read(const PixelBox& part, std::span<float> samples) const {
  const std::size_t all = picture_.channels().size();
  if (channels_.size() == all) {
    picture_.read(part, samples);
    return;
  }
  std::vector<float> pixels(static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height) * all);
  picture_.read(part, pixels);
  auto sample = samples.begin();
  for (std::size_t pixel = 0; pixel < pixels.size(); pixel += all)
    for (const std::size_t channel : channels_) *sample++ = pixels[pixel + channel];
}

}  // namespace tool

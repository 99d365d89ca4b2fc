#include "tests/support/motion.h"

#include <array>

#include "standin/host/plain_camera.h"
#include "tests/support/random_cases.h"

namespace test_support {

using standin::ItemPose;
using standin::Vec3;

void send(standin::Item& item, const Journey& journey) {
  const auto channel = [&](std::size_t which, double from, double to) {
    item.motion[which].keys = {{from, 0.0, standin::Span::linear, {}}, {to, 2.0, standin::Span::linear, {}}};
  };
  channel(0, journey.from.x, journey.to.x);
  channel(1, journey.from.y, journey.to.y);
  channel(2, journey.from.z, journey.to.z);
  channel(3, journey.turned_from.x, journey.turned_to.x);
  channel(4, journey.turned_from.y, journey.turned_to.y);
  channel(5, journey.turned_from.z, journey.turned_to.z);
}

SampleBlend sample_blend(std::size_t count, double fractional_time) {
  if (fractional_time <= 0.0) return {0, 0.0L};
  if (fractional_time >= 1.0) return {count - 2, 1.0L};
  const auto first = static_cast<std::size_t>(static_cast<double>(count - 2) * fractional_time);
  return {first, fractional_time - static_cast<long double>(first) / static_cast<long double>(count)};
}

LongPose pose_told_by_host(LWItemID item, double seconds) {
  const auto* items = static_cast<const LWItemInfo*>(standin::Host::global()(LWITEMINFO_GLOBAL, GFUSE_TRANSIENT));
  const auto told = [&](LWItemParam param) {
    double value[3] = {};
    items->param(item, param, seconds, value);
    return LongVector{value[0], value[1], value[2]};
  };
  return {told(LWIP_W_POSITION), told(LWIP_RIGHT), told(LWIP_UP), told(LWIP_FORWARD)};
}

LongPose pose_told_by_host(LWItemID item, double start_seconds, double duration_seconds, std::size_t count,
                           double fractional_time) {
  const auto [first, share] = sample_blend(count, fractional_time);
  const double step = duration_seconds / static_cast<double>(count);
  const LongPose from = pose_told_by_host(item, start_seconds + static_cast<double>(first) * step);
  const LongPose to = pose_told_by_host(item, start_seconds + static_cast<double>(first + 1) * step);
  const auto blend = [&, share = share](LongVector LongPose::*vector) {
    return from.*vector * (1.0L - share) + to.*vector * share;
  };
  return {blend(&LongPose::position), blend(&LongPose::right), blend(&LongPose::up), blend(&LongPose::forward)};
}

std::vector<ItemPose> motion_samples(const standin::Host& host, const std::string& item, double start_seconds,
                                     double duration_seconds, unsigned count) {
  const standin::Item& found = *host.find(host.id_of(item));
  const double step = duration_seconds / count;
  std::vector<ItemPose> samples;
  for (unsigned i = 0; i < count; ++i)
    samples.push_back(standin::with_unit_axes(host.scene().world_pose(found, start_seconds + i * step)));
  return samples;
}

ItemPose pose_at(const std::vector<ItemPose>& samples, double fractional_time) {
  const auto [first, share] = sample_blend(samples.size(), fractional_time);
  const ItemPose& from = samples[first];
  const ItemPose& to = samples[first + 1];
  const auto blend = [&, share = share](Vec3 ItemPose::*vector) {
    return rounded(LongVector(from.*vector) * (1.0L - share) + LongVector(to.*vector) * share);
  };
  return {blend(&ItemPose::position), blend(&ItemPose::right), blend(&ItemPose::up), blend(&ItemPose::forward)};
}

std::vector<standin::RayQuery> ray_queries(double film_width, double film_height, int count, standin::Eye eye) {
  constexpr std::array times{-0.5, 0.0, 0.125, 0.5, 0.71, 0.999, 1.0, 2.0};
  Random random;
  std::vector<standin::RayQuery> queries;
  for (int i = 0; i < count; ++i) {
    const double x = random.between(-1.0, 1.0) * film_width * 0.5;
    const double y = random.between(-1.0, 1.0) * film_height * 0.5;
    const double lens_x = random.between(-1.0, 1.0);
    const double lens_y = random.between(-1.0, 1.0);
    queries.push_back({x, y, lens_x, lens_y, times[static_cast<std::size_t>(i) % times.size()], eye});
  }
  return queries;
}

}  // namespace test_support

#include "tests/support/motion.h"

#include <array>
#include <gtest/gtest.h>
#include <random>

#include "standin/host/plain_camera.h"

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

std::vector<ItemPose> motion_samples(const standin::Host& host, const std::string& item, double start_seconds,
                                     double duration_seconds, unsigned count) {
  const standin::Item& found = *host.find(host.id_of(item));
  const double step = duration_seconds / count;
  std::vector<ItemPose> samples;
  for (unsigned i = 0; i < count; ++i) {
    samples.push_back(standin::with_unit_axes(host.scene().world_pose(found, start_seconds + i * step)));
  }
  return samples;
}

ItemPose pose_at(const std::vector<ItemPose>& samples, double fractional_time) {
  if (fractional_time <= 0.0) return samples.front();
  if (fractional_time >= 1.0) return samples.back();
  const auto count = static_cast<double>(samples.size());
  const double index = std::floor((count - 2.0) * fractional_time);
  const double weight = fractional_time - index / count;
  const ItemPose& a = samples[static_cast<std::size_t>(index)];
  const ItemPose& b = samples[static_cast<std::size_t>(index) + 1];
  const auto blend = [&](Vec3 ItemPose::*vector) { return a.*vector * (1.0 - weight) + b.*vector * weight; };
  return {blend(&ItemPose::position), blend(&ItemPose::right), blend(&ItemPose::up), blend(&ItemPose::forward)};
}

std::vector<standin::RayQuery> ray_queries(double film_width, double film_height, int count, standin::Eye eye) {
  constexpr std::array times{-0.5, 0.0, 0.125, 0.5, 0.71, 0.999, 1.0, 2.0};
  std::mt19937 random(20261028);
  std::uniform_real_distribution<double> spread(-1.0, 1.0);
  std::vector<standin::RayQuery> queries;
  for (int i = 0; i < count; ++i) {
    const double x = spread(random) * film_width * 0.5;
    const double y = spread(random) * film_height * 0.5;
    const double lens_x = spread(random);
    const double lens_y = spread(random);
    queries.push_back({x, y, lens_x, lens_y, times[static_cast<std::size_t>(i) % times.size()], eye});
  }
  return queries;
}

void expect_near(Vec3 actual, Vec3 expected, double tolerance, const std::string& what) {
  EXPECT_NEAR(actual.x, expected.x, tolerance) << what << " x";
  EXPECT_NEAR(actual.y, expected.y, tolerance) << what << " y";
  EXPECT_NEAR(actual.z, expected.z, tolerance) << what << " z";
}

}  // namespace test_support

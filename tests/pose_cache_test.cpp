/// The poses that a frame keeps, one for each time that rays have asked for.

#include "framework/pose_cache.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace pose_cache_test {

/// Large enough that one half of it could be another pose's.
struct Numbers {
  double first = 0.0;
  double second = 0.0;
};

using Cache = framework::PoseCache<Numbers>;

double time_at(std::size_t number) { return static_cast<double>(number) / 997.0; }

/// The number of a time whose pose is kept; a pose of another time fails the test.
bool keeps(const Cache& cache, std::size_t number) {
  const Numbers* pose = cache.find(time_at(number));
  if (pose == nullptr) return false;
  EXPECT_EQ(pose->first, static_cast<double>(number));
  EXPECT_EQ(pose->second, -static_cast<double>(number));
  return true;
}

void publish(Cache& cache, std::size_t number) {
  cache.publish(time_at(number), {static_cast<double>(number), -static_cast<double>(number)});
}

/// Time 0 has the first place.
TEST(PoseCache, KeepsAsManyTimesAsItPromisesAndEachByItself) {
  const auto cache = std::make_unique<Cache>();
  cache->begin({});
  for (std::size_t number = 1; number < Cache::most_times; ++number) {
    EXPECT_FALSE(keeps(*cache, number));
    publish(*cache, number);
    EXPECT_TRUE(keeps(*cache, number));
  }
  for (std::size_t number = 0; number < Cache::most_times; ++number) EXPECT_TRUE(keeps(*cache, number)) << number;
  // What finds no place is asked for again by every ray, and takes nobody else's.
  for (std::size_t number = Cache::most_times; number < 2 * Cache::most_times; ++number) publish(*cache, number);
  for (std::size_t number = 0; number < Cache::most_times; ++number) EXPECT_TRUE(keeps(*cache, number)) << number;
  EXPECT_FALSE(keeps(*cache, Cache::most_times));
}

TEST(PoseCache, KeepsWhatWasThereFirst) {
  const auto cache = std::make_unique<Cache>();
  cache->begin({7.0, 8.0});
  EXPECT_EQ(cache->start().first, 7.0);
  publish(*cache, 1);
  cache->publish(time_at(1), {100.0, 100.0});
  EXPECT_TRUE(keeps(*cache, 1));
  ASSERT_NE(cache->find(0.0), nullptr);
  EXPECT_EQ(cache->find(0.0)->second, 8.0);
}

TEST(PoseCache, ANewFrameForgetsAllButItsOwnStart) {
  const auto cache = std::make_unique<Cache>();
  for (const double start : {1.0, 2.0}) {
    cache->begin({start, start});
    EXPECT_EQ(cache->start().second, start);
    for (std::size_t number = 1; number < Cache::most_times; ++number) EXPECT_FALSE(keeps(*cache, number));
    for (std::size_t number = 1; number < Cache::most_times; ++number) publish(*cache, number);
    for (std::size_t number = 1; number < Cache::most_times; ++number) EXPECT_TRUE(keeps(*cache, number));
  }
}

/// Zeros of both signs are two times.
TEST(PoseCache, TimesAreTheSameToTheBit) {
  const auto cache = std::make_unique<Cache>();
  cache->begin({1.0, 1.0});
  EXPECT_EQ(cache->find(-0.0), nullptr);
  EXPECT_NE(cache->find(0.0), nullptr);
}

TEST(PoseCache, ThreadsThatPublishTheSameTimesDoNotTearThem) {
  const auto cache = std::make_unique<Cache>();
  constexpr std::size_t threads = 4;
  constexpr std::size_t times = Cache::most_times / 2;
  for (int round = 0; round < 20; ++round) {
    cache->begin({});
    std::vector<std::thread> workers;
    for (std::size_t worker = 0; worker < threads; ++worker)
      workers.emplace_back([&cache, worker] {
        for (std::size_t i = 0; i < times; ++i) {
          const std::size_t number = 1 + (i * (2 * worker + 1)) % times;
          if (!keeps(*cache, number)) publish(*cache, number);
        }
      });
    for (std::thread& worker : workers) worker.join();
    // A thread that meets another one's writing leaves it at that; whoever asks next publishes.
    for (std::size_t number = 1; number <= times; ++number) {
      if (!keeps(*cache, number)) publish(*cache, number);
      EXPECT_TRUE(keeps(*cache, number)) << number;
    }
  }
}

}  // namespace pose_cache_test

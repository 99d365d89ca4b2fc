/// The last place of a cache, the point exactly on a line, the zero of the other sign.

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/link_folder.h"
#include "tests/support/motion.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace camera_edges_test {

using standin::RayAnswer;
using standin::RayQuery;
using test_support::all_cameras;
using test_support::CameraFacts;

using Bits = std::array<std::uint64_t, 10>;

Bits bits_of(const RayAnswer& ray) {
  const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
  if (ray.result == 0) return {};
  return {static_cast<std::uint64_t>(ray.result),
          bits(ray.position.x),
          bits(ray.position.y),
          bits(ray.position.z),
          bits(ray.direction.x),
          bits(ray.direction.y),
          bits(ray.direction.z),
          bits(ray.film_normal.x),
          bits(ray.film_normal.y),
          bits(ray.film_normal.z)};
}

class CameraEdges : public testing::TestWithParam<CameraFacts> {
 protected:
  CameraEdges() {
    test_support::send(stage.host.item("Camera"), {{0.0, 1.0, -3.0}, {2.0, 0.5, 1.0}, {0.1, 0.2, 0.3}, {1.4, -0.6, 0.9}});
  }

  test_support::LinkFolder link;
  test_support::Stage stage;
};

/// The places for poses, and some times more.
constexpr std::size_t time_count = 540;

std::vector<RayQuery> queries() {
  std::vector<RayQuery> all(time_count);
  for (std::size_t i = 0; i < time_count; ++i) {
    const auto share = static_cast<double>(i + 1) / (time_count + 1);
    all[i] = {.film_x = 0.004 * share, .film_y = -0.003 * share, .fractional_time = share};
  }
  return all;
}

TEST_P(CameraEdges, EightThreadsGetTheSameBitsAsOneWithMoreTimesThanThePoseCacheHolds) {
  const auto camera = stage.create(GetParam().server_name);
  const std::vector<RayQuery> asked = queries();
  // Each from a cache of its own.
  std::vector<Bits> expected;
  for (std::size_t i = 0; i < asked.size(); ++i) {
    camera->new_frame(static_cast<int>(i), 1.0, 1.0, 9);
    expected.push_back(bits_of(camera->evaluate(asked[i])));
  }
  std::atomic<int> wrong = 0;
  for (int frame = 1000; frame < 1003; ++frame) {
    camera->new_frame(frame, 1.0, 1.0, 9);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        for (std::size_t i = 0; i < 3 * asked.size(); ++i) {
          const std::size_t which = (i * (2 * t + 1) + t) % asked.size();
          if (bits_of(camera->evaluate(asked[which])) != expected[which]) ++wrong;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

/// Where threads wait for one another. The standard library's barrier can miss the last one's arrival on Windows.
class Gate {
 public:
  explicit Gate(int count) : count_(count) {}

  void arrive_and_wait() {
    std::unique_lock lock(mutex_);
    const int turn = turn_;
    if (++arrived_ == count_) {
      arrived_ = 0;
      ++turn_;
      everybody_is_there_.notify_all();
    } else {
      everybody_is_there_.wait(lock, [&] { return turn_ != turn; });
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable everybody_is_there_;
  const int count_;
  int arrived_ = 0;
  int turn_ = 0;
};

TEST(PoseCachePlaces, ThreadsThatReachForTheLastOneTogetherGetTheirOwnPoses) {
  constexpr int thread_count = 8;
  constexpr int rounds = 300;
  constexpr int places_before_the_last = 510;
  test_support::Stage stage;
  test_support::send(stage.host.item("Camera"), {{0.0, 1.0, -3.0}, {2.0, 0.5, 1.0}, {0.1, 0.2, 0.3}, {1.4, -0.6, 0.9}});
  const auto camera = stage.create("QuorinPanoramicCam");
  const auto query = [](int which) { return RayQuery{.film_x = 0.003, .fractional_time = (which + 1) / 1024.0}; };
  std::vector<Bits> expected;
  for (int i = 0; i < places_before_the_last + thread_count; ++i) {
    camera->new_frame(i, 1.0, 1.0, 9);
    expected.push_back(bits_of(camera->evaluate(query(i))));
  }
  std::atomic<int> wrong = 0;
  const auto check = [&](int which) {
    if (bits_of(camera->evaluate(query(which))) != expected[static_cast<std::size_t>(which)]) ++wrong;
  };
  // Everybody waits for the round, which the first thread prepares.
  Gate gate(thread_count);
  std::vector<std::thread> threads;
  for (int t = 0; t < thread_count; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < rounds; ++round) {
        if (t == 0) {
          camera->new_frame(1000 + round, 1.0, 1.0, 9);
          for (int i = 0; i < places_before_the_last; ++i) check(i);
        }
        gate.arrive_and_wait();
        check(places_before_the_last + t);
        gate.arrive_and_wait();
        check(places_before_the_last + (t + 1) % thread_count);
        gate.arrive_and_wait();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(EveryCamera, CameraEdges, testing::ValuesIn(all_cameras()),
                         [](const auto& each) { return each.param.server_name; });

TEST(CameraRecords, AZeroOfTheOtherSignIsAChange) {
  test_support::Stage stage;
  const auto camera = stage.create("QuorinPanoramicCam");
  camera->new_frame(0, 0.0, 0.5, 3);
  test_support::ItemQuestions questions(stage.module, "QuorinPanoramicCam");
  const auto asks_again = [&] {
    questions.take();
    camera->handler().newFrame(camera->raw(), &camera->frame_info(), &camera->access());
    return !questions.take().empty();
  };
  EXPECT_FALSE(asks_again());
  LWCameraAccess& access = camera->access();
  for (double* number : {&access.worldPos[0], &access.worldPos[2], &access.toWorld[1][0], &access.toCamera[2][1]}) {
    *number = 0.0;
    asks_again();
    EXPECT_FALSE(asks_again());
    *number = -0.0;
    EXPECT_TRUE(asks_again());
  }
  LWFrameInfo& frame = camera->frame_info();
  frame.start = 0.0;
  asks_again();
  EXPECT_FALSE(asks_again());
  frame.start = -0.0;
  EXPECT_TRUE(asks_again());
}

TEST(StereoSplit, AFilmPointExactlyOnItBelongsToTheLeftEye) {
  test_support::LinkFolder link;
  test_support::Stage stage;
  const auto camera = stage.create("QuorinStereoCam");
  camera->new_frame(0, 0.0, 0.0);
  const double film_width = camera->access().filmSize[0];
  const int pixels = stage.host.camera("Camera").width_pixels;
  const double split = 0.95 / pixels * film_width;
  const auto eye_at = [&](double x) { return camera->evaluate({.film_x = x, .film_y = 0.001}).position; };
  const auto left = eye_at(-0.004);
  const auto right = eye_at(0.004);
  ASSERT_NE(left, right);
  EXPECT_EQ(eye_at(split), left);
  EXPECT_EQ(eye_at(std::nextafter(split, 1.0)), right);
}

}  // namespace camera_edges_test

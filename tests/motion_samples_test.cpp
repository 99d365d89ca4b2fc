#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/motion.h"
#include "tests/support/panorama_formula.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

namespace motion_samples_test {

using standin::HostedCamera;
using standin::RayAnswer;
using standin::RayQuery;
using standin::Vec3;
using test_support::bits_of;
using test_support::ItemQuestion;
using test_support::ItemQuestions;
using test_support::LongPose;
using test_support::PanoramaFormula;
using test_support::pose_told_by_host;
using test_support::RayBits;
using test_support::Stage;

constexpr const char* panoramic = "QuorinPanoramicCam";
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
/// A new panoramic camera's.
constexpr PanoramaFormula formula{
    .field = 2.0 * std::numbers::pi, .highest = std::numbers::pi / 4.0, .lowest = -std::numbers::pi / 4.0};

class MotionSamples : public testing::Test {
 protected:
  void SetUp() override {
    // Corners between the samples of any count, so that a wrong sample or weight shows.
    standin::Item& item = stage.host.item("Camera");
    std::mt19937 random(7);
    std::uniform_real_distribution<double> value(-3.0, 3.0);
    for (std::size_t channel = 0; channel < 6; ++channel) {
      item.motion[channel].keys.clear();
      for (int key = 0; key <= 40; ++key)
        item.motion[channel].keys.push_back({value(random), 1.0 + key / 40.0, standin::Span::linear, {}});
    }
  }

  /// Rays follow the formula, from what the host says of the camera's motion.
  static void expect_rays_of(HostedCamera& camera, double start, double duration, unsigned samples, double time) {
    const LongPose pose = pose_told_by_host(camera.item_id(), start, duration, samples, time);
    const LWCameraAccess& access = camera.access();
    for (const auto& [share_x, share_y] : {std::pair{0.0, 0.0}, {0.25, 0.0}, {0.1, 0.5}, {-0.4, -0.3}}) {
      const double x = share_x * access.filmSize[0];
      const double y = share_y * access.filmSize[1];
      const RayAnswer ray = camera.evaluate({.film_x = x, .film_y = y, .fractional_time = time});
      const test_support::LongRay expected = formula.ray(access, pose, x, y);
      ASSERT_EQ(ray.result, 1);
      test_support::expect_near(ray.position, expected.position, 1e-12, "position at " + std::to_string(time));
      test_support::expect_near(ray.direction, expected.direction, 1e-11, "direction at " + std::to_string(time));
    }
  }

  Stage stage;
};

TEST_F(MotionSamples, StepsOutsideTheRangeGiveTwoSamples) {
  const auto camera = stage.create(panoramic);
  ItemQuestions questions(stage.module, panoramic);
  for (const auto& [steps, samples] : std::vector<std::pair<unsigned, unsigned>>{{0, 2},
                                                                                 {1, 2},
                                                                                 {2, 2},
                                                                                 {3, 3},
                                                                                 {4, 4},
                                                                                 {5, 5},
                                                                                 {64, 64},
                                                                                 {198, 198},
                                                                                 {199, 199},
                                                                                 {200, 2},
                                                                                 {1000, 2},
                                                                                 {UINT32_MAX, 2}}) {
    SCOPED_TRACE(std::to_string(steps) + " steps");
    questions.take();
    camera->new_frame(1, 1.0, 0.5, steps);
    const std::vector<ItemQuestion> asked = questions.take();
    ASSERT_EQ(asked.size(), std::size_t{samples} * 4);
    for (std::size_t i = 0; i < asked.size(); ++i) {
      const std::size_t k = i / 4;
      EXPECT_EQ(asked[i].item, camera->item_id());
      EXPECT_EQ(asked[i].time_seconds, 1.0 + static_cast<double>(k) * (0.5 / samples)) << "sample " << k;
    }
    for (std::size_t k = 0; k < samples; ++k) {
      std::array<int, 4> params{};
      for (std::size_t i = 0; i < 4; ++i) params[i] = asked[4 * k + i].param;
      EXPECT_EQ(params, (std::array<int, 4>{LWIP_RIGHT, LWIP_UP, LWIP_FORWARD, LWIP_W_POSITION})) << "sample " << k;
    }
    expect_rays_of(*camera, 1.0, 0.5, samples, 0.37);
  }
}

TEST_F(MotionSamples, LastSampleIsOneStepShortOfTheFramesEnd) {
  const auto camera = stage.create(panoramic);
  ItemQuestions questions(stage.module, panoramic);
  camera->new_frame(1, 1.25, 0.4, 8);
  const std::vector<ItemQuestion> asked = questions.take();
  ASSERT_EQ(asked.size(), 32U);
  EXPECT_EQ(asked.front().time_seconds, 1.25);
  EXPECT_DOUBLE_EQ(asked.back().time_seconds, 1.25 + 7 * 0.05);
}

TEST_F(MotionSamples, FrameWithoutDurationSamplesItsStartOnly) {
  const auto camera = stage.create(panoramic);
  ItemQuestions questions(stage.module, panoramic);
  camera->new_frame(1, 1.5, 0.0, 3);
  for (const ItemQuestion& question : questions.take()) EXPECT_EQ(question.time_seconds, 1.5);
  const RayAnswer first = camera->evaluate({.fractional_time = 0.0});
  const RayAnswer last = camera->evaluate({.fractional_time = 1.0});
  EXPECT_EQ(bits_of(first), bits_of(last));
}

TEST_F(MotionSamples, SameRecordsBuildOnce) {
  const auto camera = stage.create(panoramic);
  ItemQuestions questions(stage.module, panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  EXPECT_EQ(questions.take().size(), 12U);
  camera->new_frame(1, 1.0, 0.5, 3);
  camera->new_frame(1, 1.0, 0.5, 3);
  EXPECT_TRUE(questions.take().empty());
}

TEST_F(MotionSamples, SameRecordsDoNotReadTheEnvelopesAgain) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  const RayQuery edge{.film_x = camera->access().filmSize[0] * 0.125};
  const RayAnswer before = camera->evaluate(edge);
  camera->parameter("HorizontalFOVradians").set_constant(1.0);
  camera->new_frame(1, 1.0, 0.5, 3);
  EXPECT_EQ(bits_of(camera->evaluate(edge)), bits_of(before));
  camera->new_frame(2, 1.0, 0.5, 3);
  EXPECT_NE(bits_of(camera->evaluate(edge)), bits_of(before));
}

TEST_F(MotionSamples, AnyChangedWordOfTheFrameRecordRebuilds) {
  const auto camera = stage.create(panoramic);
  ItemQuestions questions(stage.module, panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  const LWFrameInfo original = camera->frame_info();
  const auto expect_rebuild = [&](const LWFrameInfo& changed, const char* field) {
    camera->handler().newFrame(camera->raw(), &original, &camera->access());
    questions.take();
    camera->handler().newFrame(camera->raw(), &changed, &camera->access());
    EXPECT_FALSE(questions.take().empty()) << field;
  };
  LWFrameInfo changed = original;
  changed.frame = 2;
  expect_rebuild(changed, "frame");
  changed = original;
  changed.start = std::nextafter(changed.start, 2.0);
  expect_rebuild(changed, "start");
  changed = original;
  changed.duration = 0.25;
  expect_rebuild(changed, "duration");
  changed = original;
  changed.fps = 1.0 / 24.0;
  expect_rebuild(changed, "frames per second");
  changed = original;
  changed.motionSteps = 4;
  expect_rebuild(changed, "motion steps");
  // Both are taken as two samples, and yet they are different records.
  changed = original;
  changed.motionSteps = 200;
  expect_rebuild(changed, "motion steps out of range");
}

TEST_F(MotionSamples, FrameRecordsAreComparedBitForBit) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  ItemQuestions questions(stage.module, panoramic);
  LWFrameInfo frame = camera->frame_info();
  const auto builds = [&] {
    questions.take();
    camera->handler().newFrame(camera->raw(), &frame, &camera->access());
    return !questions.take().empty();
  };
  frame.start = 0.0;
  EXPECT_TRUE(builds());
  frame.start = -0.0;
  EXPECT_TRUE(builds());
  frame.fps = not_a_number;
  EXPECT_TRUE(builds());
  EXPECT_FALSE(builds());
}

TEST_F(MotionSamples, PaddingOfTheFrameRecordDoesNotCount) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  const LWFrameInfo original = camera->frame_info();
  ItemQuestions questions(stage.module, panoramic);
  LWFrameInfo padded;
  std::memset(static_cast<void*>(&padded), 0x77, sizeof padded);
  padded.frame = original.frame;
  padded.start = original.start;
  padded.duration = original.duration;
  padded.fps = original.fps;
  padded.motionSteps = original.motionSteps;
  camera->handler().newFrame(camera->raw(), &padded, &camera->access());
  EXPECT_TRUE(questions.take().empty());
}

TEST_F(MotionSamples, AnyChangedWordOfTheAccessRecordRebuilds) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  ItemQuestions questions(stage.module, panoramic);
  const LWCameraAccess original = camera->access();
  // The first word names the item, and no other item stands in for it here.
  for (std::size_t word = 1; word < sizeof(LWCameraAccess) / 8; ++word) {
    camera->handler().newFrame(camera->raw(), &camera->frame_info(), &original);
    questions.take();
    LWCameraAccess changed = original;
    auto* bytes = reinterpret_cast<unsigned char*>(&changed) + word * 8;
    bytes[0] ^= 1U;
    camera->handler().newFrame(camera->raw(), &camera->frame_info(), &changed);
    EXPECT_EQ(questions.take().size(), 12U) << "word " << word;
  }
}

TEST_F(MotionSamples, AnotherItemInTheAccessRecordIsTheOneThatIsAskedFor) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 3);
  ItemQuestions questions(stage.module, panoramic);
  LWCameraAccess other = camera->access();
  other.cameraID = stage.host.id_of("Other 5");
  camera->handler().newFrame(camera->raw(), &camera->frame_info(), &other);
  const std::vector<ItemQuestion> asked = questions.take();
  ASSERT_EQ(asked.size(), 12U);
  for (const ItemQuestion& question : asked) EXPECT_EQ(question.item, other.cameraID);
}

TEST_F(MotionSamples, InterpolationAgreesWithTheFormula) {
  const auto camera = stage.create(panoramic);
  for (const unsigned samples : {2U, 3U, 5U, 199U}) {
    SCOPED_TRACE(std::to_string(samples) + " samples");
    camera->new_frame(1, 1.0, 1.0, samples);
    for (const double time :
         {0.0, 1.0, 1e-300, 1e-9, 0.1, 0.2, 0.25, 1.0 / 3.0, 0.5, 2.0 / 3.0, 0.75, 0.9, 0.999999, -0.5, -1e300, 1.5, 1e300}) {
      expect_rays_of(*camera, 1.0, 1.0, samples, time);
    }
    for (int i = 0; i <= 400; ++i) expect_rays_of(*camera, 1.0, 1.0, samples, i / 400.0);
    expect_rays_of(*camera, 1.0, 1.0, samples, std::nextafter(1.0, 0.0));
    expect_rays_of(*camera, 1.0, 1.0, samples, std::nextafter(0.0, 1.0));
  }
}

TEST_F(MotionSamples, TheLastBitOfTheWeightIsThatOfTheIndexOverTheCount) {
  // Where one sample is 0 and the next one is 1, the weight is what comes out.
  constexpr unsigned samples = 98;
  const auto camera = stage.create(panoramic);
  int different = 0;
  for (unsigned first = 0; first < samples - 2; ++first) {
    stage.host.item("Camera").motion[0].keys = {{0.0, 0.0, standin::Span::stepped, {}},
                                                {1.0, (first + 0.5) / samples, standin::Span::stepped, {}}};
    camera->new_frame(static_cast<int>(first), 0.0, 1.0, samples);
    const double time = (first + 0.5) / (samples - 2);
    const double weight = time - static_cast<double>(first) / samples;
    EXPECT_EQ(camera->evaluate({.fractional_time = time}).position.x, weight) << first;
    different += weight != time - first * (1.0 / samples) ? 1 : 0;
  }
  // Otherwise this would show nothing.
  EXPECT_GT(different, 5);
}

TEST_F(MotionSamples, EndsOfTheIntervalAreTheFirstAndLastSampleExactly) {
  const auto camera = stage.create(panoramic);
  for (const unsigned samples : {2U, 3U, 5U, 199U}) {
    camera->new_frame(1, 1.0, 1.0, samples);
    const auto position_at = [&](double seconds) { return rounded(pose_told_by_host(camera->item_id(), seconds).position); };
    for (const double time : {0.0, -0.0, -1.0, -infinity}) {
      const RayAnswer ray = camera->evaluate({.fractional_time = time});
      EXPECT_EQ(ray.position, position_at(1.0)) << samples << " samples at " << time;
    }
    for (const double time : {1.0, 2.0, infinity}) {
      const RayAnswer ray = camera->evaluate({.fractional_time = time});
      EXPECT_EQ(ray.position, position_at(1.0 + (samples - 1) * (1.0 / samples))) << samples << " samples at " << time;
    }
  }
}

TEST_F(MotionSamples, ProjectionFollowsTheSameMotion) {
  const auto camera = stage.create(panoramic);
  for (const unsigned samples : {2U, 3U, 5U, 199U}) {
    camera->new_frame(1, 1.0, 1.0, samples);
    const double width = camera->access().filmSize[0];
    const double height = camera->access().filmSize[1];
    // With two samples the axes between them are no longer of length 1 and at right angles: only at the ends is projection
    // the inverse of evaluation.
    for (const double time : {0.0, 1.0, -3.0, 4.0}) {
      for (const auto& [x, y] : {std::pair{0.1, 0.2}, {-0.3, -0.4}, {0.45, 0.0}}) {
        const RayAnswer ray = camera->evaluate({.film_x = x * width, .film_y = y * height, .fractional_time = time});
        const auto film = camera->project(ray.position + ray.direction * 3.0, time);
        ASSERT_TRUE(film.has_value());
        EXPECT_NEAR(film->first, x * width, 1e-12 * width);
        EXPECT_NEAR(film->second, y * height, 1e-12 * height);
      }
    }
  }
}

TEST_F(MotionSamples, ProjectionBetweenSamplesUsesTheInterpolatedVectors) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 1.0, 5);
  for (const double time : {0.1, 0.35, 0.8}) {
    const LongPose pose = pose_told_by_host(camera->item_id(), 1.0, 1.0, 5, time);
    const Vec3 world = rounded(pose.position + test_support::LongVector{0.5, 1.5, 2.5});
    const test_support::LongFilmPoint expected = formula.film(camera->access(), pose, world);
    const auto film = camera->project(world, time);
    ASSERT_TRUE(film.has_value());
    EXPECT_NEAR(film->first, static_cast<double>(expected.x), 1e-13);
    EXPECT_NEAR(film->second, static_cast<double>(expected.y), 1e-13);
  }
}

TEST_F(MotionSamples, ProjectionLeavesTheCachedTimeAlone) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 1.0, 5);
  const RayAnswer before = camera->evaluate({.film_x = 0.001, .fractional_time = 0.3});
  camera->project({1.0, 2.0, 3.0}, 0.9);
  EXPECT_EQ(bits_of(camera->evaluate({.film_x = 0.001, .fractional_time = 0.3})), bits_of(before));
}

TEST_F(MotionSamples, RayDoesNotDependOnWhatWasAskedBefore) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 1.0, 7);
  std::vector<RayBits> rays;
  rays.reserve(51);
  for (int i = 0; i <= 50; ++i) rays.push_back(bits_of(camera->evaluate({.film_x = 0.002, .fractional_time = i / 50.0})));
  std::mt19937 random(11);
  for (int i = 0; i < 1000; ++i) {
    const auto which = random() % rays.size();
    EXPECT_EQ(bits_of(camera->evaluate({.film_x = 0.002, .fractional_time = static_cast<double>(which) / 50.0})), rays[which]);
  }
}

TEST_F(MotionSamples, CachedPoseDoesNotOutliveItsFrame) {
  const auto camera = stage.create(panoramic);
  for (const double time : {0.0, 0.4}) {
    camera->new_frame(1, 1.0, 0.25, 3);
    camera->evaluate({.fractional_time = time});
    camera->new_frame(2, 1.5, 0.25, 3);
    expect_rays_of(*camera, 1.5, 0.25, 3, time);
  }
}

TEST_F(MotionSamples, TimeThatIsNoNumberHarmsNothing) {
  const auto camera = stage.create(panoramic);
  for (const unsigned samples : {2U, 3U, 199U}) {
    camera->new_frame(1, 1.0, 1.0, samples);
    EXPECT_EQ(camera->evaluate({.fractional_time = not_a_number}).result, 1);
    camera->project({1.0, 2.0, 3.0}, not_a_number);
    expect_rays_of(*camera, 1.0, 1.0, samples, 0.5);
    camera->evaluate({.fractional_time = not_a_number});
    expect_rays_of(*camera, 1.0, 1.0, samples, 0.0);
  }
}

TEST_F(MotionSamples, FramesOfStrangeNumbersAreSurvived) {
  const auto camera = stage.create(panoramic);
  for (const double start : {not_a_number, infinity, -infinity, 1e308}) {
    for (const double duration : {not_a_number, infinity, -1.0, 1e308}) {
      LWFrameInfo frame{1, start, duration, 0.0, 5};
      LWCameraAccess access = standin::camera_access(stage.host.scene(), stage.host.item("Camera"), 1.0);
      camera->handler().newFrame(camera->raw(), &frame, &access);
      camera->access() = access;
      EXPECT_EQ(camera->evaluate({.fractional_time = 0.5}).result, 1);
      camera->project({1.0, 2.0, 3.0}, 0.5);
    }
  }
}

TEST_F(MotionSamples, EvaluationBeforeAnyFrameUsesTheEmptyPose) {
  const auto camera = stage.create(panoramic);
  camera->access() = standin::camera_access(stage.host.scene(), stage.host.item("Camera"), 1.0);
  for (const double time : {0.0, 0.5, 1.0, not_a_number}) {
    const RayAnswer ray = camera->evaluate({.film_x = 0.001, .fractional_time = time});
    EXPECT_EQ(ray.result, 1);
    EXPECT_EQ(ray.position, Vec3());
    camera->project({0.0, 0.0, 1.0}, time);
  }
}

TEST_F(MotionSamples, CopyHasNoSamplesUntilAFrameThatDiffers) {
  const auto source = stage.create(panoramic);
  source->new_frame(1, 1.0, 0.5, 3);
  const auto target = stage.create(panoramic);
  target->new_frame(9, 1.75, 0.1, 5);
  target->evaluate({.fractional_time = 0.5});
  target->copy_from(*source);
  ItemQuestions questions(stage.module, panoramic);
  target->handler().newFrame(target->raw(), &source->frame_info(), &source->access());
  EXPECT_TRUE(questions.take().empty());
  for (const double time : {0.0, 0.5, 1.0})
    EXPECT_EQ(target->evaluate({.film_x = 0.001, .fractional_time = time}).position, Vec3());
  target->project({0.0, 0.0, 1.0}, 0.5);
  target->new_frame(2, 1.25, 0.5, 3);
  EXPECT_EQ(questions.take().size(), 12U);
  expect_rays_of(*target, 1.25, 0.5, 3, 0.5);
}

TEST_F(MotionSamples, CopyToItselfKeepsItsSamples) {
  const auto camera = stage.create(panoramic);
  camera->new_frame(1, 1.0, 0.5, 5);
  camera->copy_from(*camera);
  expect_rays_of(*camera, 1.0, 0.5, 5, 0.6);
}

TEST_F(MotionSamples, EveryThreadGetsExactlyThePoseOfItsOwnTime) {
  constexpr unsigned thread_count = 4;
  constexpr int rays_per_thread = 10000;
  constexpr std::size_t time_count = 64;
  const auto camera = stage.create(panoramic);
  camera->new_frame(0, 1.0, 1.0, 9);
  std::vector<RayQuery> queries(time_count);
  std::vector<RayBits> rays(time_count);
  std::vector<std::optional<std::pair<double, double>>> films(time_count);
  for (std::size_t i = 0; i < time_count; ++i) {
    const auto share = static_cast<double>(i);
    queries[i] = {.film_x = 0.0001 * share, .film_y = -0.0002 * share, .fractional_time = share / 60.0 - 0.02};
    rays[i] = bits_of(camera->evaluate(queries[i]));
    films[i] = camera->project({1.0, 2.0, 3.0}, queries[i].fractional_time);
  }

  // Two times that the threads tear at, a handful, and more than are worth keeping; each with a pose cache of its own.
  const std::array<std::size_t, 4> times_in_use{2, 3, 8, time_count};
  std::atomic<int> wrong_rays = 0;
  std::atomic<int> wrong_films = 0;
  for (int round = 1; round <= 16; ++round) {
    // The same motion, in another frame.
    camera->new_frame(round, 1.0, 1.0, 9);
    const std::size_t times = times_in_use[static_cast<std::size_t>(round) % times_in_use.size()];
    std::vector<std::thread> threads;
    threads.reserve(thread_count);
    for (unsigned t = 0; t < thread_count; ++t) {
      threads.emplace_back([&, t] {
        std::mt19937 random(t);
        for (int i = 0; i < rays_per_thread; ++i) {
          const std::size_t which = random() % times;
          if (bits_of(camera->evaluate(queries[which])) != rays[which]) ++wrong_rays;
          if (i % 8 == 0 && camera->project({1.0, 2.0, 3.0}, queries[which].fractional_time) != films[which]) ++wrong_films;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(wrong_rays, 0);
  EXPECT_EQ(wrong_films, 0);
}

TEST_F(MotionSamples, ThreadsMayStartTogetherOnANewFrame) {
  const auto camera = stage.create(panoramic);
  for (int frame = 0; frame < 50; ++frame) {
    const double start = 1.0 + frame * 0.01;
    camera->new_frame(frame, start, 0.01, 4);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        const double time = t / 4.0;
        const LongPose pose = pose_told_by_host(camera->item_id(), start, 0.01, 4, time);
        for (int i = 0; i < 20; ++i) {
          const Vec3 found = camera->evaluate({.fractional_time = time}).position;
          if (!(length(pose.position - found) <= 1e-12L)) ++wrong;
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0) << "frame " << frame;
  }
}

}  // namespace motion_samples_test

/// How often an instance writes the camera link file, by a clock and a file of the test's own.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <vector>

#include "cameras/photographic/photographic_publication.h"

// The test brings its own; the module's are not linked.
extern "C" int QrmLink_Write(const char* /*plugin*/, const char* /*plugin_version*/, const char* /*body*/, double /*iso*/,
                             double /*iris*/, double /*shutter_angle*/, double /*frame_time*/) {
  return 0;
}
namespace platform {
unsigned long tick_count_milliseconds() noexcept { return 0; }
}  // namespace platform

namespace publication_pace_test {

using photographic::Exposure;
using photographic::Publication;

constinit std::atomic<unsigned long> now = 0;
constinit std::atomic<int> clock_readings = 0;
constinit std::atomic<int> attempts = 0;
constinit std::atomic<bool> writes_succeed = true;
constinit std::atomic<double> written_iso = 0.0;

int write(const char* /*label*/, const Exposure& exposure, double /*time*/) {
  ++attempts;
  if (!writes_succeed) return 0;
  written_iso = exposure.iso;
  return 1;
}

unsigned long read_clock() noexcept {
  ++clock_readings;
  return now;
}

class PublicationPace : public testing::Test {
 protected:
  PublicationPace() {
    now = 5000;
    clock_readings = 0;
    attempts = 0;
    writes_succeed = true;
    written_iso = 0.0;
  }

  /// As a ray does.
  void ray(double iso) {
    const Exposure exposure{iso, 4.0, 180.0};
    if (publication.difference_from(exposure) != 0) publication.publish(exposure, 0.5);
  }

  Publication publication{"label", write, read_clock};
};

TEST_F(PublicationPace, EveryChangeIsWrittenAtOnceBelowTheBounds) {
  for (int i = 1; i <= 256; ++i) {
    ray(i);
    ray(i);
    EXPECT_EQ(attempts, i);
    EXPECT_EQ(written_iso, i);
  }
}

TEST_F(PublicationPace, NoClockIsReadWhileNothingIsDue) {
  ray(1.0);
  for (int i = 0; i < 1000; ++i) ray(1.0);
  EXPECT_EQ(clock_readings, 0);
}

TEST_F(PublicationPace, AFrameOfManyChangesSpacesThemAndEndsWithTheLast) {
  for (int i = 1; i <= 256; ++i) ray(i);
  for (int i = 257; i <= 1000; ++i) ray(i);
  EXPECT_EQ(attempts, 256);
  EXPECT_EQ(written_iso, 256.0);
  now += 9;
  ray(1001);
  EXPECT_EQ(attempts, 256);
  now += 1;
  ray(1002);
  EXPECT_EQ(attempts, 257);
  EXPECT_EQ(written_iso, 1002.0);
  ray(1003);
  EXPECT_EQ(attempts, 257);
  publication.end_frame();
  EXPECT_EQ(attempts, 258);
  EXPECT_EQ(written_iso, 1003.0);
  publication.end_frame();
  EXPECT_EQ(attempts, 258) << "nothing was put off any more";
  for (int i = 1; i <= 256; ++i) ray(i);
  EXPECT_EQ(attempts, 258 + 256) << "the next frame has its writes anew";
}

TEST_F(PublicationPace, ValuesThatAreInTheFileAgainLeaveNothingPutOff) {
  for (int i = 1; i <= 300; ++i) ray(i);
  EXPECT_EQ(written_iso, 256.0);
  ray(256.0);
  publication.end_frame();
  EXPECT_EQ(attempts, 256);
  EXPECT_EQ(written_iso, 256.0);
}

TEST_F(PublicationPace, FailuresAreTriedAgainAtEveryRayAndThenEveryTenthOfASecond) {
  writes_succeed = false;
  for (int i = 1; i <= 8; ++i) {
    ray(1.0);
    EXPECT_EQ(attempts, i);
  }
  for (int i = 0; i < 1000; ++i) ray(1.0);
  EXPECT_EQ(attempts, 8);
  now += 99;
  ray(1.0);
  EXPECT_EQ(attempts, 8);
  now += 1;
  ray(1.0);
  EXPECT_EQ(attempts, 9);
  ray(1.0);
  EXPECT_EQ(attempts, 9);
  now += 100;
  writes_succeed = true;
  ray(2.0);
  EXPECT_EQ(attempts, 10);
  EXPECT_EQ(written_iso, 2.0);
  ray(3.0);
  EXPECT_EQ(written_iso, 3.0) << "after a success every change is written at once again";
}

TEST_F(PublicationPace, AFrameEndsWithOneMoreTryAfterFailures) {
  writes_succeed = false;
  for (int i = 1; i <= 20; ++i) ray(i);
  EXPECT_EQ(attempts, 8);
  writes_succeed = true;
  publication.end_frame();
  EXPECT_EQ(attempts, 9);
  EXPECT_EQ(written_iso, 20.0);
  ray(20.0);
  EXPECT_EQ(attempts, 9);
}

TEST_F(PublicationPace, TheClockMayStartAgainAtZero) {
  now = 0xFFFFFFFFUL - 3;
  writes_succeed = false;
  for (int i = 1; i <= 20; ++i) ray(i);
  EXPECT_EQ(attempts, 8);
  now = 95;
  ray(1.0);
  EXPECT_EQ(attempts, 8);
  now = 96;
  ray(1.0);
  EXPECT_EQ(attempts, 9);
}

TEST_F(PublicationPace, ForgettingStartsAnew) {
  writes_succeed = false;
  for (int i = 1; i <= 20; ++i) ray(i);
  publication.forget();
  publication.end_frame();
  EXPECT_EQ(attempts, 8) << "nothing of before is written";
  writes_succeed = true;
  ray(20.0);
  EXPECT_EQ(attempts, 9);
}

TEST_F(PublicationPace, WhatIsNotANumberIsOneValue) {
  const double none = std::numeric_limits<double>::quiet_NaN();
  for (int i = 0; i < 10; ++i) ray(none);
  EXPECT_EQ(attempts, 1);
  publication.end_frame();
  EXPECT_EQ(attempts, 1);
}

TEST_F(PublicationPace, ThreadsStayWithinTheBoundsTogether) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 5000; ++i) ray(1.0 + thread + 4.0 * i);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(attempts, 256);
  publication.end_frame();
  EXPECT_LE(attempts, 257);
  ray(-1.0);
  EXPECT_EQ(written_iso, -1.0);
}

}  // namespace publication_pace_test

/// Ray services that answer nonsense, or not at all. None may end or hold up the program that asks.

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "standin/remote/ray_protocol.h"
#include "tests/support/ray_service_fixture.h"
#include "tests/support/running_tool.h"

namespace native_hostile_service_test {

using namespace standin;
using namespace standin::ray_protocol;

using Bytes = std::vector<char>;

class HostileService : public test_support::RayService {
 protected:
  void SetUp() override {
    RayService::SetUp();
    setenv("OVICAM_RAY_SERVICE_SECONDS", "2", 1);
  }
  void TearDown() override {
    unsetenv("OVICAM_RAY_SERVICE_SECONDS");
    RayService::TearDown();
  }

  /// A service that says these bytes, whatever it is asked.
  void use_bytes(const Bytes& bytes, const std::string& then = "exec cat >/dev/null") {
    std::ofstream(folder_ / "bytes", std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    use_script("cat '" + (folder_ / "bytes").string() + "'; " + then);
  }

  /// What opening it, preparing a frame and asking for a ray ends with; empty when all of it succeeds.
  std::string outcome() const {
    try {
      const auto session = open_remote_session(options_);
      session->begin_frame(3);
      const std::array<RayQuery, 4> queries{};
      std::array<RayAnswer, 4> answers{};
      session->evaluate(queries, answers);
      session->project({}, 0.0, Eye::centre);
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  void expect_refused(const Bytes& bytes, const std::string& sentence) {
    use_bytes(bytes);
    const std::string told = outcome();
    EXPECT_NE(told.find(sentence), std::string::npos) << told << " in place of " << sentence;
  }
};

void append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

Bytes sent(const Bytes& message) {
  const auto size = static_cast<std::uint32_t>(message.size());
  Bytes bytes(sizeof size);
  std::memcpy(bytes.data(), &size, sizeof size);
  append(bytes, message);
  return bytes;
}

FrameSetup sound_setup() {
  FrameSetup setup;
  setup.frame = 3;
  setup.film_width = 0.02;
  setup.film_height = 0.015;
  return setup;
}

Bytes conversation(const FrameSetup& setup) {
  Bytes bytes = sent(packed(OpenSession::Answer{}));
  append(bytes, sent(packed(BeginFrame::Answer{setup, {}})));
  append(bytes, sent(packed(EvaluateRays::Answer{})));
  append(bytes, Bytes(4 * sizeof(RayAnswer), '\x7f'));
  append(bytes, sent(packed(ProjectPoint::Answer{})));
  return bytes;
}

TEST_F(HostileService, OneThatAnswersAnythingInFormIsBelieved) {
  use_bytes(conversation(sound_setup()));
  EXPECT_EQ(outcome(), "");
}

TEST_F(HostileService, NumbersThatMakeNoSense) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (double FrameSetup::*number :
       {&FrameSetup::start_seconds, &FrameSetup::duration_seconds, &FrameSetup::film_width, &FrameSetup::film_height}) {
    for (const double bad : {infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
      FrameSetup setup = sound_setup();
      setup.*number = bad;
      expect_refused(conversation(setup), "makes no sense");
    }
  }
  FrameSetup backwards = sound_setup();
  backwards.duration_seconds = -1.0;
  expect_refused(conversation(backwards), "makes no sense");
  FrameSetup other = sound_setup();
  other.frame = 4;
  expect_refused(conversation(other), "makes no sense");
}

TEST_F(HostileService, AByteThatIsNeitherYesNorNo) {
  // The flag of the last answer, behind its kind.
  Bytes bytes = conversation(sound_setup());
  bytes.back() = 2;
  expect_refused(bytes, "neither");
  Bytes frame = packed(BeginFrame::Answer{sound_setup(), {}});
  constexpr std::size_t flag_of_depth_of_field = 1 + 4 + 4 * 8;
  ASSERT_EQ(frame[flag_of_depth_of_field], 0);
  frame[flag_of_depth_of_field] = static_cast<char>(0xFF);
  Bytes begun = sent(packed(OpenSession::Answer{}));
  append(begun, sent(frame));
  expect_refused(begun, "neither");
}

/// Of a service that says that it sees the memory for rays, and then this of one request for rays.
Bytes sharing_conversation(const std::vector<PlacesFilled>& said) {
  Bytes bytes = sent(packed(OpenSession::Answer{}));
  append(bytes, sent(packed(BeginFrame::Answer{sound_setup(), {}, true})));
  for (const PlacesFilled& one : said) append(bytes, sent(packed(one)));
  append(bytes, sent(packed(ProjectPoint::Answer{})));
  return bytes;
}

TEST_F(HostileService, AnswersToRequestsThatNobodyMade) {
  use_bytes(sharing_conversation({{0, ""}}));
  EXPECT_EQ(outcome(), "");
  expect_refused(sharing_conversation({{1, ""}}), "makes no sense");
  expect_refused(sharing_conversation({{0xFFFFFFFF, ""}}), "makes no sense");
  // The second one comes where the film position of a point is expected.
  expect_refused(sharing_conversation({{0, ""}, {0, ""}}), "than it says");
}

TEST_F(HostileService, ARequestThatFailsSaysWhyAndTheNextIsAnswered) {
  use_bytes(sharing_conversation({{0, "The camera is gone"}, {0, ""}}));
  const auto session = open_remote_session(options_);
  session->begin_frame(3);
  const std::array<RayQuery, 4> queries{};
  std::array<RayAnswer, 4> answers{};
  EXPECT_THROW(
      try { session->evaluate(queries, answers); } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "The camera is gone");
        throw;
      },
      std::runtime_error);
  session->evaluate(queries, answers);
  EXPECT_FALSE(session->project({}, 0.0, Eye::centre));
}

/// What more threads are told than there is room for requests: some of them wait for others.
std::vector<std::string> told_to_threads(Session& session) {
  const std::vector<RayQuery> queries(2 * most_rays);
  std::vector<std::string> told(most_requests + 10);
  std::vector<std::thread> threads;
  for (std::string& own : told) {
    threads.emplace_back([&] {
      std::vector<RayAnswer> answers(queries.size());
      try {
        session.evaluate(queries, answers);
      } catch (const std::runtime_error& error) {
        own = error.what();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return told;
}

TEST_F(HostileService, AFailureAmongManyThreadsIsToldToAll) {
  Bytes bytes = sent(packed(OpenSession::Answer{}));
  append(bytes, sent(packed(BeginFrame::Answer{sound_setup(), {}, true})));
  append(bytes, sent(packed(Failure{"It cannot be done"})));
  use_bytes(bytes);
  const auto session = open_remote_session(options_);
  session->begin_frame(3);
  for (const std::string& told : told_to_threads(*session)) EXPECT_EQ(told, "It cannot be done");
}

TEST_F(HostileService, OneThatDiesIsToldToAllThreads) {
  Bytes bytes = sent(packed(OpenSession::Answer{}));
  append(bytes, sent(packed(BeginFrame::Answer{sound_setup(), {}, true})));
  for (const char* then : {"exec sleep 0.2", "exec head -c 2000 >/dev/null"}) {
    use_bytes(bytes, then);
    const auto session = open_remote_session(options_);
    session->begin_frame(3);
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    for (const std::string& told : told_to_threads(*session)) EXPECT_NE(told.find("died"), std::string::npos) << told;
  }
}

TEST_F(HostileService, LengthsThatMakeNoSense) {
  for (const std::uint32_t size : {0U, 1U, 2U, 3U, 64U << 20, (64U << 20) + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Bytes bytes = sent(packed(OpenSession::Answer{}));
    std::memcpy(bytes.data(), &size, sizeof size);
    use_bytes(bytes);
    EXPECT_NE(outcome(), "") << size;
  }
  // More warnings than the message has bytes.
  for (const std::uint32_t count : {8U, 0xFFFFFFFFU}) {
    Bytes message = packed(OpenSession::Answer{});
    std::memcpy(message.data() + 1, &count, sizeof count);
    expect_refused(sent(message), "shorter than it says");
  }
}

TEST_F(HostileService, AConversationThatEndsAnywhere) {
  const Bytes whole = conversation(sound_setup());
  for (std::size_t kept = 0; kept < whole.size(); kept += 1 + whole.size() / 16) {
    std::ofstream(folder_ / "bytes", std::ios::binary).write(whole.data(), static_cast<std::streamsize>(kept));
    use_script("cat '" + (folder_ / "bytes").string() + "'");
    EXPECT_NE(outcome().find("died"), std::string::npos) << kept;
  }
}

TEST_F(HostileService, RandomBytesInAnyPlace) {
  std::mt19937 random(20261122);
  const Bytes whole = conversation(sound_setup());
  for (int round = 0; round < 20; ++round) {
    Bytes bytes = whole;
    for (int i = 0; i < 8; ++i) bytes[random() % bytes.size()] = static_cast<char>(random());
    use_bytes(bytes);
    // Whatever it ends with, it ends.
    const std::string told = outcome();
    EXPECT_EQ(told.find('\n'), std::string::npos) << told;
  }
}

TEST_F(HostileService, SilenceIsEnded) {
  const std::string sentence = "gave no answer within 2 seconds and was ended";
  use_script("exec sleep 1000");
  EXPECT_NE(outcome().find(sentence), std::string::npos) << outcome();
  use_bytes(sent(packed(OpenSession::Answer{})), "exec sleep 1000");
  EXPECT_NE(outcome().find(sentence), std::string::npos) << outcome();
  // One byte now and then is no answer either.
  use_script(R"(printf '\377\000\000\000'; while printf a; do sleep 0.1; done)");
  EXPECT_NE(outcome().find(sentence), std::string::npos) << outcome();
}

TEST_F(HostileService, OneThatReadsNothingIsEnded) {
  Bytes bytes = sent(packed(OpenSession::Answer{}));
  append(bytes, sent(packed(BeginFrame::Answer{sound_setup(), {}})));
  use_bytes(bytes, "exec sleep 1000");
  const auto session = open_remote_session(options_);
  session->begin_frame(3);
  // Several requests at once, from several threads, are more than fits the pipe.
  const std::vector<RayQuery> queries(most_rays);
  std::vector<std::thread> threads;
  std::atomic<int> refused = 0;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      std::vector<RayAnswer> answers(most_rays);
      try {
        session->evaluate(queries, answers);
      } catch (const std::runtime_error&) {
        ++refused;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(refused, 3);
}

TEST_F(HostileService, OneThatIsStoppedIsEnded) {
  const auto program = test_support::module_file().parent_path() / "ovicam-ray-service";
  use_script("exec '" + program.string() + "' stopped-by-the-test");
  auto session = open_remote_session(options_);
  session->begin_frame(0);
  const auto services = test_support::processes_with("stopped-by-the-test");
  ASSERT_EQ(services.size(), 1U);
  ASSERT_EQ(kill(services.front(), SIGSTOP), 0);
  const std::array<RayQuery, 4> queries{};
  std::array<RayAnswer, 4> answers{};
  EXPECT_THROW(session->evaluate(queries, answers), std::runtime_error);
  session.reset();
  EXPECT_NE(kill(services.front(), 0), 0);
}

TEST_F(HostileService, ALimitThatIsNoNumberIsRefused) {
  for (const char* bad : {"0", "-3", "soon", "5s", "99999999999"}) {
    setenv("OVICAM_RAY_SERVICE_SECONDS", bad, 1);
    EXPECT_NE(refusal().find("OVICAM_RAY_SERVICE_SECONDS"), std::string::npos) << refusal();
  }
}

}  // namespace native_hostile_service_test

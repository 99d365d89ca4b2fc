#include "standin/scene/envelope.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace envelope_test {

using standin::EndBehaviour;
using standin::Envelope;
using standin::Key;
using standin::Span;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

constexpr std::array steps_to_one = {0.0, 0.0625, 0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 0.9375, 1.0};

Envelope keyed(Span span, const std::vector<std::array<double, 2>>& values_at_times) {
  Envelope envelope;
  for (const auto& [value, time] : values_at_times) envelope.keys.push_back(Key{value, time, span, {}});
  return envelope;
}

Envelope ramp(EndBehaviour before, EndBehaviour after) {
  Envelope envelope = keyed(Span::linear, {{10.0, 1.0}, {14.0, 3.0}});
  envelope.before = before;
  envelope.after = after;
  return envelope;
}

/// The cubic with those values and changes per segment at its ends.
double hermite(double from, double to, double out, double in, double u) {
  const double squared = u * u;
  const double cubed = squared * u;
  return from * (2 * cubed - 3 * squared + 1) + to * (3 * squared - 2 * cubed) + out * (cubed - 2 * squared + u) +
         in * (cubed - squared);
}

double change_per_second_before(const Envelope& envelope, double time) {
  return (envelope.at(time) - envelope.at(time - 1e-6)) / 1e-6;
}

double change_per_second_after(const Envelope& envelope, double time) {
  return (envelope.at(time + 1e-6) - envelope.at(time)) / 1e-6;
}

TEST(EnvelopeTest, NoKeysAreZero) { EXPECT_EQ(Envelope{}.at(3.0), 0.0); }

TEST(EnvelopeTest, OneKeyIsAConstantWhateverTheEndBehaviour) {
  for (int behaviour = 0; behaviour <= 5; ++behaviour) {
    Envelope envelope = Envelope::constant(2.5);
    envelope.before = envelope.after = static_cast<EndBehaviour>(behaviour);
    EXPECT_EQ(envelope.at(-7.0), 2.5) << behaviour;
    EXPECT_EQ(envelope.at(0.0), 2.5) << behaviour;
    EXPECT_EQ(envelope.at(7.0), 2.5) << behaviour;
    EXPECT_FALSE(envelope.animated());
  }
}

TEST(EnvelopeTest, EverySpanPassesThroughItsKeys) {
  for (int span = 0; span <= 5; ++span) {
    Envelope envelope = keyed(static_cast<Span>(span), {{1.0, 0.0}, {-4.0, 0.5}, {9.0, 2.0}, {9.5, 2.25}});
    for (Key& key : envelope.keys) key.parameters = {-0.1, 0.2, 0.1, 0.3, 0.0, 0.0};
    EXPECT_TRUE(envelope.animated());
    for (const Key& key : envelope.keys)
      EXPECT_NEAR(envelope.at(key.time_seconds), key.value, 1e-12) << span << " at " << key.time_seconds;
  }
}

TEST(EnvelopeTest, StepHoldsTheEarlierKey) {
  const Envelope envelope = keyed(Span::stepped, {{1.0, 0.0}, {5.0, 2.0}});
  EXPECT_EQ(envelope.at(1.999), 1.0);
  EXPECT_EQ(envelope.at(2.0), 5.0);
}

TEST(EnvelopeTest, LinearIsAStraightLine) {
  const Envelope envelope = keyed(Span::linear, {{1.0, 0.0}, {5.0, 2.0}, {4.0, 6.0}});
  EXPECT_DOUBLE_EQ(envelope.at(0.5), 2.0);
  EXPECT_DOUBLE_EQ(envelope.at(5.0), 4.25);
}

TEST(EnvelopeTest, TheSpanBelongsToTheKeyItLeadsInto) {
  Envelope envelope = keyed(Span::stepped, {{0.0, 0.0}, {4.0, 1.0}, {8.0, 2.0}});
  envelope.keys[1].span = Span::linear;
  EXPECT_DOUBLE_EQ(envelope.at(0.5), 2.0);
  EXPECT_DOUBLE_EQ(envelope.at(1.5), 4.0);
}

TEST(EnvelopeTest, TwoUnshapedTcbKeysAreAStraightLine) {
  const Envelope envelope = keyed(Span::tcb, {{1.0, 0.0}, {5.0, 2.0}});
  EXPECT_NEAR(envelope.at(0.5), 2.0, 1e-12);
}

TEST(EnvelopeTest, TcbFollowsTheTextbookTangentsWithUnevenSpacing) {
  Envelope envelope = keyed(Span::tcb, {{0.0, 0.0}, {3.0, 1.0}, {-1.0, 1.5}, {2.0, 4.0}});
  envelope.keys[1].parameters = {0.3, -0.2, 0.4, 99.0, 99.0, 99.0};
  envelope.keys[2].parameters = {-0.5, 0.6, -0.7, 99.0, 99.0, 99.0};
  // Kochanek and Bartels: halves of the chords, weighted; then scaled by the segment's share of its two neighbours.
  const double out =
      ((1 - 0.3) * (1 - 0.2) * (1 + 0.4) / 2 * 3.0 + (1 - 0.3) * (1 + 0.2) * (1 - 0.4) / 2 * -4.0) * (2 * 0.5 / (1.0 + 0.5));
  const double in =
      ((1 + 0.5) * (1 - 0.6) * (1 - 0.7) / 2 * -4.0 + (1 + 0.5) * (1 + 0.6) * (1 + 0.7) / 2 * 3.0) * (2 * 0.5 / (0.5 + 2.5));
  for (const double u : steps_to_one) EXPECT_NEAR(envelope.at(1.0 + 0.5 * u), hermite(3.0, -1.0, out, in, u), 1e-12) << u;
}

// The host writes the change per segment that it computed at both sides of a TCB key behind the key's own three parameters.
TEST(EnvelopeTest, TcbChangesAsTheHostComputedForItsOwnKeys) {
  struct Case {
    Envelope envelope;
    std::size_t key;
    double duration_before;
    double change_before;
    double duration_after;
    double change_after;
  };
  const Envelope even = keyed(Span::tcb, {{0.0, 0.0}, {2.0691125392913818, 2.0 / 3}, {-2.3748657703399658, 4.0 / 3}});
  const Envelope uneven = keyed(Span::tcb, {{0.0, 0.0}, {0.0, 1.0}, {0.98909872770309448, 1.7}});
  for (const Case& each : {Case{even, 1, 2.0 / 3, -1.1874328851699829, 2.0 / 3, -1.1874328851699829},
                           Case{uneven, 1, 1.0, 0.58182278100182028, 0.7, 0.40727594670127421}}) {
    const double time = each.envelope.keys[each.key].time_seconds;
    EXPECT_NEAR(change_per_second_before(each.envelope, time) * each.duration_before, each.change_before, 1e-3);
    EXPECT_NEAR(change_per_second_after(each.envelope, time) * each.duration_after, each.change_after, 1e-3);
  }
  EXPECT_NEAR(change_per_second_after(even, 0.0) * 2.0 / 3, 2.0682507681379909, 3e-3);
  EXPECT_NEAR(change_per_second_before(even, 4.0 / 3) * 2.0 / 3, -4.4421274232050125, 3e-3);
}

TEST(EnvelopeTest, HermiteAndBezierTakeTheEarlierKeysOutgoingAndTheLaterKeysIncomingTangent) {
  for (const Span span : {Span::hermite, Span::bezier}) {
    Envelope envelope = keyed(span, {{1.0, 0.0}, {2.0, 4.0}});
    envelope.keys[0].parameters = {77.0, 3.0};
    envelope.keys[1].parameters = {-2.0, 77.0};
    for (const double u : steps_to_one) EXPECT_NEAR(envelope.at(4.0 * u), hermite(1.0, 2.0, 3.0, -2.0, u), 1e-12) << u;
  }
}

TEST(EnvelopeTest, HermiteTangentIsSharedOutOverUnevenSegments) {
  Envelope envelope = keyed(Span::hermite, {{0.0, 0.0}, {1.0, 1.0}, {0.0, 4.0}});
  envelope.keys[1].parameters = {2.0, 2.0};
  EXPECT_NEAR(change_per_second_before(envelope, 1.0), 2.0 * 0.25, 1e-4);
  EXPECT_NEAR(change_per_second_after(envelope, 1.0) * 3.0, 2.0 * 0.75, 1e-4);
}

TEST(EnvelopeTest, OutgoingTangentComesFromTheEarlierKeysOwnSpan) {
  Envelope envelope = keyed(Span::tcb, {{0.0, 0.0}, {4.0, 1.0}});
  envelope.keys[0].span = Span::hermite;
  envelope.keys[0].parameters = {0.0, 7.0};
  EXPECT_NEAR(envelope.at(0.5), hermite(0.0, 4.0, 7.0, 4.0, 0.5), 1e-12);
  envelope.keys[0].span = Span::stepped;
  EXPECT_NEAR(envelope.at(0.5), hermite(0.0, 4.0, 0.0, 4.0, 0.5), 1e-12);
  envelope.keys[0].span = Span::bezier_2d;
  envelope.keys[0].parameters = {0.0, 0.0, 0.25, 1.5};
  EXPECT_NEAR(envelope.at(0.5), hermite(0.0, 4.0, 6.0, 4.0, 0.5), 1e-12);
}

TEST(EnvelopeTest, Bezier2dIsTheCurveThroughItsControlPoints) {
  Envelope envelope = keyed(Span::bezier_2d, {{1.924918483918713, 0.5}, {-0.523, 2.0}});
  envelope.keys[0].parameters = {-0.2, 0.01, 0.44444, -0.1033};
  envelope.keys[1].parameters = {-1.3, 0.816, 0.0, 0.0};
  const auto bezier = [](double a, double b, double c, double d, double u) {
    return std::lerp(std::lerp(std::lerp(a, b, u), std::lerp(b, c, u), u), std::lerp(std::lerp(b, c, u), std::lerp(c, d, u), u),
                     u);
  };
  for (const double u : steps_to_one) {
    const double time = bezier(0.5, 0.5 + 0.44444, 2.0 - 1.3, 2.0, u);
    const double value = bezier(1.924918483918713, 1.924918483918713 - 0.1033, -0.523 + 0.816, -0.523, u);
    EXPECT_NEAR(envelope.at(time), value, 1e-9) << u;
  }
}

TEST(EnvelopeTest, Bezier2dThatRunsBackInTimeStillEndsAtItsKeys) {
  Envelope envelope = keyed(Span::bezier_2d, {{0.0, 0.0}, {1.0, 1.0}});
  envelope.keys[0].parameters = {0.0, 0.0, 50.0, 0.0};
  envelope.keys[1].parameters = {-50.0, 0.0, 0.0, 0.0};
  EXPECT_NEAR(envelope.at(0.0), 0.0, 1e-12);
  EXPECT_NEAR(envelope.at(1.0), 1.0, 1e-12);
  for (const double time : steps_to_one) {
    EXPECT_GE(envelope.at(time), -1e-9);
    EXPECT_LE(envelope.at(time), 1.0 + 1e-9);
  }
}

TEST(EnvelopeTest, ResetIsZeroOutsideTheKeysAndTheKeysAtThem) {
  const Envelope envelope = ramp(EndBehaviour::reset, EndBehaviour::reset);
  EXPECT_EQ(envelope.at(0.999), 0.0);
  EXPECT_EQ(envelope.at(1.0), 10.0);
  EXPECT_EQ(envelope.at(3.0), 14.0);
  EXPECT_EQ(envelope.at(3.001), 0.0);
}

TEST(EnvelopeTest, ConstantKeepsTheEndKeys) {
  const Envelope envelope = ramp(EndBehaviour::constant, EndBehaviour::constant);
  EXPECT_EQ(envelope.at(-100.0), 10.0);
  EXPECT_EQ(envelope.at(100.0), 14.0);
}

TEST(EnvelopeTest, RepeatStartsAgain) {
  const Envelope envelope = ramp(EndBehaviour::repeat, EndBehaviour::repeat);
  EXPECT_NEAR(envelope.at(3.5), 11.0, 1e-12);
  EXPECT_NEAR(envelope.at(6.5), 13.0, 1e-12);
  EXPECT_NEAR(envelope.at(0.5), 13.0, 1e-12);
  EXPECT_NEAR(envelope.at(-2.5), 11.0, 1e-12);
}

TEST(EnvelopeTest, OscillateRunsBackAndForth) {
  const Envelope envelope = ramp(EndBehaviour::oscillate, EndBehaviour::oscillate);
  EXPECT_NEAR(envelope.at(3.5), 13.0, 1e-12);
  EXPECT_NEAR(envelope.at(5.5), 11.0, 1e-12);
  EXPECT_NEAR(envelope.at(0.5), 11.0, 1e-12);
  EXPECT_NEAR(envelope.at(-1.5), 13.0, 1e-12);
}

TEST(EnvelopeTest, OffsetRepeatGoesOnFromWhereItEnded) {
  const Envelope envelope = ramp(EndBehaviour::offset_repeat, EndBehaviour::offset_repeat);
  EXPECT_NEAR(envelope.at(3.5), 15.0, 1e-12);
  EXPECT_NEAR(envelope.at(7.0), 22.0, 1e-12);
  EXPECT_NEAR(envelope.at(0.0), 8.0, 1e-12);
  EXPECT_NEAR(envelope.at(-4.0), 0.0, 1e-12);
}

TEST(EnvelopeTest, LinearEndsGoOnAlongTheEndTangents) {
  Envelope envelope = keyed(Span::hermite, {{1.0, 0.0}, {2.0, 4.0}});
  envelope.keys[0].parameters = {0.0, 8.0};
  envelope.keys[1].parameters = {-4.0, 0.0};
  envelope.before = envelope.after = EndBehaviour::linear;
  EXPECT_NEAR(envelope.at(-1.0), 1.0 - 2.0, 1e-12);
  EXPECT_NEAR(envelope.at(6.0), 2.0 - 2.0, 1e-12);
}

TEST(EnvelopeTest, OneEndBehaviourDoesNotAffectTheOtherEnd) {
  const Envelope envelope = ramp(EndBehaviour::reset, EndBehaviour::oscillate);
  EXPECT_EQ(envelope.at(0.0), 0.0);
  EXPECT_NEAR(envelope.at(4.0), 12.0, 1e-12);
}

TEST(EnvelopeTest, AtAJumpTheLaterKeyCounts) {
  const Envelope envelope = keyed(Span::linear, {{0.0, 0.0}, {1.0, 1.0}, {5.0, 1.0}, {6.0, 2.0}});
  EXPECT_NEAR(envelope.at(0.75), 0.75, 1e-12);
  EXPECT_EQ(envelope.at(1.0), 5.0);
  EXPECT_NEAR(envelope.at(1.5), 5.5, 1e-12);
}

TEST(EnvelopeTest, KeysAllAtOneTimeEndInTheLast) {
  for (int behaviour = 1; behaviour <= 5; ++behaviour) {
    Envelope envelope = keyed(Span::tcb, {{3.0, 1.0}, {4.0, 1.0}});
    envelope.before = envelope.after = static_cast<EndBehaviour>(behaviour);
    EXPECT_EQ(envelope.at(0.0), 3.0) << behaviour;
    EXPECT_EQ(envelope.at(1.0), 4.0) << behaviour;
    EXPECT_EQ(envelope.at(2.0), 4.0) << behaviour;
  }
}

TEST(EnvelopeTest, IsFiniteForAnyKeysAndTimes) {
  const std::array<double, 14> odd = {0.0,  -0.0,   1.0,     -1.0,     0.5,       1e300,        -1e300,
                                      1e-9, 5e-324, 1.7e308, infinity, -infinity, not_a_number, 2.0};
  std::mt19937 random(20240607);
  const auto any = [&] { return odd[random() % odd.size()]; };
  for (int round = 0; round < 20000; ++round) {
    Envelope envelope;
    envelope.before = static_cast<EndBehaviour>(random() % 6);
    envelope.after = static_cast<EndBehaviour>(random() % 6);
    for (std::size_t count = random() % 5; count > 0; --count)
      envelope.keys.push_back({any(), any(), static_cast<Span>(random() % 6), {any(), any(), any(), any(), any(), any()}});
    for (const double time : odd) ASSERT_TRUE(std::isfinite(envelope.at(time))) << "round " << round << " at " << time;
  }
}

TEST(EnvelopeTest, HugeTimesStayWithinWhatIsRepeated) {
  for (const EndBehaviour behaviour : {EndBehaviour::repeat, EndBehaviour::oscillate}) {
    const Envelope envelope = ramp(behaviour, behaviour);
    for (const double time : {1e9, -1e9, 1e18, -1e18, 1e300, -1e300, infinity, -infinity}) {
      EXPECT_GE(envelope.at(time), 10.0) << time;
      EXPECT_LE(envelope.at(time), 14.0) << time;
    }
  }
}

}  // namespace envelope_test

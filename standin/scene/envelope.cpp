#include "standin/scene/envelope.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace standin {
namespace {

Span known(Span span) { return span >= Span::tcb && span <= Span::bezier_2d ? span : Span::linear; }

EndBehaviour known(EndBehaviour behaviour) {
  return behaviour >= EndBehaviour::reset && behaviour <= EndBehaviour::linear ? behaviour : EndBehaviour::constant;
}

/// One side of a key: which of its parameters shape the curve there, and the sign of its bias.
struct Side {
  double sign;
  std::size_t tangent;
  std::size_t time_offset;
  std::size_t value_offset;
};

constexpr Side incoming{1.0, 0, 0, 1};
constexpr Side outgoing{-1.0, 1, 2, 3};

/// Change of value over the whole segment between `key` and `across` if the curve continued as it does at `key`.
/// `beyond` is the key on the other side of `key`, null at the ends of the envelope.
double tangent(const Key& key, const Key& across, const Key* beyond, const Side& side) {
  const double duration = (key.time_seconds - across.time_seconds) * side.sign;
  const double rise = (key.value - across.value) * side.sign;
  // Keys that are further away on one side than on the other must not bend the shorter segment.
  double share = 1.0;
  if (beyond != nullptr) {
    const double both = duration + (beyond->time_seconds - key.time_seconds) * side.sign;
    share = both > 0.0 ? duration / both : 1.0;
  }
  switch (known(key.span)) {
    case Span::stepped:
      return 0.0;
    case Span::hermite:
    case Span::bezier:
      return share * key.parameters[side.tangent];
    case Span::bezier_2d: {
      const double time_offset = key.parameters[side.time_offset];
      return time_offset == 0.0 ? rise : key.parameters[side.value_offset] / time_offset * duration;
    }
    case Span::tcb:
    case Span::linear:
      break;
  }
  const bool shaped = key.span == Span::tcb;
  const double tension = shaped ? key.parameters[0] : 0.0;
  const double continuity = shaped ? key.parameters[1] : 0.0;
  const double bias = shaped ? key.parameters[2] * side.sign : 0.0;
  const double near_weight = (1.0 - tension) * (1.0 - continuity) * (1.0 + bias);
  if (beyond == nullptr) return near_weight * rise;
  const double far_weight = (1.0 - tension) * (1.0 + continuity) * (1.0 - bias);
  const double rise_beyond = (beyond->value - key.value) * side.sign;
  return share * (near_weight * rise + far_weight * rise_beyond);
}

double outgoing_tangent(const std::vector<Key>& keys, std::size_t i) {
  return tangent(keys[i], keys[i + 1], i > 0 ? &keys[i - 1] : nullptr, outgoing);
}

double incoming_tangent(const std::vector<Key>& keys, std::size_t i) {
  return tangent(keys[i], keys[i - 1], i + 1 < keys.size() ? &keys[i + 1] : nullptr, incoming);
}

double cubic_bezier(double a, double b, double c, double d, double u) {
  const double v = 1.0 - u;
  return v * v * v * a + 3.0 * v * v * u * b + 3.0 * v * u * u * c + u * u * u * d;
}

/// The segment from keys[i - 1] to keys[i] as a curve in the plane of time and value.
double bezier_2d_value(const std::vector<Key>& keys, std::size_t i, double time_seconds) {
  const Key& from = keys[i - 1];
  const Key& to = keys[i];
  double time_offset = (to.time_seconds - from.time_seconds) / 3.0;
  double value_offset = 0.0;
  if (from.span == Span::bezier_2d) {
    time_offset = from.parameters[outgoing.time_offset];
    value_offset = from.parameters[outgoing.value_offset];
  } else {
    value_offset = outgoing_tangent(keys, i - 1) / 3.0;
  }
  const double time_1 = from.time_seconds + time_offset;
  const double time_2 = to.time_seconds + to.parameters[incoming.time_offset];
  // The curve begins before the time and ends after it, so bisection always converges, even where it runs back in time.
  double low = 0.0;
  double high = 1.0;
  for (int step = 0; step < 60; ++step) {
    const double middle = 0.5 * (low + high);
    const bool early = cubic_bezier(from.time_seconds, time_1, time_2, to.time_seconds, middle) < time_seconds;
    (early ? low : high) = middle;
  }
  const double value_2 = to.value + to.parameters[incoming.value_offset];
  return cubic_bezier(from.value, from.value + value_offset, value_2, to.value, 0.5 * (low + high));
}

/// Between keys[i - 1] and keys[i], whose times differ and enclose the time.
double segment_value(const std::vector<Key>& keys, std::size_t i, double time_seconds) {
  const Key& from = keys[i - 1];
  const Key& to = keys[i];
  const double u = (time_seconds - from.time_seconds) / (to.time_seconds - from.time_seconds);
  switch (known(to.span)) {
    case Span::stepped:
      return from.value;
    case Span::linear:
      return from.value + (to.value - from.value) * u;
    case Span::bezier_2d:
      return bezier_2d_value(keys, i, time_seconds);
    case Span::tcb:
    case Span::hermite:
    case Span::bezier:
      break;
  }
  const double out = outgoing_tangent(keys, i - 1) / 3.0;
  const double in = incoming_tangent(keys, i) / 3.0;
  return cubic_bezier(from.value, from.value + out, to.value - in, to.value, u);
}

double value_within(const std::vector<Key>& keys, double time_seconds) {
  for (std::size_t i = 1; i < keys.size(); ++i) {
    if (time_seconds < keys[i].time_seconds) {
      // Keys out of order: no curve leads from the later to the earlier.
      return keys[i - 1].time_seconds <= time_seconds ? segment_value(keys, i, time_seconds) : keys[i].value;
    }
  }
  return keys.back().value;
}

double value_at(const Envelope& envelope, double time_seconds) {
  const std::vector<Key>& keys = envelope.keys;
  const double first = keys.front().time_seconds;
  const double last = keys.back().time_seconds;
  const bool before = time_seconds < first;
  if (!before && !(time_seconds > last)) return value_within(keys, time_seconds);
  const Key& end = before ? keys.front() : keys.back();
  const double beyond = before ? time_seconds - first : time_seconds - last;
  const double duration = last - first;
  const EndBehaviour behaviour = known(before ? envelope.before : envelope.after);
  switch (behaviour) {
    case EndBehaviour::reset:
      return 0.0;
    case EndBehaviour::linear: {
      const std::size_t i = before ? 1 : keys.size() - 1;
      const double segment = keys[i].time_seconds - keys[i - 1].time_seconds;
      const double rise = before ? outgoing_tangent(keys, 0) : incoming_tangent(keys, i);
      return segment > 0.0 ? end.value + rise / segment * beyond : end.value;
    }
    case EndBehaviour::constant:
      return end.value;
    case EndBehaviour::repeat:
    case EndBehaviour::oscillate:
    case EndBehaviour::offset_repeat:
      break;
  }
  if (!(duration > 0.0)) return end.value;
  const double since_first = time_seconds - first;
  const double cycle = std::floor(since_first / duration);
  double phase = std::fmod(since_first, duration);
  if (phase < 0.0) phase += duration;
  const bool backwards = behaviour == EndBehaviour::oscillate && std::fmod(cycle, 2.0) != 0.0;
  const double offset = behaviour == EndBehaviour::offset_repeat ? cycle * (keys.back().value - keys.front().value) : 0.0;
  return offset + value_within(keys, backwards ? last - phase : first + phase);
}

}  // namespace

double Envelope::curve_at(double time_seconds) const {
  if (keys.empty()) return 0.0;
  constexpr double longest = std::numeric_limits<double>::max();
  const double value = value_at(*this, std::isnan(time_seconds) ? 0.0 : std::clamp(time_seconds, -longest, longest));
  return std::isfinite(value) ? value : 0.0;
}

}  // namespace standin

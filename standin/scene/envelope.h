#pragma once

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace standin {

/// How a key is reached from the key before it. A scene may hold numbers beyond these: such keys are reached in a straight
/// line.
enum class Span { tcb = 0, hermite = 1, bezier = 2, linear = 3, stepped = 4, bezier_2d = 5 };

/// What an envelope does before its first and after its last key. A scene may hold numbers beyond these: they count as
/// constant.
enum class EndBehaviour { reset = 0, constant = 1, repeat = 2, oscillate = 3, offset_repeat = 4, linear = 5 };

struct Key {
  double value = 0.0;
  double time_seconds = 0.0;
  /// Shape of the curve that leads into this key.
  Span span = Span::tcb;
  /// TCB: tension, continuity, bias. Hermite and Bezier: incoming and outgoing tangent. Bezier 2D: incoming time and
  /// value offset, outgoing time and value offset. All in the order of the scene file.
  std::array<double, 6> parameters{};

  friend bool operator==(const Key&, const Key&) = default;
};

/// An animated value: keys in order of time. One key is a constant.
struct Envelope {
  std::vector<Key> keys;
  EndBehaviour before = EndBehaviour::constant;
  EndBehaviour after = EndBehaviour::constant;
  /// Lines of the block that are not understood, and the plug-ins that follow it to change the value: kept, without effect.
  std::vector<std::string> lines_within{};
  std::vector<std::string> lines_after{};

  /// The value at a time in seconds; 0 without keys. Finite for any keys and any time. Threads: any.
  double at(double time_seconds) const {
    // Cameras ask for every ray, and nearly always of a constant.
    if (keys.size() != 1) return curve_at(time_seconds);
    return std::isfinite(keys.front().value) ? keys.front().value : 0.0;
  }

  /// Two or more keys; setting a value does not replace those.
  bool animated() const { return keys.size() > 1; }

  static Envelope constant(double value) { return Envelope{{Key{value, 0.0, Span::tcb, {}}}}; }

  /// Whether it has this value at all times.
  bool is_constant(double value) const { return *this == constant(value); }

  friend bool operator==(const Envelope&, const Envelope&) = default;

 private:
  double curve_at(double time_seconds) const;
};

}  // namespace standin

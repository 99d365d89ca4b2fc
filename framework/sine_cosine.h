#pragma once

/// Sine and cosine together, of one angle or of two at once: the four values that a direction takes cost little more than one
/// of them.

#include <array>
#include <cstdint>
#include <emmintrin.h>

#include "framework/math.h"
#include "framework/sine_table.h"

namespace framework::math {

struct SineCosine {
  double sine = 0.0;
  double cosine = 1.0;
};

constexpr __m128d in_both_lanes(double value) { return __m128d{value, value}; }

struct SineCosineConstants {
  __m128d sign_bit = in_both_lanes(-0.0);
  /// With no more steps than in this, each product with the first two parts of a step is exact.
  __m128d greatest_radians = in_both_lanes(400.0);
  __m128d steps_per_radian = in_both_lanes(0x1.45f306dc9c883p+5);
  /// Added to a number, it leaves the nearest integer in the last bits.
  __m128d to_integer = in_both_lanes(0x1.8p52);
  /// The sum of the three is a step of the table, pi/128.
  __m128d step[3] = {in_both_lanes(0x1.921fb54440000p-6), in_both_lanes(0x1.68c234c4c4000p-45),
                     in_both_lanes(0x1.3145c06e0e689p-84)};
  /// Of the odd powers from the third on, and of the even ones from the second on.
  __m128d sine[3] = {in_both_lanes(-0x1.5555555555527p-3), in_both_lanes(0x1.1111110deb439p-7),
                     in_both_lanes(-0x1.a01620fa79044p-13)};
  __m128d cosine[3] = {in_both_lanes(-0x1.fffffffffff2ep-2), in_both_lanes(0x1.5555554e40494p-5),
                       in_both_lanes(-0x1.6c1264b2d5eafp-10)};
};
inline constexpr SineCosineConstants sine_cosine_constants;

/// The constants, from memory: GCC 12 loads half of one that it knows and doubles it, each time anew, which takes as long as
/// the arithmetic.
inline const SineCosineConstants& loaded_constants() {
  const SineCosineConstants* constants = &sine_cosine_constants;
  asm("" : "+r"(constants));
  return *constants;
}

/// Two angles as steps of the table: to the nearest one, but what is nearest to a step beside a quarter turn is counted from
/// the quarter turn. Otherwise a sine near 0 would come from two numbers that are not.
struct TableSteps {
  explicit TableSteps(__m128d angles) {
    const SineCosineConstants& k = loaded_constants();
    const __m128d shifted = angles * k.steps_per_radian + k.to_integer;
    count = shifted - k.to_integer;
    const __m128i bits = _mm_castpd_si128(shifted);
    first = static_cast<unsigned>(_mm_cvtsi128_si32(bits)) % sine_table_steps;
    second = static_cast<unsigned>(_mm_extract_epi16(bits, 4)) % sine_table_steps;
    if (is_beside_quarter(first)) [[unlikely]]
      count += _mm_set_pd(0.0, steps_to_quarter(first));
    if (is_beside_quarter(second)) [[unlikely]]
      count += _mm_set_pd(steps_to_quarter(second), 0.0);
  }

  __m128d count;
  /// Of the table, without whole turns.
  unsigned first;
  unsigned second;

 private:
  static bool is_beside_quarter(unsigned steps) {
    constexpr std::uint64_t beside = 2 | std::uint64_t{1} << (steps_of_quarter - 1);
    return ((beside >> steps % steps_of_quarter) & 1) != 0;
  }
  static double steps_to_quarter(unsigned steps) { return steps % steps_of_quarter == 1 ? -1.0 : 1.0; }
};

/// What an angle has more than its steps: its sine, and its cosine less 1.
struct LeftOver {
  __m128d sine;
  __m128d cosine_less_one;
};

/// Of no more than one and a half steps. Method: minimax polynomials, and the step in three parts (Cody and Waite) with what
/// that loses beside it.
inline LeftOver left_over(__m128d angles, __m128d steps) {
  const SineCosineConstants& k = loaded_constants();
  const __m128d without_first = angles - steps * k.step[0];
  const __m128d second_part = steps * k.step[1];
  const __m128d third_part = steps * k.step[2];
  const __m128d both_parts = second_part + third_part;
  const __m128d radians = without_first - both_parts;
  // What the sum and the difference lost comes late, and is not waited for.
  const __m128d lost = ((without_first - radians) - both_parts) + ((both_parts - second_part) - third_part);
  // The higher powers beside the lower ones, so that the way from the first product to the last sum is short (Estrin).
  const __m128d square = radians * radians;
  const __m128d cube = square * radians;
  return {radians + ((k.sine[0] * cube + lost) + (square * cube) * (k.sine[1] + square * k.sine[2])),
          k.cosine[0] * square + (square * square) * (k.cosine[1] + square * k.cosine[2])};
}

/// The sine and cosine of each of two angles, as steps and what is left over.
inline std::array<SineCosine, 2> sines_and_cosines_of_sums(unsigned first_steps, unsigned second_steps, LeftOver rest) {
  const auto from_table = [&](unsigned offset, double TabledSine::*value) {
    return _mm_loadh_pd(_mm_load_sd(&(tabled_sines[first_steps + offset].*value)),
                        &(tabled_sines[second_steps + offset].*value));
  };
  const __m128d sine = from_table(0, &TabledSine::nearest);
  const __m128d cosine = from_table(steps_of_quarter, &TabledSine::nearest);
  const __m128d sines = sine + ((from_table(0, &TabledSine::rest) + sine * rest.cosine_less_one) + cosine * rest.sine);
  const __m128d cosines =
      cosine + ((from_table(steps_of_quarter, &TabledSine::rest) + cosine * rest.cosine_less_one) - sine * rest.sine);
  return {{{sines[0], cosines[0]}, {sines[1], cosines[1]}}};
}

/// By the runtime library: of what is huge, infinite or not a number.
[[gnu::noinline, gnu::cold]] inline std::array<SineCosine, 2> library_sines_and_cosines(__m128d angles) {
  const auto of = [](double radians) { return SineCosine{sin(radians), cos(radians)}; };
  return {of(angles[0]), of(angles[1])};
}

/// Of two angles, radians, one in each lane. Up to 400 of them, and so for every angle that a film spans, each value is within
/// one unit in the last place, near multiples of pi/2 as well, and the same on every machine; beyond, it is the runtime
/// library's. Only the sign of a zero is lost. Method: the sine and cosine of the sum of an angle from a table and a small one
/// (Gal and Bachelis). Threads: any.
inline std::array<SineCosine, 2> sines_and_cosines(__m128d angles) {
  const SineCosineConstants& k = loaded_constants();
  if (_mm_movemask_pd(_mm_cmple_pd(_mm_andnot_pd(k.sign_bit, angles), k.greatest_radians)) != 3) [[unlikely]]
    return library_sines_and_cosines(angles);
  const TableSteps steps(angles);
  return sines_and_cosines_of_sums(steps.first, steps.second, left_over(angles, steps.count));
}

/// The same. Threads: any.
inline std::array<SineCosine, 2> sines_and_cosines(double first, double second) {
  return sines_and_cosines(_mm_set_pd(second, first));
}

/// The same of one angle, to the bit, and in less time: its sine and its cosine are in one register. Threads: any.
inline SineCosine sine_and_cosine(double radians) {
  const SineCosineConstants& k = loaded_constants();
  const __m128d angle = _mm_set1_pd(radians);
  if (!(abs(radians) <= k.greatest_radians[0])) [[unlikely]]
    return library_sines_and_cosines(angle)[0];
  const TableSteps steps(angle);
  const LeftOver rest = left_over(angle, steps.count);
  const TabledSine& sine = tabled_sines[steps.first];
  const TabledSine& cosine = tabled_sines[steps.first + steps_of_quarter];
  const __m128d both = _mm_set_pd(cosine.nearest, sine.nearest);
  const __m128d crossed = _mm_xor_pd(_mm_shuffle_pd(both, both, 1), _mm_set_pd(-0.0, 0.0));
  const __m128d result = both + ((_mm_set_pd(cosine.rest, sine.rest) + both * rest.cosine_less_one) + crossed * rest.sine);
  return {result[0], result[1]};
}

}  // namespace framework::math

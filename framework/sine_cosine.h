#pragma once

/// Sine and cosine together, of two angles at once: the four values that a direction takes cost little more than one of them.

#include <array>
#include <emmintrin.h>

#include "framework/math.h"

namespace framework::math {

struct SineCosine {
  double sine = 0.0;
  double cosine = 1.0;
};

constexpr __m128d in_both_lanes(double value) { return __m128d{value, value}; }

struct SineCosineConstants {
  __m128d sign_bit = in_both_lanes(-0.0);
  /// With no more quarter turns than in this, each product with the first two parts of pi/2 is exact.
  __m128d greatest_radians = in_both_lanes(400.0);
  __m128d quarters_per_radian = in_both_lanes(0x1.45f306dc9c883p-1);
  /// Added to a number, it leaves the nearest integer in the last bits.
  __m128d to_integer = in_both_lanes(0x1.8p52);
  /// The sum of the three is pi/2.
  __m128d half_pi[3] = {in_both_lanes(0x1.921fb54442d00p+0), in_both_lanes(0x1.8469898800000p-48),
                        in_both_lanes(0x1.3145c06e0e689p-78)};
  __m128d one = in_both_lanes(1.0);
  __m128d half = in_both_lanes(0.5);
  /// Of the powers of the square, from the first that is not one of the constants above.
  __m128d sine[6] = {in_both_lanes(-0.16666666666666632),    in_both_lanes(0.008333333333322486),
                     in_both_lanes(-0.00019841269829853423), in_both_lanes(2.755731370510244e-06),
                     in_both_lanes(-2.505075989794824e-08),  in_both_lanes(1.5896887115680139e-10)};
  __m128d cosine[6] = {in_both_lanes(0.0416666666666666),     in_both_lanes(-0.001388888888887447),
                       in_both_lanes(2.4801587289667048e-05), in_both_lanes(-2.755731439935922e-07),
                       in_both_lanes(2.087572901428199e-09),  in_both_lanes(-1.1359918730237684e-11)};
};
inline constexpr SineCosineConstants sine_cosine_constants;

/// The constants, from memory: GCC 12 loads half of one that it knows and doubles it, each time anew, which takes as long as
/// the arithmetic.
inline const SineCosineConstants& loaded_constants() {
  const SineCosineConstants* constants = &sine_cosine_constants;
  asm("" : "+r"(constants));
  return *constants;
}

/// By two calls of the runtime library for each angle: what is huge, infinite or not a number.
[[gnu::noinline, gnu::cold]] inline std::array<SineCosine, 2> library_sines_and_cosines(double first, double second) {
  return {{{sin(first), cos(first)}, {sin(second), cos(second)}}};
}

/// Of two angles, radians. Up to 400 of them, and so for every angle that a film spans, each value is within one unit in the
/// last place, near multiples of pi/2 as well, and the same on every machine; beyond, it is the runtime library's. The sine
/// has its angle's sign, also that of a zero. Method: reduction by pi/2 in three parts (Cody and Waite), with the rest of the
/// reduced angle kept beside it, and minimax polynomials (Remez) on [-pi/4, pi/4]. Threads: any.
inline std::array<SineCosine, 2> sines_and_cosines(double first, double second) {
  const SineCosineConstants& k = loaded_constants();
  const __m128d angle = _mm_set_pd(second, first);
  const __m128d size = _mm_andnot_pd(k.sign_bit, angle);
  if (_mm_movemask_pd(_mm_cmple_pd(size, k.greatest_radians)) != 3) [[unlikely]]
    return library_sines_and_cosines(first, second);

  const __m128d shifted = size * k.quarters_per_radian + k.to_integer;
  const __m128i quarter_bits = _mm_castpd_si128(shifted);
  const __m128d quarters = shifted - k.to_integer;
  const __m128d without_first = size - quarters * k.half_pi[0];
  const __m128d second_part = quarters * k.half_pi[1];
  const __m128d third_part = quarters * k.half_pi[2];
  const __m128d both_parts = second_part + third_part;
  const __m128d reduced = without_first - both_parts;
  // What the sum and the difference lost comes late, and is not waited for.
  const __m128d rest = ((without_first - reduced) - both_parts) + ((both_parts - second_part) - third_part);

  const __m128d square = reduced * reduced;
  const __m128d fourth = square * square;
  // The terms in pairs, and the pairs by powers of the square's square: a short way from the first to the last (Estrin).
  const auto sum_of_terms = [&](const __m128d(&terms)[6]) {
    return (terms[0] + square * terms[1]) + fourth * (terms[2] + square * terms[3]) +
           (fourth * fourth) * (terms[4] + square * terms[5]);
  };
  const __m128d half_square = k.half * square;
  const __m128d rounded_cosine = k.one - half_square;
  const __m128d sine = reduced + (square * reduced * sum_of_terms(k.sine) + rest * rounded_cosine);
  const __m128d cosine =
      rounded_cosine + (((k.one - rounded_cosine) - half_square) + (fourth * sum_of_terms(k.cosine) - reduced * rest));

  // Every odd quarter turn exchanges them; two of four turn the sign of each around.
  const __m128i low_words = _mm_shuffle_epi32(quarter_bits, _MM_SHUFFLE(2, 2, 0, 0));
  const __m128d is_odd = _mm_castsi128_pd(_mm_srai_epi32(_mm_slli_epi32(low_words, 31), 31));
  const __m128d difference = _mm_and_pd(_mm_xor_pd(sine, cosine), is_odd);
  const auto second_bit = [&](__m128i bits) { return _mm_and_pd(_mm_castsi128_pd(_mm_slli_epi64(bits, 62)), k.sign_bit); };
  const __m128d sine_sign = _mm_xor_pd(second_bit(quarter_bits), _mm_and_pd(angle, k.sign_bit));
  const __m128d cosine_sign = second_bit(quarter_bits + _mm_set1_epi64x(1));
  const __m128d sines = _mm_xor_pd(_mm_xor_pd(sine, difference), sine_sign);
  const __m128d cosines = _mm_xor_pd(_mm_xor_pd(cosine, difference), cosine_sign);

  return {{{sines[0], cosines[0]}, {sines[1], cosines[1]}}};
}

}  // namespace framework::math

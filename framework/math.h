#pragma once

/// The transcendental functions of the ray mappings. On Windows they are those of the system's C runtime library: the
/// compiler's own copies are x87 code, several times slower. Elsewhere they are the standard library's. Threads: any.

#include <cmath>

namespace framework {

inline constexpr double pi = 3.141592653589793;
inline constexpr double two_pi = 6.283185307179586;
inline constexpr double half_pi = 1.5707963267948966;
inline constexpr double quarter_pi = 0.7853981633974483;

/// Below this a depth, distance, film size or angular span is too small to project with.
inline constexpr double projection_tolerance = 1e-9;

namespace math {

#ifdef _WIN32
/// The import table's own entries: naming them is the only way past the copies that the linker would prefer.
extern "C" {
extern double (*const imported_sin)(double) asm("__imp_sin");
extern double (*const imported_cos)(double) asm("__imp_cos");
extern double (*const imported_asin)(double) asm("__imp_asin");
extern double (*const imported_acos)(double) asm("__imp_acos");
extern double (*const imported_atan2)(double, double) asm("__imp_atan2");
extern double (*const imported_pow)(double, double) asm("__imp_pow");
}
inline double sin(double radians) { return imported_sin(radians); }
inline double cos(double radians) { return imported_cos(radians); }
inline double asin(double ratio) { return imported_asin(ratio); }
inline double acos(double ratio) { return imported_acos(ratio); }
inline double atan2(double y, double x) { return imported_atan2(y, x); }
inline double pow(double base, double exponent) { return imported_pow(base, exponent); }
#else
inline double sin(double radians) { return std::sin(radians); }
inline double cos(double radians) { return std::cos(radians); }
inline double asin(double ratio) { return std::asin(ratio); }
inline double acos(double ratio) { return std::acos(ratio); }
inline double atan2(double y, double x) { return std::atan2(y, x); }
inline double pow(double base, double exponent) { return std::pow(base, exponent); }
#endif

inline double abs(double value) { return __builtin_fabs(value); }

/// One instruction on every machine the module runs on.
inline double sqrt(double value) { return __builtin_sqrt(value); }
inline float sqrt(float value) { return __builtin_sqrtf(value); }

}  // namespace math

constexpr double clamped(double value, double low, double high) { return value < low ? low : value > high ? high : value; }

/// Too small to divide by in a projection; what is not a number counts as too small.
constexpr bool too_small(double value) { return !(value > projection_tolerance); }

/// A number in single or double precision. The empty instruction keeps the rounding: GCC 12 vectorizes a rounding away,
/// together with the widening that follows it.
template <class Scalar>
Scalar rounded_to(double value) {
  auto rounded = static_cast<Scalar>(value);
  if constexpr (sizeof(Scalar) < sizeof(double)) asm("" : "+x"(rounded));
  return rounded;
}

/// The nearest number of single precision, in double precision again.
inline double rounded_to_single(double value) { return rounded_to<float>(value); }

}  // namespace framework

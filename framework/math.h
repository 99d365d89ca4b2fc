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

#ifdef _WIN32
/// The import table's own entries: naming them is the only way past the copies that the linker would prefer.
namespace c_runtime {
extern "C" {
extern double (*const sine)(double) asm("__imp_sin");
extern double (*const cosine)(double) asm("__imp_cos");
extern double (*const arc_sine)(double) asm("__imp_asin");
extern double (*const arc_cosine)(double) asm("__imp_acos");
extern double (*const arc_tangent)(double, double) asm("__imp_atan2");
extern double (*const raise)(double, double) asm("__imp_pow");
}
}  // namespace c_runtime
inline double sine(double radians) { return c_runtime::sine(radians); }
inline double cosine(double radians) { return c_runtime::cosine(radians); }
inline double arc_sine(double ratio) { return c_runtime::arc_sine(ratio); }
inline double arc_cosine(double ratio) { return c_runtime::arc_cosine(ratio); }
inline double arc_tangent(double y, double x) { return c_runtime::arc_tangent(y, x); }
inline double power(double base, double exponent) { return c_runtime::raise(base, exponent); }
#else
inline double sine(double radians) { return std::sin(radians); }
inline double cosine(double radians) { return std::cos(radians); }
inline double arc_sine(double ratio) { return std::asin(ratio); }
inline double arc_cosine(double ratio) { return std::acos(ratio); }
inline double arc_tangent(double y, double x) { return std::atan2(y, x); }
inline double power(double base, double exponent) { return std::pow(base, exponent); }
#endif

inline double magnitude(double value) { return __builtin_fabs(value); }

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

/// One instruction on every machine the module runs on.
inline double square_root(double value) { return __builtin_sqrt(value); }
inline float square_root(float value) { return __builtin_sqrtf(value); }

}  // namespace framework

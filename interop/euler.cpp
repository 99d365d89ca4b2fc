#include "interop/euler.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "platform/export.h"

namespace {

/// Below this sine or cosine of the middle angle the two other rotations cannot be told apart.
constexpr double singularity_threshold = 16.0 * FLT_EPSILON;

struct Order {
  std::size_t inner, middle, outer;
  bool odd, repeats, rotating;
};

constexpr Order decode(int code) {
  constexpr std::array<std::size_t, 4> safe_axis = {0, 1, 2, 0};
  constexpr std::array<std::size_t, 4> next_axis = {1, 2, 0, 1};
  const auto bits = static_cast<unsigned>(code);
  const bool odd = (bits & 4U) != 0;
  const std::size_t inner = safe_axis[(bits >> 3U) & 3U];
  return {.inner = inner,
          .middle = next_axis[inner + (odd ? 1 : 0)],
          .outer = next_axis[inner + (odd ? 0 : 1)],
          .odd = odd,
          .repeats = (bits & 2U) != 0,
          .rotating = (bits & 1U) != 0};
}

Order decode(float code) {
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  return decode(code >= lowest && code <= highest ? static_cast<int>(code) : 0);
}

/// Rotations about the fixed axes of the order: inner first, outer last.
struct Angles {
  double inner, middle, outer;
};

/// Rotations about axes that turn along are those about fixed axes in reverse.
Angles angles_of(const Quat& record, const Order& order) {
  Angles angles = {record.x, record.y, record.z};
  if (order.rotating) std::swap(angles.inner, angles.outer);
  return angles;
}

struct SineCosine {
  explicit SineCosine(double angle_radians) : sine(std::sin(angle_radians)), cosine(std::cos(angle_radians)) {}
  double sine, cosine;
};

}  // namespace

extern "C" {

OVICAM_EXPORT Quat Eul_(float ai, float aj, float ah, int order) { return {ai, aj, ah, static_cast<float>(order)}; }

OVICAM_EXPORT Quat Eul_ToQuat(Quat ea) {
  const Order order = decode(ea.w);
  const Angles angles = angles_of(ea, order);
  const double parity = order.odd ? -1.0 : 1.0;
  const SineCosine inner(angles.inner * 0.5);
  const SineCosine middle(angles.middle * 0.5 * parity);
  const SineCosine outer(angles.outer * 0.5);
  const double cc = inner.cosine * outer.cosine;
  const double cs = inner.cosine * outer.sine;
  const double sc = inner.sine * outer.cosine;
  const double ss = inner.sine * outer.sine;

  std::array<double, 3> vector = {};
  double real = 0.0;
  if (order.repeats) {
    vector[order.inner] = middle.cosine * (cs + sc);
    vector[order.middle] = middle.sine * (cc + ss) * parity;
    vector[order.outer] = middle.sine * (cs - sc);
    real = middle.cosine * (cc - ss);
  } else {
    vector[order.inner] = middle.cosine * sc - middle.sine * cs;
    vector[order.middle] = (middle.cosine * ss + middle.sine * cc) * parity;
    vector[order.outer] = middle.cosine * cs - middle.sine * sc;
    real = middle.cosine * cc + middle.sine * ss;
  }
  return {static_cast<float>(vector[0]), static_cast<float>(vector[1]), static_cast<float>(vector[2]),
          static_cast<float>(real)};
}

OVICAM_EXPORT void Eul_ToHMatrix(Quat ea, float M[4][4]) {
  const Order order = decode(ea.w);
  const Angles angles = angles_of(ea, order);
  const double parity = order.odd ? -1.0 : 1.0;
  const SineCosine inner(angles.inner * parity);
  const SineCosine middle(angles.middle * parity);
  const SineCosine outer(angles.outer * parity);
  const double cc = inner.cosine * outer.cosine;
  const double cs = inner.cosine * outer.sine;
  const double sc = inner.sine * outer.cosine;
  const double ss = inner.sine * outer.sine;

  const std::array<std::size_t, 3> axis = {order.inner, order.middle, order.outer};
  const auto fill = [&](const std::array<std::array<double, 3>, 3>& rotation) {
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 3; ++column) M[axis[row]][axis[column]] = static_cast<float>(rotation[row][column]);
      M[row][3] = 0.0F;
      M[3][row] = 0.0F;
    }
    M[3][3] = 1.0F;
  };
  if (order.repeats) {
    fill({{{middle.cosine, middle.sine * inner.sine, middle.sine * inner.cosine},
           {middle.sine * outer.sine, -middle.cosine * ss + cc, -middle.cosine * cs - sc},
           {-middle.sine * outer.cosine, middle.cosine * sc + cs, middle.cosine * cc - ss}}});
  } else {
    fill({{{middle.cosine * outer.cosine, middle.sine * sc - cs, middle.sine * cc + ss},
           {middle.cosine * outer.sine, middle.sine * ss + cc, middle.sine * cs - sc},
           {-middle.sine, middle.cosine * inner.sine, middle.cosine * inner.cosine}}});
  }
}

OVICAM_EXPORT Quat Eul_FromHMatrix(float M[4][4], int order_code) {
  const Order order = decode(order_code);
  const auto [i, j, k] = std::array{order.inner, order.middle, order.outer};
  // The record is of single precision, what is computed in between of double.
  const auto entry = [&](std::size_t row, std::size_t column) { return static_cast<double>(M[row][column]); };
  const auto root_of_squares = [](double a, double b) { return std::sqrt(a * a + b * b); };
  Angles angles = {};
  if (order.repeats) {
    const double middle_sine = root_of_squares(entry(i, j), entry(i, k));
    const bool singular = !(middle_sine > singularity_threshold);
    angles.inner = singular ? std::atan2(-entry(j, k), entry(j, j)) : std::atan2(entry(i, j), entry(i, k));
    angles.middle = std::atan2(middle_sine, entry(i, i));
    angles.outer = singular ? 0.0 : std::atan2(entry(j, i), -entry(k, i));
  } else {
    const double middle_cosine = root_of_squares(entry(i, i), entry(j, i));
    const bool singular = !(middle_cosine > singularity_threshold);
    angles.inner = singular ? std::atan2(-entry(j, k), entry(j, j)) : std::atan2(entry(k, j), entry(k, k));
    angles.middle = std::atan2(-entry(k, i), middle_cosine);
    angles.outer = singular ? 0.0 : std::atan2(entry(j, i), entry(i, i));
  }
  if (order.odd) angles = {-angles.inner, -angles.middle, -angles.outer};
  if (order.rotating) std::swap(angles.inner, angles.outer);
  return {static_cast<float>(angles.inner), static_cast<float>(angles.middle), static_cast<float>(angles.outer),
          static_cast<float>(order_code)};
}

OVICAM_EXPORT Quat Eul_FromQuat(Quat q, int order) {
  const double x = q.x;
  const double y = q.y;
  const double z = q.z;
  const double w = q.w;
  const double length_squared = x * x + y * y + z * z + w * w;
  const double scale = length_squared > 0.0 ? 2.0 / length_squared : 0.0;
  const auto entry = [](double value) { return static_cast<float>(value); };
  float matrix[4][4] = {
      {entry(1.0 - scale * (y * y + z * z)), entry(scale * (x * y - w * z)), entry(scale * (x * z + w * y)), 0.0F},
      {entry(scale * (x * y + w * z)), entry(1.0 - scale * (x * x + z * z)), entry(scale * (y * z - w * x)), 0.0F},
      {entry(scale * (x * z - w * y)), entry(scale * (y * z + w * x)), entry(1.0 - scale * (x * x + y * y)), 0.0F},
      {0.0F, 0.0F, 0.0F, 1.0F}};
  return Eul_FromHMatrix(matrix, order);
}
}

#include "interop/euler.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "standin/host/dynamic_library.h"
#include "tests/support/paths.h"

namespace euler_test {

using Matrix = std::array<std::array<double, 3>, 3>;
using Axes = std::array<int, 3>;
constexpr double pi = std::numbers::pi;
constexpr double tolerance = 2e-6;

struct Library {
  standin::DynamicLibrary file{test_support::module_file()};
  decltype(::Eul_)* angles = file.find_as<decltype(::Eul_)>("Eul_");
  decltype(::Eul_ToQuat)* quaternion_from_angles = file.find_as<decltype(::Eul_ToQuat)>("Eul_ToQuat");
  decltype(::Eul_ToHMatrix)* matrix_from_angles = file.find_as<decltype(::Eul_ToHMatrix)>("Eul_ToHMatrix");
  decltype(::Eul_FromHMatrix)* angles_from_matrix = file.find_as<decltype(::Eul_FromHMatrix)>("Eul_FromHMatrix");
  decltype(::Eul_FromQuat)* angles_from_quaternion = file.find_as<decltype(::Eul_FromQuat)>("Eul_FromQuat");
};

/// The axes of the three rotations about fixed axes, spelled out for every code below the frame bit.
struct NamedOrder {
  int code;
  Axes axes;
};
constexpr std::array<NamedOrder, 12> static_orders = {{{0, {0, 1, 2}},
                                                       {2, {0, 1, 0}},
                                                       {4, {0, 2, 1}},
                                                       {6, {0, 2, 0}},
                                                       {8, {1, 2, 0}},
                                                       {10, {1, 2, 1}},
                                                       {12, {1, 0, 2}},
                                                       {14, {1, 0, 1}},
                                                       {16, {2, 0, 1}},
                                                       {18, {2, 0, 2}},
                                                       {20, {2, 1, 0}},
                                                       {22, {2, 1, 2}}}};

Matrix axis_rotation(int axis, double angle) {
  const auto next = static_cast<std::size_t>((axis + 1) % 3);
  const auto last = static_cast<std::size_t>((axis + 2) % 3);
  Matrix rotation = {};
  rotation[static_cast<std::size_t>(axis)][static_cast<std::size_t>(axis)] = 1.0;
  rotation[next][next] = rotation[last][last] = std::cos(angle);
  rotation[last][next] = std::sin(angle);
  rotation[next][last] = -std::sin(angle);
  return rotation;
}

Matrix operator*(const Matrix& left, const Matrix& right) {
  Matrix product = {};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 3; ++column)
      for (std::size_t k = 0; k < 3; ++k) product[row][column] += left[row][k] * right[k][column];
  }
  return product;
}

/// Rotations about fixed axes are applied first to last. Rotating frames name the same axes in reverse.
Matrix rotation_of(const NamedOrder& order, bool rotating, std::array<double, 3> angles) {
  if (rotating) std::swap(angles[0], angles[2]);
  return axis_rotation(order.axes[2], angles[2]) * axis_rotation(order.axes[1], angles[1]) *
         axis_rotation(order.axes[0], angles[0]);
}

Matrix rotation_of(const Quat& q) {
  const double x = q.x;
  const double y = q.y;
  const double z = q.z;
  const double w = q.w;
  return {{{w * w + x * x - y * y - z * z, 2 * (x * y - w * z), 2 * (x * z + w * y)},
           {2 * (x * y + w * z), w * w - x * x + y * y - z * z, 2 * (y * z - w * x)},
           {2 * (x * z - w * y), 2 * (y * z + w * x), w * w - x * x - y * y + z * z}}};
}

void expect_near(const Matrix& expected, const Matrix& actual, const std::string& what) {
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 3; ++column)
      EXPECT_NEAR(expected[row][column], actual[row][column], tolerance) << what << " row " << row << " column " << column;
}

Matrix upper_left(const float (&matrix)[4][4]) {
  Matrix rotation = {};
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 3; ++column) rotation[row][column] = matrix[row][column];
  return rotation;
}

/// Angles within the range that the conversion from a matrix gives back, away from where two axes coincide.
std::vector<std::array<double, 3>> sample_angles(int code) {
  const bool repeats = (code & 2) != 0;
  const bool odd = (code & 4) != 0;
  std::vector<std::array<double, 3>> samples;
  for (const double first : {-2.9, -1.1, 0.0, 0.4, 3.0}) {
    for (const double middle : {-1.4, -0.3, 0.0, 0.7, 1.4}) {
      // Without a repeated axis the middle angle is within a quarter turn of none; with one it lies between none and a half
      // turn, which is backwards for odd parity.
      const double centre = repeats ? (odd ? -pi / 2 : pi / 2) : 0.0;
      for (const double third : {-3.1, -0.8, 0.0, 1.9}) samples.push_back({first, centre + middle, third});
    }
  }
  return samples;
}

class Euler : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    ASSERT_NE(library.angles, nullptr);
    ASSERT_NE(library.quaternion_from_angles, nullptr);
    ASSERT_NE(library.matrix_from_angles, nullptr);
    ASSERT_NE(library.angles_from_matrix, nullptr);
    ASSERT_NE(library.angles_from_quaternion, nullptr);
  }

  [[nodiscard]] Quat record(const std::array<double, 3>& angles) const {
    return library.angles(static_cast<float>(angles[0]), static_cast<float>(angles[1]), static_cast<float>(angles[2]), code);
  }

  void expect_angles(const std::array<double, 3>& expected, const Quat& actual) const {
    EXPECT_EQ(actual.w, static_cast<float>(code));
    const std::array<float, 3> values = {actual.x, actual.y, actual.z};
    for (std::size_t index = 0; index < 3; ++index)
      EXPECT_NEAR(std::remainder(values[index] - expected[index], 2 * pi), 0.0, 2e-5) << "angle " << index;
  }

  Library library;
  int code = GetParam();
  bool rotating = (code & 1) != 0;
  bool repeats = (code & 2) != 0;
  NamedOrder order = static_orders[static_cast<std::size_t>(code) / 2];
};

TEST_P(Euler, OrderIsNamedAsCoded) { EXPECT_EQ(order.code, code & ~1); }

TEST_P(Euler, MatrixIsTheProductOfAxisRotations) {
  for (const auto& angles : sample_angles(code)) {
    float matrix[4][4];
    for (auto& row : matrix) std::ranges::fill(row, 77.0F);
    library.matrix_from_angles(record(angles), matrix);
    expect_near(rotation_of(order, rotating, angles), upper_left(matrix), "matrix");
    for (int index = 0; index < 4; ++index) {
      EXPECT_EQ(matrix[3][index], index == 3 ? 1.0F : 0.0F);
      EXPECT_EQ(matrix[index][3], index == 3 ? 1.0F : 0.0F);
    }
  }
}

TEST_P(Euler, QuaternionIsTheProductOfAxisRotations) {
  for (const auto& angles : sample_angles(code)) {
    const Quat q = library.quaternion_from_angles(record(angles));
    EXPECT_NEAR(std::hypot(std::hypot(q.x, q.y), std::hypot(q.z, q.w)), 1.0, tolerance);
    expect_near(rotation_of(order, rotating, angles), rotation_of(q), "quaternion");
  }
}

TEST_P(Euler, AnglesComeBackFromMatrixAndQuaternion) {
  for (const auto& angles : sample_angles(code)) {
    float matrix[4][4] = {};
    library.matrix_from_angles(record(angles), matrix);
    expect_angles(angles, library.angles_from_matrix(matrix, code));
    Quat q = library.quaternion_from_angles(record(angles));
    expect_angles(angles, library.angles_from_quaternion(q, code));
    // The length of a quaternion does not matter.
    q = {q.x * 3.0F, q.y * 3.0F, q.z * 3.0F, q.w * 3.0F};
    expect_angles(angles, library.angles_from_quaternion(q, code));
  }
}

TEST_P(Euler, LockedAnglesGiveTheSameRotationWithOneOfThemZero) {
  for (const double middle : repeats ? std::array{0.0, pi} : std::array{pi / 2, -pi / 2}) {
    // Exact entries, so that the lock is met exactly.
    const Matrix rotation = rotation_of(order, rotating, {0.5, middle, -1.25});
    float matrix[4][4] = {};
    for (std::size_t row = 0; row < 3; ++row)
      for (std::size_t column = 0; column < 3; ++column)
        matrix[row][column] = std::abs(rotation[row][column]) < 1e-9 ? 0.0F : static_cast<float>(rotation[row][column]);
    const Quat angles = library.angles_from_matrix(matrix, code);
    EXPECT_EQ(rotating ? angles.x : angles.z, 0.0F);
    EXPECT_NEAR(std::abs(angles.y), std::abs(middle), tolerance);
    float again[4][4] = {};
    library.matrix_from_angles(angles, again);
    expect_near(rotation, upper_left(again), "locked");
  }
}

TEST_P(Euler, ZeroQuaternionIsNoRotation) {
  const Quat angles = library.angles_from_quaternion({0.0F, 0.0F, 0.0F, 0.0F}, code);
  float matrix[4][4] = {};
  library.matrix_from_angles(angles, matrix);
  expect_near({{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, upper_left(matrix), "zero quaternion");
}

INSTANTIATE_TEST_SUITE_P(All, Euler, testing::Range(0, 24));

TEST(EulerLock, BeginsAtSixteenTimesThePrecisionOfFloat) {
  const Library library;
  const auto third_angle = [&](float cosine) {
    float matrix[4][4] = {{cosine, 0, 1, 0}, {cosine, 0, 0, 0}, {-1, 0, 0, 0}, {0, 0, 0, 1}};
    return library.angles_from_matrix(matrix, 0).z;
  };
  constexpr float threshold = 16.0F * std::numeric_limits<float>::epsilon();
  EXPECT_EQ(third_angle(threshold * 0.7F), 0.0F);
  EXPECT_NEAR(third_angle(threshold * 0.72F), pi / 4, tolerance);
}

TEST(EulerPrecision, AnglesAreRoundedFromDoublePrecisionOnce) {
  // Entries in single precision; products, root and arctangent in double.
  const Library library;
  int differing_from_single = 0;
  for (int i = 1; i < 2000; ++i) {
    const float angle = static_cast<float>(i) * 0.00071F;
    float matrix[4][4];
    library.matrix_from_angles(library.angles(angle, angle * 0.9F, angle * 1.7F, 0), matrix);
    const Quat angles = library.angles_from_matrix(matrix, 0);
    const auto entry = [&](int row, int column) { return static_cast<double>(matrix[row][column]); };
    const double middle = std::sqrt(entry(0, 0) * entry(0, 0) + entry(1, 0) * entry(1, 0));
    ASSERT_EQ(angles.x, static_cast<float>(std::atan2(entry(2, 1), entry(2, 2)))) << i;
    ASSERT_EQ(angles.y, static_cast<float>(std::atan2(-entry(2, 0), middle))) << i;
    ASSERT_EQ(angles.z, static_cast<float>(std::atan2(entry(1, 0), entry(0, 0)))) << i;
    const float single_middle = std::hypot(matrix[0][0], matrix[1][0]);
    differing_from_single +=
        static_cast<float>(std::atan2(-entry(2, 0), static_cast<double>(single_middle))) != angles.y ? 1 : 0;
  }
  EXPECT_GT(differing_from_single, 0);
}

TEST(EulerOrder, AnglesKeepTheirOrderCode) {
  const Library library;
  const Quat angles = library.angles(1.0F, -2.0F, 3.5F, -7);
  EXPECT_EQ(angles.x, 1.0F);
  EXPECT_EQ(angles.y, -2.0F);
  EXPECT_EQ(angles.z, 3.5F);
  EXPECT_EQ(angles.w, -7.0F);
}

TEST(EulerOrder, AnyCodeGivesARotation) {
  const Library library;
  using Float = std::numeric_limits<float>;
  using Int = std::numeric_limits<int>;
  for (const float code : {-1.0F, 24.0F, 31.0F, 5.5F, 1e30F, -1e30F, 2147483648.0F, -2147483648.0F, Float::infinity(),
                           -Float::infinity(), Float::quiet_NaN()}) {
    const Quat angles = {0.1F, 0.2F, 0.3F, code};
    const Quat q = library.quaternion_from_angles(angles);
    float matrix[4][4] = {};
    library.matrix_from_angles(angles, matrix);
    expect_near(rotation_of(q), upper_left(matrix), std::to_string(code));
    EXPECT_NEAR(std::hypot(std::hypot(q.x, q.y), std::hypot(q.z, q.w)), 1.0, tolerance) << code;
  }
  for (const int code : {-1, 24, 31, 32, 12345, Int::min(), Int::max()}) {
    const Quat angles = library.angles_from_quaternion({0.1F, 0.2F, 0.3F, 0.9F}, code);
    EXPECT_EQ(angles.w, static_cast<float>(code));
    EXPECT_TRUE(std::isfinite(angles.x) && std::isfinite(angles.y) && std::isfinite(angles.z)) << code;
  }
}

TEST(EulerOrder, FractionOfACodeIsDropped) {
  const Library library;
  const Quat whole = library.quaternion_from_angles({0.1F, 0.2F, 0.3F, 5.0F});
  const Quat fraction = library.quaternion_from_angles({0.1F, 0.2F, 0.3F, 5.75F});
  EXPECT_EQ(whole.x, fraction.x);
  EXPECT_EQ(whole.y, fraction.y);
  EXPECT_EQ(whole.z, fraction.z);
  EXPECT_EQ(whole.w, fraction.w);
}

}  // namespace euler_test

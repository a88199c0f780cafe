#include "vector_math.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr double kTiny = 1e-14;

TEST(VectorMath, CrossProductIsRightHanded) {
  const double x[3] = {1, 0, 0};
  const double y[3] = {0, 1, 0};
  double z[3];
  vectorCross(x, y, z);
  EXPECT_EQ(z[0], 0.0);
  EXPECT_EQ(z[1], 0.0);
  EXPECT_EQ(z[2], 1.0);
}

TEST(VectorMath, InverseUndoesAMatrixThatIsNotSymmetric) {
  const double matrix[9] = {2, 1, 0, -1, 3, 0.5, 4, 0, 5};
  const double a[3] = {1.5, -2.0, 0.25};
  double inverse[9];
  double image[3];
  double back[3];
  matrixInverse(matrix, inverse);
  matrixTimesVector(matrix, a, image);
  matrixTimesVector(inverse, image, back);
  EXPECT_DOUBLE_EQ(image[0], 2 * 1.5 - 1 * -2.0 + 4 * 0.25);  // column-major: the first row is 2, -1, 4
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(back[k], a[k], kTiny);
  }
}

TEST(VectorMath, QuaternionTurnsBodyToInertial) {
  const double quarterAboutZ[4] = {std::sqrt(0.5), 0, 0, std::sqrt(0.5)};
  const double x[3] = {1, 0, 0};
  double turned[3];
  quaternionRotate(quarterAboutZ, x, turned);
  EXPECT_NEAR(turned[0], 0.0, kTiny);
  EXPECT_NEAR(turned[1], 1.0, kTiny);
  EXPECT_NEAR(turned[2], 0.0, kTiny);
}

TEST(VectorMath, ProductAppliesTheRightFactorFirst) {
  double p[4] = {0.9, 0.1, -0.3, 0.2};
  double q[4] = {0.5, 0.6, 0.2, -0.4};
  quaternionNormalize(p);
  quaternionNormalize(q);
  const double a[3] = {0.3, -1.0, 2.0};
  double product[4];
  double inner[3];
  double outer[3];
  double atOnce[3];
  quaternionProduct(p, q, product);
  quaternionRotate(q, a, inner);
  quaternionRotate(p, inner, outer);
  quaternionRotate(product, a, atOnce);
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(atOnce[k], outer[k], kTiny);
  }
}

TEST(VectorMath, ConjugateIsTheOppositeRotation) {
  double q[4] = {0.5, 0.6, 0.2, -0.4};
  quaternionNormalize(q);
  double back[4];
  double unit[4];
  quaternionConjugate(q, back);
  quaternionProduct(q, back, unit);
  EXPECT_NEAR(unit[0], 1.0, kTiny);
  EXPECT_NEAR(vectorLength(unit + 1), 0.0, kTiny);
}

TEST(VectorMath, RotationDoesNotDependOnTheLengthOfTheQuaternion) {
  const double q[4] = {0.5, 0.6, 0.2, -0.4};
  const double longer[4] = {5, 6, 2, -4};
  const double a[3] = {0.3, -1.0, 2.0};
  double one[3];
  double other[3];
  quaternionRotate(q, a, one);
  quaternionRotate(longer, a, other);
  EXPECT_NEAR(vectorLength(one), vectorLength(a), kTiny);
  for (int k = 0; k < 3; ++k) {
    EXPECT_NEAR(one[k], other[k], kTiny);
  }
}

}  // namespace

#include "vector_math.h"

#include <math.h>
#include <stddef.h>

double vectorDot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

double vectorLength(const double a[3]) { return sqrt(vectorDot(a, a)); }

void vectorCross(const double a[3], const double b[3], double result[3]) {
  result[0] = a[1] * b[2] - a[2] * b[1];
  result[1] = a[2] * b[0] - a[0] * b[2];
  result[2] = a[0] * b[1] - a[1] * b[0];
}

void vectorAdd(double accumulator[3], double factor, const double a[3]) {
  for (int k = 0; k < 3; ++k) {
    accumulator[k] += factor * a[k];
  }
}

void matrixTimesVector(const double matrix[9], const double a[3], double result[3]) {
  for (int row = 0; row < 3; ++row) {
    result[row] = matrix[row] * a[0] + matrix[3 + row] * a[1] + matrix[6 + row] * a[2];
  }
}

void matrixInverse(const double matrix[9], double result[9]) {
  double cofactors[9];  // column k: cross product of the two columns after column k
  for (size_t column = 0; column < 3; ++column) {
    vectorCross(matrix + 3 * ((column + 1) % 3), matrix + 3 * ((column + 2) % 3), cofactors + 3 * column);
  }
  const double determinant = vectorDot(matrix, cofactors);
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 3; ++column) {
      result[3 * column + row] = cofactors[3 * row + column] / determinant;
    }
  }
}

void quaternionProduct(const double p[4], const double q[4], double result[4]) {
  result[0] = p[0] * q[0] - p[1] * q[1] - p[2] * q[2] - p[3] * q[3];
  result[1] = p[0] * q[1] + p[1] * q[0] + p[2] * q[3] - p[3] * q[2];
  result[2] = p[0] * q[2] - p[1] * q[3] + p[2] * q[0] + p[3] * q[1];
  result[3] = p[0] * q[3] + p[1] * q[2] - p[2] * q[1] + p[3] * q[0];
}

void quaternionConjugate(const double q[4], double result[4]) {
  result[0] = q[0];
  for (int k = 1; k < 4; ++k) {
    result[k] = -q[k];
  }
}

void quaternionNormalize(double q[4]) {
  const double length = sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  for (int k = 0; k < 4; ++k) {
    q[k] /= length;
  }
}

void quaternionToMatrix(const double q[4], double result[9]) {
  const double w = q[0];
  const double x = q[1];
  const double y = q[2];
  const double z = q[3];
  const double s = 2.0 / (w * w + x * x + y * y + z * z);
  result[0] = 1.0 - s * (y * y + z * z);
  result[1] = s * (x * y + w * z);
  result[2] = s * (x * z - w * y);
  result[3] = s * (x * y - w * z);
  result[4] = 1.0 - s * (x * x + z * z);
  result[5] = s * (y * z + w * x);
  result[6] = s * (x * z + w * y);
  result[7] = s * (y * z - w * x);
  result[8] = 1.0 - s * (x * x + y * y);
}

void quaternionRotate(const double q[4], const double a[3], double result[3]) {
  double matrix[9];
  quaternionToMatrix(q, matrix);
  matrixTimesVector(matrix, a, result);
}

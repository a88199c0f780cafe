/// @file
/// Three-vectors and attitude quaternions of the spacecraft example, as plain arrays of doubles.
///
/// A matrix is column-major: entry (row, column) is matrix[3 * column + row]. A quaternion is {w, x, y, z}, of unit
/// length, and turns body coordinates into inertial ones.
#ifndef VTIO_EXAMPLES_SPACECRAFT_VECTOR_MATH_H
#define VTIO_EXAMPLES_SPACECRAFT_VECTOR_MATH_H

#ifdef __cplusplus
extern "C" {
#endif

/// Inner product of two vectors.
double vectorDot(const double a[3], const double b[3]);

/// Euclidean length.
double vectorLength(const double a[3]);

/// result = a x b. `result` must be neither `a` nor `b`.
void vectorCross(const double a[3], const double b[3], double result[3]);

/// accumulator += factor * a.
void vectorAdd(double accumulator[3], double factor, const double a[3]);

/// result = matrix * a. `result` must not be `a`.
void matrixTimesVector(const double matrix[9], const double a[3], double result[3]);

/// result = the inverse of a regular matrix. `result` must not be `matrix`.
void matrixInverse(const double matrix[9], double result[9]);

/// result = p * q, the rotation q followed by p. `result` must be neither `p` nor `q`.
void quaternionProduct(const double p[4], const double q[4], double result[4]);

/// Conjugate: the opposite rotation. `result` may be `q`.
void quaternionConjugate(const double q[4], double result[4]);

/// Scales `q` to unit length.
void quaternionNormalize(double q[4]);

/// result = `a` of body coordinates in inertial ones; the length of `q` has no effect. `result` must not be `a`.
void quaternionRotate(const double q[4], const double a[3], double result[3]);

/// Matrix of the rotation.
void quaternionToMatrix(const double q[4], double result[9]);

#ifdef __cplusplus
}
#endif

#endif

#ifndef OVICAM_EULER_H
#define OVICAM_EULER_H

/**
 * Conversions among Euler angles in any of the 24 axis orders, unit quaternions and rotation matrices, after Ken Shoemake,
 * "Euler Angle Conversion", Graphics Gems IV. Angles are radians, matrices row-major and for column vectors. Every function
 * is free of state and may be called by any thread; none fails. Matrix pointers must not be null.
 *
 * Order code: bit 0 frame (0 static axes, 1 rotating axes), bit 1 repetition (1: the last axis is the first one again), bit 2
 * parity (0 even: the second axis is the one after the first in the cycle XYZ, 1 odd), bits 3 and 4 inner axis (0 X, 1 Y,
 * 2 Z; the value 3 counts as X). Higher bits are ignored, and so is the fraction of an order code kept as a number; a number
 * that no int holds counts as order 0.
 */

/* C programs read this header, too. */
/* NOLINTBEGIN(modernize-deprecated-headers, modernize-use-using) */

#ifdef __cplusplus
extern "C" {
#endif

/** A quaternion, w its real part; or three Euler angles: x, y, z the first, second and third rotation, w the order code. */
typedef struct Quat {
  float x;
  float y;
  float z;
  float w;
} Quat;

/** The record of three angles and their order. */
Quat Eul_(float ai, float aj, float ah, int order);

/** The unit quaternion of the angles. */
Quat Eul_ToQuat(Quat ea);

/** Writes the rotation matrix of the angles; its last row and column are those of the identity. */
void Eul_ToHMatrix(Quat ea, float M[4][4]);

/**
 * The angles of the rotation in the upper left 3 x 3 part of M. Where the first and the third axis coincide, the angle that
 * the algorithm computes third is 0: the third of a static order, the first of a rotating one.
 */
Quat Eul_FromHMatrix(float M[4][4], int order);

/** The angles of a quaternion of any length but zero; a zero quaternion counts as no rotation. */
Quat Eul_FromQuat(Quat q, int order);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-deprecated-headers, modernize-use-using) */

#endif

#pragma once
// The group law on Jacobian points in Montgomery form, on limbs. These are the formulas of
// pointDouble and pointAdd, step for step: doubling 4 squarings and 4 products for a = -3,
// else 6 squarings and 4 products (one of them by a); addition 4 squarings and 12 products,
// 3 and 8 when Q's Z is the integer 1. The results are the same field elements whatever the
// Montgomery radix, so the mp_int callers see exactly what the formulas define.

#include "ecc/generic/LimbCurve.h"

namespace vn {

// R = 2P; R may be P.
template <int L>
void limbDouble(const LimbCurve<L>& c, const LimbPoint<L>& P, LimbPoint<L>& R) {
    const LimbField<L>& f = c.f;
    Limb t1[arraySize(L)], t2[arraySize(L)];
    if (&R != &P) R = P;

    f.sqr(R.z, t1);         // Z^2
    f.mul(R.z, R.y, R.z);
    f.add(R.z, R.z, R.z);   // Z' = 2YZ
    if (!c.hasA) {
        // t1 = 3(X - Z^2)(X + Z^2)
        f.sub(R.x, t1, t2);
        f.add(t1, R.x, t1);
        f.mul(t1, t2, t2);
        f.add(t2, t2, t1);
        f.add(t1, t2, t1);
    } else {
        // t1 = a*Z^4 + 3X^2
        f.sqr(t1, t2);
        f.mul(t2, c.aR, t1);
        f.sqr(R.x, t2);
        for (int i = 0; i < 3; ++i) f.add(t1, t2, t1);
    }
    f.add(R.y, R.y, R.y);
    f.sqr(R.y, R.y);        // 4Y^2
    f.sqr(R.y, t2);
    f.half(t2, t2);         // 8Y^4
    f.mul(R.y, R.x, R.y);   // 4XY^2
    f.sqr(t1, R.x);
    f.sub(R.x, R.y, R.x);
    f.sub(R.x, R.y, R.x);   // X' = t1^2 - 8XY^2
    f.sub(R.y, R.x, R.y);
    f.mul(R.y, t1, R.y);
    f.sub(R.y, t2, R.y);    // Y' = t1(4XY^2 - X') - 8Y^4
}

// R = P + Q; R may be P or Q. qAffine says Q's Z is the integer 1 (not the Montgomery form of
// one): an affine Q saves its multiplications only when its Z was left out of Montgomery form,
// and then Q.z is not read.
// The same Jacobian triple twice: the general formulas would divide by zero, so double.
// P = -Q with the same Z is deliberately not sent to the doubling, whose answer 2P would be a
// wrong point: the general formulas give Z = 0 (infinity) instead. The same point held with
// another Z, or an operand at infinity, is not caught here: this is the group law of the
// named pointAdd, and the scalar multiplications use the complete additions of
// CompleteAddition.h and ProjectiveAddition.h instead.
template <int L>
void limbAdd(const LimbCurve<L>& c, const LimbPoint<L>& P, const LimbPoint<L>& Q, LimbPoint<L>& R, bool qAffine) {
    const LimbField<L>& f = c.f;
    if (f.equal(P.x, Q.x) && f.equal(P.z, Q.z) && f.equal(P.y, Q.y)) {
        limbDouble(c, P, R);
        return;
    }
    Limb X[arraySize(L)], Y[arraySize(L)], Z[arraySize(L)], t1[arraySize(L)], t2[arraySize(L)];
    f.copy(P.x, X);
    f.copy(P.y, Y);
    f.copy(P.z, Z);

    if (!qAffine) {
        f.sqr(Q.z, t1);
        f.mul(t1, X, X);      // X1 * Z2^2
        f.mul(Q.z, t1, t1);
        f.mul(t1, Y, Y);      // Y1 * Z2^3
    }
    f.sqr(Z, t1);
    f.mul(Q.x, t1, t2);       // t2 = X2 * Z1^2
    f.mul(Z, t1, t1);
    f.mul(Q.y, t1, t1);       // t1 = Y2 * Z1^3

    f.sub(Y, t1, Y);          // Y = r
    f.add(t1, t1, t1);
    f.add(t1, Y, t1);         // t1 = S1 + S2
    f.sub(X, t2, X);          // X = H
    f.add(t2, t2, t2);
    f.add(t2, X, t2);         // t2 = U1 + U2

    if (!qAffine) f.mul(Z, Q.z, Z);
    f.mul(Z, X, Z);           // Z3 = Z1 * Z2 * H
    f.mul(t1, X, t1);         // (S1 + S2) H
    f.sqr(X, X);              // H^2
    f.mul(t2, X, t2);         // (U1 + U2) H^2
    f.mul(t1, X, t1);         // (S1 + S2) H^3
    f.sqr(Y, X);              // r^2
    f.sub(X, t2, X);          // X3 = r^2 - (U1 + U2) H^2
    f.sub(t2, X, t2);
    f.sub(t2, X, t2);
    f.mul(t2, Y, t2);
    f.sub(t2, t1, Y);
    f.half(Y, Y);

    f.copy(X, R.x);
    f.copy(Y, R.y);
    f.copy(Z, R.z);
}

}  // namespace vn

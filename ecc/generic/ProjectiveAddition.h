#pragma once
// Complete mixed addition in homogeneous projective coordinates (x = X/Z, y = Y/Z, the point at
// infinity (0 : 1 : 0)), after Renes, Costello and Batina, "Complete addition formulas for
// prime order elliptic curves" (2016), algorithms 2 (any a) and 5 (a = -3). One formula is
// right for every accumulator, the point at infinity, the same point and its negative
// included, so no case needs testing or masking: 11 products and a few by the curve's
// constants, where the Jacobian sum with a masked doubling beside it costs 19. The other
// operand is an affine point, never the point at infinity; on curves of prime order (every
// curve here) the formulas have no exceptions then.
//
// The generator table's rows are summed with it; the result goes back to Jacobian form for the
// rest of the engine.

#include "ecc/generic/LimbJacobian.h"

namespace vn {

// The curve's b in the form the formulas use: b for a = -3, 3b otherwise (Montgomery form).
template <int L>
struct ProjectiveB {
    Limb v[arraySize(L)];
};

// R = P + (x2, y2) for any projective P and a finite affine point; R may be P. Constant time.
template <int L>
void projectiveAddMixed(const LimbCurve<L>& c, const ProjectiveB<L>& b, const LimbPoint<L>& P, const Limb* x2,
                        const Limb* y2, LimbPoint<L>& R) {
    const LimbField<L>& f = c.f;
    Limb t0[arraySize(L)], t1[arraySize(L)], t2[arraySize(L)], t3[arraySize(L)], t4[arraySize(L)];
    Limb X3[arraySize(L)], Y3[arraySize(L)], Z3[arraySize(L)];
    f.mul(P.x, x2, t0);
    f.mul(P.y, y2, t1);
    f.add(x2, y2, t3);
    f.add(P.x, P.y, t4);
    f.mul(t3, t4, t3);
    f.add(t0, t1, t4);
    f.sub(t3, t4, t3);  // t3 = X1 Y2 + X2 Y1
    if (!c.hasA) {
        f.mul(y2, P.z, t4);
        f.add(t4, P.y, t4);  // t4 = Y2 Z1 + Y1
        f.mul(x2, P.z, Y3);
        f.add(Y3, P.x, Y3);  // Y3 = X2 Z1 + X1
        f.mul(b.v, P.z, Z3);
        f.sub(Y3, Z3, X3);
        f.add(X3, X3, Z3);
        f.add(X3, Z3, X3);
        f.sub(t1, X3, Z3);
        f.add(t1, X3, X3);
        f.mul(b.v, Y3, Y3);
        f.add(P.z, P.z, t1);
        f.add(t1, P.z, t2);  // t2 = 3 Z1
        f.sub(Y3, t2, Y3);
        f.sub(Y3, t0, Y3);
        f.add(Y3, Y3, t1);
        f.add(t1, Y3, Y3);
        f.add(t0, t0, t1);
        f.add(t1, t0, t0);
        f.sub(t0, t2, t0);
        f.mul(t4, Y3, t1);
        f.mul(t0, Y3, t2);
        f.mul(X3, Z3, Y3);
        f.add(Y3, t2, Y3);
        f.mul(t3, X3, X3);
        f.sub(X3, t1, X3);
        f.mul(t4, Z3, Z3);
        f.mul(t3, t0, t1);
        f.add(Z3, t1, Z3);
    } else {
        Limb t5[arraySize(L)];
        f.mul(x2, P.z, t4);
        f.add(t4, P.x, t4);  // t4 = X2 Z1 + X1
        f.mul(y2, P.z, t5);
        f.add(t5, P.y, t5);  // t5 = Y2 Z1 + Y1
        f.mul(c.aR, t4, Z3);
        f.mul(b.v, P.z, X3);
        f.add(X3, Z3, Z3);
        f.sub(t1, Z3, X3);
        f.add(t1, Z3, Z3);
        f.mul(X3, Z3, Y3);
        f.add(t0, t0, t1);
        f.add(t1, t0, t1);
        f.mul(c.aR, P.z, t2);
        f.mul(b.v, t4, t4);
        f.add(t1, t2, t1);
        f.sub(t0, t2, t2);
        f.mul(c.aR, t2, t2);
        f.add(t4, t2, t4);
        f.mul(t1, t4, t0);
        f.add(Y3, t0, Y3);
        f.mul(t5, t4, t0);
        f.mul(t3, X3, X3);
        f.sub(X3, t0, X3);
        f.mul(t3, t1, t0);
        f.mul(t5, Z3, Z3);
        f.add(Z3, t0, Z3);
    }
    LimbField<L>::copy(X3, R.x);
    LimbField<L>::copy(Y3, R.y);
    LimbField<L>::copy(Z3, R.z);
}

// In place: the projective (X : Y : Z) as the Jacobian (X Z, Y Z^2, Z) of the same point; the
// point at infinity keeps Z = 0.
template <int L>
void projectiveToJacobian(const LimbCurve<L>& c, LimbPoint<L>& P) {
    Limb z2[arraySize(L)];
    c.f.mul(P.x, P.z, P.x);
    c.f.sqr(P.z, z2);
    c.f.mul(P.y, z2, P.y);
}

}  // namespace vn

#pragma once
// Point addition on Jacobian limb points that is right for every pair of inputs: either may
// be the point at infinity (Z = 0), and the two may be the same point held with different Z
// or each other's negatives. The general formulas already give Z = 0 for P = -Q (H = 0 with
// r != 0); what they get wrong is P = Q (H = r = 0, where they yield 0 instead of 2P) and an
// operand at infinity. So the sum, the doubling of P and the operands themselves are all at
// hand and the answer is chosen among them.
//
// limbAddComplete and limbAddMixedComplete compute every candidate and choose through masks:
// the same field operations in the same order whatever the points, for the constant-time
// multiplications. The _var forms test the cases with branches and compute only what they
// need, for verification, where every input is public.

#include "ecc/generic/LimbJacobian.h"

namespace vn {

namespace complete_detail {

// The general sum of P and Q, with Q affine (Z = 1, Q.z not read) when Mixed; H = U2 - U1 and
// r = S2 - S1 come back for the case tests. out may not be P or Q.
template <bool Mixed, int L>
void sum(const LimbCurve<L>& c, const LimbPoint<L>& P, const LimbPoint<L>& Q, LimbPoint<L>& out, Limb* H,
         Limb* r) {
    const LimbField<L>& f = c.f;
    Limb z1z1[arraySize(L)], u1[arraySize(L)], u2[arraySize(L)], s1[arraySize(L)], s2[arraySize(L)];
    Limb t[arraySize(L)], hh[arraySize(L)], hhh[arraySize(L)], v[arraySize(L)];
    f.sqr(P.z, z1z1);
    f.mul(Q.x, z1z1, u2);
    f.mul(P.z, z1z1, t);
    f.mul(Q.y, t, s2);
    if constexpr (Mixed) {
        f.copy(P.x, u1);
        f.copy(P.y, s1);
    } else {
        Limb z2z2[arraySize(L)];
        f.sqr(Q.z, z2z2);
        f.mul(P.x, z2z2, u1);
        f.mul(Q.z, z2z2, t);
        f.mul(P.y, t, s1);
    }
    f.sub(u2, u1, H);
    f.sub(s2, s1, r);
    f.sqr(H, hh);
    f.mul(H, hh, hhh);
    f.mul(u1, hh, v);
    f.sqr(r, out.x);
    f.sub(out.x, hhh, out.x);
    f.sub(out.x, v, out.x);
    f.sub(out.x, v, out.x);       // X3 = r^2 - H^3 - 2 U1 H^2
    f.sub(v, out.x, t);
    f.mul(r, t, out.y);
    f.mul(s1, hhh, t);
    f.sub(out.y, t, out.y);       // Y3 = r (U1 H^2 - X3) - S1 H^3
    if constexpr (Mixed) {
        f.mul(P.z, H, out.z);
    } else {
        f.mul(P.z, Q.z, t);
        f.mul(t, H, out.z);       // Z3 = Z1 Z2 H
    }
}

template <int L>
void selectPoint(Limb mask, const LimbPoint<L>& a, LimbPoint<L>& out) {
    LimbField<L>::select(mask, a.x, out.x, out.x);
    LimbField<L>::select(mask, a.y, out.y, out.y);
    LimbField<L>::select(mask, a.z, out.z, out.z);
}

}  // namespace complete_detail

// R = P + Q for any P and Q; R may be P or Q. Constant time.
template <int L>
void limbAddComplete(const LimbCurve<L>& c, const LimbPoint<L>& P, const LimbPoint<L>& Q, LimbPoint<L>& R) {
    LimbPoint<L> s, d;
    Limb H[arraySize(L)], r[arraySize(L)];
    complete_detail::sum<false>(c, P, Q, s, H, r);
    limbDouble(c, P, d);
    const Limb pInf = LimbField<L>::zeroMask(P.z);
    const Limb qInf = LimbField<L>::zeroMask(Q.z);
    const Limb same = LimbField<L>::zeroMask(H) & LimbField<L>::zeroMask(r) & ~pInf & ~qInf;
    complete_detail::selectPoint(same, d, s);
    complete_detail::selectPoint(pInf, Q, s);
    complete_detail::selectPoint(qInf, P, s);
    R = s;
}

// R = P + (qx, qy) for any Jacobian P and a finite affine Q given in Montgomery form; R may
// be P. Constant time.
template <int L>
void limbAddMixedComplete(const LimbCurve<L>& c, const LimbPoint<L>& P, const Limb* qx, const Limb* qy,
                          LimbPoint<L>& R) {
    LimbPoint<L> q, s, d;
    LimbField<L>::copy(qx, q.x);
    LimbField<L>::copy(qy, q.y);
    LimbField<L>::copy(c.one, q.z);
    Limb H[arraySize(L)], r[arraySize(L)];
    complete_detail::sum<true>(c, P, q, s, H, r);
    limbDouble(c, P, d);
    const Limb pInf = LimbField<L>::zeroMask(P.z);
    const Limb same = LimbField<L>::zeroMask(H) & LimbField<L>::zeroMask(r) & ~pInf;
    complete_detail::selectPoint(same, d, s);
    complete_detail::selectPoint(pInf, q, s);
    R = s;
}

// R = P + Q for any P and Q, testing the cases with branches; R may be P or Q. Public inputs
// only. Q affine (Q.z the Montgomery form of 1, not read) when qAffine.
template <int L>
void limbAddComplete_var(const LimbCurve<L>& c, const LimbPoint<L>& P, const LimbPoint<L>& Q, LimbPoint<L>& R,
                         bool qAffine = false) {
    const bool pInf = LimbField<L>::zeroMask(P.z) != 0;
    const bool qInf = !qAffine && LimbField<L>::zeroMask(Q.z) != 0;
    if (qInf) {
        if (&R != &P) R = P;
        return;
    }
    if (pInf) {
        R = Q;
        if (qAffine) LimbField<L>::copy(c.one, R.z);
        return;
    }
    LimbPoint<L> s;
    Limb H[arraySize(L)], r[arraySize(L)];
    if (qAffine) {
        complete_detail::sum<true>(c, P, Q, s, H, r);
    } else {
        complete_detail::sum<false>(c, P, Q, s, H, r);
    }
    if (LimbField<L>::zeroMask(H) != 0 && LimbField<L>::zeroMask(r) != 0) {
        limbDouble(c, P, R);
        return;
    }
    R = s;  // H = 0 alone: P = -Q, and Z3 = 0 already says infinity
}

}  // namespace vn

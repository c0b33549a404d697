#include "ecc/generic/JacobianArithmetic.h"

#include "ecc/generic/LimbJacobian.h"
#include "host/BigNum.h"

// The formulas live in LimbJacobian.h, on fixed limb arrays. These entry points keep the
// mp_int interface, whose Montgomery radix is 2^(28 * digits of p), and convert on the way in
// and out; the scalar multiplications call the kernels directly and convert once.

namespace vn {

namespace {

// v*R28 -> v*R: multiply by R mod p, then divide by R28.
template <int L>
bool enterFromDigits(const LimbCurve<L>& c, const mp_int& v, const mp_int& p, unsigned rho, Limb* out) {
    mp_int t;
    return BigNum::mp_mulmod(v, c.rModP, p, t) == MP_OKAY && BigNum::mp_montgomery_reduce(t, p, rho) == MP_OKAY &&
           BigNum::mpint_to_limbs(t, out, L);
}

template <int L>
bool enterFromDigits(const LimbCurve<L>& c, const EccPoint& P, const mp_int& p, unsigned rho, LimbPoint<L>& out) {
    return enterFromDigits(c, P.x, p, rho, out.x) && enterFromDigits(c, P.y, p, rho, out.y) &&
           enterFromDigits(c, P.z, p, rho, out.z);
}

// Runs op(curve, P, Q, R, qAffine) on the limb forms of P and Q and writes R back. Q's Z is
// tested for the integer 1 as the caller holds it, before the change of radix.
template <typename Op>
bool onLimbs(EccPoint& P, EccPoint& Q, EccPoint& R, mp_int* ma, mp_int& p, unsigned rho, Op op) {
    return withFieldLimbs(fieldLimbs(p), [&](auto limbs) {
        constexpr int L = decltype(limbs)::value;
        LimbCurve<L> c;
        Wiped<LimbPoint<L>> a, b;
        if (!c.init(p, ma) || !enterFromDigits(c, P, p, rho, a.v) || !enterFromDigits(c, Q, p, rho, b.v)) {
            return false;
        }
        op(c, a.v, b.v, a.v, BigNum::mp_cmp_d(Q.z, 1) == 0);
        R.format = P.format;
        return c.leave(a.v, R);
    });
}

}  // namespace

bool pointDouble(EccPoint& P, EccPoint& R, mp_int* ma, mp_int& p, unsigned int& rho) {
    return onLimbs(P, P, R, ma, p, rho, [](const auto& c, const auto& a, const auto&, auto& out, bool) {
        limbDouble(c, a, out);
    });
}

bool pointAdd(EccPoint& P, EccPoint& Q, EccPoint& R, mp_int* ma, mp_int& p, unsigned int& rho) {
    return onLimbs(P, Q, R, ma, p, rho, [](const auto& c, const auto& a, const auto& b, auto& out, bool qAffine) {
        limbAdd(c, a, b, out, qAffine);
    });
}

bool mapPointBack(EccPoint& P, mp_int& p, unsigned int& rho) {
    mp_int t1, t2;
    if (BigNum::mp_montgomery_reduce(P.z, p, rho) != MP_OKAY) return false;
    if (BigNum::mp_invmod(P.z, p, t1) != MP_OKAY) return false;  // fails for Z = 0
    if (BigNum::mp_sqr(t1, t2) != MP_OKAY || BigNum::mp_mod(t2, p, t2) != MP_OKAY) return false;  // Z^-2
    if (BigNum::mp_mul(t1, t2, t1) != MP_OKAY || BigNum::mp_mod(t1, p, t1) != MP_OKAY) return false;  // Z^-3
    // Dividing by Z^2 and Z^3 and leaving Montgomery form in one reduction each.
    if (BigNum::mp_mul(P.x, t2, P.x) != MP_OKAY || BigNum::mp_montgomery_reduce(P.x, p, rho) != MP_OKAY) {
        return false;
    }
    if (BigNum::mp_mul(P.y, t1, P.y) != MP_OKAY || BigNum::mp_montgomery_reduce(P.y, p, rho) != MP_OKAY) {
        return false;
    }
    BigNum::mp_set(P.z, 1);
    return true;
}

}  // namespace vn

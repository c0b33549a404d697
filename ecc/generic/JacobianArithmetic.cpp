#include "ecc/generic/JacobianArithmetic.h"

#include "host/BigNum.h"

// Formulas: Jacobian coordinates, doubling with the a = -3 shortcut
// 3(X - Z^2)(X + Z^2) = 3X^2 - 3Z^4, else 3X^2 + aZ^4; additions and subtractions keep every
// value in [0, p) with one conditional correction. None of this is constant-time; the
// secp256k1 engine is the one that is.

namespace vn {

namespace {

// mont(a*b) = a*b*R^-1 mod p. Output may alias an input (the host multiplies in place).
// The host fuses the product and the reduction into one pass.
inline bool montMul(const mp_int& a, const mp_int& b, mp_int& out, const mp_int& p, unsigned rho) {
    return BigNum::mp_mul_montgomery(a, b, p, rho, out) == MP_OKAY;
}

inline bool montSqr(const mp_int& a, mp_int& out, const mp_int& p, unsigned rho) {
    return BigNum::mp_sqr_montgomery(a, p, rho, out) == MP_OKAY;
}

// For a, b in [0, p): out = a + b mod p.
inline bool addMod(const mp_int& a, const mp_int& b, mp_int& out, const mp_int& p) {
    if (BigNum::mp_add(a, b, out) != MP_OKAY) return false;
    if (BigNum::mp_cmp(out, p) != -1) return BigNum::mp_sub(out, p, out) == MP_OKAY;
    return true;
}

// For a, b in [0, p): out = a - b mod p.
inline bool subMod(const mp_int& a, const mp_int& b, mp_int& out, const mp_int& p) {
    if (BigNum::mp_sub(a, b, out) != MP_OKAY) return false;
    if (BigNum::mp_cmp_d(out, 0) == -1) return BigNum::mp_add(out, p, out) == MP_OKAY;
    return true;
}

// v / 2 mod p for v in [0, p): an odd v is made even by adding p first.
inline bool halveMod(mp_int& v, const mp_int& p) {
    if ((v.get_digit(0) & 1u) != 0 && BigNum::mp_add(v, p, v) != MP_OKAY) return false;
    return BigNum::mp_div_2(v, v) == MP_OKAY;
}

}  // namespace

bool pointDouble(EccPoint& P, EccPoint& R, mp_int* ma, mp_int& p, unsigned int& rho) {
    if (&R != &P && !R.copyFromEccPoint(P)) return false;
    mp_int t1, t2;

    if (!montSqr(R.z, t1, p, rho)) return false;                                   // Z^2
    if (!montMul(R.z, R.y, R.z, p, rho) || !addMod(R.z, R.z, R.z, p)) return false;  // Z' = 2YZ

    if (ma == nullptr) {
        // t1 = 3(X - Z^2)(X + Z^2)
        if (!subMod(R.x, t1, t2, p) || !addMod(t1, R.x, t1, p) || !montMul(t1, t2, t2, p, rho) ||
            !addMod(t2, t2, t1, p) || !addMod(t1, t2, t1, p)) {
            return false;
        }
    } else {
        // t1 = a*Z^4 + 3X^2. mp_mulmod by the ordinary a keeps t1 in Montgomery form.
        if (!montSqr(t1, t2, p, rho) || BigNum::mp_mulmod(t2, *ma, p, t1) != MP_OKAY ||
            !montSqr(R.x, t2, p, rho)) {
            return false;
        }
        for (int i = 0; i < 3; ++i) {
            if (!addMod(t1, t2, t1, p)) return false;
        }
    }

    if (!addMod(R.y, R.y, R.y, p) || !montSqr(R.y, R.y, p, rho)) return false;  // 4Y^2
    if (!montSqr(R.y, t2, p, rho) || !halveMod(t2, p)) return false;             // 8Y^4
    if (!montMul(R.y, R.x, R.y, p, rho)) return false;                           // 4XY^2
    if (!montSqr(t1, R.x, p, rho)) return false;
    for (int i = 0; i < 2; ++i) {
        if (!subMod(R.x, R.y, R.x, p)) return false;                             // X' = t1^2 - 8XY^2
    }
    if (!subMod(R.y, R.x, R.y, p) || !montMul(R.y, t1, R.y, p, rho)) return false;
    return subMod(R.y, t2, R.y, p);                                              // Y' = t1(4XY^2 - X') - 8Y^4
}

bool pointAdd(EccPoint& P, EccPoint& Q, EccPoint& R, mp_int* ma, mp_int& p, unsigned int& rho) {
    mp_int X, Y, Z, t1, t2;

    // The same Jacobian triple twice: the general formulas would divide by zero, so double.
    // P = -Q with the same Z is deliberately not sent to the doubling, whose answer 2P would be
    // a wrong point: the general formulas give Z = 0 (infinity) instead, which stays 0 through
    // later steps and which mapPointBack refuses. The ladder meets that sum only for k = n - 1,
    // in the register it discards.
    if (BigNum::mp_cmp(P.x, Q.x) == 0 && BigNum::mp_cmp(P.z, Q.z) == 0 && BigNum::mp_cmp(P.y, Q.y) == 0) {
        return pointDouble(P, R, ma, p, rho);
    }

    if (BigNum::mp_copy(P.x, X) != MP_OKAY || BigNum::mp_copy(P.y, Y) != MP_OKAY ||
        BigNum::mp_copy(P.z, Z) != MP_OKAY) {
        return false;
    }

    // Compared with the integer 1, not with the Montgomery form of one: an affine Q saves
    // its multiplications only when its Z was left out of Montgomery form.
    bool qAffine = BigNum::mp_cmp_d(Q.z, 1) == 0;
    if (!qAffine) {
        if (!montSqr(Q.z, t1, p, rho) || !montMul(t1, X, X, p, rho) ||  // X1 * Z2^2
            !montMul(Q.z, t1, t1, p, rho) || !montMul(t1, Y, Y, p, rho)) {  // Y1 * Z2^3
            return false;
        }
    }

    if (!montSqr(Z, t1, p, rho) || !montMul(Q.x, t1, t2, p, rho) ||  // t2 = X2 * Z1^2
        !montMul(Z, t1, t1, p, rho) || !montMul(Q.y, t1, t1, p, rho)) {  // t1 = Y2 * Z1^3
        return false;
    }

    if (!subMod(Y, t1, Y, p) || !addMod(t1, t1, t1, p) || !addMod(t1, Y, t1, p) ||  // Y = r, t1 = S1 + S2
        !subMod(X, t2, X, p) || !addMod(t2, t2, t2, p) || !addMod(t2, X, t2, p)) {  // X = H, t2 = U1 + U2
        return false;
    }

    if (!qAffine && !montMul(Z, Q.z, Z, p, rho)) return false;
    if (!montMul(Z, X, Z, p, rho) ||      // Z3 = Z1 * Z2 * H
        !montMul(t1, X, t1, p, rho) ||    // (S1 + S2) H
        !montSqr(X, X, p, rho) ||         // H^2
        !montMul(t2, X, t2, p, rho) ||    // (U1 + U2) H^2
        !montMul(t1, X, t1, p, rho) ||    // (S1 + S2) H^3
        !montSqr(Y, X, p, rho) ||         // r^2
        !subMod(X, t2, X, p)) {           // X3 = r^2 - (U1 + U2) H^2
        return false;
    }
    for (int i = 0; i < 2; ++i) {
        if (!subMod(t2, X, t2, p)) return false;
    }
    if (!montMul(t2, Y, t2, p, rho) || !subMod(t2, t1, Y, p) || !halveMod(Y, p)) return false;

    return BigNum::mp_copy(X, R.x) == MP_OKAY && BigNum::mp_copy(Y, R.y) == MP_OKAY &&
           BigNum::mp_copy(Z, R.z) == MP_OKAY;
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

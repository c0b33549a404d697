#pragma once
// The curve as the generic engine's kernels see it: the field of LimbField.h, the coefficient
// a in its Montgomery form, and the conversions between the callers' mp_int points and
// Montgomery limb points. Built once per scalar multiplication.

#include <type_traits>

#include "ecc/generic/EccPoint.h"
#include "ecc/generic/LimbField.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

// The widest field the kernels are instantiated for: 9 limbs, 576 bits (secp521r1 needs 521).
constexpr int kMaxFieldLimbs = 9;

template <int L>
struct LimbPoint {
    Limb x[arraySize(L)];
    Limb y[arraySize(L)];
    Limb z[arraySize(L)];
};

template <int L>
struct LimbCurve {
    LimbField<L> f;
    bool hasA;    // false: a = -3 and the doubling's shortcut
    Limb aR[arraySize(L)];   // a*R mod p when hasA
    mp_int rModP; // R mod p: v enters Montgomery form as v*R mod p
    Limb one[arraySize(L)];  // the same, as limbs: the Montgomery form of 1
    // 2^(28*digits of p) mod p: mapPointBack's Montgomery radix, the one mp_montgomery_reduce
    // divides by. Multiplying by it moves a value from this radix to that one.
    Limb digitR[arraySize(L)];

    // p odd and exactly L limbs; ma null for a = -3, else the ordinary a.
    bool init(const mp_int& p, const mp_int* ma) {
        Limb limbs[arraySize(L)];
        if (!BigNum::mpint_to_limbs(p, limbs, L) || (limbs[0] & 1) == 0 || limbs[L - 1] == 0) return false;
        f.setModulus(limbs);
        Limb r[arraySize(L + 1)] = {};
        r[L] = 1;
        mp_int big;
        if (BigNum::mpint_from_limbs(big, r, L + 1) != MP_OKAY || BigNum::mp_mod(big, p, rModP) != MP_OKAY) {
            return false;
        }
        if (!BigNum::mpint_to_limbs(rModP, one, L)) return false;
        mp_int mu;
        if (BigNum::mp_montgomery_normalization(mu, p) != MP_OKAY || !BigNum::mpint_to_limbs(mu, digitR, L)) {
            return false;
        }
        hasA = ma != nullptr;
        if (!hasA) return true;
        return enter(*ma, p, aR);
    }

    // out = v*R mod p for any integer v.
    bool enter(const mp_int& v, const mp_int& p, Limb* out) const {
        mp_int t;
        return BigNum::mp_mulmod(v, rModP, p, t) == MP_OKAY && BigNum::mpint_to_limbs(t, out, L);
    }
    bool enter(const EccPoint& P, const mp_int& p, LimbPoint<L>& out) const {
        return enter(P.x, p, out.x) && enter(P.y, p, out.y) && enter(P.z, p, out.z);
    }

    // The point in the Montgomery form of the mp_int routines (mapPointBack's).
    bool leave(const LimbPoint<L>& P, EccPoint& out) const {
        Limb t[arraySize(L)];
        const Limb* in[3] = {P.x, P.y, P.z};
        mp_int* coords[3] = {&out.x, &out.y, &out.z};
        for (int i = 0; i < 3; ++i) {
            f.mul(in[i], digitR, t);
            if (BigNum::mpint_from_limbs(*coords[i], t, L) != MP_OKAY) return false;
        }
        return true;
    }
};

// Working points and the like, which hold values derived from a scalar: wiped when they go.
template <typename T>
struct Wiped {
    T v{};
    ~Wiped() { secureWipe(&v, sizeof v); }
};

// Overwrites the stack below the caller's frame, where the kernels' temporaries held values
// derived from a scalar: wiping every field operation's locals would cost a tenth of the time,
// so each multiplication ends by doing this once.
void scrubStack();

// Limb count of p's field; 0 when the kernels have no instantiation for it.
inline int fieldLimbs(const mp_int& p) {
    const int limbs = (BigNum::mp_count_bits(p) + 63) / 64;
    return limbs >= 1 && limbs <= kMaxFieldLimbs ? limbs : 0;
}

// Calls fn(std::integral_constant<int, L>{}) for L = limbs, so that everything below runs on
// arrays of a size known at compile time; false for an L without an instantiation.
template <typename Fn>
bool withFieldLimbs(int limbs, Fn&& fn) {
    switch (limbs) {
        case 1: return fn(std::integral_constant<int, 1>{});
        case 2: return fn(std::integral_constant<int, 2>{});
        case 3: return fn(std::integral_constant<int, 3>{});
        case 4: return fn(std::integral_constant<int, 4>{});
        case 5: return fn(std::integral_constant<int, 5>{});
        case 6: return fn(std::integral_constant<int, 6>{});
        case 7: return fn(std::integral_constant<int, 7>{});
        case 8: return fn(std::integral_constant<int, 8>{});
        case 9: return fn(std::integral_constant<int, 9>{});
        default: return false;
    }
}

}  // namespace vn

#pragma once
// u1*G + u2*Q for verification, where every input is public, so the time may depend on them:
// both scalars in width-w NAF, their doublings shared. u1's digits come from the first row of
// the generator table (G, 3G, .., 63G, affine: a window of 7), u2's from a small table of odd
// multiples of Q built per call (Q, 3Q, .., 15Q: a window of 5). Every addition goes through
// the complete law, so sums that meet a table entry, its negative or the point at infinity
// come out right.

#include "ecc/generic/ConstantTimeMultiplication.h"

namespace vn {

constexpr int kVerifyWindowG = 7;
constexpr int kVerifyWindowQ = 5;

// Width-w NAF of k (kLimbs <= kMaxFieldLimbs limbs): naf[i] is 0 or odd with |naf[i]| <
// 2^(w-1), and k = sum naf[i] 2^i. Returns the number of digits (at most 64 kLimbs + 1).
inline int wnaf_var(const Limb* k, int kLimbs, int w, signed char* naf) {
    Limb t[kMaxFieldLimbs + 1] = {};
    for (int i = 0; i < kLimbs; ++i) t[i] = k[i];
    const int n = kLimbs + 1;
    const auto isZero = [&] {
        Limb any = 0;
        for (int i = 0; i < n; ++i) any |= t[i];
        return any == 0;
    };
    int len = 0;
    while (!isZero()) {
        int d = 0;
        if (t[0] & 1) {
            d = static_cast<int>(t[0] & ((Limb{1} << w) - 1));
            if (d >= (1 << (w - 1))) d -= 1 << w;
            // t -= d, leaving t divisible by 2^w.
            Limb c = 0;
            if (d > 0) {
                t[0] = subBorrow(t[0], static_cast<Limb>(d), c);
                for (int i = 1; i < n; ++i) t[i] = subBorrow(t[i], 0, c);
            } else {
                t[0] = addCarry(t[0], static_cast<Limb>(-d), c);
                for (int i = 1; i < n; ++i) t[i] = addCarry(t[i], 0, c);
            }
        }
        naf[len++] = static_cast<signed char>(d);
        for (int i = 0; i < n - 1; ++i) t[i] = (t[i] >> 1) | (t[i + 1] << 63);
        t[n - 1] >>= 1;
    }
    return len;
}

// R = u1*G + u2*Q (Jacobian; Z = 0 when the sum is the point at infinity). u1 and u2 have L
// limbs; Q is Jacobian in Montgomery form.
template <int L>
void dualMultiply_var(const LimbCurve<L>& c, const FixedBaseTable<L>& table, const Limb* u1, const Limb* u2,
                      const LimbPoint<L>& Q, LimbPoint<L>& R) {
    constexpr int kMaxDigits = 64 * kMaxFieldLimbs + 1;
    signed char naf1[kMaxDigits], naf2[kMaxDigits];
    const int len1 = wnaf_var(u1, L, kVerifyWindowG, naf1);
    const int len2 = wnaf_var(u2, L, kVerifyWindowQ, naf2);

    LimbPoint<L> tq[1 << (kVerifyWindowQ - 2)], twice, entry;
    tq[0] = Q;
    limbDouble(c, Q, twice);
    for (int j = 1; j < (1 << (kVerifyWindowQ - 2)); ++j) limbAddComplete_var(c, tq[j - 1], twice, tq[j]);

    LimbField<L>::copy(c.one, R.x);
    LimbField<L>::copy(c.one, R.y);
    for (int i = 0; i < L; ++i) R.z[i] = 0;
    bool started = false;
    for (int i = (len1 > len2 ? len1 : len2) - 1; i >= 0; --i) {
        if (started) limbDouble(c, R, R);
        const int d2 = i < len2 ? naf2[i] : 0;
        if (d2 != 0) {
            entry = tq[(d2 < 0 ? -d2 : d2) / 2];
            if (d2 < 0) negateWhere(c.f, ~Limb{0}, entry.y);
            limbAddComplete_var(c, R, entry, R);
            started = true;
        }
        const int d1 = i < len1 ? naf1[i] : 0;
        if (d1 != 0) {
            const Limb* g = table.row(0) + static_cast<std::size_t>((d1 < 0 ? -d1 : d1) / 2) * (2 * L);
            LimbField<L>::copy(g, entry.x);
            LimbField<L>::copy(g + L, entry.y);
            if (d1 < 0) negateWhere(c.f, ~Limb{0}, entry.y);
            limbAddComplete_var(c, R, entry, R, true);
            started = true;
        }
    }
}

}  // namespace vn

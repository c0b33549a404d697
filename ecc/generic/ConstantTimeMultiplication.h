#pragma once
// Constant-time scalar multiplication on the generic engine's limb points: the scalar steers
// no branch and no memory address, and the number and order of field operations depend only
// on the public length bound given for it.
//
// Variable base (ECDH): signed odd windows of 5 bits over a table of P, 3P, .., 31P; per window
// five doublings and one complete addition of an entry fetched by reading all sixteen.
// Fixed base (k*G): signed odd windows of 6 bits over a precomputed table whose row i holds
// (2j + 1) 2^(6i) G for j < 32 in affine form: one complete mixed addition per row, no
// doublings. Either way an even scalar is made odd and the base subtracted at the end
// (ScalarRecoding.h).

#include "ecc/SecretMarking.h"
#include "ecc/generic/CompleteAddition.h"
#include "ecc/generic/ProjectiveAddition.h"
#include "ecc/generic/ScalarRecoding.h"

namespace vn {

constexpr int kFixedBaseWindow = 6;
constexpr int kVariableBaseWindow = 5;
using FixedBaseWindows = OddWindows<kFixedBaseWindow>;
using VariableBaseWindows = OddWindows<kVariableBaseWindow>;

// out = entries[j] for j < Count, each entry Width limbs, read through masks: every entry is
// read whatever j is. The sizes are compile-time so that the loop runs on vector registers.
template <int Count, int Width>
void lookupEntry(const Limb* entries, unsigned j, Limb* out) {
    Limb acc[arraySize(Width)] = {};
    for (int e = 0; e < Count; ++e) {
        const Limb m = equalMask(static_cast<Limb>(e), j);
        const Limb* entry = entries + static_cast<std::size_t>(e) * Width;
        for (int i = 0; i < Width; ++i) acc[i] |= entry[i] & m;
    }
    for (int i = 0; i < Width; ++i) out[i] = acc[i];
}

// y = -y where negative is all ones.
template <int L>
void negateWhere(const LimbField<L>& f, Limb negative, Limb* y) {
    Limb zero[arraySize(L)] = {}, n[arraySize(L)];
    f.sub(zero, y, n);
    LimbField<L>::select(negative, n, y, y);
}

// The generator table of one curve: `rows` rows of 32 affine points (x then y, L limbs each,
// Montgomery form), row i entry j = (2j + 1) 2^(6i) G.
template <int L>
struct FixedBaseTable {
    static constexpr int kEntryLimbs = 2 * L;
    static constexpr int kRowLimbs = FixedBaseWindows::kEntries * kEntryLimbs;
    const Limb* limbs = nullptr;
    int rows = 0;
    ProjectiveB<L> b;  // for the complete projective addition the rows are summed with
    const Limb* row(int i) const { return limbs + static_cast<std::size_t>(i) * kRowLimbs; }
};

// R = k*G for k < 2^bits, bits <= 6 * table.rows; k (L limbs) is overwritten. R is Jacobian;
// the point at infinity (Z = 0) for k = 0 or a multiple of the order. The rows are summed in
// projective coordinates with the complete mixed addition, then R is made Jacobian.
template <int L>
void fixedBaseMultiply(const LimbCurve<L>& c, const FixedBaseTable<L>& table, Limb* k, int bits, LimbPoint<L>& R) {
    using Win = FixedBaseWindows;
    const int m = Win::windows(bits);
    const Limb wasEven = Win::makeOdd(k, L);
    Limb entry[arraySize(2 * L)];
    lookupEntry<Win::kEntries, 2 * L>(table.row(m - 1), Win::topDigit(k, L, bits), entry);
    LimbField<L>::copy(entry, R.x);
    LimbField<L>::copy(entry + L, R.y);
    LimbField<L>::copy(c.one, R.z);
    for (int i = m - 2; i >= 0; --i) {
        unsigned j;
        Limb negative;
        Win::digit(k, L, i, j, negative);
        lookupEntry<Win::kEntries, 2 * L>(table.row(i), j, entry);
        negateWhere(c.f, negative, entry + L);
        projectiveAddMixed(c, table.b, R, entry, entry + L, R);
    }
    // Row 0 entry 0 is G itself.
    LimbField<L>::copy(table.row(0), entry);
    LimbField<L>::copy(table.row(0) + L, entry + L);
    negateWhere(c.f, ~Limb{0}, entry + L);
    LimbPoint<L> corrected;
    projectiveAddMixed(c, table.b, R, entry, entry + L, corrected);
    complete_detail::selectPoint(wasEven, corrected, R);
    projectiveToJacobian(c, R);
    secureWipeLimbs(entry, arraySize(2 * L));
    secureWipeLimbs(corrected.x, arraySize(3 * L));
}

// R = k*P for k < 2^bits (kLimbs limbs, overwritten), any Jacobian P; R may be P. R is the
// point at infinity (Z = 0) when k*P is.
template <int L>
void variableBaseMultiply(const LimbCurve<L>& c, const LimbPoint<L>& P, Limb* k, int kLimbs, int bits,
                          LimbPoint<L>& R) {
    using Win = VariableBaseWindows;
    constexpr int kWidth = 3 * L;
    struct Work {
        LimbPoint<L> table[Win::kEntries];
        LimbPoint<L> twice, acc, entry, base;
    } w;
    static_assert(sizeof(LimbPoint<L>) == kWidth * sizeof(Limb), "a point is three coordinates");
    w.base = P;
    w.table[0] = P;
    limbDouble(c, P, w.twice);
    for (int j = 1; j < Win::kEntries; ++j) limbAddComplete(c, w.table[j - 1], w.twice, w.table[j]);

    const int m = Win::windows(bits);
    const Limb wasEven = Win::makeOdd(k, kLimbs);
    lookupEntry<Win::kEntries, kWidth>(w.table[0].x, Win::topDigit(k, kLimbs, bits), w.acc.x);
    for (int i = m - 2; i >= 0; --i) {
        for (int d = 0; d < kVariableBaseWindow; ++d) limbDouble(c, w.acc, w.acc);
        unsigned j;
        Limb negative;
        Win::digit(k, kLimbs, i, j, negative);
        lookupEntry<Win::kEntries, kWidth>(w.table[0].x, j, w.entry.x);
        negateWhere(c.f, negative, w.entry.y);
        limbAddComplete(c, w.acc, w.entry, w.acc);
    }
    negateWhere(c.f, ~Limb{0}, w.base.y);
    limbAddComplete(c, w.acc, w.base, w.entry);
    complete_detail::selectPoint(wasEven, w.entry, w.acc);
    R = w.acc;
    secureWipeLimbs(w.table[0].x, sizeof w / sizeof(Limb));
}

// (x, y) = the affine form of P, still in Montgomery form; false when P is the point at
// infinity. Constant time up to that answer, which is public.
template <int L>
bool toAffine(const LimbCurve<L>& c, const LimbPoint<L>& P, Limb* x, Limb* y) {
    const LimbField<L>& f = c.f;
    Limb zi[arraySize(L)], zi2[arraySize(L)];
    f.invert(P.z, zi);
    f.sqr(zi, zi2);
    f.mul(P.x, zi2, x);
    if (y != nullptr) {
        f.mul(zi2, zi, zi2);
        f.mul(P.y, zi2, y);
    }
    Limb atInfinity = LimbField<L>::zeroMask(P.z);
    ECCKEY_PUBLIC(&atInfinity, sizeof atInfinity);
    secureWipeLimbs(zi, arraySize(L));
    secureWipeLimbs(zi2, arraySize(L));
    return atInfinity == 0;
}

// out = P as an affine point in ordinary form (z = 1); false at infinity. The coordinates
// become public here: they are the result.
template <int L>
bool leaveAffine(const LimbCurve<L>& c, const LimbPoint<L>& P, EccPoint& out) {
    static constexpr Limb kPlainOne[arraySize(L)] = {1};
    Limb x[arraySize(L)], y[arraySize(L)];
    if (!toAffine(c, P, x, y)) return false;
    c.f.mul(x, kPlainOne, x);
    c.f.mul(y, kPlainOne, y);
    ECCKEY_PUBLIC(x, sizeof x);
    ECCKEY_PUBLIC(y, sizeof y);
    return BigNum::mpint_from_limbs(out.x, x, L) == MP_OKAY && BigNum::mpint_from_limbs(out.y, y, L) == MP_OKAY &&
           BigNum::mp_set_int(out.z, 1) == MP_OKAY;
}

}  // namespace vn

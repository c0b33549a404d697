#pragma once
// Signed odd fixed-window digits of a scalar, for the constant-time multiplications.
//
// An odd k below 2^bits is written as k = sum d_i 2^(W i) over m = ceil(bits / W) windows,
// every digit odd: |d_i| < 2^W for i < m - 1, and 0 < d_(m-1) < 2^W. No digit is ever zero, so
// every window adds a table entry (2j + 1) * base and the sequence of point operations is the
// same for every scalar of that length. The digits come straight from bit windows: with u_i
// the W bits of k from bit W i + 1 up, d_i = 2 u_i + 1 - 2^W (the telescoping -2^W of one
// window is the +1 of the next), and the top digit is 2 (k >> (W (m - 1) + 1)) + 1. Only public
// bit positions are read; the digits themselves stay in masks.
//
// An even k is first made odd by adding 1, and the base is subtracted again at the end, the
// addition kept or dropped through a mask.

#include "ecc/generic/LimbField.h"

namespace vn {

// The `count` (<= 63) bits of k from bit `pos` up; k has kLimbs limbs and bits past them read
// as zero. pos and count are public.
inline Limb scalarBits(const Limb* k, int kLimbs, int pos, int count) {
    const int limb = pos / 64, off = pos % 64;
    Limb v = limb < kLimbs ? k[limb] >> off : 0;
    if (off != 0 && limb + 1 < kLimbs) v |= k[limb + 1] << (64 - off);
    return v & ((Limb{1} << count) - 1);
}

// All ones when a == b, else zero, without a branch.
inline Limb equalMask(Limb a, Limb b) {
    const Limb d = a ^ b;
    return limbBarrier(0 - (((d | (0 - d)) >> 63) ^ 1));
}

template <int W>
struct OddWindows {
    static constexpr int kEntries = 1 << (W - 1);  // table entries (2j + 1) * base, j < kEntries

    static constexpr int windows(int bits) { return (bits + W - 1) / W; }

    // k += 1 when k is even (kLimbs limbs, no carry out: k < 2^bits - 1 then); returns all ones
    // when k was even, so that the caller subtracts the base once more.
    static Limb makeOdd(Limb* k, int kLimbs) {
        const Limb even = limbBarrier((k[0] & 1) ^ 1);
        Limb carry = even;
        for (int i = 0; i < kLimbs; ++i) k[i] = addCarry(k[i], 0, carry);
        return 0 - even;
    }

    // Window i < m - 1: the table index j and all ones when the digit is negative.
    static void digit(const Limb* k, int kLimbs, int i, unsigned& j, Limb& negative) {
        const Limb u = scalarBits(k, kLimbs, W * i + 1, W);
        const Limb sign = u >> (W - 1);  // 1: d = 2u + 1 - 2^W >= 1
        negative = limbBarrier(sign ^ 1);
        const Limb low = u & (kEntries - 1);
        j = static_cast<unsigned>(low ^ ((0 - negative) & (kEntries - 1)));
        negative = 0 - negative;
    }

    // The top window's index: its digit is always positive.
    static unsigned topDigit(const Limb* k, int kLimbs, int bits) {
        const int pos = W * (windows(bits) - 1) + 1;
        return static_cast<unsigned>(scalarBits(k, kLimbs, pos, W - 1));
    }
};

}  // namespace vn

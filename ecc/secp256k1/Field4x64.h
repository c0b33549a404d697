#pragma once
#include <cstdint>

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/FieldElement.h"
#include "ecc/secp256k1/Unsigned256.h"
#include "host/BigNumCount.h"

namespace vn {

// The field modulo p = 2^256 - 2^32 - 977 on four 64-bit limbs, for the scalar
// multiplications that dominate key generation, signing, verification and key agreement.
//
// _vnFieldElement keeps its 32-bit words and its exact [0, p) range for the routines and tests
// built on it; the hot paths convert once on the way in and once on the way out. Here a value
// is only kept below 2^256: since 2^256 = 2^32 + 977 (mod p), anything that carries out of the
// top limb folds back in as a small addition, and the single comparison with p is left to
// fe64Canonical at the end. Every routine runs the same instructions whatever the values.
//
// All routines are inline: the point formulas call them thousands of times per
// multiplication, and the limbs stay in registers between them.

__extension__ typedef unsigned __int128 _vnU128;

struct _vnFe64 {
    std::uint64_t v[4];
};

namespace fe64 {

// 2^256 mod p.
constexpr std::uint64_t kFold = 0x1000003D1ULL;

// All ones for flag 1, all zeros for flag 0, hidden from the optimiser (see ConstantTime.h).
inline std::uint64_t mask64(std::uint64_t flag) {
    std::uint64_t m = 0u - flag;
#if defined(__GNUC__) || defined(__clang__)
    __asm__ volatile("" : "+r"(m));
#endif
    return m;
}

// r = t + top * 2^256 reduced below 2^256, for top < 2^35. When the folded sum carries out of
// the top limb the value left behind is below 2^68, so the second fold adds kFold to a small
// number and can carry no further than limb 1.
inline void foldTop(_vnFe64& r, const std::uint64_t t[4], std::uint64_t top) {
    _vnU128 acc = static_cast<_vnU128>(top) * kFold + t[0];
    std::uint64_t r0 = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + t[1];
    std::uint64_t r1 = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + t[2];
    const std::uint64_t r2 = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + t[3];
    const std::uint64_t r3 = static_cast<std::uint64_t>(acc);
    const std::uint64_t carry = static_cast<std::uint64_t>(acc >> 64);
    acc = static_cast<_vnU128>(r0) + (kFold & mask64(carry));
    r0 = static_cast<std::uint64_t>(acc);
    r1 += static_cast<std::uint64_t>(acc >> 64);
    r.v[0] = r0;
    r.v[1] = r1;
    r.v[2] = r2;
    r.v[3] = r3;
}

// r = w mod p (below 2^256) for a 512-bit product w: the high half times 2^32 + 977 added to
// the low half, then the few bits above 2^256 folded once more.
inline void reduceWide(_vnFe64& r, const std::uint64_t w[8]) {
    std::uint64_t t[4];
    _vnU128 acc = static_cast<_vnU128>(w[4]) * kFold + w[0];
    t[0] = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + static_cast<_vnU128>(w[5]) * kFold + w[1];
    t[1] = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + static_cast<_vnU128>(w[6]) * kFold + w[2];
    t[2] = static_cast<std::uint64_t>(acc);
    acc = (acc >> 64) + static_cast<_vnU128>(w[7]) * kFold + w[3];
    t[3] = static_cast<std::uint64_t>(acc);
    foldTop(r, t, static_cast<std::uint64_t>(acc >> 64));
}

// r = a * b mod p; r may alias either operand.
inline void mul(_vnFe64& r, const _vnFe64& a, const _vnFe64& b) {
    ECCKEY_COUNT_FIELD_MUL();
    std::uint64_t w[8] = {};
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        std::uint64_t carry = 0;
#pragma GCC unroll 4
        for (unsigned j = 0; j < 4; ++j) {
            const _vnU128 t = static_cast<_vnU128>(a.v[i]) * b.v[j] + w[i + j] + carry;
            w[i + j] = static_cast<std::uint64_t>(t);
            carry = static_cast<std::uint64_t>(t >> 64);
        }
        w[i + 4] = carry;
    }
    reduceWide(r, w);
}

// r = a^2 mod p: the six cross products once, doubled, then the four squares.
inline void sqr(_vnFe64& r, const _vnFe64& a) {
    ECCKEY_COUNT_FIELD_MUL();
    std::uint64_t w[8] = {};
#pragma GCC unroll 3
    for (unsigned i = 0; i < 3; ++i) {
        std::uint64_t carry = 0;
#pragma GCC unroll 3
        for (unsigned j = i + 1; j < 4; ++j) {
            const _vnU128 t = static_cast<_vnU128>(a.v[i]) * a.v[j] + w[i + j] + carry;
            w[i + j] = static_cast<std::uint64_t>(t);
            carry = static_cast<std::uint64_t>(t >> 64);
        }
        w[i + 4] = carry;
    }
    w[7] = w[6] >> 63;
#pragma GCC unroll 6
    for (unsigned i = 6; i > 0; --i) w[i] = (w[i] << 1) | (w[i - 1] >> 63);
    w[0] <<= 1;
    _vnU128 acc = 0;
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        const _vnU128 s = static_cast<_vnU128>(a.v[i]) * a.v[i];
        acc += static_cast<_vnU128>(w[2 * i]) + static_cast<std::uint64_t>(s);
        w[2 * i] = static_cast<std::uint64_t>(acc);
        acc = (acc >> 64) + w[2 * i + 1] + static_cast<std::uint64_t>(s >> 64);
        w[2 * i + 1] = static_cast<std::uint64_t>(acc);
        acc >>= 64;
    }
    reduceWide(r, w);
}

// r = a * m mod p for a small constant m (below 2^30).
inline void mulSmall(_vnFe64& r, const _vnFe64& a, std::uint64_t m) {
    std::uint64_t t[4];
    _vnU128 acc = 0;
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        acc += static_cast<_vnU128>(a.v[i]) * m;
        t[i] = static_cast<std::uint64_t>(acc);
        acc >>= 64;
    }
    foldTop(r, t, static_cast<std::uint64_t>(acc));
}

// r = a + b mod p.
inline void add(_vnFe64& r, const _vnFe64& a, const _vnFe64& b) {
    std::uint64_t t[4];
    _vnU128 acc = 0;
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        acc += static_cast<_vnU128>(a.v[i]) + b.v[i];
        t[i] = static_cast<std::uint64_t>(acc);
        acc >>= 64;
    }
    foldTop(r, t, static_cast<std::uint64_t>(acc));
}

// r = a - b mod p. A borrow adds p back, which modulo 2^256 is subtracting 2^32 + 977; when b
// was above p the first correction can borrow again, and the second one cannot.
inline void sub(_vnFe64& r, const _vnFe64& a, const _vnFe64& b) {
    std::uint64_t t[4];
    std::uint64_t borrow = 0;
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        const _vnU128 d = static_cast<_vnU128>(a.v[i]) - b.v[i] - borrow;
        t[i] = static_cast<std::uint64_t>(d);
        borrow = static_cast<std::uint64_t>(d >> 127);
    }
#pragma GCC unroll 2
    for (unsigned round = 0; round < 2; ++round) {
        std::uint64_t c = kFold & mask64(borrow);
#pragma GCC unroll 4
        for (unsigned i = 0; i < 4; ++i) {
            const _vnU128 d = static_cast<_vnU128>(t[i]) - c;
            t[i] = static_cast<std::uint64_t>(d);
            c = static_cast<std::uint64_t>(d >> 127);
        }
        borrow = c;
    }
    r.v[0] = t[0];
    r.v[1] = t[1];
    r.v[2] = t[2];
    r.v[3] = t[3];
}

// r = -a mod p.
inline void negate(_vnFe64& r, const _vnFe64& a) {
    const _vnFe64 zero = {{0, 0, 0, 0}};
    sub(r, zero, a);
}

// r = a when flag is 1; unchanged when 0.
inline void select(_vnFe64& r, const _vnFe64& a, std::uint64_t flag) {
    const std::uint64_t m = mask64(flag);
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) r.v[i] = (a.v[i] & m) | (r.v[i] & ~m);
}

// The value brought into [0, p): adding 2^32 + 977 carries out of the top exactly when a >= p,
// and then leaves a - p behind.
inline void canonical(_vnFe64& a) {
    std::uint64_t t[4];
    _vnU128 acc = static_cast<_vnU128>(a.v[0]) + kFold;
    t[0] = static_cast<std::uint64_t>(acc);
#pragma GCC unroll 3
    for (unsigned i = 1; i < 4; ++i) {
        acc = (acc >> 64) + a.v[i];
        t[i] = static_cast<std::uint64_t>(acc);
    }
    const std::uint64_t m = mask64(static_cast<std::uint64_t>(acc >> 64));
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) a.v[i] = (t[i] & m) | (a.v[i] & ~m);
}

// 1 when a is 0 modulo p (0 or p itself), else 0.
inline std::uint64_t isZeroFlag(const _vnFe64& a) {
    _vnFe64 c = a;
    canonical(c);
    const std::uint64_t any = c.v[0] | c.v[1] | c.v[2] | c.v[3];
    return ((any | (0u - any)) >> 63) ^ 1u;
}

// 1 when a = b modulo p.
inline std::uint64_t equalFlag(const _vnFe64& a, const _vnFe64& b) {
    _vnFe64 d;
    sub(d, a, b);
    return isZeroFlag(d);
}

// r = a^(p-2) = 1/a (0 stays 0); a fixed chain of 255 squarings and 15 products.
void invert(_vnFe64& r, const _vnFe64& a);

inline _vnFe64 fromWords(const std::uint32_t w[8]) {
    _vnFe64 r;
    for (unsigned i = 0; i < 4; ++i) r.v[i] = std::uint64_t{w[2 * i]} | std::uint64_t{w[2 * i + 1]} << 32;
    return r;
}

inline _vnFe64 fromUnsigned(const _vnUnsigned256& u) { return fromWords(u.words); }

inline _vnFe64 fromField(const _vnFieldElement& f) { return fromUnsigned(_vnUnsigned256(f)); }

// The canonical value as the engine's 32-bit-word integer.
inline _vnUnsigned256 toUnsigned(const _vnFe64& a) {
    _vnFe64 c = a;
    canonical(c);
    _vnUnsigned256 u;
    for (unsigned i = 0; i < 4; ++i) {
        u.words[2 * i] = static_cast<std::uint32_t>(c.v[i]);
        u.words[2 * i + 1] = static_cast<std::uint32_t>(c.v[i] >> 32);
    }
    return u;
}

inline _vnFieldElement toField(const _vnFe64& a) { return _vnFieldElement(toUnsigned(a)); }

}  // namespace fe64
}  // namespace vn

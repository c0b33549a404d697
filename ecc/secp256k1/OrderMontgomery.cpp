#include "ecc/secp256k1/OrderMontgomery.h"

#include <cstdint>

#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/Field4x64.h"
#include "host/SecureWipe.h"

namespace vn {

using std::uint64_t;

namespace {

constexpr uint64_t kN[4] = {0xBFD25E8CD0364141ULL, 0xBAAEDCE6AF48A03BULL, 0xFFFFFFFFFFFFFFFEULL,
                            0xFFFFFFFFFFFFFFFFULL};
constexpr uint64_t kNPrime = 0x4B0DFF665588B13FULL;  // -n^-1 mod 2^64
// 2^512 mod n: a Montgomery product with it turns a plain value into its Montgomery form.
constexpr uint64_t kR2[4] = {0x896CF21467D7D140ULL, 0x741496C20E7CF878ULL, 0xE697F5E45BCD07C6ULL,
                             0x9D671CD581C69BC5ULL};
constexpr uint64_t kOne[4] = {1, 0, 0, 0};

// r = a b 2^-256 mod n, with a below n and b any 256-bit value: the sum stays below 2n
// before the last (masked) subtraction. Word by word: add a[i] b, then the multiple of n
// that clears the low word, and shift one word down.
void montMul(uint64_t r[4], const uint64_t a[4], const uint64_t b[4]) {
    uint64_t t[6] = {};
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
        uint64_t carry = 0;
#pragma GCC unroll 4
        for (unsigned j = 0; j < 4; ++j) {
            const _vnU128 c = static_cast<_vnU128>(a[i]) * b[j] + t[j] + carry;
            t[j] = static_cast<uint64_t>(c);
            carry = static_cast<uint64_t>(c >> 64);
        }
        _vnU128 s = static_cast<_vnU128>(t[4]) + carry;
        t[4] = static_cast<uint64_t>(s);
        t[5] = static_cast<uint64_t>(s >> 64);

        const uint64_t m = t[0] * kNPrime;
        _vnU128 c = static_cast<_vnU128>(m) * kN[0] + t[0];
        carry = static_cast<uint64_t>(c >> 64);
#pragma GCC unroll 3
        for (unsigned j = 1; j < 4; ++j) {
            c = static_cast<_vnU128>(m) * kN[j] + t[j] + carry;
            t[j - 1] = static_cast<uint64_t>(c);
            carry = static_cast<uint64_t>(c >> 64);
        }
        s = static_cast<_vnU128>(t[4]) + carry;
        t[3] = static_cast<uint64_t>(s);
        t[4] = t[5] + static_cast<uint64_t>(s >> 64);
    }
    uint64_t d[4];
    uint64_t borrow = 0;
#pragma GCC unroll 4
    for (unsigned j = 0; j < 4; ++j) {
        const _vnU128 c = static_cast<_vnU128>(t[j]) - kN[j] - borrow;
        d[j] = static_cast<uint64_t>(c);
        borrow = static_cast<uint64_t>(c >> 127);
    }
    // Keep t - n unless it went negative with nothing above the fourth word to pay for it.
    const uint64_t keep = fe64::mask64(t[4] | (borrow ^ 1u));
#pragma GCC unroll 4
    for (unsigned j = 0; j < 4; ++j) r[j] = (d[j] & keep) | (t[j] & ~keep);
}

void toLimbs(const _vnUnsigned256& u, uint64_t out[4]) {
    for (unsigned i = 0; i < 4; ++i) out[i] = uint64_t{u.words[2 * i]} | uint64_t{u.words[2 * i + 1]} << 32;
}

void fromLimbs(const uint64_t in[4], _vnUnsigned256& u) {
    for (unsigned i = 0; i < 4; ++i) {
        u.words[2 * i] = static_cast<std::uint32_t>(in[i]);
        u.words[2 * i + 1] = static_cast<std::uint32_t>(in[i] >> 32);
    }
}

}  // namespace

void multiplyModOrderMont(_vnUnsigned256& x, const _vnUnsigned256& y) {
    uint64_t a[4], b[4], t[4];
    toLimbs(x, a);
    toLimbs(y, b);
    montMul(t, a, b);   // x y 2^-256
    montMul(t, t, kR2);  // x y
    fromLimbs(t, x);
    secureWipe(a, sizeof a);
    secureWipe(b, sizeof b);
    secureWipe(t, sizeof t);
}

// Fixed 4-bit windows over the public exponent n - 2: the sequence of products depends on
// n only, and the table is indexed by the exponent's digits, never by x.
void reciprocalModOrderMont(_vnUnsigned256& x) {
    static const _vnUnsigned256 kExponent("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD036413F");
    uint64_t a[4];
    toLimbs(x, a);
    uint64_t power[16][4];  // power[i] = x^i in Montgomery form
    montMul(power[1], a, kR2);
    montMul(power[2], power[1], power[1]);
    for (unsigned i = 3; i < 16; ++i) montMul(power[i], power[i - 1], power[1]);

    uint64_t acc[4];
    for (unsigned j = 0; j < 4; ++j) acc[j] = power[15][j];  // the top digit of n - 2 is 15
    for (int i = 62; i >= 0; --i) {
        for (int s = 0; s < 4; ++s) montMul(acc, acc, acc);
        const unsigned pos = static_cast<unsigned>(i) * 4;
        const std::uint32_t digit = (kExponent.words[pos / 32] >> (pos % 32)) & 15u;
        if (digit != 0) montMul(acc, acc, power[digit]);
    }
    montMul(acc, acc, kOne);  // out of Montgomery form
    fromLimbs(acc, x);
    secureWipe(a, sizeof a);
    secureWipe(power, sizeof power);
    secureWipe(acc, sizeof acc);
}

namespace {

// Subtracts n when the value (with `carry` as a 257th bit) is not below n; masked.
void reduceOnceModOrder(_vnUnsigned256& v, std::uint32_t carry) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    v.subtract(n, carry | (1u - v.lessFlag(n)));
}

}  // namespace

void signatureS(const _vnUnsigned256& k, const _vnUnsigned256& d, const _vnUnsigned256& r,
                const _vnUnsigned256& e, _vnUnsigned256& s) {
    _vnUnsigned256 t = r;  // r d + e: together with r and e it gives d away
    multiplyModOrderMont(t, d);
    const std::uint32_t carry = t.add(e, 1);
    reduceOnceModOrder(t, carry);
    // e is used unreduced, so when both t and e sit near the top of their ranges a single
    // subtraction can leave t in [n, 2^256); the product below needs t below n.
    reduceOnceModOrder(t, 0);

    _vnUnsigned256 kInv = k;
    reciprocalModOrderMont(kInv);
    s = t;
    multiplyModOrderMont(s, kInv);
    secureWipe(&t, sizeof t);
    secureWipe(&kInv, sizeof kInv);
}

}  // namespace vn

#include "ecc/secp256k1/Unsigned256.h"

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/FieldElement.h"

namespace vn {

using std::uint32_t;
using std::uint64_t;

_vnUnsigned256::_vnUnsigned256(const unsigned char* bytes) : words{} {
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned char* b = bytes + 28 - 4 * i;
        words[i] = (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) |
                   uint32_t{b[3]};
    }
}

_vnUnsigned256::_vnUnsigned256(const _vnFieldElement& fe) : _vnUnsigned256(fe.m_value) {}

uint32_t _vnUnsigned256::add(const _vnUnsigned256& other, uint32_t flag) {
    const uint32_t m = ct::mask(flag);
    uint64_t acc = 0;
    for (unsigned i = 0; i < 8; ++i) {
        acc += uint64_t{words[i]} + (other.words[i] & m);
        words[i] = static_cast<uint32_t>(acc);
        acc >>= 32;
    }
    return static_cast<uint32_t>(acc);
}

uint32_t _vnUnsigned256::subtract(const _vnUnsigned256& other, uint32_t flag) {
    const uint32_t m = ct::mask(flag);
    uint32_t borrow = 0;
    for (unsigned i = 0; i < 8; ++i) {
        const uint64_t d = uint64_t{words[i]} - (other.words[i] & m) - borrow;
        words[i] = static_cast<uint32_t>(d);
        borrow = static_cast<uint32_t>(d >> 63);
    }
    return borrow;
}

uint32_t _vnUnsigned256::shiftLeft1() {
    const uint32_t out = words[7] >> 31;
    for (unsigned i = 7; i > 0; --i) {
        words[i] = (words[i] << 1) | (words[i - 1] >> 31);
    }
    words[0] <<= 1;
    return out;
}

void _vnUnsigned256::shiftRight1(uint32_t flag) {
    const uint32_t m = ct::mask(flag);
    for (unsigned i = 0; i < 8; ++i) {
        const uint32_t next = (i < 7) ? words[i + 1] : 0u;
        const uint32_t shifted = (words[i] >> 1) | (next << 31);
        words[i] = (shifted & m) | (words[i] & ~m);
    }
}

void _vnUnsigned256::replace(const _vnUnsigned256& other, uint32_t flag) {
    const uint32_t m = ct::mask(flag);
    for (unsigned i = 0; i < 8; ++i) {
        words[i] = (other.words[i] & m) | (words[i] & ~m);
    }
}

void _vnUnsigned256::swap(_vnUnsigned256& other, uint32_t flag) {
    const uint32_t m = ct::mask(flag);
    for (unsigned i = 0; i < 8; ++i) {
        const uint32_t t = (words[i] ^ other.words[i]) & m;
        words[i] ^= t;
        other.words[i] ^= t;
    }
}

void _vnUnsigned256::getBigEndian(unsigned char* out) const {
    for (unsigned i = 0; i < 8; ++i) {
        unsigned char* b = out + 28 - 4 * i;
        b[0] = static_cast<unsigned char>(words[i] >> 24);
        b[1] = static_cast<unsigned char>(words[i] >> 16);
        b[2] = static_cast<unsigned char>(words[i] >> 8);
        b[3] = static_cast<unsigned char>(words[i]);
    }
}

uint32_t _vnUnsigned256::equalFlag(const _vnUnsigned256& other) const {
    uint32_t diff = 0;
    for (unsigned i = 0; i < 8; ++i) {
        diff |= words[i] ^ other.words[i];
    }
    return ct::isZero(diff);
}

// Scans upward so that the most significant differing word has the last say.
uint32_t _vnUnsigned256::lessFlag(const _vnUnsigned256& other) const {
    uint32_t lt = 0;
    for (unsigned i = 0; i < 8; ++i) {
        const uint32_t differ = 1u ^ ct::isEqual(words[i], other.words[i]);
        lt = ct::select(differ, ct::isLess(words[i], other.words[i]), lt);
    }
    return lt;
}

uint32_t _vnUnsigned256::isZeroFlag() const { return equalFlag(s_ZERO); }

// Binary extended Euclid with a fixed 512 rounds (twice the width, enough for y to reach
// zero from any start) and every step masked. Invariants: a*this = x and b*this = y modulo
// the modulus, x odd; when y reaches zero x = gcd = 1 and a is the inverse.
void _vnUnsigned256::reciprocal(const _vnUnsigned256& modulus) {
    _vnUnsigned256 x = modulus;
    _vnUnsigned256 y = *this;
    _vnUnsigned256 a = s_ZERO;
    _vnUnsigned256 b = s_ONE;
    // (modulus + 1) / 2: added to floor(b / 2) it halves an odd b modulo the modulus.
    _vnUnsigned256 half = modulus;
    const uint32_t carry = half.add(s_ONE, 1);
    half.shiftRight1(1);
    half.words[7] |= carry << 31;

    for (unsigned round = 0; round < 512; ++round) {
        const uint32_t yEven = 1u ^ (y.words[0] & 1u);
        const uint32_t bOdd = b.words[0] & 1u;
        y.shiftRight1(yEven);
        b.shiftRight1(yEven);
        b.add(half, yEven & bOdd);

        const uint32_t doIt = y.words[0] & 1u;
        const uint32_t doSwap = doIt & y.lessFlag(x);
        x.swap(y, doSwap);
        y.subtract(x, doIt);
        a.swap(b, doSwap);
        const uint32_t borrow = b.subtract(a, doIt);
        b.add(modulus, borrow);
    }
    replace(a, 1u ^ isZeroFlag());
}

}  // namespace vn

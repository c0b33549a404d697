#pragma once
#include <cstdint>

#include "ecc/secp256k1/ConstantTime.h"

namespace vn {

class _vnFieldElement;

// A 256-bit unsigned integer of eight 32-bit words, word 0 least significant. Plain data:
// copying copies the words, nothing is ever allocated.
//
// Every operation that may see a secret runs the same word operations whatever the value;
// conditions come in as a 0/1 flag (exactly 0 or 1, anything else corrupts the result) and
// are applied through masks (see ConstantTime.h).
class _vnUnsigned256 {
public:
    constexpr _vnUnsigned256() : words{} {}

    // Exactly 64 hexadecimal digits, most significant first; no terminator is looked for
    // and nothing is validated: a non-digit sets every bit of its word from its nibble up.
    // constexpr so that the engine's constants are built by the compiler.
    constexpr explicit _vnUnsigned256(const char* text) : words{} {
        for (unsigned k = 0; k < 64; ++k) {
            words[k / 8] |= hexNibble(text[63 - k]) << (4 * (k % 8));
        }
    }

    // Exactly 32 bytes, big-endian.
    explicit _vnUnsigned256(const unsigned char* bytes);

    explicit _vnUnsigned256(const _vnFieldElement& fe);

    // The word loops are defined here so that the inverse and the order arithmetic, which
    // run them hundreds of times in a row, get them inlined.

    // this += other AND mask(flag), modulo 2^256; returns the carry out of the top.
    std::uint32_t add(const _vnUnsigned256& other, std::uint32_t flag) {
        const std::uint32_t m = ct::mask(flag);
        std::uint64_t acc = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            acc += std::uint64_t{words[i]} + (other.words[i] & m);
            words[i] = static_cast<std::uint32_t>(acc);
            acc >>= 32;
        }
        return static_cast<std::uint32_t>(acc);
    }
    // this -= other AND mask(flag), modulo 2^256; returns 1 when it wrapped.
    std::uint32_t subtract(const _vnUnsigned256& other, std::uint32_t flag) {
        const std::uint32_t m = ct::mask(flag);
        std::uint32_t borrow = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            const std::uint64_t d = std::uint64_t{words[i]} - (other.words[i] & m) - borrow;
            words[i] = static_cast<std::uint32_t>(d);
            borrow = static_cast<std::uint32_t>(d >> 63);
        }
        return borrow;
    }
    // this *= 2 modulo 2^256; returns the bit shifted out of the top.
    std::uint32_t shiftLeft1() {
        const std::uint32_t out = words[7] >> 31;
#pragma GCC unroll 8
        for (unsigned i = 7; i > 0; --i) words[i] = (words[i] << 1) | (words[i - 1] >> 31);
        words[0] <<= 1;
        return out;
    }
    // this /= 2 when flag is 1; the same work when 0.
    void shiftRight1(std::uint32_t flag) {
        const std::uint32_t m = ct::mask(flag);
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            const std::uint32_t next = (i < 7) ? words[i + 1] : 0u;
            const std::uint32_t shifted = (words[i] >> 1) | (next << 31);
            words[i] = (shifted & m) | (words[i] & ~m);
        }
    }
    // this = this^-1 mod modulus (modulus odd, > 1, this < modulus); 0 stays 0.
    void reciprocal(const _vnUnsigned256& modulus);
    // Becomes other when flag is 1.
    void replace(const _vnUnsigned256& other, std::uint32_t flag) {
        const std::uint32_t m = ct::mask(flag);
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) words[i] = (other.words[i] & m) | (words[i] & ~m);
    }
    // Exchanges the two values when flag is 1.
    void swap(_vnUnsigned256& other, std::uint32_t flag) {
        const std::uint32_t m = ct::mask(flag);
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            const std::uint32_t t = (words[i] ^ other.words[i]) & m;
            words[i] ^= t;
            other.words[i] ^= t;
        }
    }
    // 32 bytes, big-endian.
    void getBigEndian(unsigned char* out) const;

    // Branch-free comparisons as 0/1 words, for use as flags.
    std::uint32_t equalFlag(const _vnUnsigned256& other) const {
        std::uint32_t diff = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) diff |= words[i] ^ other.words[i];
        return ct::isZero(diff);
    }
    // The borrow of this - other, propagated upward from word 0: at a word where the two
    // differ the borrow becomes (this word < other word) whatever came in, and where they
    // are equal it passes through, so the most significant differing word has the last say.
    std::uint32_t lessFlag(const _vnUnsigned256& other) const {
        std::uint32_t borrow = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            const std::uint64_t d = std::uint64_t{words[i]} - other.words[i] - borrow;
            borrow = static_cast<std::uint32_t>(d >> 63);
        }
        return borrow;
    }
    std::uint32_t isZeroFlag() const {
        std::uint32_t any = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) any |= words[i];
        return ct::isZero(any);
    }

    bool operator==(const _vnUnsigned256& o) const { return equalFlag(o) != 0; }
    bool operator!=(const _vnUnsigned256& o) const { return equalFlag(o) == 0; }
    bool operator<(const _vnUnsigned256& o) const { return lessFlag(o) != 0; }
    bool operator>(const _vnUnsigned256& o) const { return o.lessFlag(*this) != 0; }
    bool operator<=(const _vnUnsigned256& o) const { return o.lessFlag(*this) == 0; }
    bool operator>=(const _vnUnsigned256& o) const { return lessFlag(o) == 0; }

    // Bit i (0 = least significant) as 0/1; i is a public position, never a secret.
    std::uint32_t bit(unsigned i) const { return (words[i / 32] >> (i % 32)) & 1u; }

    // The value; public because the field, point and order code work on words directly.
    std::uint32_t words[8];

private:
    static constexpr std::uint32_t hexNibble(char c) {
        return (c >= '0' && c <= '9')   ? static_cast<std::uint32_t>(c - '0')
               : (c >= 'a' && c <= 'f') ? static_cast<std::uint32_t>(c - 'a' + 10)
               : (c >= 'A' && c <= 'F') ? static_cast<std::uint32_t>(c - 'A' + 10)
                                        : 0xFFFFFFFFu;
    }
};

// 0 and 1, defined with the other engine constants (EngineConstants.cpp).
extern const _vnUnsigned256 s_ZERO;
extern const _vnUnsigned256 s_ONE;

}  // namespace vn

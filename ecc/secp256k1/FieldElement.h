#pragma once
#include <cstdint>

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

// An integer modulo the secp256k1 prime p = 2^256 - 2^32 - 977, always kept in [0, p).
// Every operation works in place, in constant time, without allocating. The plain integer
// operations of _vnUnsigned256 are hidden: only modular arithmetic is offered.
class _vnFieldElement {
public:
    constexpr _vnFieldElement() : m_value() {}

    // 64 hexadecimal digits as for _vnUnsigned256; not reduced (constants only).
    constexpr explicit _vnFieldElement(const char* text) : m_value(text) {}

    // Reduces once: every 256-bit value is below 2p.
    explicit _vnFieldElement(const _vnUnsigned256& v);

    // The additive operations are defined below, in the header, so that the point formulas
    // can keep their words in registers between them.
    void add(const _vnFieldElement& other);
    void subtract(const _vnFieldElement& other);
    void multiply2();
    void multiply(const _vnFieldElement& other) { multiply(*this, other); }  // other may be *this
    // The same result as multiply(*this), in fewer word products.
    void square() { square(*this); }
    // this = a * b and this = a^2, either operand possibly this object: the point formulas
    // use them instead of copying an operand first and multiplying the copy in place.
    void multiply(const _vnFieldElement& a, const _vnFieldElement& b);
    void square(const _vnFieldElement& a);
    // 512 fixed rounds of the binary inverse; 0 stays 0.
    void reciprocal();
    void replace(const _vnFieldElement& other, std::uint32_t flag) {
        m_value.replace(other.m_value, flag);
    }

    // Branch-free comparisons as 0/1 words, for use as flags.
    std::uint32_t equalFlag(const _vnFieldElement& o) const { return m_value.equalFlag(o.m_value); }
    std::uint32_t isZeroFlag() const { return m_value.isZeroFlag(); }
    // Low bit of the value (its parity).
    std::uint32_t lowBit() const { return m_value.words[0] & 1u; }

    bool operator==(const _vnFieldElement& o) const { return m_value == o.m_value; }
    bool operator!=(const _vnFieldElement& o) const { return m_value != o.m_value; }
    bool operator<(const _vnFieldElement& o) const { return m_value < o.m_value; }
    bool operator<=(const _vnFieldElement& o) const { return m_value <= o.m_value; }
    bool operator>(const _vnFieldElement& o) const { return m_value > o.m_value; }
    bool operator>=(const _vnFieldElement& o) const { return m_value >= o.m_value; }
    bool operator<(const _vnUnsigned256& o) const { return m_value < o; }
    bool operator>=(const _vnUnsigned256& o) const { return m_value >= o; }

    // The field prime p.
    static const _vnUnsigned256 m_Modulus;

private:
    friend class _vnUnsigned256;

    // Subtracts p from w when the value, with carry bit cy above it, is at least p.
    static void reduceOnce(std::uint32_t* w, std::uint32_t cy);
    // out = P mod p for a 16-word product P.
    static void reduceProduct(const std::uint32_t* P, std::uint32_t* out);

    _vnUnsigned256 m_value;
};

// 2^256 - p = 2^32 + 977: adding it carries out of the top word exactly when w >= p, so the
// carry of w + 2^32 + 977 both compares (the same answer as the word scan against p) and
// forms w - p; the chosen words are then kept through the mask. Above word 1 the addend is
// zero and a carry only passes through words of all ones, so the carry into each upper word
// is the carry out of word 1 AND-ed with a run of all-ones tests that do not wait for it:
// a short dependency chain in place of eight serial word additions, on a path every
// addition, doubling and product of the point formulas ends with.
inline void _vnFieldElement::reduceOnce(std::uint32_t* w, std::uint32_t cy) {
    std::uint32_t t[8];
    std::uint64_t acc = std::uint64_t{w[0]} + 977u;
    t[0] = static_cast<std::uint32_t>(acc);
    acc = (acc >> 32) + w[1] + 1u;
    t[1] = static_cast<std::uint32_t>(acc);
    const std::uint32_t c1 = static_cast<std::uint32_t>(acc >> 32);
    std::uint32_t run = 1;  // words 2 .. i-1 all ones
#pragma GCC unroll 8
    for (unsigned i = 2; i < 8; ++i) {
        t[i] = w[i] + (c1 & run);
        run &= static_cast<std::uint32_t>((std::uint64_t{w[i]} + 1u) >> 32);
    }
    const std::uint32_t m = ct::mask(cy | (c1 & run));
#pragma GCC unroll 8
    for (unsigned i = 0; i < 8; ++i) w[i] = (t[i] & m) | (w[i] & ~m);
}

inline void _vnFieldElement::add(const _vnFieldElement& other) {
    std::uint32_t* w = m_value.words;
    std::uint64_t acc = 0;
#pragma GCC unroll 8
    for (unsigned i = 0; i < 8; ++i) {
        acc += std::uint64_t{w[i]} + other.m_value.words[i];
        w[i] = static_cast<std::uint32_t>(acc);
        acc >>= 32;
    }
    reduceOnce(w, static_cast<std::uint32_t>(acc));
}

inline void _vnFieldElement::multiply2() {
    std::uint32_t* w = m_value.words;
    const std::uint32_t cy = w[7] >> 31;
#pragma GCC unroll 8
    for (unsigned i = 7; i > 0; --i) w[i] = (w[i] << 1) | (w[i - 1] >> 31);
    w[0] <<= 1;
    reduceOnce(w, cy);
}

// On a borrow p is added back; modulo 2^256 that is subtracting 2^32 + 977.
inline void _vnFieldElement::subtract(const _vnFieldElement& other) {
    std::uint32_t* w = m_value.words;
    std::uint32_t borrow = 0;
#pragma GCC unroll 8
    for (unsigned i = 0; i < 8; ++i) {
        const std::uint64_t d = std::uint64_t{w[i]} - other.m_value.words[i] - borrow;
        w[i] = static_cast<std::uint32_t>(d);
        borrow = static_cast<std::uint32_t>(d >> 63);
    }
    const std::uint32_t m = ct::mask(borrow);
    std::uint64_t d = std::uint64_t{w[0]} - (977u & m);
    w[0] = static_cast<std::uint32_t>(d);
    d = std::uint64_t{w[1]} - (1u & m) - (d >> 63);
    w[1] = static_cast<std::uint32_t>(d);
#pragma GCC unroll 8
    for (unsigned i = 2; i < 8; ++i) {
        d = std::uint64_t{w[i]} - (d >> 63);
        w[i] = static_cast<std::uint32_t>(d);
    }
}

}  // namespace vn

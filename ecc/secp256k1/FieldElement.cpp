#include "ecc/secp256k1/FieldElement.h"

#include "ecc/secp256k1/ConstantTime.h"
#include "host/BigNumCount.h"

namespace vn {

using std::int64_t;
using std::uint32_t;
using std::uint64_t;

namespace {

// p = 2^256 - 2^32 - 977: the reduction works with shifts and this small constant.
constexpr uint64_t kC = 977;

}  // namespace

_vnFieldElement::_vnFieldElement(const _vnUnsigned256& v) : m_value(v) {
    m_value.subtract(m_Modulus, 1u ^ m_value.lessFlag(m_Modulus));
}

void _vnFieldElement::reduceOnce(uint32_t cy) {
    const uint32_t lt = m_value.lessFlag(m_Modulus);
    m_value.subtract(m_Modulus, cy | (1u ^ lt));
}

void _vnFieldElement::add(const _vnFieldElement& other) {
    const uint32_t cy = m_value.add(other.m_value, 1);
    reduceOnce(cy);
}

void _vnFieldElement::multiply2() {
    const uint32_t cy = m_value.shiftLeft1();
    reduceOnce(cy);
}

void _vnFieldElement::subtract(const _vnFieldElement& other) {
    const uint32_t borrow = m_value.subtract(other.m_value, 1);
    m_value.add(m_Modulus, borrow);
}

void _vnFieldElement::reciprocal() { m_value.reciprocal(m_Modulus); }

// Schoolbook product, then Barrett reduction with mu = floor(2^512 / p) = 2^256 + 2^32 + 977.
// Both multiplications by mu and by p collapse into shifted additions of the operand and
// 977 times the operand, so no general multiplication is needed after the product. The
// quotient estimate is at most one short, leaving a remainder below 2p that one masked
// subtraction finishes.
void _vnFieldElement::multiply(const _vnFieldElement& other) {
    ECCKEY_COUNT_FIELD_MUL();
    const uint32_t* a = m_value.words;
    const uint32_t* b = other.m_value.words;

    // P = a * b, 16 words, formed column by column: each 64-bit partial product is split
    // into its two halves, summed in two independent 64-bit accumulators (eight halves
    // cannot overflow them), and only the column carry joins one column to the next. The
    // products do not wait on each other, unlike a row's carry chain through memory.
    // Written to a separate array, so other may alias this.
    uint32_t P[16];
    uint64_t carry = 0;
#pragma GCC unroll 16
    for (unsigned k = 0; k < 15; ++k) {
        uint64_t lo = carry, hi = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            if (i > k || k - i > 7) continue;
            const uint64_t t = uint64_t{a[i]} * b[k - i];
            lo += static_cast<uint32_t>(t);
            hi += t >> 32;
        }
        P[k] = static_cast<uint32_t>(lo);
        carry = hi + (lo >> 32);
    }
    P[15] = static_cast<uint32_t>(carry);

    // T = P * mu, 24 words; q = T >> 512.
    uint32_t T[24];
    uint64_t acc = 0;
#pragma GCC unroll 24
    for (unsigned k = 0; k < 24; ++k) {
        if (k < 16) acc += P[k] * kC;
        if (k >= 1 && k <= 16) acc += P[k - 1];
        if (k >= 8) acc += P[k - 8];
        T[k] = static_cast<uint32_t>(acc);
        acc >>= 32;
    }
    const uint32_t* q = T + 16;

    // Q = q * p = q*2^256 - q*2^32 - q*977, only as far as the nine words the remainder
    // uses (carries only travel upward, so the higher words cannot change them).
    uint32_t Q[9];
    int64_t sacc = 0;
#pragma GCC unroll 9
    for (unsigned k = 0; k < 9; ++k) {
        if (k < 8) sacc -= static_cast<int64_t>(q[k] * kC);
        if (k >= 1) sacc -= static_cast<int64_t>(q[k - 1]);
        if (k >= 8) sacc += static_cast<int64_t>(q[k - 8]);
        Q[k] = static_cast<uint32_t>(static_cast<uint64_t>(sacc));
        // Arithmetic shift (floor division by 2^32) keeps the signed carry exact.
        sacc >>= 32;
    }

    // D = P - Q over 288 bits; the true remainder is below 2p, so it fits.
    uint32_t borrow = 0;
#pragma GCC unroll 8
    for (unsigned k = 0; k < 8; ++k) {
        const uint64_t d = uint64_t{P[k]} - Q[k] - borrow;
        m_value.words[k] = static_cast<uint32_t>(d);
        borrow = static_cast<uint32_t>(d >> 63);
    }
    const uint32_t top = P[8] - Q[8] - borrow;
    reduceOnce(1u ^ ct::isZero(top));
}

}  // namespace vn

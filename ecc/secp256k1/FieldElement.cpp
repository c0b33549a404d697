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

// Joins column sums into 16 words: column k holds lo[k] + hi[k] * 2^64 at word position k,
// so word k gathers the low half of lo[k], the high half of lo[k - 1] and hi[k - 2], and
// only the small carry between words is left for the serial chain.
inline void carryColumns(const uint64_t lo[15], const uint32_t hi[15], uint32_t P[16]) {
    uint64_t acc = 0;
#pragma GCC unroll 16
    for (unsigned k = 0; k < 16; ++k) {
        uint64_t s = 0;
        if (k < 15) s += static_cast<uint32_t>(lo[k]);
        if (k >= 1) s += lo[k - 1] >> 32;
        if (k >= 2) s += hi[k - 2];
        acc = (acc >> 32) + s;
        P[k] = static_cast<uint32_t>(acc);
    }
}

}  // namespace

// The 512-bit product P (16 words) reduced modulo p into out.
//
// Barrett with mu = floor(2^512 / p) = 2^256 + 2^32 + 977: both multiplications, by mu and
// by p, collapse into shifted additions of the operand and 977 times the operand, so no
// general multiplication is needed after the product. The quotient estimate is at most one
// short, leaving a remainder below 2p that one masked subtraction finishes.
inline void _vnFieldElement::reduceProduct(const uint32_t* P, uint32_t* out) {
    // q = (P * mu) >> 512. Only the carries of the low 16 words of P * mu are needed.
    uint32_t q[8];
    uint64_t acc = P[0] * kC;
#pragma GCC unroll 24
    for (unsigned k = 1; k < 24; ++k) {
        uint64_t s = 0;
        if (k < 16) s += P[k] * kC;
        if (k <= 16) s += P[k - 1];
        if (k >= 8) s += P[k - 8];
        acc = (acc >> 32) + s;
        if (k >= 16) q[k - 16] = static_cast<uint32_t>(acc);
    }

    // D = P - q*p = P + q*977 + q*2^32 - q*2^256 over the nine words the remainder uses
    // (carries only travel upward, so the higher words cannot change them). The true
    // remainder is below 2p, so nine words hold it and the ninth is 0 or 1.
    int64_t sacc = static_cast<int64_t>(uint64_t{P[0]} + q[0] * kC);
    out[0] = static_cast<uint32_t>(static_cast<uint64_t>(sacc));
#pragma GCC unroll 8
    for (unsigned k = 1; k < 8; ++k) {
        // Arithmetic shift (floor division by 2^32) keeps the signed carry exact.
        sacc = (sacc >> 32) + static_cast<int64_t>(uint64_t{P[k]} + q[k] * kC + q[k - 1]);
        out[k] = static_cast<uint32_t>(static_cast<uint64_t>(sacc));
    }
    sacc = (sacc >> 32) + static_cast<int64_t>(uint64_t{P[8]} + q[7]) - static_cast<int64_t>(q[0]);
    const uint32_t top = static_cast<uint32_t>(static_cast<uint64_t>(sacc));
    reduceOnce(out, 1u ^ ct::isZero(top));
}

_vnFieldElement::_vnFieldElement(const _vnUnsigned256& v) : m_value(v) {
    reduceOnce(m_value.words, 0);
}

void _vnFieldElement::reciprocal() { m_value.reciprocal(m_Modulus); }

// P = a * b, 16 words, formed column by column. A column's 64-bit products are summed in
// one 64-bit accumulator whose carries are counted in a word beside it (eight products
// cannot overflow the pair, and the compiler turns the count into add-with-carry). The
// columns do not depend on each other; only the join in carryColumns is serial. Written
// to a separate array, so either operand may alias this.
void _vnFieldElement::multiply(const _vnFieldElement& x, const _vnFieldElement& y) {
    ECCKEY_COUNT_FIELD_MUL();
    const uint32_t* a = x.m_value.words;
    const uint32_t* b = y.m_value.words;

    uint64_t lo[15];
    uint32_t hi[15];
#pragma GCC unroll 16
    for (unsigned k = 0; k < 15; ++k) {
        uint64_t s = 0;
        uint32_t h = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            if (i > k || k - i > 7) continue;
            const uint64_t t = uint64_t{a[i]} * b[k - i];
            s += t;
            h += static_cast<uint32_t>(s < t);
        }
        lo[k] = s;
        hi[k] = h;
    }
    uint32_t P[16];
    carryColumns(lo, hi, P);
    reduceProduct(P, m_value.words);
}

// The same product with each cross term a[i]*a[j] (i < j) formed once and doubled: 36
// word products instead of 64. Counted as a field multiplication like any other.
void _vnFieldElement::square(const _vnFieldElement& x) {
    ECCKEY_COUNT_FIELD_MUL();
    const uint32_t* a = x.m_value.words;

    uint64_t lo[15];
    uint32_t hi[15];
#pragma GCC unroll 16
    for (unsigned k = 0; k < 15; ++k) {
        uint64_t s = 0;
        uint32_t h = 0;
#pragma GCC unroll 8
        for (unsigned i = 0; i < 8; ++i) {
            if (i > k || k - i > 7 || 2 * i >= k) continue;
            const uint64_t t = uint64_t{a[i]} * a[k - i];
            s += t;
            h += static_cast<uint32_t>(s < t);
        }
        h = (h << 1) | static_cast<uint32_t>(s >> 63);
        s <<= 1;
        if (k % 2 == 0) {
            const uint64_t d = uint64_t{a[k / 2]} * a[k / 2];
            s += d;
            h += static_cast<uint32_t>(s < d);
        }
        lo[k] = s;
        hi[k] = h;
    }
    uint32_t P[16];
    carryColumns(lo, hi, P);
    reduceProduct(P, m_value.words);
}

}  // namespace vn

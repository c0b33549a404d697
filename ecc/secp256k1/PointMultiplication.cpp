#include "ecc/secp256k1/PointMultiplication.h"

#include <cstdint>

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

constexpr unsigned kWindows = 64;
constexpr unsigned kOddMultiples = 8;  // P, 3P, ..., 15P

// table[j] = (2j + 1) * P.
void oddMultiples(const _vnPt64& P, _vnPt64 table[kOddMultiples]) {
    _vnPt64 twoP;
    pt64::twice(twoP, P);
    table[0] = P;
    for (unsigned j = 1; j < kOddMultiples; ++j) pt64::add(table[j], table[j - 1], twoP);
}

}  // namespace

// For odd k, k_{i+1} = (k_i - d_i) / 16 with d_i = (k_i mod 32) - 16 keeps every k_i odd and
// every d_i odd in [-15, 15]; in bits that is k_i = (k >> 4i) | 1, so each digit reads five
// bits of k straight away. After 63 digits the rest is below 16, odd, and is the top digit.
void multiplyPointOddWindows(const _vnPt64& P, const _vnUnsigned256& k, _vnPt64& out) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    _vnUnsigned256 odd = k;
    odd.subtract(n, 1u ^ odd.lessFlag(n));
    const std::uint32_t even = 1u ^ (odd.words[0] & 1u);
    _vnUnsigned256 negative = n;
    negative.subtract(odd, 1);
    odd.replace(negative, even);

    std::int32_t digits[kWindows];
    for (unsigned i = 0; i < kWindows; ++i) {
        const unsigned pos = 4 * i;
        std::uint32_t bits = odd.words[pos / 32] >> (pos % 32);
        if (pos % 32 > 27 && pos / 32 < 7) bits |= odd.words[pos / 32 + 1] << (32 - pos % 32);
        bits = (bits & 31u) | 1u;
        digits[i] = (i + 1 < kWindows) ? static_cast<std::int32_t>(bits) - 16
                                       : static_cast<std::int32_t>(bits & 15u);
    }

    _vnPt64 table[kOddMultiples];
    oddMultiples(P, table);

    _vnPt64 acc = pt64::infinity();
    for (unsigned i = kWindows; i-- > 0;) {
        if (i + 1 < kWindows) {
            pt64::twice(acc, acc);
            pt64::twice(acc, acc);
            pt64::twice(acc, acc);
            pt64::twice(acc, acc);
        }
        const std::uint32_t d = static_cast<std::uint32_t>(digits[i]);
        const std::uint32_t sign = d >> 31;
        const std::uint32_t index = (((d ^ (0u - sign)) + sign) - 1u) >> 1;
        _vnPt64 chosen = table[0];
        for (unsigned j = 1; j < kOddMultiples; ++j) pt64::select(chosen, table[j], ct::isEqual(index, j));
        pt64::negateIf(chosen, sign);
        pt64::add(acc, acc, chosen);
    }
    pt64::negateIf(acc, even);
    out = acc;
    secureWipe(digits, sizeof digits);
    secureWipe(&odd, sizeof odd);
    secureWipe(&negative, sizeof negative);
}

namespace {

constexpr unsigned kNafWidth = 5;

// Width-5 NAF of k (k below 2^256 - 16): odd digits in [-15, 15] with at least four zeros
// after each non-zero one. Returns the number of digits.
unsigned naf_var(const _vnUnsigned256& k, std::int8_t naf[257]) {
    _vnUnsigned256 v = k;
    unsigned len = 0;
    while (v.isZeroFlag() == 0) {
        std::int32_t d = 0;
        if ((v.words[0] & 1u) != 0) {
            d = static_cast<std::int32_t>(v.words[0] & ((1u << kNafWidth) - 1u));
            if (d >= (1 << (kNafWidth - 1))) d -= 1 << kNafWidth;
            _vnUnsigned256 small;
            small.words[0] = static_cast<std::uint32_t>(d < 0 ? -d : d);
            if (d < 0) {
                v.add(small, 1);
            } else {
                v.subtract(small, 1);
            }
        }
        naf[len++] = static_cast<std::int8_t>(d);
        v.shiftRight1(1);
    }
    return len;
}

}  // namespace

void multiplyTwo_var(const _vnUnsigned256& u1, const _vnUnsigned256& u2, const _vnPt64& Q,
                     _vnPt64& out) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    _vnUnsigned256 k2 = u2;
    if (k2 >= n) k2.subtract(n, 1);
    std::int8_t naf[257];
    const unsigned len = naf_var(k2, naf);

    _vnPt64 table[kOddMultiples];
    oddMultiples(Q, table);

    _vnPt64 acc = pt64::infinity();
    for (unsigned i = len; i-- > 0;) {
        if (i + 1 < len) pt64::twice(acc, acc);
        const int d = naf[i];
        if (d > 0) {
            pt64::add(acc, acc, table[(d - 1) / 2]);
        } else if (d < 0) {
            _vnPt64 neg = table[(-d - 1) / 2];
            fe64::negate(neg.y, neg.y);
            pt64::add(acc, acc, neg);
        }
    }

    _vnPt64 g;
    multiplyGenerator_var(u1, g);
    pt64::add(out, acc, g);
}

}  // namespace vn

#include "ecc/secp256k1/PointMultiplication.h"

#include <cstdint>

#include "ecc/secp256k1/ConstantTime.h"
#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

constexpr unsigned kOddMultiples = 8;  // P, 3P, ..., 15P
// Odd 4-bit digits of a half below 2^132 (the halves stay below 2^130).
constexpr unsigned kHalfWindows = 33;

// table[j] = (2j + 1) * P.
void oddMultiples(const _vnPt64& P, _vnPt64 table[kOddMultiples]) {
    _vnPt64 twoP;
    pt64::twice(twoP, P);
    table[0] = P;
    for (unsigned j = 1; j < kOddMultiples; ++j) pt64::add(table[j], table[j - 1], twoP);
}

// The endomorphism (x, y) -> (beta x, y) of secp256k1 is multiplication by lambda, with
// lambda^3 = 1 mod n and beta^3 = 1 mod p. A scalar k splits as k = k1 + k2 lambda (mod n)
// with k1 and k2 of about 128 bits each, so a product needs half the doublings.
const _vnUnsigned256 kLambda("5363AD4CC05C30E0A5261C028812645A122E22EA20816678DF02967C1B23BD72");
const _vnFe64 kBeta = {{0xC1396C28719501EEULL, 0x9CF0497512F58995ULL, 0x6E64479EAC3434E9ULL,
                        0x7AE96A2B657C0710ULL}};
// The short lattice basis (a1, b1), (a2, b2 = a1) of the pairs (x, y) with x + y lambda = 0
// mod n, and g = round(2^384 b / n) for the rounding of k b / n: c1 = round(k b2 / n),
// c2 = round(-k b1 / n), k2 = -(c1 b1 + c2 b2), k1 = k - k2 lambda.
const _vnUnsigned256 kA1("000000000000000000000000000000003086D221A7D46BCDE86C90E49284EB15");
const _vnUnsigned256 kMinusB1("00000000000000000000000000000000E4437ED6010E88286F547FA90ABFE4C3");
const std::uint64_t kG1[4] = {0xE893209A45DBB031ULL, 0x3DAA8A1471E8CA7FULL, 0xE86C90E49284EB15ULL,
                              0x3086D221A7D46BCDULL};
const std::uint64_t kG2[4] = {0x1571B4AE8AC47F71ULL, 0x221208AC9DF506C6ULL, 0x6F547FA90ABFE4C4ULL,
                              0xE4437ED6010E8828ULL};

// round(k g / 2^384) for k below 2^256: a fixed 4 x 4 word product, no branch.
_vnUnsigned256 roundedQuotient(const _vnUnsigned256& k, const std::uint64_t g[4]) {
    std::uint64_t a[4], w[8] = {};
    for (unsigned i = 0; i < 4; ++i) a[i] = std::uint64_t{k.words[2 * i]} | std::uint64_t{k.words[2 * i + 1]} << 32;
    for (unsigned i = 0; i < 4; ++i) {
        std::uint64_t carry = 0;
        for (unsigned j = 0; j < 4; ++j) {
            const _vnU128 t = static_cast<_vnU128>(a[i]) * g[j] + w[i + j] + carry;
            w[i + j] = static_cast<std::uint64_t>(t);
            carry = static_cast<std::uint64_t>(t >> 64);
        }
        w[i + 4] = carry;
    }
    // Adding 2^383 rounds; both g are far enough below 2^256 that nothing carries out.
    _vnU128 acc = static_cast<_vnU128>(w[5]) + (std::uint64_t{1} << 63);
    acc = (acc >> 64) + w[6];
    const std::uint64_t lo = static_cast<std::uint64_t>(acc);
    const std::uint64_t hi = w[7] + static_cast<std::uint64_t>(acc >> 64);
    _vnUnsigned256 c;
    c.words[0] = static_cast<std::uint32_t>(lo);
    c.words[1] = static_cast<std::uint32_t>(lo >> 32);
    c.words[2] = static_cast<std::uint32_t>(hi);
    c.words[3] = static_cast<std::uint32_t>(hi >> 32);
    secureWipe(a, sizeof a);
    secureWipe(w, sizeof w);
    return c;
}

// a - b mod n for a, b below n; masked.
_vnUnsigned256 subtractModOrder(const _vnUnsigned256& a, const _vnUnsigned256& b) {
    _vnUnsigned256 d = a;
    d.add(_vnCurvePt::m_s_order, d.subtract(b, 1));
    return d;
}

// v (below n) as a magnitude below n/2 and a sign flag: values above n/2 stand for v - n.
std::uint32_t toSigned(_vnUnsigned256& v) {
    static const _vnUnsigned256 halfN("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0");
    const std::uint32_t negative = halfN.lessFlag(v);
    _vnUnsigned256 m = _vnCurvePt::m_s_order;
    m.subtract(v, 1);
    v.replace(m, negative);
    secureWipe(&m, sizeof m);
    return negative;
}

// k (below n) = (-1)^neg1 k1 + (-1)^neg2 k2 lambda (mod n), in constant time. The magnitudes
// are below 2^130 for every k below n (the basis vectors are below 2^129).
void split(const _vnUnsigned256& k, _vnUnsigned256& k1, std::uint32_t& neg1, _vnUnsigned256& k2,
           std::uint32_t& neg2) {
    _vnUnsigned256 c1 = roundedQuotient(k, kG1);
    _vnUnsigned256 c2 = roundedQuotient(k, kG2);
    multiplyModOrderMont(c1, kMinusB1);  // -c1 b1
    multiplyModOrderMont(c2, kA1);       // c2 b2
    k2 = subtractModOrder(c1, c2);
    _vnUnsigned256 k2Lambda = k2;
    multiplyModOrderMont(k2Lambda, kLambda);
    k1 = subtractModOrder(k, k2Lambda);
    neg1 = toSigned(k1);
    neg2 = toSigned(k2);
    secureWipe(&c1, sizeof c1);
    secureWipe(&c2, sizeof c2);
    secureWipe(&k2Lambda, sizeof k2Lambda);
}

// Odd digits of an odd m below 2^132, least significant first. For odd m,
// m_{i+1} = (m_i - d_i) / 16 with d_i = (m_i mod 32) - 16 keeps every m_i odd and every d_i
// odd in [-15, 15]; in bits m_i = (m >> 4i) | 1, so each digit reads five bits of m straight
// away. After 32 digits the rest is below 16, odd, and is the top digit.
void oddDigits(const _vnUnsigned256& m, std::int32_t digits[kHalfWindows]) {
    for (unsigned i = 0; i < kHalfWindows; ++i) {
        const unsigned pos = 4 * i;
        std::uint32_t bits = m.words[pos / 32] >> (pos % 32);
        if (pos % 32 > 27) bits |= m.words[pos / 32 + 1] << (32 - pos % 32);
        bits = (bits & 31u) | 1u;
        digits[i] = (i + 1 < kHalfWindows) ? static_cast<std::int32_t>(bits) - 16
                                           : static_cast<std::int32_t>(bits & 15u);
    }
}

// The entry for an odd digit d: all eight read, one kept through masks, negated for d < 0.
_vnPt64 scan(const _vnPt64 table[kOddMultiples], std::int32_t digit) {
    const std::uint32_t d = static_cast<std::uint32_t>(digit);
    const std::uint32_t sign = d >> 31;
    const std::uint32_t index = (((d ^ (0u - sign)) + sign) - 1u) >> 1;
    _vnPt64 chosen = table[0];
    for (unsigned j = 1; j < kOddMultiples; ++j) pt64::select(chosen, table[j], ct::isEqual(index, j));
    pt64::negateIf(chosen, sign);
    return chosen;
}

}  // namespace

// k mod n is split into two signed halves; each half is made odd by adding 1 when it is even
// (the extra P or lambda P is taken off at the end through a mask), written in 33 odd digits
// and added from the tables of P and lambda P, signs applied to the tables through masks.
void multiplyPointOddWindows(const _vnPt64& P, const _vnUnsigned256& k, _vnPt64& out) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    _vnUnsigned256 reduced = k;
    reduced.subtract(n, 1u ^ reduced.lessFlag(n));
    _vnUnsigned256 half[2];
    std::uint32_t negative[2];
    split(reduced, half[0], negative[0], half[1], negative[1]);

    _vnPt64 table[2][kOddMultiples];
    oddMultiples(P, table[0]);
    std::uint32_t even[2];
    std::int32_t digits[2][kHalfWindows];
    for (unsigned j = 0; j < kOddMultiples; ++j) {
        table[1][j] = table[0][j];
        fe64::mul(table[1][j].x, table[1][j].x, kBeta);
    }
    for (unsigned h = 0; h < 2; ++h) {
        for (unsigned j = 0; j < kOddMultiples; ++j) pt64::negateIf(table[h][j], negative[h]);
        even[h] = 1u ^ (half[h].words[0] & 1u);
        half[h].add(s_ONE, even[h]);
        oddDigits(half[h], digits[h]);
    }

    _vnPt64 acc = scan(table[0], digits[0][kHalfWindows - 1]);
    _vnPt64 chosen = scan(table[1], digits[1][kHalfWindows - 1]);
    pt64::add(acc, acc, chosen);
    for (unsigned i = kHalfWindows - 1; i-- > 0;) {
        pt64::twice(acc, acc);
        pt64::twice(acc, acc);
        pt64::twice(acc, acc);
        pt64::twice(acc, acc);
        chosen = scan(table[0], digits[0][i]);
        pt64::add(acc, acc, chosen);
        chosen = scan(table[1], digits[1][i]);
        pt64::add(acc, acc, chosen);
    }
    for (unsigned h = 0; h < 2; ++h) {
        _vnPt64 corrected;
        chosen = table[h][0];
        pt64::negateIf(chosen, 1);
        pt64::add(corrected, acc, chosen);
        pt64::select(acc, corrected, even[h]);
    }
    out = acc;
    secureWipe(digits, sizeof digits);
    secureWipe(half, sizeof half);
    secureWipe(&reduced, sizeof reduced);
    secureWipe(table, sizeof table);
    secureWipe(&chosen, sizeof chosen);
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

namespace {

// The split for public scalars, checked against the bound (never expected to fail; the
// caller then goes without the split).
bool split_var(const _vnUnsigned256& k, _vnUnsigned256& k1, bool& neg1, _vnUnsigned256& k2, bool& neg2) {
    std::uint32_t n1 = 0, n2 = 0;
    split(k, k1, n1, k2, n2);
    neg1 = n1 != 0;
    neg2 = n2 != 0;
    return (k1.words[4] >> 2) == 0 && k1.words[5] == 0 && k1.words[6] == 0 && k1.words[7] == 0 &&
           (k2.words[4] >> 2) == 0 && k2.words[5] == 0 && k2.words[6] == 0 && k2.words[7] == 0;
}

// acc += d * table (d odd in [-15, 15], or 0 for nothing).
void addDigit_var(_vnPt64& acc, int d, const _vnPt64 table[kOddMultiples]) {
    if (d > 0) {
        pt64::add(acc, acc, table[(d - 1) / 2]);
    } else if (d < 0) {
        _vnPt64 neg = table[(-d - 1) / 2];
        fe64::negate(neg.y, neg.y);
        pt64::add(acc, acc, neg);
    }
}

}  // namespace

void multiplyTwo_var(const _vnUnsigned256& u1, const _vnUnsigned256& u2, const _vnPt64& Q,
                     _vnPt64& out) {
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    _vnUnsigned256 k = u2;
    if (k >= n) k.subtract(n, 1);

    _vnPt64 tableQ[kOddMultiples];
    oddMultiples(Q, tableQ);
    _vnPt64 acc = pt64::infinity();

    _vnUnsigned256 k1, k2;
    bool neg1 = false, neg2 = false;
    if (split_var(k, k1, neg1, k2, neg2)) {
        _vnPt64 tableLambdaQ[kOddMultiples];
        for (unsigned j = 0; j < kOddMultiples; ++j) {
            tableLambdaQ[j] = tableQ[j];
            fe64::mul(tableLambdaQ[j].x, tableLambdaQ[j].x, kBeta);
            if (neg2) fe64::negate(tableLambdaQ[j].y, tableLambdaQ[j].y);
            if (neg1) fe64::negate(tableQ[j].y, tableQ[j].y);
        }
        std::int8_t naf1[257], naf2[257];
        const unsigned len1 = naf_var(k1, naf1);
        const unsigned len2 = naf_var(k2, naf2);
        const unsigned len = len1 > len2 ? len1 : len2;
        for (unsigned i = len; i-- > 0;) {
            if (i + 1 < len) pt64::twice(acc, acc);
            if (i < len1) addDigit_var(acc, naf1[i], tableQ);
            if (i < len2) addDigit_var(acc, naf2[i], tableLambdaQ);
        }
    } else {
        std::int8_t naf[257];
        const unsigned len = naf_var(k, naf);
        for (unsigned i = len; i-- > 0;) {
            if (i + 1 < len) pt64::twice(acc, acc);
            addDigit_var(acc, naf[i], tableQ);
        }
    }

    _vnPt64 g;
    multiplyGenerator_var(u1, g);
    pt64::add(out, acc, g);
}

}  // namespace vn

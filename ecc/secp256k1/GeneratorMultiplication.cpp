#include "ecc/secp256k1/GeneratorMultiplication.h"

#include <cstdint>
#include <memory>

#include "ecc/secp256k1/ConstantTime.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

constexpr unsigned kRows = 64;     // 4-bit digits of a scalar below 2^255 ...
constexpr unsigned kEntries = 8;   // ... each in [-7, 8]: the multiples 1..8 are stored

struct GeneratorTable {
    _vnAffine64 entry[kRows][kEntries];  // entry[i][j] = (j + 1) * 16^i * G

    // Projective multiples first, then one shared inversion for all 512 of them: the running
    // products of the z are kept, and the single inverse of the last one is walked back down.
    // The scratch lives on the heap only for this one-time build.
    GeneratorTable() {
        const unsigned count = kRows * kEntries;
        std::unique_ptr<_vnPt64[]> flat(new _vnPt64[count]);
        std::unique_ptr<_vnFe64[]> prefix(new _vnFe64[count]);
        _vnPt64 base = pt64::fromCurvePt(_vnCurvePt::m_s_G);
        for (unsigned i = 0; i < kRows; ++i) {
            _vnPt64* row = &flat[i * kEntries];
            row[0] = base;
            pt64::twice(row[1], base);
            for (unsigned j = 2; j < kEntries; ++j) pt64::add(row[j], row[j - 1], base);
            pt64::twice(base, row[7]);  // 16 * 16^i * G
        }
        prefix[0] = flat[0].z;
        for (unsigned i = 1; i < count; ++i) fe64::mul(prefix[i], prefix[i - 1], flat[i].z);
        _vnFe64 inv;
        fe64::invert(inv, prefix[count - 1]);
        for (unsigned i = count; i-- > 0;) {
            _vnFe64 zInv = inv;
            if (i > 0) {
                fe64::mul(zInv, inv, prefix[i - 1]);
                fe64::mul(inv, inv, flat[i].z);
            }
            _vnAffine64& e = entry[i / kEntries][i % kEntries];
            fe64::mul(e.x, flat[i].x, zInv);
            fe64::mul(e.y, flat[i].y, zInv);
            fe64::canonical(e.x);
            fe64::canonical(e.y);
        }
    }
};

const GeneratorTable& table() {
    static const GeneratorTable t;
    return t;
}

// k mod n, then of k and n - k the one below n/2, with a flag saying whether the negation
// was taken; masked throughout.
std::uint32_t foldScalar(const _vnUnsigned256& k, _vnUnsigned256& folded) {
    static const _vnUnsigned256 halfN("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0");
    const _vnUnsigned256& n = _vnCurvePt::m_s_order;
    folded = k;
    folded.subtract(n, 1u ^ folded.lessFlag(n));
    const std::uint32_t negated = halfN.lessFlag(folded);
    _vnUnsigned256 negative = n;
    negative.subtract(folded, 1);
    folded.replace(negative, negated);
    return negated;
}

// Signed 4-bit digits of k < 2^255, least significant first: a nibble plus the carry from
// below, moved into [-7, 8] by borrowing 16 from the next digit. The top nibble is at most 7,
// so the last carry is absorbed and 64 digits represent k exactly.
void recode(const _vnUnsigned256& k, std::int32_t digits[kRows]) {
    std::uint32_t carry = 0;
    for (unsigned i = 0; i < kRows; ++i) {
        const std::uint32_t d = ((k.words[i / 8] >> (4 * (i % 8))) & 15u) + carry;
        carry = (8u - d) >> 31;  // d > 8
        digits[i] = static_cast<std::int32_t>(d) - static_cast<std::int32_t>(carry << 4);
    }
}

// The digits of k folded into [0, n/2]; returns 1 when the product must be negated.
std::uint32_t signedDigits(const _vnUnsigned256& k, std::int32_t digits[kRows]) {
    _vnUnsigned256 folded;
    const std::uint32_t negated = foldScalar(k, folded);
    recode(folded, digits);
    secureWipe(&folded, sizeof folded);
    return negated;
}

}  // namespace

void multiplyGenerator(const _vnUnsigned256& k, _vnPt64& out) {
    const GeneratorTable& t = table();
    std::int32_t digits[kRows];
    const std::uint32_t negated = signedDigits(k, digits);
    _vnPt64 acc = pt64::infinity();
    for (unsigned i = 0; i < kRows; ++i) {
        const std::uint32_t d = static_cast<std::uint32_t>(digits[i]);
        const std::uint32_t negative = d >> 31;
        const std::uint32_t magnitude = (d ^ (0u - negative)) + negative;
        _vnAffine64 chosen = t.entry[i][0];
        for (unsigned j = 1; j < kEntries; ++j) {
            pt64::select(chosen, t.entry[i][j], ct::isEqual(magnitude, j + 1));
        }
        pt64::negateIf(chosen, negative);
        _vnPt64 sum;
        pt64::addAffine(sum, acc, chosen);
        pt64::select(acc, sum, 1u ^ ct::isZero(magnitude));
    }
    pt64::negateIf(acc, negated);
    out = acc;
    secureWipe(digits, sizeof digits);
}

void multiplyGenerator_var(const _vnUnsigned256& k, _vnPt64& out) {
    const GeneratorTable& t = table();
    std::int32_t digits[kRows];
    const std::uint32_t negated = signedDigits(k, digits);
    _vnPt64 acc = pt64::infinity();
    for (unsigned i = 0; i < kRows; ++i) {
        if (digits[i] == 0) continue;
        _vnAffine64 chosen = t.entry[i][(digits[i] < 0 ? -digits[i] : digits[i]) - 1];
        if (digits[i] < 0) fe64::negate(chosen.y, chosen.y);
        pt64::addAffine(acc, acc, chosen);
    }
    if (negated != 0) fe64::negate(acc.y, acc.y);
    out = acc;
}

}  // namespace vn

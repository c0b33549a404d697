// The four-limb field, the complete point formulas and the scalar multiplications built on
// them, against the word engine (itself checked against GMP and OpenSSL).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "K1TestSupport.h"
#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/Field4x64.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"

namespace {

using namespace k1test;
using vn::_vnAffine64;
using vn::_vnFe64;
using vn::_vnPt64;
namespace fe64 = vn::fe64;
namespace pt64 = vn::pt64;

_vnCurvePt normalized(_vnCurvePt p) {
    p.normalizePt();
    return p;
}

_vnCurvePt times(const _vnCurvePt& p, const _vnUnsigned256& k) {
    _vnCurvePt r = p;
    r.multiplyPt(k);
    return normalized(r);
}

// Every operation on unreduced inputs (anything below 2^256) against the word field.
TEST(K1Field4x64, AgreesWithTheWordField) {
    Gen gen(0xf1e1d64);
    for (int i = 0; i < 3000; ++i) {
        const _vnUnsigned256 ua = gen.u256(), ub = gen.u256();
        const _vnFe64 a = fe64::fromUnsigned(ua), b = fe64::fromUnsigned(ub);
        const _vnFieldElement fa(ua), fb(ub);
        _vnFe64 r;
        _vnFieldElement e;
        const auto check = [&](const char* what) {
            ASSERT_EQ(hexOf(fe64::toUnsigned(r)), hexOf(_vnUnsigned256(e))) << what << " " << hexOf(ua) << " " << hexOf(ub);
        };
        fe64::mul(r, a, b), e.multiply(fa, fb), check("mul");
        fe64::sqr(r, a), e.square(fa), check("sqr");
        fe64::add(r, a, b), e = fa, e.add(fb), check("add");
        fe64::sub(r, a, b), e = fa, e.subtract(fb), check("sub");
        fe64::negate(r, a), e = _vnFieldElement(), e.subtract(fa), check("negate");
        fe64::mulSmall(r, a, 21), e.multiply(fa, F("15")), check("mulSmall");
        EXPECT_EQ(fe64::equalFlag(a, b), fa.equalFlag(fb));
        if (i % 50 == 0) fe64::invert(r, a), e = fa, e.reciprocal(), check("invert");
    }
}

// The word-sized order arithmetic against the bit-serial routines, and s against the
// composition the signer used before.
TEST(K1OrderMontgomery, AgreesWithTheBitSerialRoutines) {
    Gen gen(0x0de5);
    const _vnUnsigned256 n = U(kN);
    for (int i = 0; i < 400; ++i) {
        const _vnUnsigned256 x = (i == 0) ? U(std::string(kN).substr(0, 63) + "0") : gen.below(n);
        const _vnUnsigned256 y = (i == 1) ? U(std::string(64, 'F')) : gen.u256();
        _vnUnsigned256 a = x, b = x;
        vn::multiplyModOrderMont(a, y), vn::multiplyModOrder(b, y);
        ASSERT_EQ(hexOf(a), hexOf(b)) << hexOf(x) << " * " << hexOf(y);
        if (i % 8 != 0) continue;
        a = x, b = x;
        vn::reciprocalModOrderMont(a), b.reciprocal(n);
        ASSERT_EQ(hexOf(a), hexOf(b)) << "1 / " << hexOf(x);

        const _vnUnsigned256 k = gen.below(n), r = gen.below(n), d = gen.u256();
        _vnUnsigned256 t = r, kInv = k, s;
        vn::multiplyModOrder(t, d);
        Mpz sum(t), yz(y), nz(n);
        mpz_add(sum, sum, yz), mpz_mod(sum, sum, nz);
        kInv.reciprocal(n);
        _vnUnsigned256 expected = toU256(sum);
        vn::multiplyModOrder(expected, kInv);
        vn::signatureS(k, d, r, y, s);
        ASSERT_EQ(hexOf(s), hexOf(expected));
    }
}

const std::vector<_vnUnsigned256>& edgeScalars() {
    static const std::vector<_vnUnsigned256> v = {
        U("0"), U("1"), U("2"), U("3"), U("8"), U("9"), U("10"), U("11"),
        U(kN), U(std::string(kN).substr(0, 63) + "0"),                        // n, n - 1
        U(std::string(kN).substr(0, 63) + "2"), U(std::string(kN).substr(0, 63) + "F"),  // n + 1, n + 14
        U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0"),  // (n - 1) / 2
        U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A1"),  // (n + 1) / 2
        U(std::string(64, 'F')), U("8" + std::string(63, '0')), U(std::string(63, 'F')),
        U("FFFFFFFF00000000000000000000000000000000000000000000000000000000"),
        U("0000000000000000000000000000000088888888888888888888888888888888"),
        U("7777777777777777777777777777777777777777777777777777777777777777"),
        U("8888888888888888888888888888888888888888888888888888888888888888"),
        U("F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0"),
    };
    return v;
}

// The new multiplications against multiplyPt for edge and random scalars: the generator
// table, the odd-window product on another point, and the two-scalar verification product.
TEST(K1FastMultiplication, AgreesWithMultiplyPt) {
    Gen gen(0x9e17ab1e);
    const _vnCurvePt G = _vnCurvePt::m_s_G;
    const _vnCurvePt Q = times(G, U("5EED0123456789ABCDEF"));
    const _vnPt64 q64 = pt64::fromCurvePt(Q);
    std::vector<_vnUnsigned256> scalars = edgeScalars();
    for (int i = 0; i < 40; ++i) scalars.push_back(gen.u256());
    for (const auto& k : scalars) {
        const _vnCurvePt kG = times(G, k), kQ = times(Q, k);
        _vnPt64 r;
        vn::multiplyGenerator(k, r);
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), kG) << "kG " << hexOf(k);
        vn::multiplyGenerator_var(k, r);
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), kG) << "kG var " << hexOf(k);
        vn::multiplyPointOddWindows(q64, k, r);
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), kQ) << "kQ " << hexOf(k);

        const _vnUnsigned256 k2 = gen.u256();
        _vnCurvePt sum = times(Q, k2);
        sum.addPt(kG);
        vn::multiplyTwo_var(k, k2, q64, r);
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), normalized(sum)) << "kG + k2 Q " << hexOf(k);
        vn::multiplyTwo_var(k, k, pt64::fromCurvePt(normalized(G)), r);  // both halves meet
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), times(kG, U("2"))) << "kG + kG " << hexOf(k);
    }
}

// The complete formulas on the cases an incomplete addition gets wrong: the point at
// infinity on either side, P + P and P + (-P), with P in a scaled projective form.
TEST(K1FastMultiplication, CompleteAdditionSpecialCases) {
    const _vnCurvePt P = times(_vnCurvePt::m_s_G, U("1234567"));
    const _vnCurvePt twoP = times(P, U("2"));
    _vnPt64 p = pt64::fromCurvePt(P);
    const _vnFe64 scale = fe64::fromUnsigned(U("77AB"));
    fe64::mul(p.x, p.x, scale), fe64::mul(p.y, p.y, scale), fe64::mul(p.z, p.z, scale);
    _vnPt64 minusP = p;
    fe64::negate(minusP.y, minusP.y);
    const _vnAffine64 a = {fe64::fromField(P.x), fe64::fromField(P.y)};
    _vnAffine64 minusA = a;
    fe64::negate(minusA.y, a.y);
    const _vnPt64 inf = pt64::infinity();
    const _vnCurvePt zero = _vnCurvePt::m_s_Zero;
    _vnPt64 r;
    const auto is = [&](const _vnCurvePt& expected, const char* what) {
        EXPECT_EQ(pt64::toNormalizedCurvePt(r), expected) << what;
    };
    pt64::add(r, inf, p), is(P, "inf + P");
    pt64::add(r, p, inf), is(P, "P + inf");
    pt64::add(r, inf, inf), is(zero, "inf + inf");
    pt64::add(r, p, p), is(twoP, "P + P");
    pt64::add(r, p, minusP), is(zero, "P - P");
    pt64::addAffine(r, inf, a), is(P, "inf + a");
    pt64::addAffine(r, p, a), is(twoP, "P + a");
    pt64::addAffine(r, p, minusA), is(zero, "P - a");
    pt64::twice(r, inf), is(zero, "2 inf");
    pt64::twice(r, p), is(twoP, "2P");
    EXPECT_TRUE(pt64::equal_var(p, pt64::fromCurvePt(P)));

    // The verifier's x mod n = r test on x = r, x = r + n (below p only for r < p - n) and the
    // point at infinity; x is placed in a scaled projective form, the curve does not matter.
    const _vnUnsigned256 pMinusN = U("14551231950B75FC4402DA1722FC9BAEE");
    const struct {
        _vnUnsigned256 x, r;
        bool expected;
    } rows[] = {{U("5"), U("5"), true},
                {U("5"), U("6"), false},
                {U(std::string(kN).substr(0, 63) + "6"), U("5"), true},  // n + 5
                {U(std::string(kN).substr(0, 63) + "6"), U("6"), false},
                {U("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E"), U("14551231950B75FC4402DA1722FC9BAED"), true},  // p - 1 = n + (p - n - 1)
                {pMinusN, pMinusN, true},
                {U("0"), pMinusN, false}};  // r + n = p, which is 0 in the field but not an x
    for (const auto& row : rows) {
        _vnPt64 q = {fe64::fromUnsigned(row.x), fe64::fromUnsigned(U("1")), scale};
        fe64::mul(q.x, q.x, scale);
        EXPECT_EQ(pt64::xModOrderEquals_var(q, row.r), row.expected) << hexOf(row.x) << " " << hexOf(row.r);
    }
    EXPECT_FALSE(pt64::xModOrderEquals_var(inf, U("1")));
    EXPECT_FALSE(pt64::equal_var(p, minusP));
}

}  // namespace

// Field elements modulo p: reduction edges, the Barrett multiply, and agreement with GMP.

#include <gtest/gtest.h>

#include "K1TestSupport.h"

namespace {

using namespace k1test;

_vnUnsigned256 asInt(const _vnFieldElement& f) { return _vnUnsigned256(f); }

TEST(FieldElement, ConstructorReducesOnce) {
    struct Case {
        const char* in;
        const char* out;
    };
    const Case cases[] = {
        {kP, "0"},
        {"FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E",
         "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E"},
        {"FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", "1000003D0"},
        {"FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC30", "1"},
    };
    for (const auto& c : cases) EXPECT_EQ(asInt(F(c.in)), U(c.out)) << c.in;
}

// Each row: a op b = expected, all in hex; "p-1" style values written out.
TEST(FieldElement, AddSubtractDoubleEdges) {
    const std::string pm1 = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E";
    const std::string pm2 = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2D";
    const std::string halfUp = "7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF7FFFFE18";

    _vnFieldElement v = F(pm1);
    v.add(F("1"));  // sum equal to p, no carry out of the top
    EXPECT_EQ(asInt(v), s_ZERO);
    v = F(pm1);
    v.add(F(pm1));  // carry out of the top word
    EXPECT_EQ(asInt(v), U(pm2));
    v = F("0");
    v.add(F("0"));
    EXPECT_EQ(asInt(v), s_ZERO);

    v = F("0");
    v.subtract(F("1"));
    EXPECT_EQ(asInt(v), U(pm1));
    v = F("5");
    v.subtract(F("5"));
    EXPECT_EQ(asInt(v), s_ZERO);

    v = F(halfUp);
    v.multiply2();
    EXPECT_EQ(asInt(v), s_ONE);
    v = F(pm1);
    v.multiply2();
    EXPECT_EQ(asInt(v), U(pm2));
}

TEST(FieldElement, MultiplyEdges) {
    const _vnFieldElement pm1 = F("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E");
    _vnFieldElement v = pm1;
    v.multiply(pm1);
    EXPECT_EQ(asInt(v), s_ONE);

    const _vnFieldElement g = _vnCurvePt::m_s_G.x;
    v = g;
    v.multiply(F("0"));
    EXPECT_EQ(asInt(v), s_ZERO);
    v = g;
    v.multiply(F("1"));
    EXPECT_EQ(v, g);

    _vnFieldElement sq = g;
    sq.square();
    _vnFieldElement viaCopy = g;
    const _vnFieldElement copy = g;
    viaCopy.multiply(copy);
    EXPECT_EQ(sq, viaCopy);
}

TEST(FieldElement, ReciprocalEdges) {
    const _vnFieldElement pm1 = F("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E");
    for (const auto& x : {F("0"), F("1"), pm1}) {
        _vnFieldElement inv = x;
        inv.reciprocal();
        EXPECT_EQ(inv, x);
    }
}

TEST(FieldElement, ReplaceAndOrderComparison) {
    const _vnFieldElement a = F("1234"), b = F("5678");
    _vnFieldElement v = a;
    v.replace(b, 0);
    EXPECT_EQ(v, a);
    v.replace(b, 1);
    EXPECT_EQ(v, b);
    EXPECT_TRUE(a < b);
    EXPECT_TRUE(b >= a);

    const _vnFieldElement pm1 = F("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E");
    EXPECT_TRUE(pm1 >= _vnCurvePt::m_s_order);
    EXPECT_FALSE(pm1 < _vnCurvePt::m_s_order);
    EXPECT_TRUE(F("5") < _vnCurvePt::m_s_order);
}

TEST(FieldElement, AgreesWithGmpOnRandomOperands) {
    Gen gen(0x2001);
    Mpz p(kP), zr;
    const _vnUnsigned256 pu = U(kP);
    for (int iter = 0; iter < 5000; ++iter) {
        const _vnUnsigned256 ra = gen.u256(), rb = gen.u256();
        const _vnFieldElement a(ra), b(rb);
        Mpz ma(ra), mb(rb);
        mpz_mod(ma, ma, p);
        mpz_mod(mb, mb, p);
        ASSERT_EQ(asInt(a), toU256(ma)) << hexOf(ra);

        _vnFieldElement v = a;
        v.add(b);
        mpz_add(zr, ma, mb);
        mpz_mod(zr, zr, p);
        ASSERT_EQ(asInt(v), toU256(zr)) << hexOf(ra) << " + " << hexOf(rb);

        v = a;
        v.subtract(b);
        mpz_sub(zr, ma, mb);
        mpz_mod(zr, zr, p);
        ASSERT_EQ(asInt(v), toU256(zr)) << hexOf(ra) << " - " << hexOf(rb);

        v = a;
        v.multiply2();
        mpz_mul_2exp(zr, ma, 1);
        mpz_mod(zr, zr, p);
        ASSERT_EQ(asInt(v), toU256(zr)) << "2 * " << hexOf(ra);

        v = a;
        v.multiply(b);
        mpz_mul(zr, ma, mb);
        mpz_mod(zr, zr, p);
        ASSERT_EQ(asInt(v), toU256(zr)) << hexOf(ra) << " * " << hexOf(rb);
        ASSERT_TRUE(asInt(v) < pu);

        v = a;
        v.square();
        mpz_mul(zr, ma, ma);
        mpz_mod(zr, zr, p);
        ASSERT_EQ(asInt(v), toU256(zr)) << hexOf(ra) << " ^ 2";
    }
}

TEST(FieldElement, ReciprocalOfRandomElements) {
    Gen gen(0x2002);
    for (int iter = 0; iter < 200; ++iter) {
        const _vnFieldElement x(gen.u256());
        if (asInt(x) == s_ZERO) continue;
        _vnFieldElement inv = x;
        inv.reciprocal();
        inv.multiply(x);
        ASSERT_EQ(asInt(inv), s_ONE) << hexOf(asInt(x));
    }
}

}  // namespace

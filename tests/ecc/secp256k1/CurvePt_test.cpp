// Points of secp256k1: the group law's special cases, normalization, and scalar
// multiplication against OpenSSL's secp256k1 group.

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <cstring>
#include <memory>

#include "K1TestSupport.h"

namespace {

using namespace k1test;

// ---- OpenSSL as the reference group ----

struct Affine {
    bool infinity = false;
    _vnUnsigned256 x, y;
};

struct BnDeleter {
    void operator()(BIGNUM* b) const { BN_free(b); }
};
using Bn = std::unique_ptr<BIGNUM, BnDeleter>;

Bn toBn(const _vnUnsigned256& u) {
    unsigned char b[32];
    u.getBigEndian(b);
    return Bn(BN_bin2bn(b, 32, nullptr));
}

_vnUnsigned256 fromBn(const BIGNUM* bn) {
    unsigned char b[32];
    BN_bn2binpad(bn, b, 32);
    return _vnUnsigned256(b);
}

class OpenSslGroup {
public:
    OpenSslGroup() : m_group(EC_GROUP_new_by_curve_name(NID_secp256k1)), m_ctx(BN_CTX_new()) {}
    ~OpenSslGroup() {
        BN_CTX_free(m_ctx);
        EC_GROUP_free(m_group);
    }
    OpenSslGroup(const OpenSslGroup&) = delete;
    OpenSslGroup& operator=(const OpenSslGroup&) = delete;

    // k * base, or k * G without a base.
    Affine mul(const _vnUnsigned256& k, const Affine* base = nullptr) const {
        EC_POINT* r = EC_POINT_new(m_group);
        Bn kb = toBn(k);
        if (base == nullptr) {
            EXPECT_EQ(EC_POINT_mul(m_group, r, kb.get(), nullptr, nullptr, m_ctx), 1);
        } else {
            EC_POINT* b = point(*base);
            EXPECT_EQ(EC_POINT_mul(m_group, r, nullptr, b, kb.get(), m_ctx), 1);
            EC_POINT_free(b);
        }
        Affine out = affine(r);
        EC_POINT_free(r);
        return out;
    }

    Affine add(const Affine& a, const Affine& b) const {
        EC_POINT* pa = point(a);
        EC_POINT* pb = point(b);
        EC_POINT* r = EC_POINT_new(m_group);
        EXPECT_EQ(EC_POINT_add(m_group, r, pa, pb, m_ctx), 1);
        Affine out = affine(r);
        EC_POINT_free(r);
        EC_POINT_free(pb);
        EC_POINT_free(pa);
        return out;
    }

    EC_GROUP* group() const { return m_group; }
    BN_CTX* ctx() const { return m_ctx; }

private:
    EC_POINT* point(const Affine& a) const {
        EC_POINT* p = EC_POINT_new(m_group);
        if (a.infinity) {
            EC_POINT_set_to_infinity(m_group, p);
        } else {
            Bn x = toBn(a.x), y = toBn(a.y);
            EXPECT_EQ(EC_POINT_set_affine_coordinates(m_group, p, x.get(), y.get(), m_ctx), 1);
        }
        return p;
    }

    Affine affine(const EC_POINT* p) const {
        Affine out;
        if (EC_POINT_is_at_infinity(m_group, p) == 1) {
            out.infinity = true;
            return out;
        }
        Bn x(BN_new()), y(BN_new());
        EXPECT_EQ(EC_POINT_get_affine_coordinates(m_group, p, x.get(), y.get(), m_ctx), 1);
        out.x = fromBn(x.get());
        out.y = fromBn(y.get());
        return out;
    }

    EC_GROUP* m_group;
    BN_CTX* m_ctx;
};

const OpenSslGroup& ossl() {
    static const OpenSslGroup g;
    return g;
}

// ---- helpers on our side ----

Affine affineOf(_vnCurvePt p) {
    p.normalizePt();
    Affine a;
    a.infinity = p.isZero();
    a.x = _vnUnsigned256(p.x);
    a.y = _vnUnsigned256(p.y);
    return a;
}

_vnCurvePt fromAffine(const Affine& a) {
    if (a.infinity) return _vnCurvePt();
    return _vnCurvePt(_vnFieldElement(a.x), _vnFieldElement(a.y));
}

// The same point with every coordinate multiplied by lambda.
_vnCurvePt scaled(const _vnCurvePt& p, const _vnFieldElement& lambda) {
    _vnCurvePt q = p;
    q.x.multiply(lambda);
    q.y.multiply(lambda);
    q.z.multiply(lambda);
    return q;
}

void expectSame(const Affine& ours, const Affine& ref, const std::string& what) {
    ASSERT_EQ(ours.infinity, ref.infinity) << what;
    if (!ref.infinity) {
        ASSERT_EQ(ours.x, ref.x) << what;
        ASSERT_EQ(ours.y, ref.y) << what;
    }
}

_vnUnsigned256 minus(const char* a, const char* b) {
    _vnUnsigned256 v = U(a);
    v.subtract(U(b), 1);
    return v;
}

// ---- constants ----

TEST(CurvePt, ConstantsMatchTheOpenSslGroup) {
    const EC_GROUP* g = ossl().group();
    Bn x(BN_new()), y(BN_new()), p(BN_new()), a(BN_new()), b(BN_new());
    ASSERT_EQ(EC_POINT_get_affine_coordinates(g, EC_GROUP_get0_generator(g), x.get(), y.get(),
                                              ossl().ctx()),
              1);
    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_G.x), fromBn(x.get()));
    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_G.y), fromBn(y.get()));
    EXPECT_EQ(_vnCurvePt::m_s_G.z, _vnCurvePt::m_s_fiOne);
    EXPECT_EQ(_vnCurvePt::m_s_order, fromBn(EC_GROUP_get0_order(g)));
    ASSERT_EQ(EC_GROUP_get_curve(g, p.get(), a.get(), b.get(), ossl().ctx()), 1);
    EXPECT_EQ(_vnFieldElement::m_Modulus, fromBn(p.get()));
    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_A), fromBn(a.get()));
    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_B), fromBn(b.get()));

    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_fiZero), s_ZERO);
    EXPECT_EQ(_vnUnsigned256(_vnCurvePt::m_s_fiOne), s_ONE);
    EXPECT_EQ(_vnCurvePt::m_s_Zero, _vnCurvePt());
    EXPECT_TRUE(_vnCurvePt::m_s_Zero.isZero());
}

// ---- scalar multiplication against OpenSSL ----

TEST(CurvePt, MultiplyGeneratorAgreesWithOpenSsl) {
    const char* max = "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff";
    std::vector<_vnUnsigned256> ks = {s_ZERO, U("1"), U("2"), U("3"), U("f"), U("10"), U("11"),
                                      minus(kN, "1"), U(kN), minus(kN, "2"), U(max),
                                      U("8000000000000000000000000000000000000000000000000000000000000000")};
    _vnUnsigned256 np1 = U(kN);
    np1.add(s_ONE, 1);
    ks.push_back(np1);
    Gen gen(0x4001);
    for (int i = 0; i < 300; ++i) ks.push_back(gen.u256());

    for (const auto& k : ks) {
        _vnCurvePt p = _vnCurvePt::m_s_G;
        p.multiplyPt(k);
        expectSame(affineOf(p), ossl().mul(k), "k = " + hexOf(k));
    }
}

// Bases other than G, some handed over with Z != 1, exercise the table for any point.
TEST(CurvePt, MultiplyArbitraryPointAgreesWithOpenSsl) {
    Gen gen(0x4002);
    for (int i = 0; i < 60; ++i) {
        const Affine base = ossl().mul(gen.u256());
        const _vnUnsigned256 k = gen.u256();
        _vnCurvePt p = fromAffine(base);
        if (i % 2 == 1) p = scaled(p, _vnFieldElement(gen.u256()));
        p.multiplyPt(k);
        expectSame(affineOf(p), ossl().mul(k, &base), "k = " + hexOf(k));
    }
}

TEST(CurvePt, MultiplyEdgesOnTheGenerator) {
    const _vnCurvePt& G = _vnCurvePt::m_s_G;
    _vnCurvePt p = G;
    p.multiplyPt(s_ONE);
    p.normalizePt();
    EXPECT_EQ(p, G);

    p = G;
    p.multiplyPt(U("2"));
    p.normalizePt();
    _vnCurvePt d = G;
    d.doublePt();
    d.normalizePt();
    EXPECT_EQ(p, d);

    p = G;
    p.multiplyPt(minus(kN, "1"));
    p.normalizePt();
    _vnFieldElement negY = _vnCurvePt::m_s_fiZero;
    negY.subtract(G.y);
    EXPECT_EQ(p, _vnCurvePt(G.x, negY));

    for (const auto& k : {s_ZERO, U(kN)}) {
        p = G;
        p.multiplyPt(k);
        EXPECT_TRUE(p.isZero()) << hexOf(k);
        p.normalizePt();
        EXPECT_EQ(p, _vnCurvePt()) << hexOf(k);
    }
}

// ---- the group law's special cases ----

TEST(CurvePt, AdditionSpecialCases) {
    Gen gen(0x4003);
    const _vnFieldElement lambda(gen.u256()), mu(gen.u256());
    const _vnCurvePt P = scaled(fromAffine(ossl().mul(gen.u256())), lambda);
    _vnCurvePt minusP = P;
    _vnFieldElement negY = _vnCurvePt::m_s_fiZero;
    negY.subtract(P.y);
    minusP.y = negY;
    _vnCurvePt doubled = P;
    doubled.doublePt();
    const _vnCurvePt zero;

    struct Case {
        _vnCurvePt a, b, expected;
        const char* what;
    };
    const Case cases[] = {
        {P, minusP, zero, "P + (-P)"},
        {P, scaled(P, mu), doubled, "P + P, different Z"},
        {P, P, doubled, "P + P"},
        {zero, P, P, "0 + P"},
        {P, zero, P, "P + 0"},
        {zero, zero, zero, "0 + 0"},
    };
    for (const auto& c : cases) {
        _vnCurvePt s = c.a;
        s.addPt(c.b);
        s.normalizePt();
        _vnCurvePt e = c.expected;
        e.normalizePt();
        EXPECT_EQ(s, e) << c.what;
    }

    // P + 0 leaves the representation itself alone.
    _vnCurvePt s = P;
    s.addPt(zero);
    EXPECT_EQ(s, P);
}

TEST(CurvePt, AdditionOfDistinctProjectivePointsAgreesWithOpenSsl) {
    Gen gen(0x4004);
    for (int i = 0; i < 50; ++i) {
        const Affine a = ossl().mul(gen.u256()), b = ossl().mul(gen.u256());
        _vnCurvePt s = scaled(fromAffine(a), _vnFieldElement(gen.u256()));
        s.addPt(scaled(fromAffine(b), _vnFieldElement(gen.u256())));
        expectSame(affineOf(s), ossl().add(a, b), "random sum " + std::to_string(i));
    }
}

// Points with equal y and different x: x times a non-trivial cube root of unity.
TEST(CurvePt, AdditionWithSameYDifferentX) {
    Mpz p(kP), beta, e, g;
    mpz_sub_ui(e, p, 1);
    mpz_divexact_ui(e, e, 3);
    for (unsigned base = 2;; ++base) {
        mpz_set_ui(g, base);
        mpz_powm(beta, g, e, p);
        if (mpz_cmp_ui(beta.z, 1) != 0) break;
    }
    const Affine a = ossl().mul(U("123456789"));
    Affine b = a;
    Mpz bx(a.x);
    mpz_mul(bx, bx, beta);
    mpz_mod(bx, bx, p);
    b.x = toU256(bx);
    ASSERT_TRUE(fromAffine(b).isOnCurve());

    _vnCurvePt s = fromAffine(a);
    s.addPt(fromAffine(b));
    expectSame(affineOf(s), ossl().add(a, b), "same y");
}

// ---- zero point, doubling, curve test, encoding, equality ----

TEST(CurvePt, ZeroPointRecognitionAndDoubling) {
    const _vnFieldElement z0 = F("0"), one = F("1"), five = F("5");
    struct Case {
        _vnCurvePt p;
        bool zero;
    };
    const Case cases[] = {
        {_vnCurvePt(z0, one, z0), true},  {_vnCurvePt(z0, five, z0), true},
        {_vnCurvePt(z0, z0, z0), false},  {_vnCurvePt(one, one, z0), false},
        {_vnCurvePt::m_s_G, false},       {_vnCurvePt(z0, one, one), false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.p.isZero(), c.zero) << hexOf(_vnUnsigned256(c.p.x)) << ","
                                        << hexOf(_vnUnsigned256(c.p.y)) << ","
                                        << hexOf(_vnUnsigned256(c.p.z));
    }

    // Doubling the zero point, or a point with y = 0 (order two), gives the canonical zero
    // point itself, not merely some representation with z = 0.
    _vnCurvePt zero;
    zero.doublePt();
    EXPECT_EQ(zero, _vnCurvePt());
    _vnCurvePt orderTwo(five, z0);
    orderTwo.doublePt();
    EXPECT_EQ(orderTwo, _vnCurvePt());
}

TEST(CurvePt, NormalizeFlattensZeroPoints) {
    const _vnFieldElement z0 = F("0"), one = F("1");
    _vnCurvePt p(z0, F("abcdef"), z0);
    p.normalizePt();
    EXPECT_EQ(p, _vnCurvePt(z0, one, z0));
    _vnCurvePt q(F("3"), F("5"), z0);
    q.normalizePt();
    EXPECT_EQ(q, _vnCurvePt(one, one, z0));
}

TEST(CurvePt, IsOnCurve) {
    EXPECT_TRUE(_vnCurvePt::m_s_G.isOnCurve());
    _vnCurvePt bad = _vnCurvePt::m_s_G;
    bad.y.add(_vnCurvePt::m_s_fiOne);
    EXPECT_FALSE(bad.isOnCurve());
    EXPECT_FALSE(_vnCurvePt().isOnCurve());
    _vnCurvePt g3 = _vnCurvePt::m_s_G;
    g3.multiplyPt(U("3"));
    g3.normalizePt();
    EXPECT_TRUE(g3.isOnCurve());
}

TEST(CurvePt, CompressedGenerator) {
    unsigned char out[33];
    _vnCurvePt::m_s_G.toCompressedPoint(out);
    EXPECT_EQ(out[0], 0x02);
    unsigned char gx[32];
    _vnUnsigned256(_vnCurvePt::m_s_G.x).getBigEndian(gx);
    EXPECT_EQ(std::memcmp(out + 1, gx, 32), 0);

    _vnCurvePt minusG = _vnCurvePt::m_s_G;
    minusG.multiplyPt(minus(kN, "1"));
    minusG.normalizePt();
    minusG.toCompressedPoint(out);
    EXPECT_EQ(out[0], 0x03);
}

TEST(CurvePt, EqualityComparesRepresentations) {
    const _vnCurvePt g = _vnCurvePt::m_s_G;
    _vnCurvePt s = scaled(g, F("1234567"));
    EXPECT_NE(s, g);
    s.normalizePt();
    EXPECT_EQ(s, g);
}

}  // namespace

// The secp256k1 engine below the key API: its integers, field and order arithmetic against
// GMP, its points against OpenSSL's secp256k1 group, on edge operands and seeded random ones.

#include <gmp.h>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "support/gmp_mpz.h"

namespace vn {
namespace {

using U256 = _vnUnsigned256;
using testing_support::Mpz;

constexpr std::uint64_t kSeed = 0x256C1;
const char* const kP = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2F";
const char* const kN = "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364141";

U256 U(const std::string& hex) { return U256((std::string(64 - hex.size(), '0') + hex).c_str()); }
void toZ(const U256& u, mpz_ptr z) { mpz_import(z, 8, -1, 4, 0, 0, u.words); }
U256 toU(mpz_srcptr z) {  // z mod 2^256
    Mpz low;
    mpz_fdiv_r_2exp(low, z, 256);
    U256 u;
    mpz_export(u.words, nullptr, -1, 4, 0, 0, low);
    return u;
}
// Upper case, as OpenSSL writes points.
std::string hexOf(const unsigned char* b, std::size_t n) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) s += "0123456789ABCDEF"[b[i] >> 4], s += "0123456789ABCDEF"[b[i] & 15];
    return s;
}
std::string hexOf(const U256& u) {
    char s[65];
    for (int i = 0; i < 8; ++i) std::snprintf(s + 8 * i, 9, "%08X", u.words[7 - i]);
    return s;
}

// Seeded 256-bit operands; half the words come from carry-provoking patterns (0, all ones,
// the top bit, the words of p and n), so long carry chains and near-modulus values are common.
struct Gen {
    std::mt19937_64 rng{kSeed};
    U256 next() {
        static const std::uint32_t special[] = {0u, ~0u, 0x80000000u, 1u, 0xFFFFFFFEu, 0xFFFFFC2Fu, 0xD0364141u, 0x7FFFFFFFu};
        U256 u;
        const bool patterned = (rng() & 1u) != 0;
        for (auto& w : u.words) {
            const std::uint64_t r = rng();
            w = !patterned || (r & 1u) ? static_cast<std::uint32_t>(r >> 32) : special[(r >> 1) & 7u];
        }
        return u;
    }
};

// Edge operands first, then seeded random ones.
std::vector<U256> operands(int randomCount) {
    std::vector<U256> v = {U("0"), U("1"), U("2"), U(std::string(64, 'f')), U("8" + std::string(63, '0')),
                           U("ffffffff"), U("100000000"), U(kP), U("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2E"),
                           U("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC30"), U(kN),
                           U("FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364140")};
    Gen gen;
    for (int i = 0; i < randomCount; ++i) v.push_back(gen.next());
    return v;
}

template <class T>
bool ordersLike(const T& a, const T& b, int cmp) {
    return (a < b) == (cmp < 0) && (a > b) == (cmp > 0) && (a <= b) == (cmp <= 0) && (a >= b) == (cmp >= 0) &&
           (a == b) == (cmp == 0) && (a != b) == (cmp != 0);
}

TEST(Unsigned256, EveryOperationMatchesGmp) {
    std::printf("seed %llu\n", static_cast<unsigned long long>(kSeed));
    // Hex text in both cases, every digit.
    const char* text = "0123456789abcdefFEDCBA9876543210000000010000000000000000DeadBeef";
    Mpz za(text), zb, zr, two256;
    EXPECT_EQ(U256(text), toU(za)) << "hex text";
    mpz_setbit(two256, 256);
    const std::vector<U256> ops = operands(24);
    for (const U256& a : ops) {
        toZ(a, za);
        U256 v = a;
        EXPECT_EQ(v.shiftLeft1(), static_cast<std::uint32_t>(mpz_tstbit(za, 255))) << hexOf(a);
        mpz_mul_2exp(zr, za, 1);
        EXPECT_EQ(v, toU(zr)) << "<< 1 " << hexOf(a);
        v = a, v.shiftRight1(1), mpz_fdiv_q_2exp(zr, za, 1);
        EXPECT_EQ(v, toU(zr)) << ">> 1 " << hexOf(a);
        // The inverse by the fixed binary Euclid, also modulo 2^256 - 1 where (m + 1) / 2 needs
        // the carry out of the top word; 0 stays 0.
        for (const char* m : {kP, kN, "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"}) {
            Mpz zm(m);
            if (mpz_cmp(za, zm) >= 0 || (mpz_sgn(za.z) != 0 && mpz_invert(zr, za, zm) == 0)) continue;
            if (mpz_sgn(za.z) == 0) mpz_set_ui(zr, 0);
            v = a, v.reciprocal(U(m));
            EXPECT_EQ(v, toU(zr)) << "1 / " << hexOf(a) << " mod " << m;
        }
        for (const U256& b : ops) {
            toZ(b, zb);
            EXPECT_TRUE(ordersLike(a, b, mpz_cmp(za, zb))) << hexOf(a) << " vs " << hexOf(b);
            for (std::uint32_t flag : {0u, 1u}) {
                SCOPED_TRACE(hexOf(a) + " op " + hexOf(b) + " flag " + std::to_string(flag));
                v = a, mpz_add(zr, za, flag ? zb.z : two256.z);  // a + 2^256 reads as a with no carry
                EXPECT_EQ(v.add(b, flag), (flag && mpz_cmp(zr, two256) >= 0) ? 1u : 0u);
                EXPECT_EQ(v, toU(zr));
                v = a, mpz_sub(zr, za, flag ? zb.z : two256.z);
                EXPECT_EQ(v.subtract(b, flag), (flag && mpz_sgn(zr.z) < 0) ? 1u : 0u);
                EXPECT_EQ(v, toU(zr));  // toU reduces mod 2^256
            }
        }
    }
}

// Both fields and the order products against GMP: the word field reduces on entry and its
// two-operand forms may write over either operand; the four-limb field takes any value below
// 2^256 unreduced; modulo n the bit-serial and the Montgomery products and the inverse.
TEST(ModularArithmetic, EveryOperationMatchesGmp) {
    Mpz p(kP), n(kN), za, zb, zr;
    std::string where;
    const auto check = [&](const U256& got, const char* what, const Mpz& m) {
        mpz_mod(zr, zr, m);
        EXPECT_EQ(hexOf(got), hexOf(toU(zr))) << what << " " << where;
    };
    const std::vector<U256> ops = operands(30);
    for (const U256& ua : ops) {
        const _vnFieldElement a(ua);
        const _vnFe64 a64 = fe64::fromUnsigned(ua);
        toZ(ua, za);
        const bool belowN = mpz_cmp(za, n) < 0;  // and so za needs no reduction modulo p either
        mpz_mod(za, za, p);
        where = hexOf(ua);
        mpz_set(zr, za), check(U256(a), "reduction", p);
        _vnFieldElement v = a, w;
        _vnFe64 r;
        v.multiply2(), mpz_mul_2exp(zr, za, 1), check(U256(v), "2 *", p);
        fe64::mulSmall(r, a64, 21), mpz_mul_ui(zr, za, 21), check(fe64::toUnsigned(r), "mulSmall", p);
        fe64::negate(r, a64), mpz_neg(zr, za), check(fe64::toUnsigned(r), "negate", p);
        v = a, v.square(), mpz_mul(zr, za, za), check(U256(v), "square", p);
        fe64::sqr(r, a64), check(fe64::toUnsigned(r), "sqr", p);
        w = a, w.square(w), check(U256(w), "square(w)", p);
        if (mpz_invert(zr, za, p) == 0) mpz_set_ui(zr, 0);
        v = a, v.reciprocal(), check(U256(v), "reciprocal", p);
        fe64::invert(r, a64), check(fe64::toUnsigned(r), "invert", p);
        EXPECT_EQ(a.isZeroFlag(), mpz_sgn(za.z) == 0 ? 1u : 0u) << where;
        EXPECT_EQ(fe64::isZeroFlag(a64), mpz_sgn(za.z) == 0 ? 1u : 0u) << where;
        EXPECT_EQ(a < _vnCurvePt::m_s_order, mpz_cmp(za, n) < 0);
        EXPECT_EQ(a >= _vnCurvePt::m_s_order, mpz_cmp(za, n) >= 0);
        U256 o = ua;
        if (belowN) {
            if (mpz_invert(zr, za, n) == 0) mpz_set_ui(zr, 0);
            vn::reciprocalModOrderMont(o), check(o, "1 / x mod n", n);
            o = ua, vn::multiplyModOrder(o, o), mpz_mul(zr, za, za), check(o, "x^2 mod n", n);
            o = ua, vn::multiplyModOrderMont(o, o), check(o, "x^2 mod n, Montgomery", n);
        }
        for (const U256& ub : ops) {
            const _vnFieldElement b(ub);
            const _vnFe64 b64 = fe64::fromUnsigned(ub);
            toZ(ub, zb);
            where = hexOf(ua) + " op " + hexOf(ub);
            if (belowN) {
                o = ua, vn::multiplyModOrder(o, ub), mpz_mul(zr, za, zb), check(o, "x * y mod n", n);
                o = ua, vn::multiplyModOrderMont(o, ub), check(o, "x * y mod n, Montgomery", n);
            }
            mpz_mod(zb, zb, p);
            v = a, v.add(b), mpz_add(zr, za, zb), check(U256(v), "+", p);
            fe64::add(r, a64, b64), check(fe64::toUnsigned(r), "add", p);
            v = a, v.subtract(b), mpz_sub(zr, za, zb), check(U256(v), "-", p);
            fe64::sub(r, a64, b64), check(fe64::toUnsigned(r), "sub", p);
            v = a, v.multiply(b), mpz_mul(zr, za, zb), check(U256(v), "*", p);
            fe64::mul(r, a64, b64), check(fe64::toUnsigned(r), "mul", p);
            w = a, w.multiply(w, b), check(U256(w), "multiply(w, b)", p);
            const int cmp = mpz_cmp(za, zb);
            EXPECT_TRUE(ordersLike(a, b, cmp) && a.equalFlag(b) + 2 * fe64::equalFlag(a64, b64) == (cmp ? 0u : 3u)) << where;
        }
    }
}

// Products with a small result from operands far above it: the quotient estimate falls one
// short and the remainder before the last correction, p plus the result, reaches past 2^256
// into a ninth word from 2^32 + 977 on.
TEST(FieldElement, SmallProductsOfLargeOperands) {
    Mpz p(kP), target, zb, za;
    Gen gen;
    for (const char* r : {"1", "2", "3D1", "100000000", "1000003D0", "1000003D1", "1000003D2", "200000000",
                          "FFFFFFFFFFFF", "3FFFFFFFFFFFFFFF"}) {
        mpz_set_str(target, r, 16);
        for (int i = 0; i < 40; ++i) {
            toZ(gen.next(), za), mpz_mod(za, za, p);
            if (mpz_sgn(za.z) == 0) continue;
            mpz_invert(zb, za, p), mpz_mul(zb, zb, target), mpz_mod(zb, zb, p);
            _vnFieldElement v(toU(za));
            v.multiply(_vnFieldElement(toU(zb)));
            ASSERT_EQ(U256(v), U(r)) << "result " << r;
        }
    }
}

// ---- points, against OpenSSL ----

// Points travel as the hex of their octets ("00" at infinity), OpenSSL's own text form.
struct Oracle {
    EC_GROUP* g = EC_GROUP_new_by_curve_name(NID_secp256k1);
    BN_CTX* ctx = BN_CTX_new();
    ~Oracle() { BN_CTX_free(ctx), EC_GROUP_free(g); }
    // k * base, or k * G without a base.
    std::string mul(const U256& k, const std::string& base = "", point_conversion_form_t form = POINT_CONVERSION_UNCOMPRESSED) {
        BIGNUM* bn = nullptr;
        BN_hex2bn(&bn, hexOf(k).c_str());
        EC_POINT *r = EC_POINT_new(g), *b = base.empty() ? nullptr : EC_POINT_hex2point(g, base.c_str(), nullptr, ctx);
        EC_POINT_mul(g, r, b ? nullptr : bn, b, b ? bn : nullptr, ctx);
        EC_POINT_free(b), BN_free(bn);
        return text(r, form);
    }
    std::string add(const std::string& a, const std::string& b) {
        EC_POINT *pa = EC_POINT_hex2point(g, a.c_str(), nullptr, ctx), *pb = EC_POINT_hex2point(g, b.c_str(), nullptr, ctx);
        EC_POINT_add(g, pa, pa, pb, ctx);
        EC_POINT_free(pb);
        return text(pa, POINT_CONVERSION_UNCOMPRESSED);
    }
    std::string text(EC_POINT* p, point_conversion_form_t form) {  // frees p
        char* hex = EC_POINT_point2hex(g, p, form, ctx);
        const std::string out = hex;
        OPENSSL_free(hex), EC_POINT_free(p);
        return out;
    }
};

std::string octets(_vnCurvePt p) {
    p.normalizePt();
    if (p.isZero()) return "00";
    return "04" + hexOf(U256(p.x)) + hexOf(U256(p.y));
}
_vnCurvePt fromOctets(const std::string& hex) {
    return hex == "00" ? _vnCurvePt() : _vnCurvePt(_vnFieldElement(U(hex.substr(2, 64))), _vnFieldElement(U(hex.substr(66))));
}
_vnCurvePt scaled(_vnCurvePt p, const _vnFieldElement& l) {
    p.x.multiply(l), p.y.multiply(l), p.z.multiply(l);
    return p;
}

// The word engine's multiplyPt (only tests call it; the key operations' own products meet
// OpenSSL in the differential driver) on G and on a point held with Z != 1, on edge scalars
// (0, small, around n and (n -+ 1)/2, above n, 2^256 - 1, the top bit) and random ones.
TEST(Secp256k1Points, ProductsMatchOpenSsl) {
    Oracle o;
    Gen gen;
    const std::string n1 = std::string(kN).substr(0, 63);
    std::vector<U256> ks = {U("0"), U("1"), U("2"), U("11"), U(kN), U(n1 + "0"), U(n1 + "F"),
                            U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0"),
                            U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A1"), U(std::string(64, 'F')),
                            U("8" + std::string(63, '0'))};
    for (int i = 0; i < 6; ++i) ks.push_back(gen.next());
    const std::string qHex = o.mul(U("5EED0123456789ABCDEF"));
    const _vnCurvePt Qs = scaled(fromOctets(qHex), _vnFieldElement(U("77AB")));
    for (const U256& k : ks) {
        SCOPED_TRACE("k = " + hexOf(k));
        const std::string kG = o.mul(k);
        _vnCurvePt p = _vnCurvePt::m_s_G;
        p.multiplyPt(k);
        EXPECT_EQ(octets(p), kG) << "multiplyPt";
        p = Qs, p.multiplyPt(k);
        EXPECT_EQ(octets(p), o.mul(k, qHex)) << "multiplyPt, Z != 1";
        if (kG != "00") {
            unsigned char c[33];
            p = fromOctets(kG), p.toCompressedPoint(c);
            EXPECT_EQ(hexOf(c, 33), o.mul(k, "", POINT_CONVERSION_COMPRESSED)) << "compressed";
        }
    }
}

// The word engine's group law (only its multiplyPt uses it; the four-limb one runs under every
// key operation) on every pair from O, P, -P, 2P, a point with P's y and an unrelated one, each
// held with its own random Z (so P + P arrives as two representations), against OpenSSL:
// O, P + P and P - P with no special case.
TEST(Secp256k1Points, GroupLawMatchesOpenSsl) {
    Oracle o;
    Gen gen;
    const std::string pHex = o.mul(gen.next()), minusP = o.mul(U(std::string(kN).substr(0, 63) + "0"), pHex);
    // beta^3 = 1: (beta x, y) is on the curve with P's y
    const _vnFieldElement beta(U("7AE96A2B657C07106E64479EAC3434E99CF0497512F58995C1396C28719501EE"));
    _vnCurvePt sameY = fromOctets(pHex);
    sameY.x.multiply(beta);
    const std::string pts[] = {"00", pHex, minusP, o.add(pHex, pHex), octets(sameY), o.mul(gen.next())};
    const auto word = [&](const std::string& h) {
        return h == "00" ? _vnCurvePt() : scaled(fromOctets(h), _vnFieldElement(gen.next()));
    };
    for (const std::string& x : pts) {
        for (const std::string& y : pts) {
            SCOPED_TRACE(x + " + " + y);
            const std::string want = o.add(x, y);
            _vnCurvePt s = word(x);
            s.addPt(word(y));
            EXPECT_EQ(octets(s), want) << "addPt";
            if (x != y) continue;
            s = word(x), s.doublePt();
            EXPECT_EQ(octets(s), want) << "doublePt";
        }
    }
    const _vnPt64 p = pt64::fromCurvePt(word(pHex));
    EXPECT_TRUE(pt64::equal_var(p, pt64::fromCurvePt(fromOctets(pHex))) &&
                !pt64::equal_var(p, pt64::fromCurvePt(word(minusP))));
    const _vnFieldElement z0, one(U("1")), five(U("5"));
    _vnCurvePt flat(z0, five, z0), flat2(five, five, z0);  // only (0, y != 0, 0) is the zero point
    EXPECT_TRUE(flat.isZero() && !flat2.isZero() && !_vnCurvePt(z0, z0, z0).isZero() && !_vnCurvePt(z0, one, one).isZero());
    // Zero points normalize to (0 or 1, 1, 0).
    flat.normalizePt(), flat2.normalizePt();
    EXPECT_TRUE(flat == _vnCurvePt(z0, one, z0) && flat2 == _vnCurvePt(one, one, z0));
}

// The verifier's x mod n = r test on x = r, x = r + n (below p only for r < p - n) and
// infinity, with x held in a scaled projective form.
TEST(Secp256k1Points, TheVerifierTest) {
    const _vnFe64 scale = fe64::fromUnsigned(U("77AB"));
    const std::string n1 = std::string(kN).substr(0, 63), pMinusN = "14551231950B75FC4402DA1722FC9BAEE";
    const struct {
        std::string x, r;
        bool match;
    } rows[] = {{"5", "5", true},         {"5", "6", false},  {n1 + "6", "5", true}, {n1 + "6", "6", false},
                {std::string(kP).substr(0, 63) + "E", "14551231950B75FC4402DA1722FC9BAED", true},  // p - 1 = n + (p - n - 1)
                {pMinusN, pMinusN, true}, {"0", pMinusN, false}};  // r + n = p: 0 in the field, not an x
    for (const auto& row : rows) {
        _vnPt64 q = {fe64::fromUnsigned(U(row.x)), fe64::fromUnsigned(U("1")), scale};
        fe64::mul(q.x, q.x, scale);
        EXPECT_EQ(pt64::xModOrderEquals_var(q, U(row.r)), row.match) << row.x << " " << row.r;
    }
    EXPECT_FALSE(pt64::xModOrderEquals_var(pt64::infinity(), U("1")));
}

}  // namespace
}  // namespace vn

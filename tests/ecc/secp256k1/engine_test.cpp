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
#include <tuple>
#include <vector>

#include "ecc/secp256k1/CompletePoint.h"
#include "ecc/secp256k1/GeneratorMultiplication.h"
#include "ecc/secp256k1/OrderArithmetic.h"
#include "ecc/secp256k1/OrderMontgomery.h"
#include "ecc/secp256k1/PointMultiplication.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/BigNum.h"
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

TEST(Unsigned256, EveryOperationMatchesGmp) {
    std::printf("seed %llu\n", static_cast<unsigned long long>(kSeed));
    const char* text = "0123456789abcdefFEDCBA9876543210000000010000000000000000DeadBeef";
    Mpz ref(text), za, zb, zr, two256;
    toZ(U256(text), za);
    EXPECT_EQ(0, mpz_cmp(za, ref)) << "hex text";
    mpz_setbit(two256, 256);
    const std::vector<U256> ops = operands(40);
    for (const U256& a : ops) {
        toZ(a, za);
        unsigned char be[32];
        a.getBigEndian(be);
        EXPECT_TRUE(hexOf(be, 32) == hexOf(a) && U256(be) == a) << hexOf(a);
        U256 v = a;
        EXPECT_EQ(v.shiftLeft1(), static_cast<std::uint32_t>(mpz_tstbit(za, 255))) << hexOf(a);
        mpz_mul_2exp(zr, za, 1); EXPECT_EQ(v, toU(zr)) << "<< 1 " << hexOf(a);
        v = a, v.shiftRight1(0); EXPECT_EQ(v, a);
        v.shiftRight1(1), mpz_fdiv_q_2exp(zr, za, 1); EXPECT_EQ(v, toU(zr)) << ">> 1 " << hexOf(a);
        EXPECT_EQ(a.isZeroFlag(), mpz_sgn(za.z) == 0 ? 1u : 0u);
        for (unsigned i : {0u, 31u, 32u, 255u}) EXPECT_EQ(a.bit(i), static_cast<std::uint32_t>(mpz_tstbit(za, i)));
        for (const U256& b : ops) {
            toZ(b, zb);
            const int cmp = mpz_cmp(za, zb);
            EXPECT_TRUE((a < b) == (cmp < 0) && (a > b) == (cmp > 0) && (a <= b) == (cmp <= 0) &&
                        (a >= b) == (cmp >= 0) && (a == b) == (cmp == 0) && (a != b) == (cmp != 0))
                << hexOf(a) << " vs " << hexOf(b);
            for (std::uint32_t flag : {0u, 1u}) {
                SCOPED_TRACE(hexOf(a) + " op " + hexOf(b) + " flag " + std::to_string(flag));
                v = a, mpz_add(zr, za, flag ? zb.z : two256.z);  // a + 2^256 reads as a with no carry
                EXPECT_EQ(v.add(b, flag), (flag && mpz_cmp(zr, two256) >= 0) ? 1u : 0u);
                EXPECT_EQ(v, toU(zr));
                v = a, mpz_sub(zr, za, flag ? zb.z : two256.z);
                EXPECT_EQ(v.subtract(b, flag), (flag && mpz_sgn(zr.z) < 0) ? 1u : 0u);
                EXPECT_EQ(v, toU(zr));  // toU reduces mod 2^256
                U256 x = a, y = b;
                x.swap(y, flag);
                EXPECT_TRUE(x == (flag ? b : a) && y == (flag ? a : b)) << "swap";
                x = a, x.replace(b, flag);
                EXPECT_EQ(x, flag ? b : a) << "replace";
            }
        }
    }
}

// The inverse by the fixed binary Euclid, modulo p, n and 2^256 - 1 (where (m + 1) / 2 needs
// the carry out of the top word); 0 stays 0.
TEST(Unsigned256, ReciprocalMatchesGmp) {
    for (const char* m : {kP, kN, "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"}) {
        Mpz zm(m), zx, zr;
        for (const U256& x : operands(60)) {
            toZ(x, zx);
            if (mpz_cmp(zx, zm) >= 0 || (mpz_sgn(zx.z) != 0 && mpz_invert(zr, zx, zm) == 0)) continue;
            if (mpz_sgn(zx.z) == 0) mpz_set_ui(zr, 0);
            U256 v = x;
            v.reciprocal(U(m));
            EXPECT_EQ(v, toU(zr)) << "1 / " << hexOf(x) << " mod " << m;
        }
    }
}

// The word field: reduction on entry, every operation and the two-operand forms with their
// output aliasing either operand, the comparisons, against GMP modulo p.
TEST(FieldElement, EveryOperationMatchesGmp) {
    Mpz p(kP), za, zb, zr;
    const std::vector<U256> ops = operands(50);
    for (const U256& ua : ops) {
        const _vnFieldElement a(ua);
        toZ(ua, za), mpz_mod(za, za, p);
        ASSERT_EQ(U256(a), toU(za)) << "reduction of " << hexOf(ua);
        _vnFieldElement v = a;
        v.multiply2(), mpz_mul_2exp(zr, za, 1), mpz_mod(zr, zr, p); EXPECT_EQ(U256(v), toU(zr)) << "2 * " << hexOf(ua);
        v = a, v.square(), mpz_mul(zr, za, za), mpz_mod(zr, zr, p); EXPECT_EQ(U256(v), toU(zr)) << hexOf(ua) << "^2";
        _vnFieldElement w;
        w.square(a); EXPECT_EQ(w, v);
        w = a, w.square(w); EXPECT_EQ(w, v);
        w = a, w.multiply(w, w); EXPECT_EQ(w, v);
        v = a, v.reciprocal();
        if (mpz_sgn(za.z) == 0) mpz_set_ui(zr, 0);
        else mpz_invert(zr, za, p);
        EXPECT_EQ(U256(v), toU(zr)) << "1 / " << hexOf(ua);
        EXPECT_EQ(a.isZeroFlag(), mpz_sgn(za.z) == 0 ? 1u : 0u);
        EXPECT_EQ(a.lowBit(), static_cast<std::uint32_t>(mpz_odd_p(za.z) != 0));
        EXPECT_EQ(a < _vnCurvePt::m_s_order, mpz_cmp(za, Mpz(kN)) < 0);
        EXPECT_EQ(a >= _vnCurvePt::m_s_order, mpz_cmp(za, Mpz(kN)) >= 0);
        for (const U256& ub : ops) {
            const _vnFieldElement b(ub);
            toZ(ub, zb), mpz_mod(zb, zb, p);
            SCOPED_TRACE(hexOf(ua) + " op " + hexOf(ub));
            v = a, v.add(b), mpz_add(zr, za, zb), mpz_mod(zr, zr, p); EXPECT_EQ(U256(v), toU(zr)) << "+";
            v = a, v.subtract(b), mpz_sub(zr, za, zb), mpz_mod(zr, zr, p); EXPECT_EQ(U256(v), toU(zr)) << "-";
            v = a, v.multiply(b), mpz_mul(zr, za, zb), mpz_mod(zr, zr, p); EXPECT_EQ(U256(v), toU(zr)) << "*";
            w.multiply(a, b); EXPECT_EQ(w, v);
            w = a, w.multiply(w, b); EXPECT_EQ(w, v);
            w = b, w.multiply(a, w); EXPECT_EQ(w, v);
            const int cmp = mpz_cmp(za, zb);
            EXPECT_TRUE((a < b) == (cmp < 0) && (a > b) == (cmp > 0) && (a <= b) == (cmp <= 0) &&
                        (a >= b) == (cmp >= 0) && (a == b) == (cmp == 0) && (a != b) == (cmp != 0) &&
                        a.equalFlag(b) == (cmp == 0 ? 1u : 0u));
            w = a, w.replace(b, 0); EXPECT_EQ(w, a);
            w.replace(b, 1); EXPECT_EQ(w, b);
        }
    }
}

// Products with a small result from operands far above it: the quotient estimate falls one
// short and the remainder before the last correction, p plus the result, reaches past 2^256
// into a ninth word from 2^32 + 977 on. And (p - m)^2 = m^2, a square near p^2.
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
    for (const char* m : {"1", "2", "3", "10000", "10001", "1000003D", "7FFFFFFF", "FFFFFFFF"}) {
        _vnFieldElement neg;
        neg.subtract(_vnFieldElement(U(m)));
        neg.square();
        mpz_set_str(zb, m, 16), mpz_mul(zb, zb, zb);
        EXPECT_EQ(U256(neg), toU(zb)) << "(p - " << m << ")^2";
    }
}

// The four-limb field takes any value below 2^256 (unreduced) and answers modulo p.
TEST(Field4x64, EveryOperationMatchesGmp) {
    Mpz p(kP), za, zb, zr;
    const std::vector<U256> ops = operands(40);
    for (const U256& ua : ops) {
        const _vnFe64 a = fe64::fromUnsigned(ua);
        toZ(ua, za), mpz_mod(za, za, p);
        _vnFe64 r;
        const auto check = [&](const char* what) {
            mpz_mod(zr, zr, p);
            EXPECT_EQ(hexOf(fe64::toUnsigned(r)), hexOf(toU(zr))) << what << " " << hexOf(ua);
        };
        fe64::sqr(r, a), mpz_mul(zr, za, za), check("sqr");
        fe64::negate(r, a), mpz_neg(zr, za), check("negate");
        fe64::mulSmall(r, a, 21), mpz_mul_ui(zr, za, 21), check("mulSmall");
        fe64::invert(r, a), mpz_invert(zr, za, p) || (mpz_set_ui(zr, 0), 0), check("invert");
        EXPECT_EQ(fe64::isZeroFlag(a), mpz_sgn(za.z) == 0 ? 1u : 0u) << hexOf(ua);
        EXPECT_EQ(hexOf(U256(fe64::toField(a))), hexOf(toU(za)));
        for (const U256& ub : ops) {
            const _vnFe64 b = fe64::fromUnsigned(ub);
            toZ(ub, zb), mpz_mod(zb, zb, p);
            SCOPED_TRACE(hexOf(ub));
            fe64::mul(r, a, b), mpz_mul(zr, za, zb), check("mul");
            fe64::add(r, a, b), mpz_add(zr, za, zb), check("add");
            fe64::sub(r, a, b), mpz_sub(zr, za, zb), check("sub");
            EXPECT_EQ(fe64::equalFlag(a, b), mpz_cmp(za, zb) == 0 ? 1u : 0u);
            r = a, fe64::select(r, b, 0), mpz_set(zr, za), check("select 0");
            fe64::select(r, b, 1), mpz_set(zr, zb), check("select 1");
        }
    }
}

// Modulo the order: the bit-serial product, the Montgomery product and inverse, and the
// signer's s = k^-1 (e + r d).
TEST(OrderArithmetic, EveryOperationMatchesGmp) {
    Mpz n(kN), zx, zy, zr, zt;
    const std::vector<U256> ops = operands(40);
    const U256 nu = U(kN);
    for (const U256& xin : ops) {
        toZ(xin, zx);
        if (mpz_cmp(zx, n) >= 0) continue;  // x below n
        U256 v = xin;
        vn::reciprocalModOrderMont(v);
        if (mpz_sgn(zx.z) == 0) mpz_set_ui(zr, 0);
        else mpz_invert(zr, zx, n);
        EXPECT_EQ(v, toU(zr)) << "1 / " << hexOf(xin);
        v = xin, vn::multiplyModOrder(v, v), mpz_mul(zr, zx, zx), mpz_mod(zr, zr, n);
        EXPECT_EQ(v, toU(zr)) << hexOf(xin) << "^2";
        v = xin, vn::multiplyModOrderMont(v, v); EXPECT_EQ(v, toU(zr)) << hexOf(xin) << "^2 Montgomery";
        for (const U256& y : ops) {
            toZ(y, zy), mpz_mul(zr, zx, zy), mpz_mod(zr, zr, n);
            v = xin, vn::multiplyModOrder(v, y); EXPECT_EQ(v, toU(zr)) << hexOf(xin) << " * " << hexOf(y);
            v = xin, vn::multiplyModOrderMont(v, y); EXPECT_EQ(v, toU(zr)) << hexOf(xin) << " * " << hexOf(y) << " M";
            if (mpz_sgn(zx.z) == 0 || !(y < nu)) continue;  // k = x in [1, n), r = y below n, d = e = x ^ y
            U256 d = xin, s;
            for (int i = 0; i < 8; ++i) d.words[i] ^= y.words[i] * 0x9E3779B9u;
            vn::signatureS(xin, d, y, d, s);
            toZ(d, zt), mpz_mul(zr, zy, zt), mpz_add(zr, zr, zt), mpz_invert(zt, zx, n), mpz_mul(zr, zr, zt);
            mpz_mod(zr, zr, n);
            EXPECT_EQ(s, toU(zr)) << "s for k " << hexOf(xin) << " r " << hexOf(y);
        }
    }
}

// Host integers to 256 bits and back: every width up to 256 bits, wider values refused with
// the output left as it was.
TEST(Uint256Conversions, RoundTripAndWidthLimit) {
    Gen gen;
    const U256 sentinel = U("5a5a5a5a");
    for (int bits = 0; bits <= 300; ++bits) {
        Mpz z;
        toZ(gen.next(), z), mpz_fdiv_r_2exp(z, z, static_cast<mp_bitcnt_t>(std::min(bits, 256)));
        if (bits > 256) mpz_setbit(z, static_cast<mp_bitcnt_t>(bits - 1));
        char hex[100];
        gmp_snprintf(hex, sizeof hex, "%Zx", z.z);
        mp_int m, back;
        ASSERT_TRUE(BigNum::mp_read_radix(m, hex, 16));
        U256 u = sentinel;
        EXPECT_EQ(mp_int_to_uint256(m, u), bits <= 256) << hex;
        EXPECT_EQ(u, bits <= 256 ? toU(z) : sentinel) << hex;
        if (bits > 256) continue;
        uint256_to_mp_int(u, back);
        EXPECT_EQ(BigNum::mp_cmp(back, m), 0) << hex;
        EXPECT_EQ(BigNum::mp_unsigned_bin_size(back), mpz_sgn(z.z) == 0 ? 0 : static_cast<int>(mpz_sizeinbase(z, 256)));
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
std::string octets(const _vnPt64& p) { return octets(pt64::toNormalizedCurvePt(p)); }
_vnCurvePt scaled(_vnCurvePt p, const _vnFieldElement& l) {
    p.x.multiply(l), p.y.multiply(l), p.z.multiply(l);
    return p;
}

TEST(Secp256k1Points, ConstantsMatchOpenSsl) {
    Oracle o;
    EXPECT_EQ(hexOf(_vnFieldElement::m_Modulus) + hexOf(_vnCurvePt::m_s_order), std::string(kP) + kN);
    EXPECT_EQ(hexOf(U256(_vnCurvePt::m_s_A)) + hexOf(U256(_vnCurvePt::m_s_B)), hexOf(U("0")) + hexOf(U("7")));
    EXPECT_EQ(octets(_vnCurvePt::m_s_G), o.mul(U("1")));
    EXPECT_TRUE(_vnCurvePt::m_s_G.z == _vnCurvePt::m_s_fiOne && U256(_vnCurvePt::m_s_fiOne) == s_ONE &&
                U256(_vnCurvePt::m_s_fiZero) == s_ZERO && _vnCurvePt::m_s_Zero == _vnCurvePt() && _vnCurvePt().isZero());
}

// Every scalar product on edge scalars (0, small, around n and (n -+ 1)/2, 2^256 - 1, the top
// bit, window patterns) and random ones: the word engine's multiplyPt (on G and on a point
// held with Z != 1), the generator table constant-time and not, odd windows, u1 G + u2 Q.
TEST(Secp256k1Points, ProductsMatchOpenSsl) {
    Oracle o;
    Gen gen;
    const std::string n1 = std::string(kN).substr(0, 63);
    std::vector<U256> ks = {U("0"), U("1"), U("2"), U("3"), U("8"), U("9"), U("10"), U("11"), U(kN), U(n1 + "0"),
                            U(n1 + "2"), U(n1 + "F"), U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0"),
                            U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A1"), U(std::string(64, 'F')),
                            U("8" + std::string(63, '0')), U(std::string(63, 'F')), U("FFFFFFFF" + std::string(56, '0')),
                            U(std::string(32, '8')), U(std::string(64, '7')), U(std::string(64, '8')), U("F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0F0")};
    for (int i = 0; i < 30; ++i) ks.push_back(gen.next());
    const std::string qHex = o.mul(U("5EED0123456789ABCDEF"));
    const _vnCurvePt Q = fromOctets(qHex), Qs = scaled(Q, _vnFieldElement(U("77AB")));
    const _vnPt64 q64 = pt64::fromCurvePt(Qs), g64 = pt64::fromCurvePt(_vnCurvePt::m_s_G);
    for (const U256& k : ks) {
        SCOPED_TRACE("k = " + hexOf(k));
        const std::string kG = o.mul(k), kQ = o.mul(k, qHex);
        _vnCurvePt p = _vnCurvePt::m_s_G;
        p.multiplyPt(k); EXPECT_EQ(octets(p), kG) << "multiplyPt";
        p = Qs, p.multiplyPt(k); EXPECT_EQ(octets(p), kQ) << "multiplyPt, Z != 1";
        if (kG != "00") {
            unsigned char c[33];
            p = fromOctets(kG), p.toCompressedPoint(c);
            EXPECT_EQ(hexOf(c, 33), o.mul(k, "", POINT_CONVERSION_COMPRESSED)) << "compressed";
            EXPECT_TRUE(p.isOnCurve());
        }
        _vnPt64 r;
        vn::multiplyGenerator(k, r); EXPECT_EQ(octets(r), kG) << "multiplyGenerator";
        vn::multiplyGenerator_var(k, r); EXPECT_EQ(octets(r), kG) << "multiplyGenerator_var";
        vn::multiplyPointOddWindows(q64, k, r); EXPECT_EQ(octets(r), kQ) << "odd windows";
        const U256 k2 = gen.next();
        vn::multiplyTwo_var(k, k2, q64, r); EXPECT_EQ(octets(r), o.add(kG, o.mul(k2, qHex))) << "k G + k2 Q";
        vn::multiplyTwo_var(k, k, g64, r); EXPECT_EQ(octets(r), o.add(kG, kG)) << "k G + k G";
    }
}

// Both engines' group laws on every pair from O, P, -P, 2P and two unrelated points, each
// operand held with its own random Z (so P + P arrives as two representations), against
// OpenSSL: the complete formulas must get O, P + P and P - P right with no special case.
TEST(Secp256k1Points, GroupLawMatchesOpenSsl) {
    Oracle o;
    Gen gen;
    const std::string pHex = o.mul(gen.next()), minusP = o.mul(U(std::string(kN).substr(0, 63) + "0"), pHex);
    const std::string pts[] = {"00", pHex, minusP, o.add(pHex, pHex), o.mul(gen.next()), o.mul(gen.next())};
    const auto word = [&](const std::string& h) {
        return h == "00" ? _vnCurvePt() : scaled(fromOctets(h), _vnFieldElement(gen.next()));
    };
    const auto limbs = [&](const std::string& h) {
        _vnPt64 q = h == "00" ? pt64::infinity() : pt64::fromCurvePt(fromOctets(h));
        const _vnFe64 l = fe64::fromUnsigned(gen.next());
        fe64::mul(q.x, q.x, l), fe64::mul(q.y, q.y, l), fe64::mul(q.z, q.z, l);
        return q;
    };
    for (const std::string& x : pts) {
        for (const std::string& y : pts) {
            SCOPED_TRACE(x + " + " + y);
            const std::string want = o.add(x, y);
            _vnCurvePt s = word(x);
            _vnPt64 r;
            s.addPt(word(y)), pt64::add(r, limbs(x), limbs(y));
            EXPECT_EQ(octets(s) + " " + octets(r), want + " " + want) << "addPt, add";
            if (y != "00") {
                const _vnCurvePt a = fromOctets(y);
                pt64::addAffine(r, limbs(x), {fe64::fromField(a.x), fe64::fromField(a.y)});
                EXPECT_EQ(octets(r), want) << "addAffine";
            }
            if (x != y) continue;
            const _vnCurvePt t = word(x);
            const _vnPt64 u = limbs(x);
            s = t, s.addPt(t), pt64::add(r, u, u);
            EXPECT_EQ(octets(s) + " " + octets(r), want + " " + want) << "the same representation twice";
            s = t, s.doublePt(), pt64::twice(r, u);
            EXPECT_EQ(octets(s) + " " + octets(r), want + " " + want) << "doublePt, twice";
        }
    }
    const _vnCurvePt P = word(pHex), zero;
    _vnCurvePt s = P;
    s.addPt(zero);
    EXPECT_EQ(s, P) << "P + O keeps the representation";
    const _vnPt64 p = limbs(pHex);
    EXPECT_TRUE(pt64::equal_var(p, pt64::fromCurvePt(fromOctets(pHex))) && !pt64::equal_var(p, limbs(minusP)));
    Mpz pz(kP), e, beta, bx;  // beta^3 = 1: (beta x, y) is on the curve with the same y
    mpz_sub_ui(e, pz, 1), mpz_divexact_ui(e, e, 3), mpz_set_ui(beta, 2), mpz_powm(beta, beta, e, pz);
    const _vnCurvePt A = fromOctets(o.mul(U("123456789")));
    toZ(U256(A.x), bx), mpz_mul(bx, bx, beta), mpz_mod(bx, bx, pz);
    const _vnCurvePt B(_vnFieldElement(toU(bx)), A.y);
    ASSERT_TRUE(B.isOnCurve());
    s = A, s.addPt(B);
    EXPECT_EQ(octets(s), o.add(octets(A), octets(B))) << "same y";

    const _vnFieldElement z0, one(U("1")), five(U("5"));
    std::string zeros;  // only (0, y != 0, 0) is the zero point
    for (const _vnCurvePt& zp : {_vnCurvePt(z0, one, z0), {z0, five, z0}, {z0, z0, z0}, {one, one, z0}, _vnCurvePt::m_s_G,
                                 {z0, one, one}})
        zeros += zp.isZero() ? '1' : '0';
    EXPECT_EQ(zeros, "110000");
    for (_vnCurvePt d : {_vnCurvePt(), _vnCurvePt(five, z0)}) {
        d.doublePt();
        EXPECT_EQ(d, _vnCurvePt()) << "2O, 2(5, 0)";
    }
    _vnCurvePt flat(z0, five, z0), flat2(five, five, z0);  // zero points normalize to (0 or 1, 1, 0)
    flat.normalizePt(), flat2.normalizePt();
    EXPECT_TRUE(flat == _vnCurvePt(z0, one, z0) && flat2 == _vnCurvePt(one, one, z0));
    _vnCurvePt bad = _vnCurvePt::m_s_G;
    bad.y.add(one);
    EXPECT_FALSE(bad.isOnCurve() || _vnCurvePt().isOnCurve());
    EXPECT_TRUE(P != scaled(P, five) && octets(P) == octets(scaled(P, five)));
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

// Signatures whose verification product u1*G + u2*Q meets the corner cases of an addition
// chain: a running sum equal to a table entry (under another Z) or to its negative, keys that
// are small multiples of G, u1*G = +-u2*Q, long runs of equal bits. Each case picks u1, u2 and
// the key c, then r, s and the digest so that verification recomputes exactly that u1 and u2;
// OpenSSL's verdict is the reference.

#include <gtest/gtest.h>

#include <openssl/ecdsa.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::BnPtr;
using testing_support::newBn;

BnPtr word(BN_ULONG w) {
    BnPtr v = newBn();
    BN_set_word(v.get(), w);
    return v;
}

BnPtr shifted(const BIGNUM* v, int bits) {  // v * 2^bits, or v / 2^-bits
    BnPtr r = newBn();
    if (bits >= 0) BN_lshift(r.get(), v, bits);
    else BN_rshift(r.get(), v, -bits);
    return r;
}

struct Case {
    std::string label;
    BnPtr c, u1, u2;
};

class CaseMaker {
public:
    CaseMaker(const BIGNUM* order, BN_CTX* bnCtx) : n(order), ctx(bnCtx), bits(BN_num_bits(order)) {}

    BnPtr below(const BIGNUM* limit) {  // uniform in [0, limit); 0 when limit is 0
        BnPtr r = newBn();
        if (!BN_is_zero(limit)) BN_rand_range(r.get(), limit);
        return r;
    }
    BnPtr randomScalar() {
        BnPtr r = below(n);
        if (BN_is_zero(r.get())) BN_one(r.get());
        return r;
    }
    BnPtr mulMod(const BIGNUM* a, const BIGNUM* b) {
        BnPtr r = newBn();
        BN_mod_mul(r.get(), a, b, n, ctx);
        return r;
    }
    BnPtr addMod(const BIGNUM* a, const BIGNUM* b, bool subtract = false) {
        BnPtr r = newBn();
        if (subtract) BN_mod_sub(r.get(), a, b, n, ctx);
        else BN_mod_add(r.get(), a, b, n, ctx);
        return r;
    }
    void add(std::string label, const BnPtr& c, const BnPtr& u1, const BnPtr& u2) {
        const auto dup = [](const BnPtr& v) { return BnPtr(BN_dup(v.get()), BN_free); };
        cases.push_back(Case{std::move(label), dup(c), dup(u1), dup(u2)});
    }

    // Scalars u = (H*2^w + digit)*2^b + low. Before the digits at bit b join, a chain that
    // reads w bits at a time holds 2^w*(H1 + c*H2) times 2^b*G; choosing
    // c = (sign*d1 - 2^w*H1) / (2^w*H2 - sign*d2) mod n makes that sum equal to
    // sign*(d1*G + d2*Q), the entry about to be added. With w = 2 and b even this is the
    // 2-bit Shamir table; other widths and odd positions land on wNAF and comb tables.
    void meet(int b, int w, unsigned d1, unsigned d2, int sign) {
        BnPtr limit = shifted(n, -(b + w));
        if (BN_is_zero(limit.get())) return;
        BnPtr h1 = below(limit.get()), h2 = below(limit.get());
        if (BN_is_zero(h1.get()) && BN_is_zero(h2.get())) BN_one(h1.get());
        BnPtr sd1 = word(d1), sd2 = word(d2);
        BN_set_negative(sd1.get(), sign < 0);
        BN_set_negative(sd2.get(), sign < 0);
        BnPtr num = addMod(sd1.get(), shifted(h1.get(), w).get(), true);
        BnPtr den = addMod(shifted(h2.get(), w).get(), sd2.get(), true);
        BnPtr c = newBn();
        if (BN_is_zero(num.get()) || !BN_mod_inverse(c.get(), den.get(), n, ctx)) return;
        c = mulMod(num.get(), c.get());
        BN_lshift(h1.get(), h1.get(), w);
        BN_lshift(h2.get(), h2.get(), w);
        BN_add_word(h1.get(), d1);
        BN_add_word(h2.get(), d2);
        add("meet b=" + std::to_string(b) + " w=" + std::to_string(w) + " d=(" + std::to_string(d1) + "," +
                std::to_string(d2) + ") sign=" + std::to_string(sign),
            c, withLow(h1.get(), b), withLow(h2.get(), b));
    }

    BnPtr withLow(const BIGNUM* high, int b) {  // high*2^b + random bits below
        BnPtr u = shifted(high, b);
        BN_add(u.get(), u.get(), below(shifted(word(1).get(), b).get()).get());
        return u;
    }
    // The top four bits of u1 and u2 given, on the 2-bit window grid, the key fixed.
    void topDigits(const char* label, const BnPtr& c, unsigned hi1, unsigned hi2) {
        const int b = (bits - 4) & ~1;
        add(label, c, withLow(word(hi1).get(), b), withLow(word(hi2).get(), b));
    }

    std::vector<Case> make() {
        const int even = (bits - 4) / 2;  // 2-bit window positions with room for a prefix
        for (int k = 0; k < 16; ++k) {
            const int m = k < 4 ? k : k < 8 ? even - (k - 4) : std::rand() % even;
            meet(2 * m, 2, unsigned(std::rand() % 4), 1 + unsigned(std::rand() % 3), k % 2 ? -1 : 1);
        }
        for (int k = 0; k < 8; ++k) {
            const int w = 1 + std::rand() % 5;
            meet(std::rand() % (bits - w - 1), w, 1 + 2 * unsigned(std::rand() % (1 << (w - 1))),
                 1 + 2 * unsigned(std::rand() % (1 << (w - 1))), k % 2 ? -1 : 1);
        }
        BnPtr minusOne = addMod(word(0).get(), word(1).get(), true);
        // Q = G, -G, 2G: table entries coincide with each other or cancel.
        add("Q=G", word(1), randomScalar(), randomScalar());
        add("Q=-G", minusOne, randomScalar(), randomScalar());
        add("Q=2G", word(2), randomScalar(), randomScalar());
        topDigits("Q=G, 4G met at the second window", word(1), 0x5, 0x3);
        topDigits("Q=2G, 4G met at the second window", word(2), 0x4, 0x2);
        topDigits("Q=-G, equal top digits", minusOne, 0x7, 0x7);
        for (int k = 0; k < 2; ++k) {
            BnPtr c = randomScalar(), u2 = randomScalar(), cu2 = mulMod(c.get(), u2.get());
            BnPtr neg = addMod(word(0).get(), cu2.get(), true);
            BnPtr small = word(1 + static_cast<BN_ULONG>(std::rand() % 16));
            add("u1*G == u2*Q", c, cu2, u2);
            add("u1*G == -u2*Q", c, neg, u2);
            add("u1 = c*u2 + small", c, addMod(cu2.get(), small.get()), u2);
            add("u1 = -c*u2 + small", c, addMod(neg.get(), small.get()), u2);
        }
        // Long runs of equal bits: 2^k - 1, and the same shifted up.
        const int k = bits / 2 + std::rand() % (bits / 2 - 1);
        BnPtr ones = shifted(word(1).get(), k);
        BN_sub_word(ones.get(), 1);
        add("u2 = 2^k - 1", randomScalar(), randomScalar(), ones);
        add("u1 = 2^k - 1", randomScalar(), ones, randomScalar());
        add("u2 = (2^k - 1) * 2^j", randomScalar(), randomScalar(), shifted(ones.get(), bits - 1 - k));
        add("u1 = u2 = 1", randomScalar(), word(1), word(1));
        add("u1 = u2 = n - 1", randomScalar(), minusOne, minusOne);
        add("random", randomScalar(), randomScalar(), randomScalar());
        return std::move(cases);
    }

    const BIGNUM* n;
    BN_CTX* ctx;
    int bits;
    std::vector<Case> cases;
};

std::vector<unsigned char> bytesOf(const BIGNUM* v, int width) {
    std::vector<unsigned char> out(static_cast<std::size_t>(width));
    BN_bn2binpad(v, out.data(), width);
    return out;
}

class ShamirEdgeCases : public ::testing::TestWithParam<std::string> {};

TEST_P(ShamirEdgeCases, VerdictsAgreeWithOpenSsl) {
    const std::string curve = GetParam();
    testing_support::OracleCurve oc(curve.c_str());
    const EC_GROUP* group = oc.group.get();
    BN_CTX* ctx = oc.ctx.get();
    const BIGNUM* n = EC_GROUP_get0_order(group);
    const int fb = oc.key.m_curve.fieldBytes;
    std::srand(static_cast<unsigned>(curve.size() * 977 + static_cast<std::size_t>(fb)));
    std::vector<Case> cases = CaseMaker(n, ctx).make();
    ASSERT_GE(cases.size(), 30u) << curve;

    int checked = 0;
    for (const Case& tc : cases) {
        SCOPED_TRACE(curve + ": " + tc.label);
        testing_support::PointPtr Q(EC_POINT_new(group), EC_POINT_free), R(EC_POINT_new(group), EC_POINT_free);
        ASSERT_EQ(EC_POINT_mul(group, Q.get(), tc.c.get(), nullptr, nullptr, ctx), 1);
        ASSERT_EQ(EC_POINT_mul(group, R.get(), tc.u1.get(), Q.get(), tc.u2.get(), ctx), 1);
        const bool infinity = EC_POINT_is_at_infinity(group, R.get()) == 1;
        BnPtr r = newBn(), s = newBn(), e = newBn();
        if (infinity) {
            BN_rand_range(r.get(), n);  // no R: any r is wrong
        } else {
            ASSERT_EQ(EC_POINT_get_affine_coordinates(group, R.get(), r.get(), nullptr, ctx), 1);
            BN_nnmod(r.get(), r.get(), n, ctx);
        }
        if (BN_is_zero(r.get()) || !BN_mod_inverse(s.get(), tc.u2.get(), n, ctx)) continue;
        BN_mod_mul(s.get(), s.get(), r.get(), n, ctx);  // s = r/u2, so r/s = u2
        BN_mod_mul(e.get(), tc.u1.get(), s.get(), n, ctx);  // e/s = u1
        if (BN_num_bytes(e.get()) > fb) continue;  // wider than the digest the verifier reads

        // OpenSSL reads the leftmost bits(n) bits of a digest, ecckey all fieldBytes bytes:
        // each gets the form that stands for e.
        const int nBits = BN_num_bits(n), oBytes = (nBits + 7) / 8;
        std::vector<unsigned char> ourDigest = bytesOf(e.get(), fb);
        std::vector<unsigned char> theirDigest = bytesOf(shifted(e.get(), 8 * oBytes - nBits).get(), oBytes);
        ECDSA_SIG* sig = ECDSA_SIG_new();
        ECDSA_SIG_set0(sig, BN_dup(r.get()), BN_dup(s.get()));
        unsigned char* der = nullptr;
        const int derLen = i2d_ECDSA_SIG(sig, &der);
        testing_support::EcKeyPtr ec(EC_KEY_new_by_curve_name(testing_support::nidOf(curve.c_str())), EC_KEY_free);
        EC_KEY_set_public_key(ec.get(), Q.get());
        const bool theirs = ECDSA_do_verify(theirDigest.data(), oBytes, sig, ec.get()) == 1;
        ECDSA_SIG_free(sig);

        EccKey key;
        LogBase log;
        char* cHex = BN_bn2hex(tc.c.get());
        const bool loaded = key.generateNewKey2(StringBuffer(curve.c_str()), cHex, "hex", log);
        OPENSSL_free(cHex);
        ASSERT_TRUE(loaded) << log.render();
        bool valid = false;
        const bool ran = key.eccVerifyHash(der, unsigned(derLen), false, ourDigest.data(), unsigned(fb), valid, log, 0);
        OPENSSL_free(der);

        EXPECT_EQ(theirs, !infinity) << "the case is not what it claims";
        if (theirs) {
            EXPECT_TRUE(ran && valid) << "valid signature refused (ran=" << ran << ")\n" << log.render();
        } else {
            EXPECT_FALSE(ran && valid) << "signature with u1*G + u2*Q at infinity accepted";
        }
        ++checked;
    }
    EXPECT_GE(checked, 25) << curve;
}

std::vector<std::string> everyCurve() {
    std::vector<std::string> curves = testing_support::genericCurves();
    curves.push_back("secp256k1");  // its own engine, the same corner cases
    return curves;
}

INSTANTIATE_TEST_SUITE_P(EveryCurve, ShamirEdgeCases, ::testing::ValuesIn(everyCurve()),
                         [](const ::testing::TestParamInfo<std::string>& p) { return p.param; });

}  // namespace
}  // namespace vn

// Signatures built so that the double-scalar product u1*G + u2*Q of their verification meets
// the corner cases of its addition chain: a running sum equal to a table entry (the same point
// under another Z) or to its negative, public keys that are small multiples of G, u1*G equal
// to u2*Q or to its negative, long runs of equal bits. OpenSSL's verdict on each is the
// reference; the cases are made by choosing u1, u2 and the key c, then r, s and the digest e
// so that verification recomputes exactly that u1 and u2.

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
    BnPtr mod(BnPtr v) {
        BN_nnmod(v.get(), v.get(), n, ctx);
        return v;
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
    void add(std::string label, BnPtr c, BnPtr u1, BnPtr u2) {
        cases.push_back(Case{std::move(label), std::move(c), std::move(u1), std::move(u2)});
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
        BnPtr sd1 = mod(word(d1)), sd2 = mod(word(d2));
        if (sign < 0) {
            BN_sub(sd1.get(), n, sd1.get());
            BN_sub(sd2.get(), n, sd2.get());
        }
        BnPtr num = addMod(sd1.get(), mod(shifted(h1.get(), w)).get(), true);
        BnPtr den = addMod(mod(shifted(h2.get(), w)).get(), sd2.get(), true);
        BnPtr c = newBn();
        if (BN_is_zero(num.get()) || !BN_mod_inverse(c.get(), den.get(), n, ctx)) return;
        c = mulMod(num.get(), c.get());
        const auto scalar = [&](const BIGNUM* h, unsigned d) {
            BnPtr u = shifted(h, w);
            BN_add_word(u.get(), d);
            u = shifted(u.get(), b);
            BN_add(u.get(), u.get(), below(shifted(word(1).get(), b).get()).get());
            return u;
        };
        add("meet b=" + std::to_string(b) + " w=" + std::to_string(w) + " d=(" + std::to_string(d1) + "," +
                std::to_string(d2) + ") sign=" + std::to_string(sign),
            std::move(c), scalar(h1.get(), d1), scalar(h2.get(), d2));
    }

    // Two digits at bit b with u1 = hi1*2^b + low, u2 = hi2*2^b + low, key fixed.
    void topDigits(const char* label, BnPtr c, unsigned hi1, unsigned hi2) {
        const int b = (bits - 4) & ~1;  // on the 2-bit window grid
        BnPtr u1 = shifted(word(hi1).get(), b), u2 = shifted(word(hi2).get(), b);
        BN_add(u1.get(), u1.get(), below(shifted(word(1).get(), b).get()).get());
        BN_add(u2.get(), u2.get(), below(shifted(word(1).get(), b).get()).get());
        add(label, std::move(c), std::move(u1), std::move(u2));
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
        BnPtr minusOne = newBn();
        BN_sub(minusOne.get(), n, BN_value_one());
        // Q = G, -G, 2G: table entries coincide with each other or cancel.
        add("Q=G", word(1), randomScalar(), randomScalar());
        add("Q=-G", BnPtr(BN_dup(minusOne.get()), BN_free), randomScalar(), randomScalar());
        add("Q=2G", word(2), randomScalar(), randomScalar());
        topDigits("Q=G, 4G met at the second window", word(1), 0x5, 0x3);
        topDigits("Q=2G, 4G met at the second window", word(2), 0x4, 0x2);
        topDigits("Q=-G, equal top digits", BnPtr(BN_dup(minusOne.get()), BN_free), 0x7, 0x7);
        for (int k = 0; k < 2; ++k) {
            BnPtr c = randomScalar(), u2 = randomScalar(), cu2 = mulMod(c.get(), u2.get());
            BnPtr neg = addMod(word(0).get(), cu2.get(), true);
            BnPtr small = word(1 + static_cast<BN_ULONG>(std::rand() % 16));
            add("u1*G == u2*Q", BnPtr(BN_dup(c.get()), BN_free), BnPtr(BN_dup(cu2.get()), BN_free),
                BnPtr(BN_dup(u2.get()), BN_free));
            add("u1*G == -u2*Q", BnPtr(BN_dup(c.get()), BN_free), BnPtr(BN_dup(neg.get()), BN_free),
                BnPtr(BN_dup(u2.get()), BN_free));
            add("u1 = c*u2 + small", BnPtr(BN_dup(c.get()), BN_free), addMod(cu2.get(), small.get()),
                BnPtr(BN_dup(u2.get()), BN_free));
            add("u1 = -c*u2 + small", std::move(c), addMod(neg.get(), small.get()), std::move(u2));
        }
        // Long runs of equal bits: 2^k - 1, and the same shifted up.
        const int k = bits / 2 + std::rand() % (bits / 2 - 1);
        BnPtr ones = shifted(word(1).get(), k);
        BN_sub_word(ones.get(), 1);
        add("u2 = 2^k - 1", randomScalar(), randomScalar(), BnPtr(BN_dup(ones.get()), BN_free));
        add("u1 = 2^k - 1", randomScalar(), BnPtr(BN_dup(ones.get()), BN_free), randomScalar());
        add("u2 = (2^k - 1) * 2^j", randomScalar(), randomScalar(), shifted(ones.get(), bits - 1 - k));
        add("u1 = u2 = 1", randomScalar(), word(1), word(1));
        add("u1 = u2 = n - 1", randomScalar(), BnPtr(BN_dup(minusOne.get()), BN_free),
            BnPtr(BN_dup(minusOne.get()), BN_free));
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
        BnPtr r = newBn(), s = newBn(), e = newBn(), x = newBn();
        if (infinity) {
            BN_rand_range(r.get(), n);  // no R: any r is wrong
        } else {
            ASSERT_EQ(EC_POINT_get_affine_coordinates(group, R.get(), x.get(), nullptr, ctx), 1);
            BN_nnmod(r.get(), x.get(), n, ctx);
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

INSTANTIATE_TEST_SUITE_P(GenericCurves, ShamirEdgeCases, ::testing::ValuesIn(testing_support::genericCurves()),
                         [](const ::testing::TestParamInfo<std::string>& p) { return p.param; });

}  // namespace
}  // namespace vn

// Key operations against OpenSSL on every curve and both engines: public points of edge and
// random scalars, ECDH, every signature form over several digest lengths in both directions,
// scripted nonces, and verification sums at the corners of the multiplication chains. All
// randomness comes from one printed seed, so a failure replays exactly.

#include <gtest/gtest.h>

#include <openssl/ecdh.h>
#include <openssl/ecdsa.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "support/openssl_oracle.h"
#include "support/scripted_prng.h"

namespace vn {
namespace {

using namespace testing_support;
using Bytes = std::vector<unsigned char>;

constexpr unsigned long long kSeed = 0x17EC0DE;

struct SeededPrng : _vnPrng {
    explicit SeededPrng(unsigned long long seed) : m_rng(seed) {}
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        const Bytes b = bytes(n);
        return out.append(b.data(), n);
    }
    Bytes bytes(std::size_t n) {
        Bytes b(n);
        for (unsigned char& c : b) c = static_cast<unsigned char>(m_rng() >> 32);
        return b;
    }
    std::mt19937_64 m_rng;
};

BnPtr bn(const unsigned char* p, std::size_t n) { return BnPtr(BN_bin2bn(p, static_cast<int>(n), nullptr), BN_free); }
BnPtr bn(const Bytes& b) { return bn(b.data(), b.size()); }
BnPtr word(BN_ULONG w) {
    BnPtr v = newBn();
    BN_set_word(v.get(), w);
    return v;
}
BnPtr dup(const BIGNUM* v) { return BnPtr(BN_dup(v), BN_free); }
Bytes padded(const BIGNUM* v, int width) {
    Bytes out(static_cast<std::size_t>(width));
    BN_bn2binpad(v, out.data(), width);
    return out;
}
std::string hex(const BIGNUM* v) {
    char* h = BN_bn2hex(v);
    std::string s(h);
    OPENSSL_free(h);
    return s;
}

using SigPtr = std::unique_ptr<ECDSA_SIG, decltype(&ECDSA_SIG_free)>;
SigPtr sigOf(const BIGNUM* r, const BIGNUM* s) {
    SigPtr sig(ECDSA_SIG_new(), ECDSA_SIG_free);
    ECDSA_SIG_set0(sig.get(), BN_dup(r), BN_dup(s));
    return sig;
}

// One named curve in OpenSSL.
struct Curve {
    explicit Curve(int index)
        : name(namedCurveAt(index).name), fb(namedCurveAt(index).fieldBytes),
          group(EC_GROUP_new_by_curve_name(nidOf(name)), EC_GROUP_free), ctx(BN_CTX_new(), BN_CTX_free),
          n(EC_GROUP_get0_order(group.get())), nBits(BN_num_bits(n)), k1(std::string(name) == "secp256k1") {}

    BnPtr mod(const BIGNUM* v) const {
        BnPtr r = newBn();
        BN_nnmod(r.get(), v, n, ctx.get());
        return r;
    }
    BnPtr random(SeededPrng& prng) const {  // in [1, n)
        BnPtr r = mod(bn(prng.bytes(static_cast<std::size_t>(fb) + 8)).get());
        if (BN_is_zero(r.get())) BN_one(r.get());
        return r;
    }
    PointPtr timesG(const BIGNUM* k) const {
        PointPtr r(EC_POINT_new(group.get()), EC_POINT_free);
        EC_POINT_mul(group.get(), r.get(), k, nullptr, nullptr, ctx.get());
        return r;
    }
    BnPtr xOf(const EC_POINT* P) const {
        BnPtr x = newBn();
        EC_POINT_get_affine_coordinates(group.get(), P, x.get(), nullptr, ctx.get());
        return x;
    }
    void expectPublicIs(const EccKey& key, const BIGNUM* k) const {
        EcKeyPtr ec = toOpenSslKey(key);
        EXPECT_TRUE(ec && !EC_POINT_cmp(group.get(), EC_KEY_get0_public_key(ec.get()), timesG(k).get(), ctx.get()) &&
                    BigNum::mp_cmp_d(key.m_pubPoint.z, 1) == 0)
            << "k = " << hex(k);
    }
    // OpenSSL reads the leftmost nBits bits of a digest: the digest that stands for e mod n there.
    Bytes theirDigest(const BIGNUM* e) const {
        const int bytes = (nBits + 7) / 8;
        BnPtr v = mod(e);
        BN_lshift(v.get(), v.get(), 8 * bytes - nBits);
        return padded(v.get(), bytes);
    }
    bool theyVerify(const Bytes& digest, const BIGNUM* r, const BIGNUM* s, EC_KEY* ec) const {
        return ECDSA_do_verify(digest.data(), static_cast<int>(digest.size()), sigOf(r, s).get(), ec) == 1;
    }

    const char* name;
    int fb;
    GroupPtr group;
    CtxPtr ctx;
    const BIGNUM* n;
    int nBits;
    bool k1;
};

Bytes i2d(const BIGNUM* r, const BIGNUM* s) {
    unsigned char* p = nullptr;
    const int len = i2d_ECDSA_SIG(sigOf(r, s).get(), &p);
    Bytes out(p, p + len);
    OPENSSL_free(p);
    return out;
}

Bytes rawOf(const BIGNUM* r, const BIGNUM* s, int width) {
    Bytes out = padded(r, width), sBytes = padded(s, width);
    out.insert(out.end(), sBytes.begin(), sBytes.end());
    return out;
}

bool generated(EccKey& key, const char* curve, const BIGNUM* k, LogBase& log) {
    const std::string h = hex(k);
    return key.generateNewKey2(StringBuffer(curve), (h.size() % 2 ? "0" + h : h).c_str(), "hex", log);
}

// Scalars at the ends of [1, n) and just above n, at 5- and 6-bit window borders, runs of
// ones, and random.
std::vector<BnPtr> edgeScalars(const Curve& c, SeededPrng& prng) {
    std::vector<BnPtr> out;
    for (BN_ULONG w : {1ul, 2ul, 3ul, 63ul, 64ul, 65ul}) out.push_back(word(w));
    for (int d : {-1, -2, -3, 1, 3}) {
        out.push_back(dup(c.n));
        d < 0 ? BN_sub_word(out.back().get(), static_cast<BN_ULONG>(-d))
              : BN_add_word(out.back().get(), static_cast<BN_ULONG>(d));
    }
    for (int b : {c.nBits - 1, c.nBits - 2, 6 * ((c.nBits - 1) / 6), 5 * ((c.nBits - 1) / 5), 60, 61}) {
        BnPtr p = newBn();
        BN_set_bit(p.get(), b);
        if (BN_cmp(p.get(), c.n) >= 0) continue;
        out.push_back(dup(p.get()));
        BN_sub_word(p.get(), 1);
        out.push_back(std::move(p));
    }
    for (int i = 0; i < 8; ++i) out.push_back(c.random(prng));
    return out;
}

TEST(OpenSslDifferential, PublicPointsAndSharedSecrets) {
    std::printf("seed %llx\n", kSeed);
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const Curve c(i);
        SCOPED_TRACE(c.name);
        SeededPrng prng(kSeed + static_cast<unsigned>(i));
        EccKey peer;
        LogBase log;
        ASSERT_TRUE(peer.generateNewKey(StringBuffer(c.name), prng, log)) << log.render();
        EcKeyPtr peerEc = toOpenSslKey(peer);

        // Above n the generic engine reduces k and writes it back; secp256k1 keeps it as given.
        for (const BnPtr& k : edgeScalars(c, prng)) {
            EccKey key;
            ASSERT_TRUE(generated(key, c.name, k.get(), log)) << hex(k.get()) << log.render();
            EXPECT_EQ(hexOf(key.m_k), hex(c.k1 ? k.get() : c.mod(k.get()).get()));
            c.expectPublicIs(key, k.get());
            // Both ways: the edge scalar on a random point, and a random scalar on the edge point.
            DataBuffer ours, theirs;
            ASSERT_TRUE(key.sharedSecret(peer, ours, log) && peer.sharedSecret(key, theirs, log)) << log.render();
            Bytes expected(static_cast<std::size_t>(c.fb));
            ASSERT_EQ(ECDH_compute_key(expected.data(), expected.size(), EC_KEY_get0_public_key(peerEc.get()),
                                       toOpenSslKey(key).get(), nullptr), c.fb);
            EXPECT_TRUE(ours.equals(expected.data(), unsigned(c.fb)) && theirs.equals(ours)) << hex(k.get());
            // A scalar wider than n (no loader leaves one, so it is set here) is reduced by the
            // generic engine's product; secp256k1 refuses any scalar wider than 256 bits.
            if (c.k1) continue;
            EccKey wide;
            wide.copyFromEccKey(key);
            mp_int n;
            BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
            BigNum::mp_add(key.m_k, n, wide.m_k);
            BigNum::mp_add(wide.m_k, n, wide.m_k);
            DataBuffer fromWide;
            EXPECT_TRUE(wide.sharedSecret(peer, fromWide, log) && fromWide.equals(ours)) << hex(k.get());
        }

        // 0 and n have no public point.
        const BnPtr zero = word(0);
        for (const BIGNUM* k : {static_cast<const BIGNUM*>(zero.get()), c.n}) {
            EccKey key;
            LogBase refused;
            EXPECT_FALSE(generated(key, c.name, k, refused));
            EXPECT_EQ(key.m_keyType, 0);
            EXPECT_EQ(refused.errors().back(), "point multiply failed.");
        }
    }
}

enum Form { kDer, kRaw, kSsh };

// The bytes each form must be for (r, s): SSH's string(mpint r) string(mpint s) is OpenSSL's MPI
// form, after the byte that was in the buffer already.
Bytes encoded(Form form, const BIGNUM* r, const BIGNUM* s, int fb) {
    if (form != kSsh) return form == kDer ? i2d(r, s) : rawOf(r, s, fb);
    Bytes out(static_cast<std::size_t>(1 + BN_bn2mpi(r, nullptr) + BN_bn2mpi(s, nullptr)), 0xEE);
    BN_bn2mpi(s, out.data() + 1 + BN_bn2mpi(r, out.data() + 1));
    return out;
}

TEST(OpenSslDifferential, SignaturesBothWays) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const Curve c(i);
        SeededPrng prng(kSeed ^ static_cast<unsigned>(i));
        EccKey key;
        LogBase log;
        ASSERT_TRUE(key.generateNewKey(StringBuffer(c.name), prng, log));
        EcKeyPtr ec = toOpenSslKey(key);
        BnPtr halfN = dup(c.n);
        BN_rshift1(halfN.get(), halfN.get());
        const unsigned fb = static_cast<unsigned>(c.fb);

        for (unsigned len : {20u, 32u, fb, 80u}) {
            Bytes digest = prng.bytes(len);
            // The signer reads at most fieldBytes of the digest below 64-byte fields; SSH reads all.
            const unsigned cut = fb < 64 && len > fb ? fb : len;
            for (Form form : {kDer, kRaw, kSsh}) {
                SCOPED_TRACE(std::string(c.name) + " digest " + std::to_string(len) + " form " + "DRS"[form]);
                DataBuffer sig;
                sig.appendChar(0xEE);
                LogBase signLog;
                const bool ok = form == kSsh ? key.eccSignHash_forSsh(digest.data(), len, prng, sig, signLog)
                                             : key.eccSignHash(digest.data(), len, prng, form == kDer, sig, signLog);
                if (c.k1 && form != kSsh && len < 32) {
                    EXPECT_TRUE(!ok && sig.getSize() == 0);
                    EXPECT_EQ(signLog.errors(), std::vector<std::string>{"secp256k1 must use SHA256"});
                    continue;
                }
                ASSERT_TRUE(ok) << signLog.render();
                const unsigned char* p = sig.getData2();
                const Bytes got(p, p + sig.getSize());
                BnPtr r = newBn(), s = newBn();
                if (form == kDer) {
                    ECDSA_SIG* parsed = d2i_ECDSA_SIG(nullptr, &p, long(got.size()));
                    ASSERT_NE(parsed, nullptr);
                    BN_copy(r.get(), ECDSA_SIG_get0_r(parsed));
                    BN_copy(s.get(), ECDSA_SIG_get0_s(parsed));
                    ECDSA_SIG_free(parsed);
                } else if (form == kRaw) {
                    ASSERT_EQ(got.size(), 2 * fb);
                    BN_bin2bn(p, c.fb, r.get());
                    BN_bin2bn(p + fb, c.fb, s.get());
                } else {  // after the 0xEE already there: string(mpint r) string(mpint s)
                    ASSERT_GT(got.size(), 9u);
                    const std::size_t rl =
                        std::size_t(got[1]) << 24 | std::size_t(got[2]) << 16 | std::size_t(got[3]) << 8 | got[4];
                    ASSERT_LT(rl + 9, got.size());
                    BN_bin2bn(p + 5, int(rl), r.get());
                    BN_bin2bn(p + 9 + rl, int(got.size() - 9 - rl), s.get());
                }
                EXPECT_EQ(got, encoded(form, r.get(), s.get(), c.fb));
                EXPECT_TRUE(!c.k1 || form == kSsh || BN_cmp(s.get(), halfN.get()) <= 0) << "high s";
                // Never a leading 00 in the DER integers.
                EXPECT_TRUE(c.k1 || form == kSsh || (BN_num_bits(r.get()) % 8 && BN_num_bits(s.get()) % 8));
                BnPtr e = c.mod(bn(digest.data(), form == kSsh ? len : cut).get());
                EXPECT_TRUE(c.theyVerify(c.theirDigest(e.get()), r.get(), s.get(), ec.get()));
            }
            if (c.k1 && len < 32) continue;

            // OpenSSL signs; we verify DER and raw (the forms ours were checked to equal, so this is
            // our own signatures' round trip too), and refuse a flipped digest or signature. High s
            // is valid too: low s is the signer's rule.
            const Bytes theirs = c.theirDigest(c.mod(bn(digest.data(), cut).get()).get());
            ECDSA_SIG* os = ECDSA_do_sign(theirs.data(), int(theirs.size()), ec.get());
            ASSERT_NE(os, nullptr);
            BnPtr r = dup(ECDSA_SIG_get0_r(os)), s = dup(ECDSA_SIG_get0_s(os));
            ECDSA_SIG_free(os);
            for (int row = 0; row < 6; ++row) {  // DER, raw; both with high s; a flipped digest, a flipped raw r||s
                if (row == 2) BN_sub(s.get(), c.n, s.get());
                Bytes v = row % 2 ? rawOf(r.get(), s.get(), c.fb) : i2d(r.get(), s.get()), d = digest;
                if (row == 4) d[0] ^= 0x01;
                if (row == 5) v.back() ^= 0x01;
                bool valid = false;
                const bool raw = row % 2;
                EXPECT_TRUE(key.eccVerifyHash(v.data(), unsigned(v.size()), raw, d.data(), len, valid, log, raw ? fb : 0));
                EXPECT_EQ(valid, row < 4) << c.name << " row " << row;
            }
        }
    }
}

// With the nonce scripted, r and s are what OpenSSL's arithmetic says: the nonce's byte order
// (big-endian on the generic engine, little-endian on secp256k1) and every step of s. The last
// row picks d with r*d = n - 1 and the all-FF digest, so that e + r*d carries past n.
TEST(OpenSslDifferential, ScriptedNonceGivesTheComputedSignature) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const Curve c(i);
        SCOPED_TRACE(c.name);
        SeededPrng prng(kSeed + 100 + static_cast<unsigned>(i));
        for (int row = 0; row < 3; ++row) {
            const Bytes digest = row == 0 ? prng.bytes(size_t(c.fb)) : Bytes(size_t(c.fb), 0xFF);
            BnPtr e = c.mod(bn(digest).get()), d = c.random(prng), k = newBn(), r = newBn(), s = newBn();
            do {
                k = c.random(prng);
                r = c.mod(c.xOf(c.timesG(k.get()).get()).get());
                if (row == 2) {  // d = -1/r
                    BN_mod_inverse(d.get(), r.get(), c.n, c.ctx.get());
                    BN_sub(d.get(), c.n, d.get());
                }
                BnPtr kInv(BN_mod_inverse(nullptr, k.get(), c.n, c.ctx.get()), BN_free), other = newBn();
                BN_mod_mul(s.get(), r.get(), d.get(), c.n, c.ctx.get());
                BN_mod_add(s.get(), s.get(), e.get(), c.n, c.ctx.get());
                BN_mod_mul(s.get(), s.get(), kInv.get(), c.n, c.ctx.get());
                BN_sub(other.get(), c.n, s.get());
                if (c.k1 && BN_cmp(other.get(), s.get()) < 0) s = std::move(other);
            } while (!c.k1 && (BN_num_bits(r.get()) % 8 == 0 || BN_num_bits(s.get()) % 8 == 0));
            EccKey key;
            LogBase log;
            ASSERT_TRUE(generated(key, c.name, d.get(), log));
            Bytes nonce = padded(k.get(), c.fb);
            if (c.k1) nonce = Bytes(nonce.rbegin(), nonce.rend());
            ScriptedPrng scripted;
            scripted.push(nonce);
            scripted.failAfter(1);
            DataBuffer sig;
            ASSERT_TRUE(key.eccSignHash(digest.data(), unsigned(digest.size()), scripted, false, sig, log)) << log.render();
            const Bytes expected = rawOf(r.get(), s.get(), c.fb);
            EXPECT_TRUE(sig.equals(expected.data(), unsigned(expected.size()))) << "row " << row;
        }
    }
}

// Verification sums u1*G + u2*Q at the corners of an addition chain: a running sum equal to a
// table entry (under another Z) or its negative, keys that are small multiples of G,
// u1*G = +-u2*Q (runs of equal bits and edge scalars are the engine tests' own). Each case picks
// u1, u2 and the key c; r, s and the digest then follow so that verification recomputes exactly
// that u1 and u2.
struct Case {
    std::string label;
    BnPtr c, u1, u2;
};

struct CaseMaker {
    static BnPtr shifted(const BIGNUM* v, int b) {  // v * 2^b, or v / 2^-b
        BnPtr r = newBn();
        b >= 0 ? BN_lshift(r.get(), v, b) : BN_rshift(r.get(), v, -b);
        return r;
    }
    static BnPtr below(const BIGNUM* limit) {  // in [0, limit)
        BnPtr r = newBn();
        if (!BN_is_zero(limit)) BN_pseudo_rand_range(r.get(), limit);
        return r;
    }
    BnPtr op(const BIGNUM* a, const BIGNUM* b, char how) const {
        BnPtr r = newBn();
        how == '*' ? BN_mod_mul(r.get(), a, b, n, ctx)
                   : how == '+' ? BN_mod_add(r.get(), a, b, n, ctx) : BN_mod_sub(r.get(), a, b, n, ctx);
        return r;
    }
    void add(std::string label, const BnPtr& c, const BnPtr& u1, const BnPtr& u2) {
        cases.push_back(Case{std::move(label), dup(c.get()), dup(u1.get()), dup(u2.get())});
    }
    static BnPtr withLow(const BIGNUM* high, int b) {  // high*2^b + random bits below
        BnPtr u = shifted(high, b);
        BN_add(u.get(), u.get(), below(shifted(word(1).get(), b).get()).get());
        return u;
    }
    // u = (H*2^w + digit)*2^b + low. Before the digits at bit b join, a chain reading w bits at
    // a time holds 2^w*(H1 + c*H2) * 2^b*G; c = (sign*d1 - 2^w*H1) / (2^w*H2 - sign*d2) makes
    // that sum sign*(d1*G + d2*Q), the entry about to be added (the 2-bit Shamir table: w = 2,
    // even b; the complete additions' own cases are the engine tests').
    void meet(int b, int w, unsigned d1, unsigned d2, int sign) {
        BnPtr limit = shifted(n, -(b + w)), c = newBn();
        if (BN_is_zero(limit.get())) return;
        BnPtr h1 = below(limit.get()), h2 = below(limit.get()), sd1 = word(d1), sd2 = word(d2);
        if (BN_is_zero(h1.get()) && BN_is_zero(h2.get())) BN_one(h1.get());
        BN_set_negative(sd1.get(), sign < 0);
        BN_set_negative(sd2.get(), sign < 0);
        BnPtr num = op(sd1.get(), shifted(h1.get(), w).get(), '-'), den = op(shifted(h2.get(), w).get(), sd2.get(), '-');
        if (BN_is_zero(num.get()) || !BN_mod_inverse(c.get(), den.get(), n, ctx)) return;
        BN_lshift(h1.get(), h1.get(), w);
        BN_lshift(h2.get(), h2.get(), w);
        BN_add_word(h1.get(), d1);
        BN_add_word(h2.get(), d2);
        add("meet b=" + std::to_string(b) + " w=" + std::to_string(w) + " sign=" + std::to_string(sign),
            op(num.get(), c.get(), '*'), withLow(h1.get(), b), withLow(h2.get(), b));
    }
    std::vector<Case> make() {
        const int even = (bits - 4) / 2;
        for (int k = 0; k < 16; ++k) {
            const int m = k < 4 ? k : k < 8 ? even - (k - 4) : std::rand() % even;
            meet(2 * m, 2, unsigned(std::rand() % 4), 1 + unsigned(std::rand() % 3), k % 2 ? -1 : 1);
        }
        BnPtr minusOne = op(word(0).get(), word(1).get(), '-');
        add("Q=G", word(1), below(n), below(n));
        add("Q=-G", minusOne, below(n), below(n));
        add("Q=2G", word(2), below(n), below(n));
        BnPtr c = below(n), u2 = below(n), cu2 = op(c.get(), u2.get(), '*');
        add("u1*G == u2*Q", c, cu2, u2);
        add("u1*G == -u2*Q", c, op(word(0).get(), cu2.get(), '-'), u2);
        add("random", below(n), below(n), below(n));
        return std::move(cases);
    }

    const BIGNUM* n;
    BN_CTX* ctx;
    int bits;
    std::vector<Case> cases;
};

TEST(OpenSslDifferential, VerificationCornerCasesGetOpenSslsVerdict) {
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const Curve c(i);
        std::srand(static_cast<unsigned>(kSeed) + static_cast<unsigned>(i));
        int checked = 0;
        for (const Case& tc : CaseMaker{c.n, c.ctx.get(), c.nBits, {}}.make()) {
            SCOPED_TRACE(std::string(c.name) + ": " + tc.label);
            EccKey key;
            LogBase log;
            ASSERT_TRUE(generated(key, c.name, tc.c.get(), log)) << log.render();
            EcKeyPtr ec = toOpenSslKey(key);
            PointPtr R(EC_POINT_new(c.group.get()), EC_POINT_free);
            const EC_POINT* Q = EC_KEY_get0_public_key(ec.get());
            EC_POINT_mul(c.group.get(), R.get(), tc.u1.get(), Q, tc.u2.get(), c.ctx.get());
            const bool atInfinity = EC_POINT_is_at_infinity(c.group.get(), R.get()) == 1;
            // No R: any r is wrong.
            BnPtr r = c.mod(atInfinity ? CaseMaker::below(c.n).get() : c.xOf(R.get()).get()), s = newBn(), e = newBn();
            if (BN_is_zero(r.get()) || !BN_mod_inverse(s.get(), tc.u2.get(), c.n, c.ctx.get())) continue;
            BN_mod_mul(s.get(), s.get(), r.get(), c.n, c.ctx.get());      // r/s = u2
            BN_mod_mul(e.get(), tc.u1.get(), s.get(), c.n, c.ctx.get());  // e/s = u1
            const bool theirs = c.theyVerify(c.theirDigest(e.get()), r.get(), s.get(), ec.get());
            EXPECT_EQ(theirs, !atInfinity) << "the case is not what it claims";
            const Bytes der = i2d(r.get(), s.get()), digest = padded(e.get(), c.fb);
            bool valid = false;
            const bool ran = key.eccVerifyHash(der.data(), unsigned(der.size()), false, digest.data(), unsigned(c.fb),
                                               valid, log, 0);
            EXPECT_EQ(ran && valid, theirs) << "ran=" << ran << "\n" << log.render();
            ++checked;
        }
        EXPECT_GE(checked, 18) << c.name;
    }
}

}  // namespace
}  // namespace vn

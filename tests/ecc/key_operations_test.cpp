#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

using testing_support::hexOf;

// Hands out queued byte strings, then fails; counts what was asked for.
class QueuePrng : public _vnPrng {
public:
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        requested.push_back(n);
        if (queue.empty()) return false;
        std::vector<unsigned char> next = queue.front();
        queue.pop_front();
        next.resize(n, 0x5A);
        return out.append(next.data(), n);
    }
    std::deque<std::vector<unsigned char>> queue;
    std::vector<unsigned int> requested;
};

std::vector<unsigned char> bytesOf(const mp_int& v, std::size_t width) {
    DataBuffer db;
    BigNum::mpint_to_db(v, db);
    std::vector<unsigned char> out(width - db.getSize(), 0);
    out.insert(out.end(), db.getData2(), db.getData2() + db.getSize());
    return out;
}

bool keyFromHex(EccKey& key, const char* curve, const char* hex, LogBase& log) {
    return key.generateNewKey2(StringBuffer(curve), hex, "hex", log);
}

TEST(KeyGeneration, ScalarOneGivesTheGeneratorOnBothEngines) {
    for (const char* curve : {"secp256r1", "secp256k1", "brainpoolP384r1"}) {
        EccKey key;
        LogBase log;
        ASSERT_TRUE(keyFromHex(key, curve, "01", log)) << log.render();
        EXPECT_EQ(key.m_keyType, 1);
        EXPECT_EQ(hexOf(key.m_pubPoint.x), std::string(key.m_curve.Gx.getString())) << curve;
        EXPECT_EQ(BigNum::mp_cmp_d(key.m_pubPoint.z, 1), 0);
        EXPECT_TRUE(key.isPoint(log));
    }
}

TEST(KeyGeneration, GenericCurvesReduceTheScalarModN) {
    EccKey key;
    LogBase log;
    mp_int n, one, k;
    ASSERT_TRUE(key.m_curve.loadCurveByName("secp384r1", log));
    BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
    BigNum::mp_set(one, 1);
    BigNum::mp_add(n, one, k);
    ASSERT_TRUE(keyFromHex(key, "secp384r1", hexOf(k).c_str(), log));
    EXPECT_EQ(BigNum::mp_cmp_d(key.m_k, 1), 0);
    EXPECT_EQ(hexOf(key.m_pubPoint.x), std::string(key.m_curve.Gx.getString()));
}

TEST(KeyGeneration, DrawsFieldBytesAndKeepsSecp256k1ScalarsAsDrawn) {
    QueuePrng prng;
    prng.queue.push_back(std::vector<unsigned char>(66, 0xFF));
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey(StringBuffer("P-521"), prng, log)) << log.render();
    EXPECT_EQ(prng.requested, std::vector<unsigned int>{66});
    mp_int n;
    BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
    EXPECT_EQ(BigNum::mp_cmp(key.m_k, n), -1);  // 2^528 - 1 was reduced

    std::vector<unsigned char> drawn(32);
    for (unsigned i = 0; i < 32; ++i) drawn[i] = static_cast<unsigned char>(0xF0 + (i % 16));
    prng.queue.push_back(drawn);
    ASSERT_TRUE(key.generateNewKey(StringBuffer("secp256k1"), prng, log));
    EXPECT_EQ(bytesOf(key.m_k, 32), drawn);  // above n, yet not reduced on this engine
}

TEST(KeyGeneration, FailuresAndTheirLines) {
    QueuePrng prng;
    EccKey key;
    LogBase log;
    EXPECT_FALSE(key.generateNewKey(StringBuffer("P-999"), prng, log));
    EXPECT_EQ(log.errors().back(), "Failed to load curve by name.");
    EXPECT_TRUE(prng.requested.empty());

    LogBase log2;
    EXPECT_FALSE(key.generateNewKey(StringBuffer("P-256"), prng, log2));  // empty queue: the generator fails
    EXPECT_EQ(log2.errors(), std::vector<std::string>{"Failed to generate random private key."});
    EXPECT_TRUE(key.m_k.isZero());

    LogBase log3;
    EXPECT_FALSE(keyFromHex(key, "P-256", "0g", log3));
    EXPECT_EQ(log3.errors(), std::vector<std::string>{"Failed to decode K."});

    LogBase log4;
    EXPECT_FALSE(keyFromHex(key, "P-999", "01", log4));
    EXPECT_EQ(log4.errors().back(), "Unsupported ECC curve..");
}

TEST(KeyGeneration, RegeneratePubKeyChecksThePoint) {
    EccKey src, copy;
    LogBase log;
    ASSERT_TRUE(keyFromHex(src, "brainpoolP256r1", "0123456789ABCDEF", log));
    ASSERT_TRUE(copy.regeneratePubKey(src, log));
    EXPECT_EQ(BigNum::mp_cmp(copy.m_pubPoint.y, src.m_pubPoint.y), 0);
    EXPECT_EQ(BigNum::mp_cmp(copy.m_k, src.m_k), 0);

    mp_int one;
    BigNum::mp_set(one, 1);
    BigNum::mp_add(src.m_pubPoint.y, one, src.m_pubPoint.y);
    LogBase log2;
    EXPECT_FALSE(copy.regeneratePubKey(src, log2));
    EXPECT_EQ(log2.errors(), (std::vector<std::string>{"y is different!", "Failed."}));
}

class SigningOnP256 : public ::testing::Test {
protected:
    void SetUp() override {
        LogBase log;
        ASSERT_TRUE(keyFromHex(key, "secp256r1", "C9AFA9D845BA75166B5C215767B1D6934E50C3DB36E89B127B8A622B120F6721", log));
    }
    bool verify(const DataBuffer& sig, const unsigned char* digest, unsigned len, bool& valid, LogBase& log,
                bool useRLen = false, unsigned rLen = 0) {
        return key.eccVerifyHash(sig.getData2(), sig.getSize(), useRLen, digest, len, valid, log, rLen);
    }
    EccKey key;
    _vnSystemPrng prng;
};

TEST_F(SigningOnP256, LongDigestsAreCutToTheFieldWidth) {
    std::vector<unsigned char> sha384(48);
    for (unsigned i = 0; i < 48; ++i) sha384[i] = static_cast<unsigned char>(i * 7 + 1);
    LogBase log;
    DataBuffer sig;
    ASSERT_TRUE(key.eccSignHash(sha384.data(), 48, prng, false, sig, log));
    EXPECT_EQ(sig.getSize(), 64u);
    bool valid = false;
    ASSERT_TRUE(verify(sig, sha384.data(), 32, valid, log));
    EXPECT_TRUE(valid);
    ASSERT_TRUE(verify(sig, sha384.data(), 48, valid, log));
    EXPECT_TRUE(valid);
}

TEST_F(SigningOnP256, GenericSignaturesNeverNeedALeadingZero) {
    unsigned char digest[32] = {0x80};
    for (int i = 0; i < 20; ++i) {
        LogBase log;
        DataBuffer sig;
        ASSERT_TRUE(key.eccSignHash(digest, 32, prng, true, sig, log));
        const unsigned char* d = sig.getData2();
        unsigned rLen = d[3];
        EXPECT_LT(d[4], 0x80);
        EXPECT_NE(d[4], 0x00);
        EXPECT_LT(d[4 + rLen + 2], 0x80);
        EXPECT_NE(d[4 + rLen + 2], 0x00);
    }
}

TEST_F(SigningOnP256, MalformedSignaturesAreRefusedWithTheirLines) {
    unsigned char digest[32] = {1, 2, 3};
    LogBase log;
    DataBuffer der;
    ASSERT_TRUE(key.eccSignHash(digest, 32, prng, true, der, log));
    der.appendChar(0);  // no longer DER, and no raw size either
    bool valid = true;
    LogBase log2;
    EXPECT_FALSE(verify(der, digest, 32, valid, log2));
    EXPECT_FALSE(valid);
    EXPECT_EQ(log2.errors(), (std::vector<std::string>{"Unexpected size for R,S signature.",
                                                        "Failed to unpack ASN.1 DSA/ECDSA signature."}));

    // r = n and s = 0 are out of range: a failure here, with error code 1.
    mp_int n;
    BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
    mp_int one;
    BigNum::mp_set(one, 1);
    for (int which = 0; which < 2; ++which) {
        DataBuffer raw;
        std::vector<unsigned char> r = which == 0 ? bytesOf(n, 32) : bytesOf(one, 32);
        std::vector<unsigned char> s = which == 0 ? bytesOf(one, 32) : std::vector<unsigned char>(32, 0);
        raw.append(r.data(), 32);
        raw.append(s.data(), 32);
        LogBase log3;
        EXPECT_FALSE(verify(raw, digest, 32, valid, log3));
        ASSERT_FALSE(log3.entries().empty());
        EXPECT_EQ(log3.entries().back().name, "EccVerifyError");
        EXPECT_EQ(log3.entries().back().text, "1");
    }

    LogBase log4;
    EXPECT_FALSE(key.eccVerifyHash(nullptr, 0, false, digest, 32, valid, log4, 0));
    EXPECT_EQ(log4.errors(), std::vector<std::string>{"null inputs."});
}

TEST_F(SigningOnP256, SshBodyAndTlsRewrap) {
    unsigned char digest[32] = {9};
    LogBase log;
    DataBuffer ssh;
    ssh.appendChar(0xEE);  // appended to
    ASSERT_TRUE(key.eccSignHash_forSsh(digest, 32, prng, ssh, log));
    const unsigned char* d = ssh.getData2() + 1;
    unsigned rLen = (unsigned(d[0]) << 24) | (unsigned(d[1]) << 16) | (unsigned(d[2]) << 8) | d[3];
    unsigned sLen = (unsigned(d[4 + rLen]) << 24) | (unsigned(d[5 + rLen]) << 16) | (unsigned(d[6 + rLen]) << 8) |
                    d[7 + rLen];
    EXPECT_EQ(ssh.getSize(), 1 + 8 + rLen + sLen);
    EXPECT_LE(rLen, 33u);
    if (rLen == 33) {
        EXPECT_EQ(d[4], 0x00);
        EXPECT_GE(d[5], 0x80);
    }

    // Raw 64 bytes and the DER of the same signature re-wrap to the same DER.
    DataBuffer raw, der, fromRaw, fromDer;
    ASSERT_TRUE(key.eccSignHash(digest, 32, prng, false, raw, log));
    ASSERT_TRUE(EccKey::eccWrapSigAsn_forTls(raw, 0, fromRaw, log));
    ASSERT_TRUE(EccKey::eccWrapSigAsn_forTls(fromRaw, 0, fromDer, log));
    EXPECT_TRUE(fromRaw.equals(fromDer));
    bool valid = false;
    ASSERT_TRUE(verify(fromRaw, digest, 32, valid, log));
    EXPECT_TRUE(valid);

    DataBuffer fifty, out;
    for (int i = 0; i < 50; ++i) fifty.appendChar(0x11);
    LogBase log2;
    EXPECT_FALSE(EccKey::eccWrapSigAsn_forTls(fifty, 0, out, log2));
    EXPECT_EQ(log2.errors(), std::vector<std::string>{"Unexpected size for R,S signature."});
}

// With a nonce chosen so that s = 0 (digest e = -d*r mod n), the signer must try again.
TEST_F(SigningOnP256, ZeroSIsRetriedWithANewNonce) {
    std::vector<unsigned char> k1(32, 0x11);
    EccKey nonce;
    LogBase log;
    ASSERT_TRUE(nonce.generateNewKey2(StringBuffer("secp256r1"), "1111111111111111111111111111111111111111111111111111111111111111",
                                      "hex", log));
    mp_int n, r, e;
    BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
    BigNum::mp_mod(nonce.m_pubPoint.x, n, r);
    BigNum::mp_mulmod(key.m_k, r, n, e);
    BigNum::mp_sub(n, e, e);  // e = -d*r
    std::vector<unsigned char> digest = bytesOf(e, 32);

    QueuePrng scripted;
    scripted.queue.push_back(k1);
    for (unsigned i = 0; i < 40; ++i) {
        std::vector<unsigned char> k(32);
        for (unsigned j = 0; j < 32; ++j) k[j] = static_cast<unsigned char>(i * 31 + j * 7 + 3);
        scripted.queue.push_back(k);
    }
    DataBuffer sig;
    ASSERT_TRUE(key.eccSignHash(digest.data(), 32, scripted, false, sig, log)) << log.render();
    EXPECT_GE(scripted.requested.size(), 2u);
    bool valid = false;
    ASSERT_TRUE(verify(sig, digest.data(), 32, valid, log));
    EXPECT_TRUE(valid);

    // A generator that fails makes signing fail with the curve's name in the log.
    QueuePrng failing;
    LogBase log2;
    EXPECT_FALSE(key.eccSignHash(digest.data(), 32, failing, false, sig, log2));
    EXPECT_EQ(log2.errors(), std::vector<std::string>{"Failed to generate point on curve."});
    EXPECT_NE(log2.render().find("curveName: secp256r1"), std::string::npos);
}

TEST(SignatureForms, RawSizesAndCallerSplit) {
    EccKey key;
    LogBase log;
    ASSERT_TRUE(keyFromHex(key, "secp160r1", "0102030405", log));
    _vnSystemPrng prng;
    unsigned char digest[20] = {5};
    DataBuffer raw;
    ASSERT_TRUE(key.eccSignHash(digest, 20, prng, false, raw, log));
    ASSERT_EQ(raw.getSize(), 40u);
    bool valid = false;
    ASSERT_TRUE(key.eccVerifyHash(raw.getData2(), 40, true, digest, 20, valid, log, 20));
    EXPECT_TRUE(valid);
    LogBase log2;
    EXPECT_FALSE(key.eccVerifyHash(raw.getData2(), 40, false, digest, 20, valid, log2, 0));
    EXPECT_EQ(log2.errors().front(), "Unexpected size for R,S signature.");
}

TEST(SignatureForms, RawSignaturesSplitByTheirSize) {
    struct Case {
        const char* curve;
        unsigned rawLen;
    } cases[] = {{"secp192r1", 48}, {"brainpoolP256r1", 64}, {"brainpoolP384r1", 96}, {"brainpoolP512r1", 128},
                 {"secp521r1", 132}};
    for (const Case& c : cases) {
        EccKey key;
        LogBase log;
        ASSERT_TRUE(keyFromHex(key, c.curve, "5EED", log));
        _vnSystemPrng prng;
        unsigned char digest[20] = {0x42};
        DataBuffer raw;
        ASSERT_TRUE(key.eccSignHash(digest, 20, prng, false, raw, log));
        ASSERT_EQ(raw.getSize(), c.rawLen) << c.curve;
        bool valid = false;
        ASSERT_TRUE(key.eccVerifyHash(raw.getData2(), c.rawLen, false, digest, 20, valid, log, 0)) << c.curve;
        EXPECT_TRUE(valid) << c.curve;
    }
}

TEST(SignatureForms, WideFieldsUseTheWholeDigest) {
    struct Case {
        const char* curve;
        unsigned digestLen;
        unsigned rawLen;
    } cases[] = {{"secp521r1", 64, 132}, {"brainpoolP512r1", 80, 128}};
    for (const Case& c : cases) {
        EccKey key;
        LogBase log;
        ASSERT_TRUE(keyFromHex(key, c.curve, "77", log));
        _vnSystemPrng prng;
        std::vector<unsigned char> digest(c.digestLen, 0x3C);
        DataBuffer raw;
        ASSERT_TRUE(key.eccSignHash(digest.data(), c.digestLen, prng, false, raw, log));
        EXPECT_EQ(raw.getSize(), c.rawLen) << c.curve;
        bool valid = false;
        ASSERT_TRUE(key.eccVerifyHash(raw.getData2(), raw.getSize(), false, digest.data(), c.digestLen, valid, log, 0));
        EXPECT_TRUE(valid) << c.curve;
        // Its first 64 bytes alone are a different digest: nothing was cut.
        if (c.digestLen > 64) {
            digest[70] ^= 1;
            ASSERT_TRUE(
                key.eccVerifyHash(raw.getData2(), raw.getSize(), false, digest.data(), c.digestLen, valid, log, 0));
            EXPECT_FALSE(valid) << c.curve;
        }
    }
}

TEST(KeyAgreement, CurveMismatchLeavesTheSecretEmpty) {
    EccKey a, b;
    LogBase log;
    ASSERT_TRUE(keyFromHex(a, "secp256r1", "05", log));
    ASSERT_TRUE(keyFromHex(b, "secp384r1", "05", log));
    DataBuffer secret;
    LogBase log2;
    EXPECT_FALSE(a.sharedSecret(b, secret, log2));
    EXPECT_EQ(secret.getSize(), 0u);
    EXPECT_EQ(log2.errors(), std::vector<std::string>{"ECC curves are different"});
    EXPECT_NE(log2.render().find("pubKeyCurve: secp384r1"), std::string::npos);
}

TEST(KeyOperations, NothingModifiesTheKey) {
    for (const char* curve : {"secp256r1", "secp256k1", "brainpoolP224r1"}) {
        EccKey key, before, peer;
        LogBase log;
        ASSERT_TRUE(keyFromHex(key, curve, "ABCDEF0123", log));
        ASSERT_TRUE(keyFromHex(peer, curve, "0FEDCBA9", log));
        before.copyFromEccKey(key);
        _vnSystemPrng prng;
        unsigned char digest[32] = {42};
        DataBuffer sig, ssh, secret;
        bool valid = false;
        ASSERT_TRUE(key.eccSignHash(digest, 32, prng, true, sig, log)) << curve << log.render();
        ASSERT_TRUE(key.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest, 32, valid, log, 0));
        EXPECT_TRUE(valid) << curve;
        ASSERT_TRUE(key.eccSignHash_forSsh(digest, 32, prng, ssh, log));
        ASSERT_TRUE(key.sharedSecret(peer, secret, log));
        EXPECT_EQ(BigNum::mp_cmp(key.m_k, before.m_k), 0);
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.x, before.m_pubPoint.x), 0);
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.y, before.m_pubPoint.y), 0);
        EXPECT_EQ(key.m_keyType, 1);
    }
}

}  // namespace
}  // namespace vn

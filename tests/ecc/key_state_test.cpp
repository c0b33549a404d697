// What the differential loops cannot see: the key object's life cycle, the exact lines each
// refused operation writes and the state it leaves behind, the generator-driven paths (retry,
// failing or degenerate generators), and the secp256k1 verifier's verdict line.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "support/openssl_oracle.h"
#include "support/scripted_prng.h"

namespace vn {
namespace {

using testing_support::hexOf;
using testing_support::ScriptedPrng;
using Lines = std::vector<std::string>;

void make(EccKey& key, const char* curve, const char* hex) {
    LogBase log;
    EXPECT_TRUE(key.generateNewKey2(StringBuffer(curve), hex, "hex", log)) << log.render();
}

// Everything a key holds, as one line: a whole state is one comparison.
std::string state(const EccKey& key) {
    StringBuffer oid("stale");
    key.getCurveOid(oid);
    const EccPoint& P = key.m_pubPoint;
    return std::string(oid.getString()) + "|" + std::to_string(key.m_keyType) + "|" +
           std::to_string(key.get_ModulusBitLen()) + "|" + key.m_curve.name.getString() + "|" +
           std::to_string(P.format) + "|" +
           (P.x.isZero() && P.y.isZero() && P.z.isZero() ? "O" : "P") + "|" + hexOf(key.m_k) + "|" +
           std::to_string(key.m_pkcs8Attributes.getSize());
}

TEST(KeyState, LifeCycle) {
    EccKey fresh, used, copy;
    make(used, "brainpoolP320r1", "01234567");
    make(copy, "secp521r1", "05");
    const std::string empty = state(fresh);
    EXPECT_EQ(empty, "|0|0||4|O||0");
    used.m_pubPoint.format = 6;
    used.m_pkcs8Attributes.append("\xA0\x00", 2);
    copy.copyFromEccKey(used);  // everything of the previous key goes
    used.clearEccKey();
    EXPECT_EQ(state(used), empty);
    EXPECT_EQ(state(copy), "1.3.36.3.3.2.8.1.1.9|1|320|brainpoolp320r1|6|P|01234567|2");
    LogBase log;
    EXPECT_TRUE(copy.isPoint(log));  // and the curve's parameters with it

}

// Each row runs one refused operation: it must return false with exactly these error lines,
// the named data value, and the row's own checks of what it left behind.
struct Row {
    const char* name;
    std::function<bool(LogBase&)> run;
    Lines errors;
    const char* data = "";
    unsigned outAfter = 1;  // 0: the output was emptied; 1: the sentinel byte is untouched
};

TEST(KeyState, RefusalsAndTheirLines) {
    EccKey p256, k1, p384, pub, target;
    make(p256, "secp256r1", "C9AFA9D845BA75166B5C215767B1D6934E50C3DB36E89B127B8A622B120F6721");
    make(k1, "secp256k1", "C0FFEE");
    make(p384, "secp384r1", "05");
    pub.copyFromEccKey(p256);
    pub.m_keyType = 0;
    const unsigned char digest[32] = {1, 2, 3};
    DataBuffer out;
    bool valid = true;
    ScriptedPrng failing;
    failing.failAfter(0);
    const Row rows[] = {
        {"curve unknown", [&](LogBase& log) { return target.generateNewKey(StringBuffer("P-999"), failing, log); },
         {"Unsupported ECDSA curve.", "Unsupported ECC curve..", "Failed to load curve by name."}},
        {"generator fails",
         [&](LogBase& log) {
             const bool ok = target.generateNewKey(StringBuffer("P-256"), failing, log);
             EXPECT_TRUE(target.m_k.isZero() && target.m_keyType == 0);
             return ok;
         },
         {"Failed to generate random private key."}},
        {"K not hex", [&](LogBase& log) { return target.generateNewKey2(StringBuffer("P-256"), "0g", "hex", log); },
         {"Failed to decode K."}},
        {"regenerate, y differs",
         [&](LogBase& log) {
             EccKey src;
             make(src, "brainpoolP256r1", "0123456789ABCDEF");
             BigNum::mp_add(src.m_pubPoint.y, src.m_pubPoint.z, src.m_pubPoint.y);
             return target.regeneratePubKey(src, log);
         },
         {"y is different!", "Failed."}},
        {"isPoint, B unreadable",
         [&](LogBase& log) {
             target.copyFromEccKey(p256);
             target.m_curve.B.setString("xyz");
             return target.isPoint(log);
         },
         {"Failed to decode curve B."}},
        {"isPoint, no prime",
         [&](LogBase& log) {
             target.m_curve.p.setString("");
             return target.isPoint(log);
         },
         {"Failed to decode curve prime."}},
        {"generic nonce fails",
         [&](LogBase& log) { return p256.eccSignHash(digest, 32, failing, false, out, log); },
         {"Failed to generate point on curve."}, "curveName: secp256r1", 0},
        {"secp256k1 scalar wider than 256 bits",
         [&](LogBase& log) {
             target.copyFromEccKey(k1);
             BigNum::mp_read_radix(target.m_k, ("1" + std::string(58, '0') + "C0FFEE").c_str(), 16);
             return target.eccSignHash(digest, 32, failing, false, out, log);
         },
         {"Private key is wider than 256 bits; it is not a secp256k1 scalar."}, "", 0},
        {"ECDH across curves", [&](LogBase& log) { return p256.sharedSecret(p384, out, log); },
         {"ECC curves are different"}, "pubKeyCurve: secp384r1", 0},
        {"public key signs", [&](LogBase& log) { return pub.eccSignHash(digest, 32, failing, true, out, log); },
         {"Must be a private key."}, "", 0},
        {"public key signs for SSH",
         [&](LogBase& log) { return pub.eccSignHash_forSsh(digest, 32, failing, out, log); },
         {"Must be a private key."}},
        {"public key agrees", [&](LogBase& log) { return pub.sharedSecret(p256, out, log); },
         {"Must be a private key."}, "", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        LogBase log;
        out.clear();
        out.appendChar(0xEE);
        EXPECT_FALSE(row.run(log));
        EXPECT_EQ(log.errors(), row.errors);
        EXPECT_NE(log.render().find(row.data), std::string::npos) << log.render();
        EXPECT_EQ(out.getSize(), row.outAfter);
    }

    // All-FF (k >= n) and all-zero nonces are drawn again, up to 100 times, without a line.
    for (int byte : {-1, 0xFF, 0x00}) {
        ScriptedPrng prng;
        byte < 0 ? prng.failAfter(0) : prng.fillWith(static_cast<unsigned char>(byte));
        LogBase log;
        EXPECT_FALSE(k1.eccSignHash(digest, 32, prng, true, out, log));
        EXPECT_EQ(prng.calls(), byte < 0 ? 1 : 100);
        EXPECT_EQ(log.errors(), byte < 0 ? Lines{"Failed to generate random nonce."} : Lines{}) << byte;
    }

    // A short raw signature on secp256k1, and each input missing on both engines (a zero or
    // short hash length is in the hostile-input data).
    const Lines null{"null inputs."};
    const struct {
        EccKey* key;
        const unsigned char *sig, *hash;
        unsigned sigLen;
        Lines errors;
    } verifies[] = {
        {&k1, digest, digest, 31, {"Unexpected size for R,S signature.", "Failed to unpack ASN.1 DSA/ECC signature."}},
        {&p256, nullptr, digest, 64, null}, {&p256, digest, digest, 0, null}, {&p256, digest, nullptr, 64, null},
        {&k1, nullptr, digest, 64, null},   {&k1, digest, digest, 0, null},   {&k1, digest, nullptr, 64, null},
    };
    for (const auto& v : verifies) {
        LogBase log;
        valid = true;
        EXPECT_FALSE(v.key->eccVerifyHash(v.sig, v.sigLen, false, v.hash, 32, valid, log, 0));
        EXPECT_FALSE(valid);
        EXPECT_EQ(log.errors(), v.errors) << v.key->m_curve.name.getString() << " " << v.sigLen;
    }
}

// A nonce that makes s = 0 (digest e = -d*r mod n) is drawn again on the generic engine.
TEST(KeyState, ZeroSIsSignedWithTheNextNonce) {
    EccKey key, nonce;
    make(key, "secp256r1", "C9AFA9D845BA75166B5C215767B1D6934E50C3DB36E89B127B8A622B120F6721");
    make(nonce, "secp256r1", std::string(64, '1').c_str());
    mp_int n, r, e;
    BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
    BigNum::mp_mod(nonce.m_pubPoint.x, n, r);
    BigNum::mp_mulmod(key.m_k, r, n, e);
    BigNum::mp_sub(n, e, e);
    DataBuffer digest;
    BigNum::mpint_to_db(e, digest);
    ASSERT_EQ(digest.getSize(), 32u);
    ScriptedPrng prng;
    for (unsigned char b = 0x11; b < 0x99; b = static_cast<unsigned char>(b + 0x11)) {
        prng.push(std::vector<unsigned char>(32, b));  // the top-byte rule may refuse some too
    }
    prng.failAfter(8);
    LogBase log;
    DataBuffer sig;
    bool valid = false;
    ASSERT_TRUE(key.eccSignHash(digest.getData2(), 32, prng, false, sig, log)) << log.render();
    EXPECT_GE(prng.calls(), 2);
    ASSERT_TRUE(key.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.getData2(), 32, valid, log, 0));
    EXPECT_TRUE(valid);
}

// The secp256k1 verifier names its verdict; off the curve its own key's signature is no match.
TEST(KeyState, Secp256k1VerdictLine) {
    EccKey key, offCurve;
    make(key, "secp256k1", "05EC9256B1");
    offCurve.copyFromEccKey(key);
    BigNum::mp_add(offCurve.m_pubPoint.y, key.m_pubPoint.z, offCurve.m_pubPoint.y);
    const unsigned char digest[32] = {7};
    ScriptedPrng prng;
    prng.fillWith(0x42);
    DataBuffer sig;
    LogBase log;
    ASSERT_TRUE(key.eccSignHash(digest, 32, prng, false, sig, log)) << log.render();
    for (EccKey* target : {&key, &offCurve}) {
        LogBase verifyLog;
        bool valid = target != &key;
        EXPECT_TRUE(target->eccVerifyHash(sig.getData2(), sig.getSize(), false, digest, 32, valid, verifyLog, 0));
        EXPECT_EQ(valid, target == &key);
        EXPECT_NE(verifyLog.render().find(valid ? "sigValid: 1" : "sigValid: 0"), std::string::npos) << verifyLog.render();
    }
}

}  // namespace
}  // namespace vn

// Signing and verification of secp256k1 keys on the fixed-width engine: interop with
// OpenSSL in both directions, known answers from GMP for scripted nonces, the nonce
// retry limit, and the inputs reported as invalid rather than as failures.

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/obj_mac.h>

#include <string>
#include <vector>

#include "K1TestSupport.h"
#include "ecc/EccKey.h"
#include "ecc/secp256k1/Uint256Conversions.h"
#include "host/BigNum.h"
#include "support/openssl_oracle.h"
#include "support/scripted_prng.h"

namespace {

using namespace k1test;
using vn::BigNum;
using vn::DataBuffer;
using vn::EccKey;
using vn::LogBase;
using Bytes = std::vector<unsigned char>;

const _vnUnsigned256 kOrder = U(kN);

void makeKey(EccKey& key, const _vnUnsigned256& d) {
    LogBase log;
    ASSERT_TRUE(key.m_curve.loadCurveByName("secp256k1", log));
    vn::uint256_to_mp_int(d, key.m_k);
    key.m_keyType = 1;
    _vnCurvePt Q = _vnCurvePt::m_s_G;
    Q.multiplyPt(d);
    Q.normalizePt();
    vn::uint256_to_mp_int(_vnUnsigned256(Q.x), key.m_pubPoint.x);
    vn::uint256_to_mp_int(_vnUnsigned256(Q.y), key.m_pubPoint.y);
    BigNum::mp_set(key.m_pubPoint.z, 1);
}

std::string snapshot(const EccKey& key) {
    using vn::testing_support::hexOf;
    return std::to_string(key.m_keyType) + key.m_curve.name.getString() + "|" + hexOf(key.m_k) + "|" +
           hexOf(key.m_pubPoint.x) + "|" + hexOf(key.m_pubPoint.y) + "|" + hexOf(key.m_pubPoint.z);
}

struct Sig {
    _vnUnsigned256 r, s;
};

Bytes raw(const Sig& sig) {
    Bytes out(64);
    sig.r.getBigEndian(out.data());
    sig.s.getBigEndian(out.data() + 32);
    return out;
}

Sig fromRaw(const DataBuffer& b) { return {_vnUnsigned256(b.getData2()), _vnUnsigned256(b.getData2() + 32)}; }

// OpenSSL's own DER for (r, s): the canonical encoding ours must match byte for byte.
Bytes der(const Sig& sig) {
    unsigned char rb[32], sb[32];
    sig.r.getBigEndian(rb);
    sig.s.getBigEndian(sb);
    ECDSA_SIG* es = ECDSA_SIG_new();
    ECDSA_SIG_set0(es, BN_bin2bn(rb, 32, nullptr), BN_bin2bn(sb, 32, nullptr));
    unsigned char* p = nullptr;
    const int n = i2d_ECDSA_SIG(es, &p);
    Bytes out(p, p + n);
    OPENSSL_free(p);
    ECDSA_SIG_free(es);
    return out;
}

Sig sigOf(const ECDSA_SIG* es) {
    unsigned char rb[32], sb[32];
    BN_bn2binpad(ECDSA_SIG_get0_r(es), rb, 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(es), sb, 32);
    return {_vnUnsigned256(rb), _vnUnsigned256(sb)};
}

// The key in OpenSSL; with its private scalar when withPrivate.
struct OsslKey {
    OsslKey(const EccKey& key, bool withPrivate) : k(EC_KEY_new_by_curve_name(NID_secp256k1)) {
        using vn::testing_support::toBn;
        BIGNUM *x = BN_new(), *y = BN_new(), *d = BN_new();
        toBn(key.m_pubPoint.x, x);
        toBn(key.m_pubPoint.y, y);
        toBn(key.m_k, d);
        EXPECT_EQ(EC_KEY_set_public_key_affine_coordinates(k, x, y), 1);
        if (withPrivate) {
            EXPECT_EQ(EC_KEY_set_private_key(k, d), 1);
        }
        BN_free(x);
        BN_free(y);
        BN_clear_free(d);
    }
    ~OsslKey() { EC_KEY_free(k); }
    OsslKey(const OsslKey&) = delete;
    OsslKey& operator=(const OsslKey&) = delete;

    bool verify(const Bytes& digest, const Sig& sig) const {
        const Bytes d = der(sig);
        const unsigned char* p = d.data();
        ECDSA_SIG* es = d2i_ECDSA_SIG(nullptr, &p, static_cast<long>(d.size()));
        const int ok = ECDSA_do_verify(digest.data(), static_cast<int>(digest.size()), es, k);
        ECDSA_SIG_free(es);
        return ok == 1;
    }
    Sig sign(const Bytes& digest) const {
        ECDSA_SIG* es = ECDSA_do_sign(digest.data(), static_cast<int>(digest.size()), k);
        const Sig out = sigOf(es);
        ECDSA_SIG_free(es);
        return out;
    }
    EC_KEY* k;
};

// Verifies here: the result of the call, with valid set to sigValid.
bool verifyHere(EccKey& key, const Bytes& sig, const Bytes& digest, bool& valid, LogBase& log) {
    return key.eccVerifyHashK(sig.data(), static_cast<unsigned>(sig.size()), false, digest.data(),
                              static_cast<unsigned>(digest.size()), valid, log, 0);
}

// Verifies here and insists that the verification was carried out; sigValid is returned.
bool validHere(EccKey& key, const Bytes& sig, const Bytes& digest) {
    LogBase log;
    bool valid = true;
    EXPECT_TRUE(verifyHere(key, sig, digest, valid, log)) << log.render();
    return valid;
}

Bytes randomDigest(Gen& gen) {
    Bytes d(32);
    gen.u256().getBigEndian(d.data());
    return d;
}

std::string loggedSigValid(const LogBase& log) {
    for (const auto& entry : log.entries()) {
        if (entry.kind == LogBase::Kind::Data && entry.name == "sigValid") return entry.text;
    }
    return "<none>";
}

TEST(FastPath, InteropWithOpenSslInBothDirections) {
    Gen gen(0xFA57);
    vn::_vnSystemPrng prng;
    const _vnUnsigned256 halfOrder = U("7FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF5D576E7357A4501DDFE92F46681B20A0");
    for (int iter = 0; iter < 12; ++iter) {
        EccKey key;
        makeKey(key, gen.below(kOrder));
        const std::string before = snapshot(key);
        const OsslKey ossl(key, true);
        const Bytes digest = randomDigest(gen);
        LogBase log;

        DataBuffer derSig, rawSig;
        ASSERT_TRUE(key.eccSignHashK(digest.data(), 32, prng, true, derSig, log)) << log.render();
        ASSERT_TRUE(key.eccSignHashK(digest.data(), 32, prng, false, rawSig, log)) << log.render();
        ASSERT_EQ(rawSig.getSize(), 64u);
        const unsigned char* p = derSig.getData2();
        ECDSA_SIG* parsed = d2i_ECDSA_SIG(nullptr, &p, static_cast<long>(derSig.getSize()));
        ASSERT_NE(parsed, nullptr);
        const Sig fromDer = sigOf(parsed);
        ECDSA_SIG_free(parsed);
        EXPECT_TRUE(derSig.equals(der(fromDer).data(), static_cast<unsigned>(der(fromDer).size())));

        for (const Sig& sig : {fromDer, fromRaw(rawSig)}) {
            EXPECT_LE(sig.s, halfOrder);
            EXPECT_TRUE(ossl.verify(digest, sig));
            EXPECT_TRUE(validHere(key, der(sig), digest));
            EXPECT_TRUE(validHere(key, raw(sig), digest));
            // High s is still accepted: low-s is the signer's rule, not the verifier's.
            Sig high = sig;
            high.s = kOrder;
            high.s.subtract(sig.s, 1);
            EXPECT_TRUE(ossl.verify(digest, high));
            EXPECT_TRUE(validHere(key, raw(high), digest));

            Bytes flippedDigest = digest;
            flippedDigest[static_cast<std::size_t>(iter) % 32] ^= static_cast<unsigned char>(1u << (iter % 8));
            EXPECT_FALSE(validHere(key, raw(sig), flippedDigest));
            Bytes flippedSig = raw(sig);
            flippedSig[static_cast<std::size_t>(iter * 5) % 64] ^= 0x10;
            EXPECT_FALSE(validHere(key, flippedSig, digest));
        }

        const Sig theirs = ossl.sign(digest);
        EXPECT_TRUE(validHere(key, der(theirs), digest));
        EXPECT_TRUE(validHere(key, raw(theirs), digest));
        EXPECT_EQ(snapshot(key), before);
    }
}

// s = k^-1 (e + r d) mod n, then the smaller of s and n - s, from GMP.
Sig expectedSig(const _vnUnsigned256& k, const _vnUnsigned256& d, const Bytes& digest) {
    _vnCurvePt R = _vnCurvePt::m_s_G;
    R.multiplyPt(k);
    R.normalizePt();
    Mpz n(kN), r(_vnUnsigned256(R.x)), s, kz(k), dz(d), e(_vnUnsigned256(digest.data()));
    mpz_mod(r, r, n);
    mpz_mul(s, r, dz);
    mpz_add(s, s, e);
    mpz_invert(kz, kz, n);
    mpz_mul(s, s, kz);
    mpz_mod(s, s, n);
    Mpz other;
    mpz_sub(other, n, s);
    if (mpz_cmp(other, s) < 0) mpz_set(s, other);
    return {toU256(r), toU256(s)};
}

Bytes littleEndian(const _vnUnsigned256& k) {
    Bytes be(32);
    k.getBigEndian(be.data());
    return Bytes(be.rbegin(), be.rend());
}

// A scripted nonce pins the byte order of k and every step of s. The third row picks d so
// that r*d = n - 1 and signs the all-FF digest: the sum r*d + e then carries and still
// exceeds n after one subtraction.
TEST(FastPath, ScriptedNonceGivesTheExpectedSignature) {
    Gen gen(0x5EED);
    const _vnUnsigned256 k = gen.below(kOrder);
    _vnCurvePt R = _vnCurvePt::m_s_G;
    R.multiplyPt(k);
    R.normalizePt();
    Mpz n(kN), rInv(_vnUnsigned256(R.x)), dTop;
    mpz_invert(rInv, rInv, n);
    mpz_sub_ui(dTop, n, 1);
    mpz_mul(dTop, dTop, rInv);
    mpz_mod(dTop, dTop, n);
    const Bytes allFF(32, 0xFF);
    const struct {
        _vnUnsigned256 d;
        Bytes digest;
    } rows[] = {{gen.below(kOrder), randomDigest(gen)}, {gen.below(kOrder), allFF}, {toU256(dTop), allFF}};
    for (const auto& row : rows) {
        EccKey key;
        makeKey(key, row.d);
        vn::testing_support::ScriptedPrng prng;
        prng.push(littleEndian(k));
        prng.failAfter(1);
        LogBase log;
        DataBuffer sig;
        ASSERT_TRUE(key.eccSignHashK(row.digest.data(), 32, prng, false, sig, log)) << log.render();
        const Sig got = fromRaw(sig);
        const Sig want = expectedSig(k, row.d, row.digest);
        EXPECT_EQ(hexOf(got.r), hexOf(want.r));
        EXPECT_EQ(hexOf(got.s), hexOf(want.s));
        EXPECT_TRUE(OsslKey(key, false).verify(row.digest, got));
    }
}

TEST(FastPath, NonceGeneratorLimitsAndFailures) {
    EccKey key;
    makeKey(key, U("1234567890abcdef"));
    const Bytes digest(32, 0x42);
    struct Row {
        const char* name;
        int fill;  // -1: the generator fails
        int calls;
        const char* error;
    };
    const Row rows[] = {{"all FF (k >= n)", 0xFF, 100, nullptr},
                        {"all zero", 0x00, 100, nullptr},
                        {"failing", -1, 1, "Failed to generate random nonce."}};
    for (const Row& row : rows) {
        vn::testing_support::ScriptedPrng prng;
        if (row.fill < 0) {
            prng.failAfter(0);
        } else {
            prng.fillWith(static_cast<unsigned char>(row.fill));
        }
        LogBase log;
        DataBuffer sig;
        EXPECT_FALSE(key.eccSignHashK(digest.data(), 32, prng, true, sig, log)) << row.name;
        EXPECT_EQ(prng.calls(), row.calls) << row.name;
        EXPECT_EQ(sig.getSize(), 0u) << row.name;
        EXPECT_EQ(log.errors(), row.error ? std::vector<std::string>{row.error} : std::vector<std::string>{})
            << row.name;
    }
}

TEST(FastPath, RefusalsLeaveKeyAndOutputUntouched) {
    EccKey key;
    makeKey(key, U("c0ffee"));
    vn::_vnSystemPrng prng;
    const Bytes shortDigest(20, 7), digest(32, 7), rawSig(64, 1);
    const std::string before = snapshot(key);
    LogBase log;
    DataBuffer sig;
    sig.append("x", 1);
    bool valid = true;

    EXPECT_FALSE(key.eccSignHashK(shortDigest.data(), 20, prng, true, sig, log));
    EXPECT_TRUE(log.hasError("secp256k1 must use SHA256"));
    EXPECT_FALSE(key.eccSignHashK(nullptr, 32, prng, false, sig, log));
    EXPECT_FALSE(verifyHere(key, rawSig, shortDigest, valid, log));
    EXPECT_TRUE(log.hasError("hash length must be 32"));
    EXPECT_FALSE(key.eccVerifyHashK(nullptr, 0, false, digest.data(), 32, valid, log, 0));
    EXPECT_TRUE(log.hasError("null inputs."));
    EXPECT_FALSE(verifyHere(key, Bytes(50, 1), digest, valid, log));
    EXPECT_TRUE(log.hasError("Failed to unpack ASN.1 DSA/ECC signature."));
    EXPECT_FALSE(valid);
    EXPECT_EQ(sig.getSize(), 0u);
    EXPECT_EQ(snapshot(key), before);

    // The low 256 bits of a wider scalar are a different key: refused, not truncated.
    BigNum::mp_read_radix(key.m_k, ("1" + std::string(58, '0') + "c0ffee").c_str(), 16);
    log.clearLog();
    EXPECT_FALSE(key.eccSignHashK(digest.data(), 32, prng, false, sig, log));
    EXPECT_EQ(log.errors(),
              std::vector<std::string>{"Private key is wider than 256 bits; it is not a secp256k1 scalar."});
    EXPECT_EQ(sig.getSize(), 0u);
}

// r = x(aG + bQ) mod n, s = r/b, e = a*r/b: then u1 = a and u2 = b for any Q, on the
// curve or not, as long as the point arithmetic runs on it.
Sig forge(const EccKey& key, const _vnUnsigned256& a, const _vnUnsigned256& b, Bytes& digest) {
    _vnUnsigned256 qx, qy;
    vn::mp_int_to_uint256(key.m_pubPoint.x, qx);
    vn::mp_int_to_uint256(key.m_pubPoint.y, qy);
    _vnCurvePt P = _vnCurvePt::m_s_G;
    _vnCurvePt Q{_vnFieldElement(qx), _vnFieldElement(qy)};
    P.multiplyPt(a);
    Q.multiplyPt(b);
    P.addPt(Q);
    P.normalizePt();
    Mpz n(kN), r(_vnUnsigned256(P.x)), s, e(a), bInv(b);
    mpz_mod(r, r, n);
    mpz_invert(bInv, bInv, n);
    mpz_mul(s, r, bInv);
    mpz_mod(s, s, n);
    mpz_mul(e, e, s);
    mpz_mod(e, e, n);
    digest.assign(32, 0);
    toU256(e).getBigEndian(digest.data());
    return {toU256(r), toU256(s)};
}

// Inputs outside the group or the order range are verified and found invalid, not failed.
TEST(FastPath, OutOfRangeInputsAreInvalidSignatures) {
    Gen gen(0xBAD);
    EccKey key;
    makeKey(key, gen.below(kOrder));
    vn::_vnSystemPrng prng;
    const Bytes digest = randomDigest(gen);
    LogBase signLog;
    DataBuffer good;
    ASSERT_TRUE(key.eccSignHashK(digest.data(), 32, prng, false, good, signLog));
    const Sig sig = fromRaw(good);
    const _vnUnsigned256 allOnes = U(std::string(64, 'f'));

    const struct {
        const char* name;
        Sig sig;
    } rows[] = {{"r = 0", {s_ZERO, sig.s}}, {"s = 0", {sig.r, s_ZERO}},  {"r = n", {kOrder, sig.s}},
                {"s = n", {sig.r, kOrder}}, {"s = 2^256-1", {sig.r, allOnes}}};
    for (const auto& row : rows) {
        LogBase log;
        bool valid = true;
        EXPECT_TRUE(verifyHere(key, raw(row.sig), digest, valid, log)) << row.name;
        EXPECT_FALSE(valid) << row.name;
        EXPECT_EQ(loggedSigValid(log), "0") << row.name;
    }

    LogBase log;
    bool valid = false;
    EXPECT_TRUE(verifyHere(key, raw(sig), digest, valid, log));
    EXPECT_TRUE(valid);
    EXPECT_EQ(loggedSigValid(log), "1");

    // The textbook existential forgery (u1 = a, u2 = b chosen first, r, s and the digest
    // derived from them) verifies against any point the arithmetic accepts. On the key's
    // own point that is correct; on a point off the curve only the curve test stops it.
    EccKey offCurve, zeroXY;
    offCurve.copyFromEccKey(key);
    BigNum::mp_add(offCurve.m_pubPoint.y, key.m_pubPoint.z, offCurve.m_pubPoint.y);
    zeroXY.copyFromEccKey(key);
    BigNum::mp_zero(zeroXY.m_pubPoint.x);
    BigNum::mp_zero(zeroXY.m_pubPoint.y);
    const struct {
        EccKey* key;
        const char* expected;
    } forged[] = {{&key, "1"}, {&offCurve, "0"}, {&zeroXY, "0"}};
    for (const auto& row : forged) {
        Bytes forgedDigest;
        const Sig f = forge(*row.key, gen.below(kOrder), gen.below(kOrder), forgedDigest);
        LogBase forgedLog;
        EXPECT_TRUE(verifyHere(*row.key, raw(f), forgedDigest, valid, forgedLog)) << row.expected;
        EXPECT_EQ(valid, row.expected[0] == '1');
        EXPECT_EQ(loggedSigValid(forgedLog), row.expected);
    }

    // r wider than 256 bits (split by the caller): refused without a verdict.
    Bytes wide(65, 0x01);
    log.clearLog();
    EXPECT_FALSE(key.eccVerifyHashK(wide.data(), 65, true, digest.data(), 32, valid, log, 33));
    EXPECT_FALSE(valid);
    EXPECT_TRUE(log.errors().empty());
}

}  // namespace

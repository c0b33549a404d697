// No heap block that held a private scalar, a signing nonce or a private key encoding goes
// back to the allocator with that content still in it. This program replaces free(), which
// the buffers' storage and operator delete both end in; while a watch is armed, every block is
// scanned for the secrets' byte patterns just before it is freed.

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/Pem.h"
#include "host/Xml.h"

#if defined(__SANITIZE_ADDRESS__)
#define ECCKEY_TEST_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ECCKEY_TEST_UNDER_ASAN 1
#endif
#endif

namespace {

// Patterns live in static storage: the hook must not allocate, and arming must not leave a
// copy of a secret in some heap block of the test's own.
struct Pattern {
    unsigned char bytes[64];
    std::size_t len;
    char label[48];
    std::atomic<int> hits;
};
constexpr int kMaxPatterns = 64;
Pattern g_patterns[kMaxPatterns];
int g_patternCount = 0;
std::atomic<bool> g_armed{false};

}  // namespace

// AddressSanitizer brings its own allocator, which the replacements must not bypass.
#ifndef ECCKEY_TEST_UNDER_ASAN
// glibc's own free, under the name it exports for exactly this kind of wrapper.
extern "C" void __libc_free(void* p);

extern "C" void free(void* p) noexcept {
    if (p != nullptr && g_armed.load(std::memory_order_relaxed)) {
        const std::size_t n = malloc_usable_size(p);
        for (int i = 0; i < g_patternCount; ++i) {
            if (memmem(p, n, g_patterns[i].bytes, g_patterns[i].len) != nullptr) g_patterns[i].hits.fetch_add(1);
        }
    }
    __libc_free(p);
}
#endif

namespace vn {
namespace {

const char* const kScalarHex = "7A1F3C5E9B2D4F6081A3C5E7092B4D6F8E1C3A5B7D9F0E2C4A6B8D0F1E3C5A79";
const char* const kNonceHex = "3E5C7A9B1D2F4E6A8C0B2D4F6E8A0C1B3D5F7E9A2C4B6D8F0A1C3E5B7D9F2A4C";
unsigned char g_kBytes[32];
unsigned char g_nonceBytes[32];

void addPattern(const void* bytes, std::size_t len, const std::string& label) {
    ASSERT_TRUE(g_patternCount < kMaxPatterns && len > 0 && len <= sizeof g_patterns[0].bytes) << label;
    Pattern& p = g_patterns[g_patternCount++];
    std::memcpy(p.bytes, bytes, len);
    p.len = len;
    std::snprintf(p.label, sizeof p.label, "%s", label.c_str());
}

void addPattern(const std::string& text, const std::string& label) { addPattern(text.data(), text.size(), label); }

// Every form a secret takes on its way through the library, cut in pieces short enough that
// one line break or one partial copy cannot hide all of them.
void addSecretPatterns(const char* hex, unsigned char* raw, const std::string& name) {
    DataBuffer db;
    ASSERT_TRUE(db.appendEncoded(hex, "hex"));
    std::memcpy(raw, db.getData2(), 32);
    std::string lower(hex);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (std::size_t half = 0; half < 2; ++half) {
        const std::string which = half ? " second half" : " first half";
        addPattern(raw + 16 * half, 16, name + " bytes" + which);
        addPattern(std::string(hex).substr(32 * half, 32), name + " hex, upper," + which);
        addPattern(lower.substr(32 * half, 32), name + " hex, lower," + which);
    }
    // The in-memory digits of the value as an integer.
    mp_int v;
    ASSERT_TRUE(BigNum::mpint_from_bytes(v, raw, 32));
    mp_digit digits[4];
    for (int i = 0; i < 4; ++i) digits[i] = v.get_digit(i + 2);
    addPattern(digits, sizeof digits, name + " integer digits");
    StringBuffer b64url;
    LogNull quiet;
    ASSERT_TRUE(BigNum::mpint_to_base64url(v, b64url, quiet));
    addPattern(std::string(b64url.getString()).substr(0, 20), name + " base64url");
}

// Base64 pieces of a DER encoding that depend on the scalar's bytes only.
void addBase64OfScalarInside(const DataBuffer& der, const std::string& label) {
    const void* hit = memmem(der.getData2(), der.getSize(), g_kBytes, 32);
    ASSERT_NE(hit, nullptr) << label;
    const std::size_t at = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - der.getData2());
    StringBuffer b64;
    ASSERT_TRUE(der.encodeDB("base64", b64));
    for (std::size_t g = (at + 2) / 3; g + 3 <= (at + 32) / 3; g += 3) {
        addPattern(std::string(b64.getString()).substr(4 * g, 12), label + " base64 @" + std::to_string(g));
    }
}

// A generator that hands out one fixed nonce from static storage.
struct FixedPrng : _vnPrng {
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override { return n <= 32 && out.append(g_nonceBytes, n); }
};

class SecretWipe : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef ECCKEY_TEST_UNDER_ASAN
        GTEST_SKIP() << "AddressSanitizer owns the allocator; the plain build runs this check";
#endif
        // Valgrind takes over free() in this executable as well, so the hook would not be called.
        if (const char* preload = std::getenv("LD_PRELOAD"); preload != nullptr && std::strstr(preload, "vgpreload") != nullptr) {
            GTEST_SKIP() << "valgrind owns the allocator; the plain build runs this check";
        }
        g_patternCount = 0;
        for (Pattern& p : g_patterns) p.hits.store(0);
        addSecretPatterns(kScalarHex, g_kBytes, "k");
        addSecretPatterns(kNonceHex, g_nonceBytes, "nonce");
        // The scalar inside the DER forms, for the base64 of PEM and XML.
        EccKey key;
        LogBase log;
        log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
        ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), kScalarHex, "hex", log));
        for (const std::string form : {"SEC1+pub", "SEC1", "PKCS#8"}) {
            DataBuffer der;
            ASSERT_TRUE(form == "PKCS#8" ? key.toEccPkcs8PrivateKeyDer(der, log) : key.toEccPkcs1PrivateKeyDer(der, log));
            addBase64OfScalarInside(der, form);
            log.m_options.clear();
        }
    }

    static std::string watch(const std::function<void()>& run) {
        g_armed.store(true);
        run();
        g_armed.store(false);
        std::string report;
        for (int i = 0; i < g_patternCount; ++i) {
            if (const int hits = g_patterns[i].hits.load()) report += std::string(g_patterns[i].label) + ": " + std::to_string(hits) + " block(s)\n";
        }
        return report;
    }
};

// The hook sees what it should: a plain std::string and a buffer without the secure flag
// keep the secret, so a quiet run below means something.
TEST_F(SecretWipe, TheHookFindsUnwipedCopies) {
    const std::string report = watch([] {
        std::string text(kScalarHex);
        text += std::string(100, ' ');  // past any small-string buffer
        DataBuffer plain;
        plain.append(g_nonceBytes, 32);
    });
    EXPECT_NE(report.find("k hex, upper"), std::string::npos) << report;
    EXPECT_NE(report.find("nonce bytes first half"), std::string::npos) << report;
}

void exerciseKeys() {
    for (const char* curve : {"secp256r1", "secp256k1"}) {
        LogBase log;
        log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
        const unsigned char digest[32] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        std::unique_ptr<EccKey> key(EccKey::createNewObject()), copy(EccKey::createNewObject());
        ASSERT_TRUE(key->generateNewKey2(StringBuffer(curve), kScalarHex, "hex", log)) << curve;
        copy->copyFromEccKey(*key);
        FixedPrng prng;
        DataBuffer sig, der;
        EXPECT_TRUE(key->eccSignHash(digest, 32, prng, false, sig, log) && key->eccSignHash_forSsh(digest, 32, prng, sig, log) &&
                    key->eccSignHash(digest, 32, prng, true, der, log));

        // Every private form out, and back in through its reader, each in a buffer of its own.
        DataBuffer sec1, sec1Pkcs11, pkcs8, fromPem1, fromPem8, raw;
        StringBuffer pem1, pem8, jwk, xml, privHex, pubHex, label;
        EccKey back;
        ClsJsonObject json;
        ClsXml doc;
        EXPECT_TRUE(key->toEccPkcs1PrivateKeyDer(sec1, log) && back.loadEccDer(sec1, log));
        EXPECT_TRUE(key->toEccPkcs8PrivateKeyDer(pkcs8, log) && back.loadEccDer(pkcs8, log));
        EXPECT_TRUE(key->toEccPkcs1PrivateKeyDer_forPkcs11(sec1Pkcs11, log));
        EXPECT_TRUE(key->toEccPrivateKeyPem(true, pem1, log) && PemReader::readFirst(pem1.getString(), label, fromPem1, log) &&
                    back.loadEccDer(fromPem1, log));
        EXPECT_TRUE(key->toEccPrivateKeyPem(false, pem8, log) && PemReader::readFirst(pem8.getString(), label, fromPem8, log) &&
                    back.loadEccDer(fromPem8, log));
        EXPECT_TRUE(key->toEccPrivateKeyJwk(jwk, log) && json.load(jwk.getString(), log) && back.loadAnyJwk(json, log));
        EXPECT_TRUE(key->toEccPrivateKeyXml(xml, log) && doc.loadXml(xml.getString(), log) && back.loadAnyXml(doc, log));
        EXPECT_TRUE(key->toRawHex(privHex, pubHex, log) && raw.appendEncoded(privHex.getString(), "hex"));
        raw.setSecure(true);
        EXPECT_TRUE(back.loadEccPrivateRaw(raw, std::string(curve) == "secp256k1", log));
        // ECDH output is a secret as well; the peer is the key itself.
        DataBuffer shared;
        EXPECT_TRUE(key->sharedSecret(*copy, shared, log));
    }
}

TEST_F(SecretWipe, KeysSignaturesAndEveryPrivateFormLeaveNothingBehind) { EXPECT_EQ(watch(exerciseKeys), ""); }

}  // namespace
}  // namespace vn

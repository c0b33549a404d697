// No heap block that held a private scalar, a signing nonce or a private key encoding goes
// back to the allocator with that content still in it. This program replaces free(), which
// the buffers' storage and operator delete both end in; while a watch is armed, every block is
// scanned for the secrets' byte patterns just before it is freed.

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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
};
constexpr int kMaxPatterns = 64;
Pattern g_patterns[kMaxPatterns];
int g_patternCount = 0;
std::atomic<bool> g_armed{false};
std::atomic<int> g_hits[kMaxPatterns];
std::atomic<std::size_t> g_hitBlockSize[kMaxPatterns];

}  // namespace

// AddressSanitizer brings its own allocator, which the replacements must not bypass.
#ifndef ECCKEY_TEST_UNDER_ASAN
namespace {

bool contains(const unsigned char* block, std::size_t n, const Pattern& pat) {
    if (pat.len == 0 || n < pat.len) return false;
    for (std::size_t i = 0; i + pat.len <= n; ++i) {
        if (block[i] == pat.bytes[0] && std::memcmp(block + i, pat.bytes, pat.len) == 0) return true;
    }
    return false;
}

}  // namespace

// glibc's own free, under the name it exports for exactly this kind of wrapper.
extern "C" void __libc_free(void* p);

namespace {

void inspect(void* p) {
    if (p == nullptr) return;
    if (g_armed.load(std::memory_order_relaxed)) {
        const auto* block = static_cast<const unsigned char*>(p);
        const std::size_t n = malloc_usable_size(p);
        for (int i = 0; i < g_patternCount; ++i) {
            if (contains(block, n, g_patterns[i])) {
                g_hits[i].fetch_add(1);
                g_hitBlockSize[i].store(n);
            }
        }
    }
}

}  // namespace

extern "C" void free(void* p) noexcept {
    inspect(p);
    __libc_free(p);
}

#endif

namespace vn {
namespace {

const char* const kScalarHex = "7A1F3C5E9B2D4F6081A3C5E7092B4D6F8E1C3A5B7D9F0E2C4A6B8D0F1E3C5A79";
const char* const kNonceHex = "3E5C7A9B1D2F4E6A8C0B2D4F6E8A0C1B3D5F7E9A2C4B6D8F0A1C3E5B7D9F2A4C";

void addPattern(const unsigned char* bytes, std::size_t len, const std::string& label) {
    ASSERT_LT(g_patternCount, kMaxPatterns);
    ASSERT_LE(len, sizeof g_patterns[0].bytes);
    Pattern& p = g_patterns[g_patternCount++];
    std::memcpy(p.bytes, bytes, len);
    p.len = len;
    std::snprintf(p.label, sizeof p.label, "%s", label.c_str());
}

void addText(const std::string& text, const std::string& label) {
    addPattern(reinterpret_cast<const unsigned char*>(text.data()), text.size(), label);
}

// Every form a secret takes on its way through the library, cut in pieces short enough that
// one line break or one partial copy cannot hide all of them.
void addSecretPatterns(const char* hex, const std::string& name) {
    DataBuffer raw;
    ASSERT_TRUE(raw.appendEncoded(hex, "hex"));
    addPattern(raw.getData2(), 16, name + " bytes 0-15");
    addPattern(raw.getData2() + 16, 16, name + " bytes 16-31");

    std::string upper(hex), lower(hex);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    addText(upper.substr(0, 32), name + " hex, upper, first half");
    addText(upper.substr(32), name + " hex, upper, second half");
    addText(lower.substr(0, 32), name + " hex, lower, first half");
    addText(lower.substr(32), name + " hex, lower, second half");

    // The in-memory digits of the value as an integer.
    mp_int v;
    ASSERT_TRUE(BigNum::mpint_from_bytes(v, raw.getData2(), static_cast<int>(raw.getSize())));
    mp_digit digits[4];
    for (int i = 0; i < 4; ++i) digits[i] = v.get_digit(i + 2);
    addPattern(reinterpret_cast<const unsigned char*>(digits), sizeof digits, name + " integer digits");

    StringBuffer b64url;
    LogNull quiet;
    ASSERT_TRUE(BigNum::mpint_to_base64url(v, b64url, quiet));
    addText(std::string(b64url.getString()).substr(0, 20), name + " base64url");
}

// Base64 pieces of a DER encoding that depend on the scalar's bytes only.
void addBase64OfScalarInside(const DataBuffer& der, const unsigned char* k, const std::string& label) {
    const unsigned char* d = der.getData2();
    std::size_t at = 0;
    for (; at + 32 <= der.getSize(); ++at) {
        if (std::memcmp(d + at, k, 32) == 0) break;
    }
    ASSERT_LT(at + 32, der.getSize() + 1) << label;
    StringBuffer b64;
    ASSERT_TRUE(der.encodeDB("base64", b64));
    const std::string text = b64.getString();
    const std::size_t firstGroup = (at + 2) / 3, endGroup = (at + 32) / 3;
    for (std::size_t g = firstGroup; g + 3 <= endGroup; g += 3) {
        addText(text.substr(4 * g, 12), label + " base64 @" + std::to_string(g));
    }
}

// A generator that hands out one fixed nonce from static storage.
class FixedPrng : public _vnPrng {
public:
    explicit FixedPrng(const unsigned char* bytes) : m_bytes(bytes) {}
    bool genRandomBytes(unsigned int n, DataBuffer& out, LogBase&) override {
        return n <= 32 && out.append(m_bytes, n);
    }

private:
    const unsigned char* m_bytes;
};

unsigned char g_kBytes[32];
unsigned char g_nonceBytes[32];

class SecretWipe : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef ECCKEY_TEST_UNDER_ASAN
        GTEST_SKIP() << "AddressSanitizer owns the allocator; the plain build runs this check";
#endif
        // Valgrind takes over free() in this executable as well, so the hook would not be called.
        const char* preload = std::getenv("LD_PRELOAD");
        if (preload != nullptr && std::strstr(preload, "vgpreload") != nullptr) {
            GTEST_SKIP() << "valgrind owns the allocator; the plain build runs this check";
        }
        g_patternCount = 0;
        for (auto& h : g_hits) h.store(0);
        {
            DataBuffer k, nonce;
            ASSERT_TRUE(k.appendEncoded(kScalarHex, "hex"));
            ASSERT_TRUE(nonce.appendEncoded(kNonceHex, "hex"));
            std::memcpy(g_kBytes, k.getData2(), 32);
            std::memcpy(g_nonceBytes, nonce.getData2(), 32);
            addSecretPatterns(kScalarHex, "k");
            addSecretPatterns(kNonceHex, "nonce");
            // The scalar inside the DER forms, for the base64 of PEM and XML.
            EccKey key;
            LogBase log;
            log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
            ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), kScalarHex, "hex", log));
            DataBuffer der;
            ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(der, log));
            addBase64OfScalarInside(der, g_kBytes, "SEC1+pub");
            log.m_options.clear();
            ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(der, log));
            addBase64OfScalarInside(der, g_kBytes, "SEC1");
            ASSERT_TRUE(key.toEccPkcs8PrivateKeyDer(der, log));
            addBase64OfScalarInside(der, g_kBytes, "PKCS#8");
        }
    }

    static void arm() { g_armed.store(true); }
    static void disarm() { g_armed.store(false); }

    static std::string hitReport() {
        std::string report;
        for (int i = 0; i < g_patternCount; ++i) {
            if (g_hits[i].load() != 0) {
                report += std::string(g_patterns[i].label) + ": " + std::to_string(g_hits[i].load()) +
                          " block(s), last of " + std::to_string(g_hitBlockSize[i].load()) + " bytes\n";
            }
        }
        return report;
    }
};

// The hook sees what it should: a plain std::string and a buffer without the secure flag
// keep the secret, so a quiet run below means something.
TEST_F(SecretWipe, TheHookFindsUnwipedCopies) {
    arm();
    {
        std::string text(kScalarHex);
        text += std::string(100, ' ');  // past any small-string buffer
        DataBuffer plain;
        plain.append(g_nonceBytes, 32);
        StringBuffer wiped;
        wiped.append(kNonceHex);
    }
    disarm();
    const std::string report = hitReport();
    EXPECT_NE(report.find("k hex, upper"), std::string::npos) << report;
    EXPECT_NE(report.find("nonce bytes 0-15"), std::string::npos) << report;
    EXPECT_EQ(report.find("nonce hex"), std::string::npos) << report;
}

TEST_F(SecretWipe, KeysSignaturesAndEveryPrivateFormLeaveNothingBehind) {
    arm();
    {
        LogBase log;
        log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
        const unsigned char digest[32] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

        for (const char* curve : {"secp256r1", "secp256k1"}) {
            EccKey* key = EccKey::createNewObject();
            ASSERT_NE(key, nullptr);
            ASSERT_TRUE(key->generateNewKey2(StringBuffer(curve), kScalarHex, "hex", log)) << curve;
            EccKey* copy = EccKey::createNewObject();
            copy->copyFromEccKey(*key);

            FixedPrng prng(g_nonceBytes);
            DataBuffer sig, der;
            EXPECT_TRUE(key->eccSignHash(digest, 32, prng, false, sig, log)) << curve;
            EXPECT_TRUE(key->eccSignHash_forSsh(digest, 32, prng, sig, log)) << curve;
            EXPECT_TRUE(key->eccSignHash(digest, 32, prng, true, der, log));
            bool valid = false;
            EXPECT_TRUE(key->eccVerifyHash(der.getData2(), der.getSize(), false, digest, 32, valid, log, 0) && valid);

            // Every private form out, and back in through its reader.
            DataBuffer sec1, sec1Pkcs11, pkcs8;
            StringBuffer pemSec1, pemPkcs8, jwk, xml, privHex, pubHex;
            EXPECT_TRUE(key->toEccPkcs1PrivateKeyDer(sec1, log) && key->toEccPkcs1PrivateKeyDer_forPkcs11(sec1Pkcs11, log) &&
                        key->toEccPkcs8PrivateKeyDer(pkcs8, log));
            EXPECT_TRUE(key->toEccPrivateKeyPem(true, pemSec1, log) && key->toEccPrivateKeyPem(false, pemPkcs8, log));
            EXPECT_TRUE(key->toEccPrivateKeyJwk(jwk, log) && key->toEccPrivateKeyXml(xml, log) &&
                        key->toRawHex(privHex, pubHex, log));

            EccKey back;
            StringBuffer label;
            DataBuffer fromPem1, fromPem8, raw;
            ClsJsonObject json;
            ClsXml doc;
            EXPECT_TRUE(back.loadEccDer(sec1, log) && back.loadEccDer(pkcs8, log));
            EXPECT_TRUE(PemReader::readFirst(pemSec1.getString(), label, fromPem1, log) && back.loadEccDer(fromPem1, log));
            EXPECT_TRUE(PemReader::readFirst(pemPkcs8.getString(), label, fromPem8, log) && back.loadEccDer(fromPem8, log));
            EXPECT_TRUE(json.load(jwk.getString(), log) && back.loadAnyJwk(json, log));
            EXPECT_TRUE(doc.loadXml(xml.getString(), log) && back.loadAnyXml(doc, log));
            EXPECT_TRUE(raw.appendEncoded(privHex.getString(), "hex"));
            raw.setSecure(true);
            EXPECT_TRUE(back.loadEccPrivateRaw(raw, std::string(curve) == "secp256k1", log));
            EXPECT_EQ(BigNum::mp_cmp(back.m_k, key->m_k), 0) << curve;

            // ECDH output is a secret as well; the peer is the key itself.
            DataBuffer shared;
            EXPECT_TRUE(key->sharedSecret(*copy, shared, log));

            delete copy;
            delete key;
        }
    }
    disarm();
    EXPECT_EQ(hitReport(), "");
}

}  // namespace
}  // namespace vn

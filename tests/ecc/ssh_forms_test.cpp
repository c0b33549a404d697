#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <functional>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/Hash.h"
#include "host/SshMessage.h"
#include "support/scripted_prng.h"

namespace vn {
namespace {

using testing_support::ScriptedPrng;

void makeKey(EccKey& key, const char* curve) {
    ScriptedPrng prng;
    LogBase log;
    StringBuffer name(curve);
    ASSERT_TRUE(key.generateNewKey(name, prng, log)) << curve << "\n" << log.render();
}

void appendString(DataBuffer& out, const std::string& s) {
    out.appendUint32_be(static_cast<unsigned>(s.size()));
    out.append(s.data(), static_cast<unsigned>(s.size()));
}

void appendString(DataBuffer& out, const DataBuffer& bytes) { SshMessage::pack_db(bytes, out); }

void appendMpInt(DataBuffer& out, const mp_int& v) {
    DataBuffer body;
    ASSERT_EQ(BigNum::mpint_to_ssh_db(v, body), MP_OKAY);
    appendString(out, body);
}

// Reads the SSH string at offset as text, advancing offset; empty on failure.
std::string readString(const DataBuffer& blob, unsigned& offset) {
    StringBuffer s;
    return SshMessage::parseString(blob, offset, s) ? std::string(s.getString()) : std::string();
}

std::string expectedSshId(const std::string& curve) {
    if (curve == "secp224r1") return "nistp224";
    if (curve == "secp384r1") return "nistp384";
    if (curve == "secp521r1") return "nistp521";
    if (curve == "secp256k1") return "nistk256";
    return "nistp256";  // secp256r1 and every curve without a short name of its own
}

std::string opensslDigestHex(const char* md, const DataBuffer& data, bool colons) {
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned n = 0;
    EVP_Digest(data.getData2(), data.getSize(), out, &n, EVP_get_digestbyname(md), nullptr);
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned i = 0; i < n; ++i) {
        if (colons && i > 0) hex += ':';
        hex += kHex[out[i] >> 4];
        hex += kHex[out[i] & 15];
    }
    return hex;
}

std::string hexOf(const DataBuffer& db) {
    StringBuffer s;
    db.encodeDB("hex", s);
    s.toLowerCase();
    return s.getString();
}

class SshFormsAllCurves : public ::testing::TestWithParam<int> {};

TEST_P(SshFormsAllCurves, BlobFingerprintAndDigest) {
    const std::string curve = namedCurveAt(GetParam()).name;
    EccKey key;
    makeKey(key, curve.c_str());
    LogBase log;

    DataBuffer blob;
    blob.appendChar(0x55);  // the blob replaces whatever was there
    ASSERT_TRUE(key.puttyPublicKeyBlob(blob, log)) << log.render();
    const std::string id = expectedSshId(curve);
    unsigned offset = 0;
    EXPECT_EQ(readString(blob, offset), "ecdsa-sha2-" + id);
    EXPECT_EQ(readString(blob, offset), id);
    DataBuffer point, expectedPoint;
    ASSERT_TRUE(SshMessage::parseBinaryString(blob, offset, point, log));
    ASSERT_TRUE(key.exportEccPoint(expectedPoint, log));
    EXPECT_TRUE(point.equals(expectedPoint));
    EXPECT_EQ(point.getSize(), 2u * static_cast<unsigned>(key.m_curve.fieldBytes) + 1);
    EXPECT_EQ(offset, blob.getSize());

    StringBuffer fingerprint("old text");
    ASSERT_TRUE(key.calc_fingerprint(fingerprint, log));
    const std::string want = "ecdsa-sha2-" + id + " " + std::to_string(key.m_curve.fieldBytes * 8) + " " +
                             opensslDigestHex("MD5", blob, true);
    EXPECT_EQ(std::string(fingerprint.getString()), want);

    DataBuffer digest;
    ASSERT_TRUE(key.calc_fingerprint_digest(_vnHash::SHA256, digest, log));
    EXPECT_EQ(hexOf(digest), opensslDigestHex("SHA256", blob, false));
    EXPECT_TRUE(log.errors().empty()) << log.render();
}

// The PuTTY blob (an mpint), the OpenSSH private section and the empty blob all give the key
// back, with the point taken from the separate argument.
TEST_P(SshFormsAllCurves, PrivateBlobsLoadBack) {
    const std::string curve = namedCurveAt(GetParam()).name;
    EccKey key;
    makeKey(key, curve.c_str());
    LogBase log;
    DataBuffer x963;
    ASSERT_TRUE(key.exportEccPoint(x963, log));
    StringBuffer sshName;
    sshName.append(curve.c_str());

    DataBuffer putty;
    appendMpInt(putty, key.m_k);

    DataBuffer openssh;
    DataBuffer kBody;
    ASSERT_EQ(BigNum::mpint_to_ssh_db(key.m_k, kBody), MP_OKAY);
    appendString(openssh, "ecdsa-sha2-" + expectedSshId(curve));
    appendString(openssh, expectedSshId(curve));
    appendString(openssh, x963);
    appendString(openssh, kBody);
    appendString(openssh, "comment");  // what follows k is ignored
    openssh.append("\x01\x02\x03", 3);

    for (DataBuffer* blob : {&putty, &openssh}) {
        EccKey loaded;
        LogBase loadLog;
        ASSERT_TRUE(loaded.loadPrivateFromPuttySsh(curve.c_str(), x963, *blob, loadLog))
            << curve << "\n" << loadLog.render();
        EXPECT_EQ(loaded.m_keyType, 1);
        EXPECT_STREQ(loaded.m_curve.name.getString(), curve.c_str());
        EXPECT_EQ(BigNum::mp_cmp(loaded.m_k, key.m_k), 0) << curve;
        EXPECT_EQ(BigNum::mp_cmp(loaded.m_pubPoint.x, key.m_pubPoint.x), 0);
        EXPECT_EQ(BigNum::mp_cmp(loaded.m_pubPoint.y, key.m_pubPoint.y), 0);
        EXPECT_TRUE(blob->isSecure());
    }

    DataBuffer empty;
    EccKey pub;
    ASSERT_TRUE(pub.loadPrivateFromPuttySsh(curve.c_str(), x963, empty, log));
    EXPECT_EQ(pub.m_keyType, 0);
    EXPECT_TRUE(pub.m_k.isZero());
    EXPECT_TRUE(pub.isPoint(log));
}

INSTANTIATE_TEST_SUITE_P(Curves, SshFormsAllCurves, ::testing::Range(0, kNamedCurveCount));

TEST(SshForms, Secp256r1BlobIs104Bytes) {
    EccKey key;
    makeKey(key, "secp256r1");
    LogBase log;
    DataBuffer blob;
    ASSERT_TRUE(key.puttyPublicKeyBlob(blob, log));
    EXPECT_EQ(blob.getSize(), 4u + 19 + 4 + 8 + 4 + 65);
}

// A point the exporter refuses (a coordinate wider than any curve) makes every writer fail.
TEST(SshForms, WritersFailWhenThePointCannotBeExported) {
    EccKey empty;
    makeKey(empty, "secp256r1");
    ASSERT_TRUE(BigNum::mp_read_radix(empty.m_pubPoint.x, ("1" + std::string(600, '0')).c_str(), 16));
    LogBase log;
    DataBuffer blob;
    EXPECT_FALSE(empty.puttyPublicKeyBlob(blob, log));
    DataBuffer digest;
    EXPECT_FALSE(empty.calc_fingerprint_digest(_vnHash::MD5, digest, log));
    EXPECT_EQ(digest.getSize(), 0u);
    StringBuffer fingerprint("kept");
    EXPECT_FALSE(empty.calc_fingerprint(fingerprint, log));
    EXPECT_STREQ(fingerprint.getString(), "kept");
}

// Which layout a blob is read as depends on its size and first word, not on its content.
TEST(SshForms, BlobLayoutChosenBySizeAndFirstWord) {
    EccKey p256, p521;
    makeKey(p256, "secp256r1");
    makeKey(p521, "secp521r1");
    LogBase log;

    // A 36-byte P-256 PuTTY blob: first word 32 (< 37) but too short for an OpenSSH section.
    mp_int k;
    ASSERT_TRUE(BigNum::mp_read_radix(k, "7F00000000000000000000000000000000000000000000000000000000000001", 16));
    DataBuffer blob36;
    appendMpInt(blob36, k);
    ASSERT_EQ(blob36.getSize(), 36u);
    DataBuffer x963;
    ASSERT_TRUE(p256.exportEccPoint(x963, log));
    EccKey a;
    ASSERT_TRUE(a.loadPrivateFromPuttySsh("nistp256", x963, blob36, log)) << log.render();
    EXPECT_EQ(BigNum::mp_cmp(a.m_k, k), 0);

    // A 70-byte P-521 blob whose first word is 66: long enough, but 66 is a length of k.
    mp_int k521;
    ASSERT_TRUE(BigNum::mp_read_radix(k521, ("01" + std::string(130, '3')).c_str(), 16));
    DataBuffer blob70;
    appendMpInt(blob70, k521);
    ASSERT_EQ(blob70.getSize(), 70u);
    DataBuffer x963_521;
    ASSERT_TRUE(p521.exportEccPoint(x963_521, log));
    EccKey b;
    ASSERT_TRUE(b.loadPrivateFromPuttySsh("nistp521", x963_521, blob70, log)) << log.render();
    EXPECT_EQ(BigNum::mp_cmp(b.m_k, k521), 0);
    EXPECT_FALSE(log.hasError("no long curve name"));
}

// Each field of an OpenSSH section missing in turn, and the other refusals, with their lines.
TEST(SshForms, FailuresNameTheMissingPartAndLeaveNoPrivateKey) {
    EccKey key;
    makeKey(key, "secp256r1");
    LogBase log;
    DataBuffer x963, badPoint, kBody;
    ASSERT_TRUE(key.exportEccPoint(x963, log));
    badPoint.append(x963);
    badPoint.getData2()[0] = 0x02;
    BigNum::mpint_to_ssh_db(key.m_k, kBody);

    // The first `fields` fields of a good section, then a length that runs past the end,
    // padded to be long enough to be read as a section at all.
    auto section = [&](int fields, DataBuffer& out) {
        if (fields > 0) appendString(out, "ecdsa-sha2-nistp256");
        if (fields > 1) appendString(out, "nistp256");
        if (fields > 2) appendString(out, x963);
        out.appendUint32_be(0x7FFFFFF0);
        while (out.getSize() < 57) out.appendChar(0);
    };
    struct Case {
        const char* what;
        std::function<void(DataBuffer&)> blob;
        const DataBuffer* point;
        const char* curve;
        const char* error;
    } const cases[] = {
        {"second field missing", [&](DataBuffer& b) { section(1, b); }, &x963, "secp256r1", "no alt curve name"},
        {"point missing", [&](DataBuffer& b) { section(2, b); }, &x963, "secp256r1", "no embedded ecc point"},
        {"k missing", [&](DataBuffer& b) { section(3, b); }, &x963, "secp256r1",
         "no private key within ecdsa private key blob"},
        // Long enough to be read field by field, a section can only lose its key type to a NUL.
        {"NUL in the key type",
         [&](DataBuffer& b) {
             appendString(b, std::string("ecdsa-sha2-\0istp256", 19));
             while (b.getSize() < 60) b.appendChar(0);
         },
         &x963, "secp256r1", "no long curve name"},
        // Too short for a section: a PuTTY mpint, which claims 36 bytes of 35.
        {"short mpint",
         [&](DataBuffer& b) {
             b.appendUint32_be(36);
             while (b.getSize() < 39) b.appendChar('a');
         },
         &x963, "secp256r1", "Failed to parse private key mp_int"},
        {"negative mpint", [&](DataBuffer& b) { b.append("\0\0\0\1\x80", 5); }, &x963, "secp256r1",
         "Failed to parse private key mp_int"},
        {"zero k", [&](DataBuffer& b) { b.appendUint32_be(0); }, &x963, "secp256r1", "Private key is zero."},
        {"bad point", [&](DataBuffer& b) { appendMpInt(b, key.m_k); }, &badPoint, "secp256r1",
         "Failed to load ECC point"},
        {"unknown curve", [&](DataBuffer& b) { appendMpInt(b, key.m_k); }, &x963, "nistk256", nullptr},
    };
    for (const Case& c : cases) {
        DataBuffer blob, point;
        c.blob(blob);
        point.append(*c.point);
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh(c.curve, point, blob, loadLog)) << c.what;
        if (c.error != nullptr) {
            EXPECT_TRUE(loadLog.hasError(c.error)) << c.what << "\n" << loadLog.render();
        }
        EXPECT_EQ(loaded.m_keyType, 0) << c.what;
    }
}

}  // namespace
}  // namespace vn

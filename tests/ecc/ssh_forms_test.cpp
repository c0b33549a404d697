#include <gtest/gtest.h>
#include <openssl/evp.h>

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
    DataBuffer x963;
    ASSERT_TRUE(key.exportEccPoint(x963, log));
    DataBuffer kBody;
    BigNum::mpint_to_ssh_db(key.m_k, kBody);

    auto section = [&](int fields, DataBuffer& s) {
        if (fields > 0) appendString(s, "ecdsa-sha2-nistp256");
        if (fields > 1) appendString(s, "nistp256");
        if (fields > 2) appendString(s, x963);
        if (fields > 3) appendString(s, kBody);
        // A length for the next field that runs past the end, and enough bytes to be read as
        // an OpenSSH section at all.
        s.appendUint32_be(0x7FFFFFF0);
        while (s.getSize() < 57) s.appendChar(0);
    };
    struct Case {
        int fields;
        const char* error;
    } cases[] = {
        {1, "no alt curve name"},
        {2, "no embedded ecc point"},
        {3, "no private key within ecdsa private key blob"},
    };
    for (const Case& c : cases) {
        DataBuffer blob;
        section(c.fields, blob);
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", x963, blob, loadLog));
        EXPECT_TRUE(loadLog.hasError(c.error)) << c.error << "\n" << loadLog.render();
        EXPECT_EQ(loaded.m_keyType, 0);
    }
    {
        // A section long enough to be read field by field can only lose its key type to a
        // NUL inside the text.
        DataBuffer blob;
        appendString(blob, std::string("ecdsa-sha2-\0istp256", 19));
        while (blob.getSize() < 60) blob.appendChar(0);
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", x963, blob, loadLog));
        EXPECT_TRUE(loadLog.hasError("no long curve name")) << loadLog.render();
    }
    {
        // Too short for a section: read as a PuTTY mpint, which claims 36 bytes of 35.
        DataBuffer blob;
        blob.appendUint32_be(36);
        while (blob.getSize() < 39) blob.appendChar('a');
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", x963, blob, loadLog));
        EXPECT_TRUE(loadLog.hasError("Failed to parse private key mp_int")) << loadLog.render();
    }
    {
        DataBuffer blob;
        blob.appendUint32_be(20);
        while (blob.getSize() < 60) blob.appendChar('a');
        blob.truncate(60);
        // 20 < 37 and 60 bytes: an OpenSSH section, whose key type string is fine but whose
        // second field claims 0x61616161 bytes.
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", x963, blob, loadLog));
        EXPECT_TRUE(loadLog.hasError("no alt curve name")) << loadLog.render();
    }
    {
        DataBuffer negative;
        const unsigned char bytes[] = {0, 0, 0, 1, 0x80};
        negative.append(bytes, sizeof bytes);
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", x963, negative, loadLog));
        EXPECT_TRUE(loadLog.hasError("Failed to parse private key mp_int"));
        EXPECT_EQ(loaded.m_keyType, 0);
    }
    {
        DataBuffer putty;
        appendMpInt(putty, key.m_k);
        DataBuffer badPoint;
        badPoint.append(x963);
        badPoint.getData2()[0] = 0x02;
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("secp256r1", badPoint, putty, loadLog));
        EXPECT_EQ(loadLog.errors().back(), "Failed to load ECC point");
        EXPECT_EQ(loaded.m_keyType, 0);
    }
    {
        DataBuffer putty;
        appendMpInt(putty, key.m_k);
        EccKey loaded;
        LogBase loadLog;
        EXPECT_FALSE(loaded.loadPrivateFromPuttySsh("nistk256", x963, putty, loadLog));
        EXPECT_EQ(loaded.m_keyType, 0);
    }
}

}  // namespace
}  // namespace vn

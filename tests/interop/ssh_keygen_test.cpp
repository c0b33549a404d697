// Public key blobs and private sections crossing between this library and OpenSSH's
// ssh-keygen, on the three curves OpenSSH knows. Skipped (loudly) where ssh-keygen is missing.

#include <gtest/gtest.h>

#include <string>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "host/Pem.h"
#include "host/SshMessage.h"
#include "support/peer_tools.h"
#include "support/scripted_prng.h"

namespace vn {
namespace {

namespace peers = testing_peers;

struct SshCurve {
    const char* ours;
    const char* sshId;
    int bits;
};
const SshCurve kCurves[] = {{"secp256r1", "nistp256", 256}, {"secp384r1", "nistp384", 384}, {"secp521r1", "nistp521", 521}};

class SshKeygen : public ::testing::TestWithParam<SshCurve> {
protected:
    void SetUp() override {
        if (!peers::haveTool("ssh-keygen")) GTEST_SKIP() << "*** ssh-keygen not found: OpenSSH interop tests SKIPPED ***";
        ASSERT_TRUE(dir.ok());
    }
    peers::TempDir dir;
};

// "256 MD5:aa:bb:... comment (ECDSA)" -> "aa:bb:..."
std::string md5Field(const std::string& line) {
    size_t at = line.find("MD5:");
    if (at == std::string::npos) return "";
    size_t end = line.find(' ', at);
    return line.substr(at + 4, end - at - 4);
}

std::string fingerprintHex(EccKey& key, LogBase& log) {
    StringBuffer fp;
    if (!key.calc_fingerprint(fp, log)) return "";
    std::string text = fp.getString();
    return text.substr(text.rfind(' ') + 1);
}

TEST_P(SshKeygen, AcceptsOurPublicKeyLineWithOurFingerprint) {
    const SshCurve& c = GetParam();
    EccKey key;
    testing_support::ScriptedPrng prng;
    LogBase log;
    StringBuffer name(c.ours);
    ASSERT_TRUE(key.generateNewKey(name, prng, log));
    DataBuffer blob;
    ASSERT_TRUE(key.puttyPublicKeyBlob(blob, log));
    StringBuffer b64;
    ASSERT_TRUE(blob.encodeDB("base64", b64));
    peers::writeFile(dir.path("ours.pub"), std::string("ecdsa-sha2-") + c.sshId + " " + b64.getString() + " ours\n");

    int status = -1;
    std::string out = peers::capture("ssh-keygen -l -E md5 -f " + dir.path("ours.pub"), &status);
    ASSERT_EQ(status, 0) << out;
    EXPECT_EQ(out.rfind(std::to_string(c.bits) + " ", 0), 0u) << out;
    EXPECT_NE(out.find("(ECDSA)"), std::string::npos) << out;
    EXPECT_EQ(md5Field(out), fingerprintHex(key, log)) << out;
}

// The private section of an unencrypted openssh-key-v1 file, after its two check words,
// is exactly the OpenSSH-style ECDSA blob; the public point comes from the public blob.
TEST_P(SshKeygen, KeyMadeBySshKeygenLoadsFromItsPrivateSection) {
    const SshCurve& c = GetParam();
    ASSERT_EQ(peers::run("ssh-keygen -q -t ecdsa -b " + std::to_string(c.bits) + " -N '' -C made-by-openssh -f " +
                         dir.path("id")),
              0);
    LogBase log;
    StringBuffer label;
    DataBuffer file;
    ASSERT_TRUE(PemReader::readFirst(peers::readFile(dir.path("id")).c_str(), label, file, log)) << log.render();
    ASSERT_STREQ(label.getString(), "OPENSSH PRIVATE KEY");
    const char magic[] = "openssh-key-v1";
    ASSERT_GT(file.getSize(), sizeof magic);
    ASSERT_TRUE(std::equal(magic, magic + sizeof magic, file.getData2()));

    unsigned offset = sizeof magic;
    StringBuffer cipher, kdf, kdfOptions;
    unsigned keyCount = 0;
    ASSERT_TRUE(SshMessage::parseString(file, offset, cipher));
    ASSERT_STREQ(cipher.getString(), "none");
    ASSERT_TRUE(SshMessage::parseString(file, offset, kdf));
    ASSERT_TRUE(SshMessage::parseString(file, offset, kdfOptions));
    ASSERT_TRUE(SshMessage::parseUint32(file, offset, keyCount));
    ASSERT_EQ(keyCount, 1u);
    DataBuffer publicBlob, privateSection;
    ASSERT_TRUE(SshMessage::parseBinaryString(file, offset, publicBlob, log));
    ASSERT_TRUE(SshMessage::parseBinaryString(file, offset, privateSection, log));

    unsigned pubOffset = 0;
    StringBuffer keyType, curveId;
    DataBuffer x963;
    ASSERT_TRUE(SshMessage::parseString(publicBlob, pubOffset, keyType));
    ASSERT_TRUE(SshMessage::parseString(publicBlob, pubOffset, curveId));
    ASSERT_STREQ(curveId.getString(), c.sshId);
    ASSERT_TRUE(SshMessage::parseBinaryString(publicBlob, pubOffset, x963, log));

    DataBuffer privBlob;
    privBlob.setSecure(true);
    ASSERT_GT(privateSection.getSize(), 8u);
    privBlob.append(privateSection.getData2() + 8, privateSection.getSize() - 8);

    EccKey key;
    ASSERT_TRUE(key.loadPrivateFromPuttySsh(c.sshId, x963, privBlob, log)) << log.render();
    EXPECT_EQ(key.m_keyType, 1);
    EXPECT_TRUE(log.hasError("no long curve name") == false);

    // k must be the scalar of that point: recompute k*G and compare.
    EccKey recomputed;
    recomputed.copyFromEccKey(key);
    ASSERT_TRUE(recomputed.genPubKey(log)) << log.render();
    EXPECT_EQ(BigNum::mp_cmp(recomputed.m_pubPoint.x, key.m_pubPoint.x), 0);
    EXPECT_EQ(BigNum::mp_cmp(recomputed.m_pubPoint.y, key.m_pubPoint.y), 0);

    // Our blob of the loaded key is OpenSSH's public blob, byte for byte.
    DataBuffer ourBlob;
    ASSERT_TRUE(key.puttyPublicKeyBlob(ourBlob, log));
    EXPECT_TRUE(ourBlob.equals(publicBlob));
    std::string out = peers::capture("ssh-keygen -l -E md5 -f " + dir.path("id.pub"));
    EXPECT_EQ(md5Field(out), fingerprintHex(key, log)) << out;
}

INSTANTIATE_TEST_SUITE_P(OpenSshCurves, SshKeygen, ::testing::ValuesIn(kCurves),
                         [](const ::testing::TestParamInfo<SshCurve>& p) { return std::string(p.param.sshId); });

}  // namespace
}  // namespace vn

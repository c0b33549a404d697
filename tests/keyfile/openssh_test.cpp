// OpenSSH key files against ssh-keygen both ways: its encrypted files load with the right
// passphrase only (which also makes each decryption a known answer for bcrypt-pbkdf), and the
// files written here are read back by ssh-keygen.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/Pem.h"
#include "keyfile/Blowfish.h"
#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"
#include "keyfile/OpenSshFiles.h"
// These tests run the peers only, never the tool.
#include "support/peer_tools.h"
#include "support/scripted_prng.h"

namespace {

using namespace vn;
using namespace vn::keyfile;
using vn::testing_peers::Scratch;

bool loadText(const std::string& text, const char* pass, EccKey& key, std::string& found, LogBase& log) {
    StringBuffer label;
    DataBuffer der, pw;
    pw.append(pass == nullptr ? "" : pass, pass == nullptr ? 0u : static_cast<unsigned>(std::strlen(pass)));
    return PemReader::readFirst(text.c_str(), label, der, log) && label.equals("OPENSSH PRIVATE KEY") &&
           loadOpenSshPrivateFile(der, pass == nullptr ? nullptr : &pw, key, found, log);
}

// "type base64" of the key, as the first two fields of ssh-keygen -y.
std::string sshFields(EccKey& key) {
    DataBuffer out;
    std::string message;
    LogNull log;
    if (!writeKey(key, "ssh", {}, out, message, log)) return "";
    std::string line(reinterpret_cast<const char*>(out.getData2()), out.getSize());
    return line.substr(0, line.find('\n'));
}

std::string fields(const std::string& line) { return line.substr(0, line.find(' ', line.find(' ') + 1)); }

TEST(BlowfishTest, ZeroKeyKnownAnswer) {
    // Schneier's published vector: key and plaintext all zero.
    const unsigned char key[8] = {0};
    Blowfish bf;
    bf.expandKey(key, sizeof key, nullptr, 0);
    std::uint32_t l = 0, r = 0;
    bf.encrypt(l, r);
    EXPECT_EQ(l, 0x4EF99745u);
    EXPECT_EQ(r, 0x6198DD78u);
}

TEST(OpenSshFilesTest, SshKeygenFilesBothWays) {
    ECCKEY_NEED_PEER("ssh-keygen");
    struct Row {
        int bits;
        const char* cipher;  // -Z; "" for ssh-keygen's default, "-p" for a plain file re-encrypted by ssh-keygen -p
        const char* found;
    };
    const Row rows[] = {
        {256, "", "aes256-ctr, bcrypt 2 rounds"},
        {384, "aes128-ctr", "aes128-ctr, bcrypt 2 rounds"},
        {521, "aes192-ctr", "aes192-ctr, bcrypt 2 rounds"},
        {256, "aes128-cbc", "aes128-cbc, bcrypt 2 rounds"},
        {384, "aes256-cbc", "aes256-cbc, bcrypt 2 rounds"},
        {521, "aes256-gcm@openssh.com", "aes256-gcm@openssh.com, bcrypt 2 rounds"},
        {256, "chacha20-poly1305@openssh.com", "chacha20-poly1305@openssh.com, bcrypt 2 rounds"},
        {384, "-p", "aes256-ctr, bcrypt 3 rounds"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.bits) + " " + row.cipher);
        Scratch s;
        const std::string reencrypt = std::string(row.cipher) == "-p" ? "1" : "";
        const std::string zOpt = reencrypt.empty() && *row.cipher != '\0' ? std::string("-Z ") + row.cipher : "";
        auto r = s.bash("B=" + std::to_string(row.bits) + " Z='" + zOpt + "' P='" + reencrypt + "'", R"SH(
if [ -n "$P" ]; then
  ssh-keygen -q -t ecdsa -b $B -N '' -C 'a comment' -f k; cp k plain
  ssh-keygen -q -p -P '' -N pw -a 3 -f k >/dev/null
else
  ssh-keygen -q -t ecdsa -b $B -N pw -a 2 $Z -C 'a comment' -f k
fi
ssh-keygen -y -P pw -f k > k.line)SH");
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string expected = fields(s.read("k.line"));

        EccKey key;
        std::string found;
        LogBase log;
        ASSERT_TRUE(loadText(s.read("k"), "pw", key, found, log)) << log.render();
        EXPECT_EQ(found, std::string("OpenSSH private key, ") + row.found);
        EXPECT_EQ(sshFields(key), expected);

        for (const char* wrong : {"pW", static_cast<const char*>(nullptr)}) {
            EccKey other;
            LogBase wrongLog;
            EXPECT_FALSE(loadText(s.read("k"), wrong, other, found, wrongLog));
            EXPECT_TRUE(wrongLog.hasError(wrong ? "wrong passphrase or corrupt file"
                                                : "the key file is encrypted: a passphrase is needed"))
                << wrongLog.render();
            EXPECT_EQ(other.m_keyType, 0);
        }

        // Ours, encrypted, read back by ssh-keygen and by us.
        testing_support::ScriptedPrng prng;
        DataBuffer pw;
        pw.append("new pw", 6);
        StringBuffer pem;
        ASSERT_TRUE(writeOpenSshPrivateFile(key, &pw, "ours", prng, pem, log, 2)) << log.render();
        s.write("ours", pem.getString());
        r = s.bash("", "chmod 600 ours; ssh-keygen -y -P 'new pw' -f ours > ours.line");
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(fields(s.read("ours.line")), expected);
        EccKey back;
        ASSERT_TRUE(loadText(pem.getString(), "new pw", back, found, log)) << log.render();
        EXPECT_EQ(sshFields(back), expected);

        if (!reencrypt.empty()) {
            // Unencrypted, with ssh-keygen's check word and comment: its very file, byte for byte.
            std::string plainText = s.read("plain");
            EccKey plainKey;
            ASSERT_TRUE(loadText(plainText, nullptr, plainKey, found, log)) << log.render();
            EXPECT_EQ(found, "OpenSSH private key, unencrypted");
            StringBuffer label;
            DataBuffer der;
            ASSERT_TRUE(PemReader::readFirst(plainText.c_str(), label, der, log));
            const unsigned char* at = der.getData2() + 15 + 4 + 4 + 4 + 4 + 4 + 4 + 4;  // magic, none, none, "", 1
            const unsigned blobLen = (unsigned(at[-4]) << 24) | (unsigned(at[-3]) << 16) | (unsigned(at[-2]) << 8) | at[-1];
            at += blobLen + 4;
            prng.push({at[0], at[1], at[2], at[3]});
            ASSERT_TRUE(writeOpenSshPrivateFile(plainKey, nullptr, "a comment", prng, pem, log)) << log.render();
            EXPECT_EQ(std::string(pem.getString()), plainText);
        }
    }
}

TEST(OpenSshFilesTest, RefusesOtherKeysAndOffCurvePoints) {
    ECCKEY_NEED_PEER("ssh-keygen");
    Scratch s;
    auto r = s.bash("", "ssh-keygen -q -t ed25519 -N pw -a 2 -f ed; ssh-keygen -q -t ecdsa -N '' -f ec");
    ASSERT_EQ(r.status, 0) << r.err;
    const char kEd[] = "this is an ssh-ed25519 key; ecckey reads ECDSA keys on prime curves only";
    EccKey key;
    std::string found;
    LogBase log1, log2, log3;
    EXPECT_FALSE(loadText(s.read("ed"), "pw", key, found, log1));
    EXPECT_TRUE(log1.hasError(kEd)) << log1.render();
    EXPECT_FALSE(loadOpenSshPublicLine(s.read("ed.pub"), key, log2));
    EXPECT_TRUE(log2.hasError(kEd)) << log2.render();

    // The public line with y's last bit flipped: same width, off the curve.
    std::string line = s.read("ec.pub");
    DataBuffer blob;
    const size_t b64Start = line.find(' ') + 1, b64End = line.find(' ', b64Start);
    ASSERT_TRUE(blob.appendEncoded(line.substr(b64Start, b64End - b64Start).c_str(), "base64"));
    blob.getData2()[blob.getSize() - 1] ^= 1;
    StringBuffer b64;
    ASSERT_TRUE(blob.encodeDB("base64", b64));
    ASSERT_TRUE(loadOpenSshPublicLine(line, key, log3)) << log3.render();
    EXPECT_FALSE(loadOpenSshPublicLine(line.substr(0, b64Start) + b64.getString() + line.substr(b64End), key, log3));
    EXPECT_TRUE(log3.hasError(keyfile::kPointNotOnCurve)) << log3.render();
}

}  // namespace

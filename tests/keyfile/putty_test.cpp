// .ppk files against puttygen both ways: its files, plain and encrypted in every version and
// Argon2 flavour, load with the right passphrase and fail cleanly with a wrong one; ours are
// read by puttygen and give back the same public key.

#ifndef ECCKEY_TOOL_PATH
#define ECCKEY_TOOL_PATH "ecckey"  // unused here: only puttygen runs
#endif

#include <gtest/gtest.h>

#include <string>

#include "host/BigNum.h"
#include "keyfile/KeyWriter.h"
#include "keyfile/PuttyFiles.h"
#include "support/peer_tools.h"

namespace {

using vn::DataBuffer;
using vn::EccKey;
using vn::StringBuffer;
using vn::testing_peers::Scratch;

const char kPass[] = "correct horse";

struct Bytes : DataBuffer {
    explicit Bytes(const std::string& s) { append(s.data(), static_cast<unsigned>(s.size())); }
};

// "ecdsa-sha2-... BASE64" as puttygen -O public-openssh prints it, without the comment.
std::string publicLine(EccKey& key) {
    DataBuffer blob;
    StringBuffer b64;
    vn::LogNull log;
    if (!key.puttyPublicKeyBlob(blob, log) || !blob.encodeDB("base64", b64)) return "";
    return std::string("ecdsa-sha2-") + vn::keyfile::sshIdentifierOf(key) + " " + b64.getString();
}

std::string firstTwoFields(const std::string& line) {
    size_t second = line.find(' ', line.find(' ') + 1);
    return line.substr(0, second == std::string::npos ? line.find('\n') : second);
}

TEST(PuttyFiles, PuttygenFilesLoad) {
    ECCKEY_NEED_PEER("puttygen");
    struct Row {
        const char* name;
        int bits;
        const char* params;  // --ppk-param; empty: unencrypted
        const char* found;
    };
    const Row rows[] = {
        {"v2", 256, "version=2", "PuTTY key file v2, aes256-cbc"},
        {"v3id", 384, "version=3,passes=1", "PuTTY key file v3, aes256-cbc, Argon2id"},
        {"v3i", 521, "version=3,kdf=argon2i,passes=2,parallelism=2", "PuTTY key file v3, aes256-cbc, Argon2i"},
        {"v3d", 256, "version=3,kdf=argon2d,passes=1,memory=64", "PuTTY key file v3, aes256-cbc, Argon2d"},
        {"plain2", 384, "", "PuTTY key file v2, unencrypted"},
        {"plain3", 521, "", "PuTTY key file v3, unencrypted"},
    };
    Scratch dir;
    ASSERT_TRUE(dir.ok());
    std::string script = "printf '%s' '" + std::string(kPass) + "' > pass; : > empty\n";
    for (const Row& r : rows) {
        const std::string n = r.name;
        const bool enc = *r.params != '\0';
        std::string params = enc ? r.params : (n == "plain2" ? "version=2" : "version=3");
        script += "puttygen -q -t ecdsa -b " + std::to_string(r.bits) + " -C 'a comment' --new-passphrase " +
                  (enc ? "pass" : "empty") + " --ppk-param " + params + " -o " + n + ".ppk\n" +
                  "puttygen " + n + ".ppk --old-passphrase " + (enc ? "pass" : "empty") + " -O public-openssh -o " +
                  n + ".pub\n";
    }
    vn::testing_peers::Result res = dir.bash("", script);
    ASSERT_EQ(res.status, 0) << res.err;

    Bytes right(kPass), wrong("Correct horse");
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const std::string file = dir.read(std::string(r.name) + ".ppk");
        EccKey key;
        vn::LogBase log;
        std::string found;
        ASSERT_TRUE(vn::keyfile::loadPuttyPpk(file.c_str(), &right, key, found, log)) << log.render();
        EXPECT_EQ(found, r.found);
        EXPECT_EQ(key.m_keyType, 1);
        EXPECT_EQ(publicLine(key), firstTwoFields(dir.read(std::string(r.name) + ".pub")));
        if (*r.params == '\0') continue;

        vn::LogBase wrongLog, noneLog;
        EXPECT_FALSE(vn::keyfile::loadPuttyPpk(file.c_str(), &wrong, key, found, wrongLog));
        EXPECT_EQ(wrongLog.errors(), std::vector<std::string>{"wrong passphrase or corrupt file"});
        EXPECT_EQ(key.m_keyType, 0);
        EXPECT_FALSE(vn::keyfile::loadPuttyPpk(file.c_str(), nullptr, key, found, noneLog));
        EXPECT_TRUE(noneLog.hasError("the key file is encrypted: a passphrase is needed"));
    }
}

TEST(PuttyFiles, OurFilesReadByPuttygen) {
    ECCKEY_NEED_PEER("puttygen");
    struct Row {
        const char* curve;
        int version;
        bool encrypted;
    };
    const Row rows[] = {{"secp256r1", 3, true}, {"secp384r1", 2, true}, {"secp521r1", 3, true},
                        {"secp521r1", 2, false}, {"secp256r1", 3, false}};
    vn::keyfile::PpkArgon2Cost cheap;
    cheap.passes = 1;
    cheap.memoryKiB = 256;
    Scratch dir;
    ASSERT_TRUE(dir.ok());
    dir.write("pass", kPass);
    dir.write("empty", "");
    Bytes pass(kPass);
    vn::_vnSystemPrng prng;
    std::string script, expected[sizeof rows / sizeof rows[0]];
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        const Row& r = rows[i];
        SCOPED_TRACE(std::string(r.curve) + " v" + std::to_string(r.version));
        EccKey key, back;
        vn::LogBase log;
        StringBuffer text;
        ASSERT_TRUE(key.generateNewKey(StringBuffer(r.curve), prng, log));
        const std::string comment = "ours " + std::to_string(i);
        ASSERT_TRUE(vn::keyfile::writePuttyPpk(key, r.version, r.encrypted ? &pass : nullptr, comment, prng, text, log,
                                               cheap))
            << log.render();
        EXPECT_EQ(std::string(text.getString()).find('\r'), std::string::npos);
        std::string found;
        ASSERT_TRUE(vn::keyfile::loadPuttyPpk(text.getString(), &pass, back, found, log)) << log.render();
        EXPECT_EQ(publicLine(back), publicLine(key));
        const std::string n = "k" + std::to_string(i);
        dir.write(n + ".ppk", text.getString());
        expected[i] = publicLine(key);
        // Through an OpenSSH export, which needs the private blob decrypted and its MAC checked.
        script += "puttygen " + n + ".ppk --old-passphrase pass -O private-openssh-new --new-passphrase empty -o " + n +
                  ".key\nputtygen " + n + ".key -O public-openssh -o " + n + ".pub\n";
    }
    vn::testing_peers::Result res = dir.bash("", script);
    ASSERT_EQ(res.status, 0) << res.err;
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        EXPECT_EQ(firstTwoFields(dir.read("k" + std::to_string(i) + ".pub")), expected[i]) << "row " << i;
    }
}

// Files that must be refused, each with the line the user gets.
TEST(PuttyFiles, RefusedFiles) {
    EccKey key;
    vn::LogBase log;
    vn::_vnSystemPrng prng;
    StringBuffer good;
    ASSERT_TRUE(key.generateNewKey(StringBuffer("secp256r1"), prng, log));
    ASSERT_TRUE(vn::keyfile::writePuttyPpk(key, 3, nullptr, "c", prng, good, log));
    // A point moved off the curve, under a MAC that holds: only the point check can catch it.
    EccKey offCurve;
    offCurve.copyFromEccKey(key);
    vn::mp_int one;
    vn::BigNum::mp_set(one, 1);
    vn::BigNum::mp_add(offCurve.m_pubPoint.y, one, offCurve.m_pubPoint.y);
    StringBuffer forged;
    ASSERT_TRUE(vn::keyfile::writePuttyPpk(offCurve, 3, nullptr, "c", prng, forged, log));
    std::string tampered = good.getString();
    tampered[tampered.find("Comment: c") + 9] = 'd';

    struct Row {
        std::string text, error;
    };
    const Row rows[] = {
        {forged.getString(), "The PuTTY key file's public point is not a point of its curve."},
        {tampered, "The PuTTY key file's MAC does not match: the file is damaged or was altered."},
        {"PuTTY-User-Key-File-3: ssh-ed25519\nEncryption: none\n",
         "this is an ssh-ed25519 key; ecckey reads ECDSA keys on prime curves only"},
        {"PuTTY-User-Key-File-3: ecdsa-sha2-nistp256\nEncryption: aes256-cbc\nComment: x\nPublic-Lines: 1\nAAAA\n"
         "Key-Derivation: Argon2id\nArgon2-Memory: 99999999\nArgon2-Passes: 1\nArgon2-Parallelism: 1\n"
         "Argon2-Salt: 00\nPrivate-Lines: 1\nAAAAAAAAAAAAAAAAAAAAAA==\nPrivate-MAC: 00\n",
         "The PuTTY key file's Argon2 parameters are malformed or beyond what this layer will spend."},
        {"PuTTY-User-Key-File-2: ecdsa-sha2-nistp256\nEncryption: aes128-cbc\n",
         "The PuTTY key file uses an encryption this layer does not know."},
        {"PuTTY-User-Key-File-2: ecdsa-sha2-nistp256\nEncryption: none\nComment: x\nPublic-Lines: 9\nAAAA\n",
         "The PuTTY key file's line count is wrong."},
    };
    Bytes pass(kPass);
    for (const Row& r : rows) {
        vn::LogBase rowLog;
        std::string found;
        EXPECT_FALSE(vn::keyfile::loadPuttyPpk(r.text.c_str(), &pass, key, found, rowLog)) << r.text;
        EXPECT_TRUE(rowLog.hasError(r.error.c_str())) << rowLog.render();
        EXPECT_EQ(key.m_keyType, 0);
    }
}

}  // namespace

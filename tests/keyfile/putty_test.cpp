// .ppk files against puttygen both ways: each file puttygen writes (every version, Argon2
// flavour, plain or encrypted) loads with the right passphrase and fails cleanly without it;
// we write the key back the same way and puttygen, decrypting ours, finds the same public key.

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "host/BigNum.h"
#include "keyfile/KeyReader.h"
#include "keyfile/PuttyFiles.h"
#include "support/peer_tools.h"

namespace {

using vn::keyfile::loadPuttyPpk;
using vn::keyfile::writePuttyPpk;

const char kPass[] = "correct horse";

struct Bytes : vn::DataBuffer {
    explicit Bytes(const std::string& s) { append(s.data(), static_cast<unsigned>(s.size())); }
};

TEST(PuttyFiles, PuttygenBothWays) {
    ECCKEY_NEED_PEER("puttygen");
    struct Row {
        int bits;
        const char* params;  // --ppk-param
        bool encrypted;
        const char* found;
    } const rows[] = {
        {256, "version=2", true, "PuTTY key file v2, aes256-cbc"},
        {384, "version=3,passes=1", true, "PuTTY key file v3, aes256-cbc, Argon2id"},
        {521, "version=3,kdf=argon2i,passes=2,parallelism=2", true, "PuTTY key file v3, aes256-cbc, Argon2i"},
        {256, "version=3,kdf=argon2d,passes=1,memory=64", true, "PuTTY key file v3, aes256-cbc, Argon2d"},
        {384, "version=2", false, "PuTTY key file v2, unencrypted"},
        {521, "version=3", false, "PuTTY key file v3, unencrypted"},
    };
    vn::testing_peers::Scratch dir;
    ASSERT_TRUE(dir.ok());
    std::string make = "printf '%s' '" + std::string(kPass) + "' > pass; : > empty\n", check;
    for (size_t i = 0; i < std::size(rows); ++i) {
        const std::string n = std::to_string(i), pass = rows[i].encrypted ? " pass" : " empty";
        make += "puttygen -q -t ecdsa -b " + std::to_string(rows[i].bits) + " -C 'a comment' --new-passphrase" + pass +
                " --ppk-param " + rows[i].params + " -o " + n + ".ppk\nputtygen " + n + ".ppk -O public-openssh -o " +
                n + ".pub\n";
        // The OpenSSH export needs the private blob decrypted and its MAC checked.
        check += "puttygen o" + n + ".ppk --old-passphrase" + pass + " -O private-openssh-new --new-passphrase empty" +
                 " -o o" + n + ".key\nputtygen o" + n + ".key -O public-openssh -o o" + n + ".pub\n[ \"$(fields o" + n +
                 ".pub)\" = \"$(fields " + n + ".pub)\" ] || fail row " + n + "\n";
    }
    vn::testing_peers::Result res = dir.bash("", make);
    ASSERT_EQ(res.status, 0) << res.err;

    Bytes right(kPass), wrong("Correct horse");
    vn::keyfile::PpkArgon2Cost cheap;
    cheap.passes = 1;
    cheap.memoryKiB = 256;
    vn::_vnSystemPrng prng;
    for (size_t i = 0; i < std::size(rows); ++i) {
        const Row& r = rows[i];
        SCOPED_TRACE(r.params);
        const std::string file = dir.read(std::to_string(i) + ".ppk");
        vn::EccKey key;
        vn::LogBase log, wrongLog, noneLog;
        std::string found;
        vn::StringBuffer ours;
        ASSERT_TRUE(loadPuttyPpk(file.c_str(), &right, key, found, log)) << log.render();
        EXPECT_EQ(found, r.found);
        const int version = r.params[8] - '0';  // "version=N"
        ASSERT_TRUE(writePuttyPpk(key, version, r.encrypted ? &right : nullptr, "ours", prng, ours, log, cheap));
        EXPECT_EQ(std::string(ours.getString()).find('\r'), std::string::npos);
        dir.write("o" + std::to_string(i) + ".ppk", ours.getString());
        if (!r.encrypted) continue;
        EXPECT_FALSE(loadPuttyPpk(file.c_str(), &wrong, key, found, wrongLog));
        EXPECT_EQ(wrongLog.errors(), std::vector<std::string>{"wrong passphrase or corrupt file"});
        EXPECT_EQ(key.m_keyType, 0);
        EXPECT_FALSE(loadPuttyPpk(file.c_str(), nullptr, key, found, noneLog));
        EXPECT_TRUE(noneLog.hasError("the key file is encrypted: a passphrase is needed"));
    }
    res = dir.bash("", check);
    EXPECT_EQ(res.status, 0) << res.err;
}

// Files that must be refused, each with the line the user gets.
TEST(PuttyFiles, RefusedFiles) {
    vn::EccKey key, offCurve;
    vn::LogBase log;
    vn::_vnSystemPrng prng;
    vn::StringBuffer good, forged;
    ASSERT_TRUE(key.generateNewKey(vn::StringBuffer("secp256r1"), prng, log));
    ASSERT_TRUE(writePuttyPpk(key, 3, nullptr, "c", prng, good, log));
    // A point moved off the curve under a MAC that holds: only the point check can catch it.
    offCurve.copyFromEccKey(key);
    vn::mp_int one;
    vn::BigNum::mp_set(one, 1);
    vn::BigNum::mp_add(offCurve.m_pubPoint.y, one, offCurve.m_pubPoint.y);
    ASSERT_TRUE(writePuttyPpk(offCurve, 3, nullptr, "c", prng, forged, log));
    std::string tampered = good.getString();
    tampered[tampered.find("Comment: c") + 9] = 'd';

    const std::pair<std::string, const char*> rows[] = {
        {forged.getString(), vn::keyfile::kPointNotOnCurve},
        {tampered, "The PuTTY key file's MAC does not match: the file is damaged or was altered."},
        {"PuTTY-User-Key-File-3: ssh-ed25519\n",
         "this is an ssh-ed25519 key; ecckey reads ECDSA keys on prime curves only"},
        {"PuTTY-User-Key-File-3: ecdsa-sha2-nistp256\nEncryption: aes256-cbc\nComment: x\nPublic-Lines: 1\nAAAA\n"
         "Key-Derivation: Argon2id\nArgon2-Memory: 99999999\nArgon2-Passes: 1\nArgon2-Parallelism: 1\n"
         "Argon2-Salt: 00\nPrivate-Lines: 1\nAAAAAAAAAAAAAAAAAAAAAA==\nPrivate-MAC: 00\n",
         vn::keyfile::kTooMuchWork},
        {"PuTTY-User-Key-File-2: ecdsa-sha2-nistp256\nEncryption: aes128-cbc\n",
         "The PuTTY key file uses an encryption this layer does not know."},
    };
    Bytes pass(kPass);
    for (const auto& r : rows) {
        vn::LogBase rowLog;
        std::string found;
        EXPECT_FALSE(loadPuttyPpk(r.first.c_str(), &pass, key, found, rowLog)) << r.first;
        EXPECT_TRUE(rowLog.hasError(r.second)) << rowLog.render();
        EXPECT_EQ(key.m_keyType, 0);
    }
}

}  // namespace

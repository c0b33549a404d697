// Passphrase-protected PKCS#8 and traditional encrypted PEM against openssl, both ways: every
// file openssl encrypts loads with the passphrase and fails cleanly without it or with a
// wrong one, and the key, written back encrypted by us, is read by openssl.

#include <string>

#include "host/Pem.h"
#include "keyfile/EncryptedPkcs8.h"
#include "keyfile/PemEncryption.h"
// These tests run only the peers, never the tool.
#include "support/peer_tools.h"
#include "support/scripted_prng.h"

namespace vn {
namespace testing_peers {
namespace {

enum Reader { kPkcs8Pem, kPkcs8Der, kTraditional };

struct Row {
    const char* curve;
    const char* make;  // writes enc from k.pem with the passphrase $P
    Reader reader;
    const char* found;    // what the reader reports, for files it reads
    const char* refusal;  // the error line, for files it refuses
};

const char kPk8[] = "openssl pkcs8 -topk8 -in k.pem -passout pass:\"$P\" -out enc ";
const char kWrong[] = "wrong passphrase or corrupt file";

const Row kRows[] = {
    {"prime256v1", "openssl pkcs8 -topk8 -v2 aes256 -in k.pem -passout pass:\"$P\" -out enc", kPkcs8Pem,
     "PBES2 PBKDF2-HMAC-SHA256 2048 iterations, aes-256-cbc", nullptr},
    {"secp384r1", "-v2 aes128 -v2prf hmacWithSHA512 -iter 700 -outform DER", kPkcs8Der,
     "PBES2 PBKDF2-HMAC-SHA512 700 iterations, aes-128-cbc", nullptr},
    {"secp521r1", "-v2 aes192 -v2prf hmacWithSHA1 -iter 300", kPkcs8Pem,
     "PBES2 PBKDF2-HMAC-SHA1 300 iterations, aes-192-cbc", nullptr},
    {"brainpoolP256r1", "-v2 des3 -v2prf hmacWithSHA224 -iter 300", kPkcs8Pem,
     "PBES2 PBKDF2-HMAC-SHA224 300 iterations, des-ede3-cbc", nullptr},
    {"secp256k1", "-v2 aes256 -v2prf hmacWithSHA384 -iter 300", kPkcs8Pem,
     "PBES2 PBKDF2-HMAC-SHA384 300 iterations, aes-256-cbc", nullptr},
    {"brainpoolP512r1", "-scrypt -scrypt_N 1024 -scrypt_r 8 -scrypt_p 1", kPkcs8Pem,
     "PBES2 scrypt N=1024 r=8 p=1, aes-256-cbc", nullptr},
    {"secp224r1",
     "openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:$C -aes256 -pass pass:\"$P\" -out enc\n"
     "openssl ec -in enc -passin pass:\"$P\" -no_public -outform DER -out k.p8",
     kPkcs8Pem, "PBES2 PBKDF2-HMAC-SHA256 2048 iterations, aes-256-cbc", nullptr},
    {"prime256v1", "openssl ec -aes256 -in k.pem -passout pass:\"$P\" -out enc", kTraditional,
     "PEM EC PRIVATE KEY, traditional encryption aes-256-cbc", nullptr},
    {"secp160r1", "openssl ec -aes128 -in k.pem -passout pass:\"$P\" -out enc", kTraditional,
     "PEM EC PRIVATE KEY, traditional encryption aes-128-cbc", nullptr},
    {"brainpoolP384r1", "openssl ec -des3 -in k.pem -passout pass:\"$P\" -out enc", kTraditional,
     "PEM EC PRIVATE KEY, traditional encryption des-ede3-cbc", nullptr},
    // Parameters in front and CR LF line endings.
    {"secp192r1",
     "{ openssl ecparam -name $C; openssl ec -aes192 -in k.pem -passout pass:\"$P\"; } | sed 's/$/\\r/' > enc",
     kTraditional, "PEM EC PRIVATE KEY, traditional encryption aes-192-cbc", nullptr},
    // Refused with their own line, never taken for a wrong passphrase.
    {"prime256v1", "-v1 PBE-SHA1-3DES", kPkcs8Pem, nullptr, "old PBES1 or PKCS#12 scheme"},
    {"prime256v1", "-v2 aes-256-ofb", kPkcs8Pem, nullptr, "cipher is not AES-128/192/256-CBC"},
    {"prime256v1", "-v2 aes256 -outform DER; head -c 60 enc > cut; mv cut enc", kPkcs8Der, nullptr,
     "not well-formed DER"},
    {"prime256v1", "openssl ec -aes256 -in k.pem -passout pass:\"$P\" | sed s/AES-256-CBC/CAMELLIA-256-CBC/ > enc",
     kTraditional, nullptr, "names no cipher"},
    {"prime256v1", "openssl ec -aes256 -in k.pem -passout pass:\"$P\" | sed '/^DEK/s/,\\(..\\)/,/' > enc", kTraditional,
     nullptr, "IV is not"},
};

bool load(const Row& row, const std::string& file, const DataBuffer* pass, EccKey& key, std::string& found,
          LogBase& log) {
    DataBuffer der;
    if (row.reader == kTraditional) return keyfile::loadTraditionalPem(file.c_str(), pass, key, found, log);
    if (row.reader == kPkcs8Der) {
        der.append(file.data(), static_cast<unsigned>(file.size()));
    } else {
        StringBuffer label;
        if (!PemReader::readFirst(file.c_str(), label, der, log) || !label.equals("ENCRYPTED PRIVATE KEY"))
            return false;
    }
    return keyfile::loadEncryptedPkcs8(der, pass, key, found, log);
}

TEST(EncryptedKeyFiles, OpensslBothWays) {
    ECCKEY_NEED_PEER("openssl");
    for (const Row& row : kRows) {
        SCOPED_TRACE(std::string(row.curve) + ": " + row.make);
        Scratch s;
        const std::string make = row.make[0] == '-' ? std::string(kPk8) + row.make : row.make;
        Result r = s.bash(std::string("P='p w'; C=") + row.curve,
                          "openssl ecparam -name $C -genkey -noout -out k.pem\n"
                          "openssl ec -in k.pem -no_public -outform DER -out k.p8\n" +
                              make);
        ASSERT_EQ(r.status, 0) << r.err;
        const std::string file = s.read("enc");
        DataBuffer right, wrong;
        right.append("p w", 3);
        wrong.append("p W", 3);

        EccKey key;
        std::string found;
        LogBase log;
        if (row.refusal != nullptr) {
            EXPECT_FALSE(load(row, file, &right, key, found, log));
            ASSERT_EQ(log.errors().size(), 1u) << log.render();
            EXPECT_NE(log.errors()[0].find(row.refusal), std::string::npos) << log.render();
            continue;
        }
        ASSERT_TRUE(load(row, file, &right, key, found, log)) << log.render();
        EXPECT_EQ(found, row.found);

        // The key loaded is openssl's, and openssl reads it back from our encrypted PKCS#8.
        StringBuffer pem;
        _vnSystemPrng prng;
        ASSERT_TRUE(keyfile::writeEncryptedPkcs8Pem(key, right, prng, pem, log, 500)) << log.render();
        EXPECT_EQ(std::string(pem.getString()).find('\r'), std::string::npos);
        s.write("ours.pem", pem.getString());
        r = s.bash(
            "P='p w'",
            "openssl ec -in ours.pem -passin pass:\"$P\" -no_public -outform DER -out back.p8; same back.p8 k.p8\n"
            "openssl asn1parse -in ours.pem > parsed; has parsed hmacWithSHA256; has parsed aes-256-cbc\n"
            "! openssl pkey -in ours.pem -passin pass:wrong -noout 2> /dev/null || fail wrong pass read");
        EXPECT_EQ(r.status, 0) << r.err;

        for (const DataBuffer* pass :
             {static_cast<const DataBuffer*>(&wrong), static_cast<const DataBuffer*>(nullptr)}) {
            LogBase failLog;
            key.clearEccKey();
            key.m_keyType = 1;  // a stale private key must not survive a failed load
            EXPECT_FALSE(load(row, file, pass, key, found, failLog));
            EXPECT_EQ(key.m_keyType, 0);
            EXPECT_EQ(failLog.errors(),
                      std::vector<std::string>{pass != nullptr ? kWrong
                                                               : "the key file is encrypted: a passphrase is needed"})
                << failLog.render();
        }
    }
}

// Our file's layout with scripted randomness: salt and IV where openssl expects them, the
// default iteration count written out, and the round trip through our own reader.
TEST(EncryptedKeyFiles, WrittenLayoutAndRoundTrip) {
    testing_support::ScriptedPrng prng;
    DataBuffer plain, der, back, pass;
    LogBase log;
    StringBuffer curve("secp256r1");
    EccKey key;
    ASSERT_TRUE(key.generateNewKey(curve, prng, log) && key.toEccPkcs8PrivateKeyDer(plain, log));
    prng.push(std::vector<unsigned char>(16, 0x5a));
    prng.push(std::vector<unsigned char>(16, 0xa5));
    ASSERT_TRUE(keyfile::encryptPkcs8(plain, pass, prng, der, log)) << log.render();
    StringBuffer hex;
    der.encodeDB("hex", hex);
    const std::string h = hex.getString();
    auto repeat = [](const char* pair) {
        std::string r;
        for (int i = 0; i < 16; ++i) r += pair;
        return r;
    };
    EXPECT_NE(h.find("0410" + repeat("5A") + "02030186A0"), std::string::npos);  // salt, 100000 iterations
    EXPECT_NE(h.find("0410" + repeat("A5")), std::string::npos);                 // IV
    std::string found;
    ASSERT_TRUE(keyfile::decryptPkcs8(der, &pass, back, found, log)) << log.render();
    EXPECT_TRUE(back.equals(plain));
    EXPECT_EQ(found, "PBES2 PBKDF2-HMAC-SHA256 100000 iterations, aes-256-cbc");
}

}  // namespace
}  // namespace testing_peers
}  // namespace vn

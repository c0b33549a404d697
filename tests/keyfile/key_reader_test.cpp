// The reader's door: a public point off its curve is refused whatever form carries it, and a
// good key read back from every form the layer writes is the same key.

#include <gtest/gtest.h>

#include <string>

#include "ecc/EccKey.h"
#include "host/BigNum.h"
#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"

namespace vn {
namespace {

TEST(KeyReader, EveryWrittenFormReadsBackAndAnOffCurvePointIsRefused) {
    DataBuffer pass;
    pass.append("pw", 2);
    for (const char* curve : {"secp256r1", "secp384r1", "brainpoolP320r1"}) {
        LogBase log;
        EccKey good, off;
        ASSERT_TRUE(good.generateNewKey2(StringBuffer(curve), "0123456789ABCDEF", "hex", log));
        off.copyFromEccKey(good);
        BigNum::mp_add(off.m_pubPoint.y, off.m_pubPoint.z, off.m_pubPoint.y);  // y + 1
        // The scalar with another key's point, on the curve: a SEC1 file can pair them.
        EccKey paired, other;
        ASSERT_TRUE(other.generateNewKey2(StringBuffer(curve), "0123456789ABCDEE", "hex", log));
        paired.copyFromEccKey(other);
        BigNum::mp_copy(good.m_k, paired.m_k);
        DataBuffer sec1;
        std::string pairedFound;
        LogBase plog;
        log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
        ASSERT_TRUE(paired.toEccPkcs1PrivateKeyDer(sec1, log));
        EXPECT_FALSE(keyfile::readKey(sec1, {}, paired, pairedFound, plog));
        EXPECT_EQ(plog.errors().back(), "The private scalar does not match the public key in the file.");
        for (const keyfile::OutputForm& form : keyfile::outputForms()) {
            const std::string name = form.name;
            if (name.find("fingerprint") != std::string::npos || name == "jwk-thumbprint") continue;
            SCOPED_TRACE(std::string(curve) + " " + name);
            keyfile::WriteOptions write;
            keyfile::ReadOptions read;
            const bool encrypts = name == "openssh" || name.compare(0, 3, "ppk") == 0 || name == "pkcs8";
            write.passphrase = read.passphrase = encrypts ? &pass : nullptr;
            read.curveHint = curve;  // raw hexadecimal carries none
            DataBuffer out;
            std::string message, found;
            LogBase wlog, rlog;
            if (!keyfile::writeKey(good, name, write, out, message, wlog)) {
                EXPECT_FALSE(message.empty()) << wlog.render();  // an SSH form of a curve SSH does not name
                continue;
            }
            EccKey back;
            ASSERT_TRUE(keyfile::readKey(out, read, back, found, rlog)) << rlog.render();
            EXPECT_EQ(BigNum::mp_cmp(back.m_pubPoint.y, good.m_pubPoint.y), 0);
            if (back.m_keyType == 1) {
                EXPECT_EQ(BigNum::mp_cmp(back.m_k, good.m_k), 0);
            }
            // The same key with y + 1: refused, or (a form that carries only the scalar) read
            // back with the point the scalar gives.
            DataBuffer bad;
            LogBase blog, olog;
            if (!keyfile::writeKey(off, name, write, bad, message, blog)) continue;  // a writer that checks
            if (keyfile::readKey(bad, read, back, found, olog)) {
                EXPECT_EQ(BigNum::mp_cmp(back.m_pubPoint.y, good.m_pubPoint.y), 0) << "an off-curve point got through";
                continue;
            }
            const std::string last = olog.errors().back();
            EXPECT_TRUE(last == keyfile::kPointNotOnCurve ||
                        last == "The private scalar does not match the public key in the file.")
                << olog.render();
            EXPECT_NE(back.m_keyType, 1);
        }
    }
}

}  // namespace
}  // namespace vn

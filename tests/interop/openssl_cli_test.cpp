// Keys crossing between this library and the openssl command-line tool, both directions, on
// all fourteen curves. Skipped (loudly) where the tool is not installed.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/Pem.h"

namespace vn {
namespace {

// OpenSSL's names for our curves, in table order.
const char* opensslName(const char* canonical) {
    struct Row {
        const char* ours;
        const char* theirs;
    } static const rows[] = {
        {"secp256r1", "prime256v1"},           {"secp384r1", "secp384r1"},
        {"secp521r1", "secp521r1"},            {"secp256k1", "secp256k1"},
        {"secp192r1", "prime192v1"},           {"secp160r1", "secp160r1"},
        {"secp224r1", "secp224r1"},            {"brainpoolp256r1", "brainpoolP256r1"},
        {"brainpoolp160r1", "brainpoolP160r1"}, {"brainpoolp192r1", "brainpoolP192r1"},
        {"brainpoolp224r1", "brainpoolP224r1"}, {"brainpoolp320r1", "brainpoolP320r1"},
        {"brainpoolp384r1", "brainpoolP384r1"}, {"brainpoolp512r1", "brainpoolP512r1"},
    };
    for (const Row& r : rows) {
        if (std::string(r.ours) == canonical) return r.theirs;
    }
    return nullptr;
}

bool haveOpenssl() { return std::system("openssl version > /dev/null 2>&1") == 0; }

class OpensslCli : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        if (!haveOpenssl()) GTEST_SKIP() << "*** openssl command-line tool not found: interop tests SKIPPED ***";
        char templ[] = "/tmp/ecckey-interop-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir = templ;
        curve = namedCurveAt(GetParam()).name;
        theirs = opensslName(curve);
    }
    void TearDown() override {
        if (!dir.empty()) std::system(("rm -rf " + dir).c_str());
    }
    std::string path(const char* name) const { return dir + "/" + name; }
    int run(const std::string& cmd) const { return std::system((cmd + " 2>/dev/null").c_str()); }

    std::string readFile(const char* name) const {
        std::ifstream in(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    void writeFile(const char* name, const unsigned char* bytes, unsigned n) const {
        std::ofstream out(path(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes), n);
    }
    // Loads a DER or PEM file produced by openssl.
    bool load(EccKey& key, const char* name, LogBase& log) const {
        std::string text = readFile(name);
        DataBuffer der;
        if (text.rfind("-----BEGIN", 0) == 0) {
            StringBuffer label;
            if (!PemReader::readFirst(text.c_str(), label, der, log)) return false;
        } else {
            der.append(text.data(), static_cast<unsigned>(text.size()));
        }
        return key.loadEccDer(der, log);
    }

    std::string dir;
    const char* curve = nullptr;
    const char* theirs = nullptr;
};

TEST_P(OpensslCli, KeysMadeByOpensslLoadHere) {
    ASSERT_EQ(run("openssl ecparam -name " + std::string(theirs) + " -genkey -noout -out " + path("sec1.pem")), 0);
    const std::string in = " -in " + path("sec1.pem");
    ASSERT_EQ(run("openssl ec" + in + " -outform DER -out " + path("sec1.der")), 0);
    ASSERT_EQ(run("openssl ec" + in + " -no_public -outform DER -out " + path("nopub.der")), 0);
    ASSERT_EQ(run("openssl pkey" + in + " -outform DER -out " + path("p8.der")), 0);
    ASSERT_EQ(run("openssl pkey" + in + " -out " + path("p8.pem")), 0);
    ASSERT_EQ(run("openssl ec" + in + " -pubout -outform DER -out " + path("spki.der")), 0);
    ASSERT_EQ(run("openssl ec" + in + " -pubout -param_enc explicit -outform DER -out " + path("explicit.der")), 0);
    ASSERT_EQ(run("openssl ec" + in + " -pubout -conv_form compressed -outform DER -out " + path("compressed.der")), 0);

    EccKey reference;
    LogBase log;
    ASSERT_TRUE(load(reference, "sec1.pem", log)) << curve << "\n" << log.render();
    EXPECT_EQ(reference.m_keyType, 1);
    EXPECT_STREQ(reference.m_curve.name.getString(), curve);
    EXPECT_TRUE(reference.isPoint(log));

    for (const char* form : {"sec1.der", "nopub.der", "p8.der", "p8.pem", "spki.der"}) {
        EccKey key;
        LogBase formLog;
        ASSERT_TRUE(load(key, form, formLog)) << curve << " " << form << "\n" << formLog.render();
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.x, reference.m_pubPoint.x), 0) << curve << " " << form;
        EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.y, reference.m_pubPoint.y), 0) << curve << " " << form;
        bool isPrivate = std::string(form) != "spki.der";
        EXPECT_EQ(key.m_keyType, isPrivate ? 1 : 0) << form;
        if (isPrivate) {
            EXPECT_EQ(BigNum::mp_cmp(key.m_k, reference.m_k), 0) << curve << " " << form;
        }
    }

    // Explicit parameters load for the curves recognised by their base point only.
    {
        EccKey key;
        LogBase formLog;
        bool recognised = std::string(curve) == "secp256r1" || std::string(curve) == "secp384r1" ||
                          std::string(curve) == "secp521r1" || std::string(curve) == "secp256k1";
        EXPECT_EQ(load(key, "explicit.der", formLog), recognised) << curve << "\n" << formLog.render();
        EXPECT_EQ(key.m_keyType, 0);
        if (recognised) {
            EXPECT_EQ(BigNum::mp_cmp(key.m_pubPoint.x, reference.m_pubPoint.x), 0);
        }
    }
    // Compressed points are refused by the X9.63 reader.
    {
        EccKey key;
        LogBase formLog;
        EXPECT_FALSE(load(key, "compressed.der", formLog)) << curve;
        EXPECT_TRUE(formLog.hasError("First byte of ECC point is invalid.")) << formLog.render();
        EXPECT_TRUE(formLog.hasError("Invalid ANSI X9.63 ECC point."));
        EXPECT_EQ(key.m_keyType, 0);
    }
}

TEST_P(OpensslCli, KeysWrittenHereLoadInOpenssl) {
    EccKey key;
    _vnSystemPrng prng;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey(StringBuffer(curve), prng, log));

    DataBuffer spki, spkiLong, sec1, p8;
    StringBuffer privPem, pubPem;
    ASSERT_TRUE(key.toPublicKeyDer_shortFmt(spki, log)) << log.render();
    ASSERT_TRUE(key.toPublicKeyDer_longFmt(spkiLong, log));
    ASSERT_TRUE(key.toEccPkcs1PrivateKeyDer(sec1, log));
    ASSERT_TRUE(key.toEccPkcs8PrivateKeyDer(p8, log));
    ASSERT_TRUE(key.toEccPrivateKeyPem(true, privPem, log));
    ASSERT_TRUE(key.toEccPublicKeyPem(true, pubPem, log));
    writeFile("spki.der", spki.getData2(), spki.getSize());
    writeFile("long.der", spkiLong.getData2(), spkiLong.getSize());
    writeFile("sec1.der", sec1.getData2(), sec1.getSize());
    writeFile("p8.der", p8.getData2(), p8.getSize());
    writeFile("priv.pem", reinterpret_cast<const unsigned char*>(privPem.getString()), privPem.getSize());
    writeFile("pub.pem", reinterpret_cast<const unsigned char*>(pubPem.getString()), pubPem.getSize());
    const std::string expected(reinterpret_cast<const char*>(spki.getData2()), spki.getSize());

    // Each form, read by openssl, gives back our public key in its named-curve form.
    struct Form {
        const char* file;
        const char* options;
    } forms[] = {
        {"spki.der", "openssl pkey -pubin -inform DER"},   {"pub.pem", "openssl pkey -pubin"},
        {"sec1.der", "openssl ec -inform DER"},            {"priv.pem", "openssl ec"},
        {"p8.der", "openssl pkey -inform DER"},
        {"long.der", "openssl ec -pubin -inform DER -param_enc named_curve"},
    };
    for (const Form& f : forms) {
        ASSERT_EQ(run(std::string(f.options) + " -in " + path(f.file) + " -pubout -outform DER -out " +
                      path("out.der")),
                  0)
            << curve << " " << f.file;
        EXPECT_EQ(readFile("out.der"), expected) << curve << " " << f.file;
    }
    // The private scalar survives too: openssl's SEC1 rewrite of our PKCS#8 loads back equal.
    ASSERT_EQ(run("openssl ec -inform DER -in " + path("p8.der") + " -outform DER -out " + path("again.der")), 0);
    EccKey back;
    ASSERT_TRUE(load(back, "again.der", log)) << log.render();
    EXPECT_EQ(BigNum::mp_cmp(back.m_k, key.m_k), 0) << curve;
}

std::string curveName(const ::testing::TestParamInfo<int>& param) { return namedCurveAt(param.param).name; }

INSTANTIATE_TEST_SUITE_P(Curves, OpensslCli, ::testing::Range(0, kNamedCurveCount), curveName);

}  // namespace
}  // namespace vn

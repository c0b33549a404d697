// The ecckey tool against the independent peers: OpenSSL's openssl, OpenSSH's ssh-keygen,
// PuTTY's puttygen and Node.js, in both directions. Each peer's tests are skipped, loudly,
// where the peer is not installed.

#include <string>

#include "ecc/curves/NamedCurves.h"
#include "tools/cli_support.h"

namespace vn {
namespace cli_testing {
namespace {

std::string skipMessage(const char* tool) { return std::string("*** ") + tool + " not found: peer tests SKIPPED ***"; }

// "ecdsa-sha2-nistp256 AAAA... comment" -> the first two fields.
std::string typeAndBlob(const std::string& line) {
    size_t first = line.find(' ');
    size_t second = line.find_first_of(" \r\n", first + 1);
    return line.substr(0, second);
}

std::string withoutWhitespace(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (c != ' ' && c != '\r' && c != '\n' && c != '\t') out += c;
    }
    return out;
}

const char* opensslName(const std::string& ours) {
    if (ours == "secp256r1") return "prime256v1";
    if (ours == "secp192r1") return "prime192v1";
    static std::string brainpool;
    if (ours.rfind("brainpool", 0) == 0) {
        brainpool = "brainpoolP" + ours.substr(10);
        return brainpool.c_str();
    }
    return nullptr;
}

// A parameterised test that needs one peer program, skipped where it is missing.
template <typename Param>
class PeerTest : public CliTest, public ::testing::WithParamInterface<Param> {
protected:
    virtual const char* peer() const = 0;
    void SetUp() override {
        CliTest::SetUp();
        if (!peers::haveTool(peer())) GTEST_SKIP() << skipMessage(peer());
    }
};

class OpensslPeer : public PeerTest<int> {
protected:
    const char* peer() const override { return "openssl"; }
    void SetUp() override {
        PeerTest<int>::SetUp();
        if (IsSkipped()) return;
        curve = namedCurveAt(GetParam()).name;
        theirs = opensslName(curve) != nullptr ? opensslName(curve) : curve;
    }
    std::string curve, theirs;
};

TEST_P(OpensslPeer, KeysBothWays) {
    // openssl ecparam -genkey writes an EC PARAMETERS block before the key.
    ASSERT_EQ(shell("openssl ecparam -name " + theirs + " -genkey -out theirs.pem"), 0);
    ASSERT_NE(read("theirs.pem").find("EC PARAMETERS"), std::string::npos);
    ASSERT_EQ(shell("openssl pkey -in theirs.pem -pubout -outform DER -out theirs.spki.der"), 0);
    ASSERT_EQ(shell("openssl pkey -in theirs.pem -out theirs.p8"), 0);
    for (const char* input : {"theirs.pem", "theirs.p8", "theirs.spki.der"}) {
        Result r = ecckey(std::string("convert --to spki-der ") + input);
        ASSERT_EQ(r.status, 0) << curve << " " << input << "\n" << r.err;
        EXPECT_EQ(r.out, read("theirs.spki.der")) << curve << " " << input;
    }

    ASSERT_EQ(ecckeyTo("ours.pem", "gen " + curve).status, 0);
    ASSERT_EQ(ecckeyTo("ours.spki.der", "pub --to spki-der ours.pem").status, 0);
    for (const char* form : {"sec1", "pkcs8", "sec1-der", "pkcs8-der"}) {
        const bool der = std::string(form).find("-der") != std::string::npos;
        ASSERT_EQ(ecckeyTo("ours.out", std::string("convert --to ") + form + " ours.pem").status, 0);
        std::string pub = shellOut(std::string("openssl pkey -inform ") + (der ? "DER" : "PEM") +
                                   " -in ours.out -pubout -outform DER");
        EXPECT_EQ(pub, read("ours.spki.der")) << curve << " " << form;
    }
    for (const char* form : {"spki", "spki-der", "spki-explicit", "spki-explicit-der"}) {
        const bool der = std::string(form).find("-der") != std::string::npos;
        ASSERT_EQ(ecckeyTo("ours.out", std::string("convert --to ") + form + " ours.pem").status, 0);
        int status = -1;
        std::string pub = shellOut(std::string("openssl pkey -pubin -inform ") + (der ? "DER" : "PEM") +
                                       " -in ours.out -pubout -outform DER",
                                   &status);
        EXPECT_EQ(status, 0) << curve << " " << form;
        // The explicit form names no curve, so openssl writes it back with explicit
        // parameters too; only the named-curve forms come back byte for byte.
        if (std::string(form).find("explicit") == std::string::npos) {
            EXPECT_EQ(pub, read("ours.spki.der")) << form;
        }
    }
}

TEST_P(OpensslPeer, SignaturesAndAgreementBothWays) {
    ASSERT_EQ(ecckeyTo("ours.pem", "gen " + curve).status, 0);
    ASSERT_EQ(ecckeyTo("ours.pub", "pub ours.pem").status, 0);
    ASSERT_EQ(shell("openssl ecparam -name " + theirs + " -genkey -noout -out theirs.pem"), 0);
    ASSERT_EQ(shell("openssl pkey -in theirs.pem -pubout -out theirs.pub"), 0);
    write("msg", "a message for both\n");

    // secp160r1's order is one bit longer than its field: a longer digest is cut to 20 bytes
    // here but to 161 bits by OpenSSL, so the two agree on 20-byte digests only.
    const bool short160 = curve == "secp160r1";
    const std::string ourHash = short160 ? "sha1" : "sha384", theirHash = short160 ? "sha1" : "sha256";
    ASSERT_EQ(ecckeyTo("ours.sig", "sign --key ours.pem --hash " + ourHash + " msg").status, 0);
    EXPECT_EQ(shellOut("openssl dgst -" + ourHash + " -verify ours.pub -signature ours.sig msg"), "Verified OK\n")
        << curve;

    ASSERT_EQ(shell("openssl dgst -" + theirHash + " -sign theirs.pem -out theirs.sig msg"), 0);
    Result v = ecckey("verify --key theirs.pub --hash " + theirHash + " --sig theirs.sig msg");
    EXPECT_EQ(v.status, 0) << curve << "\n" << v.err;

    ASSERT_EQ(shell("openssl pkeyutl -derive -inkey theirs.pem -peerkey ours.pub -out secret.bin"), 0);
    std::string secret = read("secret.bin");
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (char ch : secret) {
        const unsigned char c = static_cast<unsigned char>(ch);
        hex += kHex[c >> 4];
        hex += kHex[c & 15];
    }
    Result ours = ecckey("ecdh --key ours.pem --peer theirs.pub");
    ASSERT_EQ(ours.status, 0) << ours.err;
    EXPECT_EQ(ours.out, hex + "\n") << curve;
}

INSTANTIATE_TEST_SUITE_P(Curves, OpensslPeer, ::testing::Range(0, kNamedCurveCount));

struct SshCurve {
    const char* ours;
    const char* bits;
};
const SshCurve kSshCurves[] = {{"secp256r1", "256"}, {"secp384r1", "384"}, {"secp521r1", "521"}};

class OpenSshPeer : public PeerTest<SshCurve> {
protected:
    const char* peer() const override { return "ssh-keygen"; }
};

TEST_P(OpenSshPeer, PrivateFileAndPublicLineBothWays) {
    const SshCurve& c = GetParam();
    ASSERT_EQ(shell(std::string("ssh-keygen -q -t ecdsa -b ") + c.bits + " -N '' -C peer -f id"), 0);
    Result line = ecckey("convert --to ssh id");
    ASSERT_EQ(line.status, 0) << line.err;
    EXPECT_EQ(typeAndBlob(line.out), typeAndBlob(read("id.pub")));
    Result fromLine = ecckey("convert --to spki id.pub");
    ASSERT_EQ(fromLine.status, 0) << fromLine.err;
    EXPECT_EQ(withoutWhitespace(fromLine.out), withoutWhitespace(shellOut("ssh-keygen -e -m PKCS8 -f id.pub")));

    // Our key's line is read by ssh-keygen, whose fingerprints match ours.
    ASSERT_EQ(ecckeyTo("ours.pem", std::string("gen ") + c.ours).status, 0);
    ASSERT_EQ(ecckeyTo("ours.pub", "convert --to ssh ours.pem").status, 0);
    std::string md5 = shellOut("ssh-keygen -l -E md5 -f ours.pub");
    std::string sha = shellOut("ssh-keygen -l -f ours.pub");
    Result ourMd5 = ecckey("convert --to fingerprint ours.pem");
    Result ourSha = ecckey("convert --to fingerprint-sha256 ours.pem");
    ASSERT_EQ(ourMd5.status, 0);
    std::string hex = ourMd5.out.substr(ourMd5.out.rfind(' ') + 1);
    hex.pop_back();
    EXPECT_NE(md5.find("MD5:" + hex + " "), std::string::npos) << md5 << " vs " << ourMd5.out;
    std::string shaField = ourSha.out.substr(0, ourSha.out.size() - 1);
    EXPECT_NE(sha.find(shaField + " "), std::string::npos) << sha << " vs " << ourSha.out;
}

INSTANTIATE_TEST_SUITE_P(OpenSshCurves, OpenSshPeer, ::testing::ValuesIn(kSshCurves),
                         [](const ::testing::TestParamInfo<SshCurve>& p) { return std::string(p.param.ours); });

class PuttyPeer : public PeerTest<SshCurve> {
protected:
    const char* peer() const override { return "puttygen"; }
};

TEST_P(PuttyPeer, PpkVersionsTwoAndThreeLoad) {
    const SshCurve& c = GetParam();
    for (const char* version : {"2", "3"}) {
        ASSERT_EQ(shell(std::string("puttygen -t ecdsa -b ") + c.bits + " --ppk-param version=" + version +
                        " --new-passphrase /dev/null -o k.ppk"),
                  0);
        ASSERT_EQ(read("k.ppk").rfind(std::string("PuTTY-User-Key-File-") + version + ":", 0), 0u);
        ASSERT_EQ(shell("puttygen k.ppk -O public-openssh -o k.pub"), 0);
        ASSERT_EQ(shell("puttygen k.ppk -O private-openssh -o k.pem"), 0);
        Result line = ecckey("convert --to ssh k.ppk");
        ASSERT_EQ(line.status, 0) << version << "\n" << line.err;
        EXPECT_EQ(typeAndBlob(line.out), typeAndBlob(read("k.pub")));
        Result fromPpk = ecckey("convert --to sec1-der k.ppk");
        Result fromPem = ecckey("convert --to sec1-der k.pem");
        ASSERT_EQ(fromPpk.status, 0) << fromPpk.err;
        EXPECT_EQ(fromPpk.out, fromPem.out) << "version " << version;

        // A changed comment breaks the MAC.
        std::string text = read("k.ppk");
        size_t at = text.find("Comment: ");
        text.insert(at + 9, "x");
        write("tampered.ppk", text);
        Result tampered = ecckey("convert --to ssh tampered.ppk");
        EXPECT_EQ(tampered.status, 2);
        EXPECT_NE(tampered.err.find("MAC does not match"), std::string::npos) << tampered.err;
    }
}

INSTANTIATE_TEST_SUITE_P(PuttyCurves, PuttyPeer, ::testing::ValuesIn(kSshCurves),
                         [](const ::testing::TestParamInfo<SshCurve>& p) { return std::string(p.param.ours); });

class NodePeer : public PeerTest<const char*> {
protected:
    const char* peer() const override { return "node"; }
};

// Node makes a key and exports it as JWK and SEC1 DER; we read the JWK and must write the
// same SEC1. Node reads our JWK back and computes the RFC 7638 thumbprint, which must be ours.
TEST_P(NodePeer, JwkBothWaysAndThumbprint) {
    const std::string curve = GetParam();
    write("node.js",
          "const c = require('crypto'), fs = require('fs');\n"
          "const { privateKey } = c.generateKeyPairSync('ec', { namedCurve: process.argv[2] });\n"
          "fs.writeFileSync('node.jwk', JSON.stringify(privateKey.export({ format: 'jwk' })));\n"
          "fs.writeFileSync('node.sec1', privateKey.export({ format: 'der', type: 'sec1' }));\n");
    ASSERT_EQ(shell("node node.js " + curve), 0);
    Result sec1 = ecckey("convert --to sec1-der node.jwk");
    ASSERT_EQ(sec1.status, 0) << sec1.err;
    EXPECT_EQ(sec1.out, read("node.sec1")) << curve;

    ASSERT_EQ(ecckeyTo("ours.pem", "gen " + curve).status, 0);
    ASSERT_EQ(ecckeyTo("ours.jwk", "convert --to jwk ours.pem").status, 0);
    ASSERT_EQ(ecckeyTo("ours.spki.der", "pub --to spki-der ours.pem").status, 0);
    write("back.js",
          "const c = require('crypto'), fs = require('fs');\n"
          "const jwk = JSON.parse(fs.readFileSync('ours.jwk'));\n"
          "const k = c.createPrivateKey({ key: jwk, format: 'jwk' });\n"
          "const p = c.createPublicKey(k).export({ format: 'jwk' });\n"
          "const canonical = JSON.stringify({ crv: p.crv, kty: p.kty, x: p.x, y: p.y });\n"
          "fs.writeFileSync('node.spki.der', c.createPublicKey(k).export({ format: 'der', type: 'spki' }));\n"
          "process.stdout.write(c.createHash('sha256').update(canonical).digest('base64url'));\n");
    int status = -1;
    std::string thumbprint = shellOut("node back.js", &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(read("node.spki.der"), read("ours.spki.der")) << curve;
    Result ours = ecckey("convert --to jwk-thumbprint ours.pem");
    EXPECT_EQ(ours.out, thumbprint + "\n") << curve;
}

INSTANTIATE_TEST_SUITE_P(JwkCurves, NodePeer, ::testing::Values("P-256", "P-384", "P-521", "secp256k1"),
                         [](const ::testing::TestParamInfo<const char*>& p) {
                             std::string name = p.param;
                             return name.substr(0, 1) == "P" ? "P" + name.substr(2) : name;
                         });

}  // namespace
}  // namespace cli_testing
}  // namespace vn

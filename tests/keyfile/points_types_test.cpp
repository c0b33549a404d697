// Compressed points against openssl on every curve, the square roots against GMP, and keys of
// other types as ssh-keygen, openssl and puttygen write them.

#include <string>

#include "ecc/curves/NamedCurves.h"
#include "host/Pem.h"
#include "keyfile/KeyTypes.h"
#include "keyfile/PointCompression.h"
#ifndef ECCKEY_TOOL_PATH
#define ECCKEY_TOOL_PATH ""  // only the peers run here
#endif
#include "support/gmp_mpz.h"
#include "support/peer_tools.h"

namespace vn {
namespace keyfile {
namespace {

using testing_peers::Scratch;
using testing_support::Mpz;

void setBytes(DataBuffer& d, const std::string& s) {
    d.clear();
    d.append(s.data(), static_cast<unsigned>(s.size()));
}
std::string hexOf(const DataBuffer& d) {
    StringBuffer h;
    d.encodeDB("hex", h);
    return h.getString();
}

// For each curve openssl writes one key with the point in both forms as PEM: SEC1, SPKI and
// PKCS#8 (the uncompressed SEC1 is ecparam's own output).
const char kMakeForms[] = R"SH(
for C in $CURVES; do
  openssl ecparam -name "$C" -genkey -noout -out $C.sec1.u.pem 2>/dev/null
  openssl ec -in $C.sec1.u.pem -conv_form compressed -out $C.sec1.c.pem 2>/dev/null
  openssl ec -in $C.sec1.u.pem -pubout -out $C.spki.u.pem 2>/dev/null
  openssl ec -in $C.sec1.u.pem -conv_form compressed -pubout -out $C.spki.c.pem 2>/dev/null
  for f in u c; do openssl pkcs8 -topk8 -nocrypt -in $C.sec1.$f.pem -out $C.p8.$f.pem; done
done)SH";

// openssl reads the SPKI we compressed and gives the key back uncompressed.
const char kReadOurs[] = R"SH(
for C in $CURVES; do
  openssl ec -pubin -in $C.ours.pem -conv_form uncompressed -pubout -out $C.back.pem 2>/dev/null
  same $C.back.pem $C.spki.u.pem
done)SH";

std::string opensslName(const std::string& c) {
    return c.compare(0, 10, "brainpoolp") == 0 ? "brainpoolP" + c.substr(10) : c;
}

bool readPem(const Scratch& s, const std::string& name, DataBuffer& der) {
    StringBuffer label;
    LogNull quiet;
    return PemReader::readFirst(s.read(name).c_str(), label, der, quiet);
}

TEST(PointCompression, OpensslFormsBothWaysOnEveryCurve) {
    ECCKEY_NEED_PEER("openssl");
    Scratch s;
    std::string curves;
    for (int i = 0; i < kNamedCurveCount; ++i) {
        curves += " " + opensslName(namedCurveAt(i).name);
    }
    testing_peers::Result made = s.bash("CURVES='" + curves + "'", kMakeForms);
    ASSERT_EQ(made.status, 0) << made.err;
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const std::string curve = namedCurveAt(i).name;
        const std::string prefix = opensslName(curve);
        SCOPED_TRACE(curve);
        LogBase log;
        for (const char* form : {".sec1", ".spki", ".p8"}) {
            SCOPED_TRACE(form);
            DataBuffer full, packed, der, same;
            ASSERT_TRUE(readPem(s, prefix + form + ".u.pem", full) && readPem(s, prefix + form + ".c.pem", packed));
            der.append(packed);
            ASSERT_TRUE(uncompressInDer(der, log)) << log.render();
            EXPECT_TRUE(der.equals(full));
            ASSERT_TRUE(compressInDer(der, log));
            EXPECT_TRUE(der.equals(packed));
            // Nothing compressed: nothing changes.
            same.append(full);
            ASSERT_TRUE(uncompressInDer(same, log));
            EXPECT_TRUE(same.equals(full));
        }

        // The raw point: the tail of the SPKI in both forms.
        DataBuffer spki, spkiC, raw, x963, again, ours;
        ASSERT_TRUE(readPem(s, prefix + ".spki.u.pem", spki) && readPem(s, prefix + ".spki.c.pem", spkiC));
        const unsigned w = static_cast<unsigned>(namedCurveAt(i).fieldBytes);
        raw.append(spkiC.getData2() + spkiC.getSize() - w - 1, w + 1);
        EccKey key;
        ours.append(spki);
        ASSERT_TRUE(key.loadEccDer(ours, log));
        ASSERT_TRUE(decompressPointOnCurve(curve.c_str(), raw, x963, log)) << log.render();
        EXPECT_TRUE(x963.equals(spki.getData2() + spki.getSize() - 2 * w - 1, 2 * w + 1));
        ASSERT_TRUE(compressPoint(key, again));
        EXPECT_EQ(hexOf(again), hexOf(raw));

        StringBuffer pem;
        ASSERT_TRUE(compressInDer(ours, log) && _vnPublicKey::derToPem("PUBLIC KEY", ours, pem, log));
        s.write(prefix + ".ours.pem", pem.getString());
    }
    testing_peers::Result back = s.bash("CURVES='" + curves + "'", kReadOurs);
    EXPECT_EQ(back.status, 0) << back.err;
}

// Square roots against GMP's Legendre symbol, on the Tonelli-Shanks curve and on curves of each
// a (-3, 0, Brainpool's); x = p and a damaged SPKI point are refused.
TEST(PointCompression, RootsAgreeWithGmp) {
    for (const char* name : {"secp224r1", "secp256r1", "secp256k1", "brainpoolp320r1"}) {
        SCOPED_TRACE(name);
        const NamedCurveParams& row = *findNamedCurve(name);
        EccCurve curve;
        LogBase log;
        ASSERT_TRUE(curve.loadCurveByName(name, log));
        Mpz p(row.p), a(row.hasA ? row.A : "0"), b(row.B), x, rhs, y;
        if (!row.hasA && std::string(name) != "secp256k1") mpz_sub_ui(a, p, 3);
        const unsigned w = static_cast<unsigned>(row.fieldBytes);
        int refused = 0;
        for (unsigned xv = 1; xv <= 24; ++xv) {
            mpz_set_ui(x, xv);
            mpz_mul(rhs, x, x);
            mpz_add(rhs, rhs, a);
            mpz_mul(rhs, rhs, x);
            mpz_add(rhs, rhs, b);
            mpz_mod(rhs, rhs, p);
            DataBuffer in, out;
            in.appendChar(static_cast<unsigned char>(0x02 | (xv & 1)));
            for (unsigned j = 1; j < w; ++j) in.appendChar(0);
            in.appendChar(static_cast<unsigned char>(xv));
            const bool got = decompressPoint(curve, in, out, log);
            ASSERT_EQ(got, mpz_legendre(rhs, p) == 1) << xv;
            if (!got) {
                ++refused;
                EXPECT_TRUE(log.hasError("the compressed point is not on the curve"));
                continue;
            }
            mpz_import(y, w, 1, 1, 1, 0, out.getData2() + 1 + w);
            EXPECT_EQ(mpz_odd_p(y.z) != 0, (xv & 1) != 0);
            mpz_powm_ui(y, y, 2, p);
            EXPECT_EQ(mpz_cmp(y, rhs), 0) << xv;
        }
        EXPECT_GT(refused, 0);
        DataBuffer xIsP, out;
        xIsP.appendChar(0x02);
        xIsP.appendEncoded(row.p, "hex");
        EXPECT_FALSE(decompressPoint(curve, xIsP, out, log));
    }
    // A compressed SPKI whose x has no point: refused, the DER left as it was.
    LogBase log;
    DataBuffer der, before;
    der.appendEncoded("3039301306072a8648ce3d020106082a8648ce3d030107032200"
                      "020000000000000000000000000000000000000000000000000000000000000001", "hex");
    before.append(der);
    EXPECT_FALSE(uncompressInDer(der, log));
    EXPECT_TRUE(der.equals(before));
}

// Files of other key types as the peers write them (expected name), and EC keys that must not
// be named (empty).
const char kMakeOthers[] = R"SH(
ssh-keygen -q -t ed25519 -N '' -C c -f ed
ssh-keygen -q -t ed25519 -N pw -a 1 -C c -f edpw
ssh-keygen -q -t rsa -b 1024 -N '' -C c -f rsa
ssh-keygen -q -t ecdsa -N '' -C c -f ec
for t in ed25519 x25519 ed448 x448; do
  openssl genpkey -algorithm $t -out $t.pem
  openssl pkey -in $t.pem -outform DER -out $t.der
  openssl pkey -in $t.pem -pubout -out $t.pub.pem
done
openssl genpkey -algorithm rsa -pkeyopt rsa_keygen_bits:1024 -out rsa8.pem 2>/dev/null
openssl rsa -in rsa8.pem -traditional -out rsa1.pem 2>/dev/null
openssl rsa -in rsa8.pem -traditional -outform DER -out rsa1.der 2>/dev/null
openssl rsa -in rsa8.pem -RSAPublicKey_out -out rsapub1.pem 2>/dev/null
openssl pkey -in rsa8.pem -pubout -outform DER -out rsaspki.der
openssl genpkey -algorithm rsa-pss -pkeyopt rsa_keygen_bits:1024 -out pss.pem 2>/dev/null
openssl ecparam -name secp256r1 -genkey -out ecp.pem 2>/dev/null
openssl pkcs8 -topk8 -nocrypt -in ecp.pem -outform DER -out ecp8.der
if command -v puttygen > /dev/null; then
  puttygen -q -t ed25519 -C c -o ed.ppk --new-passphrase /dev/null
  puttygen -q -t ecdsa -b 256 -C c -o ec.ppk --new-passphrase /dev/null
fi)SH";

struct TypeRow {
    const char* file;
    const char* expected;
};
const TypeRow kTypeRows[] = {
    {"ed", "ssh-ed25519"},        {"edpw", "ssh-ed25519"},     {"ed.pub", "ssh-ed25519"},  {"rsa", "ssh-rsa"},
    {"rsa.pub", "ssh-rsa"},       {"ed25519.pem", "Ed25519"},  {"ed25519.der", "Ed25519"}, {"ed25519.pub.pem", "Ed25519"},
    {"x25519.pem", "X25519"},     {"x25519.der", "X25519"},    {"ed448.pem", "Ed448"},     {"ed448.pub.pem", "Ed448"},
    {"x448.der", "X448"},         {"rsa8.pem", "RSA"},         {"rsa1.pem", "RSA"},        {"rsa1.der", "RSA"},
    {"rsapub1.pem", "RSA"},       {"rsaspki.der", "RSA"},      {"pss.pem", "RSASSA-PSS"},  {"ed.ppk", "ssh-ed25519"},
    {"jwk.okp", "Ed25519"},       {"jwk.rsa", "RSA"},          {"ec", ""},                 {"ec.pub", ""},
    {"ecp.pem", ""},              {"ecp8.der", ""},            {"ec.ppk", ""},             {"jwk.ec", ""},
};

TEST(KeyTypes, PeerFilesOfOtherTypesAreNamed) {
    ECCKEY_NEED_PEER("openssl");
    ECCKEY_NEED_PEER("ssh-keygen");
    Scratch s;
    testing_peers::Result made = s.bash("", kMakeOthers);
    ASSERT_EQ(made.status, 0) << made.err;
    s.write("jwk.okp", R"({"kty":"OKP","crv":"Ed25519","x":"11qYAYKxCrfVS_7TyWQHOg7hcvPapiMlrwIaaPcHURo"})");
    s.write("jwk.rsa", R"({"kty":"RSA","n":"0vx7agoebGcQSuu","e":"AQAB"})");
    s.write("jwk.ec", R"({"kty":"EC","crv":"P-256","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU",)"
                      R"("y":"x_FEzRu9m36HLN_tue659LCpmhctJNM6mT3ATsatPk4"})");
    for (const TypeRow& row : kTypeRows) {
        const std::string bytes = s.read(row.file);
        if (bytes.empty() && std::string(row.file).find(".ppk") != std::string::npos) continue;  // no puttygen
        ASSERT_FALSE(bytes.empty()) << row.file;
        std::string line;
        DataBuffer input;
        setBytes(input, bytes);
        const bool named = nameOtherKeyType(input, line);
        EXPECT_EQ(named, row.expected[0] != '\0') << row.file << ": " << line;
        if (named) {
            const std::string article = row.expected[0] == 'D' ? "a " : "an ";
            EXPECT_EQ(line, "this is " + article + row.expected + " key; ecckey reads ECDSA keys on prime curves only");
        }
    }
}

}  // namespace
}  // namespace keyfile
}  // namespace vn

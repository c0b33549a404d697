// Compressed points against openssl on every curve, the square roots against GMP, and keys of
// other types as ssh-keygen, openssl and puttygen write them.

#include <string>

#include "ecc/curves/NamedCurves.h"
#include "host/Pem.h"
#include "keyfile/KeyTypes.h"
#include "keyfile/PointCompression.h"
#include "support/gmp_mpz.h"
#include "support/peer_tools.h"

namespace vn {
namespace keyfile {
namespace {

using testing_peers::Scratch;

// Per curve, one key with its point in both forms as PEM (u, c): SEC1, SPKI and PKCS#8; then,
// after the test wrote $C.ours.pem (the SPKI we compressed), openssl reads it back.
const char kMakeForms[] = R"SH(for C in $CURVES; do openssl ecparam -name "$C" -genkey -noout -out $C.sec1.u.pem 2>/dev/null
  for f in uncompressed compressed; do openssl ec -in $C.sec1.u.pem -conv_form $f -pubout -out $C.spki.${f:0:1}.pem 2>/dev/null; done
  openssl ec -in $C.sec1.u.pem -conv_form compressed -out $C.sec1.c.pem 2>/dev/null
  for f in u c; do openssl pkcs8 -topk8 -nocrypt -in $C.sec1.$f.pem -out $C.p8.$f.pem; done; done)SH";
const char kReadOurs[] = R"SH(for C in $CURVES; do openssl ec -pubin -in $C.ours.pem -conv_form uncompressed -pubout -out $C.back.pem 2>/dev/null
  same $C.back.pem $C.spki.u.pem; done)SH";

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
    for (int i = 0; i < kNamedCurveCount; ++i) curves += " " + opensslName(namedCurveAt(i).name);
    testing_peers::Result made = s.bash("CURVES='" + curves + "'", kMakeForms);
    ASSERT_EQ(made.status, 0) << made.err;
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const std::string curve = namedCurveAt(i).name, prefix = opensslName(curve);
        SCOPED_TRACE(curve);
        LogBase log;
        for (const char* form : {".sec1", ".spki", ".p8"}) {
            DataBuffer full, packed, der, same;
            ASSERT_TRUE(readPem(s, prefix + form + ".u.pem", full) && readPem(s, prefix + form + ".c.pem", packed));
            der.append(packed);
            same.append(full);
            ASSERT_TRUE(uncompressInDer(der, log) && uncompressInDer(same, log)) << form << log.render();
            EXPECT_TRUE(der.equals(full) && same.equals(full)) << form;
            ASSERT_TRUE(compressInDer(der, log));
            EXPECT_TRUE(der.equals(packed)) << form;
        }
        // The raw point is the tail of the SPKI, in either form.
        DataBuffer spki, spkiC, raw, x963, ours;
        ASSERT_TRUE(readPem(s, prefix + ".spki.u.pem", spki) && readPem(s, prefix + ".spki.c.pem", spkiC));
        const unsigned w = static_cast<unsigned>(namedCurveAt(i).fieldBytes);
        raw.append(spkiC.getData2() + spkiC.getSize() - w - 1, w + 1);
        ASSERT_TRUE(decompressPointOnCurve(curve.c_str(), raw, x963, log)) << log.render();
        EXPECT_TRUE(x963.equals(spki.getData2() + spki.getSize() - 2 * w - 1, 2 * w + 1));
        EccKey key;
        ours.append(spki);
        ASSERT_TRUE(key.loadEccDer(ours, log) && compressPoint(key, x963));
        EXPECT_TRUE(x963.equals(raw));
        StringBuffer pem;
        ASSERT_TRUE(compressInDer(ours, log) && _vnPublicKey::derToPem("PUBLIC KEY", ours, pem, log));
        s.write(prefix + ".ours.pem", pem.getString());
    }
    testing_peers::Result back = s.bash("CURVES='" + curves + "'", kReadOurs);
    EXPECT_EQ(back.status, 0) << back.err;
}

// Square roots against GMP's Legendre symbol, on the Tonelli-Shanks curve and on one of each a
// (-3, 0, Brainpool's); x = p is refused, and so is an SPKI whose x has no point (DER kept).
TEST(PointCompression, RootsAgreeWithGmp) {
    using testing_support::Mpz;
    LogBase log;
    for (const char* name : {"secp224r1", "secp256r1", "secp256k1", "brainpoolp320r1"}) {
        const NamedCurveParams& row = *findNamedCurve(name);
        EccCurve curve;
        ASSERT_TRUE(curve.loadCurveByName(name, log));
        Mpz p(row.p), a(row.hasA ? row.A : "0"), b(row.B), rhs, y;
        if (!row.hasA && std::string(name) != "secp256k1") mpz_sub_ui(a, p, 3);
        const unsigned w = static_cast<unsigned>(row.fieldBytes);
        int refused = 0;
        for (unsigned x = 1; x <= 24; ++x) {
            mpz_set_ui(rhs, x * x);
            mpz_add(rhs, rhs, a);
            mpz_mul_ui(rhs, rhs, x);
            mpz_add(rhs, rhs, b);
            mpz_mod(rhs, rhs, p);
            DataBuffer in, out;
            in.appendChar(static_cast<unsigned char>(0x02 | (x & 1)));
            for (unsigned j = 1; j < w; ++j) in.appendChar(0);
            in.appendChar(static_cast<unsigned char>(x));
            const bool got = decompressPoint(curve, in, out, log);
            ASSERT_EQ(got, mpz_legendre(rhs, p) == 1) << name << " x=" << x;
            if (!got && ++refused) continue;
            mpz_import(y, w, 1, 1, 1, 0, out.getData2() + 1 + w);
            EXPECT_EQ(mpz_odd_p(y.z) != 0, (x & 1) != 0);
            mpz_powm_ui(y, y, 2, p);
            EXPECT_EQ(mpz_cmp(y, rhs), 0) << name << " x=" << x;
        }
        EXPECT_GT(refused, 0);
        EXPECT_TRUE(log.hasError("the compressed point is not on the curve"));
        DataBuffer xIsP, out;
        EXPECT_FALSE(xIsP.appendEncoded((std::string("02") + row.p).c_str(), "hex") && decompressPoint(curve, xIsP, out, log));
    }
    DataBuffer der, before;  // P-256, x = 1
    der.appendEncoded("3039301306072a8648ce3d020106082a8648ce3d030107032200"
                      "020000000000000000000000000000000000000000000000000000000000000001", "hex");
    before.append(der);
    EXPECT_FALSE(uncompressInDer(der, log));
    EXPECT_TRUE(der.equals(before));
}

// Files of other key types as the peers write them, by the name expected; EC keys (empty
// name) must not be named.
const char kMakeOthers[] = R"SH(ssh-keygen -q -t ed25519 -N '' -C c -f ed; ssh-keygen -q -t ed25519 -N pw -a 1 -f edpw
ssh-keygen -q -t rsa -b 1024 -N '' -C c -f rsa; ssh-keygen -q -t ecdsa -N '' -C c -f ec
for t in ed25519 x25519 ed448 x448; do openssl genpkey -algorithm $t -out $t.pem
  openssl pkey -in $t.pem -outform DER -out $t.der; openssl pkey -in $t.pem -pubout -out $t.pub.pem; done
openssl genpkey -algorithm rsa -pkeyopt rsa_keygen_bits:1024 -out rsa8.pem 2>/dev/null
openssl rsa -in rsa8.pem -traditional -out rsa1.pem 2>/dev/null; openssl rsa -in rsa1.pem -outform DER -out rsa1.der 2>/dev/null
openssl rsa -in rsa8.pem -RSAPublicKey_out -out rsapub1.pem 2>/dev/null; openssl pkey -in rsa8.pem -pubout -outform DER -out rsaspki.der
openssl genpkey -algorithm rsa-pss -pkeyopt rsa_keygen_bits:1024 -out pss.pem 2>/dev/null
openssl ecparam -name secp256r1 -genkey -out ecp.pem; openssl pkcs8 -topk8 -nocrypt -in ecp.pem -outform DER -out ecp8.der
puttygen -q -t ed25519 -o ed.ppk --new-passphrase /dev/null; puttygen -q -t ecdsa -o ec.ppk --new-passphrase /dev/null
echo '{"kty":"OKP","crv":"Ed25519","x":"11qYAYKxCrfVS_7TyWQHOg7hcvPapiMlrwIaaPcHURo"}' > jwk.okp; echo '{"kty":"RSA","n":"0vx7","e":"AQAB"}' > jwk.rsa
echo '{"kty":"EC","crv":"P-256","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU","y":"x_FEzRu9m36HLN_tue659LCpmhctJNM6mT3ATsatPk4"}' > jwk.ec
)SH";
const char* const kTypeRows[][2] = {
    {"ed", "ssh-ed25519"},   {"edpw", "ssh-ed25519"},  {"ed.pub", "ssh-ed25519"},     {"rsa", "ssh-rsa"},
    {"rsa.pub", "ssh-rsa"},  {"ed25519.pem", "Ed25519"}, {"ed25519.der", "Ed25519"}, {"ed25519.pub.pem", "Ed25519"},
    {"x25519.pem", "X25519"}, {"x25519.der", "X25519"},  {"ed448.pem", "Ed448"},      {"ed448.pub.pem", "Ed448"},
    {"x448.der", "X448"},    {"rsa8.pem", "RSA"},        {"rsa1.pem", "RSA"},         {"rsa1.der", "RSA"},
    {"rsapub1.pem", "RSA"},  {"rsaspki.der", "RSA"},     {"pss.pem", "RSASSA-PSS"},   {"ed.ppk", "ssh-ed25519"},
    {"jwk.okp", "Ed25519"},  {"jwk.rsa", "RSA"},         {"ec", ""},                  {"ec.pub", ""},
    {"ecp.pem", ""},         {"ecp8.der", ""},           {"ec.ppk", ""},              {"jwk.ec", ""},
};

TEST(KeyTypes, PeerFilesOfOtherTypesAreNamed) {
    ECCKEY_NEED_PEER("openssl");
    ECCKEY_NEED_PEER("ssh-keygen");
    ECCKEY_NEED_PEER("puttygen");
    Scratch s;
    testing_peers::Result made = s.bash("", kMakeOthers);
    ASSERT_EQ(made.status, 0) << made.err;
    for (const auto& row : kTypeRows) {
        const std::string bytes = s.read(row[0]), expected = row[1];
        DataBuffer input;
        input.append(bytes.data(), static_cast<unsigned>(bytes.size()));
        std::string line;
        ASSERT_EQ(nameOtherKeyType(input, line), !expected.empty()) << row[0] << ": " << line;
        const std::string article = expected[0] == 'D' ? "a " : "an ";
        if (!expected.empty()) {
            EXPECT_EQ(line, "this is " + article + expected + " key; ecckey reads ECDSA keys on prime curves only");
        }
    }
}

}  // namespace
}  // namespace keyfile
}  // namespace vn

// Every key form on every curve: written here, checked against OpenSSL's libcrypto (the very
// bytes where OpenSSL writes the same structure, its parse otherwise), and read back here; and
// what each writer leaves in the caller's output when it cannot write. Keys OpenSSL writes are
// read in the peer tests and the hostile-input data.

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/Hash.h"
#include "host/JsonObject.h"
#include "host/SshMessage.h"
#include "host/Xml.h"
#include "support/openssl_oracle.h"

namespace vn {
namespace {

namespace ts = testing_support;
using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;
using EvpPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

std::string str(const DataBuffer& d) { return std::string(reinterpret_cast<const char*>(d.getData2()), d.getSize()); }
DataBuffer& db(const std::string& s, DataBuffer& d) {
    d.append(s.data(), static_cast<unsigned>(s.size()));
    return d;
}
std::string b64(const std::string& s, bool url = false) {
    std::string out(4 * ((s.size() + 2) / 3) + 1, '\0');
    out.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]),
                               reinterpret_cast<const unsigned char*>(s.data()), static_cast<int>(s.size()))));
    if (!url) return out;
    while (!out.empty() && out.back() == '=') out.pop_back();
    for (char& c : out) c = c == '+' ? '-' : c == '/' ? '_' : c;
    return out;
}
std::string hex(const std::string& s) {
    const char* digits = "0123456789abcdef";
    std::string out;
    for (char c : s) out += std::string{digits[(c >> 4) & 15], digits[c & 15]};
    return out;
}
std::string tlv(unsigned char tag, const std::string& content) {
    std::string out(1, static_cast<char>(tag));
    const std::size_t n = content.size();
    if (n >= 0x80) out += n >= 0x100 ? std::string{'\x82', static_cast<char>(n >> 8)} : "\x81";
    return out + static_cast<char>(n & 0xFF) + content;
}
std::string sshString(const std::string& s) {
    return std::string{0, 0, static_cast<char>(s.size() >> 8), static_cast<char>(s.size() & 0xFF)} + s;
}
template <typename I2d>
std::string i2d(I2d&& f) {
    unsigned char* der = nullptr;
    int n = f(&der);
    std::string out = n > 0 ? std::string(reinterpret_cast<char*>(der), static_cast<std::size_t>(n)) : "";
    OPENSSL_free(der);
    return out;
}
std::string pad(const BIGNUM* v, int width) {
    std::string out(static_cast<std::size_t>(width), '\0');
    BN_bn2binpad(v, reinterpret_cast<unsigned char*>(&out[0]), width);
    return out;
}

const char kOption[] = "X,EMIT_ECC_PKCS1_PUBKEY";  // the option list is searched, not matched whole
const std::string kEcPublicKeyOid = "\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01";

bool hasTemplate(const std::string& curve) {
    return curve == "secp256r1" || curve == "secp384r1" || curve == "secp521r1" || curve == "secp256k1";
}

// One key holds the other's: same group, point, and scalar when one is expected.
AssertionResult same(const EC_KEY* ref, const EC_KEY* got, bool priv) {
    const EC_GROUP* g = EC_KEY_get0_group(ref);
    if (got == nullptr) return AssertionFailure() << "OpenSSL does not parse it";
    if (EC_GROUP_cmp(EC_KEY_get0_group(got), g, nullptr) != 0) return AssertionFailure() << "other group";
    const EC_POINT* q = EC_KEY_get0_public_key(got);
    if (q == nullptr || EC_POINT_cmp(g, q, EC_KEY_get0_public_key(ref), nullptr) != 0)
        return AssertionFailure() << "other point";
    if (priv && BN_cmp(EC_KEY_get0_private_key(got), EC_KEY_get0_private_key(ref)) != 0)
        return AssertionFailure() << "other scalar";
    return AssertionSuccess();
}

// OpenSSL's side of one of our keys, and the pieces the expected texts are made of.
struct Ref {
    Ref(EccKey& key, bool option) : ec(ts::toOpenSslKey(key)) {
        const EC_GROUP* g = EC_KEY_get0_group(ec.get());
        name = key.m_curve.name.getString();
        fieldBytes = key.m_curve.fieldBytes;
        orderBytes = BN_num_bytes(EC_GROUP_get0_order(g));
        ts::BnPtr x = ts::newBn(), y = ts::newBn();
        EC_POINT_get_affine_coordinates(g, EC_KEY_get0_public_key(ec.get()), x.get(), y.get(), nullptr);
        X = pad(x.get(), fieldBytes);
        Y = pad(y.get(), fieldBytes);
        K = pad(EC_KEY_get0_private_key(ec.get()), orderBytes);
        point = "\x04" + X + Y;
        char text[80];
        OBJ_obj2txt(text, sizeof text, OBJ_nid2obj(EC_GROUP_get_curve_name(g)), 1);
        oid = text;
        sshId = key.m_curve.puttyCurveName();
        EC_KEY_set_enc_flags(ec.get(), option ? 0 : EC_PKEY_NO_PUBKEY);
        sec1 = i2d([&](unsigned char** p) { return i2d_ECPrivateKey(ec.get(), p); });
        EC_KEY_set_enc_flags(ec.get(), 0);
        spki = i2d([&](unsigned char** p) { return i2d_EC_PUBKEY(ec.get(), p); });
        crv = name == "secp256r1" ? "P-256" : name == "secp384r1" ? "P-384" : name == "secp521r1" ? "P-521" : name;
        mpi.resize(static_cast<std::size_t>(BN_bn2mpi(EC_KEY_get0_private_key(ec.get()), nullptr)));
        BN_bn2mpi(EC_KEY_get0_private_key(ec.get()), reinterpret_cast<unsigned char*>(&mpi[0]));
        xy = "\",\"x\":\"" + b64(X, true) + "\",\"y\":\"" + b64(Y, true) + "\"";
        blob = sshString("ecdsa-sha2-" + sshId) + sshString(sshId) + sshString(point);
    }
    AssertionResult holds(EVP_PKEY* pkey, bool priv) const {
        ts::EcKeyPtr k(pkey != nullptr ? EVP_PKEY_get1_EC_KEY(pkey) : nullptr, EC_KEY_free);
        return same(ec.get(), k.get(), priv);
    }
    ts::EcKeyPtr ec;
    std::string name, oid, sshId, crv, X, Y, K, point, sec1, spki, blob, mpi, xy;
    int fieldBytes, orderBytes;
};

// One written form: the writer's output, pre-filled with a sentinel to see replace or append.
struct Io {
    Io() {
        der.append("\x55", 1);
        text.setString("sentinel");
    }
    DataBuffer der;
    StringBuffer text;
};

struct Form {
    const char* name;
    bool priv;     // carries the scalar
    bool text;     // a StringBuffer output, else a DataBuffer
    bool appends;  // the writer appends to the output instead of replacing it
    std::function<bool(EccKey&, Io&, LogBase&)> write;
    std::function<std::string(const Ref&)> expect;  // exact output, or null for parse only
    std::function<AssertionResult(const Ref&, const std::string&, bool priv)> openssl;  // OpenSSL's parse, or null
    std::function<bool(EccKey&, const std::string&, const EccKey&, LogBase&)> read;  // null: read back elsewhere
};

bool readDer(EccKey& into, const std::string& out, const EccKey&, LogBase& log) {
    DataBuffer d;
    return into.loadEccDer(db(out, d), log);
}
bool readJwk(EccKey& into, const std::string& out, const EccKey&, LogBase& log) {
    ClsJsonObject json;
    return json.load(out.c_str(), log) && into.loadAnyJwk(json, log);
}
bool readXml(EccKey& into, const std::string& out, const EccKey&, LogBase& log) {
    ClsXml xml;
    return xml.loadXml(out.c_str(), log) && into.loadAnyXml(xml, log);
}
bool readPoint(EccKey& into, const std::string& point, const EccKey& orig, LogBase& log) {
    DataBuffer d;
    return into.loadEcPubKeyByCurveAndPoint(orig.m_curve.name.getString(), db(point, d), log);
}
bool readPutty(EccKey& into, const std::string& out, const EccKey& orig, LogBase& log) {
    DataBuffer blob, point;
    return orig.m_pubPoint.exportEccPoint(orig.m_curve.fieldBytes, point, log) &&
           into.loadPrivateFromPuttySsh(orig.m_curve.name.getString(), point, db(out, blob), log) && blob.isSecure();
}
AssertionResult pem(const Ref& r, const std::string& text, bool priv) {
    BIO* bio = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
    EvpPtr pkey(priv ? PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr)
                     : PEM_read_bio_PUBKEY(bio, nullptr, nullptr, nullptr),
                EVP_PKEY_free);
    BIO_free(bio);
    return r.holds(pkey.get(), priv);
}
// Explicit parameters: the curve's own domain and seed, not marked as a named curve; byte for
// byte OpenSSL's where it writes the same field widths (not secp521r1's b, secp256k1's a and b).
AssertionResult explicitSpki(const Ref& r, const std::string& der, bool) {
    if (!hasTemplate(r.name)) return der == r.spki ? AssertionSuccess() : AssertionFailure() << "not the short form";
    const unsigned char* p = reinterpret_cast<const unsigned char*>(der.data());
    ts::EcKeyPtr parsed(d2i_EC_PUBKEY(nullptr, &p, static_cast<long>(der.size())), EC_KEY_free);
    AssertionResult same = vn::same(r.ec.get(), parsed.get(), false);
    if (!same) return same;
    const EC_GROUP* g = EC_KEY_get0_group(parsed.get()), *named = EC_KEY_get0_group(r.ec.get());
    if ((EC_GROUP_get_asn1_flag(g) & OPENSSL_EC_NAMED_CURVE) != 0) return AssertionFailure() << "named, not explicit";
    if (EC_GROUP_get_seed_len(g) != EC_GROUP_get_seed_len(named) ||
        std::string(reinterpret_cast<const char*>(EC_GROUP_get0_seed(g)), EC_GROUP_get_seed_len(g)) !=
            std::string(reinterpret_cast<const char*>(EC_GROUP_get0_seed(named)), EC_GROUP_get_seed_len(named)))
        return AssertionFailure() << "other seed";
    if (r.name != "secp256r1" && r.name != "secp384r1") return AssertionSuccess();
    EC_KEY_set_asn1_flag(r.ec.get(), OPENSSL_EC_EXPLICIT_CURVE);
    std::string theirs = i2d([&](unsigned char** q) { return i2d_EC_PUBKEY(r.ec.get(), q); });
    EC_KEY_set_asn1_flag(r.ec.get(), OPENSSL_EC_NAMED_CURVE);
    return der == theirs ? AssertionSuccess() : AssertionFailure() << "not OpenSSL's explicit form";
}

// Every writer in the tables below has this shape; only the call differs.
#define W(call) [](EccKey& k, Io& o, LogBase& l) { return k.call; }

std::vector<Form> forms() {
    return {
        {"spki", false, false, false, W(toPublicKeyDer_shortFmt(o.der, l)), [](const Ref& r) { return r.spki; },
         nullptr, readDer},
        {"spki-explicit", false, false, false, W(toPublicKeyDer_longFmt(o.der, l)), nullptr, explicitSpki, readDer},
        {"sec1", true, false, false, W(toEccPkcs1PrivateKeyDer(o.der, l)), [](const Ref& r) { return r.sec1; }, nullptr,
         readDer},
        // OpenSSL parses it in the PEM row, which wraps these bytes; either version would parse,
        // so the first element, v1 (0) as no public key follows at the top level, is seen here.
        {"pkcs8", true, false, false, W(toEccPkcs8PrivateKeyDer(o.der, l)), nullptr,
         [](const Ref&, const std::string& der, bool) {
             const unsigned char len = static_cast<unsigned char>(der[1]);
             const std::size_t at = 2u + (len > 0x80 ? len & 0x7Fu : 0u);
             return der.compare(at, 3, std::string("\x02\x01\x00", 3)) == 0 ? AssertionSuccess()
                                                                             : AssertionFailure() << "PKCS#8 version";
         },
         readDer},
        // No curve inside, and k is as wide as the order.
        {"pkcs11", true, false, false, W(toEccPkcs1PrivateKeyDer_forPkcs11(o.der, l)),
         [](const Ref& r) { return tlv(0x30, std::string("\x02\x01\x01", 3) + tlv(0x04, r.K)); }, nullptr, nullptr},
        // PEM rows wrap the DER rows' bytes; the layout is the PEM writer's own test, the read-back the DER rows'.
        {"pem-pkcs8", true, true, false, W(toEccPrivateKeyPem(false, o.text, l)), nullptr, pem, nullptr},
        {"pem-spki", false, true, false, W(toEccPublicKeyPem(true, o.text, l)), nullptr, pem, nullptr},
        // Members in a fixed order, coordinates field-wide and d order-wide.
        {"jwk", true, true, false, W(toEccPrivateKeyJwk(o.text, l)),
         [](const Ref& r) { return "{\"kty\":\"EC\",\"crv\":\"" + r.crv + r.xy + ",\"d\":\"" + b64(r.K, true) + "\"}"; },
         nullptr, readJwk},
        {"jwk-public", false, true, false, W(toEccPublicKeyJwk(o.text, false, l)),
         [](const Ref& r) { return "{\"kty\":\"EC\",\"crv\":\"" + r.crv + r.xy + "}"; }, nullptr, readJwk},
        {"jwk-thumbprint", false, true, false, W(toEccPublicKeyJwk(o.text, true, l)),
         [](const Ref& r) { return "{\"crv\":\"" + r.crv + "\",\"kty\":\"EC" + r.xy + "}"; }, nullptr, readJwk},
        {"xml", true, true, false, W(toEccPrivateKeyXml(o.text, l)),
         [](const Ref& r) { return "<ECCKeyValue curve=\"" + r.name + "\">" + b64(r.sec1) + "</ECCKeyValue>"; },
         nullptr, readXml},
        // Read back only: the content is the explicit SPKI its own row checks against OpenSSL.
        {"xml-public", false, true, false, W(toEccPublicKeyXml(o.text, l)), nullptr, nullptr, readXml},
        {"xml-dsig", false, true, false, W(toEccPublicKeyXmlDSig(o.text, l)),
         [](const Ref& r) {
             return "<ECKeyValue xmlns=\"http://www.w3.org/2009/xmldsig11#\"><NamedCurve URI=\"urn:oid:" + r.oid +
                    "\" /><PublicKey>" + b64(r.point) + "</PublicKey></ECKeyValue>";
         },
         nullptr, readXml},
        {"x963", false, false, true, W(exportEccPoint(o.der, l)), [](const Ref& r) { return r.point; }, nullptr,
         readPoint},
        // Raw hex: the scalar field-wide, then the point, both lower case and appended.
        {"raw-hex", true, true, true,
         [](EccKey& k, Io& o, LogBase& l) {
             StringBuffer pub;
             return k.toRawHex(o.text, pub, l) && o.text.append("|") && o.text.append(pub);
         },
         [](const Ref& r) {
             return hex(r.K.substr(r.K.size() - static_cast<std::size_t>(r.fieldBytes))) + "|" +
                    hex(r.point);
         },
         nullptr, nullptr},
        // The SSH blob replaces the output. Its fingerprints are ssh-keygen's in the peer tests.
        {"ssh-blob", false, false, false, W(puttyPublicKeyBlob(o.der, l)), [](const Ref& r) { return r.blob; }, nullptr,
         nullptr},
        // PuTTY's private blob is k as an mpint; the point comes separately and the blob is marked secret.
        {"putty-mpint", true, false, false,
         [](EccKey& k, Io& o, LogBase&) {
             DataBuffer body;
             o.der.clear();
             o.der.setSecure(true);  // made here, not by the library
             return BigNum::mpint_to_ssh_db(k.m_k, body) == MP_OKAY && SshMessage::pack_db(body, o.der);
         },
         [](const Ref& r) { return r.mpi; }, nullptr, readPutty},
    };
}

// A read-back key equals the written one; a public form leaves no scalar of what was there before.
AssertionResult sameKey(const EccKey& got, const EccKey& want, bool priv) {
    if (!got.m_curve.name.equals(want.m_curve.name)) return AssertionFailure() << "curve " << got.m_curve.name.getString();
    if (BigNum::mp_cmp(got.m_pubPoint.x, want.m_pubPoint.x) != 0 || BigNum::mp_cmp(got.m_pubPoint.y, want.m_pubPoint.y) != 0)
        return AssertionFailure() << "other point";
    if (got.m_keyType != (priv ? 1 : 0)) return AssertionFailure() << "key type " << got.m_keyType;
    if (priv ? BigNum::mp_cmp(got.m_k, want.m_k) != 0 : !got.m_k.isZero()) return AssertionFailure() << "other scalar";
    return AssertionSuccess();
}

// Keys from a fixed seed: a random scalar, the generator (k = 1), a scalar whose top byte is zero,
// and the smallest scalar whose x has a zero top byte (every writer must keep the width).
int width_of(const EC_GROUP* g) { return (EC_GROUP_get_degree(g) + 7) / 8; }

std::vector<std::string> scalarsFor(const char* curve, std::mt19937_64& rng) {
    ts::GroupPtr g(EC_GROUP_new_by_curve_name(ts::nidOf(curve)), EC_GROUP_free);
    const int width = BN_num_bytes(EC_GROUP_get0_order(g.get()));
    std::vector<std::string> out;
    const auto push = [&](const BIGNUM* k) {
        char* h = BN_bn2hex(k);
        out.push_back(h);
        OPENSSL_free(h);
    };
    std::unique_ptr<BN_CTX, decltype(&BN_CTX_free)> ctx(BN_CTX_new(), BN_CTX_free);
    for (int bytes : {width, 1, width - 1}) {
        std::string raw(static_cast<std::size_t>(bytes), '\0');
        for (char& c : raw) c = static_cast<char>(rng());
        if (bytes == 1) raw = "\x01";
        raw[0] = static_cast<char>(raw[0] | (bytes == width - 1 ? 0x80 : 0));
        ts::BnPtr k(BN_bin2bn(reinterpret_cast<const unsigned char*>(raw.data()), bytes, nullptr), BN_free);
        BN_nnmod(k.get(), k.get(), EC_GROUP_get0_order(g.get()), ctx.get());
        push(k.get());
    }
    ts::PointPtr q(EC_POINT_new(g.get()), EC_POINT_free);
    ts::BnPtr k = ts::newBn(), x = ts::newBn();
    for (BN_set_word(k.get(), 2); BN_num_bytes(x.get()) == 0 || BN_num_bytes(x.get()) == width_of(g.get());
         BN_add_word(k.get(), 1)) {
        EC_POINT_mul(g.get(), q.get(), k.get(), nullptr, nullptr, nullptr);
        EC_POINT_get_affine_coordinates(g.get(), q.get(), x.get(), nullptr, nullptr);
    }
    BN_sub_word(k.get(), 1);
    push(k.get());
    return out;
}

TEST(Forms, EveryFormOnEveryCurveAgainstOpenSsl) {
    const unsigned seed = 20240917;
    std::printf("seed %u\n", seed);
    std::mt19937_64 rng(seed);
    const std::vector<Form> table = forms();
    EccKey stale;  // what a reader's key holds before: another curve, private
    LogNull quiet;
    ASSERT_TRUE(stale.generateNewKey2(StringBuffer("brainpoolP384r1"), "77", "hex", quiet));
    for (int c = 0; c < kNamedCurveCount; ++c) {
        const char* curve = namedCurveAt(c).name;
        int n = 0;
        for (const std::string& k : scalarsFor(curve, rng)) {
            EccKey key;
            LogBase log;
            ASSERT_TRUE(key.generateNewKey2(StringBuffer(curve), k.c_str(), "hex", log)) << curve << log.render();
            if (n++ > 0) log.m_options.setString(kOption);
            const Ref ref(key, n > 1);
            for (const Form& f : table) {
                SCOPED_TRACE(std::string(curve) + " k=" + k + " " + f.name);
                Io io;
                ASSERT_TRUE(f.write(key, io, log)) << log.render();
                std::string out = f.text ? std::string(io.text.getString()) : str(io.der);
                const std::string prefix = f.text ? "sentinel" : "\x55";
                if (f.appends) {
                    ASSERT_EQ(out.substr(0, prefix.size()), prefix);
                    out.erase(0, prefix.size());
                }
                EXPECT_TRUE(!f.expect || out == f.expect(ref)) << out << "\nwanted\n" << f.expect(ref);
                EXPECT_TRUE(!f.openssl || f.openssl(ref, out, f.priv));
                EXPECT_TRUE(f.text || !f.priv || io.der.isSecure());
                if (!f.read) continue;
                EccKey back;
                back.copyFromEccKey(stale);
                LogBase readLog;
                ASSERT_TRUE(f.read(back, out, key, readLog)) << readLog.render();
                EXPECT_TRUE(sameKey(back, key, f.priv));
            }
            EXPECT_TRUE(log.errors().empty()) << log.render();
        }
    }
}

// What a writer leaves in the caller's output when it cannot write: a public-only key asked for
// a private form, or a point no exporter takes (a coordinate wider than any field).
TEST(Forms, OutputWhenAWriterCannotWrite) {
    std::vector<Form> table = forms();
    table.push_back({"fingerprint", false, true, false, W(calc_fingerprint(o.text, l)), nullptr, nullptr, nullptr});
    table.push_back({"fingerprint-digest", false, false, false, W(calc_fingerprint_digest(_vnHash::MD5, o.der, l)),
                     nullptr, nullptr, nullptr});
    struct Row {
        const char* form;  // private forms get a public-only key, public ones a bad point
        const char* line;  // the last error line; null: none
        const char* text;  // the text after: "sentinel" kept, "" cleared; null: not written
        int derSize;       // the bytes after: 1 kept, 0 emptied, 2 the 04 appended; -1 not checked
    } rows[] = {
        {"sec1", "k is empty", nullptr, 0}, {"pkcs11", "k is empty", nullptr, 0},
        {"pkcs8", "Not a private key.", nullptr, 0}, {"pem-pkcs8", "Not a private key.", "sentinel", -1},
        {"xml", "k is empty", "", -1}, {"spki", nullptr, nullptr, 0}, {"pem-spki", nullptr, "sentinel", -1},
        {"xml-public", nullptr, "", -1}, {"x963", nullptr, nullptr, 2}, {"ssh-blob", nullptr, nullptr, -1},
        {"fingerprint", nullptr, "sentinel", -1}, {"fingerprint-digest", nullptr, nullptr, 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.form);
        const Form& f =
            *std::find_if(table.begin(), table.end(), [&](const Form& t) { return t.name == std::string(r.form); });
        EccKey key;
        LogBase log;
        ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp256r1"), "05", "hex", log));
        if (!f.priv) {
            ASSERT_TRUE(BigNum::mp_read_radix(key.m_pubPoint.x, ("1" + std::string(600, '0')).c_str(), 16));
        } else {
            key.m_keyType = 0;
            BigNum::mp_zero(key.m_k);
        }
        Io io;
        EXPECT_FALSE(f.write(key, io, log));
        std::vector<std::string> errors = log.errors();
        EXPECT_EQ(errors.empty() ? "" : errors.back(), r.line ? r.line : "") << log.render();
        EXPECT_STREQ(io.text.getString(), r.text ? r.text : "sentinel");
        EXPECT_TRUE(r.derSize < 0 || io.der.getSize() == unsigned(r.derSize)) << io.der.getSize();
    }
}

TEST(Forms, StateAfterLoading) {
    LogBase log;
    EccKey key;
    DataBuffer d;
    // PKCS#8 attributes are kept, written back, and gone after the next load.
    const std::string p256 = "\x06\x08\x2A\x86\x48\xCE\x3D\x03\x01\x07";
    const std::string k = tlv(0x04, std::string(32, '\x11'));
    const std::string attributes = tlv(0xA0, tlv(0x30, p256 + tlv(0x31, std::string("\x05\x00", 2))));
    auto pkcs8 = [&](const std::string& sec1, const std::string& more) {
        return tlv(0x30, std::string("\x02\x01\x00", 3) + tlv(0x30, kEcPublicKeyOid + p256) + tlv(0x04, sec1) + more);
    };
    const std::string v1 = std::string("\x02\x01\x01", 3);
    ASSERT_TRUE(key.loadEccDer(db(pkcs8(tlv(0x30, v1 + k), attributes), d), log)) << log.render();
    EXPECT_EQ(str(key.m_pkcs8Attributes), attributes);
    DataBuffer written;
    ASSERT_TRUE(key.toEccPkcs8PrivateKeyDer(written, log));
    EXPECT_EQ(str(written).substr(written.getSize() - attributes.size()), attributes);

    // A SEC1 without the point: said as an error line though it is none.
    LogBase verbose;
    verbose.m_verbose = true;
    d.clear();
    ASSERT_TRUE(key.loadEccDer(db(tlv(0x30, v1 + k + tlv(0xA0, p256)), d), verbose));
    EXPECT_EQ(verbose.errors(), std::vector<std::string>{"No public key bits found (this is not an error)"});
    EXPECT_EQ(key.m_pkcs8Attributes.getSize(), 0u);
}

}  // namespace
}  // namespace vn

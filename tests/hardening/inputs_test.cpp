// Every parser and key loader against malformed and hostile input, one case a line in
// data/*.txt: `loader | input | expect`. The grammar is in data/README.txt. For each refusal
// the driver holds the loader to the same contract: false, the promised lines, a key that
// started private ends with nothing private in it, and outputs left as the loader promises.
// Text inputs sit in exact-size heap blocks so the sanitizers and memcheck see any over-read.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/Asn1.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/JsonObject.h"
#include "host/Pem.h"
#include "host/ScopedOwners.h"
#include "host/SshMessage.h"
#include "host/Xml.h"

namespace vn {
namespace {

using Bytes = std::vector<unsigned char>;

std::string hexOf(const DataBuffer& db) {
    StringBuffer sb;
    EXPECT_TRUE(db.encodeDB("hex", sb));
    return sb.getString();
}
std::string hexOf(const mp_int& v) {
    DataBuffer db;
    BigNum::mpint_to_db(v, db);
    return v.isZero() ? "0" : (v.isNegative() ? "-" : "") + hexOf(db);
}
Bytes bytesOf(const DataBuffer& db) { return db.getSize() ? Bytes(db.getData2(), db.getData2() + db.getSize()) : Bytes(); }
DataBuffer& fill(DataBuffer&& db, const Bytes& b) {
    db.append(b.data(), static_cast<unsigned>(b.size()));
    return db;
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Bytes fixedBytes(const mp_int& v, unsigned width) {
    DataBuffer db;
    BigNum::mpint_to_db(v, db);
    Bytes b = bytesOf(db);
    if (b.size() < width) b.insert(b.begin(), width - b.size(), 0);
    return b;
}

// Identifier and minimal definite length of an element with n content bytes.
Bytes derHeader(unsigned char tag, std::size_t n) {
    Bytes h{tag};
    if (n < 0x80) return h + Bytes{static_cast<unsigned char>(n)};
    Bytes len;
    for (std::size_t m = n; m != 0; m >>= 8) len.insert(len.begin(), static_cast<unsigned char>(m));
    return h + Bytes{static_cast<unsigned char>(0x80 | len.size())} + len;
}
Bytes derTlv(unsigned char tag, const Bytes& content) { return derHeader(tag, content.size()) + content; }
Bytes be32(std::size_t n) {
    return {static_cast<unsigned char>(n >> 24), static_cast<unsigned char>(n >> 16), static_cast<unsigned char>(n >> 8),
            static_cast<unsigned char>(n)};
}

// depth SEQUENCEs around one INTEGER, built back to front so no level copies the body.
Bytes nested(std::size_t depth) {
    Bytes reversed{0x01, 0x01, 0x02};
    for (std::size_t i = 0; i < depth; ++i) {
        const Bytes h = derHeader(0x30, reversed.size());
        reversed.insert(reversed.end(), h.rbegin(), h.rend());
    }
    return Bytes(reversed.rbegin(), reversed.rend());
}

// Each request filled with one byte, the next byte on the next call: the fixture signatures
// are the same on every run, and a signer that redraws gets a new nonce.
struct CountingPrng : _vnPrng {
    unsigned char next = 0x42;
    bool genRandomBytes(unsigned n, DataBuffer& out, LogBase&) override { return out.append(Bytes(n, next++).data(), n); }
};

const char* const kScalarHex = "C9AFA9D845BA75166B5C215767B1D6934E50C3DB36E89B127B8A622B120F6721";
const Bytes kDigest(32, 0x5A);

// One fixed key on a generic curve (p256) and one on the fast path (k1), and the pieces the
// data lines are built from: @p256.sec1, @k1.n+1, ...
struct Fixtures {
    EccKey p256, k1, p521;
    std::map<std::string, Bytes> parts;
    void add(const std::string& p, EccKey& key) {
        LogBase log;
        DataBuffer db;
        StringBuffer sb;
        auto put = [&](const char* name, bool ok) {
            EXPECT_TRUE(ok) << name;
            parts[p + name] = db.getSize() ? bytesOf(db) : Bytes(sb.getString(), sb.getString() + sb.getSize());
            db.clear();
        };
        // Scalars and coordinates at field width (x + p one byte wider).
        mp_int n, pr, one, zero, t;
        BigNum::mp_read_radix(n, key.m_curve.n.getString(), 16);
        BigNum::mp_read_radix(pr, key.m_curve.p.getString(), 16);
        BigNum::mp_set(one, 1);
        const unsigned w = static_cast<unsigned>(key.m_curve.fieldBytes);
        auto num = [&](const char* name, const mp_int& a, const mp_int* plus, unsigned width) {
            BigNum::mp_add(a, plus ? *plus : zero, t);
            parts[p + name] = fixedBytes(t, width);
        };
        num("k", key.m_k, nullptr, w), num("x", key.m_pubPoint.x, nullptr, w), num("y", key.m_pubPoint.y, nullptr, w);
        num("n", n, nullptr, w), num("p", pr, nullptr, w), num("n+1", n, &one, w);
        num("x+p", key.m_pubPoint.x, &pr, w + 1), num("y+1", key.m_pubPoint.y, &one, w);
        put("point", key.exportEccPoint(db, log));
        put("sec1nopub", key.toEccPkcs1PrivateKeyDer(db, log));
        put("spki", key.toPublicKeyDer_shortFmt(db, log));
        put("pkcs8", key.toEccPkcs8PrivateKeyDer(db, log));
        CountingPrng prng;
        put("sig", key.eccSignHash(kDigest.data(), 32, prng, true, db, log));
        put("rawsig", key.eccSignHash(kDigest.data(), 32, prng, false, db, log));
        log.m_options.setString("EMIT_ECC_PKCS1_PUBKEY");
        put("sec1", key.toEccPkcs1PrivateKeyDer(db, log));
        put("pem", key.toEccPrivateKeyPem(true, sb, log));
        put("jwk", key.toEccPrivateKeyJwk(sb, log));
        put("xml", key.toEccPrivateKeyXml(sb, log));
    }
    Fixtures() {
        LogBase log;
        EXPECT_TRUE(p256.generateNewKey2(StringBuffer("secp256r1"), kScalarHex, "hex", log));
        EXPECT_TRUE(k1.generateNewKey2(StringBuffer("secp256k1"), kScalarHex, "hex", log));
        EXPECT_TRUE(p521.generateNewKey2(StringBuffer("secp521r1"), kScalarHex, "hex", log));
        add("p256.", p256), add("k1.", k1), add("p521.", p521);
    }
    // The fixture on a curve, by any of its names.
    std::string prefix(const std::string& curve) {
        if (curve.find("k1") != std::string::npos || curve.find("k256") != std::string::npos) return "k1.";
        return curve.find("521") != std::string::npos ? "p521." : "p256.";
    }
    EccKey& of(const std::string& curve) { return prefix(curve) == "k1." ? k1 : prefix(curve) == "p521." ? p521 : p256; }
};
Fixtures& fx() {
    static Fixtures* f = new Fixtures();
    return *f;
}

// ---- Input expressions ----------------------------------------------------------------------

Bytes parseBytes(const std::string& s, std::size_t& i, char close);

Bytes token(const std::string& t) {
    if (t[0] == '@') {
        EXPECT_EQ(fx().parts.count(t.substr(1)), 1u) << "no fixture " << t;
        return fx().parts[t.substr(1)];
    }
    if (t.rfind("nest:", 0) == 0) return nested(std::stoul(t.substr(5)));
    const std::size_t star = t.find('*');
    DataBuffer db;
    EXPECT_TRUE(db.appendEncoded(t.substr(0, star).c_str(), "hex")) << "bad hex " << t;
    Bytes one = bytesOf(db), out;
    const std::size_t times = star == std::string::npos ? 1 : std::stoul(t.substr(star + 1));
    for (std::size_t k = 0; k < times; ++k) out.insert(out.end(), one.begin(), one.end());
    return out;
}

// Hex, @fixtures, HEX*count, nest:N, 'text', (TAG content) as DER, [content] as an SSH string.
Bytes parseBytes(const std::string& s, std::size_t& i, char close) {
    Bytes out;
    while (i < s.size()) {
        const char c = s[i];
        if (c == ' ') {
            ++i;
        } else if (c == close) {
            ++i;
            break;
        } else if (c == '(' || c == '[') {
            Bytes inner = parseBytes(s, ++i, c == '(' ? ')' : ']');
            out = out + (c == '[' ? be32(inner.size()) + inner
                                  : derTlv(inner.empty() ? 0 : inner[0], Bytes(inner.begin() + 1, inner.end())));
        } else if (c == '\'') {
            const std::size_t end = s.find('\'', i + 1);
            out.insert(out.end(), s.begin() + static_cast<long>(i) + 1, s.begin() + static_cast<long>(end));
            i = end + 1;
        } else {
            const std::size_t end = s.find_first_of(" ()[]", i);
            out = out + token(s.substr(i, end - i));
            i = end == std::string::npos ? s.size() : end;
        }
    }
    return out;
}

// Text with \xNN \t \r \n \0 \\ escapes and ${expr} pieces (${b64:expr}, ${hex:expr} encode).
Bytes parseText(const std::string& s) {
    Bytes out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size()) {
            const char e = s[++i];
            if (e == 'x') {
                out.push_back(static_cast<unsigned char>(std::stoul(s.substr(i + 1, 2), nullptr, 16)));
                i += 2;
            } else {
                out.push_back(static_cast<unsigned char>(e == 't' ? '\t' : e == 'r' ? '\r' : e == 'n' ? '\n' : e == '0' ? '\0' : e));
            }
        } else if (s.compare(i, 2, "${") == 0) {
            static const std::map<std::string, const char*> kEncodings = {{"b64", "base64"}, {"b64url", "base64url"}, {"hex", "hex"}};
            const std::size_t end = s.find('}', i), colon = s.find(':', i);
            const auto enc = colon < end ? kEncodings.find(s.substr(i + 2, colon - i - 2)) : kEncodings.end();
            std::size_t at = enc == kEncodings.end() ? i + 2 : colon + 1;
            Bytes b = parseBytes(s.substr(0, end), at, 0);
            StringBuffer sb;
            if (enc != kEncodings.end() && fill(DataBuffer(), b).encodeDB(enc->second, sb))
                b = Bytes(sb.getString(), sb.getString() + sb.getSize());
            out = out + b;
            i = end;
        } else {
            out.push_back(static_cast<unsigned char>(s[i]));
        }
    }
    return out;
}

// ---- Loaders --------------------------------------------------------------------------------

// One row's run: the input as a buffer and as exact-size heap blocks (so a read past the end is
// seen by the sanitizers and memcheck), the log, a key that starts private for the key loaders,
// and `out`, what the loader produced, for `ok OUTPUT` and `%` elements.
struct Run {
    Run(const std::string& a, const Bytes& b, bool isNull) : arg(a), in(b), null(isNull) {
        db.append(in.data(), static_cast<unsigned>(in.size()));
        std::copy(in.begin(), in.end(), bytes.get());
        std::copy(in.begin(), in.end(), chars.get());
        chars[in.size()] = '\0';
    }
    const char* text() const { return null ? nullptr : chars.get(); }
    const unsigned char* data() const { return null ? nullptr : bytes.get(); }
    unsigned size() const { return static_cast<unsigned>(in.size()); }
    unsigned argNumber() const { return static_cast<unsigned>(std::stoul(arg.empty() ? "0" : arg, nullptr, 0)); }
    std::string arg;
    Bytes in;
    bool null;
    DataBuffer db;
    std::unique_ptr<unsigned char[]> bytes{new unsigned char[in.size()]};
    std::unique_ptr<char[]> chars{new char[in.size() + 1]};
    LogBase log;
    EccKey key;
    std::string out;
};

enum KeyRule { kNoKey, kNothingPrivate, kNotTypedPrivate };
using Loader = std::pair<KeyRule, std::function<bool(Run&)>>;

// The loader's verdict, with what it left behind as the row's output.
bool result(Run& r, bool ok, const std::function<std::string()>& show) {
    r.out = show();
    return ok;
}

// Loaded: curve, type, and whether the point is on the curve. Refused: what is left of the key.
Loader keyLoader(std::function<bool(Run&)> load, KeyRule rule = kNothingPrivate) {
    return {rule, [load](Run& r) {
                const bool ok = load(r);
                LogNull quiet;
                return result(r, ok, [&] {
                    return std::string(r.key.m_curve.name.getString()) +
                           (!ok ? " k=" + hexOf(r.key.m_k)
                                : (r.key.m_keyType == 1 ? " private" : " public") + std::string(r.key.isPoint(quiet) ? "" : " off-curve"));
                });
            }};
}

bool verify(EccKey& key, const Bytes& sig, bool useRLen, unsigned rLen, unsigned hashLen, Run& r) {
    bool valid = true;
    const bool ok = key.eccVerifyHash(sig.data(), static_cast<unsigned>(sig.size()), useRLen, kDigest.data(), hashLen, valid,
                                      r.log, rLen);
    if (!ok) { EXPECT_FALSE(valid); }
    return result(r, ok, [&] { return valid ? "valid" : "invalid"; });
}

std::string shown(unsigned v) { return std::to_string(v); }
std::string shown(const StringBuffer& s) { return s.getString(); }
template <typename T>
std::string shown(const T& v) { return hexOf(v); }

// A refusal leaves the offset where it was; the value is the one the parser started with.
template <typename T, typename Parse>
Loader sshLoader(Parse parse) {
    return {kNoKey, [parse](Run& r) {
                T v{};
                unsigned offset = r.argNumber();
                const bool ok = parse(r, offset, v);
                if (!ok) { EXPECT_EQ(offset, r.argNumber()) << "offset moved"; }
                r.out = (ok ? shown(v) : "") + " @" + std::to_string(offset);
                return ok;
            }};
}

// The decoded tree written out again, and how many input bytes it left unread.
template <typename Tree, typename Encode>
bool reencoded(Tree* tree, unsigned consumed, Run& r, Encode encode) {
    DataBuffer again;
    EXPECT_TRUE(tree ? encode(*tree, again) : consumed == 0);
    r.out = hexOf(again) + (tree && consumed < r.size() ? " +" + std::to_string(r.size() - consumed) : "");
    return tree != nullptr;
}

const std::map<std::string, Loader>& loaders() {
    static const std::map<std::string, Loader> table = {
        {"der", keyLoader([](Run& r) { return r.key.loadEccDer(r.db, r.log); })},
        {"raw-priv", keyLoader([](Run& r) { return r.key.loadEccPrivateRaw(r.db, r.arg == "k1", r.log); })},
        {"raw-pub", keyLoader([](Run& r) { return r.key.loadEccPublicRaw(r.db, r.log); })},
        {"point", keyLoader([](Run& r) { return r.key.loadEcPubKeyByCurveAndPoint(r.arg.c_str(), r.db, r.log); })},
        // putty:CURVE: the input is the private blob for the fixture's point; putty:point: the
        // input is the point for a fixed P-256 blob.
        {"putty", keyLoader([](Run& r) {
             std::size_t at = 0;
             const Bytes blob = parseBytes("[ 'ecdsa-sha2-nistp256' ] [ 'nistp256' ] [ @p256.point ] [ 00 @p256.k ]", at, 0);
             if (r.arg == "point") return r.key.loadPrivateFromPuttySsh("secp256r1", r.db, fill(DataBuffer(), blob), r.log);
             return r.key.loadPrivateFromPuttySsh(r.arg.c_str(), fill(DataBuffer(), fx().parts[fx().prefix(r.arg) + "point"]), r.db, r.log);
         })},
        // A refused JWK is never typed private, but a "d" read before the refusal stays in k.
        {"jwk", keyLoader([](Run& r) {
             ClsJsonObject json;
             EXPECT_TRUE(json.load(r.text()));
             return r.key.loadAnyJwk(json, r.log);
         }, kNotTypedPrivate)},
        {"xml-key", keyLoader([](Run& r) {
             ClsXml xml;
             EXPECT_TRUE(xml.loadXml(r.text()));
             return r.key.loadAnyXml(xml, r.log);
         })},
        {"verify", {kNoKey, [](Run& r) {
             const std::size_t colon = r.arg.find(':');
             const unsigned hashLen = colon == std::string::npos ? 32u : static_cast<unsigned>(std::stoul(r.arg.substr(colon + 1)));
             return verify(fx().of(r.arg.substr(0, colon)), r.in, false, 0, hashLen, r);
         }}},
        {"verify-rlen", {kNoKey, [](Run& r) { return verify(fx().p256, r.in, true, r.argNumber(), 32, r); }}},
        // The input is the public point; the signature is the fixture key's own.
        {"verify-q", {kNoKey, [](Run& r) {
             EccKey q;
             EXPECT_TRUE(q.loadEcPubKeyByCurveAndPoint(r.arg.c_str(), r.db, r.log));
             return verify(q, fx().parts[fx().prefix(r.arg) + "sig"], false, 0, 32, r);
         }}},
        {"tls-wrap", {kNoKey, [](Run& r) {
             DataBuffer out;
             out.appendChar(0x99);
             return result(r, EccKey::eccWrapSigAsn_forTls(r.db, 0, out, r.log), [&] { return hexOf(out); });
         }}},
        // curve:name or curve:oid, by what the input is.
        {"curve", {kNoKey, [](Run& r) {
             EccCurve c;
             StringBuffer oid(r.arg == "oid" ? r.text() : "");
             return result(r, r.arg == "oid" ? c.loadCurveByOid(oid, r.log) : c.loadCurveByName(r.text(), r.log),
                           [&] { return std::string(c.name.getString()) + " " + std::to_string(c.fieldBytes); });
         }}},
        {"x963", {kNoKey, [](Run& r) {
             EccPoint pt;
             if (r.arg == "emptied") r.db.appendChar(4), r.db.clear();
             return result(r, pt.loadEccPoint(r.db, r.log),
                           [&] { return std::to_string(pt.format) + " " + hexOf(pt.x) + " " + hexOf(pt.y) + " " + hexOf(pt.z); });
         }}},
        // Refused: both outputs cleared.
        {"pem", {kNoKey, [](Run& r) {
             StringBuffer label("stale");
             DataBuffer der;
             der.appendChar(0x99);
             return result(r, PemReader::readFirst(r.text(), label, der, r.log),
                           [&] { return std::string(label.getString()) + " " + hexOf(der); });
         }}},
        {"pem-label", {kNoKey, [](Run& r) {
             StringBuffer out("previous text");
             return result(r, _vnPublicKey::derToPem(r.text(), fill(DataBuffer(), r.arg == "nodata" ? Bytes() : Bytes{5}), out, r.log),
                           [&] { return out.getString(); });
         }}},
        {"asn1", {kNoKey, [](Run& r) {
             unsigned consumed = 99;
             _vnAsn1* node = _vnAsn1::DecodeToAsn(r.data(), r.size(), consumed, r.log);
             RefCountedObjectOwner owner(node);
             return reencoded(node, consumed, r, [&](_vnAsn1& n, DataBuffer& out) { return n.EncodeToDer(out, false, r.log); });
         }}},
        // The dotted text (oid) or the number (oid:int) built into DER, which reads back to it.
        {"oid", {kNoKey, [](Run& r) {
             const bool isInt = r.arg == "int";
             _vnAsn1* node = isInt ? _vnAsn1::newInteger(std::stoi(r.text())) : _vnAsn1::newOid(r.text());
             RefCountedObjectOwner owner(node);
             DataBuffer der;
             StringBuffer text;
             unsigned consumed = 0;
             const bool ok = node != nullptr && node->EncodeToDer(der, false, r.log);
             _vnAsn1* back = ok ? _vnAsn1::DecodeToAsn(der.getData2(), der.getSize(), consumed, r.log) : nullptr;
             RefCountedObjectOwner backOwner(back);
             if (ok) {
                 EXPECT_TRUE(back && (isInt ? back->isInteger() && back->asnIntValue() == std::stoi(r.text())
                                            : back->GetOid(text) && text.equals(r.text())));
             }
             return result(r, ok, [&] { return hexOf(der); });
         }}},
        // The signature codec's decoder: exactly one error line for a refusal. asnitem:int reads
        // the first element of a SEQUENCE as an unsigned INTEGER.
        {"asnitem", {kNoKey, [](Run& r) {
             unsigned consumed = 99;
             std::unique_ptr<vn_asnItem> item(DerCodec::derToItem(r.data(), r.size(), consumed, r.log));
             if (r.arg == "int") {
                 mp_int v;
                 return result(r, item && item->getSubItem_doNotDelete(0)->get_mp(v, r.log), [&] { return hexOf(v); });
             }
             return reencoded(item.get(), consumed, r, [](vn_asnItem& i, DataBuffer& out) { return DerCodec::itemToDer(i, out); });
         }}},
        // Refused: one "JSON: " line, and the object emptied.
        {"json", {kNoKey, [](Run& r) {
             ClsJsonObject json;
             EXPECT_TRUE(json.load("{\"prior\":1}"));
             const bool ok = json.load(r.text(), r.log);
             if (!ok) { EXPECT_TRUE(r.log.errors().size() == 1 && r.log.errors()[0].rfind("JSON: ", 0) == 0 && json.numMembers() == 0); }
             return result(r, ok, [&] { return std::to_string(json.numMembers()); });
         }}},
        {"json-path", {kNoKey, [](Run& r) {
             ClsJsonObject json;
             StringBuffer out("stale");
             EXPECT_TRUE(json.load(r.text(), r.log));
             return result(r, json.sbOfPathUtf8(r.arg.c_str(), out, r.log), [&] { return out.getString(); });
         }}},
        // Refused: the element emptied (tag, children, text, attributes).
        {"xml", {kNoKey, [](Run& r) {
             ClsXml x;
             StringBuffer content, attr;
             EXPECT_TRUE(x.loadXml("<old a='1'>keep<c/></old>"));
             const bool ok = x.loadXml(r.text(), r.log);
             x.get_Content(content);
             r.out = std::string(x.tag()) + (content.getSize() ? " " : "") + content.getString();
             if (!ok) { EXPECT_TRUE(x.numChildren() == 0 && !x.getAttrValue("a", attr) && r.out.empty()); }
             return ok;
         }}},
        {"xml-tag", {kNoKey, [](Run& r) {
             ClsXml x;
             EXPECT_TRUE(x.loadXml(("<" + std::string(r.text()) + "/>").c_str()));
             const bool folded = r.arg.rfind("i:", 0) == 0;
             return x.tagMatches(r.arg.substr(folded ? 2 : 0).c_str(), folded);
         }}},
        {"ssh-uint32", sshLoader<unsigned>([](Run& r, unsigned& off, unsigned& v) { return SshMessage::parseUint32(r.db, off, v); })},
        {"ssh-string", sshLoader<StringBuffer>([](Run& r, unsigned& off, StringBuffer& s) {
             s.append("stale");
             return SshMessage::parseString(r.db, off, s);
         })},
        {"ssh-binary", sshLoader<DataBuffer>([](Run& r, unsigned& off, DataBuffer& v) { return SshMessage::parseBinaryString(r.db, off, v, r.log); })},
        {"ssh-mpint", sshLoader<mp_int>([](Run& r, unsigned& off, mp_int& v) { return SshMessage::parseMpInt(r.db, off, v, r.log); })},
        // A failed decode leaves what the buffer held before.
        {"decode", {kNoKey, [](Run& r) {
             DataBuffer db;
             db.appendChar(0xEE);
             return result(r, db.appendEncoded(r.text(), r.arg.c_str()), [&] { return hexOf(db); });
         }}},
        // A failed read leaves zero.
        {"radix", {kNoKey, [](Run& r) {
             mp_int a;
             BigNum::mp_read_radix(a, "123456789ABCDEF0123456789", 16);
             return result(r, BigNum::mp_read_radix(a, r.text(), std::stoi(r.arg)), [&] { return hexOf(a); });
         }}},
    };
    return table;
}

// ---- Lines and expectations -----------------------------------------------------------------

struct Row {
    std::string where, loader, arg, input, expect;
    Bytes bytes;
};

std::string trim(const std::string& s) {
    const std::size_t b = s.find_first_not_of(' '), e = s.find_last_not_of(' ');
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

// One line into its rows: the ^prefixes[:from-to[/step]] and ^flips modifiers make many.
std::vector<Row> expand(const std::string& where, const std::string& line) {
    const std::size_t a = line.find(" | "), b = line.rfind(" | ");
    const std::string loader = trim(line.substr(0, a));
    const std::size_t colon = loader.find(':');
    Row row{where, loader.substr(0, colon), colon == std::string::npos ? "" : loader.substr(colon + 1), "",
            trim(line.substr(b + 3)), {}};
    std::string input = b >= a + 3 ? trim(line.substr(a + 3, b - a - 3)) : "";  // "x | | y": empty
    std::vector<std::string> mods;
    for (std::size_t m; (m = input.rfind(" ^")) != std::string::npos;) {
        mods.push_back(input.substr(m + 2));
        input = trim(input.substr(0, m));
    }
    row.input = input;
    std::size_t at = 0;
    row.bytes = input == "null" ? Bytes() : input.rfind("t:", 0) == 0 ? parseText(input.substr(2)) : parseBytes(input, at, 0);
    if (mods.empty()) return {row};
    std::vector<Row> rows;
    auto variant = [&](std::size_t cut, std::size_t flip, unsigned x, const std::string& note) {
        rows.push_back(row);
        rows.back().bytes.resize(cut);
        if (x != 0) rows.back().bytes[flip] = static_cast<unsigned char>(rows.back().bytes[flip] ^ x);
        rows.back().input += " (" + note + ")";
    };
    for (const std::string& mod : mods) {
        if (mod == "flips") {
            for (std::size_t i = 0; i < row.bytes.size(); ++i) {
                for (unsigned x : {0x01u, 0xFFu}) variant(row.bytes.size(), i, x, "byte " + std::to_string(i) + " ^ " + std::to_string(x));
            }
        } else if (mod.rfind("prefixes", 0) == 0) {
            std::size_t from = 0, to = row.bytes.size() - 1, step = 1;
            std::sscanf(mod.c_str(), "prefixes:%zu-%zu/%zu", &from, &to, &step);
            for (std::size_t n = from; n <= to && n < row.bytes.size(); n += step) variant(n, 0, 0, "prefix " + std::to_string(n));
        } else {
            ADD_FAILURE() << where << ": unknown modifier ^" << mod;
        }
    }
    return rows;
}

// A log line as an expectation element spells it.
std::string spelled(const LogBase::Entry& e) {
    return e.kind == LogBase::Kind::Data ? "$" + e.name + "=" + e.text : e.context + "::" + e.text;
}

// The log's lines in order, for a failure message.
std::string observed(const Run& r, bool ok) {
    if (ok) return "ok " + r.out;
    std::string s;
    for (const auto& e : r.log.entries()) {
        if (e.kind != LogBase::Kind::Info) s += (s.empty() ? "" : " > ") + spelled(e);
    }
    return (s.empty() ? "silent" : s) + " %" + r.out;
}

std::string asText(const std::string& expect) {
    const Bytes b = parseText(expect);
    return {b.begin(), b.end()};
}

// Does the log hold the elements in order? `$name=value` is a value line, `path::text` an
// error under that context, `%text` the loader's output, `silent`/`any` no line/some error line,
// anything else an error text.
bool matches(const Run& r, const std::string& expect) {
    const bool exact = expect[0] == '=';
    const auto& entries = r.log.entries();
    const std::string list = expect.substr(exact ? 1 : 0) + " > ";
    std::size_t at = 0, errorElements = 0;
    for (std::size_t from = 0, to; (to = list.find(" > ", from)) != std::string::npos; from = to + 3) {
        const std::string el = list.substr(from, to - from);
        const bool any = el == "any", silent = el == "silent";
        if (el[0] == '%' ? r.out != asText(el.substr(1)) : (silent && !entries.empty()) || (any && r.log.errors().empty())) return false;
        if (el[0] == '%' || any || silent) continue;
        // A bare error text matches under any context.
        const bool data = el[0] == '$', bare = !data && el.find("::") == std::string::npos;
        const LogBase::Kind kind = data ? LogBase::Kind::Data : LogBase::Kind::Error;
        errorElements += data ? 0 : 1;
        while (at < entries.size() && !(entries[at].kind == kind && (bare ? entries[at].text : spelled(entries[at])) == el)) ++at;
        if (at++ >= entries.size()) return false;
    }
    return !exact || r.log.errors().size() == errorElements;
}

void runRow(const Row& row) {
    SCOPED_TRACE(row.where + ": " + row.loader + (row.arg.empty() ? "" : ":" + row.arg) + " | " + row.input);
    auto it = loaders().find(row.loader);
    ASSERT_NE(it, loaders().end()) << "unknown loader";
    Run r(row.arg, row.bytes, row.input == "null");
    if (it->second.first != kNoKey) r.key.copyFromEccKey(fx().p256);
    const bool ok = it->second.second(r);
    const std::string& ex = row.expect;
    const std::string why = "\n  got: " + observed(r, ok);
    if (ex.rfind("ok", 0) == 0) {
        EXPECT_TRUE(ok) << why;
        if (ex.size() > 3) { EXPECT_EQ(r.out, asText(ex.substr(3))) << why; }
        return;
    }
    if (ex == "either" && ok) return;
    EXPECT_FALSE(ok) << why;
    if (it->second.first != kNoKey) {
        EXPECT_NE(r.key.m_keyType, 1) << why;
        if (it->second.first == kNothingPrivate) { EXPECT_TRUE(r.key.m_k.isZero()) << why; }
    }
    if (ex != "either") { EXPECT_TRUE(matches(r, ex)) << "  want: " << ex << why; }
}

const std::string dataDir = ECCKEY_INPUTS_DATA;

TEST(Inputs, EveryDataLine) {
    std::vector<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(dataDir)) {
        if (e.path().extension() == ".txt" && e.path().filename() != "README.txt") files.push_back(e.path().filename());
    }
    std::sort(files.begin(), files.end());
    ASSERT_FALSE(files.empty()) << dataDir;
    for (const std::string& file : files) {
        std::ifstream in(dataDir + "/" + file);
        std::string line;
        for (int n = 1; std::getline(in, line); ++n) {
            if (trim(line).empty() || trim(line)[0] == '#') continue;
            for (const Row& row : expand(file + ":" + std::to_string(n), line)) runRow(row);
        }
    }
}

}  // namespace
}  // namespace vn

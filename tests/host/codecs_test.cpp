#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/Asn1.h"
#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/Hash.h"
#include "host/KeyBase.h"
#include "host/LogBase.h"
#include "host/Pem.h"
#include "host/ScopedOwners.h"
#include "host/SshMessage.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const DataBuffer& db) { return db.getSize() ? Bytes(db.getData2(), db.getData2() + db.getSize()) : Bytes(); }

// ---- Hashes: every digest on the portable route and on the processor's, against OpenSSL.
struct Algo {
    int id;
    const char* name;
    const EVP_MD* (*md)();
} const kAlgos[] = {{_vnHash::MD5, "MD5", EVP_md5},          {_vnHash::SHA1, "SHA-1", EVP_sha1},
                    {_vnHash::SHA224, "SHA-224", EVP_sha224}, {_vnHash::SHA256, "SHA-256", EVP_sha256},
                    {_vnHash::SHA384, "SHA-384", EVP_sha384}, {_vnHash::SHA512, "SHA-512", EVP_sha512}};

// One-shot (into a buffer holding stale bytes: doHash replaces) and streamed in random
// pieces, empty ones and a null pointer included.
void checkDigest(const Algo& a, const Bytes& msg, std::size_t maxPiece, std::mt19937& rng, const std::string& route) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned mdLen = 0;
    ASSERT_EQ(EVP_Digest(msg.data(), msg.size(), md, &mdLen, a.md(), nullptr), 1);
    const Bytes want(md, md + mdLen);
    DataBuffer out;
    out.append("stale", 5);
    ASSERT_TRUE(_vnHash::doHash(msg.data(), static_cast<unsigned>(msg.size()), a.id, out));
    ASSERT_EQ(bytesOf(out), want) << route << " length " << msg.size();
    _vnHash h;
    ASSERT_TRUE(h.start(a.id) && h.update(nullptr, 0));
    for (std::size_t at = 0; at < msg.size();) {
        const std::size_t n = std::min<std::size_t>(rng() % (maxPiece + 1), msg.size() - at);
        ASSERT_TRUE(h.update(msg.data() + at, n));
        at += n;
    }
    DataBuffer streamed;
    ASSERT_TRUE(h.finish(streamed));
    ASSERT_EQ(bytesOf(streamed), want) << route << " pieces, length " << msg.size();
}

TEST(Codecs, HashesMatchOpenSslOnEveryRoute) {
    std::printf("hash seed 20\n");
    std::mt19937 rng(20);
    Bytes all(1000003);
    for (unsigned char& c : all) c = static_cast<unsigned char>(rng());
    for (bool hardware : {false, true}) {
        _vnHash::allowHardware(hardware);
        for (const Algo& a : kAlgos) {
            const std::string route = std::string(a.name) + (hardware ? " hardware" : " portable");
            // Every tail length crosses both block sizes' padding cases (55/56, 111/112).
            for (std::size_t len = 0; len <= 300; ++len) checkDigest(a, Bytes(all.begin(), all.begin() + long(len)), 1 + len / 3, rng, route);
            for (std::size_t len : {4095u, 65536u, 1000003u}) checkDigest(a, Bytes(all.begin(), all.begin() + long(len)), 3000, rng, route);
        }
    }
    _vnHash::allowHardware(true);
    if (!_vnHash::hardwareInUse()) std::printf("note: no SHA extensions here; the portable route ran twice\n");
}

TEST(Codecs, HashStreamingMisuse) {
    _vnHash h;
    DataBuffer out;
    EXPECT_FALSE(_vnHash::doHash("x", 1, 7, out) || h.start(0));
    // Nothing in progress: after a failed start, after a finish.
    EXPECT_FALSE(h.update("x", 1) || h.finish(out));
    EXPECT_TRUE(h.start(_vnHash::SHA256));
    EXPECT_FALSE(h.update(nullptr, 1));
    EXPECT_TRUE(h.finish(out));
    EXPECT_FALSE(h.finish(out));
    EXPECT_FALSE(_vnHash::doHash(nullptr, 1, _vnHash::SHA256, out));
}

// ---- DER.
struct Tree {
    explicit Tree(_vnAsn1* p) : node(p), owner(p) {}
    _vnAsn1* node;
    RefCountedObjectOwner owner;
};

std::string encodeHex(_vnAsn1* node) {
    LogBase log;
    DataBuffer out;
    StringBuffer hex;
    return node && node->EncodeToDer(out, false, log) && out.encodeDB("hex", hex) ? hex.getString() : "refused";
}

// Keys never reach these exactly: the short/long length switch and the nesting limit.
TEST(Codecs, DerEncoderLengthsAndDepth) {
    const struct {
        unsigned n;
        const char* header;
    } rows[] = {{0, "0400"}, {127, "047F"}, {128, "048180"}, {255, "0481FF"}, {256, "04820100"}};
    for (const auto& r : rows) {
        const Bytes body(r.n, 0x5A);
        Tree t(_vnAsn1::newOctetString(r.n ? body.data() : nullptr, r.n));  // no bytes: no pointer needed
        EXPECT_EQ(encodeHex(t.node).substr(0, std::string(r.header).size()), r.header) << r.n;
    }
    for (int levels : {33, 34}) {
        Tree t(_vnAsn1::newSequence());
        _vnAsn1* inner = t.node;
        for (int level = 1; level < levels; ++level) {
            _vnAsn1* child = _vnAsn1::newSequence();
            ASSERT_TRUE(inner->AppendPart(child));
            inner = child;
        }
        EXPECT_EQ(encodeHex(t.node) == "refused", levels == 34) << levels;
    }
}

// Strict DER gives a tree one encoding: whatever either decoder accepts must encode back to
// exactly the bytes it consumed, and no proper prefix of a valid element is itself valid.
// Mutants sit in exact-size heap blocks so the sanitizer build sees any over-read.
struct Decoder {
    const char* name;
    const char* seed;  // an OpenSSL-written SEC1 key (secp384r1); an ECDSA signature
    bool (*reencode)(const Bytes& der, unsigned& consumed, DataBuffer& again, LogBase& log);
} const kDecoders[] = {
    {"_vnAsn1",
     "3081a40201010430ac54659c1af687aa0f47bf53f8d913087dc59f26562fc4b195ef7a89505ab8217e39b588fdb2"
     "fa97f862ec66e3ec46fca00706052b81040022a164036200049afa1e99ba0e0ff11594e10e12eeb2c64ea24c52ab"
     "56a16b0c9457a53b5a328e23abe19f5910a6066e57f618de752dc11184be12def3fc20da7e2e429d61e1c16861f5"
     "7cc3c182834354fb65f892564942c09a9e417db9292ea1b25ed516a941",
     [](const Bytes& der, unsigned& consumed, DataBuffer& again, LogBase& log) {
         Tree t(_vnAsn1::DecodeToAsn(der.data(), static_cast<unsigned>(der.size()), consumed, log));
         return t.node != nullptr && t.node->EncodeToDer(again, false, log);
     }},
    {"vn_asnItem", "300D02047FFF010202020080020100",
     [](const Bytes& der, unsigned& consumed, DataBuffer& again, LogBase& log) {
         std::unique_ptr<vn_asnItem> t(DerCodec::derToItem(der.data(), static_cast<unsigned>(der.size()), consumed, log));
         return t && DerCodec::itemToDer(*t, again);
     }},
};

TEST(Codecs, DerDecodersAcceptOneEncodingOnly) {
    std::printf("DER mutation seed 5\n");
    for (const Decoder& d : kDecoders) {
        SCOPED_TRACE(d.name);
        LogNull quiet;
        unsigned consumed = 0;
        DataBuffer again;
        ASSERT_TRUE(again.appendEncoded(d.seed, "hex"));
        const Bytes seed = bytesOf(again);
        again.clear();
        ASSERT_TRUE(d.reencode(seed, consumed, again, quiet));
        ASSERT_EQ(bytesOf(again), seed);
        std::mt19937 rng(5);
        int accepted = 0;
        for (int round = 0; round < 20000; ++round) {
            Bytes der = seed;
            for (std::size_t e = 0, edits = 1 + rng() % 3; e < edits; ++e) der[rng() % der.size()] = static_cast<unsigned char>(rng());
            if (rng() % 4 == 0) der.resize(rng() % der.size() + 1);
            DataBuffer back;
            consumed = 0;
            if (!d.reencode(der, consumed, back, quiet)) continue;
            ++accepted;
            ASSERT_LE(consumed, der.size());
            ASSERT_EQ(bytesOf(back), Bytes(der.begin(), der.begin() + consumed)) << round;
        }
        EXPECT_GT(accepted, 100);
    }
}

TEST(Codecs, DerDiagnosticAndPkcs8Attributes) {
    struct {
        const char* hex;
        const char* expect;
    } const diag[] = {{"3006020101020102", "INTEGER"}, {"3006020101020102AA", "1 bytes follow"},
                      {"30", "truncated"},             {"", "0 bytes"}};
    for (const auto& c : diag) {
        DataBuffer der;
        der.appendEncoded(c.hex, "hex");
        LogBase log;
        DerCodec::derDiagnostic(der, log);
        EXPECT_TRUE(log.errors().empty()) << c.hex;
        EXPECT_NE(log.render().find(c.expect), std::string::npos) << c.hex << "\n" << log.render();
    }
    // A huge flat SEQUENCE is summarised, not listed element by element.
    DataBuffer many;
    many.append("\x30\x82\x05\xDC", 4);
    for (int i = 0; i < 500; ++i) many.append("\x02\x01\x01", 3);
    LogBase summary;
    DerCodec::derDiagnostic(many, summary);
    EXPECT_LT(summary.entries().size(), 80u);

    // Stored attributes that are not one [0] IMPLICIT SET OF Attribute are refused with the
    // key info left as it was (kept ones are written back by every PKCS#8 export).
    for (const char* stored : {"A0020201", "A1", "A00B300906022A0331030C017800", "310B300906022A0331030C0178"}) {
        KeyBase base;
        base.m_pkcs8Attributes.appendEncoded(stored, "hex");
        Tree info(_vnAsn1::newSequence());
        ASSERT_TRUE(info.node->AppendPart(_vnAsn1::newInteger(0)));
        LogBase log;
        EXPECT_FALSE(base.addAttributesToPkcs8(*info.node, log)) << stored;
        EXPECT_EQ(encodeHex(info.node), "3003020100") << stored;
        EXPECT_FALSE(log.errors().empty()) << stored;
    }
}

// ---- PEM, base64, SSH packing.
Bytes pattern(unsigned n) {
    Bytes v(n);
    for (unsigned i = 0; i < n; ++i) v[i] = static_cast<unsigned char>(i * 37 + 11);
    return v;
}

// OpenSSL's encoder is the oracle for the text itself, not only for the round trip.
std::string openSslBase64(const Bytes& b) {
    std::string out(4 * ((b.size() + 2) / 3) + 1, '\0');
    out.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]), b.data(), static_cast<int>(b.size()))));
    return out;
}

TEST(Codecs, PemWriterLayoutAndRoundTrip) {
    // 64-character CRLF lines: 48 bytes fill one exactly, 49 spill 4 characters.
    for (unsigned n = 1; n <= 200; ++n) {
        const std::string body = openSslBase64(pattern(n));
        std::string want = "-----BEGIN X509 CRL-----\n";
        for (std::size_t at = 0; at < body.size(); at += 64) want += body.substr(at, 64) + "\n";
        DataBuffer der;
        der.append(pattern(n).data(), n);
        StringBuffer pem, label;
        LogBase log;
        ASSERT_TRUE(_vnPublicKey::derToPem("X509 CRL", der, pem, log));
        EXPECT_EQ(pem.getString(), want + "-----END X509 CRL-----\n");
        DataBuffer back;
        ASSERT_TRUE(PemReader::readFirst(pem.getString(), label, back, log)) << n;
        EXPECT_EQ(bytesOf(back), pattern(n));
        EXPECT_TRUE(back.isSecure());
    }
}

// Padded base64 is the PEM body above; base64url never pads.
TEST(Codecs, Base64UrlEveryTailAndSshPacking) {
    for (unsigned n = 0; n < 70; ++n) {
        DataBuffer db;
        const Bytes p = pattern(n);
        db.append(p.data(), n);
        std::string url = openSslBase64(p);
        url = url.substr(0, url.find('='));
        for (char& c : url) c = c == '+' ? '-' : c == '/' ? '_' : c;
        StringBuffer text;
        ASSERT_TRUE(db.encodeDB("base64url", text));
        EXPECT_EQ(text.getString(), url) << n;
        DataBuffer back;
        ASSERT_TRUE(back.appendEncoded(url.c_str(), "base64url")) << url;
        EXPECT_TRUE(back.equals(db)) << n;
    }
    // Key blobs never need the length's upper bytes.
    DataBuffer in, out;
    const Bytes p = pattern(70000);
    in.append(p.data(), 70000);
    out.appendChar(0x77);  // appends after what is there
    ASSERT_TRUE(SshMessage::pack_db(in, out));
    Bytes want = {0x77, 0x00, 0x01, 0x11, 0x70};
    want.insert(want.end(), p.begin(), p.end());
    EXPECT_EQ(bytesOf(out), want);
}

}  // namespace
}  // namespace vn

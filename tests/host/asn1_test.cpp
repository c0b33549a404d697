#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "host/Asn1.h"
#include "host/DataBuffer.h"
#include "host/KeyBase.h"
#include "host/LogBase.h"
#include "host/ScopedOwners.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes hexBytes(const std::string& hex) {
    DataBuffer db;
    EXPECT_TRUE(hex.empty() || db.appendEncoded(hex.c_str(), "hex")) << hex;
    return db.getSize() == 0 ? Bytes() : Bytes(db.getData2(), db.getData2() + db.getSize());
}

std::string hexOf(const DataBuffer& db) {
    StringBuffer sb;
    db.encodeDB("hex", sb);
    return sb.getString();
}

std::string encodeHex(_vnAsn1* node) {
    LogBase log;
    DataBuffer out;
    EXPECT_TRUE(node->EncodeToDer(out, false, log));
    return hexOf(out);
}

// Owns one decoded or built root for the length of a test.
struct Tree {
    explicit Tree(_vnAsn1* p) : node(p), owner(p) {}
    _vnAsn1* node;
    RefCountedObjectOwner owner;
};

_vnAsn1* decode(const Bytes& der, unsigned& consumed, LogBase& log) {
    return _vnAsn1::DecodeToAsn(der.data(), static_cast<unsigned>(der.size()), consumed, log);
}

// An ECPrivateKey (secp384r1) written by `openssl ec -outform DER`.
const char* const kOpensslSec1Key =
    "3081a40201010430ac54659c1af687aa0f47bf53f8d913087dc59f26562fc4b195ef7a89505ab8217e39b588fdb2"
    "fa97f862ec66e3ec46fca00706052b81040022a164036200049afa1e99ba0e0ff11594e10e12eeb2c64ea24c52ab"
    "56a16b0c9457a53b5a328e23abe19f5910a6066e57f618de752dc11184be12def3fc20da7e2e429d61e1c16861f5"
    "7cc3c182834354fb65f892564942c09a9e417db9292ea1b25ed516a941";

TEST(Asn1, IntegerEncodingsAndValues) {
    struct Case {
        int value;
        const char* der;
    } const cases[] = {
        {0, "020100"},          {1, "020101"},          {127, "02017F"},
        {128, "02020080"},      {255, "020200FF"},      {256, "02020100"},
        {-1, "0201FF"},         {-128, "020180"},       {-129, "0202FF7F"},
        {INT_MAX, "02047FFFFFFF"}, {INT_MIN, "020480000000"},
    };
    for (const Case& c : cases) {
        Tree t(_vnAsn1::newInteger(c.value));
        ASSERT_NE(t.node, nullptr);
        EXPECT_EQ(encodeHex(t.node), c.der) << c.value;
        LogBase log;
        unsigned consumed = 0;
        Tree back(decode(hexBytes(c.der), consumed, log));
        ASSERT_NE(back.node, nullptr) << c.der;
        EXPECT_TRUE(back.node->isInteger());
        EXPECT_EQ(back.node->asnIntValue(), c.value);
    }
    // Too wide for an int, or not an INTEGER at all: 0.
    LogBase log;
    unsigned consumed = 0;
    Tree wide(decode(hexBytes("02050100000000"), consumed, log));
    ASSERT_NE(wide.node, nullptr);
    EXPECT_EQ(wide.node->asnIntValue(), 0);
    Tree seq(_vnAsn1::newSequence());
    EXPECT_EQ(seq.node->asnIntValue(), 0);
}

TEST(Asn1, PrimitiveAndConstructedEncodings) {
    Bytes point(65, 0xAB);
    point[0] = 0x04;
    std::string pointBody = "04";
    for (int i = 0; i < 64; ++i) pointBody += "AB";

    Tree bits(_vnAsn1::newBitString(point.data(), 65));
    EXPECT_EQ(encodeHex(bits.node), "034200" + pointBody);

    Tree tagged(_vnAsn1::newContextSpecificContructed(1));
    ASSERT_TRUE(tagged.node->AppendPart(_vnAsn1::newBitString(point.data(), 65)));
    EXPECT_EQ(encodeHex(tagged.node), "A144034200" + pointBody);
    EXPECT_TRUE(tagged.node->isContextSpecific(1));
    EXPECT_FALSE(tagged.node->isContextSpecific(0));
    EXPECT_EQ(tagged.node->tagClass(), 0x80u);
    EXPECT_EQ(tagged.node->tagNumber(), 1u);

    Tree emptyBits(_vnAsn1::newBitString(nullptr, 0));
    EXPECT_EQ(encodeHex(emptyBits.node), "030100");
    Tree emptyOctets(_vnAsn1::newOctetString(nullptr, 0));
    EXPECT_EQ(encodeHex(emptyOctets.node), "0400");
    Tree emptySeq(_vnAsn1::newSequence());
    EXPECT_EQ(encodeHex(emptySeq.node), "3000");

    // Length forms at the boundaries: short up to 127, then 81 xx, then 82 xx xx.
    struct LenCase {
        unsigned n;
        const char* header;
    } const lens[] = {{127, "047F"}, {128, "048180"}, {255, "0481FF"}, {256, "04820100"}, {300, "0482012C"}};
    for (const LenCase& c : lens) {
        Bytes content(c.n, 0x5A);
        Tree octets(_vnAsn1::newOctetString(content.data(), c.n));
        const std::string hex = encodeHex(octets.node);
        EXPECT_EQ(hex.substr(0, std::string(c.header).size()), c.header) << c.n;
        EXPECT_EQ(hex.size(), std::string(c.header).size() + 2 * c.n);
    }

    EXPECT_EQ(_vnAsn1::newContextSpecificContructed(31), nullptr);
}

TEST(Asn1, OidKnownAnswers) {
    struct Case {
        const char* dotted;
        const char* der;
    } const cases[] = {
        {"1.2.840.10045.2.1", "06072A8648CE3D0201"},
        {"1.3.132.0.35", "06052B81040023"},
        {"1.2.840.10045.3.1.7", "06082A8648CE3D030107"},
        {"1.3.36.3.3.2.8.1.1.7", "06092B2403030208010107"},
        {"0.0", "060100"},
        {"0.39", "060127"},
        {"1.0", "060128"},
        {"1.39", "06014F"},
        {"2.0", "060150"},
        {"2.47", "06017F"},
        {"2.48", "06028100"},
        {"2.999.3", "0603883703"},
        {"1.2.4294967295.16383", "06082A8FFFFFFF7FFF7F"},
        // A UUID arc (128 bits), as registered under 2.25; and one as the second arc, where
        // it shares the first subidentifier with the 2.
        {"2.25.329800735698586629295641978511506172918",
         "06146983F09DA7EBCFDEE0C7A1A7B2C0948CC8F9D776"},
        {"2.329800735698586629295641978511506172918", "061383F09DA7EBCFDEE0C7A1A7B2C0948CC8F9D846"},
    };
    for (const Case& c : cases) {
        Tree built(_vnAsn1::newOid(c.dotted));
        ASSERT_NE(built.node, nullptr) << c.dotted;
        EXPECT_TRUE(built.node->isOid());
        EXPECT_EQ(encodeHex(built.node), c.der) << c.dotted;

        LogBase log;
        unsigned consumed = 0;
        Tree back(decode(hexBytes(c.der), consumed, log));
        ASSERT_NE(back.node, nullptr) << c.der;
        StringBuffer text;
        EXPECT_TRUE(back.node->GetOid(text));
        EXPECT_STREQ(text.getString(), c.dotted);
    }

    StringBuffer text("stale");
    Tree notOid(_vnAsn1::newInteger(6));
    EXPECT_FALSE(notOid.node->GetOid(text));
    EXPECT_EQ(text.getSize(), 0u);
}

TEST(Asn1, OidTextRefused) {
    const std::string hugeArc = "1.2." + std::string(300, '9');
    const char* const bad[] = {"", "1", "3.1", "1.40", "0.40", "1..2", "1.2.", ".1.2",
                               "1.02", "01.2", "1.-2", "1.2a", "1.2 ", " 1.2", "+1.2", hugeArc.c_str()};
    for (const char* text : bad) EXPECT_EQ(_vnAsn1::newOid(text), nullptr) << "'" << text << "'";
    EXPECT_EQ(_vnAsn1::newOid(nullptr), nullptr);
}

TEST(Asn1, MalformedDerRefused) {
    struct Case {
        const char* der;
        const char* why;
    } const cases[] = {
        {"30", "header cut short"},
        {"3080020101 0000", "indefinite length"},
        {"048105 0102030405", "long form for a short length"},
        {"04820005 0102030405", "length with a leading zero byte"},
        {"0485 0100000000", "five length bytes"},
        {"048201", "length field cut short"},
        {"040501", "content past the end"},
        {"1F0100", "high tag number"},
        {"0000", "end-of-contents"},
        {"1000", "primitive SEQUENCE"},
        {"2201 00", "constructed INTEGER"},
        {"0200", "empty INTEGER"},
        {"02020001", "INTEGER with a superfluous 00"},
        {"0202FF80", "INTEGER with a superfluous FF"},
        {"0300", "BIT STRING without unused-bits byte"},
        {"03020800", "eight unused bits"},
        {"030101", "unused bits in an empty BIT STRING"},
        {"03020101", "non-zero padding bit"},
        {"0600", "empty OID"},
        {"060181", "OID ending inside a subidentifier"},
        {"06028001", "OID subidentifier with a leading 80"},
        {"050100", "NULL with content"},
        {"010102", "BOOLEAN neither 00 nor FF"},
        {"3003 020201 01", "child running past its parent"},
        {"3004 020101 00", "stray byte inside a SEQUENCE"},
        {"A003 0600 00", "bad child inside [0]"},
    };
    for (const Case& c : cases) {
        std::string hex = c.der;
        hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
        const Bytes der = hexBytes(hex);
        LogBase log;
        unsigned consumed = 99;
        Tree t(decode(der, consumed, log));
        EXPECT_EQ(t.node, nullptr) << c.why;
        EXPECT_EQ(consumed, 0u) << c.why;
        EXPECT_FALSE(log.errors().empty()) << c.why;
    }
    LogBase log;
    unsigned consumed = 0;
    EXPECT_EQ(_vnAsn1::DecodeToAsn(nullptr, 4, consumed, log), nullptr);
    const unsigned char one = 0x30;
    EXPECT_EQ(_vnAsn1::DecodeToAsn(&one, 0, consumed, log), nullptr);
}

TEST(Asn1, ConsumedStopsAtTheFirstElement) {
    LogBase log;
    unsigned consumed = 0;
    Tree t(decode(hexBytes("3003020101FFFF00"), consumed, log));
    ASSERT_NE(t.node, nullptr);
    EXPECT_EQ(consumed, 5u);
    EXPECT_EQ(t.node->numAsnParts(), 1);
}

TEST(Asn1, NestingDepthLimit) {
    // 32 levels decode, 33 do not.
    auto nested = [](int levels) {
        Bytes der = {0x05, 0x00};
        for (int i = 1; i < levels; ++i) {
            der.insert(der.begin(), {0x30, static_cast<unsigned char>(der.size())});
        }
        return der;
    };
    LogBase log;
    unsigned consumed = 0;
    Tree ok(decode(nested(32), consumed, log));
    EXPECT_NE(ok.node, nullptr);
    Tree deep(decode(nested(33), consumed, log));
    EXPECT_EQ(deep.node, nullptr);
    EXPECT_TRUE(log.hasError("ASN.1 nesting is too deep."));
}

TEST(Asn1, OpensslKeyRoundTripsAndNavigates) {
    const Bytes der = hexBytes(kOpensslSec1Key);
    LogBase log;
    unsigned consumed = 0;
    Tree key(decode(der, consumed, log));
    ASSERT_NE(key.node, nullptr);
    EXPECT_EQ(consumed, der.size());
    DataBuffer again;
    ASSERT_TRUE(key.node->EncodeToDer(again, false, log));
    EXPECT_TRUE(again.equals(der.data(), static_cast<unsigned>(der.size())));

    ASSERT_TRUE(key.node->isSequence());
    ASSERT_EQ(key.node->numAsnParts(), 4);
    EXPECT_EQ(key.node->getAsnPart(0)->asnIntValue(), 1);
    EXPECT_TRUE(key.node->getAsnPart(1)->isOctetString());
    DataBuffer k;
    ASSERT_TRUE(key.node->getAsnPart(1)->getAsnContent(k));
    EXPECT_EQ(k.getSize(), 48u);
    _vnAsn1* params = key.node->getAsnPart(2);
    ASSERT_TRUE(params->isContextSpecific(0));
    StringBuffer curve;
    ASSERT_TRUE(params->getAsnPart(0)->GetOid(curve));
    EXPECT_STREQ(curve.getString(), "1.3.132.0.34");
    _vnAsn1* pub = key.node->getAsnPart(3);
    ASSERT_TRUE(pub->isContextSpecific(1));
    ASSERT_TRUE(pub->getAsnPart(0)->isBitString());
    DataBuffer point;
    ASSERT_TRUE(pub->getAsnPart(0)->getAsnContent(point));
    EXPECT_EQ(point.getSize(), 97u);
    EXPECT_EQ(point.byteAt(0), 0x04);
    // The content of a constructed node is the encoding of its children.
    DataBuffer inner;
    ASSERT_TRUE(pub->getAsnContent(inner));
    EXPECT_EQ(inner.getSize(), 100u);

    EXPECT_EQ(key.node->getAsnPart(4), nullptr);
    EXPECT_EQ(key.node->getAsnPart(-1), nullptr);
    ASSERT_TRUE(key.node->deletePart(3));
    EXPECT_FALSE(key.node->deletePart(3));
    EXPECT_EQ(key.node->numAsnParts(), 3);
    DataBuffer shorter;
    ASSERT_TRUE(key.node->EncodeToDer(shorter, false, log));
    EXPECT_EQ(hexOf(shorter).substr(0, 6), "303E02");  // 164 - 102 bytes
}

// Strict DER gives every tree one encoding, so any mutation that still decodes must encode
// back to exactly the bytes it consumed; and no prefix of a valid key is itself valid.
TEST(Asn1, PrefixesAndSingleByteChangesOfAKey) {
    const Bytes der = hexBytes(kOpensslSec1Key);
    LogNull quiet;
    for (std::size_t n = 0; n < der.size(); ++n) {
        Bytes prefix(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(n));
        unsigned consumed = 0;
        Tree t(_vnAsn1::DecodeToAsn(prefix.data(), static_cast<unsigned>(n), consumed, quiet));
        EXPECT_EQ(t.node, nullptr) << n;
    }
    const unsigned char deltas[] = {0x01, 0x80, 0xFF};
    for (std::size_t i = 0; i < der.size(); ++i) {
        for (unsigned char d : deltas) {
            Bytes changed = der;
            changed[i] = static_cast<unsigned char>(changed[i] ^ d);
            unsigned consumed = 0;
            Tree t(decode(changed, consumed, quiet));
            if (t.node == nullptr) continue;
            ASSERT_LE(consumed, changed.size());
            DataBuffer again;
            ASSERT_TRUE(t.node->EncodeToDer(again, false, quiet));
            EXPECT_TRUE(again.equals(changed.data(), consumed)) << "byte " << i << " ^ " << int(d);
        }
    }
}

TEST(Asn1, AppendRules) {
    Tree seq(_vnAsn1::newSequence());
    EXPECT_FALSE(seq.node->AppendPart(nullptr));
    seq.node->incRefCount();
    EXPECT_FALSE(seq.node->AppendPart(seq.node));
    EXPECT_EQ(seq.node->getRefCount(), 1);

    // A primitive takes no children; the refused child is released (the leak checker
    // of the sanitizer build would see it otherwise).
    Tree octets(_vnAsn1::newOctetString(reinterpret_cast<const unsigned char*>("ab"), 2));
    EXPECT_FALSE(octets.node->AppendPart(_vnAsn1::newInteger(1)));
    EXPECT_EQ(octets.node->numAsnParts(), 0);
    EXPECT_EQ(octets.node->getAsnPart(0), nullptr);

    // A child shared by two parents lives until both are gone.
    _vnAsn1* shared = _vnAsn1::newInteger(5);
    shared->incRefCount();
    ASSERT_TRUE(seq.node->AppendPart(shared));
    {
        Tree other(_vnAsn1::newSequence());
        ASSERT_TRUE(other.node->AppendPart(shared));
    }
    EXPECT_EQ(shared->getRefCount(), 1);
    EXPECT_EQ(encodeHex(seq.node), "3003020105");

    DataBuffer content;
    Tree bits(_vnAsn1::newBitString(reinterpret_cast<const unsigned char*>("\x04\x01"), 2));
    ASSERT_TRUE(bits.node->getAsnContent(content));
    EXPECT_EQ(hexOf(content), "0401");
}

TEST(Asn1, Pkcs8AttributesAppended) {
    // [0] IMPLICIT SET OF Attribute with one attribute: { 1.2.3, SET { UTF8String "x" } }
    const char* const attributes = "A00B300906022A0331030C0178";
    struct Case {
        const char* stored;
        bool ok;
        const char* why;
    } const cases[] = {
        {"", true, "nothing stored"},
        {attributes, true, "one attribute"},
        {"A0020201", false, "malformed inside"},
        {"A00B300906022A0331030C017800", false, "trailing byte"},
        {"310B300906022A0331030C0178", false, "a SET, not [0]"},
        {"A1", false, "truncated"},
    };
    for (const Case& c : cases) {
        KeyBase base;
        const Bytes stored = hexBytes(c.stored);
        if (!stored.empty()) base.m_pkcs8Attributes.append(stored.data(), static_cast<unsigned>(stored.size()));
        Tree info(_vnAsn1::newSequence());
        ASSERT_TRUE(info.node->AppendPart(_vnAsn1::newInteger(0)));
        LogBase log;
        EXPECT_EQ(base.addAttributesToPkcs8(*info.node, log), c.ok) << c.why;
        const std::string expected = c.ok && !stored.empty() ? std::string("3010020100") + c.stored
                                                             : std::string("3003020100");
        EXPECT_EQ(encodeHex(info.node), expected) << c.why;
        EXPECT_EQ(log.errors().empty(), c.ok) << c.why;
    }
}

}  // namespace
}  // namespace vn

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/AsnItem.h"
#include "host/BigNum.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"

namespace vn {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes hexBytes(const std::string& hex) {
    DataBuffer db;
    EXPECT_TRUE(db.appendEncoded(hex.c_str(), "hex")) << hex;
    return Bytes(db.getData2(), db.getData2() + db.getSize());
}

Bytes toBytes(const DataBuffer& db) {
    if (db.getSize() == 0) return {};
    return Bytes(db.getData2(), db.getData2() + db.getSize());
}

std::unique_ptr<vn_asnItem> decode(const Bytes& der, unsigned& consumed, LogBase& log) {
    return std::unique_ptr<vn_asnItem>(
        DerCodec::derToItem(der.data(), static_cast<unsigned>(der.size()), consumed, log));
}

// A SEQUENCE holding the given values, encoded.
Bytes encodeInts(const std::vector<std::string>& hexValues) {
    LogBase log;
    vn_asnItem seq;
    seq.newSequence();
    for (const std::string& h : hexValues) {
        mp_int v;
        EXPECT_TRUE(BigNum::mp_read_radix(v, h.c_str(), 16));
        EXPECT_TRUE(seq.appendUnsignedInt(v, log));
    }
    DataBuffer out;
    EXPECT_TRUE(DerCodec::itemToDer(seq, out));
    return toBytes(out);
}

TEST(AsnItem, UnsignedIntegerEncodings) {
    struct Case {
        const char* value;
        const char* der;  // the INTEGER alone
    } const cases[] = {
        {"0", "020100"},
        {"7F", "02017F"},
        {"80", "02020080"},
        {"FF00", "020300FF00"},
        {"100", "02020100"},
        {"FFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551",
         "022100FFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551"},
    };
    for (const Case& c : cases) {
        Bytes seq = encodeInts({c.value});
        Bytes integer = hexBytes(c.der);
        ASSERT_GE(seq.size(), 2u);
        EXPECT_EQ(Bytes(seq.begin() + 2, seq.end()), integer) << c.value;

        // The same bytes come from the variant used for TLS re-wrapping.
        LogBase log;
        vn_asnItem s2;
        s2.newSequence();
        mp_int v;
        ASSERT_TRUE(BigNum::mp_read_radix(v, c.value, 16));
        ASSERT_TRUE(s2.appendUnsignedInt_ensure7bit(v, log));
        DataBuffer out;
        ASSERT_TRUE(DerCodec::itemToDer(s2, out));
        EXPECT_EQ(toBytes(out), seq) << c.value;

        // And each reads back as the same value.
        unsigned consumed = 0;
        std::unique_ptr<vn_asnItem> back = decode(seq, consumed, log);
        ASSERT_TRUE(back) << c.value;
        mp_int got;
        ASSERT_TRUE(back->getSubItem_doNotDelete(0)->get_mp(got, log)) << c.value;
        EXPECT_EQ(BigNum::mp_cmp(got, v), 0) << c.value;
    }
}

TEST(AsnItem, AppendRefusals) {
    LogBase log;
    mp_int one;
    BigNum::mp_set(one, 1);
    vn_asnItem empty;  // not a SEQUENCE yet
    EXPECT_FALSE(empty.appendUnsignedInt(one, log));
    DataBuffer out;
    EXPECT_FALSE(DerCodec::itemToDer(empty, out));

    vn_asnItem seq;
    seq.newSequence();
    mp_int neg;
    BigNum::mp_set(neg, 5);
    BigNum::mp_sub(one, neg, neg);  // -4
    ASSERT_TRUE(neg.isNegative());
    EXPECT_FALSE(seq.appendUnsignedInt(neg, log));
    EXPECT_EQ(seq.numSubItems(), 0);
}

TEST(AsnItem, SignatureRoundTripAndLongLength) {
    // Two 66-byte values with the top bit set: the SEQUENCE needs the 81 LL length form.
    std::string big(132, 'F');
    Bytes der = encodeInts({big, big});
    ASSERT_EQ(der[0], 0x30);
    ASSERT_EQ(der[1], 0x81);
    EXPECT_EQ(der[2], 2 * (2 + 67));
    EXPECT_EQ(der.size(), 3u + 2 * (2 + 67));

    LogBase log;
    unsigned consumed = 0;
    std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
    ASSERT_TRUE(tree);
    EXPECT_EQ(consumed, der.size());
    EXPECT_TRUE(tree->isConstructed());
    EXPECT_EQ(tree->getTag(), 16);
    ASSERT_EQ(tree->numSubItems(), 2);
    EXPECT_EQ(tree->getSubItem_doNotDelete(1)->getTag(), 2);
    EXPECT_FALSE(tree->getSubItem_doNotDelete(1)->isConstructed());
    EXPECT_EQ(tree->getSubItem_doNotDelete(2), nullptr);
    EXPECT_EQ(tree->getSubItem_doNotDelete(-1), nullptr);

    DataBuffer again;
    ASSERT_TRUE(DerCodec::itemToDer(*tree, again));
    EXPECT_EQ(toBytes(again), der);
}

TEST(AsnItem, GenericStructuresRoundTrip) {
    const char* const samples[] = {
        "3000",
        "0500",
        "300D06092A864886F70D0101010500",                  // AlgorithmIdentifier
        "A1053003020101",                                  // [1] { SEQUENCE { 1 } }
        "3006040130800100",                                // OCTET STRING, [0] primitive
        "300A31080201FF0403616263",                        // SET inside SEQUENCE
    };
    for (const char* hex : samples) {
        Bytes der = hexBytes(hex);
        LogBase log;
        unsigned consumed = 0;
        std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
        ASSERT_TRUE(tree) << hex << "\n" << log.render();
        EXPECT_EQ(consumed, der.size()) << hex;
        DataBuffer out;
        ASSERT_TRUE(DerCodec::itemToDer(*tree, out)) << hex;
        EXPECT_EQ(toBytes(out), der) << hex;
    }
}

TEST(AsnItem, ContextSpecificTagsDoNotPassForUniversal) {
    LogBase log;
    unsigned consumed = 0;
    std::unique_ptr<vn_asnItem> tree = decode(hexBytes("A203820101"), consumed, log);
    // [2] constructed holding [2] primitive: neither is an INTEGER.
    ASSERT_TRUE(tree);
    EXPECT_NE(tree->getTag(), 2);
    ASSERT_EQ(tree->numSubItems(), 1);
    EXPECT_NE(tree->getSubItem_doNotDelete(0)->getTag(), 2);
    mp_int v;
    EXPECT_FALSE(tree->getSubItem_doNotDelete(0)->get_mp(v, log));
}

TEST(AsnItem, ConsumedStopsAtTheFirstElement) {
    Bytes der = hexBytes("3003020105" "FFFF00");
    LogBase log;
    unsigned consumed = 0;
    std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
    ASSERT_TRUE(tree);
    EXPECT_EQ(consumed, 5u);
    EXPECT_TRUE(log.errors().empty());
}

TEST(AsnItem, DecoderRejectsMalformedDer) {
    struct Case {
        const char* why;
        const char* hex;
    } const cases[] = {
        {"indefinite length", "30800201050000"},
        {"long form for a short length", "3081030201050000"},
        {"leading zero length byte", "308200030201050000"},
        {"reserved length byte FF", "30FF"},
        {"five length bytes", "30850000000003020105"},
        {"length beyond the buffer", "3004020105"},
        {"long length beyond the buffer", "3081800201"},
        {"length bytes truncated", "3082"},
        {"header truncated", "30"},
        {"child longer than its parent", "3003020205"},
        {"trailing zero inside a SEQUENCE", "300402010500"},
        {"trailing partial header inside a SEQUENCE", "30040201050202"},
        {"high tag number form", "1F2200"},
        {"context high tag number form", "BF8100020100"},
        {"end-of-contents as an element", "0000"},
        {"primitive SEQUENCE", "1003020105"},
        {"constructed INTEGER", "2203020105"},
        {"constructed OCTET STRING", "2403040100"},
        {"nested bad child", "30053003020205"},
    };
    for (const Case& c : cases) {
        Bytes der = hexBytes(c.hex);
        LogBase log;
        unsigned consumed = 99;
        std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
        EXPECT_FALSE(tree) << c.why;
        EXPECT_EQ(consumed, 0u) << c.why;
        EXPECT_EQ(log.errors().size(), 1u) << c.why << "\n" << log.render();
    }
    LogBase log;
    unsigned consumed = 0;
    EXPECT_EQ(DerCodec::derToItem(nullptr, 0, consumed, log), nullptr);
}

// Nested SEQUENCEs, innermost empty.
Bytes nested(int levels) {
    Bytes der;
    for (int i = 0; i < levels; ++i) {
        Bytes outer = {0x30};
        if (der.size() < 0x80) {
            outer.push_back(static_cast<unsigned char>(der.size()));
        } else {
            outer.push_back(0x81);
            outer.push_back(static_cast<unsigned char>(der.size()));
        }
        outer.insert(outer.end(), der.begin(), der.end());
        der = outer;
    }
    return der;
}

TEST(AsnItem, NestingLimit) {
    LogBase log;
    unsigned consumed = 0;
    EXPECT_TRUE(decode(nested(32), consumed, log)) << log.render();
    EXPECT_FALSE(decode(nested(33), consumed, log));
    EXPECT_FALSE(decode(nested(100), consumed, log));
}

// Whatever the decoder accepts must re-encode to exactly the bytes it consumed: a second
// accepted encoding of the same tree is the malleability strict DER exists to prevent.
// Mutated inputs sit in exact-size heap blocks so the sanitizer build catches any over-read.
TEST(AsnItem, AcceptedInputsHaveOneEncodingAndPrefixesFail) {
    const Bytes seed = encodeInts({"7FFF0102", "80", "0"});
    for (std::size_t cut = 0; cut < seed.size(); ++cut) {
        LogBase log;
        unsigned consumed = 0;
        const Bytes prefix(seed.begin(), seed.begin() + static_cast<long>(cut));
        EXPECT_FALSE(decode(prefix, consumed, log)) << cut;
    }
    std::mt19937 rng(5);
    int accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        Bytes der = seed;
        const std::size_t edits = 1 + rng() % 3;
        for (std::size_t e = 0; e < edits; ++e) {
            der[rng() % der.size()] = static_cast<unsigned char>(rng());
        }
        if (rng() % 4 == 0) der.resize(rng() % der.size() + 1);
        LogNull log;
        unsigned consumed = 0;
        std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
        if (!tree) continue;
        ++accepted;
        ASSERT_LE(consumed, der.size());
        DataBuffer again;
        ASSERT_TRUE(DerCodec::itemToDer(*tree, again));
        ASSERT_EQ(toBytes(again), Bytes(der.begin(), der.begin() + consumed)) << round;
    }
    EXPECT_GT(accepted, 100);
}

TEST(AsnItem, GetMpRefusals) {
    struct Case {
        const char* why;
        const char* element;  // wrapped in a SEQUENCE below
        bool ok;
    } const cases[] = {
        {"zero", "020100", true},
        {"needed leading zero", "02020080", true},
        {"one byte 7F", "02017F", true},
        {"empty INTEGER", "0200", false},
        {"negative", "020180", false},
        {"negative multi-byte", "0202FF01", false},
        {"superfluous leading zero", "0202007F", false},
        {"two leading zeros", "0203000080", false},
        {"double zero", "02020000", false},
        {"OCTET STRING", "040101", false},
        {"ENUMERATED", "0A0101", false},
    };
    for (const Case& c : cases) {
        Bytes element = hexBytes(c.element);
        Bytes der = {0x30, static_cast<unsigned char>(element.size())};
        der.insert(der.end(), element.begin(), element.end());
        LogBase log;
        unsigned consumed = 0;
        std::unique_ptr<vn_asnItem> tree = decode(der, consumed, log);
        ASSERT_TRUE(tree) << c.why;
        mp_int v;
        EXPECT_EQ(tree->getSubItem_doNotDelete(0)->get_mp(v, log), c.ok) << c.why;
    }
    LogBase log;
    vn_asnItem seq;
    seq.newSequence();
    mp_int v;
    EXPECT_FALSE(seq.get_mp(v, log));
}

TEST(AsnItem, DiagnosticDescribesOrExplains) {
    struct Case {
        const char* hex;
        const char* expectInLog;
    } const cases[] = {
        {"3006020101020102", "INTEGER"},
        {"3006020101020102AA", "1 bytes follow"},
        {"30800000", "indefinite"},
        {"30", "truncated"},
        {"", "0 bytes"},
    };
    for (const Case& c : cases) {
        DataBuffer der;
        ASSERT_TRUE(der.appendEncoded(c.hex, "hex") || c.hex[0] == '\0');
        LogBase log;
        DerCodec::derDiagnostic(der, log);
        EXPECT_TRUE(log.errors().empty()) << c.hex;
        EXPECT_NE(log.render().find(c.expectInLog), std::string::npos) << c.hex << "\n" << log.render();
    }
    // A huge flat SEQUENCE is summarised, not listed element by element.
    DataBuffer many;
    Bytes body;
    for (int i = 0; i < 500; ++i) body.insert(body.end(), {0x02, 0x01, 0x01});
    Bytes der = {0x30, 0x82, static_cast<unsigned char>(body.size() >> 8),
                 static_cast<unsigned char>(body.size())};
    der.insert(der.end(), body.begin(), body.end());
    many.append(der.data(), static_cast<unsigned>(der.size()));
    LogBase log;
    DerCodec::derDiagnostic(many, log);
    EXPECT_LT(log.entries().size(), 80u);
}

}  // namespace
}  // namespace vn

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/BigNum.h"

namespace vn {
namespace {

DataBuffer& fill(DataBuffer& db, unsigned n, unsigned char first, unsigned char rest) {
    db.clear();
    db.appendChar(first);
    for (unsigned i = 1; i < n; ++i) db.appendChar(rest);
    return db;
}

TEST(RawForms, PrivateScalarCurveFollowsLengthAndFlag) {
    struct Case {
        unsigned len;
        bool flag;
        const char* curve;  // null: refused
    } cases[] = {
        {20, false, "secp160r1"}, {32, false, "secp256r1"}, {32, true, "secp256k1"}, {48, false, "secp384r1"},
        {66, false, "secp521r1"}, {24, false, nullptr},     {28, false, nullptr},    {40, false, nullptr},
        {64, true, nullptr},      {0, false, nullptr},
    };
    for (const Case& c : cases) {
        DataBuffer raw;
        if (c.len > 0) fill(raw, c.len, 0x00, 0x3A);  // a leading zero byte still counts
        EccKey key;
        LogBase log;
        bool ok = key.loadEccPrivateRaw(raw, c.flag, log);
        EXPECT_EQ(ok, c.curve != nullptr) << c.len;
        if (c.curve != nullptr) {
            EXPECT_STREQ(key.m_curve.name.getString(), c.curve);
            EXPECT_EQ(key.m_keyType, 1);
            EXPECT_TRUE(key.isPoint(log)) << c.curve;
        } else {
            EXPECT_EQ(key.m_keyType, 0);
            EXPECT_TRUE(key.m_k.isZero());
            EXPECT_EQ(log.errors().back(), "Invalid ECC key size.");
        }
    }
}

TEST(RawForms, SameBytesDifferentCurvesDifferentPoints) {
    DataBuffer raw;
    fill(raw, 32, 0x11, 0x22);
    EccKey r1, k1;
    LogBase log;
    ASSERT_TRUE(r1.loadEccPrivateRaw(raw, false, log));
    ASSERT_TRUE(k1.loadEccPrivateRaw(raw, true, log));
    EXPECT_NE(BigNum::mp_cmp(r1.m_pubPoint.x, k1.m_pubPoint.x), 0);
}

TEST(RawForms, PublicPointLengthsAndRefusals) {
    EccKey src;
    LogBase log;
    ASSERT_TRUE(src.generateNewKey2(StringBuffer("secp256k1"), "05", "hex", log));
    DataBuffer point;
    ASSERT_TRUE(src.exportEccPoint(point, log));

    // A secp256k1 point by length alone is taken for secp256r1; by name it loads on its curve.
    EccKey byLength, byName;
    ASSERT_TRUE(byLength.loadEccPublicRaw(point, log));
    EXPECT_STREQ(byLength.m_curve.name.getString(), "secp256r1");
    EXPECT_FALSE(byLength.isPoint(log));
    ASSERT_TRUE(byName.loadEcPubKeyByCurveAndPoint("secp256k1", point, log));
    EXPECT_TRUE(byName.isPoint(log));
    EXPECT_EQ(byName.m_keyType, 0);

    struct Case {
        unsigned len;
        unsigned char first;
        const char* error;
    } cases[] = {
        {57, 0x04, "Invalid ECC public key size."},  // secp224r1
        {66, 0x04, "Invalid ECC public key size."},
        {33, 0x02, "Not a raw ECC public key."},     // compressed
        {65, 0x07, "Not a raw ECC public key."},
    };
    for (const Case& c : cases) {
        DataBuffer raw;
        fill(raw, c.len, c.first, 0x01);
        EccKey key;
        LogBase log2;
        EXPECT_FALSE(key.loadEccPublicRaw(raw, log2));
        EXPECT_EQ(log2.errors(), std::vector<std::string>{c.error}) << c.len;
    }
    DataBuffer empty;
    EccKey key;
    LogBase log3;
    EXPECT_FALSE(key.loadEccPublicRaw(empty, log3));
    EXPECT_TRUE(log3.errors().empty());

    LogBase log4;
    DataBuffer bad;
    fill(bad, 64, 0x04, 0x01);  // even, without the BIT STRING's leading 00
    EXPECT_FALSE(key.loadEcPubKeyByCurveAndPoint("P-256", bad, log4));
    EXPECT_EQ(log4.errors().back(), "Failed to load ECC point.");
    EXPECT_EQ(key.m_keyType, 0);
}

TEST(RawForms, HexTextIsLowerCasePaddedAndAppended) {
    EccKey key;
    LogBase log;
    ASSERT_TRUE(key.generateNewKey2(StringBuffer("secp521r1"), "0ABC", "hex", log));
    StringBuffer priv("x"), pub("y");
    ASSERT_TRUE(key.toRawHex(priv, pub, log));
    EXPECT_EQ(priv.getSize(), 1u + 132u);
    EXPECT_EQ(pub.getSize(), 1u + 266u);
    std::string p = priv.getString();
    EXPECT_EQ(p.substr(p.size() - 4), "0abc");
    EXPECT_EQ(std::string(pub.getString()).substr(0, 3), "y04");
    EXPECT_EQ(std::string(pub.getString()).find_first_of("ABCDEF"), std::string::npos);
    ASSERT_TRUE(key.toRawHex(priv, pub, log));
    EXPECT_EQ(priv.getSize(), 1u + 2 * 132u);

    // Hex out, raw bytes in: the same key.
    DataBuffer raw;
    ASSERT_TRUE(raw.appendEncoded(std::string(p.substr(1)).c_str(), "hex"));
    EccKey back;
    ASSERT_TRUE(back.loadEccPrivateRaw(raw, false, log));
    EXPECT_EQ(BigNum::mp_cmp(back.m_pubPoint.y, key.m_pubPoint.y), 0);
    EXPECT_TRUE(log.errors().empty());
}

}  // namespace
}  // namespace vn

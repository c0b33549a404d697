#include <gtest/gtest.h>

#include <string>

#include "host/DataBuffer.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

std::string hexOf(const DataBuffer& db) {
    StringBuffer sb;
    db.encodeDB("hex", sb);
    return sb.getString();
}

TEST(DataBuffer, NeverStoredMeansNullData) {
    DataBuffer db;
    EXPECT_EQ(db.getData2(), nullptr);
    EXPECT_EQ(db.getSize(), 0u);
    db.appendChar(1);
    db.clear();
    EXPECT_NE(db.getData2(), nullptr);
    EXPECT_EQ(db.getSize(), 0u);
}

TEST(DataBuffer, AppendPrependRemoveReverse) {
    DataBuffer db;
    const unsigned char abc[] = {0x0A, 0x0B, 0x0C};
    ASSERT_TRUE(db.append(abc, 3));
    ASSERT_TRUE(db.appendUint32_be(0x01020304u));
    const unsigned char front[] = {0xFF};
    ASSERT_TRUE(db.prepend(front, 1));
    EXPECT_EQ(hexOf(db), "FF0A0B0C01020304");
    db.removeChunk(1, 3);
    EXPECT_EQ(hexOf(db), "FF01020304");
    db.removeChunk(3, 100);  // clipped at the end
    EXPECT_EQ(hexOf(db), "FF0102");
    db.removeChunk(9, 1);  // out of range: nothing
    db.removeChunk(-1, 1);
    EXPECT_EQ(hexOf(db), "FF0102");
    db.reverseBytes();
    EXPECT_EQ(hexOf(db), "0201FF");
    // Appending a buffer's own bytes across growth.
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(db.append(db));
    EXPECT_EQ(db.getSize(), 3u * 64u);
}

TEST(DataBuffer, HexDecodingIsStrict) {
    struct Case {
        const char* text;
        bool ok;
        const char* hex;
    } cases[] = {
        {"0A0b", true, "0A0B"}, {"", true, ""}, {"0A0", false, ""}, {"0A 0B", false, ""},
        {"zz", false, ""},
    };
    for (const Case& c : cases) {
        DataBuffer db;
        EXPECT_EQ(db.appendEncoded(c.text, "hex"), c.ok) << c.text;
        EXPECT_EQ(hexOf(db), c.hex) << c.text;
    }
}

TEST(DataBuffer, Base64RoundTripsEveryTailLength) {
    for (unsigned n = 0; n < 70; ++n) {
        DataBuffer db;
        for (unsigned i = 0; i < n; ++i) db.appendChar(static_cast<unsigned char>(i * 37 + 11));
        for (const char* enc : {"base64", "base64url"}) {
            StringBuffer text;
            ASSERT_TRUE(db.encodeDB(enc, text));
            DataBuffer back;
            ASSERT_TRUE(back.appendEncoded(text.getString(), enc)) << enc << " " << text.getString();
            EXPECT_TRUE(back.equals(db)) << enc << " n=" << n;
        }
    }
}

TEST(DataBuffer, Base64KnownAnswersAndRejections) {
    struct Case {
        const char* text;
        const char* enc;
        bool ok;
        const char* hex;
    } cases[] = {
        {"Zm9vYg==", "base64", true, "666F6F62"},
        {"Zm9vYg", "base64", true, "666F6F62"},          // padding may be left out
        {"Zm9v\r\nYmE=\n", "base64", true, "666F6F6261"},  // PEM line breaks
        {"-_8", "base64url", true, "FBFF"},
        {"-_8", "base64", false, ""},
        {"Zm9vYg=", "base64", false, ""},   // incomplete padding
        {"Zm9vYh==", "base64", false, ""},  // non-zero unused bits: a second spelling of Zm9vYg==
        {"Zg==Zg==", "base64", false, ""},  // data after padding
        {"Z", "base64", false, ""},         // a lone sextet is no byte
        {"Zm9v!", "base64", false, ""},
    };
    for (const Case& c : cases) {
        DataBuffer db;
        db.appendChar(0xEE);  // a failed decode must leave what was there
        EXPECT_EQ(db.appendEncoded(c.text, c.enc), c.ok) << c.text;
        EXPECT_EQ(hexOf(db), std::string("EE") + c.hex) << c.text;
    }
    DataBuffer db;
    EXPECT_FALSE(db.appendEncoded("00", "base32"));
}

TEST(DataBuffer, ToHexString2WithAndWithoutColons) {
    const unsigned char bytes[] = {0x01, 0xAB};
    StringBuffer a, b;
    ASSERT_TRUE(DataBuffer::toHexString2(bytes, 2, true, a));
    ASSERT_TRUE(DataBuffer::toHexString2(bytes, 2, false, b));
    EXPECT_STREQ(a.getString(), "01:AB");
    EXPECT_STREQ(b.getString(), "01AB");
}

TEST(DataBuffer, SecureBufferWipesOnClearTruncateAndRemove) {
    DataBuffer db;
    db.setSecure(true);
    const unsigned char secret[] = {1, 2, 3, 4, 5, 6, 7, 8};
    db.append(secret, 8);
    const unsigned char* storage = db.getData2();
    db.truncate(6);
    EXPECT_EQ(storage[6], 0);
    EXPECT_EQ(storage[7], 0);
    db.removeChunk(0, 2);
    EXPECT_EQ(hexOf(db), "03040506");
    EXPECT_EQ(storage[4], 0);
    db.clear();
    for (int i = 0; i < 8; ++i) EXPECT_EQ(storage[i], 0) << i;
}

}  // namespace
}  // namespace vn

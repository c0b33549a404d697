#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ecc/generic/EccPoint.h"
#include "host/BigNum.h"

namespace vn {
namespace {

std::string hexOf(const mp_int& v) {
    DataBuffer db;
    BigNum::mpint_to_db(v, db);
    StringBuffer sb;
    db.encodeDB("hex", sb);
    return sb.getString();
}

const char kX[] = "6B17D1F2E12C4247F8BCE6E563A440F277037D812DEB33A0F4A13945D898C296";
const char kY[] = "4FE342E2FE1A7F9B8EE7EB4A7C0F9E162BCE33576B315ECECBB6406837BF51F5";

TEST(X963, ReaderAcceptsAndRefusesByTheRules) {
    const std::string xy = std::string(kX) + kY;
    struct Case {
        std::string hex;
        bool ok;
        int format;
        const char* x;
        const char* y;
        std::vector<std::string> errors;
    } cases[] = {
        {"04" + xy, true, 4, kX, kY, {}},
        {"0004" + xy, true, 4, kX, kY, {}},  // BIT STRING unused-bits byte
        {"06" + xy, true, 6, kX, kY, {}},
        {"07" + xy, true, 7, kX, kY, {}},
        {"040509", true, 4, "05", "09", {}},
        {"04050607", false, 0, "", "", {"Invalid ANSI X9.63 ECC point."}},  // even, no leading 00
        {"04" + xy + "00", false, 0, "", "", {"Invalid ANSI X9.63 ECC point."}},
        {"02" + std::string(kX), false, 2, "", "",
         {"First byte of ECC point is invalid.", "Invalid ANSI X9.63 ECC point."}},
        {"0004", false, 4, "", "", {"Invalid ANSI X9.63 ECC point."}},
        {"04", false, 4, "", "", {"Invalid ANSI X9.63 ECC point."}},
        {"0405", false, 0, "", "", {"Invalid ANSI X9.63 ECC point."}},  // even, first byte not 00
        {"000405", false, 0, "", "",  // odd: the 00 is taken as the form byte
         {"First byte of ECC point is invalid.", "Invalid ANSI X9.63 ECC point."}},
    };
    for (const Case& c : cases) {
        DataBuffer in;
        ASSERT_TRUE(in.appendEncoded(c.hex.c_str(), "hex"));
        EccPoint pt;
        LogBase log;
        EXPECT_EQ(pt.loadEccPoint(in, log), c.ok) << c.hex;
        EXPECT_EQ(log.errors(), c.errors) << c.hex;
        if (c.ok) {
            EXPECT_EQ(pt.format, c.format) << c.hex;
            EXPECT_EQ(hexOf(pt.x), c.x);
            EXPECT_EQ(hexOf(pt.y), c.y);
            EXPECT_EQ(BigNum::mp_cmp_d(pt.z, 1), 0);
        } else {
            // Every refusal of content shows the bytes, under the error's own context.
            ASSERT_FALSE(log.entries().empty());
            EXPECT_EQ(log.entries().front().context, "loadEccPoint");
            std::string dump = log.render();
            EXPECT_NE(dump.find("eccPoint: "), std::string::npos) << dump;
        }
    }
}

TEST(X963, EmptyAndNeverFilledBuffers) {
    EccPoint pt;
    LogBase log;
    DataBuffer never;
    EXPECT_FALSE(pt.loadEccPoint(never, log));
    EXPECT_TRUE(log.entries().empty());

    DataBuffer emptied;
    emptied.appendChar(4);
    emptied.clear();
    EXPECT_FALSE(pt.loadEccPoint(emptied, log));
    EXPECT_EQ(log.errors(), std::vector<std::string>{"dbX963 is empty."});
}

TEST(X963, ExportPadsEachCoordinateToTheFieldWidth) {
    EccPoint pt;
    LogBase log;
    DataBuffer in;
    ASSERT_TRUE(in.appendEncoded((std::string("07") + kX + kY).c_str(), "hex"));
    ASSERT_TRUE(pt.loadEccPoint(in, log));
    DataBuffer out;
    out.appendChar(0xAA);  // appended to, not replaced
    ASSERT_TRUE(pt.exportEccPoint(32, out, log));
    StringBuffer hex;
    out.encodeDB("hex", hex);
    EXPECT_EQ(std::string(hex.getString()), std::string("AA04") + kX + kY);

    // Leading zero bytes of a coordinate are restored by the padding.
    BigNum::mp_set(pt.x, 0x0102);
    BigNum::mp_set(pt.y, 0);
    DataBuffer small;
    ASSERT_TRUE(pt.exportEccPoint(4, small, log));
    StringBuffer smallHex;
    small.encodeDB("hex", smallHex);
    EXPECT_STREQ(smallHex.getString(), "040000010200000000");

    // A coordinate wider than the 256-byte working buffer is refused (the 04 stays).
    unsigned char wide[257] = {1};
    BigNum::mpint_from_bytes(pt.x, wide, 257);
    DataBuffer refused;
    EXPECT_FALSE(pt.exportEccPoint(32, refused, log));
    EXPECT_EQ(refused.getSize(), 1u);
}

TEST(EccPointRecord, ClearCopyAndLog) {
    EccPoint a, b;
    BigNum::mp_set(a.x, 5);
    BigNum::mp_set(a.y, 6);
    BigNum::mp_set(a.z, 7);
    a.format = 6;
    ASSERT_TRUE(b.copyFromEccPoint(a));
    a.clearEccPoint();
    EXPECT_EQ(a.format, 4);
    EXPECT_TRUE(a.x.isZero() && a.y.isZero() && a.z.isZero());
    EXPECT_EQ(b.format, 6);
    EXPECT_EQ(BigNum::mp_cmp_d(b.z, 7), 0);

    LogBase log;
    b.logEccPoint("pubKey", log);
    ASSERT_EQ(log.entries().size(), 3u);
    EXPECT_EQ(log.entries()[0].context, "pubKey");
    EXPECT_EQ(log.entries()[0].name, "x");
    EXPECT_EQ(log.entries()[2].name, "z");
}

}  // namespace
}  // namespace vn

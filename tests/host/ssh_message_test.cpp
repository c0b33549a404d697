#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/BigNum.h"
#include "host/SshMessage.h"

namespace vn {
namespace {

void bytes(const std::vector<unsigned char>& v, DataBuffer& db) {
    db.clear();
    db.append(v.data(), static_cast<unsigned>(v.size()));
}

TEST(SshMessage, PackEmptyAndNonEmpty) {
    DataBuffer out, empty;
    ASSERT_TRUE(SshMessage::pack_db(empty, out));
    const unsigned char zeros[] = {0, 0, 0, 0};
    EXPECT_TRUE(out.equals(zeros, 4));
    DataBuffer abc;
    abc.append("abc", 3);
    ASSERT_TRUE(SshMessage::pack_db(abc, out));
    const unsigned char want[] = {0, 0, 0, 0, 0, 0, 0, 3, 'a', 'b', 'c'};
    EXPECT_TRUE(out.equals(want, sizeof want));
}

TEST(SshMessage, Uint32NeedsFourBytesFromOffset) {
    DataBuffer in;
    bytes({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE}, in);
    for (unsigned start = 0; start <= 8; ++start) {
        unsigned offset = start;
        unsigned value = 0xFFFFFFFF;
        bool ok = SshMessage::parseUint32(in, offset, value);
        EXPECT_EQ(ok, start + 4 <= in.getSize()) << start;
        EXPECT_EQ(offset, ok ? start + 4 : start) << start;
        if (start == 3) {
            EXPECT_EQ(value, 0x789ABCDEu);
        }
    }
}

// Lengths that claim more than is there, including ones that would wrap an unsigned sum.
TEST(SshMessage, StringLengthsNeverRunPastTheEnd) {
    struct Case {
        std::vector<unsigned char> in;
        bool ok;
    } cases[] = {
        {{0, 0, 0, 0}, true},
        {{0, 0, 0, 2, 'h', 'i'}, true},
        {{0, 0, 0, 2, 'h', 'i', 'x'}, true},  // what follows is the next field's
        {{0, 0, 0, 3, 'h', 'i'}, false},
        {{0xFF, 0xFF, 0xFF, 0xFF, 'h'}, false},
        {{0xFF, 0xFF, 0xFF, 0xFD, 'h'}, false},
        {{0x80, 0, 0, 0}, false},
        {{0, 0, 0}, false},
        {{}, false},
    };
    for (const Case& c : cases) {
        DataBuffer in;
        bytes(c.in, in);
        unsigned offset = 0;
        DataBuffer out;
        LogBase log;
        EXPECT_EQ(SshMessage::parseBinaryString(in, offset, out, log), c.ok) << c.in.size();
        EXPECT_EQ(offset == 0, !c.ok);
        if (!c.ok) {
            EXPECT_FALSE(log.errors().empty());
        }
        StringBuffer text;
        unsigned textOffset = 0;
        EXPECT_EQ(SshMessage::parseString(in, textOffset, text), c.ok);
    }
}

TEST(SshMessage, TextStringRefusesNul) {
    DataBuffer in;
    bytes({0, 0, 0, 3, 'a', 0, 'b'}, in);
    unsigned offset = 0;
    StringBuffer text;
    EXPECT_FALSE(SshMessage::parseString(in, offset, text));
    EXPECT_EQ(offset, 0u);
}

TEST(SshMessage, MpIntEncodings) {
    struct Case {
        std::vector<unsigned char> in;
        const char* hex;  // null: refused
    } cases[] = {
        {{0, 0, 0, 0}, "0"},
        {{0, 0, 0, 1, 0x7F}, "7F"},
        {{0, 0, 0, 2, 0x00, 0x80}, "80"},
        {{0, 0, 0, 3, 0x01, 0x00, 0x01}, "10001"},
        {{0, 0, 0, 1, 0x80}, nullptr},        // negative
        {{0, 0, 0, 1, 0xFF}, nullptr},        // negative
        {{0, 0, 0, 1, 0x00}, nullptr},        // zero is the empty string
        {{0, 0, 0, 2, 0x00, 0x7F}, nullptr},  // superfluous leading zero
        {{0, 0, 0, 5, 0x01}, nullptr},        // truncated
    };
    for (const Case& c : cases) {
        DataBuffer in;
        bytes(c.in, in);
        unsigned offset = 0;
        mp_int value;
        LogBase log;
        bool ok = SshMessage::parseMpInt(in, offset, value, log);
        ASSERT_EQ(ok, c.hex != nullptr) << c.in.size() << " " << log.render();
        if (!ok) {
            EXPECT_EQ(offset, 0u);
            EXPECT_FALSE(log.errors().empty());
            continue;
        }
        EXPECT_EQ(offset, in.getSize());
        mp_int want;
        ASSERT_TRUE(BigNum::mp_read_radix(want, c.hex, 16));
        EXPECT_EQ(BigNum::mp_cmp(value, want), 0) << c.hex;
    }
}

}  // namespace
}  // namespace vn

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/Prng.h"
#include "host/SshMessage.h"
#include "support/scripted_prng.h"

namespace vn {
namespace {

using testing_support::ScriptedPrng;

std::vector<unsigned char> bytesOf(const DataBuffer& db) {
    if (db.getSize() == 0) return {};
    return std::vector<unsigned char>(db.getData2(), db.getData2() + db.getSize());
}

TEST(SystemPrng, AppendsTheRequestedCount) {
    _vnSystemPrng prng;
    LogBase log;
    for (unsigned n : {0u, 1u, 32u, 66u, 257u, 100000u}) {
        DataBuffer out;
        out.appendChar(0xAB);
        ASSERT_TRUE(prng.genRandomBytes(n, out, log)) << n;
        ASSERT_EQ(out.getSize(), n + 1) << n;
        EXPECT_EQ(out.byteAt(0), 0xAB) << n;
    }
    EXPECT_TRUE(log.errors().empty());
}

TEST(SystemPrng, OutputDiffers) {
    _vnSystemPrng prng;
    LogBase log;
    std::set<std::vector<unsigned char>> seen;
    for (int i = 0; i < 20; ++i) {
        DataBuffer out;
        ASSERT_TRUE(prng.genRandomBytes(32, out, log));
        seen.insert(bytesOf(out));
    }
    EXPECT_EQ(seen.size(), 20u);

    // A large draw is not mostly zeros, which a fill that was never overwritten would be.
    DataBuffer big;
    ASSERT_TRUE(prng.genRandomBytes(4096, big, log));
    unsigned zeros = 0;
    for (unsigned i = 0; i < big.getSize(); ++i) zeros += big.byteAt(i) == 0 ? 1u : 0u;
    EXPECT_LT(zeros, 64u);
}

TEST(ScriptedPrng, QueueThenFillThenFailure) {
    ScriptedPrng prng;
    LogBase log;
    prng.push({1, 2, 3});
    prng.push({9, 9, 9, 9, 9});
    prng.fillWith(0xFF);
    prng.failAfter(3);

    DataBuffer out;
    ASSERT_TRUE(prng.genRandomBytes(5, out, log));  // short entry is zero-padded
    ASSERT_TRUE(prng.genRandomBytes(2, out, log));  // long entry is cut
    ASSERT_TRUE(prng.genRandomBytes(3, out, log));
    const std::vector<unsigned char> want = {1, 2, 3, 0, 0, 9, 9, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(bytesOf(out), want);
    EXPECT_FALSE(prng.genRandomBytes(3, out, log));
    EXPECT_EQ(bytesOf(out), want);
    EXPECT_EQ(prng.calls(), 4);
}

TEST(ScriptedPrng, FallsBackToSystemRandomness) {
    ScriptedPrng prng;
    LogBase log;
    DataBuffer a;
    DataBuffer b;
    ASSERT_TRUE(prng.genRandomBytes(32, a, log));
    ASSERT_TRUE(prng.genRandomBytes(32, b, log));
    EXPECT_EQ(a.getSize(), 32u);
    EXPECT_FALSE(a.equals(b));
    EXPECT_EQ(prng.calls(), 2);

    ScriptedPrng failing;
    failing.failAfter(0);
    DataBuffer c;
    EXPECT_FALSE(failing.genRandomBytes(32, c, log));
    EXPECT_EQ(c.getSize(), 0u);
}

TEST(SshMessage, PackDb) {
    struct Case {
        unsigned len;
        std::vector<unsigned char> header;
    } const cases[] = {
        {0, {0, 0, 0, 0}},
        {1, {0, 0, 0, 1}},
        {300, {0, 0, 1, 0x2C}},
        {70000, {0, 1, 0x11, 0x70}},
    };
    for (const Case& c : cases) {
        DataBuffer in;
        for (unsigned i = 0; i < c.len; ++i) in.appendChar(static_cast<unsigned char>(i));
        DataBuffer out;
        out.appendChar(0x77);  // appends after what is there
        ASSERT_TRUE(SshMessage::pack_db(in, out));
        ASSERT_EQ(out.getSize(), 1 + 4 + c.len);
        std::vector<unsigned char> got = bytesOf(out);
        EXPECT_EQ(got[0], 0x77);
        EXPECT_EQ(std::vector<unsigned char>(got.begin() + 1, got.begin() + 5), c.header) << c.len;
        EXPECT_EQ(std::vector<unsigned char>(got.begin() + 5, got.end()), bytesOf(in)) << c.len;
    }
}

}  // namespace
}  // namespace vn

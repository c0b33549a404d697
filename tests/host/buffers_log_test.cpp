#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/Prng.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

void failingStep(LogBase& log, bool fail) {
    LogContextExitor ctx(log, "failingStep");
    log.LogDataLong("n", -7);
    if (fail) log.LogError("It failed.");
}

// The render text is what the tool prints with --verbose.
TEST(BuffersLog, LogRenderContextsAndWriters) {
    LogBase log;
    {
        LogContextExitor outer(log, "outer");
        log.LogInfo("start");
        failingStep(log, true);
        failingStep(log, false);
        log.LogDataBool("done", true);
    }
    log.LogDataHex("bytes", reinterpret_cast<const unsigned char*>("\x01\xAB"), 2);
    EXPECT_EQ(log.errors(), std::vector<std::string>{"It failed."});
    EXPECT_FALSE(log.hasError("It failed"));  // whole lines only
    // Two calls of failingStep are two contexts, not merged into one.
    EXPECT_EQ(log.render(), "outer:\n  start\n  failingStep:\n    n: -7\n    It failed.\n  failingStep:\n    n: -7\n"
                            "  done: true\nbytes: 01AB\n");

    // A subclass sees every kind of line through the two virtual writers.
    struct Capturing : LogBase {
        void LogError(const char* t) override { lines.push_back("E " + contextPath() + " " + t); }
        void LogDataStr(const char* n, const char* v) override { lines.push_back(std::string("D ") + n + "=" + v); }
        std::vector<std::string> lines;
    } capturing;
    failingStep(capturing, true);
    EXPECT_EQ(capturing.lines, (std::vector<std::string>{"D n=-7", "E failingStep It failed."}));
}

// Key material is wiped where it lies, not only when the block is freed.
TEST(BuffersLog, SecureBuffersWipeInPlace) {
    DataBuffer db;
    db.setSecure(true);
    db.append("\x01\x02\x03\x04\x05\x06\x07\x08", 8);
    const unsigned char* storage = db.getData2();
    db.truncate(6);
    EXPECT_EQ(storage[6] | storage[7], 0);
    db.removeChunk(0, 2);
    EXPECT_EQ(storage[4] | storage[5], 0);
    db.clear();
    for (int i = 0; i < 8; ++i) EXPECT_EQ(storage[i], 0) << i;

    StringBuffer s("-----BEGIN SECRET-----");
    const char* text = s.getString();
    s.secureClear();
    for (int i = 0; i < 22; ++i) EXPECT_EQ(text[i], '\0') << i;
}

// Appending a buffer's own bytes across reallocations must not read the freed block.
TEST(BuffersLog, SelfAppendAcrossReallocation) {
    DataBuffer db;
    db.append("\x02\x01\xFF", 3);
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(db.append(db));
    ASSERT_EQ(db.getSize(), 3u * 64u);
    for (unsigned i = 0; i < db.getSize(); ++i) ASSERT_EQ(db.byteAt(i), "\x02\x01\xFF"[i % 3] & 0xFF) << i;
    StringBuffer t("0123456789");
    ASSERT_TRUE(t.appendN(t.getString() + 5, 5));  // a slice of its own storage
    EXPECT_STREQ(t.getString(), "012345678956789");
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(t.append(t));
    EXPECT_EQ(std::string(t.getString()).substr(15 * 62), "012345678956789012345678956789");
    StringBuffer mixed("@az[`AZ{09");  // the letters' neighbours in ASCII stay as they are
    mixed.toUpperCase();
    EXPECT_STREQ(mixed.getString(), "@AZ[`AZ{09");
    mixed.toLowerCase();
    EXPECT_STREQ(mixed.getString(), "@az[`az{09");
}

// A fill that was never overwritten would be zeros, and a stuck source would repeat.
TEST(BuffersLog, SystemPrngAppendsFreshBytes) {
    _vnSystemPrng prng;
    LogBase log;
    DataBuffer out;
    out.appendChar(0xAB);  // kept: the bytes are appended
    ASSERT_TRUE(prng.genRandomBytes(0, out, log) && prng.genRandomBytes(100000, out, log) && prng.genRandomBytes(32, out, log));
    ASSERT_EQ(out.getSize(), 100033u);
    EXPECT_LT(std::count(out.getData2() + 1, out.getData2() + out.getSize(), 0), 100033 / 64);
    EXPECT_NE(std::memcmp(out.getData2() + 1, out.getData2() + 100001, 32), 0);
}

}  // namespace
}  // namespace vn

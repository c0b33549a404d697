#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/Prng.h"
#include "host/StringBuffer.h"

namespace vn {
namespace {

bool failingStep(LogBase& log, bool fail) {
    LogContextExitor ctx(log, "failingStep");
    log.LogDataLong("n", -7);
    if (fail) log.LogError("It failed.");
    return !fail;
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
    ASSERT_EQ(log.entries().size(), 6u);
    EXPECT_EQ(log.entries()[2].context, "outer/failingStep");
    EXPECT_EQ(log.entries()[2].kind, LogBase::Kind::Error);
    EXPECT_EQ(log.errors(), std::vector<std::string>{"It failed."});
    EXPECT_FALSE(log.hasError("It failed"));  // whole lines only
    // Two calls of failingStep are two contexts, not merged into one.
    EXPECT_EQ(log.render(), "outer:\n  start\n  failingStep:\n    n: -7\n    It failed.\n  failingStep:\n    n: -7\n"
                            "  done: true\nbytes: 01AB\n");

    // A subclass sees every kind of line through the three virtual writers.
    struct Capturing : LogBase {
        void LogError(const char* t) override { lines.push_back("E " + contextPath() + " " + t); }
        void LogInfo(const char* t) override { lines.push_back(std::string("I ") + t); }
        void LogDataStr(const char* n, const char* v) override { lines.push_back(std::string("D ") + n + "=" + v); }
        std::vector<std::string> lines;
    } capturing;
    failingStep(capturing, true);
    capturing.LogDataUint32("u", 4000000000u);
    capturing.LogDataSb("sb", StringBuffer("text"));
    EXPECT_EQ(capturing.lines, (std::vector<std::string>{"D n=-7", "E failingStep It failed.", "D u=4000000000", "D sb=text"}));
    EXPECT_TRUE(capturing.entries().empty());
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
    EXPECT_TRUE(db.equals("\x03\x04\x05\x06", 4));
    EXPECT_EQ(storage[4] | storage[5], 0);
    db.clear();
    for (int i = 0; i < 8; ++i) EXPECT_EQ(storage[i], 0) << i;

    StringBuffer s("-----BEGIN SECRET-----");
    const char* text = s.getString();
    const std::size_t n = s.getSize();
    s.secureClear();
    EXPECT_EQ(s.getSize(), 0u);
    for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(text[i], '\0') << i;
}

TEST(BuffersLog, BufferEditsAndSelfAppend) {
    // Appending a buffer's own bytes across reallocations must not read the freed block.
    DataBuffer db;
    ASSERT_TRUE(db.append("\x0A\x0B\x0C", 3) && db.append(nullptr, 0) && db.appendUint32_be(0x01020304u));
    EXPECT_FALSE(db.append(nullptr, 1));
    const unsigned char front = 0xFF;
    ASSERT_TRUE(db.prepend(&front, 1));
    db.removeChunk(1, 3);
    db.removeChunk(3, 100);  // clipped at the end
    db.removeChunk(9, 1);    // out of range: nothing
    db.reverseBytes();
    EXPECT_TRUE(db.equals("\x02\x01\xFF", 3));
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(db.append(db));
    ASSERT_EQ(db.getSize(), 3u * 64u);
    for (unsigned i = 0; i < db.getSize(); ++i) ASSERT_EQ(db.byteAt(i), "\x02\x01\xFF"[i % 3] & 0xFF) << i;
    // A failed decode keeps the bytes that were there.
    EXPECT_FALSE(db.appendEncoded("Zm9vYh==", "base64"));
    EXPECT_EQ(db.getSize(), 3u * 64u);

    StringBuffer s("ab");
    ASSERT_TRUE(s.append2("c", "d") && s.append3("e", "f", "g") && s.appendChar('h') && s.append(-42));
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(s.append(s));
    EXPECT_EQ(s.getSize(), 11u * 64u);
    EXPECT_EQ(std::string(s.getString()).substr(0, 22), "abcdefgh-42abcdefgh-42");
    StringBuffer t("0123456789");
    ASSERT_TRUE(t.appendN(t.getString() + 5, 5));  // a slice of its own storage
    EXPECT_STREQ(t.getString(), "012345678956789");
    t.setString("azAZ09 mq");
    t.toUpperCase();
    EXPECT_STREQ(t.getString(), "AZAZ09 MQ");
    // The label scrambling mirrors each range (A<->Z, a<->z, 0<->9) and is its own inverse.
    char label[] = "EC Key az09";
    StringBuffer::litScram(label);
    EXPECT_STREQ(label, "VX Pvb za90");
    StringBuffer::litScram(label);
    EXPECT_STREQ(label, "EC Key az09");
}

TEST(BuffersLog, SystemPrngAppendsFreshBytes) {
    _vnSystemPrng prng;
    LogBase log;
    std::set<std::string> seen;
    for (unsigned n : {0u, 32u, 32u, 32u, 257u, 100000u}) {
        DataBuffer out;
        out.appendChar(0xAB);
        ASSERT_TRUE(prng.genRandomBytes(n, out, log)) << n;
        ASSERT_EQ(out.getSize(), n + 1);
        EXPECT_EQ(out.byteAt(0), 0xAB);
        unsigned zeros = 0;
        for (unsigned i = 1; i <= n; ++i) zeros += out.byteAt(i) == 0;
        EXPECT_LT(zeros, n / 64 + 4) << n;  // a fill that was never overwritten would be zeros
        if (n == 32) seen.insert(std::string(reinterpret_cast<const char*>(out.getData2()), out.getSize()));
    }
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_TRUE(log.errors().empty());
}

}  // namespace
}  // namespace vn

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/LogBase.h"

namespace vn {
namespace {

bool failingStep(LogBase& log, bool fail) {
    LogContextExitor ctx(log, "failingStep");
    log.LogDataLong("n", -7);
    if (fail) {
        log.LogError("It failed.");
        return false;
    }
    return true;
}

TEST(LogBase, LinesKeepOrderAndContextPath) {
    LogBase log;
    {
        LogContextExitor outer(log, "outer");
        log.LogInfo("start");
        failingStep(log, true);
        failingStep(log, false);
        log.LogDataBool("done", true);
    }
    log.LogDataHex("bytes", reinterpret_cast<const unsigned char*>("\x01\xAB"), 2);
    const auto& e = log.entries();
    ASSERT_EQ(e.size(), 6u);
    EXPECT_EQ(e[0].context, "outer");
    EXPECT_EQ(e[2].context, "outer/failingStep");
    EXPECT_EQ(e[2].kind, LogBase::Kind::Error);
    EXPECT_EQ(e[4].text, "true");
    EXPECT_EQ(e[5].context, "");
    EXPECT_EQ(e[5].text, "01AB");
    EXPECT_EQ(log.errors(), std::vector<std::string>{"It failed."});
    EXPECT_TRUE(log.hasError("It failed."));
    EXPECT_FALSE(log.hasError("It failed"));
    // The two calls of failingStep are shown as two contexts, not merged into one.
    EXPECT_EQ(log.render(),
              "outer:\n"
              "  start\n"
              "  failingStep:\n"
              "    n: -7\n"
              "    It failed.\n"
              "  failingStep:\n"
              "    n: -7\n"
              "  done: true\n"
              "bytes: 01AB\n");
}

// A subclass sees every kind of line through the three virtual writers.
class CapturingLog : public LogBase {
public:
    void LogError(const char* text) override { lines.push_back("E " + contextPath() + " " + text); }
    void LogInfo(const char* text) override { lines.push_back(std::string("I ") + text); }
    void LogDataStr(const char* name, const char* value) override {
        lines.push_back(std::string("D ") + name + "=" + value);
    }
    std::vector<std::string> lines;
};

TEST(LogBase, SubclassCapturesThroughTheVirtualWriters) {
    CapturingLog log;
    failingStep(log, true);
    log.LogDataUint32("u", 4000000000u);
    StringBuffer sb("text");
    log.LogDataSb("sb", sb);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"D n=-7", "E failingStep It failed.", "D u=4000000000",
                                                   "D sb=text"}));
    EXPECT_TRUE(log.entries().empty());
}

TEST(LogBase, LogNullDiscardsEverything) {
    LogNull log;
    failingStep(log, true);
    EXPECT_TRUE(log.entries().empty());
    EXPECT_EQ(log.render(), "");
}

}  // namespace
}  // namespace vn

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/StringBuffer.h"

namespace vn {
namespace {

TEST(StringBuffer, AppendFormsAndSelfAppend) {
    StringBuffer s;
    EXPECT_STREQ(s.getString(), "");
    EXPECT_TRUE(s.append("ab"));
    EXPECT_TRUE(s.append2("c", "d"));
    EXPECT_TRUE(s.append3("e", "f", "g"));
    EXPECT_TRUE(s.appendChar('h'));
    EXPECT_TRUE(s.append(-42));
    EXPECT_STREQ(s.getString(), "abcdefgh-42");
    // Appending a buffer to itself, across a reallocation, must not read freed memory.
    for (int i = 0; i < 6; ++i) ASSERT_TRUE(s.append(s));
    EXPECT_EQ(s.getSize(), 11u * 64u);
    EXPECT_EQ(std::string(s.getString()).substr(0, 22), "abcdefgh-42abcdefgh-42");
    // A slice of its own storage, too.
    StringBuffer t("0123456789");
    ASSERT_TRUE(t.appendN(t.getString() + 5, 5));
    EXPECT_STREQ(t.getString(), "012345678956789");
}

TEST(StringBuffer, ComparisonsAreExactWhereTheyShouldBe) {
    StringBuffer s("Secp256R1");
    EXPECT_FALSE(s.equals("secp256r1"));
    EXPECT_TRUE(s.equalsIgnoreCase("SECP256r1"));
    EXPECT_FALSE(s.equalsIgnoreCase("SECP256r"));
    EXPECT_TRUE(s.beginsWith("Secp"));
    EXPECT_FALSE(s.beginsWith("secp"));
    EXPECT_TRUE(s.containsSubstring("256R"));
    EXPECT_FALSE(s.containsSubstring("256r"));
    StringBuffer other("Secp256R1");
    EXPECT_TRUE(s.equals(other));
    s.toLowerCase();
    EXPECT_STREQ(s.getString(), "secp256r1");
}

TEST(StringBuffer, Trim2RemovesEveryKindOfBlankAtBothEnds) {
    struct Case {
        const char* in;
        const char* out;
    } cases[] = {
        {"  P-256 ", "P-256"}, {"\t\r\nx\n", "x"}, {"   ", ""}, {"", ""}, {"a b", "a b"},
    };
    for (const Case& c : cases) {
        StringBuffer s(c.in);
        s.trim2();
        EXPECT_STREQ(s.getString(), c.out) << "input '" << c.in << "'";
        EXPECT_EQ(s.getSize(), std::strlen(c.out));
    }
}

TEST(StringBuffer, ReplaceFirstOccurance) {
    StringBuffer s("<a>x</a><a>y</a>");
    EXPECT_TRUE(s.replaceFirstOccurance("<a>", "<b>", false));
    EXPECT_STREQ(s.getString(), "<b>x</a><a>y</a>");
    EXPECT_FALSE(s.replaceFirstOccurance("zz", "q", false));
    EXPECT_TRUE(s.replaceFirstOccurance("y", "", false));
    EXPECT_STREQ(s.getString(), "<b>x</a><a></a>");
}

TEST(StringBuffer, IsHexidecimal) {
    struct Case {
        const char* text;
        bool hex;
    } cases[] = {
        {"0123456789abcdefABCDEF", true}, {"0A0", true}, {"", false}, {"0A 0B", false},
        {"0x12", false}, {"12g", false},
    };
    for (const Case& c : cases) EXPECT_EQ(StringBuffer(c.text).isHexidecimal(), c.hex) << c.text;
}

TEST(StringBuffer, SecureClearWipesTheWholeBlock) {
    StringBuffer s("-----BEGIN SECRET-----");
    const char* storage = s.getString();
    std::size_t n = s.getSize();
    s.secureClear();
    EXPECT_EQ(s.getSize(), 0u);
    for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(storage[i], '\0');
}

TEST(StringBuffer, LitScramIsItsOwnInverseAndHidesLetters) {
    char text[] = "EC PRIVATE KEY 2019";
    StringBuffer::litScram(text);
    EXPECT_STRNE(text, "EC PRIVATE KEY 2019");
    EXPECT_EQ(std::strchr(text, ' ') - text, 2);  // separators stay where they were
    StringBuffer::litScram(text);
    EXPECT_STREQ(text, "EC PRIVATE KEY 2019");
}

}  // namespace
}  // namespace vn

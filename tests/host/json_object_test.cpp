#include <gtest/gtest.h>

#include <string>

#include "host/JsonObject.h"

namespace vn {
namespace {

struct Case {
    const char* name;
    std::string text;
};

std::string nested(unsigned depth) {
    // The top-level object counts as one level; each "a" adds another.
    std::string s;
    for (unsigned i = 1; i < depth; ++i) s += "{\"a\":";
    s += "{}";
    for (unsigned i = 1; i < depth; ++i) s += "}";
    return s;
}

std::string nestedArrays(unsigned depth) {
    return "{\"a\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

TEST(JsonObject, AcceptsStrictGrammar) {
    const Case cases[] = {
        {"empty object", "{}"},
        {"white space everywhere", " \t\r\n{ \"a\" : 1 , \"b\" :\n[ ] } \n"},
        {"minus zero", "{\"n\":-0}"},
        {"exponent", "{\"n\":1e5}"},
        {"fraction and signed exponent", "{\"n\":1.5E-3}"},
        {"plus exponent", "{\"n\":-12.0e+10}"},
        {"literals", "{\"t\":true,\"f\":false,\"z\":null}"},
        {"all simple escapes", R"({"s":"\"\\\/\b\f\n\r\t"})"},
        {"u escape NUL", R"({"s":"a\u0000b"})"},
        {"surrogate pair", R"({"s":"\uD83D\uDE00"})"},
        {"raw four-byte UTF-8", "{\"s\":\"\xF0\x9F\x98\x80\"}"},
        {"largest code point", "{\"s\":\"\xF4\x8F\xBF\xBF\"}"},
        {"U+FFFF", "{\"s\":\"\xEF\xBF\xBF\"}"},
        {"nested arrays and objects", "{\"a\":[1,[2,{\"b\":[]}],\"x\"]}"},
        {"same name in different objects", "{\"a\":{\"a\":1},\"b\":{\"a\":2}}"},
        {"depth limit", nested(ClsJsonObject::kMaxDepth)},
        {"depth limit via arrays", nestedArrays(ClsJsonObject::kMaxDepth)},
    };
    for (const Case& c : cases) {
        ClsJsonObject json;
        LogBase log;
        EXPECT_TRUE(json.load(c.text.c_str(), log)) << c.name << "\n" << log.render();
    }
}

TEST(JsonObject, RefusesWithOffsetAndStaysEmpty) {
    const Case cases[] = {
        {"empty", ""},
        {"only space", "  \n"},
        {"top-level array", "[]"},
        {"top-level string", "\"a\""},
        {"top-level number", "1"},
        {"two objects", "{}{}"},
        {"trailing garbage", "{} x"},
        {"trailing comma in object", "{\"a\":1,}"},
        {"trailing comma in array", "{\"a\":[1,]}"},
        {"missing value", "{\"a\":}"},
        {"missing colon", "{\"a\" 1}"},
        {"unquoted name", "{a:1}"},
        {"single quotes", "{'a':1}"},
        {"comment", "{/*x*/}"},
        {"leading zero", "{\"n\":01}"},
        {"dot without digits", "{\"n\":1.}"},
        {"fraction without integer", "{\"n\":.5}"},
        {"plus sign", "{\"n\":+1}"},
        {"NaN", "{\"n\":NaN}"},
        {"Infinity", "{\"n\":-Infinity}"},
        {"empty exponent", "{\"n\":1e}"},
        {"lone minus", "{\"n\":-}"},
        {"hex number", "{\"n\":0x10}"},
        {"bad literal", "{\"t\":tru}"},
        {"capital literal", "{\"t\":True}"},
        {"raw tab in string", "{\"s\":\"a\tb\"}"},
        {"raw newline in string", "{\"s\":\"a\nb\"}"},
        {"unknown escape", R"({"s":"\x41"})"},
        {"short u escape", R"({"s":"\u12"})"},
        {"bad hex in u escape", R"({"s":"\u12G4"})"},
        {"lone high surrogate", R"({"s":"\uD83D"})"},
        {"high surrogate then text", R"({"s":"\uD83Dx"})"},
        {"high surrogate then non-surrogate", R"({"s":"\uD83D\u0041"})"},
        {"two high surrogates", R"({"s":"\uD83D\uD83D"})"},
        {"lone low surrogate", R"({"s":"\uDE00"})"},
        {"unterminated string", "{\"s\":\"abc}"},
        {"overlong NUL", "{\"s\":\"\xC0\x80\"}"},
        {"overlong slash", "{\"s\":\"\xC1\xAF\"}"},
        {"overlong three-byte", "{\"s\":\"\xE0\x80\xAF\"}"},
        {"overlong four-byte", "{\"s\":\"\xF0\x8F\xBF\xBF\"}"},
        {"raw surrogate", "{\"s\":\"\xED\xA0\x80\"}"},
        {"above U+10FFFF", "{\"s\":\"\xF4\x90\x80\x80\"}"},
        {"F5 lead byte", "{\"s\":\"\xF5\x80\x80\x80\"}"},
        {"FF byte", "{\"s\":\"\xFF\"}"},
        {"lone continuation", "{\"s\":\"\x80\"}"},
        {"truncated two-byte", "{\"s\":\"\xC3\"}"},
        {"truncated three-byte", "{\"s\":\"\xE2\x82\"}"},
        {"truncated four-byte at end", "{\"s\":\"\xF0\x9F\x98"},
        {"UTF-8 in a name", "{\"\xC0\x80\":1}"},
        {"byte order mark", "\xEF\xBB\xBF{}"},
        {"duplicate name", "{\"a\":1,\"a\":2}"},
        {"duplicate after escaping", R"({"a":1,"\u0061":2})"},
        {"duplicate in nested object", "{\"o\":{\"x\":1,\"y\":2,\"x\":3}}"},
        {"duplicate inside array", "{\"a\":[{\"k\":1,\"k\":1}]}"},
        {"one level too deep", nested(ClsJsonObject::kMaxDepth + 1)},
        {"one level too deep via arrays", nestedArrays(ClsJsonObject::kMaxDepth + 1)},
        {"far too deep", "{\"a\":" + std::string(100000, '[')},
        {"unclosed object", "{\"a\":1"},
        {"unclosed array", "{\"a\":[1"},
    };
    for (const Case& c : cases) {
        ClsJsonObject json;
        ASSERT_TRUE(json.load("{\"prior\":1}"));
        LogBase log;
        EXPECT_FALSE(json.load(c.text.c_str(), log)) << c.name;
        EXPECT_EQ(json.numMembers(), 0u) << c.name;
        std::vector<std::string> errors = log.errors();
        ASSERT_EQ(errors.size(), 1u) << c.name << "\n" << log.render();
        EXPECT_EQ(errors[0].rfind("JSON: ", 0), 0u) << c.name << ": " << errors[0];
        // Every refusal past the size check says where it stopped.
        bool hasOffset = false;
        for (const auto& e : log.entries()) hasOffset |= e.name == "offset";
        EXPECT_TRUE(hasOffset) << c.name << "\n" << log.render();
    }
}

TEST(JsonObject, ErrorOffsetsPointAtTheFault) {
    const struct {
        const char* text;
        long offset;
    } cases[] = {
        {"{\"a\":1,}", 7},
        {"{\"a\":01}", 6},
        {"{\"a\":1,\"a\":2}", 7},
        {"{\"s\":\"ab\xC0\x80\"}", 8},
        {"{} x", 3},
    };
    for (const auto& c : cases) {
        ClsJsonObject json;
        LogBase log;
        EXPECT_FALSE(json.load(c.text, log));
        long got = -1;
        for (const auto& e : log.entries()) {
            if (e.name == "offset") got = std::stol(e.text);
        }
        EXPECT_EQ(got, c.offset) << c.text;
    }
}

TEST(JsonObject, SizeLimit) {
    // Exactly at the limit parses; one byte more is refused without parsing.
    std::string body = "{\"a\":\"\"}";
    std::string atLimit = "{\"a\":\"" + std::string(ClsJsonObject::kMaxTextBytes - body.size(), 'x') + "\"}";
    ASSERT_EQ(atLimit.size(), ClsJsonObject::kMaxTextBytes);
    ClsJsonObject json;
    EXPECT_TRUE(json.load(atLimit.c_str()));

    std::string over = atLimit + " ";
    LogBase log;
    EXPECT_FALSE(json.load(over.c_str(), log));
    EXPECT_TRUE(log.hasError("JSON: text too long"));

    // Much bigger still: a 16 MiB run of '[' is refused by size, not by depth.
    std::string huge(16u << 20, '[');
    LogBase log2;
    EXPECT_FALSE(json.load(huge.c_str(), log2));
    EXPECT_TRUE(log2.hasError("JSON: text too long"));
    EXPECT_FALSE(json.load(nullptr));
}

TEST(JsonObject, ManyMembersStayFast) {
    // Quadratic duplicate checks would take minutes on this.
    std::string text = "{";
    for (int i = 0; i < 100000; ++i) text += (i ? ",\"" : "\"") + std::to_string(i) + "\":0";
    text += "}";
    ClsJsonObject json;
    ASSERT_TRUE(json.load(text.c_str()));
    EXPECT_EQ(json.numMembers(), 100000u);
    LogBase log;
    StringBuffer sb;
    EXPECT_TRUE(json.sbOfPathUtf8("99999", sb, log));
}

TEST(JsonObject, EveryPrefixOfAJwkIsRefused) {
    const std::string jwk =
        "{\"kty\":\"EC\",\"crv\":\"P-256\",\"x\":\"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU\","
        "\"y\":\"x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0\",\"ext\":[true,1.5e3,null,{\"\\u00e9\":\"\\uD83D\\uDE00\"}]}";
    ClsJsonObject json;
    ASSERT_TRUE(json.load(jwk.c_str()));
    for (size_t n = 0; n < jwk.size(); ++n) {
        // A heap copy of exactly the prefix, so a read past its end shows up under ASan.
        std::string prefix = jwk.substr(0, n);
        LogBase log;
        EXPECT_FALSE(json.load(prefix.c_str(), log)) << n;
        EXPECT_EQ(log.errors().size(), 1u) << n;
    }
}

TEST(JsonObject, PathLookups) {
    ClsJsonObject json;
    LogBase log;
    ASSERT_TRUE(json.load(R"({"s":"caf\u00e9 \uD83D\uDE00\n","n":-1.50E+3,"t":true,"f":false,"z":null,)"
                          R"("o":{"p":{"q":"deep"},"arr":[1]},"a":["x"],"e":"","a.b":"dotted","nul":"x\u0000y"})",
                          log))
        << log.render();
    EXPECT_EQ(json.numMembers(), 10u);

    const struct {
        const char* path;
        const char* value;  // null: not a readable value
    } cases[] = {
        {"s", "caf\xC3\xA9 \xF0\x9F\x98\x80\n"},
        {"n", "-1.50E+3"},  // the literal, unnormalised
        {"t", "true"},
        {"f", "false"},
        {"e", ""},
        {"o.p.q", "deep"},
        {"z", nullptr},
        {"o", nullptr},
        {"o.p", nullptr},
        {"a", nullptr},
        {"o.arr", nullptr},
        {"missing", nullptr},
        {"o.missing", nullptr},
        {"o.p.q.r", nullptr},  // through a string
        {"s.x", nullptr},
        {"", nullptr},
        {".s", nullptr},
        {"s.", nullptr},
        {"o..p", nullptr},
        {"a.b", nullptr},  // '.' always separates
        {"nul", nullptr},
        {"S", nullptr},  // names are case-sensitive
    };
    for (const auto& c : cases) {
        StringBuffer out("stale");
        bool ok = json.sbOfPathUtf8(c.path, out, log);
        EXPECT_EQ(ok, c.value != nullptr) << c.path;
        EXPECT_STREQ(out.getString(), c.value != nullptr ? c.value : "") << c.path;
    }

    const struct {
        const char* path;
        bool present;
    } members[] = {{"z", true}, {"o", true}, {"o.p.q", true}, {"o.arr", true},
                   {"q", false}, {"o.q", false}, {"", false}, {"o.p.q.r", false}};
    for (const auto& m : members) EXPECT_EQ(json.hasMember(m.path, log), m.present) << m.path;
    EXPECT_FALSE(json.hasMember(nullptr, log));

    json.clear();
    EXPECT_EQ(json.numMembers(), 0u);
    EXPECT_FALSE(json.hasMember("s", log));
    StringBuffer out;
    EXPECT_FALSE(json.sbOfPathUtf8("s", out, log));
}

}  // namespace
}  // namespace vn

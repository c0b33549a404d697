#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "host/JsonObject.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/Xml.h"

// What the hostile-input data rows cannot express: exact size limits, inputs too large to
// be a data line, and what the accessors leave in the caller's buffers.
namespace vn {
namespace {

TEST(TextFormats, JsonLimitsAndLargeInputs) {
    const std::string atLimit = "{\"a\":\"" + std::string(ClsJsonObject::kMaxTextBytes - 8, 'x') + "\"}";
    ClsJsonObject json;
    EXPECT_TRUE(json.load(atLimit.c_str()));
    // One byte over, and 16 MiB of '[': refused by size before any parsing, and the object
    // loaded before is emptied.
    for (const std::string& text : {atLimit + " ", std::string(16u << 20, '[')}) {
        ASSERT_TRUE(json.load("{\"prior\":1}"));
        LogBase log;
        EXPECT_FALSE(json.load(text.c_str(), log));
        EXPECT_EQ(log.errors(), std::vector<std::string>{"JSON: text too long"});
        EXPECT_EQ(json.numMembers(), 0u);
    }
    EXPECT_FALSE(json.load(nullptr));
    // A duplicate check that is quadratic in the member count would take minutes here.
    std::string many = "{";
    for (int i = 0; i < 100000; ++i) many += (i ? ",\"" : "\"") + std::to_string(i) + "\":0";
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(json.load((many + "}").c_str()));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(json.numMembers(), 100000u);
}

TEST(TextFormats, JsonPathLookups) {
    ClsJsonObject json;
    LogBase log;
    ASSERT_TRUE(json.load(R"({"s":"caf\u00e9 \uD83D\uDE00\n","n":-1.50E+3,"t":true,"f":false,"z":null,)"
                          R"("o":{"p":{"q":"deep"},"arr":[1]},"a":["x"],"e":"","a.b":"dotted","nul":"x\u0000y"})", log))
        << log.render();
    EXPECT_EQ(json.numMembers(), 10u);
    // value: what sbOfPathUtf8 gives, null when it refuses; present: hasMember.
    const struct {
        const char* path;
        const char* value;
        bool present;
    } rows[] = {
        {"s", "caf\xC3\xA9 \xF0\x9F\x98\x80\n", true}, {"n", "-1.50E+3", true},  // the literal, unnormalised
        {"t", "true", true}, {"f", "false", true}, {"e", "", true}, {"o.p.q", "deep", true},
        {"z", nullptr, true}, {"o", nullptr, true}, {"o.p", nullptr, true}, {"a", nullptr, true},
        {"o.arr", nullptr, true}, {"missing", nullptr, false}, {"o.missing", nullptr, false},
        {"o.p.q.r", nullptr, false}, {"s.x", nullptr, false}, {"", nullptr, false}, {".s", nullptr, false},
        {"s.", nullptr, false}, {"o..p", nullptr, false},
        {"a.b", nullptr, false},  // '.' always separates
        {"nul", nullptr, true},   // a NUL cannot pass through a C string
        {"S", nullptr, false},    // names are case-sensitive
    };
    for (const auto& r : rows) {
        StringBuffer out("stale");
        EXPECT_EQ(json.sbOfPathUtf8(r.path, out, log), r.value != nullptr) << r.path;
        EXPECT_STREQ(out.getString(), r.value ? r.value : "") << r.path;
        EXPECT_EQ(json.hasMember(r.path, log), r.present) << r.path;
    }
    EXPECT_FALSE(json.hasMember(nullptr, log));
    json.clear();
    EXPECT_FALSE(json.hasMember("s", log));
}

std::string nestedXml(unsigned depth, const char* inner) {
    std::string s;
    for (unsigned i = 0; i < depth; ++i) s += "<e>";
    s += inner;
    for (unsigned i = 0; i < depth; ++i) s += "</e>";
    return s;
}

TEST(TextFormats, XmlLimitsAndLargeInputs) {
    ClsXml x;
    ASSERT_TRUE(x.loadXml(nestedXml(ClsXml::kMaxDepth, "x").c_str()));
    const ClsXml* deepest = &x;
    for (unsigned i = 1; i < ClsXml::kMaxDepth; ++i) deepest = deepest->getChild(0);
    ASSERT_NE(deepest, nullptr);
    StringBuffer content;
    EXPECT_TRUE(deepest->get_Content(content));
    EXPECT_STREQ(content.getString(), "x");
    EXPECT_FALSE(x.loadXml(nestedXml(ClsXml::kMaxDepth + 1, "x").c_str()));
    EXPECT_FALSE(x.loadXml(nestedXml(ClsXml::kMaxDepth, "<e/>").c_str()));
    EXPECT_EQ(x.numChildren(), 0u);  // a failed load leaves nothing of the last document
    // 200,000 open tags fail fast and without recursion (the stack would not survive it).
    std::string hostile;
    for (int i = 0; i < 200000; ++i) hostile += "<e>";
    EXPECT_FALSE(x.loadXml(hostile.c_str()));
    std::string big = "<a>" + std::string(ClsXml::kMaxTextBytes - 7, 'z') + "</a>";
    EXPECT_TRUE(x.loadXml(big.c_str()));
    big.insert(3, "z");
    LogBase log;
    EXPECT_FALSE(x.loadXml(big.c_str(), log));
    EXPECT_TRUE(log.hasError("XML text too long.")) << log.render();
}

TEST(TextFormats, XmlTagPatternsAndAccessors) {
    const struct {
        const char* tag;
        const char* pattern;
        bool caseInsensitive, match;
    } patterns[] = {
        {"ECCKeyValue", "*:ECCKeyValue", false, true}, {"ds:ECCKeyValue", "*:ECCKeyValue", false, true},
        {"ECCKeyValue", "*:ECCKeyvalue", false, false}, {"x:ECCKeyValue", "*:ECCKeyvalue", true, true},
        {"ECCKeyValue", "ECCKEYVALUE", true, true},      {"ECCKeyValue", "ECCKEYVALUE", false, false},
        {"ds:PublicKey", "PublicKey", false, false},     {"ds:PublicKey", "ds:PublicKey", false, true},
        {"PublicKey", "ds:PublicKey", false, false},     {"ds:PublicKeyX", "*:PublicKey", false, false},
        {"dsPublicKey", "*:PublicKey", false, false},    {"a:b:PublicKey", "*:PublicKey", false, false},
    };
    for (const auto& p : patterns) {
        ClsXml x;
        ASSERT_TRUE(x.loadXml((std::string("<") + p.tag + "/>").c_str()));
        EXPECT_EQ(x.tagMatches(p.pattern, p.caseInsensitive), p.match) << p.tag << " ~ " << p.pattern;
    }
    ClsXml x;
    ASSERT_TRUE(x.loadXml("<ds:K xmlns:ds='ns' curve=\"c&amp;1\"><ds:NamedCurve URI='urn:oid:1.2.3'/>"
                          "<ds:PublicKey>BAx<!-- no -->y<![CDATA[z]]></ds:PublicKey><PublicKey>second</PublicKey>"
                          "<Empty></Empty></ds:K>"));
    EXPECT_EQ(x.numChildren(), 4u);
    EXPECT_EQ(x.getChild(4), nullptr);
    EXPECT_TRUE(x.hasChildWithTag("*:NamedCurve"));
    EXPECT_FALSE(x.hasChildWithTag("NamedCurve"));
    // Every accessor replaces the caller's text; a miss leaves "".
    const struct {
        const char* child;  // null: an attribute of the root
        const char* name;   // attribute name, or null for content (case-insensitive when "ci")
        bool ok;
        const char* text;
    } reads[] = {
        {"*:PublicKey", nullptr, true, "BAxyz"},  // first match wins
        {"PublicKey", nullptr, true, "second"},   {"*:publickey", "ci", true, "BAxyz"},
        {"*:publickey", nullptr, false, ""},      {"Empty", nullptr, true, ""},
        {"*:NamedCurve", "URI", true, "urn:oid:1.2.3"}, {"*:NamedCurve", "uri", false, ""},
        {"*:Missing", "URI", false, ""},          {nullptr, "curve", true, "c&1"},
        {nullptr, "xmlns:ds", true, "ns"},        {nullptr, "absent", false, ""},
    };
    for (const auto& r : reads) {
        StringBuffer out("stale");
        const bool content = r.name == nullptr || std::string(r.name) == "ci";
        const bool ok = r.child == nullptr ? x.getAttrValue(r.name, out)
                        : content          ? x.getChildContentUtf8(r.child, out, r.name != nullptr)
                                           : x.getChildAttrValue(r.child, r.name, out);
        EXPECT_EQ(ok, r.ok) << (r.child ? r.child : "root") << " " << (r.name ? r.name : "");
        EXPECT_STREQ(out.getString(), r.text) << (r.child ? r.child : "root") << " " << (r.name ? r.name : "");
    }
    StringBuffer appended("pre-"), replaced("pre-");
    ASSERT_TRUE(x.getChild(1)->getContentSb(appended) && x.getChild(1)->get_Content(replaced));
    EXPECT_STREQ(appended.getString(), "pre-BAxyz");
    EXPECT_STREQ(replaced.getString(), "BAxyz");
    x.clear();
    EXPECT_STREQ(x.tag(), "");
    EXPECT_EQ(x.numChildren(), 0u);
}

}  // namespace
}  // namespace vn

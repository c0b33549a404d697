#include <gtest/gtest.h>

#include <string>

#include "host/JsonObject.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"
#include "host/Xml.h"

// What the hostile-input data rows cannot express: the JSON size limit to the byte, timing,
// and what the accessors leave in the caller's buffers.
namespace vn {
namespace {

TEST(TextFormats, JsonLimitsAndLargeInputs) {
    const std::string atLimit = "{\"a\":\"" + std::string(ClsJsonObject::kMaxTextBytes - 8, 'x') + "\"}";
    ClsJsonObject json;
    EXPECT_TRUE(json.load(atLimit.c_str()));
    LogBase log;
    EXPECT_FALSE(json.load((atLimit + " ").c_str(), log));
    EXPECT_EQ(log.errors(), std::vector<std::string>{"JSON: text too long"});
    // A duplicate check that is quadratic in the member count would take hours here, and the
    // test its time limit; no clock is read, so a slow machine or valgrind cannot fail it.
    std::string many = "{";
    for (int i = 0; i < 100000; ++i) many += (i ? ",\"" : "\"") + std::to_string(i) + "\":0";
    ASSERT_TRUE(json.load((many + "}").c_str()));
    EXPECT_EQ(json.numMembers(), 100000u);
}

// hasMember walks paths on its own; a member that holds no text is still present.
TEST(TextFormats, JsonHasMember) {
    ClsJsonObject json;
    LogBase log;
    ASSERT_TRUE(json.load(R"({"s":"x","z":null,"o":{"p":{"q":"deep"},"arr":[1]},"a.b":1,"nul":"x\u0000y"})", log));
    const struct {
        const char* path;
        bool present;
    } rows[] = {
        {"z", true},          {"o.p", true},       {"o.arr", true}, {"o.p.q", true}, {"nul", true},
        {"o.missing", false}, {"o.p.q.r", false},  {"s.x", false},  {"", false},     {".s", false},
        {"s.", false},        {"o..p", false},     {"a.b", false},  {"S", false},
    };
    for (const auto& r : rows) EXPECT_EQ(json.hasMember(r.path, log), r.present) << r.path;
    EXPECT_FALSE(json.hasMember(nullptr, log));
    json.clear();
    EXPECT_FALSE(json.hasMember("s", log));
}

TEST(TextFormats, XmlAccessors) {
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

#include <gtest/gtest.h>

#include <string>

#include "host/Xml.h"

namespace vn {
namespace {

std::string contentOf(const ClsXml& x) {
    StringBuffer sb;
    EXPECT_TRUE(x.get_Content(sb));
    return sb.getString();
}

TEST(Xml, AcceptedDocumentsAndTheirRootContent) {
    struct Case {
        const char* doc;
        const char* tag;
        const char* content;
    } cases[] = {
        {"<a>x</a>", "a", "x"},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>x</a>\n", "a", "x"},
        {"\xEF\xBB\xBF<a/>", "a", ""},
        {"<!-- c --><?pi data?><a><!-- in -->1<?pi?>2</a><!-- after -->", "a", "12"},
        {"<a>&lt;&gt;&amp;&quot;&apos;</a>", "a", "<>&\"'"},
        {"<a>&#65;&#x42;&#x10FFFF;&#xe9;</a>", "a", "AB\xF4\x8F\xBF\xBF\xC3\xA9"},
        {"<a>&#9;&#10;&#13;</a>", "a", "\t\n\r"},
        {"<a><![CDATA[<b>&amp;]]]]></a>", "a", "<b>&amp;]]"},
        {"<a>p<b>child</b>q<c/>r</a>", "a", "pqr"},  // children's text is theirs
        {"<a>\n  xy \n</a>", "a", "\n  xy \n"},
        {"<ds:Key xmlns:ds='u'>\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x91</ds:Key>", "ds:Key",
         "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\x91"},
        {"<a b = \"1\" c='2'  ></a  >", "a", ""},
    };
    for (const Case& c : cases) {
        ClsXml x;
        LogBase log;
        ASSERT_TRUE(x.loadXml(c.doc, log)) << c.doc << "\n" << log.render();
        EXPECT_STREQ(x.tag(), c.tag) << c.doc;
        EXPECT_EQ(contentOf(x), c.content) << c.doc;
        EXPECT_TRUE(log.errors().empty());
    }
}

TEST(Xml, RefusedDocumentsLeaveTheElementEmpty) {
    const char* cases[] = {
        "",
        "   ",
        "just text",
        "<a>",
        "<a></b>",
        "<a><b></a></b>",
        "<a></a><b></b>",
        "<a></a>tail",
        "tail<a></a>",
        "<a x='1' x='2'/>",
        "<a x=1/>",
        "<a x='1'y='2'/>",
        "<a x='<'/>",
        "<a x='1/>",
        "<a>&unknown;</a>",
        "<a>&amp</a>",
        "<a>&#0;</a>",
        "<a>&#x0;</a>",
        "<a>&#1;</a>",
        "<a>&#xD800;</a>",
        "<a>&#xDFFF;</a>",
        "<a>&#x110000;</a>",
        "<a>&#99999999999999999999999;</a>",
        "<a>&#xFFFE;</a>",
        "<a>&#;</a>",
        "<a>&#x;</a>",
        "<a>&#12a;</a>",
        "<a>&#x41</a>",
        "<a><![CDATA[open</a>",
        "<a><!-- a -- b --></a>",
        "<a><!-- never closed</a>",
        "<a><?pi never closed</a>",
        "<a><!ELEMENT a ANY></a>",
        "<!DOCTYPE a><a/>",
        "<!DOCTYPE lolz [<!ENTITY lol \"lol\"><!ENTITY lol2 \"&lol;&lol;&lol;&lol;\">]><lolz>&lol2;</lolz>",
        "<a><!DOCTYPE b></a>",
        "<1a/>",
        "< a/>",
        "<a>\xC3</a>",              // truncated sequence
        "<a>\xC0\x80</a>",          // overlong NUL
        "<a>\xE0\x80\x80</a>",      // overlong
        "<a>\xED\xA0\x80</a>",      // UTF-8 surrogate
        "<a>\xF4\x90\x80\x80</a>",  // past U+10FFFF
        "<a>\xFF</a>",
        "<a>\x01</a>",
        "<a \xC3\xA9\x80='1'/>",
    };
    for (const char* doc : cases) {
        ClsXml x;
        ASSERT_TRUE(x.loadXml("<old a='1'>keep<c/></old>"));
        LogBase log;
        EXPECT_FALSE(x.loadXml(doc, log)) << doc;
        EXPECT_FALSE(log.errors().empty()) << doc;
        EXPECT_STREQ(x.tag(), "") << doc;
        EXPECT_EQ(x.numChildren(), 0u) << doc;
        EXPECT_EQ(contentOf(x), "") << doc;
        StringBuffer v;
        EXPECT_FALSE(x.getAttrValue("a", v)) << doc;
    }
    ClsXml x;
    LogBase log;
    EXPECT_FALSE(x.loadXml(nullptr, log));
    EXPECT_FALSE(log.errors().empty());
}

TEST(Xml, ErrorCarriesTheByteOffset) {
    ClsXml x;
    LogBase log;
    ASSERT_FALSE(x.loadXml("<a>12&bogus;</a>", log));
    bool found = false;
    for (const auto& e : log.entries()) {
        if (e.kind == LogBase::Kind::Data && e.name == "offset") {
            EXPECT_EQ(e.text, "5");
            found = true;
        }
    }
    EXPECT_TRUE(found) << log.render();
}

TEST(Xml, EveryPrefixOfAValidDocumentIsRefused) {
    const std::string doc =
        "<?xml version='1.0'?><!-- k --><r a=\"&amp;1\" b='2'><c>t&#x41;<![CDATA[x]]></c><?p q?><d/></r>";
    ClsXml full;
    ASSERT_TRUE(full.loadXml(doc.c_str()));
    for (std::size_t n = 0; n < doc.size(); ++n) {
        std::string prefix = doc.substr(0, n);
        ClsXml x;
        LogBase log;
        EXPECT_FALSE(x.loadXml(prefix.c_str(), log)) << prefix;
        EXPECT_FALSE(log.errors().empty()) << prefix;
    }
}

std::string nested(unsigned depth) {
    std::string s;
    for (unsigned i = 0; i < depth; ++i) s += "<e>";
    s += "x";
    for (unsigned i = 0; i < depth; ++i) s += "</e>";
    return s;
}

TEST(Xml, DepthAndSizeLimits) {
    ClsXml x;
    EXPECT_TRUE(x.loadXml(nested(ClsXml::kMaxDepth).c_str()));
    const ClsXml* deepest = &x;
    for (unsigned i = 1; i < ClsXml::kMaxDepth; ++i) deepest = deepest->getChild(0);
    ASSERT_NE(deepest, nullptr);
    EXPECT_EQ(contentOf(*deepest), "x");
    EXPECT_FALSE(x.loadXml(nested(ClsXml::kMaxDepth + 1).c_str()));
    std::string selfClosingTooDeep = nested(ClsXml::kMaxDepth);
    selfClosingTooDeep.replace(selfClosingTooDeep.find('x'), 1, "<e/>");
    EXPECT_FALSE(x.loadXml(selfClosingTooDeep.c_str()));

    // Deep hostile nesting fails fast and without recursion.
    std::string hostile;
    for (int i = 0; i < 200000; ++i) hostile += "<e>";
    EXPECT_FALSE(x.loadXml(hostile.c_str()));

    std::string big = "<a>" + std::string(ClsXml::kMaxTextBytes - 7, 'z') + "</a>";
    ASSERT_EQ(big.size(), ClsXml::kMaxTextBytes);
    EXPECT_TRUE(x.loadXml(big.c_str()));
    big.insert(3, "z");
    LogBase log;
    EXPECT_FALSE(x.loadXml(big.c_str(), log));
    EXPECT_FALSE(log.errors().empty());
}

TEST(Xml, TagPatternsPrefixesAndCase) {
    struct Case {
        const char* tag;
        const char* pattern;
        bool caseInsensitive;
        bool match;
    } cases[] = {
        {"ECCKeyValue", "*:ECCKeyValue", false, true},
        {"ds:ECCKeyValue", "*:ECCKeyValue", false, true},
        {"ECCKeyValue", "*:ECCKeyvalue", false, false},
        {"ECCKeyValue", "*:ECCKeyvalue", true, true},
        {"x:ECCKeyValue", "*:ECCKeyvalue", true, true},
        {"ECCKeyValue", "ECCKEYVALUE", true, true},
        {"ECCKeyValue", "ECCKEYVALUE", false, false},
        {"ds:PublicKey", "PublicKey", false, false},
        {"ds:PublicKey", "ds:PublicKey", false, true},
        {"PublicKey", "ds:PublicKey", false, false},
        {"ds:PublicKeyX", "*:PublicKey", false, false},
        {"PublicKeyX", "*:PublicKey", false, false},
        {"dsPublicKey", "*:PublicKey", false, false},
        {"a:b:PublicKey", "*:PublicKey", false, false},
    };
    for (const Case& c : cases) {
        std::string doc = std::string("<") + c.tag + "/>";
        ClsXml x;
        ASSERT_TRUE(x.loadXml(doc.c_str())) << doc;
        EXPECT_EQ(x.tagMatches(c.pattern, c.caseInsensitive), c.match) << c.tag << " ~ " << c.pattern;
    }
}

TEST(Xml, ChildAccessors) {
    ClsXml x;
    ASSERT_TRUE(x.loadXml("<ds:K xmlns:ds='ns' curve=\"c&amp;1\">"
                          "<ds:NamedCurve URI='urn:oid:1.2.3'/>"
                          "<ds:PublicKey>BAx<!-- no -->y<![CDATA[z]]></ds:PublicKey>"
                          "<PublicKey>second</PublicKey>"
                          "<Empty></Empty>"
                          "</ds:K>"));
    EXPECT_EQ(x.numChildren(), 4u);
    EXPECT_EQ(x.getChild(4), nullptr);
    EXPECT_TRUE(x.hasChildWithTag("*:NamedCurve"));
    EXPECT_FALSE(x.hasChildWithTag("NamedCurve"));
    EXPECT_FALSE(x.hasChildWithTag("*:namedcurve"));

    StringBuffer out("stale");
    EXPECT_TRUE(x.getChildContentUtf8("*:PublicKey", out, false));
    EXPECT_STREQ(out.getString(), "BAxyz");  // first match wins
    EXPECT_TRUE(x.getChildContentUtf8("PublicKey", out, false));
    EXPECT_STREQ(out.getString(), "second");
    EXPECT_TRUE(x.getChildContentUtf8("*:publickey", out, true));
    EXPECT_STREQ(out.getString(), "BAxyz");
    EXPECT_FALSE(x.getChildContentUtf8("*:publickey", out, false));
    EXPECT_STREQ(out.getString(), "");
    EXPECT_TRUE(x.getChildContentUtf8("Empty", out, false));
    EXPECT_STREQ(out.getString(), "");

    out.setString("stale");
    EXPECT_TRUE(x.getChildAttrValue("*:NamedCurve", "URI", out));
    EXPECT_STREQ(out.getString(), "urn:oid:1.2.3");
    out.setString("stale");
    EXPECT_FALSE(x.getChildAttrValue("*:NamedCurve", "uri", out));
    EXPECT_STREQ(out.getString(), "");
    out.setString("stale");
    EXPECT_FALSE(x.getChildAttrValue("*:Missing", "URI", out));
    EXPECT_STREQ(out.getString(), "");

    EXPECT_TRUE(x.getAttrValue("curve", out));
    EXPECT_STREQ(out.getString(), "c&1");
    EXPECT_TRUE(x.getAttrValue("xmlns:ds", out));
    EXPECT_STREQ(out.getString(), "ns");
    out.setString("stale");
    EXPECT_FALSE(x.getAttrValue("absent", out));
    EXPECT_STREQ(out.getString(), "");

    StringBuffer appended("pre-");
    ASSERT_TRUE(x.getChild(1)->getContentSb(appended));
    EXPECT_STREQ(appended.getString(), "pre-BAxyz");
    StringBuffer replaced("pre-");
    ASSERT_TRUE(x.getChild(1)->get_Content(replaced));
    EXPECT_STREQ(replaced.getString(), "BAxyz");

    x.clear();
    EXPECT_STREQ(x.tag(), "");
    EXPECT_EQ(x.numChildren(), 0u);
}

}  // namespace
}  // namespace vn

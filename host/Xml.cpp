// A deliberately small XML reader: enough for key elements handed in by callers, with every
// feature that can make a parser expand, recurse or read past its input left out or bounded.
// Parsing is iterative (an explicit stack of open elements), so hostile nesting costs memory
// bounded by kMaxDepth, never native stack.

#include "host/Xml.h"

#include <cstddef>
#include <new>

#include "host/TextEncoding.h"

namespace vn {

namespace {

struct Attribute {
    StringBuffer name;
    StringBuffer value;
};

}  // namespace

struct ClsXml::Impl {
    StringBuffer tag;
    std::vector<std::unique_ptr<Attribute>> attrs;
    StringBuffer content;
    std::vector<std::unique_ptr<ClsXml>> children;

    // A nested class sees its enclosing class's members; the parser reaches children this way.
    static Impl* of(ClsXml& x) { return x.m_impl.get(); }
    static const Impl* of(const ClsXml& x) { return x.m_impl.get(); }
};

namespace {

bool isXmlSpace(unsigned char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool isNameStart(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == ':' || c >= 0x80;
}

bool isNameChar(unsigned char c) { return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// Code points a document may carry, directly or through a character reference: no NUL, no
// C0 controls except tab, LF and CR, no surrogates, no U+FFFE/U+FFFF, nothing past U+10FFFF.
bool isXmlChar(unsigned long cp) {
    if (cp < 0x20) return cp == 0x9 || cp == 0xA || cp == 0xD;
    if (cp >= 0xD800 && cp <= 0xDFFF) return false;
    if (cp == 0xFFFE || cp == 0xFFFF) return false;
    return cp <= 0x10FFFF;
}


// Decodes one UTF-8 sequence at p (n bytes available). Returns its length, or 0 when it is
// malformed, overlong, a surrogate, beyond U+10FFFF or not an XML character.
std::size_t utf8At(const unsigned char* p, std::size_t n) {
    unsigned char c = p[0];
    unsigned long cp;
    std::size_t len;
    if (c < 0x80) {
        return isXmlChar(c) ? 1 : 0;
    } else if (c >= 0xC2 && c <= 0xDF) {
        cp = c & 0x1Fu;
        len = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        cp = c & 0x0Fu;
        len = 3;
    } else if (c >= 0xF0 && c <= 0xF4) {
        cp = c & 0x07u;
        len = 4;
    } else {
        return 0;
    }
    if (len > n) return 0;
    for (std::size_t i = 1; i < len; ++i) {
        if ((p[i] & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (p[i] & 0x3Fu);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000)) return 0;
    return isXmlChar(cp) ? len : 0;
}

bool equalChars(char a, char b, bool caseInsensitive) {
    if (a == b) return true;
    if (!caseInsensitive) return false;
    if (a >= 'A' && a <= 'Z') a = static_cast<char>(a - 'A' + 'a');
    if (b >= 'A' && b <= 'Z') b = static_cast<char>(b - 'A' + 'a');
    return a == b;
}

bool equalNames(const char* a, const char* b, bool caseInsensitive) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b) {
        if (!equalChars(*a, *b, caseInsensitive)) return false;
    }
    return *a == *b;
}

bool matchTag(const char* tag, const char* pattern, bool caseInsensitive) {
    if (tag == nullptr || pattern == nullptr) return false;
    if (pattern[0] == '*' && pattern[1] == ':') {
        const char* name = pattern + 2;
        if (equalNames(tag, name, caseInsensitive)) return true;
        for (const char* c = tag; *c != '\0'; ++c) {
            // Only a non-empty prefix counts: ":Name" is not "Name" in some namespace.
            if (*c == ':') return c != tag && equalNames(c + 1, name, caseInsensitive);
        }
        return false;
    }
    return equalNames(tag, pattern, caseInsensitive);
}

class Parser {
public:
    Parser(const unsigned char* text, std::size_t len, LogBase& log) : m_p(text), m_len(len), m_log(log) {}

    bool parse(ClsXml& root, ClsXml::Impl& rootImpl);

private:
    bool fail(const char* what, std::size_t offset) {
        m_log.LogError(what);
        m_log.LogDataLong("offset", static_cast<long>(offset));
        return false;
    }
    bool outOfMemory() { return fail("Out of memory while parsing XML.", m_pos); }

    bool startsWith(const char* s) const {
        std::size_t i = 0;
        for (; s[i] != '\0'; ++i) {
            if (m_pos + i >= m_len || m_p[m_pos + i] != static_cast<unsigned char>(s[i])) return false;
        }
        return true;
    }
    void skipSpace() {
        while (m_pos < m_len && isXmlSpace(m_p[m_pos])) ++m_pos;
    }
    bool skipComment();
    bool skipPi();
    bool skipMisc(bool& sawSomething);
    bool readName(StringBuffer& out);
    bool readReference(StringBuffer& out);
    bool readAttributes(ClsXml::Impl& elem, bool& selfClosing);
    bool readText(StringBuffer& out);
    bool readCdata(StringBuffer& out);
    bool readEndTag(const ClsXml::Impl& open);

    const unsigned char* m_p;
    std::size_t m_len;
    std::size_t m_pos = 0;
    LogBase& m_log;
};

bool Parser::skipComment() {
    std::size_t start = m_pos;
    m_pos += 4;  // "<!--"
    while (m_pos < m_len) {
        if (startsWith("--")) {
            // "--" may only close a comment; refusing it elsewhere keeps to the XML grammar.
            if (m_pos + 2 < m_len && m_p[m_pos + 2] == '>') {
                m_pos += 3;
                return true;
            }
            return fail("\"--\" inside an XML comment.", m_pos);
        }
        ++m_pos;
    }
    return fail("Unterminated XML comment.", start);
}

bool Parser::skipPi() {
    std::size_t start = m_pos;
    m_pos += 2;  // "<?"
    if (m_pos >= m_len || !isNameStart(m_p[m_pos])) return fail("Malformed XML processing instruction.", start);
    while (m_pos < m_len) {
        if (startsWith("?>")) {
            m_pos += 2;
            return true;
        }
        ++m_pos;
    }
    return fail("Unterminated XML processing instruction.", start);
}

// Comments, processing instructions and white space outside the root element.
bool Parser::skipMisc(bool& sawSomething) {
    sawSomething = false;
    skipSpace();
    if (startsWith("<!--")) {
        sawSomething = true;
        return skipComment();
    }
    if (startsWith("<?")) {
        sawSomething = true;
        return skipPi();
    }
    if (startsWith("<!DOCTYPE") || startsWith("<!doctype")) return fail("XML DOCTYPE is not allowed.", m_pos);
    return true;
}

bool Parser::readName(StringBuffer& out) {
    std::size_t start = m_pos;
    if (m_pos >= m_len || !isNameStart(m_p[m_pos])) return fail("Expected an XML name.", m_pos);
    while (m_pos < m_len && isNameChar(m_p[m_pos])) ++m_pos;
    if (!out.appendN(reinterpret_cast<const char*>(m_p + start), static_cast<unsigned>(m_pos - start))) {
        return outOfMemory();
    }
    return true;
}

// At '&': the five predefined entities and character references, nothing else.
bool Parser::readReference(StringBuffer& out) {
    std::size_t start = m_pos;
    ++m_pos;
    if (m_pos < m_len && m_p[m_pos] == '#') {
        ++m_pos;
        unsigned long base = 10;
        if (m_pos < m_len && m_p[m_pos] == 'x') {
            base = 16;
            ++m_pos;
        }
        unsigned long cp = 0;
        std::size_t digits = 0;
        while (m_pos < m_len && m_p[m_pos] != ';') {
            unsigned char c = m_p[m_pos];
            unsigned long v;
            if (c >= '0' && c <= '9') {
                v = static_cast<unsigned long>(c - '0');
            } else if (base == 16 && c >= 'a' && c <= 'f') {
                v = static_cast<unsigned long>(c - 'a' + 10);
            } else if (base == 16 && c >= 'A' && c <= 'F') {
                v = static_cast<unsigned long>(c - 'A' + 10);
            } else {
                return fail("Malformed XML character reference.", start);
            }
            cp = cp * base + v;
            // Stop growing early so long digit runs cannot overflow.
            if (cp > 0x10FFFF) return fail("XML character reference out of range.", start);
            ++digits;
            ++m_pos;
        }
        if (m_pos >= m_len || digits == 0) return fail("Malformed XML character reference.", start);
        ++m_pos;  // ';'
        if (!isXmlChar(cp)) return fail("XML character reference to an invalid character.", start);
        if (!encoding::appendUtf8(cp, out)) return outOfMemory();
        return true;
    }
    static const struct {
        const char* name;
        char value;
    } kEntities[] = {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"quot;", '"'}, {"apos;", '\''}};
    for (const auto& e : kEntities) {
        if (startsWith(e.name)) {
            std::size_t i = 0;
            while (e.name[i] != '\0') ++i;
            m_pos += i;
            if (!out.appendChar(e.value)) return outOfMemory();
            return true;
        }
    }
    return fail("Unknown XML entity.", start);
}

bool Parser::readAttributes(ClsXml::Impl& elem, bool& selfClosing) {
    for (;;) {
        std::size_t before = m_pos;
        skipSpace();
        if (m_pos >= m_len) return fail("Unterminated XML start tag.", m_pos);
        if (m_p[m_pos] == '>') {
            ++m_pos;
            selfClosing = false;
            return true;
        }
        if (startsWith("/>")) {
            m_pos += 2;
            selfClosing = true;
            return true;
        }
        if (m_pos == before) return fail("Expected white space before an XML attribute.", m_pos);
        std::unique_ptr<Attribute> attr(new (std::nothrow) Attribute);
        if (!attr) return outOfMemory();
        std::size_t nameAt = m_pos;
        if (!readName(attr->name)) return false;
        for (const auto& a : elem.attrs) {
            if (a->name.equals(attr->name)) return fail("Duplicate XML attribute.", nameAt);
        }
        skipSpace();
        if (m_pos >= m_len || m_p[m_pos] != '=') return fail("Expected '=' after an XML attribute name.", m_pos);
        ++m_pos;
        skipSpace();
        if (m_pos >= m_len || (m_p[m_pos] != '"' && m_p[m_pos] != '\'')) {
            return fail("Expected a quoted XML attribute value.", m_pos);
        }
        unsigned char quote = m_p[m_pos];
        std::size_t valueAt = m_pos;
        ++m_pos;
        for (;;) {
            if (m_pos >= m_len) return fail("Unterminated XML attribute value.", valueAt);
            unsigned char c = m_p[m_pos];
            if (c == quote) {
                ++m_pos;
                break;
            }
            if (c == '<') return fail("'<' in an XML attribute value.", m_pos);
            if (c == '&') {
                if (!readReference(attr->value)) return false;
                continue;
            }
            if (!attr->value.appendChar(static_cast<char>(c))) return outOfMemory();
            ++m_pos;
        }
        elem.attrs.push_back(std::move(attr));
    }
}

bool Parser::readText(StringBuffer& out) {
    while (m_pos < m_len && m_p[m_pos] != '<') {
        if (m_p[m_pos] == '&') {
            if (!readReference(out)) return false;
            continue;
        }
        std::size_t start = m_pos;
        while (m_pos < m_len && m_p[m_pos] != '<' && m_p[m_pos] != '&') ++m_pos;
        if (!out.appendN(reinterpret_cast<const char*>(m_p + start), static_cast<unsigned>(m_pos - start))) {
            return outOfMemory();
        }
    }
    return true;
}

bool Parser::readCdata(StringBuffer& out) {
    std::size_t start = m_pos;
    m_pos += 9;  // "<![CDATA["
    std::size_t body = m_pos;
    while (m_pos < m_len) {
        if (startsWith("]]>")) {
            if (!out.appendN(reinterpret_cast<const char*>(m_p + body), static_cast<unsigned>(m_pos - body))) {
                return outOfMemory();
            }
            m_pos += 3;
            return true;
        }
        ++m_pos;
    }
    return fail("Unterminated XML CDATA section.", start);
}

bool Parser::readEndTag(const ClsXml::Impl& open) {
    std::size_t start = m_pos;
    m_pos += 2;  // "</"
    StringBuffer name;
    if (!readName(name)) return false;
    skipSpace();
    if (m_pos >= m_len || m_p[m_pos] != '>') return fail("Malformed XML end tag.", start);
    ++m_pos;
    if (!name.equals(open.tag)) return fail("XML end tag does not match the start tag.", start);
    return true;
}

bool Parser::parse(ClsXml& root, ClsXml::Impl& rootImpl) {
    if (startsWith("\xEF\xBB\xBF")) m_pos = 3;
    for (bool more = true; more;) {
        if (!skipMisc(more)) return false;
    }
    if (m_pos >= m_len) return fail("No XML root element.", m_pos);
    if (m_p[m_pos] != '<' || startsWith("<!")) return fail("Expected the XML root element.", m_pos);

    // Open elements: the element and its Impl, innermost last.
    std::vector<std::pair<ClsXml*, ClsXml::Impl*>> open;
    open.reserve(ClsXml::kMaxDepth);
    ClsXml* pendingNode = &root;
    ClsXml::Impl* pendingImpl = &rootImpl;
    bool haveStartTag = true;  // m_pos is at the '<' of a start tag for pendingNode
    for (;;) {
        if (haveStartTag) {
            haveStartTag = false;
            if (open.size() >= ClsXml::kMaxDepth) return fail("XML nesting too deep.", m_pos);
            ++m_pos;  // '<'
            if (!readName(pendingImpl->tag)) return false;
            bool selfClosing = false;
            if (!readAttributes(*pendingImpl, selfClosing)) return false;
            if (!selfClosing) open.emplace_back(pendingNode, pendingImpl);
            if (open.empty()) break;
        }
        ClsXml::Impl& top = *open.back().second;
        if (m_pos >= m_len) return fail("Unclosed XML element.", m_pos);
        if (m_p[m_pos] != '<') {
            if (!readText(top.content)) return false;
            continue;
        }
        if (startsWith("</")) {
            if (!readEndTag(top)) return false;
            open.pop_back();
            if (open.empty()) break;
            continue;
        }
        if (startsWith("<!--")) {
            if (!skipComment()) return false;
            continue;
        }
        if (startsWith("<![CDATA[")) {
            if (!readCdata(top.content)) return false;
            continue;
        }
        if (startsWith("<?")) {
            if (!skipPi()) return false;
            continue;
        }
        if (startsWith("<!")) {
            if (startsWith("<!DOCTYPE")) return fail("XML DOCTYPE is not allowed.", m_pos);
            return fail("Unsupported XML markup.", m_pos);
        }
        std::unique_ptr<ClsXml> child(new (std::nothrow) ClsXml);
        if (!child) return outOfMemory();
        // A fresh ClsXml owns an Impl; reach it through the parent's list once stored.
        top.children.push_back(std::move(child));
        pendingNode = top.children.back().get();
        pendingImpl = ClsXml::Impl::of(*pendingNode);
        haveStartTag = true;
    }
    for (bool more = true; more;) {
        if (!skipMisc(more)) return false;
    }
    if (m_pos < m_len) return fail("Content after the XML root element.", m_pos);
    return true;
}

// Length of the NUL-terminated text, scanning no further than limit + 1 bytes.
std::size_t boundedLength(const char* text, std::size_t limit) {
    std::size_t n = 0;
    while (n <= limit && text[n] != '\0') ++n;
    return n;
}

}  // namespace

// Out-of-line definitions, so that callers may bind the limits to references.
const unsigned ClsXml::kMaxDepth;
const unsigned ClsXml::kMaxTextBytes;

ClsXml::ClsXml() : m_impl(new Impl) {}

ClsXml::~ClsXml() = default;

void ClsXml::clear() {
    Impl& i = *m_impl;
    i.tag.clear();
    i.attrs.clear();
    i.content.secureClear();
    i.children.clear();
}

bool ClsXml::loadXml(const char* xmlText) {
    LogNull log;
    return loadXml(xmlText, log);
}

bool ClsXml::loadXml(const char* xmlText, LogBase& log) {
    LogContextExitor ctx(log, "loadXml");
    clear();
    if (xmlText == nullptr) {
        log.LogError("No XML text.");
        return false;
    }
    std::size_t len = boundedLength(xmlText, kMaxTextBytes);
    if (len > kMaxTextBytes) {
        log.LogError("XML text too long.");
        log.LogDataLong("offset", static_cast<long>(kMaxTextBytes));
        return false;
    }
    const unsigned char* p = reinterpret_cast<const unsigned char*>(xmlText);
    for (std::size_t i = 0; i < len;) {
        std::size_t n = utf8At(p + i, len - i);
        if (n == 0) {
            log.LogError("Invalid UTF-8 or character in XML text.");
            log.LogDataLong("offset", static_cast<long>(i));
            return false;
        }
        i += n;
    }
    try {
        ClsXml parsed;
        Parser parser(p, len, log);
        if (!parser.parse(parsed, *parsed.m_impl)) return false;
        m_impl.swap(parsed.m_impl);
        return true;
    } catch (const std::bad_alloc&) {
        clear();
        log.LogError("Out of memory while parsing XML.");
        return false;
    }
}

const char* ClsXml::tag() const { return m_impl->tag.getString(); }

bool ClsXml::tagMatches(const char* pattern, bool caseInsensitive) const {
    return matchTag(m_impl->tag.getString(), pattern, caseInsensitive);
}

unsigned ClsXml::numChildren() const { return static_cast<unsigned>(m_impl->children.size()); }

const ClsXml* ClsXml::getChild(unsigned i) const {
    return i < m_impl->children.size() ? m_impl->children[i].get() : nullptr;
}

const ClsXml* ClsXml::findChild(const char* pattern) const {
    for (const auto& c : m_impl->children) {
        if (c->tagMatches(pattern, false)) return c.get();
    }
    return nullptr;
}

bool ClsXml::hasChildWithTag(const char* pattern) const { return findChild(pattern) != nullptr; }

bool ClsXml::getChildContentUtf8(const char* pattern, StringBuffer& out, bool caseInsensitive) const {
    out.secureClear();
    for (const auto& c : m_impl->children) {
        if (c->tagMatches(pattern, caseInsensitive)) return out.append(Impl::of(*c)->content);
    }
    return false;
}

bool ClsXml::getChildAttrValue(const char* pattern, const char* attr, StringBuffer& out) const {
    out.secureClear();
    const ClsXml* child = findChild(pattern);
    return child != nullptr && child->getAttrValue(attr, out);
}

bool ClsXml::getAttrValue(const char* attr, StringBuffer& out) const {
    out.secureClear();
    if (attr == nullptr) return false;
    for (const auto& a : m_impl->attrs) {
        if (a->name.equals(attr)) return out.append(a->value);
    }
    return false;
}

bool ClsXml::get_Content(StringBuffer& out) const {
    out.secureClear();
    return out.append(m_impl->content);
}

bool ClsXml::getContentSb(StringBuffer& out) const { return out.append(m_impl->content); }

}  // namespace vn

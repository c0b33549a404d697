// A strict RFC 8259 reader. Every byte is looked at once, in order, with the position
// checked against the measured length before each read; nesting is bounded by kMaxDepth, so
// recursion is too. Arrays are validated but their elements are not kept: a path reaches
// only through objects, so nothing in an array could ever be asked for.

#include "host/JsonObject.h"

#include <cstring>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "host/TextEncoding.h"

namespace vn {

struct ClsJsonObject::Node {
    enum class Type { Object, Array, String, Number, True, False, Null };
    Type type = Type::Null;
    StringBuffer name;  // member name (decoded); empty for the root
    StringBuffer text;  // decoded string or number literal
    std::vector<std::unique_ptr<Node>> members;

    bool nameIs(const char* segment, std::size_t n) const {
        return name.getSize() == n && std::memcmp(name.getString(), segment, n) == 0;
    }
};

namespace {

using Node = ClsJsonObject::Node;

class Parser {
public:
    Parser(const unsigned char* text, std::size_t len, LogBase& log) : m_s(text), m_len(len), m_log(log) {}

    std::unique_ptr<Node> parseDocument() {
        skipSpace();
        if (m_pos >= m_len) {
            fail("JSON: empty text");
            return nullptr;
        }
        if (m_s[m_pos] != '{') {
            fail("JSON: the top-level value is not an object");
            return nullptr;
        }
        std::unique_ptr<Node> root = parseValue(1);
        if (!root) return nullptr;
        skipSpace();
        if (m_pos != m_len) {
            fail("JSON: unexpected text after the object");
            return nullptr;
        }
        return root;
    }

private:
    void fail(const char* what) {
        m_log.LogError(what);
        m_log.LogDataLong("offset", static_cast<long>(m_pos));
    }

    bool atEnd() const { return m_pos >= m_len; }
    unsigned char peek() const { return m_pos < m_len ? m_s[m_pos] : 0; }

    void skipSpace() {
        while (m_pos < m_len) {
            unsigned char c = m_s[m_pos];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r') break;
            ++m_pos;
        }
    }

    // depth: the nesting level a container opened here would have (the root object is 1).
    std::unique_ptr<Node> parseValue(unsigned depth) {
        auto node = std::make_unique<Node>();
        if (atEnd()) {
            fail("JSON: unexpected end of text");
            return nullptr;
        }
        unsigned char c = m_s[m_pos];
        bool ok = false;
        switch (c) {
            case '{':
                node->type = Node::Type::Object;
                ok = parseObject(*node, depth);
                break;
            case '[':
                node->type = Node::Type::Array;
                ok = parseArray(depth);
                break;
            case '"':
                node->type = Node::Type::String;
                ok = parseString(node->text);
                break;
            case 't':
                node->type = Node::Type::True;
                ok = parseLiteral("true");
                break;
            case 'f':
                node->type = Node::Type::False;
                ok = parseLiteral("false");
                break;
            case 'n':
                node->type = Node::Type::Null;
                ok = parseLiteral("null");
                break;
            default:
                if (c == '-' || (c >= '0' && c <= '9')) {
                    node->type = Node::Type::Number;
                    ok = parseNumber(node->text);
                } else {
                    fail("JSON: unexpected character");
                }
        }
        if (!ok) return nullptr;
        return node;
    }

    bool enter(unsigned depth) {
        if (depth > ClsJsonObject::kMaxDepth) {
            fail("JSON: nesting too deep");
            m_log.LogDataLong("maxDepth", static_cast<long>(ClsJsonObject::kMaxDepth));
            return false;
        }
        return true;
    }

    bool parseObject(Node& obj, unsigned depth) {
        if (!enter(depth)) return false;
        ++m_pos;  // '{'
        // Views into the names of members already kept; each member lives on the heap, so
        // the views stay valid while the vector grows.
        std::unordered_set<std::string_view> seen;
        skipSpace();
        if (peek() == '}') {
            ++m_pos;
            return true;
        }
        for (;;) {
            skipSpace();
            if (peek() != '"') {
                fail(atEnd() ? "JSON: unexpected end of text" : "JSON: expected a member name");
                return false;
            }
            std::size_t nameAt = m_pos;
            StringBuffer name;
            if (!parseString(name)) return false;
            skipSpace();
            if (peek() != ':') {
                fail(atEnd() ? "JSON: unexpected end of text" : "JSON: expected ':'");
                return false;
            }
            ++m_pos;
            skipSpace();
            std::unique_ptr<Node> value = parseValue(depth + 1);
            if (!value) return false;
            value->name.setString(name);
            std::string_view key(value->name.getString(), value->name.getSize());
            if (!seen.insert(key).second) {
                m_pos = nameAt;
                fail("JSON: duplicate member name");
                return false;
            }
            obj.members.push_back(std::move(value));
            skipSpace();
            unsigned char c = peek();
            if (c == ',') {
                ++m_pos;
                continue;
            }
            if (c == '}') {
                ++m_pos;
                return true;
            }
            fail(atEnd() ? "JSON: unexpected end of text" : "JSON: expected ',' or '}'");
            return false;
        }
    }

    bool parseArray(unsigned depth) {
        if (!enter(depth)) return false;
        ++m_pos;  // '['
        skipSpace();
        if (peek() == ']') {
            ++m_pos;
            return true;
        }
        for (;;) {
            skipSpace();
            if (!parseValue(depth + 1)) return false;
            skipSpace();
            unsigned char c = peek();
            if (c == ',') {
                ++m_pos;
                continue;
            }
            if (c == ']') {
                ++m_pos;
                return true;
            }
            fail(atEnd() ? "JSON: unexpected end of text" : "JSON: expected ',' or ']'");
            return false;
        }
    }

    bool parseLiteral(const char* word) {
        std::size_t n = std::strlen(word);
        if (m_len - m_pos < n || std::memcmp(m_s + m_pos, word, n) != 0) {
            fail("JSON: unexpected character");
            return false;
        }
        m_pos += n;
        return true;
    }

    bool digitAt(std::size_t i) const { return i < m_len && m_s[i] >= '0' && m_s[i] <= '9'; }

    bool parseNumber(StringBuffer& out) {
        std::size_t start = m_pos;
        std::size_t i = m_pos;
        if (i < m_len && m_s[i] == '-') ++i;
        if (!digitAt(i)) {
            m_pos = i;
            fail("JSON: malformed number");
            return false;
        }
        if (m_s[i] == '0') {
            ++i;
            if (digitAt(i)) {
                m_pos = i;
                fail("JSON: leading zero in number");
                return false;
            }
        } else {
            while (digitAt(i)) ++i;
        }
        if (i < m_len && m_s[i] == '.') {
            ++i;
            if (!digitAt(i)) {
                m_pos = i;
                fail("JSON: malformed number");
                return false;
            }
            while (digitAt(i)) ++i;
        }
        if (i < m_len && (m_s[i] == 'e' || m_s[i] == 'E')) {
            ++i;
            if (i < m_len && (m_s[i] == '+' || m_s[i] == '-')) ++i;
            if (!digitAt(i)) {
                m_pos = i;
                fail("JSON: malformed number");
                return false;
            }
            while (digitAt(i)) ++i;
        }
        m_pos = i;
        return out.appendN(reinterpret_cast<const char*>(m_s + start), static_cast<unsigned>(i - start));
    }

    bool hex4(unsigned& value) {
        value = 0;
        for (int k = 0; k < 4; ++k) {
            if (atEnd()) {
                fail("JSON: unexpected end of text");
                return false;
            }
            unsigned char c = m_s[m_pos];
            unsigned d;
            if (c >= '0' && c <= '9') {
                d = static_cast<unsigned>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                d = static_cast<unsigned>(c - 'a' + 10);
            } else if (c >= 'A' && c <= 'F') {
                d = static_cast<unsigned>(c - 'A' + 10);
            } else {
                fail("JSON: bad \\u escape");
                return false;
            }
            value = (value << 4) | d;
            ++m_pos;
        }
        return true;
    }


    // Starts after the backslash.
    bool parseEscape(StringBuffer& out) {
        if (atEnd()) {
            fail("JSON: unexpected end of text");
            return false;
        }
        unsigned char c = m_s[m_pos];
        char plain = 0;
        switch (c) {
            case '"': plain = '"'; break;
            case '\\': plain = '\\'; break;
            case '/': plain = '/'; break;
            case 'b': plain = '\b'; break;
            case 'f': plain = '\f'; break;
            case 'n': plain = '\n'; break;
            case 'r': plain = '\r'; break;
            case 't': plain = '\t'; break;
            case 'u': break;
            default:
                fail("JSON: bad escape in string");
                return false;
        }
        ++m_pos;
        if (c != 'u') return out.appendChar(plain);

        std::size_t escapeAt = m_pos - 2;
        unsigned cp;
        if (!hex4(cp)) return false;
        if (cp >= 0xDC00 && cp <= 0xDFFF) {
            m_pos = escapeAt;
            fail("JSON: lone low surrogate in \\u escape");
            return false;
        }
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            unsigned low = 0;
            if (m_len - m_pos < 2 || m_s[m_pos] != '\\' || m_s[m_pos + 1] != 'u') {
                m_pos = escapeAt;
                fail("JSON: high surrogate without a low surrogate");
                return false;
            }
            m_pos += 2;
            if (!hex4(low)) return false;
            if (low < 0xDC00 || low > 0xDFFF) {
                m_pos = escapeAt;
                fail("JSON: high surrogate without a low surrogate");
                return false;
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        }
        return encoding::appendUtf8(cp, out);
    }

    bool continuationAt(std::size_t i, unsigned char lo = 0x80, unsigned char hi = 0xBF) const {
        return i < m_len && m_s[i] >= lo && m_s[i] <= hi;
    }

    // Length of the well-formed UTF-8 sequence at m_pos (RFC 3629 table), 0 when malformed.
    std::size_t utf8Length() const {
        unsigned char c = m_s[m_pos];
        std::size_t i = m_pos;
        if (c >= 0xC2 && c <= 0xDF) return continuationAt(i + 1) ? 2 : 0;
        if (c >= 0xE0 && c <= 0xEF) {
            unsigned char lo = c == 0xE0 ? 0xA0 : 0x80;  // overlong
            unsigned char hi = c == 0xED ? 0x9F : 0xBF;  // surrogates
            return continuationAt(i + 1, lo, hi) && continuationAt(i + 2) ? 3 : 0;
        }
        if (c >= 0xF0 && c <= 0xF4) {
            unsigned char lo = c == 0xF0 ? 0x90 : 0x80;  // overlong
            unsigned char hi = c == 0xF4 ? 0x8F : 0xBF;  // above U+10FFFF
            return continuationAt(i + 1, lo, hi) && continuationAt(i + 2) && continuationAt(i + 3) ? 4 : 0;
        }
        return 0;
    }

    // Starts at the opening quote; appends the decoded text to out.
    bool parseString(StringBuffer& out) {
        ++m_pos;
        for (;;) {
            // Copy runs of plain bytes in one piece.
            std::size_t run = m_pos;
            while (run < m_len && m_s[run] >= 0x20 && m_s[run] < 0x80 && m_s[run] != '"' && m_s[run] != '\\') ++run;
            if (run > m_pos &&
                !out.appendN(reinterpret_cast<const char*>(m_s + m_pos), static_cast<unsigned>(run - m_pos))) {
                fail("JSON: out of memory");
                return false;
            }
            m_pos = run;
            if (atEnd()) {
                fail("JSON: unterminated string");
                return false;
            }
            unsigned char c = m_s[m_pos];
            if (c == '"') {
                ++m_pos;
                return true;
            }
            if (c == '\\') {
                ++m_pos;
                if (!parseEscape(out)) return false;
                continue;
            }
            if (c < 0x20) {
                fail("JSON: control character in string");
                return false;
            }
            std::size_t n = utf8Length();
            if (n == 0) {
                fail("JSON: invalid UTF-8");
                return false;
            }
            if (!out.appendN(reinterpret_cast<const char*>(m_s + m_pos), static_cast<unsigned>(n))) {
                fail("JSON: out of memory");
                return false;
            }
            m_pos += n;
        }
    }

    const unsigned char* m_s;
    std::size_t m_len;
    std::size_t m_pos = 0;
    LogBase& m_log;
};

// The node at a dotted path, or null. Empty segments match nothing.
const Node* findPath(const Node* root, const char* path) {
    if (root == nullptr || path == nullptr) return nullptr;
    const Node* cur = root;
    const char* seg = path;
    for (;;) {
        const char* dot = std::strchr(seg, '.');
        std::size_t n = dot != nullptr ? static_cast<std::size_t>(dot - seg) : std::strlen(seg);
        if (n == 0 || cur->type != Node::Type::Object) return nullptr;
        const Node* next = nullptr;
        for (const auto& m : cur->members) {
            if (m->nameIs(seg, n)) {
                next = m.get();
                break;
            }
        }
        if (next == nullptr) return nullptr;
        if (dot == nullptr) return next;
        cur = next;
        seg = dot + 1;
    }
}

}  // namespace

// Callers may take the limits' addresses (a reference binding is enough), so they need storage.
const unsigned ClsJsonObject::kMaxDepth;
const unsigned ClsJsonObject::kMaxTextBytes;

ClsJsonObject::ClsJsonObject() = default;
ClsJsonObject::~ClsJsonObject() = default;

void ClsJsonObject::clear() { m_root.reset(); }

bool ClsJsonObject::load(const char* jsonText, LogBase& log) {
    clear();
    if (jsonText == nullptr) {
        log.LogError("JSON: no text");
        return false;
    }
    // Measured with a bounded scan, so an oversized text costs no more than the limit.
    std::size_t len = 0;
    while (len <= kMaxTextBytes && jsonText[len] != '\0') ++len;
    if (len > kMaxTextBytes) {
        log.LogError("JSON: text too long");
        log.LogDataLong("maxBytes", static_cast<long>(kMaxTextBytes));
        return false;
    }
    Parser parser(reinterpret_cast<const unsigned char*>(jsonText), len, log);
    m_root = parser.parseDocument();
    return m_root != nullptr;
}

bool ClsJsonObject::load(const char* jsonText) {
    LogNull quiet;
    return load(jsonText, quiet);
}

bool ClsJsonObject::hasMember(const char* name, LogBase& log) const {
    (void)log;
    return findPath(m_root.get(), name) != nullptr;
}

bool ClsJsonObject::sbOfPathUtf8(const char* path, StringBuffer& out, LogBase& log) const {
    out.clear();
    const Node* node = findPath(m_root.get(), path);
    if (node == nullptr) return false;
    bool ok = false;
    switch (node->type) {
        case Node::Type::String:
        case Node::Type::Number:
            // A C-string reader would see only the text before an embedded NUL; handing that
            // out as the value would let two readers disagree on it.
            if (std::memchr(node->text.getString(), 0, node->text.getSize()) != nullptr) {
                log.LogError("JSON: the value holds a NUL character");
                log.LogDataStr("path", path);
                return false;
            }
            ok = out.append(node->text);
            break;
        case Node::Type::True: ok = out.append("true"); break;
        case Node::Type::False: ok = out.append("false"); break;
        default: return false;
    }
    if (!ok) out.clear();
    return ok;
}

unsigned ClsJsonObject::numMembers() const {
    return m_root ? static_cast<unsigned>(m_root->members.size()) : 0;
}

}  // namespace vn

#include "host/TextEncoding.h"

#include "host/DataBuffer.h"
#include "host/StringBuffer.h"

namespace vn {
namespace encoding {

namespace {

const char kStdAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char kUrlAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

int base64Value(char c, bool url) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == (url ? '-' : '+')) return 62;
    if (c == (url ? '_' : '/')) return 63;
    return -1;
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool equalsNoCase(const char* a, const char* b) {
    for (; *a != '\0' && *b != '\0'; ++a, ++b) {
        char x = (*a >= 'A' && *a <= 'Z') ? static_cast<char>(*a + 32) : *a;
        if (x != *b) return false;
    }
    return *a == *b;
}

}  // namespace

Kind kindFromName(const char* name) {
    if (name == nullptr) return Kind::Unknown;
    if (equalsNoCase(name, "hex")) return Kind::Hex;
    if (equalsNoCase(name, "base64")) return Kind::Base64;
    if (equalsNoCase(name, "base64url")) return Kind::Base64Url;
    return Kind::Unknown;
}

bool hexEncode(const unsigned char* bytes, std::size_t n, StringBuffer& out) {
    static const char digits[] = "0123456789ABCDEF";
    char pair[2];
    for (std::size_t i = 0; i < n; ++i) {
        pair[0] = digits[bytes[i] >> 4];
        pair[1] = digits[bytes[i] & 0x0F];
        if (!out.appendN(pair, 2)) return false;
    }
    return true;
}

bool hexDecode(const char* text, std::size_t len, DataBuffer& out) {
    if (len % 2 != 0) return false;
    for (std::size_t i = 0; i < len; ++i) {
        if (hexValue(text[i]) < 0) return false;
    }
    unsigned start = out.getSize();
    for (std::size_t i = 0; i < len; i += 2) {
        auto b = static_cast<unsigned char>((hexValue(text[i]) << 4) | hexValue(text[i + 1]));
        if (!out.appendChar(b)) {
            out.truncate(start);
            return false;
        }
    }
    return true;
}

bool base64Encode(const unsigned char* bytes, std::size_t n, bool url, StringBuffer& out) {
    const char* alphabet = url ? kUrlAlphabet : kStdAlphabet;
    char quad[4];
    std::size_t i = 0;
    for (; i + 3 <= n; i += 3) {
        unsigned v = (unsigned{bytes[i]} << 16) | (unsigned{bytes[i + 1]} << 8) | bytes[i + 2];
        quad[0] = alphabet[(v >> 18) & 63];
        quad[1] = alphabet[(v >> 12) & 63];
        quad[2] = alphabet[(v >> 6) & 63];
        quad[3] = alphabet[v & 63];
        if (!out.appendN(quad, 4)) return false;
    }
    std::size_t rest = n - i;
    if (rest == 0) return true;
    unsigned v = unsigned{bytes[i]} << 16;
    if (rest == 2) v |= unsigned{bytes[i + 1]} << 8;
    quad[0] = alphabet[(v >> 18) & 63];
    quad[1] = alphabet[(v >> 12) & 63];
    quad[2] = rest == 2 ? alphabet[(v >> 6) & 63] : '=';
    quad[3] = '=';
    unsigned len = url ? static_cast<unsigned>(rest + 1) : 4u;
    return out.appendN(quad, len);
}

bool base64Decode(const char* text, std::size_t len, bool url, DataBuffer& out) {
    unsigned start = out.getSize();
    unsigned acc = 0;
    int bits = 0;
    std::size_t chars = 0;
    std::size_t padding = 0;
    for (std::size_t i = 0; i < len; ++i) {
        char c = text[i];
        if (isSpace(c)) continue;
        if (c == '=') {
            ++padding;
            continue;
        }
        int v = base64Value(c, url);
        // Nothing but white space and '=' may follow the first '='.
        if (v < 0 || padding != 0) {
            out.truncate(start);
            return false;
        }
        ++chars;
        acc = (acc << 6) | static_cast<unsigned>(v);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            if (!out.appendChar(static_cast<unsigned char>(acc >> bits))) {
                out.truncate(start);
                return false;
            }
            acc &= (1u << bits) - 1;
        }
    }
    std::size_t rem = chars % 4;
    bool ok = rem != 1 && (acc == 0) &&
              (padding == 0 || (padding <= 2 && (chars + padding) % 4 == 0 && rem != 0));
    if (!ok) out.truncate(start);
    return ok;
}

bool appendUtf8(unsigned long cp, StringBuffer& out) {
    char b[4];
    unsigned n;
    if (cp < 0x80) {
        b[0] = static_cast<char>(cp);
        n = 1;
    } else if (cp < 0x800) {
        b[0] = static_cast<char>(0xC0 | (cp >> 6));
        b[1] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 2;
    } else if (cp < 0x10000) {
        b[0] = static_cast<char>(0xE0 | (cp >> 12));
        b[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        b[2] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 3;
    } else {
        b[0] = static_cast<char>(0xF0 | (cp >> 18));
        b[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        b[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        b[3] = static_cast<char>(0x80 | (cp & 0x3F));
        n = 4;
    }
    return out.appendN(b, n);
}

}  // namespace encoding
}  // namespace vn

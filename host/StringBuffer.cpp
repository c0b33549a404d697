#include "host/StringBuffer.h"

#include <cstdint>
#include <cstdio>
#include <utility>
#include <cstring>

#include "host/SecureWipe.h"

namespace vn {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c; }
char upper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - ('a' - 'A')) : c; }

}  // namespace

StringBuffer::StringBuffer() { m_store.m_secure = true; }

StringBuffer::StringBuffer(const char* text) : StringBuffer() { setString(text); }

bool StringBuffer::grow(std::size_t extra) { return m_store.reserve(m_len + extra + 1); }

bool StringBuffer::setString(const char* text) {
    clear();
    return append(text);
}

bool StringBuffer::setString(const StringBuffer& other) {
    if (&other == this) return true;
    clear();
    return append(other);
}

bool StringBuffer::appendN(const char* text, unsigned n) {
    if (n != 0 && text == nullptr) return false;
    // The text may lie inside this very buffer (s.append(s), a slice of itself); growing
    // may move the block, so remember where it was relative to the start.
    auto base = reinterpret_cast<std::uintptr_t>(m_store.data());
    auto at = reinterpret_cast<std::uintptr_t>(text);
    bool inside = base != 0 && at >= base && at < base + m_store.capacity();
    std::size_t offset = inside ? static_cast<std::size_t>(at - base) : 0;
    if (!grow(n)) return false;
    if (inside) text = reinterpret_cast<const char*>(m_store.data()) + offset;
    if (n != 0) std::memmove(m_store.data() + m_len, text, n);
    m_len += n;
    m_store.data()[m_len] = '\0';
    return true;
}

bool StringBuffer::append(const char* text) {
    if (text == nullptr) return true;
    return appendN(text, static_cast<unsigned>(std::strlen(text)));
}

bool StringBuffer::append(const StringBuffer& other) {
    return appendN(other.getString(), other.getSize());
}

bool StringBuffer::append(int value) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%d", value);
    return append(digits);
}

bool StringBuffer::append2(const char* a, const char* b) { return append(a) && append(b); }

bool StringBuffer::append3(const char* a, const char* b, const char* c) {
    return append(a) && append(b) && append(c);
}

bool StringBuffer::appendChar(char c) { return appendN(&c, 1); }

void StringBuffer::clear() {
    m_len = 0;
    if (m_store.data() != nullptr) m_store.data()[0] = '\0';
}

void StringBuffer::secureClear() {
    if (m_store.data() != nullptr) secureWipe(m_store.data(), m_store.capacity());
    m_len = 0;
}

const char* StringBuffer::getString() const {
    return m_store.data() != nullptr ? reinterpret_cast<const char*>(m_store.data()) : "";
}

bool StringBuffer::equals(const char* text) const {
    if (text == nullptr) return m_len == 0;
    return std::strlen(text) == m_len && std::memcmp(getString(), text, m_len) == 0;
}

bool StringBuffer::equals(const StringBuffer& other) const {
    return other.m_len == m_len && std::memcmp(getString(), other.getString(), m_len) == 0;
}

bool StringBuffer::equalsIgnoreCase(const char* text) const {
    if (text == nullptr) return m_len == 0;
    if (std::strlen(text) != m_len) return false;
    const char* s = getString();
    for (std::size_t i = 0; i < m_len; ++i) {
        if (lower(s[i]) != lower(text[i])) return false;
    }
    return true;
}

bool StringBuffer::beginsWith(const char* prefix) const {
    if (prefix == nullptr) return true;
    std::size_t n = std::strlen(prefix);
    return n <= m_len && std::memcmp(getString(), prefix, n) == 0;
}

bool StringBuffer::containsSubstring(const char* text) const {
    if (text == nullptr || *text == '\0') return true;
    return std::strstr(getString(), text) != nullptr;
}

void StringBuffer::toLowerCase() {
    for (std::size_t i = 0; i < m_len; ++i) {
        m_store.data()[i] = static_cast<unsigned char>(lower(static_cast<char>(m_store.data()[i])));
    }
}

void StringBuffer::toUpperCase() {
    for (std::size_t i = 0; i < m_len; ++i) {
        m_store.data()[i] = static_cast<unsigned char>(upper(static_cast<char>(m_store.data()[i])));
    }
}

void StringBuffer::trim2() {
    if (m_len == 0) return;
    char* s = reinterpret_cast<char*>(m_store.data());
    std::size_t start = 0;
    while (start < m_len && isSpace(s[start])) ++start;
    std::size_t end = m_len;
    while (end > start && isSpace(s[end - 1])) --end;
    std::size_t n = end - start;
    if (start > 0) std::memmove(s, s + start, n);
    // Wipe what the shift leaves behind past the new end.
    if (n < m_len) secureWipe(s + n, m_len - n);
    m_len = n;
    s[m_len] = '\0';
}

bool StringBuffer::replaceFirstOccurance(const char* find, const char* with, bool caseInsensitive) {
    if (caseInsensitive || find == nullptr || *find == '\0') return false;
    const char* s = getString();
    const char* hit = std::strstr(s, find);
    if (hit == nullptr) return false;
    std::size_t at = static_cast<std::size_t>(hit - s);
    std::size_t findLen = std::strlen(find);
    StringBuffer out;
    if (!out.appendN(s, static_cast<unsigned>(at)) || !out.append(with) ||
        !out.appendN(s + at + findLen, static_cast<unsigned>(m_len - at - findLen))) {
        return false;
    }
    m_store.swap(out.m_store);
    std::swap(m_len, out.m_len);
    return true;
}

bool StringBuffer::isHexidecimal() const {
    if (m_len == 0) return false;
    const char* s = getString();
    for (std::size_t i = 0; i < m_len; ++i) {
        char c = s[i];
        bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!hex) return false;
    }
    return true;
}

void StringBuffer::litScram(char* text) {
    // Keeps a literal out of a plain `strings` listing of the binary, nothing more: it is not
    // protection. Within each of the ranges A-Z, a-z and 0-9 a character is mirrored
    // (A<->Z, b<->y, 0<->9); everything else stays. Mirroring is its own inverse.
    if (text == nullptr) return;
    for (char* p = text; *p != '\0'; ++p) {
        char c = *p;
        if (c >= 'A' && c <= 'Z') *p = static_cast<char>('Z' - (c - 'A'));
        else if (c >= 'a' && c <= 'z') *p = static_cast<char>('z' - (c - 'a'));
        else if (c >= '0' && c <= '9') *p = static_cast<char>('9' - (c - '0'));
    }
}

}  // namespace vn

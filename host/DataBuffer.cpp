#include "host/DataBuffer.h"

#include <cstdint>
#include <cstring>

#include "host/SecureWipe.h"
#include "host/StringBuffer.h"
#include "host/TextEncoding.h"

namespace vn {

void DataBuffer::clear() {
    if (m_store.m_secure && m_store.data() != nullptr) secureWipe(m_store.data(), m_len);
    m_len = 0;
}

void DataBuffer::secureClear() {
    if (m_store.data() != nullptr) secureWipe(m_store.data(), m_store.capacity());
    m_len = 0;
}

void DataBuffer::truncate(unsigned n) {
    if (n >= m_len) return;
    if (m_store.m_secure) secureWipe(m_store.data() + n, m_len - n);
    m_len = n;
}

bool DataBuffer::append(const void* bytes, unsigned n) {
    if (n == 0) return true;
    if (bytes == nullptr) return false;
    // The bytes may lie inside this buffer; growing may move the block.
    auto base = reinterpret_cast<std::uintptr_t>(m_store.data());
    auto at = reinterpret_cast<std::uintptr_t>(bytes);
    bool inside = base != 0 && at >= base && at < base + m_store.capacity();
    std::size_t offset = inside ? static_cast<std::size_t>(at - base) : 0;
    if (!m_store.reserve(m_len + n)) return false;
    if (inside) bytes = m_store.data() + offset;
    std::memmove(m_store.data() + m_len, bytes, n);
    m_len += n;
    return true;
}

bool DataBuffer::append(const DataBuffer& other) { return append(other.getData2(), other.getSize()); }

bool DataBuffer::append(const StringBuffer& text) { return append(text.getString(), text.getSize()); }

bool DataBuffer::appendChar(unsigned char c) { return append(&c, 1); }

bool DataBuffer::appendUint32_be(unsigned value) {
    unsigned char b[4] = {static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
                          static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    return append(b, 4);
}

bool DataBuffer::prepend(const unsigned char* bytes, unsigned n) {
    if (n == 0) return true;
    if (bytes == nullptr) return false;
    ByteStore grown;
    grown.m_secure = m_store.m_secure;
    if (!grown.reserve(m_len + n)) return false;
    std::memcpy(grown.data(), bytes, n);
    if (m_len != 0) std::memcpy(grown.data() + n, m_store.data(), m_len);
    m_store.swap(grown);  // the old block is wiped (when secure) as `grown` goes
    m_len += n;
    return true;
}

void DataBuffer::reverseBytes() {
    unsigned char* d = m_store.data();
    for (std::size_t i = 0, j = m_len; i + 1 < j; ++i, --j) {
        unsigned char t = d[i];
        d[i] = d[j - 1];
        d[j - 1] = t;
    }
}

void DataBuffer::removeChunk(int offset, int n) {
    if (offset < 0 || n <= 0) return;
    auto off = static_cast<std::size_t>(offset);
    if (off >= m_len) return;
    std::size_t count = static_cast<std::size_t>(n);
    if (count > m_len - off) count = m_len - off;
    unsigned char* d = m_store.data();
    std::memmove(d + off, d + off + count, m_len - off - count);
    if (m_store.m_secure) secureWipe(d + m_len - count, count);
    m_len -= count;
}

bool DataBuffer::equals(const DataBuffer& other) const { return equals(other.getData2(), other.getSize()); }

bool DataBuffer::equals(const void* bytes, unsigned n) const {
    if (n != m_len) return false;
    return n == 0 || std::memcmp(m_store.data(), bytes, n) == 0;
}

bool DataBuffer::appendEncoded(const char* text, const char* encodingName) {
    if (text == nullptr) return false;
    std::size_t len = std::strlen(text);
    switch (encoding::kindFromName(encodingName)) {
        case encoding::Kind::Hex: return encoding::hexDecode(text, len, *this);
        case encoding::Kind::Base64: return encoding::base64Decode(text, len, false, *this);
        case encoding::Kind::Base64Url: return encoding::base64Decode(text, len, true, *this);
        case encoding::Kind::Unknown: break;
    }
    return false;
}

bool DataBuffer::encodeDB(const char* encodingName, StringBuffer& out) const {
    const unsigned char* d = m_store.data();
    switch (encoding::kindFromName(encodingName)) {
        case encoding::Kind::Hex: return encoding::hexEncode(d, m_len, out);
        case encoding::Kind::Base64: return encoding::base64Encode(d, m_len, false, out);
        case encoding::Kind::Base64Url: return encoding::base64Encode(d, m_len, true, out);
        case encoding::Kind::Unknown: break;
    }
    return false;
}

bool DataBuffer::toHexString2(const unsigned char* bytes, unsigned n, bool separate, StringBuffer& out) {
    if (!separate) return encoding::hexEncode(bytes, n, out);
    for (unsigned i = 0; i < n; ++i) {
        if (i != 0 && !out.appendChar(':')) return false;
        if (!encoding::hexEncode(bytes + i, 1, out)) return false;
    }
    return true;
}

}  // namespace vn

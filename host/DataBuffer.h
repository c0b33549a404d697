#pragma once
#include <cstddef>

#include "host/ByteStore.h"

namespace vn {

class StringBuffer;

// A growable byte array. With the secure flag set the bytes are wiped before their memory
// is freed, outgrown or handed back by clear(); key material and key exports always travel
// in secure buffers.
class DataBuffer {
public:
    DataBuffer() = default;
    ~DataBuffer() = default;
    DataBuffer(const DataBuffer&) = delete;
    DataBuffer& operator=(const DataBuffer&) = delete;

    void setSecure(bool secure) { m_store.m_secure = secure; }
    bool isSecure() const { return m_store.m_secure; }

    // Size 0. A secure buffer wipes its bytes as well, so clear() never leaves key material
    // behind in memory that will be reused.
    void clear();
    // Wipes the bytes whatever the flag, then size 0.
    void secureClear();
    // Drops bytes past n (n <= size); a secure buffer wipes them.
    void truncate(unsigned n);

    unsigned getSize() const { return static_cast<unsigned>(m_len); }
    // Null when nothing was ever stored.
    const unsigned char* getData2() const { return m_store.data(); }
    unsigned char* getData2() { return m_store.data(); }
    // Byte i, for i < getSize().
    unsigned char byteAt(unsigned i) const { return m_store.data()[i]; }

    bool append(const void* bytes, unsigned n);
    bool append(const DataBuffer& other);
    bool append(const StringBuffer& text);
    bool appendChar(unsigned char c);
    bool appendUint32_be(unsigned value);
    bool prepend(const unsigned char* bytes, unsigned n);
    void reverseBytes();
    // Removes n bytes starting at offset; out-of-range parts are clipped, never read.
    void removeChunk(int offset, int n);

    bool equals(const DataBuffer& other) const;
    bool equals(const void* bytes, unsigned n) const;

    // Decodes text in "hex" or "base64" ("base64url" too) and appends the bytes. False, with
    // the buffer unchanged, when the text does not decode.
    bool appendEncoded(const char* text, const char* encoding);
    // Appends the content to out as "hex" (upper-case), "base64" or "base64url" text.
    bool encodeDB(const char* encoding, StringBuffer& out) const;

    // Appends hexadecimal text (upper-case) of the bytes; with separate true the byte pairs
    // are joined by colons.
    static bool toHexString2(const unsigned char* bytes, unsigned n, bool separate,
                             StringBuffer& out);

private:
    ByteStore m_store;
    std::size_t m_len = 0;
};

}  // namespace vn

#pragma once
#include <cstddef>

#include "host/ByteStore.h"

namespace vn {

class StringBuffer;

/// A growable byte array. With the secure flag set the bytes are wiped before their memory
/// is freed, outgrown or handed back by clear(); key material and key exports always travel
/// in secure buffers. The append functions return false only when memory is exhausted,
/// leaving the buffer as it was.
class DataBuffer {
public:
    /// An empty, non-secure buffer.
    DataBuffer() = default;
    ~DataBuffer() = default;
    DataBuffer(const DataBuffer&) = delete;
    DataBuffer& operator=(const DataBuffer&) = delete;

    /// Sets the secure flag (wipe before freeing); the library sets it on every buffer it
    /// fills with key material.
    void setSecure(bool secure) { m_store.m_secure = secure; }
    /// Whether the secure flag is set.
    bool isSecure() const { return m_store.m_secure; }

    /// Size 0. A secure buffer wipes its bytes as well, so clear() never leaves key material
    /// behind in memory that will be reused.
    void clear();
    /// Wipes the bytes whatever the flag, then size 0.
    void secureClear();
    /// Drops bytes past n (n <= size); a secure buffer wipes them.
    void truncate(unsigned n);

    /// Number of bytes held.
    unsigned getSize() const { return static_cast<unsigned>(m_len); }
    /// The bytes; null when nothing was ever stored.
    const unsigned char* getData2() const { return m_store.data(); }
    /// The bytes; null when nothing was ever stored.
    unsigned char* getData2() { return m_store.data(); }
    /// Byte i, for i < getSize().
    unsigned char byteAt(unsigned i) const { return m_store.data()[i]; }

    /// Appends n bytes (bytes may be null when n is 0).
    bool append(const void* bytes, unsigned n);
    /// Appends another buffer's bytes.
    bool append(const DataBuffer& other);
    /// Appends a text's bytes, without its terminating NUL.
    bool append(const StringBuffer& text);
    /// Appends one byte.
    bool appendChar(unsigned char c);
    /// Appends value as four big-endian bytes.
    bool appendUint32_be(unsigned value);
    /// Inserts n bytes in front.
    bool prepend(const unsigned char* bytes, unsigned n);
    /// Reverses the byte order in place.
    void reverseBytes();
    /// Removes n bytes starting at offset; out-of-range parts are clipped, never read.
    void removeChunk(int offset, int n);

    /// Same size and bytes (not constant time).
    bool equals(const DataBuffer& other) const;
    /// Same size and bytes as bytes[0, n) (not constant time).
    bool equals(const void* bytes, unsigned n) const;

    /// Decodes text in "hex" or "base64" ("base64url" too) and appends the bytes. False, with
    /// the buffer unchanged, when the text does not decode.
    bool appendEncoded(const char* text, const char* encoding);
    /// Appends the content to out as "hex" (upper-case), "base64" or "base64url" text.
    bool encodeDB(const char* encoding, StringBuffer& out) const;

    /// Appends hexadecimal text (upper-case) of the bytes; with separate true the byte pairs
    /// are joined by colons.
    static bool toHexString2(const unsigned char* bytes, unsigned n, bool separate,
                             StringBuffer& out);

private:
    ByteStore m_store;
    std::size_t m_len = 0;
};

}  // namespace vn

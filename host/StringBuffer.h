#pragma once
#include <cstddef>

#include "host/ByteStore.h"

namespace vn {

/// A growable, NUL-terminated 8-bit text. Texts here often carry secrets (PEM bodies, hex
/// scalars), so the storage is always wiped when it is released or outgrown, and
/// secureClear() wipes the bytes in place as well. A null text argument reads as "".
class StringBuffer {
public:
    /// An empty text.
    StringBuffer();
    /// A copy of text.
    explicit StringBuffer(const char* text);
    ~StringBuffer() = default;
    StringBuffer(const StringBuffer&) = delete;
    StringBuffer& operator=(const StringBuffer&) = delete;

    /// @name Replace (setString) and append; each returns false only when memory is exhausted.
    /// @{
    bool setString(const char* text);          ///< Replaces the text with a copy of text.
    bool setString(const StringBuffer& other); ///< Replaces the text with a copy of other.
    bool append(const char* text);             ///< Appends text.
    bool append(const StringBuffer& other);    ///< Appends other.
    bool append(int value);                    ///< Appends value in decimal.
    bool appendN(const char* text, unsigned n);  ///< Appends the first n bytes of text.
    bool append2(const char* a, const char* b);  ///< Appends a, then b.
    bool append3(const char* a, const char* b, const char* c);  ///< Appends a, b, then c.
    bool appendChar(char c);                   ///< Appends one character.
    /// @}

    /// Length 0; the bytes stay in the storage until it is released, outgrown or secureClear()ed.
    void clear();
    /// Wipes the whole storage, then length 0.
    void secureClear();

    /// The text, NUL-terminated; "" (never null) when empty.
    const char* getString() const;
    /// Length in bytes, without the terminating NUL.
    unsigned getSize() const { return static_cast<unsigned>(m_len); }

    bool equals(const char* text) const;                ///< Byte-for-byte equality.
    bool equals(const StringBuffer& other) const;       ///< Byte-for-byte equality.
    bool equalsIgnoreCase(const char* text) const;      ///< Equality ignoring ASCII case.
    bool beginsWith(const char* prefix) const;          ///< Whether the text starts with prefix.
    bool containsSubstring(const char* text) const;     ///< Whether text occurs in the text.

    void toLowerCase();  ///< ASCII letters to lower case, in place.
    void toUpperCase();  ///< ASCII letters to upper case, in place.
    /// Removes leading and trailing ASCII white space (space, tab, CR, LF, VT, FF).
    void trim2();
    /// Replaces the first occurrence of find by with; false when there is none. The flag would
    /// ask for a case-insensitive search; it is accepted for the callers' sake and must be
    /// false (true always fails).
    bool replaceFirstOccurance(const char* find, const char* with, bool caseInsensitive);
    /// True when the text is non-empty and every character is a hexadecimal digit. An empty
    /// text is no number, and white space is not skipped: callers validate before decoding.
    bool isHexidecimal() const;

    /// Turns a literal kept scrambled in the binary back into plain text, in place. The
    /// scrambling is its own inverse (see litScram's definition), so scrambled literals are
    /// produced by running the same function over the plain text. Not protection of any kind.
    static void litScram(char* text);

private:
    bool grow(std::size_t extra);
    ByteStore m_store;
    std::size_t m_len = 0;
};

}  // namespace vn

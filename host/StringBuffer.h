#pragma once
#include <cstddef>

#include "host/ByteStore.h"

namespace vn {

// A growable, NUL-terminated 8-bit text. Texts here often carry secrets (PEM bodies, hex
// scalars), so the storage is always wiped when it is released or outgrown, and
// secureClear() wipes the bytes in place as well.
class StringBuffer {
public:
    StringBuffer();
    explicit StringBuffer(const char* text);
    ~StringBuffer() = default;
    StringBuffer(const StringBuffer&) = delete;
    StringBuffer& operator=(const StringBuffer&) = delete;

    // Replace / append. Each returns false only when memory is exhausted.
    bool setString(const char* text);
    bool setString(const StringBuffer& other);
    bool append(const char* text);
    bool append(const StringBuffer& other);
    bool append(int value);
    bool appendN(const char* text, unsigned n);
    bool append2(const char* a, const char* b);
    bool append3(const char* a, const char* b, const char* c);
    bool appendChar(char c);

    void clear();
    void secureClear();

    const char* getString() const;
    unsigned getSize() const { return static_cast<unsigned>(m_len); }

    bool equals(const char* text) const;
    bool equals(const StringBuffer& other) const;
    bool equalsIgnoreCase(const char* text) const;
    bool beginsWith(const char* prefix) const;
    bool containsSubstring(const char* text) const;

    void toLowerCase();
    void toUpperCase();
    // Removes leading and trailing ASCII white space (space, tab, CR, LF, VT, FF).
    void trim2();
    // Replaces the first occurrence of find by with. The flag would ask for a
    // case-insensitive search; it is accepted for the callers' sake and must be false.
    bool replaceFirstOccurance(const char* find, const char* with, bool caseInsensitive);
    // True when the text is non-empty and every character is a hexadecimal digit. An empty
    // text is no number, and white space is not skipped: callers validate before decoding.
    bool isHexidecimal() const;

    // Turns a literal kept scrambled in the binary back into plain text, in place. The
    // scrambling is its own inverse (see litScram's definition), so scrambled literals are
    // produced by running the same function over the plain text.
    static void litScram(char* text);

private:
    bool grow(std::size_t extra);
    ByteStore m_store;
    std::size_t m_len = 0;
};

}  // namespace vn

#pragma once
#include <memory>
#include <vector>

#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

/// A parsed JSON object (RFC 8259), read-only once loaded. The parser is strict: exactly one
/// top-level value, which must be an object; no comments, trailing commas, leading zeros,
/// single quotes or control characters in strings; `\u` escapes with surrogate pairs checked;
/// the text must be valid UTF-8 (overlong forms, surrogates and code points above U+10FFFF
/// refused). A member name that repeats within one object is refused: RFC 8259 leaves the
/// meaning of duplicates open, and two readers disagreeing on which "d" or "x" counts is how
/// key-confusion attacks begin. Nesting deeper than kMaxDepth and texts longer than
/// kMaxTextBytes are refused before any work is spent on them.
///
/// Values are kept in StringBuffers, which wipe their storage: a JWK's "d" is a secret.
class ClsJsonObject {
public:
    static const unsigned kMaxDepth = 64;            ///< Deepest nesting accepted.
    static const unsigned kMaxTextBytes = 1u << 20;  ///< Longest text accepted, in bytes.

    /// An empty object.
    ClsJsonObject();
    ~ClsJsonObject();
    ClsJsonObject(const ClsJsonObject&) = delete;
    ClsJsonObject& operator=(const ClsJsonObject&) = delete;

    /// Replaces the content with the object parsed from the text. On failure the object is
    /// left empty and the log has an error line saying what and at which byte offset
    /// ("JSON: no text", "JSON: text too long", ...).
    bool load(const char* jsonText, LogBase& log);
    /// The same without a log, for callers that only need the answer.
    bool load(const char* jsonText);

    /// Empties the object.
    void clear();

    /// True when the object has a value at that path (the path rules of sbOfPathUtf8 apply);
    /// logs nothing.
    bool hasMember(const char* name, LogBase& log) const;
    /// REPLACES out with the text of the value at path: a string's decoded UTF-8, a number's
    /// literal text, "true" or "false". False, with out empty, when there is no such value
    /// or it is null, an object or an array. A path is a member name, or member names joined
    /// by '.' to reach into nested objects ("a.b.c"); a plain member name serves as the path.
    /// A string holding U+0000 is refused here too (with an error line): C-string readers
    /// would see only part of it.
    bool sbOfPathUtf8(const char* path, StringBuffer& out, LogBase& log) const;

    /// Top-level member count, 0 when empty.
    unsigned numMembers() const;

    struct Node;  ///< A parsed value; internal.

private:
    std::unique_ptr<Node> m_root;  // null when empty
};

}  // namespace vn

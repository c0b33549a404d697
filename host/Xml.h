#pragma once
#include <memory>
#include <vector>

#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

/// A small XML element tree: one element, its attributes, its text content and its child
/// elements. loadXml parses a whole document and makes this object its root element.
///
/// Accepted: an optional XML declaration, processing instructions and comments (skipped),
/// elements, attributes in single or double quotes, text, CDATA sections, the five predefined
/// entities and decimal or hexadecimal character references (valid Unicode scalar values
/// only). Refused: any DOCTYPE (so no entity can be declared, and none expanded), unknown
/// entities, mismatched or unclosed tags, duplicate attributes, text outside the root, invalid
/// UTF-8, nesting deeper than kMaxDepth, texts longer than kMaxTextBytes.
///
/// Tag patterns: "*:Name" matches the tag Name with any namespace prefix or none ("Name",
/// "ds:Name"); a pattern without "*:" matches the whole tag. With the case flag true the
/// comparison ignores ASCII case.
///
/// Content and attribute values are kept in StringBuffers, which wipe their storage: an
/// ECCKeyValue element carries a private key.
class ClsXml {
public:
    static const unsigned kMaxDepth = 64;              ///< Deepest element nesting accepted.
    static const unsigned kMaxTextBytes = 1u << 20;    ///< Longest document accepted, in bytes.

    /// An empty element (no tag, no content, no children).
    ClsXml();
    ~ClsXml();
    ClsXml(const ClsXml&) = delete;
    ClsXml& operator=(const ClsXml&) = delete;

    /// Replaces this element with the root element of the document. On failure the element is
    /// left empty (no tag, no content, no children) and the log has an error line saying what
    /// and at which byte offset ("No XML text.", "XML text too long.", ...).
    bool loadXml(const char* xmlText, LogBase& log);
    /// As loadXml(const char*, LogBase&) without a log.
    bool loadXml(const char* xmlText);

    /// Empties the element.
    void clear();

    /// The tag as written, prefix included ("ds:ECKeyValue"); "" when empty.
    const char* tag() const;
    /// Whether the tag matches pattern (the pattern rules above).
    bool tagMatches(const char* pattern, bool caseInsensitive) const;

    /// Number of direct child elements.
    unsigned numChildren() const;
    /// Child i (i < numChildren()), or null.
    const ClsXml* getChild(unsigned i) const;
    /// First direct child whose tag matches (case-sensitive), or null.
    const ClsXml* findChild(const char* pattern) const;
    /// Whether a direct child's tag matches (case-sensitive).
    bool hasChildWithTag(const char* pattern) const;

    /// REPLACES out with the content of the first matching direct child; with the flag true
    /// the tag comparison ignores case. False, with out empty, when no child matches.
    bool getChildContentUtf8(const char* pattern, StringBuffer& out, bool caseInsensitive) const;
    /// REPLACES out with the attribute of the first matching direct child; false, with out
    /// empty, when the child or the attribute is absent.
    bool getChildAttrValue(const char* pattern, const char* attr, StringBuffer& out) const;
    /// REPLACES out with this element's attribute; false, with out empty, when absent.
    bool getAttrValue(const char* attr, StringBuffer& out) const;

    /// This element's text content: its text and CDATA pieces in document order, entities
    /// resolved, child elements' text not included, white space kept as written. get_Content
    /// REPLACES out; getContentSb APPENDS to it. Both are false only when memory runs out.
    bool get_Content(StringBuffer& out) const;
    /// As get_Content, APPENDING to out.
    bool getContentSb(StringBuffer& out) const;

    struct Impl;  ///< The parsed element; internal.

private:
    std::unique_ptr<Impl> m_impl;
};

}  // namespace vn

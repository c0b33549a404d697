#include "host/Pem.h"

#include <cstddef>
#include <cstring>

#include "host/TextEncoding.h"

namespace vn {

namespace {

constexpr unsigned kLineChars = 64;
constexpr char kBegin[] = "-----BEGIN ";
constexpr char kEnd[] = "-----END ";
constexpr char kDashes[] = "-----";
constexpr std::size_t kBeginLen = sizeof kBegin - 1;
constexpr std::size_t kEndLen = sizeof kEnd - 1;
constexpr std::size_t kDashesLen = sizeof kDashes - 1;

// RFC 7468: printable ASCII except '-'; single '-' or space only between two of them.
bool isLabelChar(char c) { return c >= 0x21 && c <= 0x7E && c != '-'; }

bool validLabel(const char* s, std::size_t n) {
    if (n == 0 || !isLabelChar(s[0]) || !isLabelChar(s[n - 1])) return false;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        if (s[i] == '-' || s[i] == ' ') {
            if (!isLabelChar(s[i + 1])) return false;
        } else if (!isLabelChar(s[i])) {
            return false;
        }
    }
    return true;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// One line of the text without its line end and surrounding white space.
struct Line {
    const char* p;
    std::size_t n;

    bool startsWith(const char* prefix, std::size_t len) const {
        return n >= len && std::memcmp(p, prefix, len) == 0;
    }
    bool endsWith(const char* suffix, std::size_t len) const {
        return n >= len && std::memcmp(p + n - len, suffix, len) == 0;
    }
};

// The line starting at p (p < end); next is where the following line starts.
Line lineAt(const char* p, const char* end, const char*& next) {
    const char* eol = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    if (eol == nullptr) eol = end;
    next = eol == end ? end : eol + 1;
    const char* b = p;
    const char* e = eol;
    while (b < e && isBlank(*b)) ++b;
    while (e > b && isBlank(e[-1])) --e;
    return Line{b, static_cast<std::size_t>(e - b)};
}

// The label of a "-----BEGIN <label>-----" or "-----END <label>-----" line; false when the
// line is not of that shape.
bool boundaryLabel(const Line& line, const char* prefix, std::size_t prefixLen, Line& label) {
    if (!line.startsWith(prefix, prefixLen) || line.n < prefixLen + kDashesLen ||
        !line.endsWith(kDashes, kDashesLen)) {
        return false;
    }
    label = Line{line.p + prefixLen, line.n - prefixLen - kDashesLen};
    return validLabel(label.p, label.n);
}

}  // namespace

// Lines end in CRLF: RFC 7468 lets a writer choose, every reader (OpenSSL's included) takes
// both, and CRLF is the canonical form where the host's text most often goes next (MIME,
// Windows files, protocol fields).
bool _vnPublicKey::derToPem(const char* label, DataBuffer& der, StringBuffer& out, LogBase& log) {
    out.clear();
    if (label == nullptr || !validLabel(label, std::strlen(label))) {
        log.LogError("Invalid PEM label.");
        return false;
    }
    if (der.getSize() == 0) {
        log.LogError("No DER bytes to write as PEM.");
        return false;
    }
    StringBuffer body;
    bool ok = encoding::base64Encode(der.getData2(), der.getSize(), false, body) &&
              out.append3(kBegin, label, "-----\n");
    const char* b64 = body.getString();
    const unsigned n = body.getSize();
    for (unsigned i = 0; ok && i < n; i += kLineChars) {
        ok = out.appendN(b64 + i, n - i < kLineChars ? n - i : kLineChars) && out.append("\n");
    }
    ok = ok && out.append3(kEnd, label, "-----\n");
    // The body may be a private key.
    body.secureClear();
    if (!ok) {
        out.secureClear();
        log.LogError("Out of memory writing PEM.");
    }
    return ok;
}

bool PemReader::readFirst(const char* text, StringBuffer& label, DataBuffer& der, LogBase& log) {
    label.clear();
    der.clear();
    der.setSecure(true);
    if (text == nullptr) {
        log.LogError("No PEM text.");
        return false;
    }
    const char* const end = text + std::strlen(text);

    Line beginLabel{nullptr, 0};
    const char* bodyStart = nullptr;
    for (const char* p = text; p < end && bodyStart == nullptr;) {
        const char* next = nullptr;
        const Line line = lineAt(p, end, next);
        if (line.startsWith(kBegin, kBeginLen)) {
            if (!boundaryLabel(line, kBegin, kBeginLen, beginLabel)) {
                log.LogError("Malformed PEM BEGIN line.");
                return false;
            }
            bodyStart = next;
        }
        p = next;
    }
    if (bodyStart == nullptr) {
        log.LogError("No PEM BEGIN line found.");
        return false;
    }

    const char* bodyEnd = nullptr;
    for (const char* p = bodyStart; p < end && bodyEnd == nullptr;) {
        const char* next = nullptr;
        const Line line = lineAt(p, end, next);
        if (line.startsWith(kDashes, kDashesLen)) {
            Line endLabel{nullptr, 0};
            if (!line.startsWith(kEnd, kEndLen)) {
                log.LogError("PEM block has no END line before the next boundary.");
                return false;
            }
            if (!boundaryLabel(line, kEnd, kEndLen, endLabel)) {
                log.LogError("Malformed PEM END line.");
                return false;
            }
            if (endLabel.n != beginLabel.n || std::memcmp(endLabel.p, beginLabel.p, endLabel.n) != 0) {
                log.LogError("PEM END label does not match the BEGIN label.");
                return false;
            }
            bodyEnd = p;
        } else if (std::memchr(line.p, ':', line.n) != nullptr) {
            // RFC 1421 headers; in practice they announce an encrypted body, which would
            // otherwise fail later as a puzzling DER error.
            const bool encrypted = line.startsWith("Proc-Type:", 10) || line.startsWith("DEK-Info:", 9);
            log.LogError(encrypted ? "Encrypted PEM is not supported." : "PEM headers are not supported.");
            return false;
        }
        p = next;
    }
    if (bodyEnd == nullptr) {
        log.LogError("PEM block has no END line.");
        return false;
    }

    if (!encoding::base64Decode(bodyStart, static_cast<std::size_t>(bodyEnd - bodyStart), false, der)) {
        log.LogError("PEM body is not valid base64.");
        return false;
    }
    if (der.getSize() == 0) {
        log.LogError("PEM body is empty.");
        return false;
    }
    if (!label.appendN(beginLabel.p, static_cast<unsigned>(beginLabel.n))) {
        der.clear();
        log.LogError("Out of memory reading PEM.");
        return false;
    }
    return true;
}

}  // namespace vn

#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

/// Writing PEM armour (RFC 7468); the class name is historical.
class _vnPublicKey {
public:
    /// REPLACES out's text with "-----BEGIN <label>-----", the base64 of der in lines of 64
    /// characters, and "-----END <label>-----", each line ending in "\n" as openssl and
    /// ssh-keygen end theirs. der is not modified (non-const for the interface).
    /// @fails "Invalid PEM label.", "No DER bytes to write as PEM.", "Out of memory writing PEM.";
    ///        out is then empty.
    static bool derToPem(const char* label, DataBuffer& der, StringBuffer& out, LogBase& log);
};

/// Reading PEM armour.
class PemReader {
public:
    /// Reads the first PEM block of text: REPLACES label with the label of its BEGIN line and
    /// der with the decoded body. Tolerates CRLF or LF, leading text before BEGIN, blank lines
    /// and white space around lines; refuses an END line whose label differs, a missing END,
    /// an empty body, a body that is not base64, and RFC 1421 header lines ("Proc-Type:", as
    /// encrypted PEM carries: keyfile::readKey opens those). der gets the secure flag: the
    /// body is often a private key.
    /// @fails "No PEM text.", "No PEM BEGIN line found.", "Malformed PEM BEGIN line.",
    ///        "PEM block has no END line.", "PEM END label does not match the BEGIN label.",
    ///        "Encrypted PEM is not supported.", "PEM headers are not supported.",
    ///        "PEM body is not valid base64.", "PEM body is empty."; der is then empty.
    static bool readFirst(const char* text, StringBuffer& label, DataBuffer& der, LogBase& log);
};

}  // namespace vn

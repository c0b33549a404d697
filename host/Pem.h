#pragma once

#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"

namespace vn {

// PEM armour (RFC 7468).
class _vnPublicKey {
public:
    // Replaces out's text with "-----BEGIN <label>-----", the base64 of der in lines of 64
    // characters, and "-----END <label>-----", each line ending in "\n" as openssl and
    // ssh-keygen end theirs. False for an empty der or a label RFC 7468 does not allow.
    static bool derToPem(const char* label, DataBuffer& der, StringBuffer& out, LogBase& log);
};

// Reads the first PEM block of a text: the label of its BEGIN line and the decoded body.
// Tolerates CRLF or LF, leading text before BEGIN, blank lines and white space around lines;
// refuses an END line whose label differs, a missing END, an empty body, a body that is not
// base64, and RFC 1421 header lines ("Proc-Type:", as encrypted PEM carries). der gets the
// secure flag: the body is often a private key.
class PemReader {
public:
    static bool readFirst(const char* text, StringBuffer& label, DataBuffer& der, LogBase& log);
};

}  // namespace vn

#pragma once
// Loading a key from whatever a user hands the tool: the form is recognised from the bytes.

#include <string>

#include "ecc/EccKey.h"

namespace vn {
namespace keyfile {

// Recognises and loads: PEM (SEC1 "EC PRIVATE KEY", PKCS#8 "PRIVATE KEY", "PUBLIC KEY", an
// "EC PARAMETERS" block in front being skipped), DER, JWK, the three XML forms, raw
// hexadecimal (a scalar or an X9.63 point; curveHint names the curve where the length alone
// cannot), an OpenSSH public key line, an unencrypted OpenSSH private key file and an
// unencrypted PuTTY .ppk file (versions 2 and 3). form receives the name of what was found.
// False with error lines in the log (the library's, and the tool's own in the context
// "readKey") when nothing loads.
bool readKey(const DataBuffer& input, const std::string& curveHint, EccKey& key, std::string& form, LogBase& log);

// Loaders of the SSH-family files, given the text.
bool loadPuttyPpk(const char* text, EccKey& key, LogBase& log);

// Files that carry both the scalar and the point can disagree when damaged or forged; a key
// whose k does not give its point would sign what nobody can verify. False, with the key
// cleared and an error line, on a mismatch.
bool scalarMatchesPoint(EccKey& key, LogBase& log);

// The SSH curve identifier to the name the curve table accepts: the identifier itself, except
// "nistk256", which the table does not know as a name of secp256k1.
std::string curveNameForSshId(const std::string& sshId);

}  // namespace keyfile
}  // namespace vn

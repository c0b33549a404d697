#pragma once
// Loading a key from whatever a user hands the tool: the form is recognised from the bytes.

#include <string>

#include "ecc/EccKey.h"
#include "keyfile/KdfLimits.h"

namespace vn {
namespace keyfile {

// What a caller may add to the bytes of a key file.
struct ReadOptions {
    // The curve of a raw hexadecimal scalar or point, where the length alone cannot tell.
    std::string curveHint;
    // The passphrase of an encrypted file; null when none was given.
    const DataBuffer* passphrase = nullptr;
    // The most key-derivation work an encrypted file may ask for.
    KdfLimits kdfLimits;
};

// Recognises and loads: PEM (SEC1 "EC PRIVATE KEY", PKCS#8 "PRIVATE KEY", "PUBLIC KEY", an
// "EC PARAMETERS" block in front being skipped), DER, JWK, the three XML forms, raw
// hexadecimal (a scalar or an X9.63 point), an OpenSSH public key line, an OpenSSH private
// key file and a PuTTY .ppk file (versions 2 and 3). found receives what was found. The public
// point is checked against the curve, and a private key's scalar against its point, before the
// key is handed back. False with error lines
// in the log (the library's, and the layer's own in the context "readKey") and the key cleared
// when nothing loads.
bool readKey(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& found, LogBase& log);

// The line a refused file logs when it is encrypted and no passphrase was given, and the one
// for a passphrase that does not open it; a caller may ask for a passphrase on the first.
extern const char* const kNeedPassphrase;
extern const char* const kWrongPassphrase;

// Width (below p) and curve equation of the key's public point: the key object's own loaders
// take any point by design, so this is where a user's file is judged. False with the line
// kPointNotOnCurve and the key cleared otherwise.
bool pointOnCurve(EccKey& key, LogBase& log);
extern const char* const kPointNotOnCurve;

// Files that carry both the scalar and the point can disagree when damaged or forged; a key
// whose k does not give its point would sign what nobody can verify. False, with the key
// cleared and an error line, on a mismatch.
bool scalarMatchesPoint(EccKey& key, LogBase& log);

// The SSH curve identifier to the name the curve table accepts: the identifier itself, except
// "nistk256", which the table does not know as a name of secp256k1.
std::string curveNameForSshId(const std::string& sshId);

}  // namespace keyfile
}  // namespace vn

#pragma once
// Loading a key from whatever a user hands the tool: the form is recognised from the bytes.

#include <string>

#include "ecc/EccKey.h"
#include "keyfile/KdfLimits.h"

namespace vn {

/// The key-file layer (target ecckey::keyfile): reading and writing the files people keep
/// keys in, encrypted or not. Its readKey is the strict way in for keys from outside.
namespace keyfile {

/// What a caller may add to the bytes of a key file.
struct ReadOptions {
    /// The curve of a raw hexadecimal scalar or point, where the length alone cannot tell.
    std::string curveHint;
    /// The passphrase of an encrypted file; null when none was given.
    const DataBuffer* passphrase = nullptr;
    /// The most key-derivation work an encrypted file may ask for.
    KdfLimits kdfLimits;
};

/// Recognises a key file's form from its bytes and loads it: the strict way in for keys from
/// outside.
/// @reads   input: PEM (SEC1 "EC PRIVATE KEY", PKCS#8 "PRIVATE KEY", encrypted PKCS#8
///          "ENCRYPTED PRIVATE KEY", traditional encrypted PEM, "PUBLIC KEY", an "EC PARAMETERS"
///          block in front being skipped), DER, JWK, the three XML forms, raw hexadecimal (a scalar
///          or an X9.63 point), an OpenSSH public key line, an OpenSSH private key file, a PuTTY
///          .ppk file (versions 2 and 3); compressed points anywhere. options: passphrase, curve
///          hint, KDF limits.
/// @writes  key: the whole key (cleared first). found: REPLACED with a short name of what
///          was found ("DER", "JWK", "PuTTY .ppk", "unrecognised", ...), also on failure.
/// @returns true only for a key whose public point lies on its curve with coordinates below
///          p, and, for a private key, whose scalar gives that point.
/// @fails   the key object's lines and the layer's own, under the context "readKey";
///          kNeedPassphrase, kWrongPassphrase, kTooMuchWork, kPointNotOnCurve,
///          "The private scalar does not match the public key in the file.", or a line naming a key
///          of another type (RSA, Ed25519, ...). The key is then cleared.
/// @timing  the scalar check is a key generation: constant time in k; decoding is not.
bool readKey(const DataBuffer& input, const ReadOptions& options, EccKey& key, std::string& found, LogBase& log);

/// The line a refused file logs when it is encrypted and no passphrase was given; a caller
/// may ask for a passphrase on it.
extern const char* const kNeedPassphrase;
/// The line for a passphrase that does not open the file (or a damaged file: the two cannot
/// be told apart).
extern const char* const kWrongPassphrase;

/// Width (0 <= x, y < p) and curve equation of the key's public point: the key object's own
/// loaders take any point by design, so this is where a user's file is judged. Use it on a
/// key loaded by the key object's own loaders before EccKey::sharedSecret.
/// @returns true for a point on the curve; otherwise false with the line kPointNotOnCurve
///          and the key cleared.
/// @timing  variable (the point is public).
bool pointOnCurve(EccKey& key, LogBase& log);
/// The line pointOnCurve logs.
extern const char* const kPointNotOnCurve;

/// Whether the key's scalar gives its public point. Files that carry both can disagree when
/// damaged or forged; a key whose k does not give its point would sign what nobody can verify.
/// @returns true on a match; false, with the key cleared and the line
///          "The private scalar does not match the public key in the file.", otherwise.
/// @timing  constant time in k (a key generation).
bool scalarMatchesPoint(EccKey& key, LogBase& log);

/// The SSH curve identifier to the name the curve table accepts: the identifier itself, except
/// "nistk256", which the table does not know as a name of secp256k1.
std::string curveNameForSshId(const std::string& sshId);

}  // namespace keyfile
}  // namespace vn

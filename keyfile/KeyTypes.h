#pragma once
// Keys of the types ecckey does not read (RSA, DSA, the Edwards and Montgomery curves,
// security-key ECDSA) recognised by what the file says about itself, so that the user hears
// what the file is instead of why some EC parser choked on it.

#include <string>

#include "host/DataBuffer.h"

namespace vn {
namespace keyfile {

// Looks at a key file's bytes: PEM labels (RSA/DSA traditional keys, PKCS#8 and
// SubjectPublicKeyInfo bodies by their algorithm), plain DER of the same, OpenSSH private key
// files and public key lines, PuTTY .ppk files and JWKs. True, with line set to
// "this is an X key; ecckey reads ECDSA keys on prime curves only", where X is the SSH key
// type when the file has one ("ssh-ed25519") and otherwise the algorithm's name ("RSA",
// "Ed25519", ...), when the input is a key of another type. False, line untouched, for EC
// keys, encrypted PKCS#8 (which hides its algorithm) and anything not recognised.
bool nameOtherKeyType(const DataBuffer& input, std::string& line);

}  // namespace keyfile
}  // namespace vn

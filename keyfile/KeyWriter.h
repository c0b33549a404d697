#pragma once
// Writing a key in any output form of the tool.

#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/Prng.h"

namespace vn {
namespace keyfile {

struct OutputForm {
    const char* name;
    const char* description;
    bool needsPrivate;
};

// Every form `--to` accepts, in the order the help lists them.
const std::vector<OutputForm>& outputForms();
const OutputForm* findOutputForm(const std::string& name);

// What a caller may ask of a written key besides its form.
struct WriteOptions {
    // Encrypts the forms that can be (pkcs8, pkcs8-der, openssh, ppk, ppk2); null writes them
    // in the clear.
    const DataBuffer* passphrase = nullptr;
    // Writes the public point compressed (02/03) in the forms that allow it (sec1, spki and
    // pkcs8 with their DER twins, and raw-hex of a public key).
    bool compressedPoint = false;
    // The comment of the forms that carry one (openssh, ppk, ppk2).
    std::string comment = "ecdsa-key";
    // Salts and IVs come from here; null: the operating system's generator.
    _vnPrng* prng = nullptr;
};

// Writes the key in the named form into out (text forms end in a new line; DER forms are
// binary). False with error lines in the log, or with message set for what the layer itself
// refuses (an unknown form, a private form of a public key, an SSH form of a curve SSH has
// no name for, a passphrase or a compressed point the form cannot carry).
bool writeKey(EccKey& key, const std::string& formName, const WriteOptions& options, DataBuffer& out,
              std::string& message, LogBase& log);

// The curve's SSH identifier when SSH has one of its own for it, else null: SSH blobs of
// other curves would be read back as secp256r1.
const char* sshIdentifierOf(const EccKey& key);

}  // namespace keyfile
}  // namespace vn

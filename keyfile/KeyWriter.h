#pragma once
// Writing a key in any output form of the tool.

#include <string>
#include <vector>

#include "ecc/EccKey.h"
#include "host/Prng.h"

namespace vn {
namespace keyfile {

/// One output form of writeKey.
struct OutputForm {
    const char* name;         ///< The name writeKey and `ecckey --to` take ("pkcs8", "openssh", ...).
    const char* description;  ///< One line for help texts.
    bool needsPrivate;        ///< Whether the form holds the private key.
};

/// Every form writeKey (and `--to`) accepts, in the order the help lists them: sec1, pkcs8,
/// spki, spki-explicit and their -der twins, jwk, jwk-public, jwk-thumbprint, xml, xml-dsig,
/// raw-hex, ssh, openssh, ppk, ppk2, fingerprint, fingerprint-sha256.
const std::vector<OutputForm>& outputForms();
/// The form of that name, or null.
const OutputForm* findOutputForm(const std::string& name);

/// What a caller may ask of a written key besides its form.
struct WriteOptions {
    /// Encrypts the forms that can be (pkcs8, pkcs8-der, openssh, ppk, ppk2); null writes them
    /// in the clear.
    const DataBuffer* passphrase = nullptr;
    /// Writes the public point compressed (02/03) in the forms that allow it (sec1, spki and
    /// pkcs8 with their DER twins, and raw-hex of a public key).
    bool compressedPoint = false;
    /// The comment of the forms that carry one (openssh, ppk, ppk2).
    std::string comment = "ecdsa-key";
    /// Salts and IVs come from here; null: the operating system's generator.
    _vnPrng* prng = nullptr;
};

/// Writes the key in the named form.
/// @reads   key (not modified; non-const because the key object's exports are), formName
///          (one of outputForms()), options.
/// @writes  out, REPLACED (secure flag set): text forms end in a new line, DER forms are
///          binary. message: set only when the layer itself refuses.
/// @returns false either with message set, for what the layer refuses (an unknown form, a
///          private form of a public key, an SSH form of a curve SSH has no name for, a
///          passphrase or a compressed point the form cannot carry), or with error lines in
///          the log from the key object or the encryption.
/// @timing  the private forms are not constant time in k (encoding and encryption).
bool writeKey(EccKey& key, const std::string& formName, const WriteOptions& options, DataBuffer& out,
              std::string& message, LogBase& log);

/// The curve's SSH identifier when SSH has one of its own for it ("nistp256", "nistp384",
/// "nistp521", "nistk256"), else null: SSH blobs of other curves would be read back as
/// secp256r1.
const char* sshIdentifierOf(const EccKey& key);

}  // namespace keyfile
}  // namespace vn

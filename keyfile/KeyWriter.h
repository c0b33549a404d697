#pragma once
// Writing a key in any output form of the tool.

#include <string>
#include <vector>

#include "ecc/EccKey.h"

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

// Writes the key in the named form into out (text forms end in a new line; DER forms are
// binary). False with error lines in the log, or with message set for what the tool itself
// refuses (an unknown form, a private form of a public key, an SSH form of a curve SSH has
// no name for).
bool writeKey(EccKey& key, const std::string& formName, DataBuffer& out, std::string& message, LogBase& log);

// The curve's SSH identifier when SSH has one of its own for it, else null: SSH blobs of
// other curves would be read back as secp256r1.
const char* sshIdentifierOf(const EccKey& key);

}  // namespace keyfile
}  // namespace vn

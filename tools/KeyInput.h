#pragma once
// Reading a command's key file: the form is found by the key-file layer, the passphrase comes
// from --passin or, for an encrypted file and a terminal on standard input, from a prompt.

#include <string>

#include "ecc/EccKey.h"
#include "tools/Cli.h"

namespace vn {
namespace cli {

// Reads the key in path ("-": standard input) with --curve and --passin from args. found
// receives what the file was. False with the message to print (the log holds the layer's
// lines): "wrong passphrase or corrupt file" for a passphrase that does not open the file.
bool readKeyFile(const std::string& path, const Args& args, EccKey& key, std::string& found, std::string& error,
                 LogBase& log);

// The options every command that reads a key takes besides its own.
extern const char* const kPassinOption;

}  // namespace cli
}  // namespace vn

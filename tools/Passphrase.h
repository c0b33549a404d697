#pragma once
// Passphrases as openssl takes them: from the command line, the environment, a file, a file
// descriptor, or the terminal.

#include <string>

#include "host/DataBuffer.h"

namespace vn {
namespace cli {

// What --help says of the sources below, for every command that takes one.
extern const char kPassphraseHelp[];

// Reads a passphrase named by source: "pass:TEXT" (TEXT itself), "env:VAR" (the variable's
// value), "file:PATH" or "fd:N" (the first line, without its line ending). out receives it in a
// secure buffer. False with a message for an unknown source, a missing variable or an
// unreadable file.
bool readPassphrase(const std::string& source, DataBuffer& out, std::string& error);

// True when standard input is a terminal, where the tool may ask for a passphrase.
bool canPrompt();

// Asks on the terminal (/dev/tty) without echo; with confirm, asks twice and refuses a
// mismatch. out receives the answer in a secure buffer. False with a message when the terminal
// cannot be used or the two answers differ.
bool promptPassphrase(const char* prompt, bool confirm, DataBuffer& out, std::string& error);

}  // namespace cli
}  // namespace vn

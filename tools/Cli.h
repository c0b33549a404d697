#pragma once
// What every subcommand of the ecckey tool shares: its exit codes, its options, reading
// inputs from files or standard input, writing results, and reporting the library's log.

#include <map>
#include <string>
#include <vector>

#include "host/DataBuffer.h"
#include "host/LogBase.h"

namespace vn {
namespace cli {

// Exit codes, as a shell script sees them.
enum Exit { kOk = 0, kVerifyFailed = 1, kBadInput = 2 };

// Parsed arguments of one subcommand: --name value (or --name=value) for the options it
// takes values for, bare flags, and positional arguments. "--" ends the options.
struct Args {
    std::vector<std::string> positional;
    std::map<std::string, std::string> values;
    bool verbose = false;
    bool help = false;

    const std::string* get(const std::string& name) const;
    std::string getOr(const std::string& name, const std::string& fallback) const;
};

// False with a message for an unknown option or a missing value.
bool parseArgs(int argc, char** argv, int first, const std::vector<std::string>& valueOptions,
               const std::vector<std::string>& flags, Args& out, std::string& error);

// For commands that take no arguments but --help and --verbose: -1 to go on, else the exit
// code (usage printed).
int parseNoArguments(const char* command, const char* usage, int argc, char** argv, int first, Args& args);

// Reads a whole file, or standard input for "-". The buffer is secure: keys pass through
// here. False with a message when the file cannot be read or is larger than maxBytes.
bool readInput(const std::string& path, DataBuffer& out, unsigned maxBytes, std::string& error);
// Hashes a file, or standard input for "-", as it is read in fixed-size pieces, so a message of
// any size takes the same memory. hashId is one of _vnHash::HashId; digest gets the digest.
// False with a message when the file cannot be read (or hashId is unknown).
bool digestInput(const std::string& path, int hashId, DataBuffer& digest, std::string& error);
// Writes bytes to standard output; false when the write fails.
bool writeOutput(const unsigned char* bytes, unsigned n);
bool writeOutput(const std::string& text);

// Prints "ecckey <command>: message" and the log to standard error: every error line, or with
// verbose the whole log with its contexts.
void reportFailure(const char* command, const std::string& message, const LogBase& log, bool verbose);
// With verbose, the whole log of a successful run, for the curious.
void reportVerbose(const LogBase& log, bool verbose);

// The largest key file read; anything bigger is not a key.
const unsigned kMaxKeyBytes = 1u << 20;

}  // namespace cli
}  // namespace vn

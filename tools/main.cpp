// ecckey: the command-line face of the library.

#include <cstdio>
#include <cstring>

#include "tools/Cli.h"
#include "tools/Commands.h"

namespace {

const char kUsage[] =
    "usage: ecckey COMMAND [OPTIONS] [FILE]\n"
    "\n"
    "Elliptic-curve keys on fourteen named prime curves, in every common form.\n"
    "\n"
    "Commands:\n"
    "  demo      generate, sign, verify, agree and convert on every curve; print a table\n"
    "  curves    list the supported curves with their names, identifiers and sizes\n"
    "  gen       generate a private key on a curve\n"
    "  pub       the public key of a key\n"
    "  convert   read a key in any form, write it in another\n"
    "  sign      sign a message with a private key (ECDSA)\n"
    "  verify    verify a signature with a key\n"
    "  ecdh      agree on a shared secret with a peer's public key\n"
    "\n"
    "Keys and messages come from FILE or standard input ('-'); results go to standard output,\n"
    "messages to standard error. --verbose prints the library's whole log.\n"
    "Run 'ecckey COMMAND --help' for a command's own help, 'ecckey --version' for the version.\n"
    "\n"
    "Exit status:\n"
    "  0   success\n"
    "  1   a signature that does not verify\n"
    "  2   bad usage or bad input\n";

struct Command {
    const char* name;
    int (*run)(int, char**, int);
};

const Command kCommands[] = {
    {"demo", vn::cli::runDemo},       {"curves", vn::cli::runCurves}, {"gen", vn::cli::runGen},
    {"pub", vn::cli::runPub},         {"convert", vn::cli::runConvert}, {"sign", vn::cli::runSign},
    {"verify", vn::cli::runVerify},   {"ecdh", vn::cli::runEcdh},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return vn::cli::kBadInput;
    }
    const char* command = argv[1];
    if (std::strcmp(command, "--help") == 0 || std::strcmp(command, "-h") == 0 || std::strcmp(command, "help") == 0) {
        std::fputs(kUsage, stdout);
        return vn::cli::kOk;
    }
    if (std::strcmp(command, "--version") == 0) {
        std::puts("ecckey " ECCKEY_VERSION);
        return vn::cli::kOk;
    }
    for (const Command& c : kCommands) {
        if (std::strcmp(command, c.name) == 0) return c.run(argc, argv, 2);
    }
    std::fprintf(stderr, "ecckey: unknown command '%s'\n\n%s", command, kUsage);
    return vn::cli::kBadInput;
}

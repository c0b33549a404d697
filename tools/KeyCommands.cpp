// gen, pub and convert: making keys and moving them between forms.

#include <cstdio>
#include <string>

#include "host/BigNum.h"
#include "tools/Cli.h"
#include "tools/Commands.h"
#include "tools/KeyInput.h"
#include "tools/Passphrase.h"
#include "keyfile/KeyWriter.h"

namespace vn {
namespace cli {

namespace {

std::string formsHelp() {
    std::string text = "Output forms (--to):\n";
    for (const keyfile::OutputForm& f : keyfile::outputForms()) {
        std::string name = f.name;
        name.resize(20, ' ');
        text += "  " + name + f.description + (f.needsPrivate ? " [private keys]" : "") + "\n";
    }
    return text;
}

const char kInputHelp[] =
    "Input forms, recognised automatically: PEM (\"EC PRIVATE KEY\", \"PRIVATE KEY\", \"PUBLIC KEY\",\n"
    "\"OPENSSH PRIVATE KEY\", \"ENCRYPTED PRIVATE KEY\", traditional encrypted PEM), DER, JWK,\n"
    "the XML forms, raw hexadecimal (a scalar or an 04/02/03 point; --curve NAME says which\n"
    "curve where the length does not), an OpenSSH public key line, and PuTTY .ppk files\n"
    "(versions 2 and 3), each encrypted or not.\n";

// Writes the key and reports; the exit code. --passout encrypts it and --point compressed
// shortens its point, where the form allows.
int emit(const char* command, EccKey& key, const std::string& form, const Args& args, LogBase& log) {
    DataBuffer out, passphrase;
    std::string message;
    keyfile::WriteOptions options;
    const std::string point = args.getOr("point", "uncompressed");
    if (point != "compressed" && point != "uncompressed") {
        std::fprintf(stderr, "ecckey %s: --point is compressed or uncompressed\n", command);
        return kBadInput;
    }
    options.compressedPoint = point == "compressed";
    if (const std::string* source = args.get("passout")) {
        if (!readPassphrase(*source, passphrase, message)) {
            std::fprintf(stderr, "ecckey %s: %s\n", command, message.c_str());
            return kBadInput;
        }
        options.passphrase = &passphrase;
    }
    if (!keyfile::writeKey(key, form, options, out, message, log)) {
        reportFailure(command, message.empty() ? "cannot write the key as " + form : message, log, args.verbose);
        return kBadInput;
    }
    if (!writeOutput(out.getData2(), out.getSize())) {
        std::fprintf(stderr, "ecckey %s: cannot write to standard output\n", command);
        return kBadInput;
    }
    reportVerbose(log, args.verbose);
    return kOk;
}

// Parses the common arguments and loads the key from the single optional FILE; a negative
// result means go on, anything else is the exit code.
int loadKeyArgs(const char* command, const char* usage, int argc, char** argv, int first, Args& args, EccKey& key,
                LogBase& log) {
    std::string error;
    if (!parseArgs(argc, argv, first, {"--to", "--curve", kPassinOption, "--passout", "--point"}, {}, args, error) ||
        args.positional.size() > 1) {
        if (error.empty()) error = "more than one input file";
        std::fprintf(stderr, "ecckey %s: %s\n\n%s", command, error.c_str(), usage);
        return kBadInput;
    }
    if (args.help) {
        std::printf("%s\n%s\n%s\n%s", usage, kInputHelp, formsHelp().c_str(), kPassphraseHelp);
        return kOk;
    }
    std::string form;
    if (!readKeyFile(args.positional.empty() ? "-" : args.positional[0], args, key, form, error, log)) {
        reportFailure(command, error, log, args.verbose);
        return kBadInput;
    }
    log.LogDataStr("inputForm", form.c_str());
    return -1;
}

const char kGenUsage[] =
    "usage: ecckey gen [--to FORM] [--passout SOURCE] [--point compressed] CURVE\n"
    "\n"
    "Generates a private key on CURVE (any name 'ecckey curves' lists) from the operating\n"
    "system's random generator, and writes it (default: sec1, PEM \"EC PRIVATE KEY\").\n";

const char kPubUsage[] =
    "usage: ecckey pub [--to FORM] [--curve NAME] [--passin SOURCE] [--point compressed] [FILE]\n"
    "\n"
    "Writes the public key of the key in FILE or standard input (default: spki, PEM\n"
    "\"PUBLIC KEY\").\n";

const char kConvertUsage[] =
    "usage: ecckey convert --to FORM [--curve NAME] [--passin SOURCE] [--passout SOURCE]\n"
    "                      [--point compressed] [FILE]\n"
    "\n"
    "Reads a key in any form from FILE or standard input and writes it in FORM; --passout\n"
    "encrypts pkcs8, openssh and ppk output, --point compressed shortens the point of sec1,\n"
    "pkcs8, spki and a public raw-hex.\n";

}  // namespace

int runGen(int argc, char** argv, int first) {
    Args args;
    std::string error;
    if (!parseArgs(argc, argv, first, {"--to", "--passout", "--point"}, {}, args, error) ||
        (!args.help && args.positional.size() != 1)) {
        if (error.empty()) error = args.positional.empty() ? "which curve?" : "one curve only";
        std::fprintf(stderr, "ecckey gen: %s\n\n%s", error.c_str(), kGenUsage);
        return kBadInput;
    }
    if (args.help) {
        std::printf("%s\n%s\n%s", kGenUsage, formsHelp().c_str(), kPassphraseHelp);
        return kOk;
    }
    LogBase log;
    log.m_options.append("EMIT_ECC_PKCS1_PUBKEY");
    EccKey key;
    _vnSystemPrng prng;
    StringBuffer curve(args.positional[0].c_str());
    if (!key.generateNewKey(curve, prng, log)) {
        reportFailure("gen", "cannot generate a key on '" + args.positional[0] + "' (see 'ecckey curves')", log,
                      args.verbose);
        return kBadInput;
    }
    return emit("gen", key, args.getOr("to", "sec1"), args, log);
}

int runPub(int argc, char** argv, int first) {
    Args args;
    EccKey key;
    LogBase log;
    int rc = loadKeyArgs("pub", kPubUsage, argc, argv, first, args, key, log);
    if (rc >= 0) return rc;
    const std::string form = args.getOr("to", "spki");
    // The public key, whatever form is asked for: drop the scalar first.
    EccKey pub;
    pub.copyFromEccKey(key);
    pub.m_keyType = 0;
    BigNum::mp_zero(pub.m_k);
    return emit("pub", pub, form, args, log);
}

int runConvert(int argc, char** argv, int first) {
    Args args;
    EccKey key;
    LogBase log;
    log.m_options.append("EMIT_ECC_PKCS1_PUBKEY");
    int rc = loadKeyArgs("convert", kConvertUsage, argc, argv, first, args, key, log);
    if (rc >= 0) return rc;
    const std::string* form = args.get("to");
    if (form == nullptr) {
        std::fprintf(stderr, "ecckey convert: --to FORM is required\n\n%s", kConvertUsage);
        return kBadInput;
    }
    return emit("convert", key, *form, args, log);
}

}  // namespace cli
}  // namespace vn

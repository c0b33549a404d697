#include <cstdio>
#include <string>

#include "tools/Cli.h"
#include "tools/Commands.h"
#include "tools/KeyInput.h"
#include "tools/Passphrase.h"

namespace vn {
namespace cli {

namespace {

const char kEcdhUsage[] =
    "usage: ecckey ecdh --key KEY --peer PEER [--curve NAME] [--passin SOURCE]\n"
    "\n"
    "Agrees on a shared secret between the private key in KEY and the public key in PEER\n"
    "(each in any form 'ecckey convert' reads; PEER may be a private key too, only its public\n"
    "point is used) and prints it in hexadecimal: the x-coordinate of the shared point, as\n"
    "wide as the curve's field, as openssl pkeyutl -derive gives it.\n";

}  // namespace

int runEcdh(int argc, char** argv, int first) {
    Args args;
    std::string error;
    if (!parseArgs(argc, argv, first, {"--key", "--peer", "--curve", kPassinOption}, {}, args, error) ||
        (!args.help && (args.get("key") == nullptr || args.get("peer") == nullptr || !args.positional.empty()))) {
        if (error.empty()) error = "--key and --peer are required, and nothing else";
        std::fprintf(stderr, "ecckey ecdh: %s\n\n%s", error.c_str(), kEcdhUsage);
        return kBadInput;
    }
    if (args.help) {
        std::printf("%s\n%s", kEcdhUsage, kPassphraseHelp);
        return kOk;
    }
    if (*args.get("key") == "-" && *args.get("peer") == "-") {
        std::fputs("ecckey ecdh: the key and the peer cannot both come from standard input\n", stderr);
        return kBadInput;
    }
    LogBase log;
    EccKey key, peer;
    std::string form;
    if (!readKeyFile(*args.get("key"), args, key, form, error, log) ||
        !readKeyFile(*args.get("peer"), args, peer, form, error, log)) {
        reportFailure("ecdh", error, log, args.verbose);
        return kBadInput;
    }
    if (key.m_keyType != 1) {
        reportFailure("ecdh", "--key must hold a private key", log, args.verbose);
        return kBadInput;
    }
    if (!key.m_curve.oid.equals(peer.m_curve.oid)) {
        reportFailure("ecdh",
                      std::string("the keys are on different curves (") + key.m_curve.name.getString() + " and " +
                          peer.m_curve.name.getString() + ")",
                      log, args.verbose);
        return kBadInput;
    }
    // The agreement itself does not look at the peer's point; one off the curve could leak
    // bits of our scalar (an invalid-curve attack), so it is checked here first.
    if (!peer.isPoint(log)) {
        reportFailure("ecdh", "the peer's public point is not on the curve " + std::string(peer.m_curve.name.getString()) +
                                  "; refusing to agree with it",
                      log, args.verbose);
        return kBadInput;
    }
    DataBuffer secret;
    secret.setSecure(true);
    if (!key.sharedSecret(peer, secret, log)) {
        reportFailure("ecdh", "the agreement failed", log, args.verbose);
        return kBadInput;
    }
    StringBuffer hex;
    secret.encodeDB("hex", hex);
    hex.toLowerCase();
    hex.append("\n");
    const bool ok = writeOutput(reinterpret_cast<const unsigned char*>(hex.getString()), hex.getSize());
    reportVerbose(log, args.verbose);
    return ok ? kOk : kBadInput;
}

}  // namespace cli
}  // namespace vn

// sign and verify: ECDSA over a message hashed here, signatures in DER, raw or SSH form.

#include <cstdio>
#include <string>

#include "ecc/SigningSupport.h"
#include "host/BigNum.h"
#include "host/Hash.h"
#include "host/SshMessage.h"
#include "tools/Cli.h"
#include "tools/Commands.h"
#include "tools/KeyInput.h"
#include "tools/Passphrase.h"

namespace vn {
namespace cli {

namespace {

const char kSignUsage[] =
    "usage: ecckey sign --key KEY [--curve NAME] [--passin SOURCE] [--hash sha256|sha384|sha512|sha1]\n"
    "                   [--format der|raw|ssh] [FILE]\n"
    "\n"
    "Signs the message in FILE or standard input with the private key in KEY (any form\n"
    "'ecckey convert' reads) and writes the signature, binary, to standard output:\n"
    "  der   ASN.1 SEQUENCE { r, s }, as openssl dgst -sign writes it (default)\n"
    "  raw   r || s, each as wide as the curve's field\n"
    "  ssh   mpint r, mpint s: the RFC 5656 ecdsa_signature_blob\n"
    "The message is hashed with --hash (default sha256). A digest longer than the curve is cut\n"
    "to the curve's width in bytes; on secp160r1, whose order is one bit longer than its\n"
    "field, OpenSSL keeps 161 bits instead, so use --hash sha1 there to agree with it.\n"
    "secp256k1 keys sign 32-byte digests only.\n";

const char kVerifyUsage[] =
    "usage: ecckey verify --key KEY --sig SIG [--curve NAME] [--passin SOURCE]\n"
    "                     [--hash sha256|sha384|sha512|sha1] [--format auto|der|raw|ssh] [FILE]\n"
    "\n"
    "Verifies the signature in SIG over the message in FILE or standard input with the key in\n"
    "KEY (public or private). Prints \"Verified OK\" and exits 0, or prints \"Verification\n"
    "failure\" and exits 1. --format auto (the default) takes DER or raw r || s.\n";

int hashIdOf(const std::string& name) {
    if (name == "sha256") return _vnHash::SHA256;
    if (name == "sha384") return _vnHash::SHA384;
    if (name == "sha512") return _vnHash::SHA512;
    if (name == "sha1") return _vnHash::SHA1;
    return 0;
}

// What both commands work on: their arguments, the key and the message digest.
struct Job {
    Args args;
    EccKey key;
    LogBase log;
    DataBuffer digest;
};

// Common set-up of both commands. A negative result means go on; anything else is the exit
// code.
int prepare(const char* command, const char* usage, bool needsSig, int argc, char** argv, int first, Job& job) {
    Args& args = job.args;
    EccKey& key = job.key;
    LogBase& log = job.log;
    DataBuffer& digest = job.digest;
    std::string error;
    if (!parseArgs(argc, argv, first, {"--key", "--sig", "--hash", "--format", "--curve", kPassinOption}, {}, args, error)) {
        std::fprintf(stderr, "ecckey %s: %s\n\n%s", command, error.c_str(), usage);
        return kBadInput;
    }
    if (args.help) {
        std::printf("%s\n%s", usage, kPassphraseHelp);
        return kOk;
    }
    if (args.get("key") == nullptr || (needsSig && args.get("sig") == nullptr) || args.positional.size() > 1 ||
        (!needsSig && args.get("sig") != nullptr)) {
        std::fprintf(stderr, "ecckey %s: %s\n\n%s", command,
                     args.positional.size() > 1 ? "more than one message file" : "missing or misplaced option", usage);
        return kBadInput;
    }
    const int hashId = hashIdOf(args.getOr("hash", "sha256"));
    if (hashId == 0) {
        std::fprintf(stderr, "ecckey %s: unknown hash '%s'\n", command, args.get("hash")->c_str());
        return kBadInput;
    }
    const std::string messagePath = args.positional.empty() ? "-" : args.positional[0];
    if (*args.get("key") == "-" && messagePath == "-") {
        std::fprintf(stderr, "ecckey %s: the key and the message cannot both come from standard input\n", command);
        return kBadInput;
    }
    std::string form;
    if (!readKeyFile(*args.get("key"), args, key, form, error, log)) {
        reportFailure(command, error, log, args.verbose);
        return kBadInput;
    }
    // The message is hashed as it is read: its size is the file system's business, not ours.
    if (!digestInput(messagePath, hashId, digest, error)) {
        std::fprintf(stderr, "ecckey %s: %s\n", command, error.c_str());
        return kBadInput;
    }
    return -1;
}

// An SSH ecdsa_signature_blob (mpint r, mpint s) as r || s of the field's width.
bool sshToRaw(const DataBuffer& ssh, unsigned width, DataBuffer& raw, LogBase& log) {
    unsigned offset = 0;
    mp_int r, s;
    if (!SshMessage::parseMpInt(ssh, offset, r, log) || !SshMessage::parseMpInt(ssh, offset, s, log) ||
        offset != ssh.getSize()) {
        log.LogError("Not an SSH ECDSA signature blob.");
        return false;
    }
    unsigned char buf[256];
    for (const mp_int* v : {&r, &s}) {
        const int n = BigNum::mp_unsigned_bin_size(*v);
        if (n > static_cast<int>(width)) {
            log.LogError("An SSH signature value is wider than the curve.");
            return false;
        }
        for (unsigned i = static_cast<unsigned>(n); i < width; ++i) raw.appendChar(0);
        BigNum::mpint_to_bytes(*v, buf);
        raw.append(buf, static_cast<unsigned>(n));
    }
    return true;
}

}  // namespace

int runSign(int argc, char** argv, int first) {
    Job job;
    int rc = prepare("sign", kSignUsage, false, argc, argv, first, job);
    if (rc >= 0) return rc;
    Args& args = job.args;
    EccKey& key = job.key;
    LogBase& log = job.log;
    DataBuffer& digest = job.digest;
    if (key.m_keyType != 1) {
        reportFailure("sign", "signing needs a private key, and " + *args.get("key") + " holds a public one", log,
                      args.verbose);
        return kBadInput;
    }
    const std::string format = args.getOr("format", "der");
    if (format != "der" && format != "raw" && format != "ssh") {
        std::fprintf(stderr, "ecckey sign: unknown signature format '%s'\n", format.c_str());
        return kBadInput;
    }
    _vnSystemPrng prng;
    DataBuffer sig;
    // The SSH signer takes the digest whole; verifiers (this tool's and everyone's) cut a
    // digest longer than the curve to the curve's width first, so cut it here the same way.
    const unsigned sshDigestLen = eccEffectiveDigestLength(key.m_curve.fieldBytes, digest.getSize());
    bool ok = format == "ssh" ? key.eccSignHash_forSsh(digest.getData2(), sshDigestLen, prng, sig, log)
                              : key.eccSignHash(digest.getData2(), digest.getSize(), prng, format == "der", sig, log);
    if (!ok) {
        reportFailure("sign", "signing failed", log, args.verbose);
        return kBadInput;
    }
    if (!writeOutput(sig.getData2(), sig.getSize())) return kBadInput;
    reportVerbose(log, args.verbose);
    return kOk;
}

int runVerify(int argc, char** argv, int first) {
    Job job;
    int rc = prepare("verify", kVerifyUsage, true, argc, argv, first, job);
    if (rc >= 0) return rc;
    Args& args = job.args;
    EccKey& key = job.key;
    LogBase& log = job.log;
    DataBuffer& digest = job.digest;
    const std::string format = args.getOr("format", "auto");
    if (format != "auto" && format != "der" && format != "raw" && format != "ssh") {
        std::fprintf(stderr, "ecckey verify: unknown signature format '%s'\n", format.c_str());
        return kBadInput;
    }
    DataBuffer sig;
    std::string error;
    if (!readInput(*args.get("sig"), sig, kMaxKeyBytes, error)) {
        std::fprintf(stderr, "ecckey verify: %s\n", error.c_str());
        return kBadInput;
    }
    if (format == "ssh") {
        DataBuffer raw;
        if (!sshToRaw(sig, static_cast<unsigned>(key.m_curve.fieldBytes), raw, log)) {
            reportFailure("verify", "cannot read the SSH signature", log, args.verbose);
            return kBadInput;
        }
        sig.clear();
        sig.append(raw);
    }
    bool valid = false;
    // Raw signatures split at the field width, so every curve's r || s reads, not only the
    // sizes the library recognises unaided; DER is recognised by its structure first.
    const unsigned width = static_cast<unsigned>(key.m_curve.fieldBytes);
    if (!key.eccVerifyHash(sig.getData2(), sig.getSize(), true, digest.getData2(), digest.getSize(), valid, log,
                           width)) {
        // A signature that cannot even be decoded is not valid either: exit 1, like openssl.
        std::puts("Verification failure");
        reportFailure("verify", "the signature could not be checked", log, args.verbose);
        return kVerifyFailed;
    }
    if (format == "der" && (sig.getSize() == 0 || sig.byteAt(0) != 0x30)) valid = false;
    std::puts(valid ? "Verified OK" : "Verification failure");
    reportVerbose(log, args.verbose);
    return valid ? kOk : kVerifyFailed;
}

}  // namespace cli
}  // namespace vn

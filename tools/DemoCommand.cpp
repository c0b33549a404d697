// demo: the library's whole job on every curve, with nothing to supply. Generates two keys,
// signs and verifies, agrees on a secret both ways, writes the key in every form and reads
// each back, and prints one line per curve.

#include <chrono>
#include <cstdio>
#include <string>

#include "ecc/curves/NamedCurves.h"
#include "host/BigNum.h"
#include "host/Hash.h"
#include "tools/Cli.h"
#include "tools/Commands.h"
#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"

namespace vn {
namespace cli {

namespace {

const char kDemoUsage[] =
    "usage: ecckey demo [--verbose]\n"
    "\n"
    "For each of the fourteen curves: generates two keys, signs a SHA-256 digest and verifies\n"
    "it, agrees on a shared secret in both directions, writes the key in every output form\n"
    "that can be read back and reads it back. Prints a table of results and mean timings;\n"
    "exits 0 when every step on every curve succeeded.\n";

const int kRepeats = 3;

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool sameKey(const EccKey& a, const EccKey& b, bool comparePrivate) {
    if (!a.m_curve.oid.equals(b.m_curve.oid)) return false;
    if (BigNum::mp_cmp(a.m_pubPoint.x, b.m_pubPoint.x) != 0 || BigNum::mp_cmp(a.m_pubPoint.y, b.m_pubPoint.y) != 0) {
        return false;
    }
    return !comparePrivate || (b.m_keyType == 1 && BigNum::mp_cmp(a.m_k, b.m_k) == 0);
}

struct Row {
    double genMs = 0, signMs = 0, verifyMs = 0, ecdhMs = 0;
    int formsOk = 0, formsTried = 0;
    std::string failure;
};

// Writes the key in each form that reads back and checks what comes back.
void roundTripForms(EccKey& key, Row& row, LogBase& log) {
    for (const keyfile::OutputForm& form : keyfile::outputForms()) {
        const std::string name = form.name;
        if (name.compare(0, 11, "fingerprint") == 0 || name == "jwk-thumbprint") continue;  // digests only
        const bool sshFamily = name == "ssh" || name == "openssh" || name.compare(0, 3, "ppk") == 0;
        if (sshFamily && keyfile::sshIdentifierOf(key) == nullptr) continue;
        ++row.formsTried;
        DataBuffer out;
        std::string message, detected;
        EccKey back;
        // Raw hexadecimal carries no curve; the demo names it, as a user would with --curve.
        keyfile::ReadOptions hint;
        if (name == "raw-hex") hint.curveHint = key.m_curve.name.getString();
        const bool isPrivateForm = form.needsPrivate || name == "jwk" || name == "xml" || name == "raw-hex";
        if (keyfile::writeKey(key, name, {}, out, message, log) && keyfile::readKey(out, hint, back, detected, log) &&
            sameKey(key, back, isPrivateForm)) {
            ++row.formsOk;
        } else if (row.failure.empty()) {
            row.failure = "form " + name;
        }
    }
}

void runCurve(const char* curve, Row& row, LogBase& log) {
    _vnSystemPrng prng;
    StringBuffer name(curve);
    EccKey a, b;
    Clock::time_point t = Clock::now();
    bool ok = true;
    for (int i = 0; i < kRepeats && ok; ++i) ok = a.generateNewKey(name, prng, log);
    row.genMs = msSince(t) / kRepeats;
    if (!ok || !b.generateNewKey(name, prng, log)) {
        row.failure = "keygen";
        return;
    }

    DataBuffer digest, sig;
    const char message[] = "ecckey demo message";
    _vnHash::doHash(message, sizeof message - 1, _vnHash::SHA256, digest);
    t = Clock::now();
    for (int i = 0; i < kRepeats && ok; ++i) ok = a.eccSignHash(digest.getData2(), digest.getSize(), prng, true, sig, log);
    row.signMs = msSince(t) / kRepeats;
    bool valid = false;
    t = Clock::now();
    for (int i = 0; i < kRepeats && ok; ++i) {
        ok = a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.getData2(), digest.getSize(), valid, log, 0);
        ok = ok && valid;
    }
    row.verifyMs = msSince(t) / kRepeats;
    if (!ok) {
        row.failure = "sign/verify";
        return;
    }
    // A changed digest must not verify.
    digest.getData2()[0] ^= 1;
    a.eccVerifyHash(sig.getData2(), sig.getSize(), false, digest.getData2(), digest.getSize(), valid, log, 0);
    if (valid) {
        row.failure = "verify accepted a wrong digest";
        return;
    }

    DataBuffer ab, ba;
    ab.setSecure(true);
    ba.setSecure(true);
    t = Clock::now();
    for (int i = 0; i < kRepeats && ok; ++i) ok = a.sharedSecret(b, ab, log);
    row.ecdhMs = msSince(t) / kRepeats;
    if (!ok || !b.sharedSecret(a, ba, log) || !ab.equals(ba)) {
        row.failure = "ecdh";
        return;
    }
    roundTripForms(a, row, log);
}

}  // namespace

int runDemo(int argc, char** argv, int first) {
    Args args;
    int rc = parseNoArguments("demo", kDemoUsage, argc, argv, first, args);
    if (rc >= 0) return rc;
    std::printf("%-16s %10s %10s %10s %10s %7s  %s\n", "curve", "keygen ms", "sign ms", "verify ms", "ecdh ms", "forms",
                "result");
    int failures = 0;
    for (int i = 0; i < kNamedCurveCount; ++i) {
        const char* curve = namedCurveAt(i).name;
        LogBase log;
        log.m_options.append("EMIT_ECC_PKCS1_PUBKEY");
        Row row;
        runCurve(curve, row, log);
        const bool ok = row.failure.empty();
        if (!ok) ++failures;
        std::string forms = std::to_string(row.formsOk) + "/" + std::to_string(row.formsTried);
        std::printf("%-16s %10.3f %10.3f %10.3f %10.3f %7s  %s\n", curve, row.genMs, row.signMs, row.verifyMs,
                    row.ecdhMs, forms.c_str(), ok ? "ok" : ("FAILED: " + row.failure).c_str());
        std::fflush(stdout);
        if (!ok || args.verbose) reportVerbose(log, true);
    }
    std::printf("\n%s\n", failures == 0 ? "All fourteen curves passed." : "Some curves FAILED (see above).");
    return failures == 0 ? kOk : kBadInput;
}

}  // namespace cli
}  // namespace vn

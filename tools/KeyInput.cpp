#include "tools/KeyInput.h"

#include "keyfile/KeyReader.h"
#include "tools/Passphrase.h"

namespace vn {
namespace cli {

const char* const kPassinOption = "--passin";

namespace {

bool logged(const LogBase& log, const char* line) {
    for (const std::string& e : log.errors()) {
        if (e == line) return true;
    }
    return false;
}

}  // namespace

bool readKeyFile(const std::string& path, const Args& args, EccKey& key, std::string& found, std::string& error,
                 LogBase& log) {
    DataBuffer bytes, passphrase;
    passphrase.setSecure(true);
    if (!readInput(path, bytes, kMaxKeyBytes, error)) return false;
    keyfile::ReadOptions options;
    options.curveHint = args.getOr("curve", "");
    if (const std::string* source = args.get("passin")) {
        if (!readPassphrase(*source, passphrase, error)) return false;
        options.passphrase = &passphrase;
    }
    bool ok = keyfile::readKey(bytes, options, key, found, log);
    // Standard input holds the key itself when it is "-", so only a named file is asked about.
    if (!ok && options.passphrase == nullptr && logged(log, keyfile::kNeedPassphrase) && path != "-" && canPrompt()) {
        if (!promptPassphrase(("Passphrase for " + path + ": ").c_str(), false, passphrase, error)) return false;
        options.passphrase = &passphrase;
        log.clearLog();
        ok = keyfile::readKey(bytes, options, key, found, log);
    }
    if (!ok && found == "a key of another type") {
        error = log.errors().front();  // the one line naming it
    } else if (!ok && logged(log, keyfile::kWrongPassphrase)) {
        error = keyfile::kWrongPassphrase;
    } else if (!ok && logged(log, keyfile::kNeedPassphrase)) {
        error = "the key in " + path + " is encrypted: give its passphrase with --passin";
    } else if (!ok) {
        error = "cannot read a key from " + (path == "-" ? std::string("standard input") : path) + " (looked like: " +
                found + ")";
    }
    return ok;
}

}  // namespace cli
}  // namespace vn

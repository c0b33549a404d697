// Loads a key file in any form ecckey reads (PEM, DER, JWK, XML, OpenSSH, PuTTY, ...) and
// prints its public key in every public form the key-file layer writes.
//
//   ECCKEY_PASSPHRASE=secret ./load_key id_ecdsa
//
// The passphrase of an encrypted file comes from the environment rather than the command
// line, where every user of the machine could read it in the process list.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "keyfile/KeyReader.h"
#include "keyfile/KeyWriter.h"
#include "key_files.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s KEYFILE   (passphrase, if any, in ECCKEY_PASSPHRASE)\n", argv[0]);
        return 2;
    }
    // The file may hold a private key: a secure buffer wipes it before its memory is freed.
    vn::DataBuffer file, passphrase;
    file.setSecure(true);
    passphrase.setSecure(true);
    if (!readFile(argv[1], file)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 2;
    }
    vn::keyfile::ReadOptions options;
    if (const char* pw = std::getenv("ECCKEY_PASSPHRASE")) {
        passphrase.append(pw, static_cast<unsigned>(std::strlen(pw)));
        options.passphrase = &passphrase;
    }

    // readKey recognises the form, decrypts, and checks the point against the curve (and a
    // private scalar against its point) before handing the key back. On failure the log holds
    // the reasons; kNeedPassphrase among them means the file is encrypted.
    vn::LogBase log;
    vn::EccKey key;
    std::string found;
    if (!vn::keyfile::readKey(file, options, key, found, log)) {
        if (log.hasError(vn::keyfile::kNeedPassphrase)) {
            std::fprintf(stderr, "%s is encrypted: give its passphrase in ECCKEY_PASSPHRASE\n", argv[1]);
        } else {
            std::fprintf(stderr, "%s: no key loaded (it looked like: %s)\n%s", argv[1], found.c_str(),
                         log.render().c_str());
        }
        return 1;
    }
    std::printf("%s: %s, %s key on %s\n", argv[1], found.c_str(), key.m_keyType == 1 ? "private" : "public",
                key.m_curve.name.getString());

    log.clearLog();  // the load's own lines; a failure below is then shown alone

    // Forms such as jwk, xml and raw-hex write the private key when they are given one, so the
    // public half is taken apart first: through its SubjectPublicKeyInfo, which has no scalar.
    vn::EccKey pub;
    vn::DataBuffer spki;
    if (!key.toPublicKeyDer_shortFmt(spki, log) || !pub.loadEccDer(spki, log)) {
        std::fputs(log.render().c_str(), stderr);
        return 1;
    }
    for (const vn::keyfile::OutputForm& form : vn::keyfile::outputForms()) {
        if (form.needsPrivate) continue;
        vn::DataBuffer out;
        std::string message;
        std::printf("== %s (%s)\n", form.name, form.description);
        // message names what the layer refuses by design (an SSH form of a curve SSH has no
        // name for); anything else that fails leaves its lines in the log.
        if (!vn::keyfile::writeKey(pub, form.name, {}, out, message, log)) {
            std::printf("not available: %s\n", message.empty() ? log.render().c_str() : message.c_str());
            log.clearLog();
        } else if (std::strstr(form.name, "-der") != nullptr) {
            vn::StringBuffer hex;  // binary: shown in hexadecimal
            out.encodeDB("hex", hex);
            std::printf("%s\n", hex.getString());
        } else {
            std::fwrite(out.getData2(), 1, out.getSize(), stdout);
        }
    }
    return 0;
}

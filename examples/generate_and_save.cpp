// Generates a key on a named curve and writes it twice, encrypted under a passphrase: as a
// PKCS#8 PEM file (openssl reads it) and as an OpenSSH private key file (ssh and ssh-keygen
// read it).
//
//   ECCKEY_PASSPHRASE=secret ./generate_and_save P-256 mykey    # writes mykey.p8.pem and mykey

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "keyfile/KeyWriter.h"

// A new file only its owner may read (0600; the umask can only take bits away), and never an
// existing one: O_EXCL neither overwrites a key nor follows a link planted in its place.
static bool writeNewFile(const std::string& path, const vn::DataBuffer& bytes) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd < 0) return false;
    const bool ok = ::write(fd, bytes.getData2(), bytes.getSize()) == static_cast<ssize_t>(bytes.getSize());
    return ::close(fd) == 0 && ok;
}

int main(int argc, char** argv) {
    const char* pw = std::getenv("ECCKEY_PASSPHRASE");
    if (argc != 3 || pw == nullptr || *pw == '\0') {
        std::fprintf(stderr, "usage: ECCKEY_PASSPHRASE=... %s CURVE BASENAME   (e.g. P-256, secp384r1)\n", argv[0]);
        return 2;
    }
    vn::DataBuffer passphrase;
    passphrase.setSecure(true);
    passphrase.append(pw, static_cast<unsigned>(std::strlen(pw)));

    // The operating system's generator, the one to use unless there is a reason for another.
    // Generation runs in constant time in the new scalar.
    vn::LogBase log;
    vn::EccKey key;
    vn::_vnSystemPrng prng;
    if (!key.generateNewKey(vn::StringBuffer(argv[1]), prng, log)) {
        std::fprintf(stderr, "cannot generate a key on %s\n%s", argv[1], log.render().c_str());
        return 2;
    }

    vn::keyfile::WriteOptions options;
    options.passphrase = &passphrase;  // PBKDF2 with AES-256 for PKCS#8, bcrypt with AES-256 for OpenSSH
    options.comment = std::string("generated on ") + key.m_curve.name.getString();
    const std::string base = argv[2];
    struct { const char* form; std::string path; } files[] = {{"pkcs8", base + ".p8.pem"}, {"openssh", base}};
    for (const auto& file : files) {
        // SSH names three curves of the NIST set and secp256k1 only; there is no OpenSSH file of
        // another curve's key.
        if (std::strcmp(file.form, "openssh") == 0 && vn::keyfile::sshIdentifierOf(key) == nullptr) {
            std::printf("no OpenSSH file: SSH has no name for %s\n", key.m_curve.name.getString());
            continue;
        }
        // Even encrypted, the output is handled as secret: a secure buffer wipes it.
        vn::DataBuffer out;
        out.setSecure(true);
        std::string message;
        if (!vn::keyfile::writeKey(key, file.form, options, out, message, log)) {
            std::fprintf(stderr, "cannot write %s: %s\n%s", file.form, message.c_str(), log.render().c_str());
            return 1;
        }
        if (!writeNewFile(file.path, out)) {
            std::perror(file.path.c_str());
            return 1;
        }
        std::printf("wrote %s (%s)\n", file.path.c_str(), file.form);
    }
    return 0;
}

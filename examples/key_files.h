#pragma once
// What the examples share: reading a key file, and loading a key from one.

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "keyfile/KeyReader.h"

// Reads the file straight into out (give it a secure buffer for key files), unbuffered, so that
// no other copy of a private key is left behind in memory that is freed without being wiped.
// False for a file that cannot be read, is empty or is larger than any key file (1 MiB).
inline bool readFile(const char* path, vn::DataBuffer& out) {
    std::FILE* f = std::fopen(path, "rb");
    if (f == nullptr) return false;
    std::setvbuf(f, nullptr, _IONBF, 0);
    const long size = std::fseek(f, 0, SEEK_END) == 0 ? std::ftell(f) : -1;
    bool ok = size > 0 && size < (1L << 20) && std::fseek(f, 0, SEEK_SET) == 0;
    if (ok) {
        const std::vector<unsigned char> room(static_cast<std::size_t>(size));  // zeros, to make space
        const unsigned n = static_cast<unsigned>(size);
        ok = out.append(room.data(), n) && std::fread(out.getData2(), 1, n, f) == n;
    }
    std::fclose(f);
    return ok;
}

// Loads the key in path, of any form, with the passphrase in ECCKEY_PASSPHRASE when that is
// set (load_key.cpp shows the steps). False with the reason on stderr. The log is its own: a
// load that succeeds leaves lines nobody needs in a log that later failures are shown from.
inline bool loadKeyFile(const char* path, vn::EccKey& key) {
    vn::LogBase log;
    vn::DataBuffer file, passphrase;
    file.setSecure(true);
    passphrase.setSecure(true);
    vn::keyfile::ReadOptions options;
    if (const char* pw = std::getenv("ECCKEY_PASSPHRASE")) {
        if (!passphrase.append(pw, static_cast<unsigned>(std::strlen(pw)))) return false;
        options.passphrase = &passphrase;
    }
    std::string found;
    if (!readFile(path, file)) {
        std::fprintf(stderr, "cannot read %s\n", path);
        return false;
    }
    if (!vn::keyfile::readKey(file, options, key, found, log)) {
        std::fprintf(stderr, "%s: no key loaded\n%s", path, log.render().c_str());
        return false;
    }
    return true;
}

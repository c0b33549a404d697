// ECDH: agrees on a secret between our private key and a peer's public key, and prints the
// SHA-256 of the secret, the form a protocol would feed to its key derivation.
//
//   ECCKEY_PASSPHRASE=secret ./ecdh our-key.p8 peer-public.pem
//
// The peer's key is whatever the other side sent: until checked, it is an attacker's input.

#include <cstdio>

#include "host/Hash.h"
#include "key_files.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s OUR-PRIVATE-KEY PEER-PUBLIC-KEY\n", argv[0]);
        return 2;
    }
    vn::LogBase log;
    vn::EccKey ours, peer;
    if (!loadKeyFile(argv[1], ours) || !loadKeyFile(argv[2], peer)) return 1;
    if (ours.m_keyType != 1) {
        std::fprintf(stderr, "%s holds no private key\n", argv[1]);
        return 2;
    }
    // sharedSecret multiplies whatever point it is given. A point on another curve, or off
    // every curve, would let the peer learn our scalar piece by piece over many agreements (an
    // invalid-curve attack). readKey has checked the point already; the check is repeated here
    // because a key that reaches this line another way (loadEccPublicRaw, say) is not checked,
    // and it costs little next to the agreement.
    if (!ours.m_curve.oid.equals(peer.m_curve.oid)) {
        std::fprintf(stderr, "the keys are on different curves: %s and %s\n", ours.m_curve.name.getString(),
                     peer.m_curve.name.getString());
        return 2;
    }
    if (!peer.isPoint(log)) {
        std::fprintf(stderr, "the peer's point is not on %s: refused\n", peer.m_curve.name.getString());
        return 2;
    }

    // The x-coordinate of our scalar times the peer's point, as wide as the field, computed in
    // constant time in our scalar. It is a secret: a secure buffer wipes it.
    vn::DataBuffer secret, digest;
    secret.setSecure(true);
    digest.setSecure(true);
    if (!ours.sharedSecret(peer, secret, log)) {
        std::fprintf(stderr, "the agreement failed\n%s", log.render().c_str());
        return 1;
    }
    // The raw x-coordinate is not uniformly random: never use it as a key directly. A real
    // protocol runs it through a KDF (HKDF, X9.63) with its context; SHA-256 stands in for one
    // here, and what it prints lets the two sides compare results (run it the other way round).
    vn::_vnHash::doHash(secret.getData2(), secret.getSize(), vn::_vnHash::SHA256, digest);
    vn::StringBuffer hex;
    digest.encodeDB("hex", hex);
    std::printf("%s\n", hex.getString());
    return 0;
}

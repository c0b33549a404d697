#include "ecc/generic/ScalarMultiplication.h"

#include <cstring>

#include "ecc/EccKey.h"
#include "ecc/generic/JacobianArithmetic.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

// The Montgomery context of p: rho for the reductions and mu = R mod p for entering the form.
bool montgomerySetup(const mp_int& p, unsigned& rho, mp_int& mu) {
    return BigNum::mp_montgomery_setup(p, rho) == MP_OKAY &&
           BigNum::mp_montgomery_normalization(mu, p) == MP_OKAY;
}

bool toMontgomery(const EccPoint& in, EccPoint& out, const mp_int& mu, const mp_int& p) {
    out.format = in.format;
    return BigNum::mp_mulmod(in.x, mu, p, out.x) == MP_OKAY && BigNum::mp_mulmod(in.y, mu, p, out.y) == MP_OKAY &&
           BigNum::mp_mulmod(in.z, mu, p, out.z) == MP_OKAY;
}

}  // namespace

bool pointMult_tmr(mp_int& k, EccPoint& G, EccPoint& R, mp_int* ma, mp_int& p, LogBase& log) {
    LogContextExitor ctx(log, "pointMultiply");
    // k = 0 would leave G standing as the answer; 0*G is the point at infinity, which this
    // engine cannot express, so refuse rather than return a wrong point.
    if (k.isZero()) return false;

    unsigned rho = 0;
    mp_int mu;
    EccPoint T, M0, M1;
    if (!montgomerySetup(p, rho, mu) || !toMontgomery(G, T, mu, p)) return false;
    if (!M0.copyFromEccPoint(T) || !pointDouble(T, M1, ma, p, rho)) return false;

    // Bits from the top, 28 to a digit. Leading zeros and the leading 1 cost nothing (M0 = G
    // and M1 = 2G already stand for the prefix 1); after that the invariant M1 - M0 = G holds
    // and each bit does one addition and one doubling, only the registers' roles changing.
    EccPoint* regs[2] = {&M0, &M1};
    bool started = false;
    for (int d = k.get_digit_count() - 1; d >= 0; --d) {
        mp_digit digit = k.get_digit(d);
        for (int bit = MP_DIGIT_BIT - 1; bit >= 0; --bit) {
            unsigned b = (digit >> bit) & 1u;
            if (!started) {
                started = b != 0;
                continue;
            }
            if (!pointAdd(M0, M1, *regs[1 - b], ma, p, rho)) return false;
            if (!pointDouble(*regs[b], *regs[b], ma, p, rho)) return false;
        }
    }

    if (!R.copyFromEccPoint(M0)) return false;
    return mapPointBack(R, p, rho);
}

bool EccKey::mul2add(EccPoint& A, mp_int& kA, EccPoint& B, mp_int& kB, EccPoint& Out, mp_int* ma, mp_int& p,
                     LogBase& log) {
    (void)log;  // writes nothing; the caller reports
    constexpr int kScalarBytes = 256;
    // The scalar buffers live on the stack, so that the multiplication never touches the
    // heap; they may hold secret-derived bytes, so they are wiped on every way out.
    struct WipedBytes {
        unsigned char b[kScalarBytes] = {};
        ~WipedBytes() { secureWipe(b, sizeof b); }
    } bufA, bufB;
    unsigned char* tA = bufA.b;
    unsigned char* tB = bufB.b;

    int lenA = BigNum::mp_unsigned_bin_size(kA);
    int lenB = BigNum::mp_unsigned_bin_size(kB);
    if (lenA > kScalarBytes || lenB > kScalarBytes) return false;
    int len = lenA > lenB ? lenA : lenB;
    // Both zero: Out would never be written and 0 is no point this engine can return.
    if (len == 0) return false;
    // Right-aligned, so the two scalars' windows line up at the least significant end.
    if (BigNum::mpint_to_bytes(kA, tA + (len - lenA)) != MP_OKAY ||
        BigNum::mpint_to_bytes(kB, tB + (len - lenB)) != MP_OKAY) {
        return false;
    }

    unsigned rho = 0;
    mp_int mu;
    if (!montgomerySetup(p, rho, mu)) return false;

    // table[iA + 4*iB] = iA*A + iB*B; entry 0 is never used.
    EccPoint table[16];
    if (!toMontgomery(A, table[1], mu, p) || !toMontgomery(B, table[4], mu, p)) return false;
    if (!pointDouble(table[1], table[2], ma, p, rho) || !pointAdd(table[1], table[2], table[3], ma, p, rho) ||
        !pointDouble(table[4], table[8], ma, p, rho) || !pointAdd(table[4], table[8], table[12], ma, p, rho)) {
        return false;
    }
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 3; ++j) {
            if (!pointAdd(table[i], table[4 * j], table[i + 4 * j], ma, p, rho)) return false;
        }
    }

    bool first = true;
    for (int byte = 0; byte < len; ++byte) {
        unsigned a = tA[byte];
        unsigned b = tB[byte];
        for (int window = 0; window < 4; ++window, a = (a << 2) & 0xFF, b = (b << 2) & 0xFF) {
            unsigned iA = a >> 6;
            unsigned iB = b >> 6;
            if (first && iA == 0 && iB == 0) continue;
            if (!first) {
                if (!pointDouble(Out, Out, ma, p, rho) || !pointDouble(Out, Out, ma, p, rho)) return false;
            }
            if (iA == 0 && iB == 0) continue;
            EccPoint& entry = table[iA + 4 * iB];
            if (first) {
                if (BigNum::mp_copy(entry.x, Out.x) != MP_OKAY || BigNum::mp_copy(entry.y, Out.y) != MP_OKAY ||
                    BigNum::mp_copy(entry.z, Out.z) != MP_OKAY) {
                    return false;
                }
                first = false;
            } else if (!pointAdd(Out, entry, Out, ma, p, rho)) {
                return false;
            }
        }
    }
    return mapPointBack(Out, p, rho);
}

}  // namespace vn

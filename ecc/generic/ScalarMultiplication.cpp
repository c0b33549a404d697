#include "ecc/generic/ScalarMultiplication.h"

#include "ecc/EccKey.h"
#include "ecc/generic/JacobianArithmetic.h"
#include "ecc/generic/LimbJacobian.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

namespace {

// The kernels' temporaries live in stack frames below ours and hold values derived from the
// scalar. Rather than wiping every field operation's locals (that cost a tenth of the time),
// each multiplication ends by overwriting this much of the stack once.
constexpr std::size_t kScrubBytes = 4096;

__attribute__((noinline)) void scrubStack() {
    unsigned char area[kScrubBytes];
    secureWipe(area, sizeof area);
}

// The result leaves through mapPointBack, in the mp_int routines' Montgomery radix.
template <int L>
bool finish(const LimbCurve<L>& c, const LimbPoint<L>& P, EccPoint& R, mp_int& p) {
    unsigned rho = 0;
    return BigNum::mp_montgomery_setup(p, rho) == MP_OKAY && c.leave(P, R) && mapPointBack(R, p, rho);
}

template <int L>
bool ladder(const mp_int& k, const EccPoint& G, EccPoint& R, mp_int* ma, mp_int& p) {
    LimbCurve<L> c;
    struct Registers {
        LimbPoint<L> T, M[2];
    };
    Wiped<Registers> s;
    if (!c.init(p, ma) || !c.enter(G, p, s.v.T)) return false;
    LimbPoint<L>* M = s.v.M;
    M[0] = s.v.T;
    limbDouble(c, s.v.T, M[1]);

    // Bits from the top, 28 to a digit. Leading zeros and the leading 1 cost nothing (M0 = G
    // and M1 = 2G already stand for the prefix 1); after that the invariant M1 - M0 = G holds
    // and each bit does one addition and one doubling, only the registers' roles changing.
    bool started = false;
    for (int d = k.get_digit_count() - 1; d >= 0; --d) {
        const mp_digit digit = k.get_digit(d);
        for (int bit = MP_DIGIT_BIT - 1; bit >= 0; --bit) {
            const unsigned b = (digit >> bit) & 1u;
            if (!started) {
                started = b != 0;
                continue;
            }
            limbAdd(c, M[0], M[1], M[1 - b], LimbField<L>::isOne(M[1].z));
            limbDouble(c, M[b], M[b]);
        }
    }
    R.format = G.format;
    return finish(c, M[0], R, p);
}

template <int L>
bool dualMultiply(const EccPoint& A, const unsigned char* tA, const EccPoint& B, const unsigned char* tB, int len,
                  EccPoint& Out, mp_int* ma, mp_int& p) {
    LimbCurve<L> c;
    struct Registers {
        LimbPoint<L> table[16], acc;
    };
    Wiped<Registers> s;
    LimbPoint<L>* table = s.v.table;
    LimbPoint<L>& acc = s.v.acc;

    // table[iA + 4*iB] = iA*A + iB*B; entry 0 is never used.
    if (!c.init(p, ma) || !c.enter(A, p, table[1]) || !c.enter(B, p, table[4])) return false;
    const auto add = [&](const LimbPoint<L>& P, const LimbPoint<L>& Q, LimbPoint<L>& R) {
        limbAdd(c, P, Q, R, LimbField<L>::isOne(Q.z));
    };
    limbDouble(c, table[1], table[2]);
    add(table[1], table[2], table[3]);
    limbDouble(c, table[4], table[8]);
    add(table[4], table[8], table[12]);
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 3; ++j) add(table[i], table[4 * j], table[i + 4 * j]);
    }

    bool first = true;
    for (int byte = 0; byte < len; ++byte) {
        unsigned a = tA[byte];
        unsigned b = tB[byte];
        for (int window = 0; window < 4; ++window, a = (a << 2) & 0xFF, b = (b << 2) & 0xFF) {
            const unsigned iA = a >> 6;
            const unsigned iB = b >> 6;
            if (first && iA == 0 && iB == 0) continue;
            if (!first) {
                limbDouble(c, acc, acc);
                limbDouble(c, acc, acc);
            }
            if (iA == 0 && iB == 0) continue;
            const LimbPoint<L>& entry = table[iA + 4 * iB];
            if (first) {
                acc = entry;
                first = false;
            } else {
                add(acc, entry, acc);
            }
        }
    }
    return finish(c, acc, Out, p);
}

}  // namespace

bool pointMult_tmr(mp_int& k, EccPoint& G, EccPoint& R, mp_int* ma, mp_int& p, LogBase& log) {
    LogContextExitor ctx(log, "pointMultiply");
    // k = 0 would leave G standing as the answer; 0*G is the point at infinity, which this
    // engine cannot express, so refuse rather than return a wrong point.
    if (k.isZero()) return false;
    const bool ok = withFieldLimbs(fieldLimbs(p), [&](auto limbs) {
        return ladder<decltype(limbs)::value>(k, G, R, ma, p);
    });
    scrubStack();
    return ok;
}

bool EccKey::mul2add(EccPoint& A, mp_int& kA, EccPoint& B, mp_int& kB, EccPoint& Out, mp_int* ma, mp_int& p,
                     LogBase& log) {
    (void)log;  // writes nothing; the caller reports
    constexpr int kScalarBytes = 256;
    // The scalar buffers live on the stack, so that the multiplication never touches the
    // heap; they may hold secret-derived bytes, so they are wiped on every way out.
    Wiped<unsigned char[kScalarBytes]> bufA, bufB;
    unsigned char* tA = bufA.v;
    unsigned char* tB = bufB.v;

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
    const bool ok = withFieldLimbs(fieldLimbs(p), [&](auto limbs) {
        return dualMultiply<decltype(limbs)::value>(A, tA, B, tB, len, Out, ma, p);
    });
    scrubStack();
    return ok;
}

}  // namespace vn

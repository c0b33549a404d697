#include "ecc/generic/ScalarMultiplication.h"

#include "ecc/EccKey.h"
#include "ecc/SecretMarking.h"
#include "ecc/generic/ConstantTimeMultiplication.h"
#include "host/BigNum.h"
#include "host/SecureWipe.h"

namespace vn {

// Deep enough for the widest kernel's frames (the variable-base table wipes itself).
constexpr std::size_t kScrubBytes = 8192;

__attribute__((noinline)) void scrubStack() {
    unsigned char area[kScrubBytes];
    secureWipe(area, sizeof area);
}

namespace {

// Scalars as wide as two fields at most: enough for every caller, which passes values below
// the order, while a fixed array keeps the multiplication off the heap.
constexpr int kMaxScalarLimbs = 2 * kMaxFieldLimbs;

// k*G by the constant-time fixed-window multiplication, over as many windows as the wider of
// the field and k itself need (the field, for every scalar a caller passes).
template <int L>
bool ladder(const mp_int& k, const EccPoint& G, EccPoint& R, mp_int* ma, mp_int& p) {
    LimbCurve<L> c;
    struct Registers {
        LimbPoint<L> base, out;
        Limb k[kMaxScalarLimbs];
    };
    Wiped<Registers> s;
    const int kBits = BigNum::mp_count_bits(k);
    int kLimbs = (kBits + 63) / 64;
    if (kLimbs < L) kLimbs = L;
    if (kLimbs > kMaxScalarLimbs || !BigNum::mpint_to_limbs(k, s.v.k, kLimbs)) return false;
    ECCKEY_SECRET(s.v.k, sizeof s.v.k);
    if (!c.init(p, ma) || !c.enter(G, p, s.v.base)) return false;
    variableBaseMultiply(c, s.v.base, s.v.k, kLimbs, 64 * kLimbs, s.v.out);
    R.format = G.format;
    return leaveAffine(c, s.v.out, R);
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

    // table[iA + 4*iB] = iA*A + iB*B; entry 0 is never used. The complete addition keeps the
    // entries right when A and B are related (B = A, B = -A, B = 2A, ...).
    if (!c.init(p, ma) || !c.enter(A, p, table[1]) || !c.enter(B, p, table[4])) return false;
    limbDouble(c, table[1], table[2]);
    limbAddComplete_var(c, table[1], table[2], table[3]);
    limbDouble(c, table[4], table[8]);
    limbAddComplete_var(c, table[4], table[8], table[12]);
    for (int i = 1; i <= 3; ++i) {
        for (int j = 1; j <= 3; ++j) limbAddComplete_var(c, table[i], table[4 * j], table[i + 4 * j]);
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
                limbAddComplete_var(c, acc, entry, acc);
            }
        }
    }
    return leaveAffine(c, acc, Out);
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

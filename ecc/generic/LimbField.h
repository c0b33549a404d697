#pragma once
// Arithmetic modulo an odd prime p of L 64-bit limbs, on fixed arrays: the field layer of the
// generic engine. Values are residues in [0, p), least significant limb first; products are
// Montgomery products with R = 2^(64L). Nothing here allocates, fails or branches on the
// values, and no index depends on them: corrections are applied through masks, and the
// inverse is a fixed exponentiation. This is what the constant-time multiplications build on.
//
// Every routine allows its output to be one of its inputs.

#include <cstddef>
#include <cstdint>
#include <utility>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

#include "ecc/generic/LimbMontgomeryAdx.h"
#include "host/BigNumCount.h"

// The column kernels expand into a few hundred multiply-adds for the wider fields; left to
// itself the compiler stops inlining partway and calls per term.
#if defined(__GNUC__)
#define ECCKEY_LIMB_INLINE inline __attribute__((always_inline))
#else
#define ECCKEY_LIMB_INLINE inline
#endif

namespace vn {

using Limb = std::uint64_t;

#if defined(__SIZEOF_INT128__)
__extension__ typedef unsigned __int128 LimbPair;

// a*b + c + d as hi:lo; cannot overflow: (2^64-1)^2 + 2(2^64-1) = 2^128 - 1.
ECCKEY_LIMB_INLINE Limb mulAdd(Limb a, Limb b, Limb c, Limb d, Limb& hi) {
    const LimbPair v = static_cast<LimbPair>(a) * b + c + d;
    hi = static_cast<Limb>(v >> 64);
    return static_cast<Limb>(v);
}
#if defined(__x86_64__)
// carry and borrow are 0 or 1. Through the intrinsics the compiler chains adc and sbb; from
// the 128-bit sums below it rebuilds every carry in registers, several times the instructions.
ECCKEY_LIMB_INLINE Limb addCarry(Limb a, Limb b, Limb& carry) {
    unsigned long long r;
    carry = _addcarry_u64(static_cast<unsigned char>(carry), a, b, &r);
    return r;
}
ECCKEY_LIMB_INLINE Limb subBorrow(Limb a, Limb b, Limb& borrow) {
    unsigned long long r;
    borrow = _subborrow_u64(static_cast<unsigned char>(borrow), a, b, &r);
    return r;
}
#else
ECCKEY_LIMB_INLINE Limb addCarry(Limb a, Limb b, Limb& carry) {
    const LimbPair v = static_cast<LimbPair>(a) + b + carry;
    carry = static_cast<Limb>(v >> 64);
    return static_cast<Limb>(v);
}
ECCKEY_LIMB_INLINE Limb subBorrow(Limb a, Limb b, Limb& borrow) {
    const LimbPair v = static_cast<LimbPair>(a) - b - borrow;
    borrow = static_cast<Limb>(v >> 64) & 1;
    return static_cast<Limb>(v);
}
#endif
#else
// Without a 128-bit type: the product from four 32-bit halves.
ECCKEY_LIMB_INLINE Limb mulAdd(Limb a, Limb b, Limb c, Limb d, Limb& hi) {
    const Limb a0 = a & 0xFFFFFFFFu, a1 = a >> 32, b0 = b & 0xFFFFFFFFu, b1 = b >> 32;
    const Limb p00 = a0 * b0, p01 = a0 * b1, p10 = a1 * b0, p11 = a1 * b1;
    const Limb mid = (p00 >> 32) + (p01 & 0xFFFFFFFFu) + (p10 & 0xFFFFFFFFu);
    Limb lo = (mid << 32) | (p00 & 0xFFFFFFFFu);
    hi = p11 + (p01 >> 32) + (p10 >> 32) + (mid >> 32);
    lo += c;
    hi += lo < c;
    lo += d;
    hi += lo < d;
    return lo;
}
ECCKEY_LIMB_INLINE Limb addCarry(Limb a, Limb b, Limb& carry) {
    const Limb s = a + carry;
    Limb c = s < carry;
    const Limb r = s + b;
    c += r < b;
    carry = c;
    return r;
}
ECCKEY_LIMB_INLINE Limb subBorrow(Limb a, Limb b, Limb& borrow) {
    const Limb d = a - b;
    Limb w = a < b;
    const Limb r = d - borrow;
    w |= d < borrow;
    borrow = w;
    return r;
}
#endif

// Hides a value from the optimiser, so that mask arithmetic on it stays as written instead of
// being turned back into a branch.
ECCKEY_LIMB_INLINE Limb limbBarrier(Limb v) {
#if defined(__GNUC__) || defined(__clang__)
    __asm__ volatile("" : "+r"(v));
#endif
    return v;
}

// Zeroes n limbs of a working value that held secret-derived data; the volatile stores stay.
inline void secureWipeLimbs(Limb* a, std::size_t n) {
    volatile Limb* v = a;
    for (std::size_t i = 0; i < n; ++i) v[i] = 0;
}

// Array bound from a limb count (the counts are ints, as in every loop over them).
constexpr std::size_t arraySize(int n) { return static_cast<std::size_t>(n); }

template <int L>
class LimbField {
public:
    Limb p[arraySize(L)];
    Limb pinv;  // -p^-1 mod 2^64
    bool m_mersenne = false;  // p = 2^521 - 1
    // Products through the MULX/ADX assembly: set when the processor has those instructions
    // and the size has a routine. Public so that tests can run the portable columns too.
    bool m_adx = false;

    // p[0] must be odd.
    void setModulus(const Limb* modulus) {
        for (int i = 0; i < L; ++i) p[i] = modulus[i];
        // Newton's iteration x <- x(2 - p0 x) doubles the correct low bits; p0 is its own
        // inverse mod 8, so five steps give 96 > 64.
        Limb x = p[0];
        for (int i = 0; i < 5; ++i) x *= 2 - p[0] * x;
        pinv = 0 - x;
        m_mersenne = L == kMersenneLimbs;
        for (int i = 0; i < L; ++i) m_mersenne = m_mersenne && p[i] == (i < L - 1 ? ~Limb{0} : kTop9);
#if defined(ECCKEY_HAVE_ADX_PRODUCT)
        m_adx = adx::kSized<L> && adx::available();
#endif
    }

    // out = a*b/R mod p. Product and reduction interleaved column by column (product
    // scanning): column k gathers a[i]*b[k-i] and the quotient terms q[j]*p[k-j]; in the low
    // half q[k] is then chosen so that the column's low limb becomes zero. Each product costs
    // one multiply and three additions into the column, and nothing goes through memory.
    // Where m_adx is set, the MULX/ADX routine of LimbMontgomeryAdx.h does it with two.
    void mul(const Limb* a, const Limb* b, Limb* out) const {
        ECCKEY_COUNT_FIELD_MUL();
        montColumns<false>(a, b, out, std::make_index_sequence<arraySize(2 * L - 1)>{});
    }

    // out = a^2/R mod p: each column's cross products once, doubled.
    void sqr(const Limb* a, Limb* out) const {
        ECCKEY_COUNT_FIELD_MUL();
        montColumns<true>(a, a, out, std::make_index_sequence<arraySize(2 * L - 1)>{});
    }

    void add(const Limb* a, const Limb* b, Limb* out) const {
        Limb s[arraySize(L)];
        Limb c = 0;
        for (int i = 0; i < L; ++i) s[i] = addCarry(a[i], b[i], c);
        finish(s, c, out);
    }

    void sub(const Limb* a, const Limb* b, Limb* out) const {
        Limb d[arraySize(L)];
        Limb borrow = 0;
        for (int i = 0; i < L; ++i) d[i] = subBorrow(a[i], b[i], borrow);
        const Limb mask = 0 - borrow;
        Limb c = 0;
        for (int i = 0; i < L; ++i) out[i] = addCarry(d[i], p[i] & mask, c);
    }

    // a/2 mod p: an odd a is made even by adding p first.
    void half(const Limb* a, Limb* out) const {
        const Limb mask = 0 - (a[0] & 1);
        Limb s[arraySize(L)];
        Limb c = 0;
        for (int i = 0; i < L; ++i) s[i] = addCarry(a[i], p[i] & mask, c);
        for (int i = 0; i < L - 1; ++i) out[i] = (s[i] >> 1) | (s[i + 1] << 63);
        out[L - 1] = (s[L - 1] >> 1) | (c << 63);
    }

    static void copy(const Limb* a, Limb* out) {
        for (int i = 0; i < L; ++i) out[i] = a[i];
    }
    static bool equal(const Limb* a, const Limb* b) {
        Limb diff = 0;
        for (int i = 0; i < L; ++i) diff |= a[i] ^ b[i];
        return diff == 0;
    }
    // All ones when a is zero, else zero; the value never steers a branch (the barrier keeps
    // the compiler from turning the mask back into one).
    static Limb zeroMask(const Limb* a) {
        Limb any = 0;
        for (int i = 0; i < L; ++i) any |= a[i];
        return limbBarrier(0 - (((any | (0 - any)) >> 63) ^ 1));
    }
    // out = a where mask is all ones, b where it is zero; out may be a or b.
    static void select(Limb mask, const Limb* a, const Limb* b, Limb* out) {
        for (int i = 0; i < L; ++i) out[i] = (a[i] & mask) | (b[i] & ~mask);
    }

    // out = a^e (Montgomery form in and out) for a public exponent e of eLimbs limbs, e != 0:
    // fixed 4-bit windows over a table of a^1 .. a^15. Only the exponent steers branches and
    // indices, so the time says nothing about a.
    void powPublicExponent(const Limb* a, const Limb* e, int eLimbs, Limb* out) const {
        Limb table[15][arraySize(L)];
        copy(a, table[0]);
        for (int i = 1; i < 15; ++i) mul(table[i - 1], a, table[i]);
        Limb acc[arraySize(L)];
        bool started = false;
        for (int nib = 16 * eLimbs - 1; nib >= 0; --nib) {
            const unsigned w = static_cast<unsigned>(e[nib / 16] >> (4 * (nib % 16))) & 15u;
            if (started) {
                for (int j = 0; j < 4; ++j) sqr(acc, acc);
                if (w != 0) mul(acc, table[w - 1], acc);
            } else if (w != 0) {
                copy(table[w - 1], acc);
                started = true;
            }
        }
        copy(acc, out);
        secureWipeLimbs(table[0], sizeof table / sizeof(Limb));
        secureWipeLimbs(acc, arraySize(L));
    }
    // out = a^-1 (Montgomery form in and out) by Fermat's little theorem, a^(p-2): a fixed
    // sequence of products whatever a is. Zero maps to zero.
    void invert(const Limb* a, Limb* out) const {
        Limb e[arraySize(L)];
        Limb borrow = 0;
        for (int i = 0; i < L; ++i) e[i] = subBorrow(p[i], i == 0 ? 2 : 0, borrow);
        powPublicExponent(a, e, L, out);
    }

    // Whether a is the integer 1 (not the Montgomery form of one).
    static bool isOne(const Limb* a) {
        Limb rest = a[0] ^ 1;
        for (int i = 1; i < L; ++i) rest |= a[i];
        return rest == 0;
    }

private:
    // Three limbs: a column sums at most 2L products below 2^128.
    struct Column {
        Limb lo = 0, mid = 0, hi = 0;
        ECCKEY_LIMB_INLINE void mac(Limb a, Limb b) {
#if defined(__x86_64__) && defined(__GNUC__)
            // mul, then the 128-bit product into the column through the carry flag: four
            // instructions. From the portable form below, compilers make about twice as many
            // (they rebuild the 128-bit sums in registers instead of chaining the carry).
            Limb rax = a, rdx;
            __asm__("mulq %[b]\n\t"
                    "addq %%rax, %[lo]\n\t"
                    "adcq %%rdx, %[mid]\n\t"
                    "adcq $0, %[hi]"
                    : [lo] "+r"(lo), [mid] "+r"(mid), [hi] "+r"(hi), "+a"(rax), "=d"(rdx)
                    : [b] "rm"(b)
                    : "cc");
#else
            Limb h = 0;
            lo = mulAdd(a, b, lo, 0, h);
            Limb c = 0;
            mid = addCarry(mid, h, c);
            hi += c;
#endif
        }
        ECCKEY_LIMB_INLINE void add(const Column& o) {
#if defined(__x86_64__) && defined(__GNUC__)
            __asm__("addq %[olo], %[lo]\n\t"
                    "adcq %[omid], %[mid]\n\t"
                    "adcq %[ohi], %[hi]"
                    : [lo] "+r"(lo), [mid] "+r"(mid), [hi] "+r"(hi)
                    : [olo] "rm"(o.lo), [omid] "rm"(o.mid), [ohi] "rm"(o.hi)
                    : "cc");
#else
            Limb c = 0;
            lo = addCarry(lo, o.lo, c);
            mid = addCarry(mid, o.mid, c);
            hi += o.hi + c;
#endif
        }
        ECCKEY_LIMB_INLINE Limb shift() {
            const Limb r = lo;
            lo = mid;
            mid = hi;
            hi = 0;
            return r;
        }
    };

    // c += x[Lo + i] * y[K - Lo - i] for i in the pack, expanded at compile time so that
    // every index is a constant (loops of the wider fields are not always unrolled).
    template <int K, int Lo, std::size_t... I>
    static ECCKEY_LIMB_INLINE void macTerms(Column& c, const Limb* x, const Limb* y, std::index_sequence<I...>) {
        (c.mac(x[Lo + static_cast<int>(I)], y[K - Lo - static_cast<int>(I)]), ...);
    }
    template <int K, int Lo, int Hi>
    static ECCKEY_LIMB_INLINE void macRange(Column& c, const Limb* x, const Limb* y) {
        if constexpr (Hi > Lo) macTerms<K, Lo>(c, x, y, std::make_index_sequence<arraySize(Hi - Lo)>{});
    }

    // Column K of the product (or of the square, its cross products once, doubled).
    template <bool Square, int K>
    static ECCKEY_LIMB_INLINE void productColumn(Column& c, const Limb* a, const Limb* b) {
        constexpr int lo = K < L ? 0 : K - L + 1;
        constexpr int hi = K < L ? K : L - 1;
        if constexpr (Square) {
            Column cross;
            macRange<K, lo, (K + 1) / 2>(cross, a, a);
            c.add(cross);
            c.add(cross);
            if constexpr ((K & 1) == 0) c.mac(a[K / 2], a[K / 2]);
        } else {
            macRange<K, lo, hi + 1>(c, a, b);
        }
    }

    // In the low half each column waits for the previous quotient digit, and its own digit
    // then waits on an imul and a mul. So the terms that need neither (the column's products
    // and the older quotient digits' terms) gather in a column of their own, which the
    // processor can fill while that chain runs; only q[K-1]*p[1] and q[K]*p[0] stay on it.
    template <bool Square, int K>
    ECCKEY_LIMB_INLINE void montColumn(Column& c, const Limb* a, const Limb* b, Limb* q, Limb* r) const {
        if constexpr (K < L) {
            Column d;
            productColumn<Square, K>(d, a, b);
            if constexpr (K >= 2) macRange<K, 0, K - 1>(d, q, p);
            c.add(d);
            if constexpr (K >= 1) c.mac(q[K - 1], p[1]);
            q[K] = c.lo * pinv;
            c.mac(q[K], p[0]);
            c.shift();
        } else {
            productColumn<Square, K>(c, a, b);
            macRange<K, K - L + 1, L>(c, q, p);
            r[K - L] = c.shift();
        }
    }

    template <bool Square, std::size_t... K>
    ECCKEY_LIMB_INLINE void montColumns(const Limb* a, const Limb* b, Limb* out, std::index_sequence<K...>) const {
        if constexpr (L == kMersenneLimbs) {
            if (m_mersenne) {
                Column c;
                Limb w[arraySize(2 * L)];
                ((productColumn<Square, static_cast<int>(K)>(c, a, b), w[K] = c.shift()), ...);
                w[2 * L - 1] = c.lo;
                mersenneFinish(w, out);
                return;
            }
        }
#if defined(ECCKEY_HAVE_ADX_PRODUCT)
        if constexpr (adx::kSized<L>) {
            if (m_adx) {
                // A square takes the general product here: with two additions per 64-bit
                // product it is faster than the columns' square even without the symmetry.
                Limb buf[arraySize(3 * L + 1)];
                for (int i = 0; i < L; ++i) {
                    buf[i] = a[i];
                    buf[L + i] = b[i];
                    buf[2 * L + i] = p[i];
                }
                buf[3 * L] = pinv;
                adx::montgomeryProduct<L>(buf);
                copy(buf, out);
                return;
            }
        }
#endif
        Column c;
        Limb q[arraySize(L)], r[arraySize(L)];
        (montColumn<Square, static_cast<int>(K)>(c, a, b, q, r), ...);
        r[L - 1] = c.lo;
        finish(r, c.mid, out);
    }

    // p = 2^521 - 1. Its Montgomery product needs no quotient digits: R = 2^576 = 2^55 * 2^521
    // is 2^55 mod p, so a*b/R = a*b*2^466 mod p. The product's bits above 521 fold onto the
    // low ones (2^521 = 1), twice, and multiplying a residue by 2^466 is a rotation of its
    // 521 bits. The same value as the general reduction, at about half the cost.
    static constexpr int kMersenneLimbs = 9;
    static constexpr Limb kTop9 = 0x1FF;
    void mersenneFinish(const Limb* w, Limb* out) const {
        Limb v[arraySize(L)];
        Limb c = 0;
        for (int i = 0; i < L; ++i) {
            const Limb low = i < L - 1 ? w[i] : w[i] & kTop9;
            v[i] = addCarry(low, (w[L - 1 + i] >> 9) | (w[L + i] << 55), c);
        }
        Limb top = v[L - 1] >> 9;  // the sum is below 2^522
        v[L - 1] &= kTop9;
        for (int i = 0; i < L; ++i) v[i] = addCarry(v[i], 0, top);
        finish(v, 0, v);  // v was at most 2^521 = p + 1
        for (int i = 0; i < L - 1; ++i) out[i] = (v[i] >> 55) | (v[i + 1] << 9);
        const Limb low55 = v[0] & ((Limb{1} << 55) - 1);
        out[L - 2] |= low55 << 18;  // bit 466 is bit 18 of limb 7
        out[L - 1] = low55 >> 46;
    }

    // out = v mod p for v = top*2^(64L) + v[0..L), v < 2p: subtract p unless that borrows
    // beyond the top.
    void finish(const Limb* v, Limb top, Limb* out) const {
        Limb d[arraySize(L)];
        Limb borrow = 0;
        for (int i = 0; i < L; ++i) d[i] = subBorrow(v[i], p[i], borrow);
        const Limb keep = 0 - ((top | (borrow ^ 1)) & 1);
        for (int i = 0; i < L; ++i) out[i] = (d[i] & keep) | (v[i] & ~keep);
    }
};

}  // namespace vn

#include "ecc/generic/CurveEngine.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "ecc/SecretMarking.h"
#include "ecc/curves/EccCurve.h"
#include "ecc/curves/NamedCurves.h"
#include "ecc/generic/ConstantTimeMultiplication.h"
#include "ecc/generic/VerifyMultiplication.h"
#include "host/BigNum.h"

namespace vn {

namespace {

// 2^(128 L) mod m as limbs: multiplying a value by it in Montgomery form brings the value in.
template <int L>
bool montgomerySquare(const mp_int& m, Limb* out) {
    Limb r2[arraySize(2 * L + 1)] = {};
    r2[2 * L] = 1;
    mp_int big, red;
    return BigNum::mpint_from_limbs(big, r2, 2 * L + 1) == MP_OKAY && BigNum::mp_mod(big, m, red) == MP_OKAY &&
           BigNum::mpint_to_limbs(red, out, L);
}

// A host integer as L limbs, reduced modulo m first when it is wider than L limbs (or negative).
// Only for public values and at the boundary: the reduction's time depends on the value.
template <int L>
bool toLimbsReduced(const mp_int& v, const mp_int& m, Limb* out) {
    if (BigNum::mpint_to_limbs(v, out, L)) return true;
    mp_int red;
    return BigNum::mp_mod(v, m, red) == MP_OKAY && BigNum::mpint_to_limbs(red, out, L);
}

template <int L>
class LimbCurveEngine final : public CurveEngine {
public:
    bool init(const NamedCurveParams& row) {
        mp_int a, b, gx, gy;
        if (!BigNum::mp_read_radix(m_p, row.p, 16) || !BigNum::mp_read_radix(m_n, row.n, 16) ||
            !BigNum::mp_read_radix(b, row.B, 16) ||
            !BigNum::mp_read_radix(gx, row.Gx, 16) || !BigNum::mp_read_radix(gy, row.Gy, 16) ||
            (row.hasA && !BigNum::mp_read_radix(a, row.A, 16))) {
            return false;
        }
        Limb n[arraySize(L)];
        if (!m_c.init(m_p, row.hasA ? &a : nullptr) || !BigNum::mpint_to_limbs(m_n, n, L) ||
            !montgomerySquare<L>(m_p, m_rrP) || !montgomerySquare<L>(m_n, m_rrN)) {
            return false;
        }
        m_nf.setModulus(n);
        m_nBits = BigNum::mp_count_bits(m_n);
        LimbPoint<L> G;
        if (!enterCoordinate(gx, G.x) || !enterCoordinate(gy, G.y)) return false;
        LimbField<L>::copy(m_c.one, G.z);
        // The projective formulas take b for a = -3 and 3b otherwise.
        if (!enterCoordinate(b, m_table.b.v)) return false;
        if (row.hasA) {
            Limb b1[arraySize(L)];
            LimbField<L>::copy(m_table.b.v, b1);
            m_c.f.add(b1, b1, m_table.b.v);
            m_c.f.add(m_table.b.v, b1, m_table.b.v);
        }
        buildTable(G);
        return true;
    }

    bool generatorMultiply(mp_int& k, EccPoint& Q) const override {
        SecretScalar kl;
        if (!toLimbsReduced<L>(k, m_n, kl.v)) return false;
        ECCKEY_SECRET(kl.v, sizeof kl.v);
        reduceModN(kl.v);
        // The reduced scalar goes back into the key, as a host integer: past this point only
        // its digit count shows.
        Limb written[arraySize(L)];
        LimbField<L>::copy(kl.v, written);
        ECCKEY_PUBLIC(written, sizeof written);
        const bool stored = BigNum::mpint_from_limbs(k, written, L) == MP_OKAY;
        secureWipeLimbs(written, arraySize(L));
        if (!stored || isZeroPublic(kl.v)) return false;

        LimbPoint<L> R;
        fixedBaseMultiply(m_c, m_table, kl.v, m_nBits, R);
        const bool ok = leavePoint(R, Q);
        secureWipeLimbs(R.x, arraySize(3 * L));
        scrubStack();
        return ok;
    }

    bool multiply(const mp_int& k, const EccPoint& P, EccPoint& R) const override {
        SecretScalar kl;
        // A private scalar is below n; one that is not (not a valid key) is reduced first,
        // which its time may show.
        if (BigNum::mp_count_bits(k) > m_nBits) {
            mp_int red;
            if (BigNum::mp_mod(k, m_n, red) != MP_OKAY || !BigNum::mpint_to_limbs(red, kl.v, L)) return false;
        } else if (!BigNum::mpint_to_limbs(k, kl.v, L)) {
            return false;
        }
        ECCKEY_SECRET(kl.v, sizeof kl.v);
        LimbPoint<L> base, out;
        if (!enterPoint(P, base)) return false;
        variableBaseMultiply(m_c, base, kl.v, L, m_nBits, out);
        const bool ok = leavePoint(out, R);
        secureWipeLimbs(out.x, arraySize(3 * L));
        scrubStack();
        return ok;
    }

    bool nonceCommitment(const unsigned char* bytes, std::size_t len, SecretScalar& k, mp_int& rx) const override {
        if (len > 8 * static_cast<std::size_t>(L)) return false;
        for (int i = 0; i < L; ++i) k.v[i] = 0;
        for (std::size_t i = 0; i < len; ++i) {
            const std::size_t bit = 8 * (len - 1 - i);
            k.v[bit / 64] |= static_cast<Limb>(bytes[i]) << (bit % 64);
        }
        ECCKEY_SECRET(k.v, sizeof k.v);
        reduceModN(k.v);
        if (isZeroPublic(k.v)) return false;

        SecretScalar work;
        LimbField<L>::copy(k.v, work.v);
        LimbPoint<L> R;
        fixedBaseMultiply(m_c, m_table, work.v, m_nBits, R);
        Limb x[arraySize(L)];
        bool ok = toAffine(m_c, R, x, nullptr);
        if (ok) {
            m_c.f.mul(x, kPlainOne, x);
            ECCKEY_PUBLIC(x, sizeof x);
            ok = BigNum::mpint_from_limbs(rx, x, L) == MP_OKAY;
        }
        secureWipeLimbs(R.x, arraySize(3 * L));
        scrubStack();
        return ok;
    }

    bool signatureS(const SecretScalar& k, const mp_int& d, const mp_int& e, const mp_int& r,
                    mp_int& s) const override {
        SecretScalar dl, kinv, t;
        Limb rl[arraySize(L)], el[arraySize(L)];
        if (!toLimbsReduced<L>(d, m_n, dl.v) || !toLimbsReduced<L>(r, m_n, rl) || !reducedDigest(e, el)) return false;
        ECCKEY_SECRET(dl.v, sizeof dl.v);
        m_nf.mul(dl.v, m_rrN, dl.v);  // d R
        m_nf.mul(dl.v, rl, t.v);      // d r
        m_nf.add(el, t.v, t.v);       // e + d r
        m_nf.mul(k.v, m_rrN, kinv.v); // k R
        m_nf.invert(kinv.v, kinv.v);  // k^-1 R
        Limb sl[arraySize(L)];
        m_nf.mul(t.v, kinv.v, sl);    // (e + d r) / k
        ECCKEY_PUBLIC(sl, sizeof sl);
        const bool ok = BigNum::mpint_from_limbs(s, sl, L) == MP_OKAY;
        scrubStack();
        return ok;
    }

    bool verifyMatch_var(const mp_int& u1, const mp_int& u2, const EccPoint& Q, const mp_int& r,
                         bool& match) const override {
        match = false;
        Limb a[arraySize(L)], b[arraySize(L)];
        LimbPoint<L> q, R;
        if (!toLimbsReduced<L>(u1, m_n, a) || !toLimbsReduced<L>(u2, m_n, b) || !enterPoint(Q, q)) return false;
        vn::dualMultiply_var(m_c, m_table, a, b, q, R);
        if (LimbField<L>::zeroMask(R.z) != 0) return false;
        const LimbField<L>& f = m_c.f;
        Limb z2[arraySize(L)], c[arraySize(L)];
        f.sqr(R.z, z2);
        mp_int candidate;
        if (BigNum::mp_copy(r, candidate) != MP_OKAY) return false;
        for (int i = 0; i < 2 && !match; ++i) {
            if (i == 1 && BigNum::mp_add(candidate, m_n, candidate) != MP_OKAY) return false;
            if (BigNum::mp_cmp(candidate, m_p) != -1 || !BigNum::mpint_to_limbs(candidate, c, L)) continue;
            f.mul(c, m_rrP, c);
            f.mul(c, z2, c);
            match = LimbField<L>::equal(c, R.x);
        }
        return true;
    }

    std::size_t tableBytes() const override { return m_store.size() * sizeof(Limb); }

private:
    static constexpr Limb kPlainOne[arraySize(L)] = {1};

    // k mod n for any k below 2^(64 L), in constant time: k*R^2/R = kR, then kR/R = k, each
    // Montgomery product ending below n.
    void reduceModN(Limb* k) const {
        m_nf.mul(k, m_rrN, k);
        m_nf.mul(k, kPlainOne, k);
    }

    // Whether a secret is zero, as an answer that is public from here on (it ends the call).
    static bool isZeroPublic(const Limb* v) {
        Limb zero = LimbField<L>::zeroMask(v);
        ECCKEY_PUBLIC(&zero, sizeof zero);
        return zero != 0;
    }

    // e mod n as limbs; e may be any length (a digest longer than the order is used whole).
    bool reducedDigest(const mp_int& e, Limb* out) const {
        if (BigNum::mp_cmp(e, m_n) == -1) return BigNum::mpint_to_limbs(e, out, L);
        mp_int red;
        return BigNum::mp_mod(e, m_n, red) == MP_OKAY && BigNum::mpint_to_limbs(red, out, L);
    }

    bool enterCoordinate(const mp_int& v, Limb* out) const {
        if (!toLimbsReduced<L>(v, m_p, out)) return false;
        m_c.f.mul(out, m_rrP, out);
        return true;
    }
    bool enterPoint(const EccPoint& P, LimbPoint<L>& out) const {
        return enterCoordinate(P.x, out.x) && enterCoordinate(P.y, out.y) && enterCoordinate(P.z, out.z);
    }

    // The affine point with z = 1 and the form byte of a cleared point, as the ladder left it.
    bool leavePoint(const LimbPoint<L>& P, EccPoint& out) const {
        out.format = 4;
        return leaveAffine(m_c, P, out);
    }

    // Row i, entry j = (2j + 1) 2^(6i) G, made affine together with one inversion (Montgomery's
    // trick). None is the point at infinity: n is prime and larger than every 2j + 1.
    void buildTable(const LimbPoint<L>& G) {
        constexpr int kEntries = FixedBaseWindows::kEntries;
        const int rows = FixedBaseWindows::windows(m_nBits);
        const std::size_t count = static_cast<std::size_t>(rows) * kEntries;
        std::vector<LimbPoint<L>> points(count);
        LimbPoint<L> base = G, twice;
        for (int i = 0; i < rows; ++i) {
            LimbPoint<L>* row = &points[static_cast<std::size_t>(i) * kEntries];
            row[0] = base;
            limbDouble(m_c, base, twice);
            for (int j = 1; j < kEntries; ++j) limbAddComplete_var(m_c, row[j - 1], twice, row[j]);
            for (int d = 0; d < kFixedBaseWindow; ++d) limbDouble(m_c, base, base);
        }
        // prefix[i] = Z_0 ... Z_i; then walk back with the inverse of the whole product.
        std::vector<Limb> prefix(count * L);
        const LimbField<L>& f = m_c.f;
        LimbField<L>::copy(points[0].z, &prefix[0]);
        for (std::size_t i = 1; i < count; ++i) f.mul(&prefix[(i - 1) * L], points[i].z, &prefix[i * L]);
        Limb inv[arraySize(L)], zi[arraySize(L)], zi2[arraySize(L)];
        f.invert(&prefix[(count - 1) * L], inv);
        m_store.assign(count * 2 * L, 0);
        for (std::size_t i = count; i-- > 0;) {
            if (i > 0) {
                f.mul(inv, &prefix[(i - 1) * L], zi);
                f.mul(inv, points[i].z, inv);
            } else {
                LimbField<L>::copy(inv, zi);
            }
            f.sqr(zi, zi2);
            Limb* out = &m_store[i * 2 * L];
            f.mul(points[i].x, zi2, out);
            f.mul(zi2, zi, zi2);
            f.mul(points[i].y, zi2, out + L);
        }
        m_table.limbs = m_store.data();
        m_table.rows = rows;
    }

    LimbCurve<L> m_c;
    LimbField<L> m_nf;
    Limb m_rrP[arraySize(L)], m_rrN[arraySize(L)];
    mp_int m_p, m_n;
    int m_nBits = 0;
    std::vector<Limb> m_store;
    FixedBaseTable<L> m_table;
};

std::unique_ptr<CurveEngine> buildEngine(const NamedCurveParams& row) {
    mp_int p;
    if (!BigNum::mp_read_radix(p, row.p, 16)) return nullptr;
    std::unique_ptr<CurveEngine> engine;
    withFieldLimbs(fieldLimbs(p), [&](auto limbs) {
        auto e = std::make_unique<LimbCurveEngine<decltype(limbs)::value>>();
        if (e->init(row)) engine = std::move(e);
        return true;
    });
    return engine;
}

}  // namespace

const CurveEngine* curveEngine(const EccCurve& curve) {
    const NamedCurveParams* row = findNamedCurve(curve.name.getString());
    if (row == nullptr || std::strcmp(row->name, "secp256k1") == 0) return nullptr;
    const auto index = static_cast<std::size_t>(row - &namedCurveAt(0));
    static std::once_flag built[kNamedCurveCount];
    static std::unique_ptr<CurveEngine> engines[kNamedCurveCount];
    std::call_once(built[index], [&] { engines[index] = buildEngine(*row); });
    return engines[index].get();
}

}  // namespace vn

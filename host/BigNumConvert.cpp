#include <climits>

#include "host/BigNum.h"
#include "host/BigNumDigits.h"
#include "host/DataBuffer.h"
#include "host/LogBase.h"
#include "host/StringBuffer.h"

// Zero has no magnitude bytes: mpint_to_bytes, mpint_to_db and mpint_to_ssh_db produce
// nothing for it (an empty SSH mpint is zero, RFC 4251), and mpint_to_hex_zero_extended
// produces only the padding. mpint_to_base64url is the exception: it writes "AA", one zero
// octet, because RFC 7518 defines zero that way for Base64urlUInt and an empty JWK member
// would not parse back. Negative values convert by magnitude, except that the SSH form,
// which would need two's complement, refuses them.

namespace vn {

namespace {

int hexValue(char ch) {
    if (ch >= '0' && ch <= '9') return ch - '0';
    if (ch >= 'a' && ch <= 'f') return ch - 'a' + 10;
    if (ch >= 'A' && ch <= 'F') return ch - 'A' + 10;
    return 99;
}

// Big-endian magnitude bytes of a into a scratch buffer; returns the count.
using ByteScratch = mpd::Scratch<unsigned char, 256>;
bool magnitudeBytes(const mp_int& a, ByteScratch& out, int& n) {
    n = BigNum::mp_unsigned_bin_size(a);
    if (!out.reserve(mpd::sz(n > 0 ? n : 1))) return false;
    BigNum::mpint_to_bytes(a, out.data());
    return true;
}

}  // namespace

int BigNum::mp_count_bits(const mp_int& a) {
    if (a.used == 0) return 0;
    int bits = (a.used - 1) * MP_DIGIT_BIT;
    for (mp_digit top = a.dp[a.used - 1]; top != 0; top >>= 1) ++bits;
    return bits;
}

int BigNum::mp_unsigned_bin_size(const mp_int& a) { return (mp_count_bits(a) + 7) / 8; }

bool BigNum::mp_read_radix(mp_int& a, const char* text, int radix) {
    a.used = 0;
    a.sign = MP_ZPOS;
    if (text == nullptr || text[0] == '\0' || radix < 2 || radix > 16) return false;
    int len = 0;
    for (const char* p = text; *p != '\0'; ++p, ++len) {
        if (hexValue(*p) >= radix || len >= INT_MAX / 4 - 8) return false;
    }
    if (radix == 16) {
        // Four bits per character, gathered straight into digits from the low end.
        const int digits = (len * 4 + MP_DIGIT_BIT - 1) / MP_DIGIT_BIT;
        if (a.grow(digits) != MP_OKAY) return false;
        int pos = 0;
        mp_word acc = 0;
        int accBits = 0;
        for (int i = len - 1; i >= 0; --i) {
            acc |= static_cast<mp_word>(hexValue(text[i])) << accBits;
            accBits += 4;
            if (accBits >= MP_DIGIT_BIT) {
                a.dp[pos++] = mpd::lo28(acc);
                acc >>= MP_DIGIT_BIT;
                accBits -= MP_DIGIT_BIT;
            }
        }
        if (accBits > 0) a.dp[pos++] = mpd::lo28(acc);
        a.used = pos;
        a.clamp();
        return true;
    }
    // Other radices: multiply-accumulate one character at a time.
    const int maxDigits = len / 7 + 2;  // radix <= 16 gives at most 4 bits per character
    if (a.grow(maxDigits + 1) != MP_OKAY) return false;
    int used = 0;
    for (int i = 0; i < len; ++i) {
        mp_word carry = static_cast<mp_word>(hexValue(text[i]));
        for (int j = 0; j < used; ++j) {
            mp_word t = mp_word{a.dp[j]} * static_cast<mp_word>(radix) + carry;
            a.dp[j] = mpd::lo28(t);
            carry = t >> MP_DIGIT_BIT;
        }
        if (carry != 0) a.dp[used++] = static_cast<mp_digit>(carry);
    }
    a.used = used;
    a.clamp();
    return true;
}

bool BigNum::mpint_from_bytes(mp_int& a, const unsigned char* bytes, int len) {
    a.used = 0;
    a.sign = MP_ZPOS;
    if (len < 0 || (len > 0 && bytes == nullptr) || len > INT_MAX / 8 - 4) return false;
    if (len == 0) return true;
    const int digits = (len * 8 + MP_DIGIT_BIT - 1) / MP_DIGIT_BIT;
    if (a.grow(digits) != MP_OKAY) return false;
    int pos = 0;
    mp_word acc = 0;
    int accBits = 0;
    for (int i = len - 1; i >= 0; --i) {
        acc |= mp_word{bytes[i]} << accBits;
        accBits += 8;
        if (accBits >= MP_DIGIT_BIT) {
            a.dp[pos++] = mpd::lo28(acc);
            acc >>= MP_DIGIT_BIT;
            accBits -= MP_DIGIT_BIT;
        }
    }
    if (accBits > 0) a.dp[pos++] = mpd::lo28(acc);
    a.used = pos;
    a.clamp();
    return true;
}

int BigNum::mpint_to_bytes(const mp_int& a, unsigned char* out) {
    int n = mp_unsigned_bin_size(a);
    mp_word acc = 0;
    int accBits = 0;
    int digit = 0;
    for (int i = n - 1; i >= 0; --i) {
        if (accBits < 8) {
            acc |= mp_word{a.get_digit(digit++)} << accBits;
            accBits += MP_DIGIT_BIT;
        }
        out[i] = static_cast<unsigned char>(acc);
        acc >>= 8;
        accBits -= 8;
    }
    return MP_OKAY;
}

// Digits and limbs share no boundary (28 and 64 bits): a digit lands at bit 28i, in one
// limb or straddling two.
bool BigNum::mpint_to_limbs(const mp_int& a, std::uint64_t* out, int limbs) {
    if (a.sign == MP_NEG || limbs < 1 || limbs > 64 || mp_count_bits(a) > 64 * limbs) return false;
    for (int l = 0; l < limbs; ++l) out[l] = 0;
    for (int i = 0; i < a.used; ++i) {
        const int bit = MP_DIGIT_BIT * i, limb = bit / 64, off = bit % 64;
        const std::uint64_t d = a.dp[i];
        out[limb] |= d << off;
        if (off > 64 - MP_DIGIT_BIT && limb + 1 < limbs) out[limb + 1] |= d >> (64 - off);
    }
    return true;
}

int BigNum::mpint_from_limbs(mp_int& a, const std::uint64_t* in, int limbs) {
    if (limbs < 1 || limbs > 64) return MP_VAL;
    const int digits = (64 * limbs + MP_DIGIT_BIT - 1) / MP_DIGIT_BIT;
    int err = a.grow(digits);
    if (err != MP_OKAY) return err;
    for (int i = 0; i < digits; ++i) {
        const int bit = MP_DIGIT_BIT * i, limb = bit / 64, off = bit % 64;
        std::uint64_t v = in[limb] >> off;
        if (off > 64 - MP_DIGIT_BIT && limb + 1 < limbs) v |= in[limb + 1] << (64 - off);
        a.dp[i] = static_cast<mp_digit>(v) & MP_MASK;
    }
    a.used = digits;
    a.sign = MP_ZPOS;
    a.clamp();
    return MP_OKAY;
}

bool BigNum::mpint_to_db(const mp_int& a, DataBuffer& out) {
    ByteScratch bytes;
    int n = 0;
    if (!magnitudeBytes(a, bytes, n)) return false;
    return n == 0 || out.append(bytes.data(), static_cast<unsigned>(n));
}

int BigNum::mpint_to_ssh_db(const mp_int& a, DataBuffer& out) {
    if (a.sign == MP_NEG) return MP_VAL;
    ByteScratch bytes;
    int n = 0;
    if (!magnitudeBytes(a, bytes, n)) return MP_MEM;
    if (n == 0) return MP_OKAY;
    // A set top bit would read as negative in the two's-complement form.
    if ((bytes[0] & 0x80) != 0 && !out.appendChar(0)) return MP_MEM;
    return out.append(bytes.data(), static_cast<unsigned>(n)) ? MP_OKAY : MP_MEM;
}

bool BigNum::mpint_to_hex_zero_extended(const mp_int& a, unsigned width, StringBuffer& out) {
    static const char kHex[] = "0123456789ABCDEF";
    ByteScratch bytes;
    int n = 0;
    if (!magnitudeBytes(a, bytes, n)) return false;
    const unsigned nb = static_cast<unsigned>(n);
    for (unsigned i = nb; i < width; ++i) {
        if (!out.append("00")) return false;
    }
    // Formatted in small chunks so no second full copy of a secret sits in memory.
    char pair[3] = {0, 0, 0};
    bool ok = true;
    for (unsigned i = 0; i < nb && ok; ++i) {
        pair[0] = kHex[bytes[i] >> 4];
        pair[1] = kHex[bytes[i] & 0x0F];
        ok = out.append(pair);
    }
    secureWipe(pair, sizeof pair);
    return ok;
}

bool BigNum::mpint_to_base64url(const mp_int& a, StringBuffer& out, LogBase& log) {
    DataBuffer bytes;
    bytes.setSecure(true);
    bool ok = a.used == 0 ? bytes.appendChar(0) : mpint_to_db(a, bytes);
    if (ok) ok = bytes.encodeDB("base64url", out);
    if (!ok) log.LogError("Failed to base64url encode big integer.");
    return ok;
}

void BigNum::log_mpint(const char* name, const mp_int& a, LogBase& log) {
    StringBuffer hex;
    if (a.sign == MP_NEG) hex.appendChar('-');
    if (a.used == 0) {
        hex.appendChar('0');
    } else {
        mpint_to_hex_zero_extended(a, 0, hex);
    }
    log.LogDataStr(name, hex.getString());
}

}  // namespace vn

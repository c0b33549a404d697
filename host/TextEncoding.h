#pragma once
#include <cstddef>

namespace vn {

class DataBuffer;
class StringBuffer;

// Hexadecimal and base64 (RFC 4648) codecs shared by DataBuffer and the text formats.
// Decoders append to out and return false, leaving out as it was, on any malformed input.
namespace encoding {

enum class Kind { Hex, Base64, Base64Url, Unknown };

// "hex", "base64" or "base64url", compared without regard to case.
Kind kindFromName(const char* name);

// Upper-case digits, no separators.
bool hexEncode(const unsigned char* bytes, std::size_t n, StringBuffer& out);
// Accepts either case; needs an even number of digits and nothing else.
bool hexDecode(const char* text, std::size_t len, DataBuffer& out);

// Standard alphabet with '=' padding, or the URL alphabet without padding; no line breaks.
bool base64Encode(const unsigned char* bytes, std::size_t n, bool url, StringBuffer& out);
// Skips ASCII white space (PEM bodies and XML content are wrapped). Padding is optional
// but, when present, must be complete and final. The unused low bits of the last
// character must be zero, so one byte string has exactly one accepted encoding.
bool base64Decode(const char* text, std::size_t len, bool url, DataBuffer& out);

// Appends the UTF-8 encoding of a Unicode scalar value (the caller has checked that it is
// one: below U+110000 and not a surrogate).
bool appendUtf8(unsigned long codePoint, StringBuffer& out);

}  // namespace encoding
}  // namespace vn

#pragma once

#include "host/LogBase.h"
#include "host/mp_int.h"

namespace vn {

// Internal: decodes an ECDSA signature given as DER (recognised by its structure) or as raw
// r || s (split at rLen when useRLen and rLen are given, else into halves for the sizes 48,
// 64, 96, 128 and 132). True when r and s were read.
bool unpackDsaSig(const unsigned char* sig, unsigned int siglen, bool useRLen, mp_int& r, mp_int& s, LogBase& log,
                  unsigned int rLen);

}  // namespace vn

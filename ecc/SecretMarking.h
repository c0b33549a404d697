#pragma once
// Where a secret enters the constant-time arithmetic and where a result leaves it as public.
//
// In an ordinary build these expand to nothing. The constant-time check builds the library
// with ECCKEY_CT_CHECK and runs it under valgrind's memcheck: ECCKEY_SECRET marks the bytes
// undefined, so memcheck reports every branch and every memory address computed from them,
// and ECCKEY_PUBLIC marks a result defined again where it legitimately becomes public (a
// public key, a signature, or a shared secret handed back to the caller).
//
// The marks sit on the limb and word arrays the engines compute with, not on the key's host
// integers: those are clamped to their used digits, so their digit count (the scalar's length
// in 28-bit digits) is visible to whoever times the conversions at the boundary, and nothing
// past the conversion depends on it.

#if defined(ECCKEY_CT_CHECK)
#include <valgrind/memcheck.h>
#define ECCKEY_SECRET(p, n) VALGRIND_MAKE_MEM_UNDEFINED((p), (n))
#define ECCKEY_PUBLIC(p, n) VALGRIND_MAKE_MEM_DEFINED((p), (n))
#else
#define ECCKEY_SECRET(p, n) ((void)(p), (void)(n))
#define ECCKEY_PUBLIC(p, n) ((void)(p), (void)(n))
#endif

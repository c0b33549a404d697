#pragma once
// Field-multiplication counter of the counting build (ECCKEY_COUNT_FIELD_MULS): the
// benchmark reads it to express each operation's cost in field multiplications. In every
// other build the macro is empty.

#ifdef ECCKEY_COUNT_FIELD_MULS
namespace vn {
inline thread_local unsigned long long g_fieldMulCount = 0;
}
#define ECCKEY_COUNT_FIELD_MUL() (++::vn::g_fieldMulCount)
#else
#define ECCKEY_COUNT_FIELD_MUL() ((void)0)
#endif

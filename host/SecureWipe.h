#pragma once
#include <cstddef>

namespace vn {

// Overwrites n bytes with zeros in a way the optimiser may not drop, even when the memory
// is freed right afterwards (a plain memset before free is a dead store and often vanishes).
void secureWipe(void* p, std::size_t n);

}  // namespace vn

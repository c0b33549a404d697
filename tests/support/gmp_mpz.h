#pragma once
// GMP as the integer reference of the differential tests: an owning mpz_t. Test-only.

#include <gmp.h>

namespace vn {
namespace testing_support {

class Mpz {
public:
    Mpz() { mpz_init(z); }
    explicit Mpz(const char* hex) { mpz_init_set_str(z, hex, 16); }
    ~Mpz() { mpz_clear(z); }
    Mpz(const Mpz&) = delete;
    Mpz& operator=(const Mpz&) = delete;
    operator mpz_ptr() { return z; }
    operator mpz_srcptr() const { return z; }
    mpz_t z;
};

}  // namespace testing_support
}  // namespace vn

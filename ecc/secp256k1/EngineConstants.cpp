// The secp256k1 engine's constants, all of them, in the order they are built.
//
// They must be complete before any code of the module runs, and some are built from
// others (G and the zero point copy the field's one), so their order matters. Dynamic
// initialisation across translation units has no defined order, so instead every constant
// is a constexpr definition: the compiler evaluates each one (refusing to compile if it
// cannot) and the values are part of the program image, in place before the first
// instruction of any initialiser runs. Keeping them in one file, in this order, also
// makes the later ones' references to the earlier ones plain constant expressions.

#include "ecc/secp256k1/CurvePt.h"
#include "ecc/secp256k1/FieldElement.h"
#include "ecc/secp256k1/Unsigned256.h"

namespace vn {

constexpr _vnFieldElement _vnCurvePt::m_s_fiZero(
    "0000000000000000000000000000000000000000000000000000000000000000");
constexpr _vnFieldElement _vnCurvePt::m_s_fiOne(
    "0000000000000000000000000000000000000000000000000000000000000001");
constexpr _vnFieldElement _vnCurvePt::m_s_A(
    "0000000000000000000000000000000000000000000000000000000000000000");
constexpr _vnFieldElement _vnCurvePt::m_s_B(
    "0000000000000000000000000000000000000000000000000000000000000007");
constexpr _vnUnsigned256 _vnCurvePt::m_s_order(
    "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEBAAEDCE6AF48A03BBFD25E8CD0364141");
constexpr _vnCurvePt _vnCurvePt::m_s_G(
    _vnFieldElement("79BE667EF9DCBBAC55A06295CE870B07029BFCDB2DCE28D959F2815B16F81798"),
    _vnFieldElement("483ADA7726A3C4655DA4FBFC0E1108A8FD17B448A68554199C47D08FFB10D4B8"),
    _vnCurvePt::m_s_fiOne);
constexpr _vnCurvePt _vnCurvePt::m_s_Zero(_vnCurvePt::m_s_fiZero, _vnCurvePt::m_s_fiOne,
                                          _vnCurvePt::m_s_fiZero);
constexpr _vnUnsigned256 s_ZERO{};
constexpr _vnUnsigned256 s_ONE("0000000000000000000000000000000000000000000000000000000000000001");
constexpr _vnUnsigned256 _vnFieldElement::m_Modulus(
    "FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFEFFFFFC2F");

}  // namespace vn

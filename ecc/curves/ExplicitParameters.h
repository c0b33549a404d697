#pragma once

namespace vn {

// The SubjectPublicKeyInfo of a key with explicit domain parameters (SEC 1 SpecifiedECDomain)
// for the curves that peers still ask for in that form, as base64 DER whose BIT STRING holds
// the generator as a placeholder point. Null for a curve without a template.
const char* explicitSpkiTemplate(const char* canonicalCurveName);

}  // namespace vn

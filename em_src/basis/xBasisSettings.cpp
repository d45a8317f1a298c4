#include "xBasisSettings.h"

namespace {

// The configuration's defaults.
FloatArray Factors(float tzrx, float tzrz) {
    FloatArray factors(101, 109);
    factors[107] = tzrx;
    factors[109] = tzrz;
    return factors;
}

}  // namespace

xBasisSettings::xBasisSettings()
    : thinSheetFactors(Factors(4.0f, 3.0f)), halfSpaceFactors(Factors(2.5f, 1.5f)) {}

#pragma once
// The L1 fit with positive amplitudes: minimises
// sum x[t] + 10 * sum |rhs[c] - (A x)[c]| over x >= 0.

#include "xL1MinErrFit.h"

class xL1PosFit : public xL1MinErrFit {
  public:
    void Solve(FloatArray& x) override;
    float Objective(const FloatArray& x) const override;
};

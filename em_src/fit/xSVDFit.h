#pragma once
// Least squares by the singular value decomposition of the design: free
// signs, and the minimum-norm answer when the design is short of rank. The
// design is decomposed once per build; each record is a back-substitution.

#include "xDoubleSVD.h"
#include "xFitSolver.h"

class xSVDFit : public xFitSolver {
  public:
    // Minimum length has no row here: it is dropped.
    void SetConditioning(float smoothing, float ratio, float force, float minLength) override;
    void BuildDesign() override;
    void Solve(FloatArray& x) override;

    // The singular values of the last build, largest first, and the cut below
    // which they count as zero.
    const DoubleArray& SingularValues() const { return singular_; }
    double Cut() const { return svd_.Tolerance(); }

  private:
    xDoubleSVD svd_;
    DoubleArray singular_;
    bool decomposed_ = false;
};

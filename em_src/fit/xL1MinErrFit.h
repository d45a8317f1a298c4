#pragma once
// L1 fits on the simplex: amplitudes with free signs that minimise
// sum |x[t]| + 10 * sum |rhs[c] - (A x)[c]|. The tableau is built afresh for
// every record; conditioning rows and the primary column take no part.

#include <vector>

#include "xFitSolver.h"

class xL1MinErrFit : public xFitSolver {
  public:
    static constexpr float AmplitudeCost = 1.0f;
    static constexpr float MisfitCost = 10.0f;

    // Sizes the tableau; the design holds it.
    void SetBasisAndWeights(const FloatMatrix& basis, const FloatArray& weights) override;
    void SetConditioning(float smoothing, float ratio, float force, float minLength) override;
    void BuildDesign() override {}
    void Solve(FloatArray& x) override;

    // The objective of the linear program at x: the costs times |x| (or x)
    // plus the misfit cost times the L1 misfit against the current rhs.
    virtual float Objective(const FloatArray& x) const;

  protected:
    // Runs the simplex on the tableau in the design: its first m1 constraint
    // rows are at-most, the next m2 at-least, over nVars variables. Answers
    // the simplex status and the value of each problem variable (1..nVars).
    int RunTableau(int m1, int m2, int nVars, std::vector<float>& values) const;
};

#pragma once
// Positive least squares: an active-set method over a column-by-column
// Householder factorisation of the active columns of the design. Each record
// is solved twice, for the data and for the data negated, and the pass with
// the smaller misfit wins.

#include <vector>

#include "xFitSolver.h"

class xPLSFit : public xFitSolver {
  public:
    // How a pass ended.
    enum Status { Solved = 0, AddFailed = 1, RemoveFailed = 2, RoundLimit = 3 };

    // With the primary fit on, the primary level goes back into the data
    // unweighted after the base has taken it out weighted.
    void SetData(const FloatArray& data) override;
    void Solve(FloatArray& x) override;

    // -1 when the last Solve kept the pass on the negated data.
    float ModelSign() const override { return modelSign_; }
    long RoundLimitsReached() const override { return roundLimits_; }

    // One positive pass on the current right-hand side, from x = 0, into x
    // (1..nCols). Answers the status.
    int Pass(FloatArray& x);
    // Mean over the channels of |A x - rhs| with the weighted basis.
    float Misfit(const FloatArray& x) const;

  private:
    void CountPass(int status);
    // The column of the largest positive gradient, the first of equal ones;
    // 0 when none is positive. Active columns hold 0.
    long Steepest(const std::vector<float>& gradient) const;
    bool Add(long j);
    bool Remove(long j);
    // Reflects the column held at the given position of the active list into
    // the factor, for rows pos..m; answers false when it is too small.
    bool MakeVector(long pos);
    void ApplyVector(long pos, std::vector<float>& v) const;
    void BackSubstitute();

    long m_ = 0, n_ = 0;
    std::vector<std::vector<float>> factor_;  // per column of T, rows 1..m
    std::vector<float> diag_;                 // per active position
    std::vector<char> reflected_;             // per active position: a vector was made
    std::vector<float> rhsFirst_, rhsWork_;   // rows 1..m
    std::vector<long> active_;                // active columns, positions from 0
    std::vector<long> position_;              // per column: position + 1, 0 when not active
    std::vector<float> z_;                    // per column
    float modelSign_ = 1.0f;
    long roundLimits_ = 0;  // passes of Solve that ran out of rounds
};

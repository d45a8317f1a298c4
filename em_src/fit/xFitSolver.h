#pragma once
// The fitters of one record of one component: amplitudes x of the taus such
// that the weighted, normalised basis reproduces the weighted, normalised data.
// Four fitters share this interface: positive least squares with an active set
// (xPLSFit), the singular value decomposition (xSVDFit), and two L1 fits on the
// simplex, with free signs (xL1MinErrFit) or positive amplitudes (xL1PosFit).
// Arrays and matrices are indexed from 1.

#include <cstdint>

#include "xArray.h"
#include "xMatrix.h"

class xPlatform;

class xFitSolver {
  public:
    virtual ~xFitSolver() = default;

    // The component's normalised basis (rows taus, columns channels; not owned,
    // it must outlive the fitter) and one weight per channel. Sizes the design
    // and builds the weighted basis A[t][c] = basis[t][c] * w[c].
    virtual void SetBasisAndWeights(const FloatMatrix& basis, const FloatArray& weights);
    // The right-hand side from one record's normalised data, 1..nChan.
    virtual void SetData(const FloatArray& data);
    // Smoothing squared, power-law ratio, force-to-surface squared, minimum
    // length squared. Call before SetBasisAndWeights: they decide the rows.
    virtual void SetConditioning(float smoothing, float ratio, float force, float minLength);
    // The design matrix from the weighted basis and the conditioning rows.
    virtual void BuildDesign();
    // The amplitudes into x (1..nCols).
    virtual void Solve(FloatArray& x) = 0;

    // The sign the amplitudes of the last Solve carry against the right-hand
    // side: the model of the data is ModelSign() times the design times x.
    virtual float ModelSign() const { return 1.0f; }
    // Solver passes that stopped at their round limit, short of the optimum.
    virtual long RoundLimitsReached() const { return 0; }

    // The primary field column: on with its value (percentage / 100) and the
    // component's primary response P (1..nChan, not owned).
    void SetPrimary(bool on, float value, const FloatArray* response);
    // The primary ratio of the record, the data scale, the primary factor Np and
    // the per-tau factors B (not owned), for the surface row.
    void SetRatio(float ratio, float scale, float primaryFactor, const FloatArray* tauFactors);
    void SetTolerance(float tolerance) { tolerance_ = tolerance; }
    // Where a fitter says why a pass gave up; none keeps it quiet.
    void SetMessages(xPlatform* messages) { messages_ = messages; }

    long Taus() const { return nTaus_; }
    long Channels() const { return nChan_; }
    long Rows() const { return nRows_; }
    long Cols() const { return nCols_; }
    bool PrimaryOn() const { return primaryOn_; }
    const FloatMatrix& Design() const { return design_; }
    const FloatArray& RightHandSide() const { return rhs_; }
    const FloatMatrix& WeightedBasis() const { return weighted_; }
    const FloatArray& Weights() const { return weights_; }

  protected:
    FloatMatrix design_;
    FloatArray rhs_;
    const FloatMatrix* basis_ = nullptr;
    FloatMatrix weighted_;
    const FloatArray* primary_ = nullptr;
    FloatArray weights_;
    long nTaus_ = 0, nChan_ = 0, nRows_ = 0, nCols_ = 0;
    float tolerance_ = 1e-6f;
    xPlatform* messages_ = nullptr;
    float ratio_ = 0.0f;
    float scale_ = 1.0f, np_ = 1.0f;
    const FloatArray* tauFactors_ = nullptr;
    bool primaryOn_ = false;
    float primaryValue_ = 0.0f;
    float s_ = 0.0f, r_ = 1.0f, f_ = 0.0f, l_ = 0.0f;
};

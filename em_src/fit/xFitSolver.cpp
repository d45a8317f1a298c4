#include "xFitSolver.h"

namespace {

// The callers' arrays come with whatever bounds their owners gave them; the
// fitters count channels and taus from 1.
float At(const FloatArray& values, long i) {
    return values[values.Low() + i - 1];
}

}  // namespace

void xFitSolver::SetBasisAndWeights(const FloatMatrix& basis, const FloatArray& weights) {
    basis_ = &basis;
    nTaus_ = basis.Rows();
    nChan_ = basis.Cols();
    nRows_ = nChan_;
    if (s_ != 0.0f && nTaus_ > 1) nRows_ += nTaus_ - 1;
    if (f_ != 0.0f || l_ != 0.0f) nRows_ += 1;
    nCols_ = nTaus_ + (primaryOn_ ? 1 : 0);
    design_.Resize(1, nRows_, 1, nCols_);

    weights_.Resize(1, nChan_);
    for (long c = 1; c <= nChan_; ++c) weights_[c] = c <= weights.Length() ? At(weights, c) : 1.0f;
    weighted_.Resize(1, nTaus_, 1, nChan_);
    for (long t = 1; t <= nTaus_; ++t) {
        const FloatArray& row = basis[basis.RowLow() + t - 1];
        for (long c = 1; c <= nChan_; ++c) weighted_[t][c] = At(row, c) * weights_[c];
    }
}

void xFitSolver::SetData(const FloatArray& data) {
    rhs_.Resize(1, nRows_);
    for (long i = 1; i <= nRows_; ++i) rhs_[i] = 0.0f;
    if (f_ != 0.0f && nRows_ > nChan_) rhs_[nChan_ + 1] = f_;
    const bool primary = primaryOn_ && primary_ != nullptr;
    for (long c = 1; c <= nChan_; ++c) {
        const float d = At(data, c);
        rhs_[c] = primary ? (d - primaryValue_ * At(*primary_, c)) * weights_[c] : d * weights_[c];
    }
}

void xFitSolver::SetConditioning(float smoothing, float ratio, float force, float minLength) {
    s_ = smoothing;
    r_ = ratio;
    f_ = force;
    l_ = minLength;
}

void xFitSolver::BuildDesign() {
    design_.Resize(1, nRows_, 1, nCols_);
    design_.Fill(0.0f);
    for (long c = 1; c <= nChan_; ++c) {
        for (long t = 1; t <= nTaus_; ++t) design_[c][t] = weighted_[t][c];
        if (primaryOn_ && primary_ != nullptr) design_[c][nCols_] = At(*primary_, c);
    }
    if (nRows_ == nChan_) return;

    long r = nChan_ + 1;
    if (f_ != 0.0f || l_ != 0.0f) {
        // The force term only exists with a force; without one the row is the
        // plain minimum length, whatever the primary ratio came to.
        for (long t = 1; t <= nTaus_; ++t) {
            const float b = tauFactors_ != nullptr ? At(*tauFactors_, t) : 1.0f;
            design_[r][t] = (f_ != 0.0f ? (f_ * scale_ / b) / ratio_ : 0.0f) + l_;
        }
        if (primaryOn_)
            design_[r][nCols_] = -(f_ != 0.0f ? (f_ * scale_ / np_) / ratio_ : 0.0f) + l_;
        ++r;
    }
    if (s_ != 0.0f) {
        // Neighbouring taus only: the primary column, when there is one, lies
        // past the last pair and is never smoothed.
        for (long k = 1; r <= nRows_ && k < nTaus_; ++k, ++r) {
            design_[r][k] = s_;
            design_[r][k + 1] = -s_ * r_;
        }
    }
}

void xFitSolver::SetPrimary(bool on, float value, const FloatArray* response) {
    primaryOn_ = on;
    primaryValue_ = value;
    primary_ = response;
}

void xFitSolver::SetRatio(float ratio, float scale, float primaryFactor,
                          const FloatArray* tauFactors) {
    ratio_ = ratio;
    scale_ = scale;
    np_ = primaryFactor;
    tauFactors_ = tauFactors;
}

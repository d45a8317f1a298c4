#include "xSVDFit.h"

void xSVDFit::SetConditioning(float smoothing, float ratio, float force, float) {
    xFitSolver::SetConditioning(smoothing, ratio, force, 0.0f);
}

void xSVDFit::BuildDesign() {
    xFitSolver::BuildDesign();
    DoubleMatrix t(1, nRows_, 1, nCols_);
    for (long i = 1; i <= nRows_; ++i)
        for (long j = 1; j <= nCols_; ++j) t[i][j] = design_[i][j];
    svd_.Assign(t);
    decomposed_ = svd_.Decompose() == xDoubleSVD::Ok;
    if (!decomposed_) return;
    svd_.SingularValues(singular_);
    double largest = 0.0;
    for (long i = singular_.Low(); i <= singular_.High(); ++i)
        if (singular_[i] > largest) largest = singular_[i];
    svd_.SetTolerance(largest * double(tolerance_));
}

void xSVDFit::Solve(FloatArray& x) {
    if (x.Low() != 1 || x.High() != nCols_) x.Resize(1, nCols_);
    for (long j = 1; j <= nCols_; ++j) x[j] = 0.0f;
    if (!decomposed_) return;
    DoubleMatrix rhs(1, nRows_, 1, 1);
    for (long i = 1; i <= nRows_; ++i) rhs[i][1] = i <= rhs_.High() ? rhs_[i] : 0.0;
    DoubleArray solution;
    if (svd_.BackSubstitute(rhs, solution) != xDoubleSVD::Ok) return;
    for (long j = 1; j <= nCols_; ++j) x[j] = float(solution[solution.Low() + j - 1]);
}

#include "xL1MinErrFit.h"

#include <cmath>

#include "simplx.h"

void xL1MinErrFit::SetBasisAndWeights(const FloatMatrix& basis, const FloatArray& weights) {
    xFitSolver::SetBasisAndWeights(basis, weights);
    design_.Resize(1, 2 * (nTaus_ + nChan_) + 2, 1, 3 * nTaus_ + 1 + nChan_);
}

void xL1MinErrFit::SetConditioning(float, float, float, float) {}

void xL1MinErrFit::Solve(FloatArray& x) {
    if (x.Low() != 1 || x.High() != nCols_) x.Resize(1, nCols_);
    for (long j = 1; j <= nCols_; ++j) x[j] = 0.0f;
    const long n = nTaus_, m = nChan_;
    design_.Fill(0.0f);
    FloatMatrix& a = design_;
    for (long k = 2; k <= 2 * n + 1; ++k) a[1][k] = -AmplitudeCost;
    for (long k = 2 * n + 2; k <= 2 * n + m + 1; ++k) a[1][k] = -MisfitCost;
    for (long c = 1; c <= m; ++c) {
        const long i = c + 1;
        a[i][1] = rhs_[c];
        a[i + m][1] = rhs_[c];
        for (long t = 1; t <= n; ++t) {
            a[i][t + 1] = a[i + m][t + 1] = -weighted_[t][c];
            a[i][n + t + 1] = a[i + m][n + t + 1] = weighted_[t][c];
        }
        a[i][2 * n + 1 + c] = 1.0f;
        a[i + m][2 * n + 1 + c] = -1.0f;
    }

    std::vector<float> values;
    if (RunTableau(int(m), int(m), int(m + 2 * n), values) != 0) return;
    for (long t = 1; t <= n; ++t) x[t] = values[std::size_t(t)] - values[std::size_t(n + t)];
}

float xL1MinErrFit::Objective(const FloatArray& x) const {
    float sum = 0.0f;
    for (long t = 1; t <= nTaus_; ++t) sum += AmplitudeCost * std::fabs(x[t]);
    for (long c = 1; c <= nChan_; ++c) {
        float fit = 0.0f;
        for (long t = 1; t <= nTaus_; ++t) fit += weighted_[t][c] * x[t];
        sum += MisfitCost * std::fabs(rhs_[c] - fit);
    }
    return sum;
}

int xL1MinErrFit::RunTableau(int m1, int m2, int nVars, std::vector<float>& values) const {
    // The simplex starts from the slack basis, which is only a vertex when
    // every right-hand side is non-negative; with a negative one it walks
    // from an infeasible point and stops away from the optimum. Negative data
    // are the rule here, so such a row is negated and changes kind: the same
    // constraint, written from the other side. The simplex wants the at-most
    // rows first, so the rows are regrouped; the answer is read by variable,
    // which the regrouping does not touch.
    const int m = m1 + m2;
    std::vector<std::pair<int, bool>> atMost, atLeast;  // source row, negated
    for (int r = 1; r <= m; ++r) {
        const bool wasAtMost = r <= m1;
        const bool negate = design_[r + 1][1] < 0.0f;
        ((wasAtMost != negate) ? atMost : atLeast).push_back({r, negate});
    }
    FloatMatrix tableau(1, m + 2, 1, nVars + 1);
    for (int k = 1; k <= nVars + 1; ++k) tableau[1][k] = design_[1][k];
    int row = 2;
    for (const auto* group : {&atMost, &atLeast}) {
        for (const auto& [source, negate] : *group) {
            const float sign = negate ? -1.0f : 1.0f;
            for (int k = 1; k <= nVars + 1; ++k) tableau[row][k] = sign * design_[source + 1][k];
            ++row;
        }
    }

    // The simplex's eps is the fitter's tolerance; in single precision with
    // costs of 10 anything much below 1e-5 lets rounding noise pivot.
    int status = 0;
    LongArray izrov, iposv;
    simplx(tableau, m, nVars, int(atMost.size()), int(atLeast.size()), 0, status, izrov, iposv,
           tolerance_, messages_ != nullptr);
    values.assign(std::size_t(nVars) + 1, 0.0f);
    if (status != 0) return status;  // no answer, or an unbounded one: x stays 0
    for (int i = 1; i <= m; ++i) {
        const int v = iposv[i];
        if (v >= 1 && v <= nVars) values[std::size_t(v)] = tableau[i + 1][1];
    }
    return status;
}

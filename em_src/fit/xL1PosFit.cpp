#include "xL1PosFit.h"

#include <cmath>

void xL1PosFit::Solve(FloatArray& x) {
    if (x.Low() != 1 || x.High() != nCols_) x.Resize(1, nCols_);
    for (long j = 1; j <= nCols_; ++j) x[j] = 0.0f;
    const long n = nTaus_, m = nChan_;
    design_.Fill(0.0f);
    FloatMatrix& a = design_;
    for (long k = 2; k <= n + 1; ++k) a[1][k] = -AmplitudeCost;
    for (long k = n + 2; k <= n + m + 1; ++k) a[1][k] = -MisfitCost;
    for (long c = 1; c <= m; ++c) {
        const long i = c + 1;
        a[i][1] = rhs_[c];
        a[i + m][1] = rhs_[c];
        for (long t = 1; t <= n; ++t) a[i][t + 1] = a[i + m][t + 1] = -weighted_[t][c];
        a[i][n + 1 + c] = 1.0f;
        a[i + m][n + 1 + c] = -1.0f;
    }

    std::vector<float> values;
    if (RunTableau(int(m), int(m), int(m + n), values) != 0) return;
    for (long t = 1; t <= n; ++t) x[t] = values[std::size_t(t)];
}

float xL1PosFit::Objective(const FloatArray& x) const {
    float sum = 0.0f;
    for (long t = 1; t <= nTaus_; ++t) sum += AmplitudeCost * x[t];
    for (long c = 1; c <= nChan_; ++c) {
        float fit = 0.0f;
        for (long t = 1; t <= nTaus_; ++t) fit += weighted_[t][c] * x[t];
        sum += MisfitCost * std::fabs(rhs_[c] - fit);
    }
    return sum;
}

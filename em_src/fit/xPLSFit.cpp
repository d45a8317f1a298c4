#include "xPLSFit.h"

#include <cmath>

#include "xPlatform.h"

void xPLSFit::SetData(const FloatArray& data) {
    xFitSolver::SetData(data);
    if (!primaryOn_ || primary_ == nullptr || primaryValue_ == 0.0f) return;
    // Weighted out, unweighted back in: the fits of old projects depend on it.
    for (long c = 1; c <= nChan_; ++c)
        rhs_[c] += primaryValue_ * (*primary_)[primary_->Low() + c - 1];
}

void xPLSFit::Solve(FloatArray& x) {
    if (x.Low() != 1 || x.High() != nCols_) x.Resize(1, nCols_);
    for (long j = 1; j <= nCols_; ++j) x[j] = 0.0f;
    CountPass(Pass(x));
    const float e1 = Misfit(x);
    const FloatArray first(x);

    // The basis is positive, so a decay of the other sign can only be fitted
    // upside down; its sign comes back with the amplitude record.
    for (long i = rhs_.Low(); i <= rhs_.High(); ++i) rhs_[i] = -rhs_[i];
    for (long j = 1; j <= nCols_; ++j) x[j] = 0.0f;
    CountPass(Pass(x));
    const float e2 = Misfit(x);
    for (long i = rhs_.Low(); i <= rhs_.High(); ++i) rhs_[i] = -rhs_[i];

    modelSign_ = e2 > e1 ? 1.0f : -1.0f;
    if (e2 > e1) x = first;
}

void xPLSFit::CountPass(int status) {
    if (status == RoundLimit) ++roundLimits_;
}

float xPLSFit::Misfit(const FloatArray& x) const {
    if (nChan_ < 1) return 0.0f;
    float sum = 0.0f;
    for (long c = 1; c <= nChan_; ++c) {
        float fit = 0.0f;
        for (long t = 1; t <= nTaus_; ++t) fit += weighted_[t][c] * x[t];
        sum += std::fabs(fit - rhs_[c]);
    }
    return sum / float(nChan_);
}

int xPLSFit::Pass(FloatArray& x) {
    m_ = nRows_;
    n_ = nCols_;
    const float tol = tolerance_;
    rhsFirst_.assign(std::size_t(m_) + 1, 0.0f);
    for (long i = 1; i <= m_ && i <= rhs_.High(); ++i) rhsFirst_[std::size_t(i)] = rhs_[i];
    // The surface row pulls towards the primary ratio, not towards the force.
    if (f_ != 0.0f && m_ > nChan_) rhsFirst_[std::size_t(nChan_ + 1)] = f_ * ratio_;
    rhsWork_ = rhsFirst_;
    factor_.assign(std::size_t(n_) + 1, std::vector<float>(std::size_t(m_) + 1, 0.0f));
    diag_.assign(std::size_t(n_) + 2, 0.0f);
    reflected_.assign(std::size_t(n_) + 2, 0);
    active_.clear();
    position_.assign(std::size_t(n_) + 1, 0);
    z_.assign(std::size_t(n_) + 1, 0.0f);
    for (long j = 1; j <= n_; ++j) x[j] = 0.0f;

    std::vector<float> residual(std::size_t(m_) + 1, 0.0f);
    for (long round = 1; round <= 3 * n_; ++round) {
        for (long i = 1; i <= m_; ++i) {
            const FloatArray& row = design_[i];
            float sum = 0.0f;
            for (long j = 1; j <= n_; ++j) sum += row[j] * x[j];
            residual[std::size_t(i)] = rhsFirst_[std::size_t(i)] - sum;
        }
        std::vector<float> gradient(std::size_t(n_) + 1, 0.0f);
        for (long j = 1; j <= n_; ++j) {
            if (position_[std::size_t(j)] != 0) continue;
            for (long i = 1; i <= m_; ++i)
                gradient[std::size_t(j)] += design_[i][j] * residual[std::size_t(i)];
        }
        for (;;) {
            const long entering = Steepest(gradient);
            if (entering == 0) return Solved;
            const bool added = Add(entering);
            if (!added && messages_) {
                messages_->Error("Error in add");
                return AddFailed;
            }
            if (added && z_[std::size_t(entering)] > tol) break;
            // Only rounding made this gradient positive: the column lies in the
            // span of the active ones, or would enter at a value that the step
            // drops again. Taking it would send the pass round in a circle to
            // its round limit; the next steepest is tried instead.
            if (added && !Remove(entering) && messages_) {
                messages_->Error("Sub error");
                return RemoveFailed;
            }
            gradient[std::size_t(entering)] = 0.0f;
        }

        long lowest = 0;
        float lowestZ = 0.0f;
        for (long j : active_) {
            if (z_[std::size_t(j)] < lowestZ) {
                lowestZ = z_[std::size_t(j)];
                lowest = j;
            }
        }
        if (lowest != 0 && lowestZ < -tol) {
            for (long step = 1; step <= n_; ++step) {
                // Only a column whose candidate leaves the feasible side limits
                // the step; one whose candidate grew would set a step backwards
                // or past the candidate, and the pass could then circle.
                float alpha = 1e30f;
                for (long j : active_) {
                    const float xj = x[j], zj = z_[std::size_t(j)];
                    if (zj > tol || xj == zj) continue;
                    const float q = xj / (xj - zj);
                    if (std::fabs(q) < std::fabs(alpha) && q != 0.0f) alpha = q;
                }
                for (long j : active_) x[j] = x[j] + (z_[std::size_t(j)] - x[j]) * alpha;

                std::vector<long> leaving;
                for (long j : active_)
                    if (x[j] <= tol) leaving.push_back(j);
                for (long j : leaving) {
                    if (!Remove(j) && messages_) {
                        messages_->Error("Sub error");
                        return RemoveFailed;
                    }
                }

                lowest = 0;
                lowestZ = 0.0f;
                for (long j : active_) {
                    if (z_[std::size_t(j)] <= lowestZ) {
                        lowestZ = z_[std::size_t(j)];
                        lowest = j;
                    }
                }
                if (lowest == 0 || !(lowestZ < -tol)) break;
            }
        }
        for (long j = 1; j <= n_; ++j)
            x[j] = position_[std::size_t(j)] != 0 ? z_[std::size_t(j)] : 0.0f;
    }
    return RoundLimit;
}

long xPLSFit::Steepest(const std::vector<float>& gradient) const {
    long steepest = 0;
    float best = 0.0f;
    for (long j = 1; j <= n_; ++j) {
        if (gradient[std::size_t(j)] > best) {
            best = gradient[std::size_t(j)];
            steepest = j;
        }
    }
    return steepest;
}

void xPLSFit::ApplyVector(long pos, std::vector<float>& v) const {
    if (!reflected_[std::size_t(pos)]) return;  // the last row needs no reflection
    const std::vector<float>& u = factor_[std::size_t(active_[std::size_t(pos - 1)])];
    const float d = -diag_[std::size_t(pos)] * u[std::size_t(pos)];
    if (d == 0.0f) return;
    float sum = 0.0f;
    for (long row = pos; row <= m_; ++row) sum += u[std::size_t(row)] * v[std::size_t(row)];
    const float factor = sum / d;
    for (long row = pos; row <= m_; ++row) v[std::size_t(row)] -= factor * u[std::size_t(row)];
}

bool xPLSFit::MakeVector(long pos) {
    std::vector<float>& v = factor_[std::size_t(active_[std::size_t(pos - 1)])];
    reflected_[std::size_t(pos)] = 0;
    if (pos >= m_) {
        diag_[std::size_t(pos)] = v[std::size_t(pos)];
        return true;
    }
    float squares = 0.0f;
    for (long row = pos; row <= m_; ++row) squares += v[std::size_t(row)] * v[std::size_t(row)];
    const float sigma = std::copysign(std::sqrt(squares), v[std::size_t(pos)]);
    if (std::fabs(sigma + v[std::size_t(pos)]) < tolerance_) {
        // Nothing left of the column below the factor: keep it unreflected.
        diag_[std::size_t(pos)] = v[std::size_t(pos)];
        return false;
    }
    diag_[std::size_t(pos)] = -sigma;
    v[std::size_t(pos)] += sigma;
    reflected_[std::size_t(pos)] = 1;
    return true;
}

bool xPLSFit::Add(long j) {
    const long k = long(active_.size()) + 1;
    if (j < 1 || j > n_ || k > m_) return false;
    std::vector<float> v(std::size_t(m_) + 1, 0.0f);
    for (long i = 1; i <= m_; ++i) v[std::size_t(i)] = design_[i][j];
    for (long pos = 1; pos < k; ++pos) ApplyVector(pos, v);
    if (k < m_) {
        float squares = 0.0f;
        for (long row = k; row <= m_; ++row) squares += v[std::size_t(row)] * v[std::size_t(row)];
        const float sigma = std::copysign(std::sqrt(squares), v[std::size_t(k)]);
        if (std::fabs(sigma + v[std::size_t(k)]) < tolerance_) return false;
        diag_[std::size_t(k)] = -sigma;
        v[std::size_t(k)] += sigma;
        reflected_[std::size_t(k)] = 1;
    } else {
        diag_[std::size_t(k)] = v[std::size_t(k)];
        reflected_[std::size_t(k)] = 0;
    }
    factor_[std::size_t(j)] = v;
    active_.push_back(j);
    position_[std::size_t(j)] = k;
    ApplyVector(k, rhsWork_);
    BackSubstitute();
    return true;
}

bool xPLSFit::Remove(long j) {
    if (j < 1 || j > n_ || position_[std::size_t(j)] == 0) return false;
    const long p = position_[std::size_t(j)];
    const long k = long(active_.size());
    for (long q = p + 1; q <= k; ++q) {
        std::vector<float>& v = factor_[std::size_t(active_[std::size_t(q - 1)])];
        for (long i = 1; i <= m_; ++i) v[std::size_t(i)] = design_[i][active_[std::size_t(q - 1)]];
        for (long pos = 1; pos < p; ++pos) ApplyVector(pos, v);
    }
    rhsWork_ = rhsFirst_;
    for (long pos = 1; pos < p; ++pos) ApplyVector(pos, rhsWork_);

    active_.erase(active_.begin() + (p - 1));
    position_[std::size_t(j)] = 0;
    for (long q = p; q <= k - 1; ++q) position_[std::size_t(active_[std::size_t(q - 1)])] = q;

    bool ok = true;
    for (long pos = p; pos <= k - 1; ++pos) {
        if (!MakeVector(pos)) ok = false;
        for (long q = pos + 1; q <= k - 1; ++q)
            ApplyVector(pos, factor_[std::size_t(active_[std::size_t(q - 1)])]);
        ApplyVector(pos, rhsWork_);
    }
    z_[std::size_t(j)] = 0.0f;
    BackSubstitute();
    return ok;
}

void xPLSFit::BackSubstitute() {
    const long k = long(active_.size());
    for (long pos = k; pos >= 1; --pos) {
        float sum = rhsWork_[std::size_t(pos)];
        for (long q = pos + 1; q <= k; ++q) {
            const long col = active_[std::size_t(q - 1)];
            sum -= factor_[std::size_t(col)][std::size_t(pos)] * z_[std::size_t(col)];
        }
        const float d = diag_[std::size_t(pos)];
        z_[std::size_t(active_[std::size_t(pos - 1)])] = d != 0.0f ? sum / d : 0.0f;
    }
}

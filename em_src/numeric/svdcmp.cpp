#include "svdcmp.h"

#include <algorithm>
#include <cmath>

#include "xPlatform.h"

namespace {

// sqrt(a^2 + b^2) scaled by the larger term, so neither square can overflow
// or underflow on its own.
float Hypotenuse(float a, float b) {
    float absA = std::fabs(a);
    float absB = std::fabs(b);
    if (absA > absB) {
        float r = absB / absA;
        return absA * std::sqrt(1.0f + r * r);
    }
    if (absB == 0.0f) return 0.0f;
    float r = absA / absB;
    return absB * std::sqrt(1.0f + r * r);
}

// |a| with the sign of b.
float WithSign(float a, float b) {
    return b >= 0.0f ? std::fabs(a) : -std::fabs(a);
}

// In float, as the sweeps compare: x is negligible beside the norm.
bool Negligible(float x, float norm) {
    return float(std::fabs(x) + norm) == norm;
}

}  // namespace

void svdcmp(FloatMatrix& a, int m, int n, FloatArray& w, FloatMatrix& v) {
    if (n <= 0) return;
    if (!w.InRange(1) || !w.InRange(n)) w.Resize(1, n);
    if (v.RowLow() > 1 || v.RowHigh() < n || v.ColLow() > 1 || v.ColHigh() < n)
        v.Resize(1, n, 1, n);

    FloatArray rv1(1, n);  // superdiagonal of the bidiagonal form
    float g = 0.0f;
    float scale = 0.0f;
    float anorm = 0.0f;
    int l = 1;

    // Householder reduction to bidiagonal form: alternately clear column i below
    // the diagonal and row i right of the superdiagonal. Each reflector is
    // scaled by the column (row) sum of magnitudes first to keep s in range.
    for (int i = 1; i <= n; ++i) {
        l = i + 1;
        rv1[i] = scale * g;
        g = 0.0f;
        float s = 0.0f;
        scale = 0.0f;
        if (i <= m) {
            for (int k = i; k <= m; ++k) scale += std::fabs(a[k][i]);
            if (scale != 0.0f) {
                for (int k = i; k <= m; ++k) {
                    a[k][i] /= scale;
                    s += a[k][i] * a[k][i];
                }
                float f = a[i][i];
                g = -WithSign(std::sqrt(s), f);
                float h = f * g - s;
                a[i][i] = f - g;
                for (int j = l; j <= n; ++j) {
                    s = 0.0f;
                    for (int k = i; k <= m; ++k) s += a[k][i] * a[k][j];
                    f = s / h;
                    for (int k = i; k <= m; ++k) a[k][j] += f * a[k][i];
                }
                for (int k = i; k <= m; ++k) a[k][i] *= scale;
            }
        }
        w[i] = scale * g;
        g = 0.0f;
        s = 0.0f;
        scale = 0.0f;
        if (i <= m && i != n) {
            for (int k = l; k <= n; ++k) scale += std::fabs(a[i][k]);
            if (scale != 0.0f) {
                for (int k = l; k <= n; ++k) {
                    a[i][k] /= scale;
                    s += a[i][k] * a[i][k];
                }
                float f = a[i][l];
                g = -WithSign(std::sqrt(s), f);
                float h = f * g - s;
                a[i][l] = f - g;
                for (int k = l; k <= n; ++k) rv1[k] = a[i][k] / h;
                for (int j = l; j <= m; ++j) {
                    s = 0.0f;
                    for (int k = l; k <= n; ++k) s += a[j][k] * a[i][k];
                    for (int k = l; k <= n; ++k) a[j][k] += s * rv1[k];
                }
                for (int k = l; k <= n; ++k) a[i][k] *= scale;
            }
        }
        anorm = std::max(anorm, std::fabs(w[i]) + std::fabs(rv1[i]));
    }

    // Right-hand transforms into v, last reflector first.
    for (int i = n; i >= 1; --i) {
        if (i < n) {
            if (g != 0.0f) {
                // Two divisions rather than one product: a[i][l] * g may underflow.
                for (int j = l; j <= n; ++j) v[j][i] = (a[i][j] / a[i][l]) / g;
                for (int j = l; j <= n; ++j) {
                    float s = 0.0f;
                    for (int k = l; k <= n; ++k) s += a[i][k] * v[k][j];
                    for (int k = l; k <= n; ++k) v[k][j] += s * v[k][i];
                }
            }
            for (int j = l; j <= n; ++j) v[i][j] = v[j][i] = 0.0f;
        }
        v[i][i] = 1.0f;
        g = rv1[i];
        l = i;
    }

    // Left-hand transforms, built in place of a.
    for (int i = std::min(m, n); i >= 1; --i) {
        l = i + 1;
        g = w[i];
        for (int j = l; j <= n; ++j) a[i][j] = 0.0f;
        if (g != 0.0f) {
            g = 1.0f / g;
            for (int j = l; j <= n; ++j) {
                float s = 0.0f;
                for (int k = l; k <= m; ++k) s += a[k][i] * a[k][j];
                float f = (s / a[i][i]) * g;
                for (int k = i; k <= m; ++k) a[k][j] += f * a[k][i];
            }
            for (int j = i; j <= m; ++j) a[j][i] *= g;
        } else {
            for (int j = i; j <= m; ++j) a[j][i] = 0.0f;
        }
        a[i][i] += 1.0f;
    }

    // Diagonalise the bidiagonal form from the bottom up by implicit shifted QR.
    for (int k = n; k >= 1; --k) {
        for (int its = 1; its <= 30; ++its) {
            // Look for a split: a negligible superdiagonal rv1[l] or a
            // negligible diagonal w[l-1], which must be chased out first. rv1[1]
            // is zero by construction; l = 1 is taken as a split outright so
            // that a NaN can never send the search to w[0].
            bool cancel = true;
            int nm = 0;
            for (l = k; l >= 1; --l) {
                nm = l - 1;
                if (l == 1 || Negligible(rv1[l], anorm)) {
                    cancel = false;
                    break;
                }
                if (Negligible(w[nm], anorm)) break;
            }
            if (cancel) {
                // w[nm] is zero: rotate rv1[l..k] away against the rows below.
                float c = 0.0f;
                float s = 1.0f;
                for (int i = l; i <= k; ++i) {
                    float f = s * rv1[i];
                    rv1[i] = c * rv1[i];
                    if (Negligible(f, anorm)) break;
                    g = w[i];
                    float h = Hypotenuse(f, g);
                    w[i] = h;
                    h = 1.0f / h;
                    c = g * h;
                    s = -f * h;
                    for (int j = 1; j <= m; ++j) {
                        float y = a[j][nm];
                        float z = a[j][i];
                        a[j][nm] = y * c + z * s;
                        a[j][i] = z * c - y * s;
                    }
                }
            }
            float z = w[k];
            if (l == k) {
                // Converged; singular values are made non-negative.
                if (z < 0.0f) {
                    w[k] = -z;
                    for (int j = 1; j <= n; ++j) v[j][k] = -v[j][k];
                }
                break;
            }
            // The last sweep is still taken: the value keeps what it reached.
            if (its == 30) Platform().Error("no convergence in 30 svdcmp iterations");

            // Shift from the trailing 2x2 block.
            float x = w[l];
            nm = k - 1;
            float y = w[nm];
            g = rv1[nm];
            float h = rv1[k];
            float f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0f * h * y);
            g = Hypotenuse(f, 1.0f);
            f = ((x - z) * (x + z) + h * ((y / (f + WithSign(g, f))) - h)) / x;

            // One QR sweep, chasing the bulge down with Givens rotations.
            float c = 1.0f;
            float s = 1.0f;
            for (int j = l; j <= nm; ++j) {
                int i = j + 1;
                g = rv1[i];
                y = w[i];
                h = s * g;
                g = c * g;
                z = Hypotenuse(f, h);
                rv1[j] = z;
                c = f / z;
                s = h / z;
                f = x * c + g * s;
                g = g * c - x * s;
                h = y * s;
                y *= c;
                for (int jj = 1; jj <= n; ++jj) {
                    x = v[jj][j];
                    z = v[jj][i];
                    v[jj][j] = x * c + z * s;
                    v[jj][i] = z * c - x * s;
                }
                z = Hypotenuse(f, h);
                w[j] = z;
                if (z != 0.0f) {
                    z = 1.0f / z;
                    c = f * z;
                    s = h * z;
                }
                f = c * g + s * y;
                x = c * y - s * g;
                for (int jj = 1; jj <= m; ++jj) {
                    y = a[jj][j];
                    z = a[jj][i];
                    a[jj][j] = y * c + z * s;
                    a[jj][i] = z * c - y * s;
                }
            }
            rv1[l] = 0.0f;
            rv1[k] = f;
            w[k] = x;
        }
    }
}

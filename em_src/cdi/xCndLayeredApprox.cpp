// The second layering of a column. Where LayeredColumn looks for the sharpest
// changes of slope in the differences, this one works on the values: a
// straight line is taken out of the column, and the bends of what is left are
// found as vertices of least-squares parabolas on a sliding window. Pieces
// between those bends are refitted once to find the bends the first line hid.
// Every sample is placed by its index; depths play no part.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "xCndMath.h"

using cdi::NULLVALUE;

namespace {

constexpr double SingularPivot = 1e-06;
// Only the first line and one refit of the pieces between its bends.
constexpr int Levels = 2;

struct Line {
    double a = 0.0, b = 0.0;  // value = a + b x
    double At(double x) const { return a + b * x; }
};

// Least squares through samples [i0, i1); one sample, or samples at one
// abscissa, give the level line through their mean.
Line FitLine(const std::vector<double>& x, const std::vector<double>& y, std::size_t i0,
             std::size_t i1) {
    const double n = static_cast<double>(i1 - i0);
    double mx = 0.0, my = 0.0;
    for (std::size_t i = i0; i < i1; ++i) {
        mx += x[i];
        my += y[i];
    }
    mx /= n;
    my /= n;
    double sxx = 0.0, sxy = 0.0;
    for (std::size_t i = i0; i < i1; ++i) {
        sxx += (x[i] - mx) * (x[i] - mx);
        sxy += (x[i] - mx) * (y[i] - my);
    }
    Line line;
    line.b = sxx > 0.0 ? sxy / sxx : 0.0;
    line.a = my - line.b * mx;
    return line;
}

// Gaussian elimination with partial pivoting on the 3 x 3 normal equations.
bool Solve3(double m[3][4], double c[3]) {
    for (int col = 0; col < 3; ++col) {
        int pivot = col;
        for (int r = col + 1; r < 3; ++r)
            if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
        if (std::fabs(m[pivot][col]) < SingularPivot) return false;
        if (pivot != col)
            for (int k = 0; k < 4; ++k) std::swap(m[col][k], m[pivot][k]);
        for (int r = col + 1; r < 3; ++r) {
            const double f = m[r][col] / m[col][col];
            for (int k = col; k < 4; ++k) m[r][k] -= f * m[col][k];
        }
    }
    for (int r = 2; r >= 0; --r) {
        double s = m[r][3];
        for (int k = r + 1; k < 3; ++k) s -= m[r][k] * c[k];
        c[r] = s / m[r][r];
    }
    return true;
}

// Slides a window of len samples over r[begin, end) and appends the bends it
// accepts, in order, to breaks. Each break is the sample nearest the vertex
// and closes the layer above it.
void FindBends(const std::vector<double>& x, const std::vector<double>& r, std::size_t begin,
               std::size_t end, std::size_t len, double threshold,
               std::vector<std::size_t>& breaks) {
    if (len < 3 || end - begin < len) return;
    long last = static_cast<long>(begin) - 1;
    for (std::size_t w = begin; w + len <= end; ++w) {
        // A window still holding the last bend sees that bend again.
        if (static_cast<long>(w) <= last) continue;
        const std::size_t e = w + len;
        const double xc = 0.5 * (x[w] + x[e - 1]);
        const double h = 0.5 * (x[e - 1] - x[w]);
        if (!(h > 0.0)) continue;
        // The window mapped onto [-1, 1] keeps the equations alike at any length.
        double s[5] = {0.0, 0.0, 0.0, 0.0, 0.0}, t[3] = {0.0, 0.0, 0.0};
        for (std::size_t i = w; i < e; ++i) {
            const double u = (x[i] - xc) / h;
            double p = 1.0;
            for (int k = 0; k < 5; ++k) {
                if (k < 3) t[k] += p * r[i];
                s[k] += p;
                p *= u;
            }
        }
        double m[3][4] = {
            {s[0], s[1], s[2], t[0]}, {s[1], s[2], s[3], t[1]}, {s[2], s[3], s[4], t[2]}};
        double c[3];
        if (!Solve3(m, c) || c[2] == 0.0) continue;
        const double uv = -c[1] / (2.0 * c[2]);
        const double where = 0.5 * (uv + 1.0);  // share of the window above the vertex
        if (!(where >= 0.4 && where <= 0.6)) continue;
        // The threshold is passed when the residual at the vertex, as the
        // parabola gives it, exceeds it, and the vertex is an extremum that
        // stands out of the line (a trough below it, a crest above it). The
        // parabola's own bend across the window, |c2| on [-1, 1], must reach a
        // twentieth of the threshold, so that noise on a residual that merely
        // sits off the line makes no bend.
        const double pv = c[0] + c[1] * uv + c[2] * uv * uv;
        if (!(std::fabs(pv) > threshold) || c[2] * pv >= 0.0) continue;
        if (!(std::fabs(c[2]) > threshold / 20.0)) continue;
        const double xv = xc + uv * h;
        std::size_t k = w;
        for (std::size_t i = w + 1; i < e; ++i)
            if (std::fabs(x[i] - xv) < std::fabs(x[k] - xv)) k = i;
        if (static_cast<long>(k) <= last) continue;
        breaks.push_back(k);
        last = static_cast<long>(k);
    }
}

// |a / b - 1| without dividing by zero: two zero layers are alike, a zero
// beside anything else is as different as can be.
double RelativeDifference(double a, double b) {
    if (b == 0.0) return a == 0.0 ? 0.0 : std::numeric_limits<double>::infinity();
    return std::fabs(a / b - 1.0);
}

}  // namespace

// Choices made where the method leaves room:
// - Interior and leading NULLs are gaps: they take part in no fit and stay
//   NULL; n, which sizes the window, counts the valid samples.
// - The threshold is always the mean absolute residual of the first line,
//   over 3 and halved at the second level, so that a refitted piece that is
//   already straight cannot raise its own noise to a bend.
// - The end of the column closes the last layer and counts as a break, so
//   LayerCount is the number of layers, as in LayeredColumn.
// - The fitted value of a layer, for merging, is its line at the centroid of
//   its samples, i.e. their mean.
// - Above the largest conductivity the value is the largest; below the
//   smallest there is no layer value and it is NULL.
void xCndMath::LayeredApprox_ab(const std::vector<float>& cond, std::vector<float>& out) const {
    out.assign(cond.size(), NULLVALUE);
    if (disc_.empty()) return;

    std::vector<std::size_t> index;  // column index of each valid sample
    for (std::size_t i = 0; i < cond.size(); ++i)
        if (cond[i] != NULLVALUE && std::isfinite(cond[i])) index.push_back(i);
    const std::size_t n = index.size();
    if (n == 0) return;
    std::vector<double> x(n), y(n);
    double scale = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        x[i] = static_cast<double>(index[i]);
        y[i] = cond[index[i]];
        scale = std::max(scale, std::fabs(y[i]));
    }

    const std::size_t len = std::max<std::size_t>(5, n / 20);
    const Line whole = FitLine(x, y, 0, n);
    std::vector<double> r(n);
    double mar = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        r[i] = y[i] - whole.At(x[i]);
        mar += std::fabs(r[i]);
    }
    mar /= static_cast<double>(n);

    std::vector<std::size_t> breaks;
    // Residuals at the float grain of the values: the column is one line.
    if (mar > 1e-6 * scale) {
        double threshold = mar / 3.0;
        FindBends(x, r, 0, n, len, threshold, breaks);
        for (int level = 1; level < Levels; ++level) {
            threshold *= 0.5;
            std::vector<std::size_t> ends = breaks;
            ends.push_back(n - 1);
            std::size_t start = 0;
            for (std::size_t end : ends) {
                if (end + 1 - start >= len) {
                    const Line piece = FitLine(x, y, start, end + 1);
                    for (std::size_t i = start; i <= end; ++i) r[i] = y[i] - piece.At(x[i]);
                    FindBends(x, r, start, end + 1, len, threshold, breaks);
                }
                start = end + 1;
            }
        }
    }
    breaks.push_back(n - 1);
    std::sort(breaks.begin(), breaks.end());
    breaks.erase(std::unique(breaks.begin(), breaks.end()), breaks.end());

    struct Layer {
        std::size_t first, last;  // samples, inclusive
        double value;
    };
    auto mean = [&](std::size_t first, std::size_t last) {
        double s = 0.0;
        for (std::size_t i = first; i <= last; ++i) s += y[i];
        return s / static_cast<double>(last - first + 1);
    };
    std::vector<Layer> layers;
    std::size_t start = 0;
    for (std::size_t end : breaks) {
        layers.push_back({start, end, mean(start, end)});
        start = end + 1;
    }

    const std::size_t wanted = static_cast<std::size_t>(std::max(layerCount_, 1));
    while (layers.size() > wanted) {
        std::size_t pick = 0;
        double best = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i + 1 < layers.size(); ++i) {
            const double d = RelativeDifference(layers[i].value, layers[i + 1].value);
            if (d < best) {
                best = d;
                pick = i;
            }
        }
        layers[pick].last = layers[pick + 1].last;
        layers[pick].value = mean(layers[pick].first, layers[pick].last);
        layers.erase(layers.begin() + static_cast<std::ptrdiff_t>(pick) + 1);
    }

    const double lo = disc_.front(), hi = disc_.back();
    for (const Layer& layer : layers) {
        const Line line = FitLine(x, y, layer.first, layer.last + 1);
        for (std::size_t i = layer.first; i <= layer.last; ++i) {
            const double v = line.At(x[i]);
            if (v >= lo) out[index[i]] = static_cast<float>(std::min(v, hi));
        }
    }
}

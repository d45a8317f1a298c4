#include "LayeredEarth.h"

#include <math.h>  // ::j0, ::j1: far faster than std::cyl_bessel_j

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

using Complex = std::complex<double>;

constexpr double kPi = std::numbers::pi;
constexpr double kMu0 = 4e-7 * kPi;

// Gauss-Legendre rule mapped to [0, 1].
struct GaussRule {
    std::vector<double> x, w;
};

GaussRule MakeGaussRule(int n) {
    GaussRule rule;
    rule.x.resize(n);
    rule.w.resize(n);
    for (int i = 0; i < n; ++i) {
        double x = std::cos(kPi * (i + 0.75) / (n + 0.5));
        double dp = 1.0;
        for (int iter = 0; iter < 100; ++iter) {
            double p0 = 1.0, p1 = x;
            for (int j = 2; j <= n; ++j) {
                const double p2 = ((2 * j - 1) * x * p1 - (j - 1) * p0) / j;
                p0 = p1;
                p1 = p2;
            }
            dp = n * (x * p1 - p0) / (x * x - 1.0);
            const double step = p1 / dp;
            x -= step;
            if (std::abs(step) < 1e-16) break;
        }
        rule.x[i] = 0.5 * (1.0 - x);
        rule.w[i] = 1.0 / ((1.0 - x * x) * dp * dp);
    }
    return rule;
}

const GaussRule& Gauss8() {
    static const GaussRule rule = MakeGaussRule(8);
    return rule;
}

// Enough where the integrand is smooth over a panel: a spline cubic times at most
// half a period of the sine, or the damped kernel of an elevated pair.
const GaussRule& Gauss6() {
    static const GaussRule rule = MakeGaussRule(6);
    return rule;
}

// |re| + |im|: a cheap norm for tolerances and guards.
double Magnitude(double v) {
    return std::abs(v);
}
double Magnitude(Complex v) {
    return std::abs(v.real()) + std::abs(v.imag());
}

// Wynn's epsilon algorithm on a sequence of partial sums, one term at a time
// (the counter-diagonal form, so each new term costs one pass over the table).
// With a depth, only that many columns are kept: the highest order dropped as a
// new term comes in, so a long sequence costs depth, not its length, per term.
template <class T>
class WynnEpsilon {
  public:
    explicit WynnEpsilon(size_t depth = 0) : depth_(depth) {}
    void Reset() { e_.clear(); }
    T Add(T partialSum) {
        e_.push_back(partialSum);
        const size_t n = e_.size() - 1;
        if (n == 0) return partialSum;
        T aux2 = 0.0;
        for (size_t j = n; j >= 1; --j) {
            const T aux1 = aux2;
            aux2 = e_[j - 1];
            const T diff = e_[j] - aux2;
            // A zero difference means the column has converged: keep it large but finite.
            e_[j - 1] = Magnitude(diff) > 1e-300 ? aux1 + 1.0 / diff : T(1e300);
        }
        const T estimate = n % 2 == 0 ? e_[0] : e_[1];
        if (depth_ > 0 && e_.size() > depth_) e_.erase(e_.begin());
        // A table broken by differences at rounding level says nothing: fall back.
        const double size = Magnitude(estimate);
        return std::isfinite(size) && size < 1e250 ? estimate : partialSum;
    }

  private:
    size_t depth_;
    std::vector<T> e_;
};

// Convergence of an extrapolated sequence.
template <class T>
bool Settled(T now, T before, double rtol, double atol) {
    return Magnitude(now - before) <= rtol * Magnitude(now) + atol;
}

void CheckEarth(const xLayeredEarth& earth) {
    if (earth.conductivity.empty() || earth.thickness.size() + 1 != earth.conductivity.size())
        throw std::invalid_argument("layered earth: one thickness fewer than conductivities");
    for (double s : earth.conductivity)
        if (!(s >= 0.0)) throw std::invalid_argument("layered earth: negative conductivity");
    for (double d : earth.thickness)
        if (!(d >= 0.0)) throw std::invalid_argument("layered earth: negative thickness");
}

// Principal square root of l^2 + i q (q >= 0), the only kind the kernel takes;
// the library's general routine costs several times more.
Complex SqrtUpper(double l2, double q) {
    const double re = std::sqrt(0.5 * (std::sqrt(l2 * l2 + q * q) + l2));
    return re > 0.0 ? Complex(re, 0.5 * q / re) : Complex(std::sqrt(0.5 * q), std::sqrt(0.5 * q));
}

// Reflection coefficient of the earth for the TE mode; q[j] = w mu0 sigma_j.
// tanh is taken through exp(-2ud) so that thick, conductive layers cannot overflow.
Complex ReflectionTE(double lambda, const std::vector<double>& q,
                     const std::vector<double>& thickness) {
    const double l2 = lambda * lambda;
    const size_t n = q.size();
    Complex y = SqrtUpper(l2, q[n - 1]);
    for (size_t j = n - 1; j-- > 0;) {
        const Complex u = SqrtUpper(l2, q[j]);
        const double decay = -2.0 * thickness[j] * u.real();
        Complex t = 1.0;
        if (decay > -40.0) {
            const double phase = -2.0 * thickness[j] * u.imag();
            const Complex e = std::exp(decay) * Complex(std::cos(phase), std::sin(phase));
            t = (1.0 - e) / (1.0 + e);
        }
        y = u * (y + u * t) / (u + y * t);
    }
    return (lambda - y) / (lambda + y);
}

// The Hankel integrals every dipole's secondary field is made of, each over
// 4 pi, r_TE the reflection coefficient:
//   I0 = int r_TE l^2 e^{-la} J0(lr) dl,  I1 = int r_TE l^2 e^{-la} J1(lr) dl,
//   K  = int r_TE l e^{-la} J1(lr) dl / r   (at r = 0 its limit I0/2).
enum Kernel : size_t { kI0, kI1, kK, kKernels };
using KernelValues = std::array<Complex, kKernels>;
using KernelNeeds = std::array<bool, kKernels>;

// Abscissae of the Hankel integrals, shared by every frequency: they depend only
// on the offset r and the height sum a. The integrals are summed interval by
// interval between the zeros of J0(lr) ("quadrature with extrapolation": Gauss
// rules between the zeros, partial sums extrapolated by Wynn's epsilon
// algorithm). The kernels' frequency-independent factors l^m e^{-la} J(lr) and
// the Gauss weights are folded into the weights w, so a frequency only costs one
// reflection coefficient per node. The J1 integrals use the same break points:
// at the zeros of J0 their tails are already of second order.
class HankelNodes {
  public:
    HankelNodes(double r, double a) : r_(r), a_(a) {
        if (a_ > 0.0) lambdaCut_ = 30.0 / a_;  // (la)^2 e^{-la} < 1e-10: nothing left beyond
    }

    bool HasInterval(size_t k) {
        while (end_.size() <= k)
            if (!Extend()) return false;
        return true;
    }
    bool IsLast(size_t k) const { return complete_ && k + 1 == end_.size(); }
    size_t Begin(size_t k) const { return k == 0 ? 0 : end_[k - 1]; }
    size_t End(size_t k) const { return end_[k]; }

    std::vector<double> lambda;
    std::array<std::vector<double>, kKernels> w;

    // The panels of the first interval, with the sums of w l^m (m = 0..2): where
    // the kernel is still near its limit -1 + 2l/Y(0) - ..., a quadratic in l
    // through two of its values integrates the whole panel.
    struct Panel {
        size_t end;  // first node after the panel
        double mid, top;
        double sum[kKernels][3];
    };
    std::vector<Panel> firstPanels;

  private:
    // The k-th break point (k >= 1): McMahon's expansion of the zeros of J0,
    // or steps of 2 pi/a for a receiver on the axis.
    double Break(size_t k) const {
        if (r_ <= 0.0) return k * kMaxWidth / a_;
        const double b = (k - 0.25) * kPi;
        const double b2 = b * b;
        return (b + 1.0 / (8.0 * b) - 31.0 / (384.0 * b * b2) + 3779.0 / (15360.0 * b * b2 * b2)) /
               r_;
    }

    void AddPanel(double lo, double hi, const GaussRule& g) {
        const double width = hi - lo;
        Panel panel{0, 0.5 * (lo + hi), hi, {}};
        for (size_t i = 0; i < g.x.size(); ++i) {
            const double l = lo + width * g.x[i];
            const double common = width * g.w[i] * l * l * std::exp(-l * a_);
            const double j1 = ::j1(l * r_);
            lambda.push_back(l);
            w[kI0].push_back(common * ::j0(l * r_));
            w[kI1].push_back(common * j1);
            w[kK].push_back(common / l * j1);
            for (int m = 0; m < 3; ++m) {
                const double lm = m == 0 ? 1.0 : m == 1 ? l : l * l;
                for (size_t k = 0; k < kKernels; ++k) panel.sum[k][m] += w[k].back() * lm;
            }
        }
        panel.end = lambda.size();
        if (end_.empty()) firstPanels.push_back(panel);
    }

    // A panel wider than 2 pi/a would not resolve e^{-la}: split it evenly.
    static constexpr double kMaxWidth = 2.0 * kPi;
    void AddSplitPanel(double lo, double hi, const GaussRule& g) {
        int pieces = 1;
        if (a_ > 0.0) pieces = std::max(1, static_cast<int>(std::ceil((hi - lo) * a_ / kMaxWidth)));
        const double step = (hi - lo) / pieces;
        for (int i = 0; i < pieces; ++i)
            AddPanel(lo + i * step, i + 1 == pieces ? hi : lo + (i + 1) * step, g);
    }

    bool Extend() {
        if (complete_) return false;
        const double lo = previous_;
        double hi = Break(nextBreak_++);
        if (hi >= lambdaCut_) {
            hi = lambdaCut_;
            complete_ = true;
        }
        if (lo == 0.0) {
            // The kernel turns over near l ~ |k| of the ground, which at low
            // frequencies lies deep inside the first interval: geometric panels
            // resolve it whatever the frequency.
            // Down to where the panel below holds a part (eR)^3/3 < 1e-8 of an
            // integral of size 1/R^3, R the distance to the image, whatever the
            // kernel does there; at most eight levels.
            constexpr int kMaxLevels = 8;
            constexpr double kRatio = 4.0;
            const double bottom = 2e-3 / std::hypot(r_, a_);
            double edge = hi;
            for (int i = 0; i < kMaxLevels && edge > bottom; ++i) edge /= kRatio;
            AddPanel(0.0, edge, Gauss8());
            while (edge < hi) {
                const double next = std::min(hi, edge * kRatio);
                AddSplitPanel(edge, next, Gauss8());
                edge = next;
            }
        } else {
            // Above the first zero the damped kernel of an elevated pair is
            // smooth enough for six points; on the ground the sum leans on the
            // extrapolation, which wants the intervals exact.
            AddSplitPanel(lo, hi, a_ > 0.0 ? Gauss6() : Gauss8());
        }
        end_.push_back(lambda.size());
        previous_ = hi;
        return true;
    }

    double r_, a_;
    double lambdaCut_ = HUGE_VAL;
    double previous_ = 0.0;
    size_t nextBreak_ = 1;
    bool complete_ = false;
    std::vector<size_t> end_;
};

constexpr size_t kMaxIntervals = 2000;
constexpr double kHankelRtol = 1e-8;
constexpr double kNearConductorLimit = 0.02;  // |r_TE + 1| up to which a panel is a quadratic

// Heights of the pair and the horizontal offset, checked.
struct PairGeometry {
    double r, a;
};

PairGeometry CheckGeometry(const xDipoleGeometry& geometry) {
    const double rxHeight = geometry.txHeight + geometry.dz;
    if (!(geometry.txHeight >= 0.0) || !(rxHeight >= 0.0))
        throw std::invalid_argument("dipole geometry: transmitter and receiver must be in the air");
    PairGeometry g{std::hypot(geometry.dx, geometry.dy), geometry.txHeight + rxHeight};
    if (g.r == 0.0 && g.a == 0.0)
        throw std::invalid_argument("dipole geometry: receiver on the image of the transmitter");
    return g;
}

// Natural cubic spline on a uniform grid in x = ln w, stored as per-cell
// polynomials in s = (x - x_i)/h.
struct CellPolynomial {
    double c0, c1, c2, c3;
    double At(double s) const { return c0 + s * (c1 + s * (c2 + s * c3)); }
    double Slope(double s) const { return c1 + s * (2.0 * c2 + s * 3.0 * c3); }  // d/ds
};

std::vector<CellPolynomial> NaturalSpline(const std::vector<double>& f, double h) {
    const size_t n = f.size();
    std::vector<double> m(n, 0.0), diag(n, 4.0), rhs(n, 0.0);
    for (size_t i = 1; i + 1 < n; ++i) rhs[i] = 6.0 * (f[i + 1] - 2.0 * f[i] + f[i - 1]) / (h * h);
    // Thomas algorithm on rows 1..n-2 (unit off-diagonals).
    for (size_t i = 2; i + 1 < n; ++i) {
        const double q = 1.0 / diag[i - 1];
        diag[i] -= q;
        rhs[i] -= q * rhs[i - 1];
    }
    for (size_t i = n - 1; i-- > 1;) m[i] = (rhs[i] - (i + 2 < n ? m[i + 1] : 0.0)) / diag[i];
    std::vector<CellPolynomial> cells(n - 1);
    const double h26 = h * h / 6.0;
    for (size_t i = 0; i + 1 < n; ++i)
        cells[i] = {f[i], f[i + 1] - f[i] - h26 * (2.0 * m[i] + m[i + 1]), 3.0 * h26 * m[i],
                    h26 * (m[i + 1] - m[i])};
    return cells;
}

// One component of the frequency response as the time transforms need it:
// g(w) = Im H(w) / w, splined in ln w on the grid, extended below the grid as
// g0 + c (sqrt(w) - sqrt(w0)) (the earth's low-frequency expansion runs in
// powers of sqrt(iw)) and above it as a power law.
struct SpectrumComponent {
    std::vector<CellPolynomial> cells;
    double lowA = 0.0, lowC = 0.0;  // g = lowA + lowC sqrt(w) below the grid
    double topValue = 0.0, topPower = -2.0;
    // Cumulative integrals of g w^{2n} from w0 to each knot, n = 0..kMoments-1.
    std::vector<double> moments;
};

constexpr int kMoments = 8;
constexpr double kTaylorLimit = 0.5;  // w t below which cos(wt) is summed as a series

}  // namespace

xRealField PrimaryField(const xDipoleGeometry& geometry) {
    const double x = geometry.dx, y = geometry.dy, z = geometry.dz;
    const double r2 = x * x + y * y + z * z;
    if (r2 == 0.0) throw std::invalid_argument("dipole geometry: receiver at the transmitter");
    const double c = 1.0 / (4.0 * kPi * r2 * r2 * std::sqrt(r2));
    const xRealField& m = geometry.axis;
    const double along = m[0] * x + m[1] * y + m[2] * z;
    return {(3.0 * along * x - m[0] * r2) * c, (3.0 * along * y - m[1] * r2) * c,
            (3.0 * along * z - m[2] * r2) * c};
}

namespace {

// The kernel integrals at each frequency; those not needed read 0 and spare
// their extrapolation.
std::vector<KernelValues> KernelIntegrals(const xLayeredEarth& earth, const PairGeometry& g,
                                          const std::vector<double>& omegas, KernelNeeds need) {
    if (g.r == 0.0) {  // J1 vanishes on the axis; K is then half of I0
        need[kI0] = need[kI0] || need[kK];
        need[kI1] = need[kK] = false;
    }
    HankelNodes nodes(g.r, g.a);
    // Absolute tolerance against the size of the primary field at that spacing.
    const double atol = 1e-13 / std::pow(g.r * g.r + g.a * g.a, 1.5);

    std::vector<KernelValues> out;
    out.reserve(omegas.size());
    std::vector<double> q(earth.conductivity.size());
    std::array<WynnEpsilon<Complex>, kKernels> wynn;
    for (double omega : omegas) {
        for (size_t j = 0; j < q.size(); ++j) q[j] = omega * kMu0 * earth.conductivity[j];
        for (auto& w : wynn) w.Reset();
        KernelValues sum{}, est{};
        int settled = 0;
        for (size_t k = 0; k < kMaxIntervals && nodes.HasInterval(k); ++k) {
            size_t first = nodes.Begin(k);
            if (k == 0) {
                // From the bottom, panels where the kernel is still near -1.
                for (const auto& p : nodes.firstPanels) {
                    const Complex dTop = ReflectionTE(p.top, q, earth.thickness) + 1.0;
                    if (Magnitude(dTop) > kNearConductorLimit) break;
                    const Complex dMid = ReflectionTE(p.mid, q, earth.thickness) + 1.0;
                    const Complex c2 = (dTop / p.top - dMid / p.mid) / (p.top - p.mid);
                    const Complex c1 = dTop / p.top - c2 * p.top;
                    for (size_t j = 0; j < kKernels; ++j)
                        sum[j] += -p.sum[j][0] + c1 * p.sum[j][1] + c2 * p.sum[j][2];
                    first = p.end;
                }
            }
            for (size_t i = first; i < nodes.End(k); ++i) {
                const Complex rte = ReflectionTE(nodes.lambda[i], q, earth.thickness);
                for (size_t j = 0; j < kKernels; ++j) sum[j] += rte * nodes.w[j][i];
            }
            if (nodes.IsLast(k)) {  // the exponential has cut the integral off
                est = sum;
                break;
            }
            // Twice running: two estimates can agree by chance early on.
            bool agree = k >= 2;
            for (size_t j = 0; j < kKernels; ++j) {
                const Complex next = need[j] ? wynn[j].Add(sum[j]) : Complex(0.0);
                agree = agree && (!need[j] || Settled(next, est[j], kHankelRtol, atol));
                est[j] = next;
            }
            settled = agree ? settled + 1 : 0;
            if (settled >= 2) break;
        }
        const double scale = 1.0 / (4.0 * kPi);
        KernelValues values{};
        for (size_t j = 0; j < kKernels; ++j)
            if (need[j]) values[j] = est[j] * scale;
        if (g.r == 0.0)
            values[kK] = 0.5 * values[kI0];
        else
            values[kK] /= g.r;
        out.push_back(values);
    }
    return out;
}

// How the kernel integrals make up the field of a dipole of unit axis m at the
// horizontal offset r n (n a unit vector, 0 on the axis):
//   H = m_z (I0 e_z + I1 n) + (m.n) (I0 n - I1 e_z) + K (m_h - 2 (m.n) n).
// A horizontal dipole's potential is m_h . grad of the vertical one's potential
// integrated once over height; its derivatives give the terms in m.n and K.
using KernelWeights = std::array<xRealField, kKernels>;

KernelWeights WeightsOf(const xDipoleGeometry& geometry, double r) {
    const xRealField& m = geometry.axis;
    const double nx = r > 0.0 ? geometry.dx / r : 0.0, ny = r > 0.0 ? geometry.dy / r : 0.0;
    const double mn = m[0] * nx + m[1] * ny;
    return {{{mn * nx, mn * ny, m[2]},
             {m[2] * nx, m[2] * ny, -mn},
             {m[0] - 2.0 * mn * nx, m[1] - 2.0 * mn * ny, 0.0}}};
}

// The kernels that the axes asked for take.
KernelNeeds NeedsOf(const KernelWeights& weights, const std::array<bool, 3>& axes) {
    KernelNeeds need{};
    for (size_t j = 0; j < kKernels; ++j)
        for (size_t c = 0; c < 3; ++c) need[j] = need[j] || (axes[c] && weights[j][c] != 0.0);
    return need;
}

}  // namespace

std::vector<xComplexField> SecondaryFieldFD(const xLayeredEarth& earth,
                                            const xDipoleGeometry& geometry,
                                            const std::vector<double>& omegas) {
    CheckEarth(earth);
    const PairGeometry g = CheckGeometry(geometry);
    const KernelWeights weights = WeightsOf(geometry, g.r);
    const auto kernels = KernelIntegrals(earth, g, omegas, NeedsOf(weights, {true, true, true}));
    std::vector<xComplexField> out;
    out.reserve(kernels.size());
    for (const KernelValues& v : kernels) {
        xComplexField h{};
        for (size_t j = 0; j < kKernels; ++j)
            for (size_t c = 0; c < 3; ++c)
                if (weights[j][c] != 0.0) h[c] += weights[j][c] * v[j];
        out.push_back(h);
    }
    return out;
}

namespace {

// int_0^w0 w^p cos(wt) dw (sine = false) or int_0^w0 w^{p-1} sin(wt) dw (sine =
// true), by the Taylor series of cos and sin: w0 t stays below 0.01 here.
double LowIntegral(double p, double w0, double t, bool sine) {
    double sum = 0.0, term = 1.0;  // t^m / m!
    int m = sine ? 1 : 0;
    if (sine) term = t;
    double wp = std::pow(w0, p + m);
    for (int n = 0; n < 6; ++n) {
        sum += (n % 2 ? -1.0 : 1.0) * term * wp / (p + m);
        term *= t * t / ((m + 1) * (m + 2));
        wp *= w0 * w0;
        m += 2;
    }
    return sum;
}

// ln u for u in [1, 1.26] (a knot and the next): the series of 2 atanh(z),
// z = (u - 1)/(u + 1) <= 0.115, is exact to 1e-13 there and far cheaper than log.
double LogNearOne(double u) {
    const double z = (u - 1.0) / (u + 1.0), z2 = z * z;
    return 2.0 * z *
           (1.0 + z2 * (1.0 / 3 + z2 * (1.0 / 5 + z2 * (1.0 / 7 + z2 * (1.0 / 9 + z2 / 11)))));
}

SpectrumComponent MakeComponent(const std::vector<double>& g, double x0, double h,
                                size_t momentKnots) {
    SpectrumComponent c;
    c.cells = NaturalSpline(g, h);
    const double s0 = std::exp(0.5 * x0), s1 = std::exp(0.5 * (x0 + h));
    c.lowC = (g[1] - g[0]) / (s1 - s0);
    c.lowA = g[0] - c.lowC * s0;
    const size_t n = g.size();
    c.topValue = g[n - 1];
    if (g[n - 1] != 0.0 && g[n - 2] != 0.0 && (g[n - 1] > 0) == (g[n - 2] > 0))
        c.topPower = std::min(-1.0, std::log(g[n - 1] / g[n - 2]) / h);
    else
        c.topValue = 0.0;
    // Moments, cell by cell with Gauss points in x (the Jacobian is w).
    const GaussRule& rule = Gauss8();
    c.moments.assign(momentKnots * kMoments, 0.0);
    for (size_t i = 1; i < momentKnots; ++i) {
        double acc[kMoments] = {};
        for (size_t q = 0; q < rule.x.size(); ++q) {
            const double s = rule.x[q];
            const double w = std::exp(x0 + (i - 1 + s) * h);
            double v = rule.w[q] * h * w * c.cells[i - 1].At(s);
            for (int m = 0; m < kMoments; ++m) {
                acc[m] += v;
                v *= w * w;
            }
        }
        for (int m = 0; m < kMoments; ++m)
            c.moments[i * kMoments + m] = c.moments[(i - 1) * kMoments + m] + acc[m];
    }
    return c;
}

}  // namespace

xStepOff StepOffResponse(const xLayeredEarth& earth, const xDipoleGeometry& geometry,
                         const std::vector<double>& times, const std::array<bool, 3>& axes) {
    CheckEarth(earth);
    const PairGeometry pair = CheckGeometry(geometry);
    xStepOff out;
    out.times = times;
    if (times.empty()) return out;
    for (size_t i = 0; i < times.size(); ++i)
        if (!(times[i] > 0.0) || (i > 0 && !(times[i] > times[i - 1])))
            throw std::invalid_argument("step-off response: times must be positive and rising");
    out.field.assign(times.size(), xRealField{});
    out.integral.assign(times.size(), xRealField{});
    // The spectra worked on are the kernels the axes take; the field follows from them.
    const KernelWeights weights = WeightsOf(geometry, pair.r);
    const KernelNeeds need = NeedsOf(weights, axes);
    std::vector<size_t> kinds;
    for (size_t j = 0; j < kKernels; ++j)
        if (need[j]) kinds.push_back(j);
    if (kinds.empty()) return out;
    const size_t ncomp = kinds.size();

    // Frequency grid: 10 points a decade, from well below 1/t_max to far above
    // 1/t_min (the power law carries the sums on from there).
    constexpr double kPerDecade = 10.0;
    const double h = std::log(10.0) / kPerDecade;
    const double x0 = std::log(1e-2 / times.back());
    const size_t knots =
        static_cast<size_t>(std::ceil((std::log(1e2 / times.front()) - x0) / h)) + 1;
    std::vector<double> omegas(knots);
    for (size_t i = 0; i < knots; ++i) omegas[i] = std::exp(x0 + i * h);
    const std::vector<KernelValues> fd = KernelIntegrals(earth, pair, omegas, need);

    // Moments are needed up to the last knot where w t stays in the Taylor range.
    size_t momentKnots = 1;
    while (momentKnots < knots && omegas[momentKnots] * times.front() <= kTaylorLimit)
        ++momentKnots;

    std::vector<SpectrumComponent> comp;
    for (size_t kind : kinds) {
        std::vector<double> g(knots);
        for (size_t i = 0; i < knots; ++i) g[i] = fd[i][kind].imag() / omegas[i];
        comp.push_back(MakeComponent(g, x0, h, momentKnots));
    }
    double gmax = 0.0;
    for (const auto& c : comp)
        for (const auto& cell : c.cells) gmax = std::max(gmax, std::abs(cell.c0));

    const double w0 = omegas.front(), wTop = omegas.back();
    const GaussRule& rule = Gauss6();
    constexpr size_t kNodes = 6;
    // sin(w t) at the nodes of a whole half period, up to its sign.
    double halfPeriodSine[kNodes];
    for (size_t q = 0; q < kNodes; ++q) halfPeriodSine[q] = std::sin(kPi * rule.x[q]);
    constexpr double kRtol = 1e-6, kAtol = 1e-9;
    constexpr size_t kMaxHalfPeriods = 400;

    // Past some twenty columns the table only adds rounding.
    constexpr size_t kWynnDepth = 21;
    std::vector<WynnEpsilon<double>> wynn(2 * ncomp, WynnEpsilon<double>(kWynnDepth));
    for (size_t it = 0; it < times.size(); ++it) {
        const double t = times[it];
        // b(t) = -(2/pi) int g cos(wt) dw and int_0^t b = -(2/pi) int g/w sin(wt) dw.
        double cosSum[kKernels] = {}, sinSum[kKernels] = {};
        // Below the grid, analytically.
        for (size_t c = 0; c < ncomp; ++c) {
            cosSum[c] = comp[c].lowA * LowIntegral(1.0, w0, t, false) +
                        comp[c].lowC * LowIntegral(1.5, w0, t, false);
            sinSum[c] = comp[c].lowA * LowIntegral(0.0, w0, t, true) +
                        comp[c].lowC * LowIntegral(0.5, w0, t, true);
        }
        // Up to the last knot with w t <= kTaylorLimit, from the moments.
        size_t cell = 0;
        while (cell + 1 < momentKnots && omegas[cell + 1] * t <= kTaylorLimit) ++cell;
        for (size_t c = 0; c < ncomp; ++c) {
            const double* mo = &comp[c].moments[cell * kMoments];
            double fc = 1.0, fs = t;  // (-1)^n t^{2n}/(2n)!, (-1)^n t^{2n+1}/(2n+1)!
            for (int n = 0; n < kMoments; ++n) {
                cosSum[c] += fc * mo[n];
                sinSum[c] += fs * mo[n];
                fc *= -t * t / ((2 * n + 1) * (2 * n + 2));
                fs *= -t * t / ((2 * n + 2) * (2 * n + 3));
            }
        }
        // Beyond, the cosine integral by parts,
        //   int_ws^inf g cos(wt) dw = -g(ws) sin(ws t)/t - (1/t) int_ws^inf g' sin(wt) dw:
        // at late times g stays on its low-frequency plateau for many periods,
        // while g' decays from the start. Both sums are then read at the zeros
        // of sin(wt), where they alternate, and extrapolated.
        for (auto& w : wynn) w.Reset();
        double est[2 * kKernels] = {}, previousEst[2 * kKernels] = {},
                       previousSum[2 * kKernels] = {};
        int sumSettledRuns[2 * kKernels] = {};
        double lo = omegas[cell];
        for (size_t c = 0; c < ncomp; ++c)
            cosSum[c] -= comp[c].cells[cell].c0 * std::sin(lo * t) / t;
        const double atolCos = kAtol * gmax / t, atolSin = kAtol * gmax;
        const double invT = 1.0 / t, invH = 1.0 / h;
        for (size_t k = 1; k <= kMaxHalfPeriods; ++k) {
            const double zero = k * kPi * invT;
            const double previousZero = (k - 1) * kPi * invT;
            const double sign = k % 2 ? 1.0 : -1.0;
            while (lo < zero) {
                const bool onGrid = cell + 1 < knots;
                const double hi = onGrid ? std::min(zero, omegas[cell + 1]) : zero;
                const double width = hi - lo;
                const bool whole = lo == previousZero && hi == zero;
                const double knot = omegas[cell];
                for (size_t q = 0; q < kNodes; ++q) {
                    const double w = lo + width * rule.x[q];
                    const double sine = whole ? sign * halfPeriodSine[q] : std::sin(w * t);
                    const double wq = width * rule.w[q] * sine / w;
                    if (onGrid) {
                        const double s = LogNearOne(w / knot) * invH;
                        for (size_t c = 0; c < ncomp; ++c) {
                            const CellPolynomial& p = comp[c].cells[cell];
                            cosSum[c] -= wq * p.Slope(s) * invH * invT;  // w dg/dw
                            sinSum[c] += wq * p.At(s);
                        }
                    } else {
                        const double power = std::log(w / wTop);
                        for (size_t c = 0; c < ncomp; ++c) {
                            const double gv = comp[c].topValue * std::exp(comp[c].topPower * power);
                            cosSum[c] -= wq * comp[c].topPower * gv * invT;
                            sinSum[c] += wq * gv;
                        }
                    }
                }
                if (onGrid && hi == omegas[cell + 1]) ++cell;
                lo = hi;
            }
            // Settled when the extrapolation is, or when the sum itself is, twice
            // running (a table fed differences at rounding level says nothing).
            bool done = k >= 4;
            for (size_t j = 0; j < 2 * ncomp; ++j) {
                const double sum = j % 2 ? sinSum[j / 2] : cosSum[j / 2];
                const double atol = j % 2 ? atolSin : atolCos;
                const double e = wynn[j].Add(sum);
                sumSettledRuns[j] =
                    Settled(sum, previousSum[j], kRtol, atol) ? sumSettledRuns[j] + 1 : 0;
                const bool sumSettled = sumSettledRuns[j] >= 2;
                done = done && (sumSettled || Settled(e, previousEst[j], kRtol, atol));
                est[j] = sumSettled ? sum : e;
                previousEst[j] = e;
                previousSum[j] = sum;
            }
            if (done) break;
        }
        const double f = -2.0 / kPi;
        for (size_t c = 0; c < ncomp; ++c) {
            const double b = f * est[2 * c], bi = f * est[2 * c + 1];
            const xRealField& weight = weights[kinds[c]];
            for (size_t axis = 0; axis < 3; ++axis) {
                if (!axes[axis] || weight[axis] == 0.0) continue;
                out.field[it][axis] += b * weight[axis];
                out.integral[it][axis] += bi * weight[axis];
            }
        }
    }
    return out;
}

#include "simplx.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "xRecordingPlatform.h"

namespace {

// A linear program in the natural form: maximise cost . x over x >= 0.
struct Constraint {
    std::vector<double> coef;
    double rhs;
};

struct Program {
    std::vector<double> cost;
    std::vector<Constraint> atMost;
    std::vector<Constraint> atLeast;
    std::vector<Constraint> equal;

    int N() const { return int(cost.size()); }
    int M() const { return int(atMost.size() + atLeast.size() + equal.size()); }
};

FloatMatrix TableauOf(const Program& p) {
    const int n = p.N();
    const int m = p.M();
    FloatMatrix a(1, m + 2, 1, n + 1);
    for (int k = 1; k <= n; ++k) a[1][k + 1] = float(p.cost[k - 1]);
    int i = 1;
    for (const auto* rows : {&p.atMost, &p.atLeast, &p.equal}) {
        for (const Constraint& row : *rows) {
            a[i + 1][1] = float(row.rhs);
            for (int k = 1; k <= n; ++k) a[i + 1][k + 1] = -float(row.coef[k - 1]);
            ++i;
        }
    }
    return a;
}

struct Outcome {
    int status = 99;
    float value = 0.0f;
    // Every variable 1..n+m (index 0 unused): the basic ones from column 1 of
    // their row, the others 0.
    std::vector<double> x;
    std::vector<int> basic;  // iposv as read back
};

Outcome RunSimplx(FloatMatrix& a, int m, int n, int m1, int m2, int m3, float eps = 1e-6f,
                  bool verbose = false) {
    LongArray izrov(1, n);
    LongArray iposv(1, m);
    Outcome out;
    out.value = simplx(a, m, n, m1, m2, m3, out.status, izrov, iposv, eps, verbose);

    // The two lists always share out the n + m variables between them.
    std::vector<int> seen(std::size_t(n + m + 1), 0);
    for (int k = 1; k <= n; ++k) {
        if (izrov[k] >= 1 && izrov[k] <= n + m) ++seen[std::size_t(izrov[k])];
    }
    for (int i = 1; i <= m; ++i) {
        if (iposv[i] >= 1 && iposv[i] <= n + m) ++seen[std::size_t(iposv[i])];
    }
    for (int v = 1; v <= n + m; ++v) EXPECT_EQ(seen[std::size_t(v)], 1) << "variable " << v;

    out.x.assign(std::size_t(n + m + 1), 0.0);
    for (int i = 1; i <= m; ++i) {
        out.basic.push_back(iposv[i]);
        if (iposv[i] >= 1 && iposv[i] <= n + m) out.x[std::size_t(iposv[i])] = a[i + 1][1];
    }
    return out;
}

Outcome Solve(const Program& p) {
    FloatMatrix a = TableauOf(p);
    return RunSimplx(a, p.M(), p.N(), int(p.atMost.size()), int(p.atLeast.size()),
                     int(p.equal.size()));
}

// ---------------------------------------------------------------------------
// Small programs solved by hand.

// Each program with the reasoning that gives its answer; x lists variables
// (1-based, slacks after the n originals) and their values at the optimum.
TEST(SimplxHandSolved, ProgramsReachTheirHandSolvedAnswers) {
    xRecordingPlatform platform;
    struct Case {
        const char* why;
        Program p;
        int status;
        float value;
        std::vector<std::pair<int, double>> x;
    };
    const std::vector<Case> cases{
        // Vertices (0,0) 0, (3.5,0) 10.5, (3.5,0.5) 11.5, (3,1) 11, (0,2) 4; the
        // second row keeps a slack of 1.
        {"at-most rows only",
         {{3, 2}, {{{1, 1}, 4}, {{1, 3}, 6}, {{1, 0}, 3.5}}, {}, {}},
         0,
         11.5f,
         {{1, 3.5}, {2, 0.5}, {4, 1.0}}},
        // On the equality x1 = x2 + 1, so x2 >= 1; the origin is infeasible and
        // only a working phase one gets there.
        {"phase one with at-least and equality rows",
         {{-1, -1}, {{{1, 0}, 5}}, {{{1, 1}, 3}}, {{{1, -1}, 1}}},
         0,
         -3.0f,
         {{1, 2.0}, {2, 1.0}, {3, 3.0}}},
        {"an active at-least row",
         {{1, 2}, {{{1, 1}, 4}}, {{{1, 0}, 1}}, {}},
         0,
         7.0f,
         {{1, 1}, {2, 3}}},
        // The at-least row keeps a surplus of 1.5 that must come out positive.
        {"an at-least row with a surplus",
         {{1, 2}, {{{1, 1}, 4}, {{0, 1}, 2}}, {{{1, 0}, 0.5}}, {}},
         0,
         6.0f,
         {{1, 2}, {2, 2}, {5, 1.5}}},
        // An artificial let back in after it left would make the equality
        // x1 + x2 >= 2 and x1 would climb to 5.
        {"equality artificials stay out",
         {{1, 0}, {{{1, 0}, 5}}, {}, {{{1, 1}, 2}}},
         0,
         2.0f,
         {{1, 2}, {2, 0}}},
        // Phase one gains nothing (the artificial is already 0), yet it must
        // leave: left in, phase two would raise x1 to 4 for 8.
        {"an artificial at level zero",
         {{2, 1}, {{{1, 1}, 4}}, {}, {{{-1, 0}, 0}}},
         0,
         4.0f,
         {{1, 0}, {2, 4}}},
        // x1 >= 2 x2 >= 2 x1: only the origin. Phase one ends before any
        // exchange with both artificials basic at zero; their rows must be read
        // with the sense turned, or x1 would reach 2.
        {"at-least artificials that never leave",
         {{1, 0}, {{{1, 1}, 3}}, {{{1, -2}, 0}, {{-1, 1}, 0}}, {}},
         0,
         0.0f,
         {{1, 0}, {2, 0}}},
        // The whole edge from (1, 0.5) to (0.5, 1) is optimal; the first of two
        // equal columns enters, so the fit gets (1, 0.5).
        {"equal entries let the first column in",
         {{1, 1}, {{{1, 0}, 1}, {{0, 1}, 1}, {{1, 1}, 1.5}}, {}, {}},
         0,
         1.5f,
         {{1, 1}, {2, 0.5}}},
        // Beale's cycling program: the lowest-row choice among ratio ties comes
        // back to the starting basis. The optimum 5/4 is at x1 = x3 = 1.
        {"ratio ties do not cycle",
         {{0.75, -20, 0.5, -6},
          {{{0.25, -8, -1, 9}, 0}, {{0.5, -12, -0.5, 3}, 0}, {{0, 0, 1, 0}, 1}},
          {},
          {}},
         0,
         1.25f,
         {{1, 1}, {2, 0}, {3, 1}, {4, 0}}},
        {"infeasible rows", {{1, 0}, {{{1, 1}, 2}}, {{{1, 1}, 5}}, {}}, -1, -100.0f, {}},
        {"an infeasible equality",
         {{1, 1}, {{{1, 0}, 1}, {{0, 1}, 1}}, {}, {{{1, 1}, 3}}},
         -1,
         -100.0f,
         {}},
        {"unbounded", {{1, 1}, {{{1, -1}, 1}}, {}, {}}, 1, -99.0f, {}},
        {"unbounded after phase one", {{1, 0}, {{{0, 1}, 2}}, {{{1, 0}, 1}}, {}}, 1, -99.0f, {}},
    };
    for (const Case& c : cases) {
        const Outcome out = Solve(c.p);
        EXPECT_EQ(out.status, c.status) << c.why;
        EXPECT_NEAR(out.value, c.value, 1e-5f) << c.why;
        for (const auto& [variable, value] : c.x)
            EXPECT_NEAR(out.x[std::size_t(variable)], value, 1e-5) << c.why << ", x" << variable;
    }
    EXPECT_TRUE(platform.messages.empty());
}

// ---------------------------------------------------------------------------
// Tableaux of the L1 fits, built the way the fitters build them.

// A[t][c], taus by channels, both from 0 here.
using Design = std::vector<std::vector<double>>;

// Amplitudes x+ in columns 2..n+1, for free signs x- in the next n, then the
// residual bounds; 2m rows, m at-most then m at-least.
FloatMatrix L1Tableau(const Design& A, const std::vector<double>& rhs, bool signedAmplitudes) {
    const int n = int(A.size());
    const int m = int(rhs.size());
    const int nx = signedAmplitudes ? 2 * n : n;
    FloatMatrix a(1, 2 * m + 2, 1, nx + m + 1);
    for (int k = 2; k <= nx + 1; ++k) a[1][k] = -1.0f;
    for (int k = nx + 2; k <= nx + m + 1; ++k) a[1][k] = -10.0f;
    for (int c = 1; c <= m; ++c) {
        const int i = c + 1;
        for (int row : {i, i + m}) {
            a[row][1] = float(rhs[c - 1]);
            for (int t = 1; t <= n; ++t) {
                a[row][t + 1] = -float(A[t - 1][c - 1]);
                if (signedAmplitudes) a[row][n + t + 1] = float(A[t - 1][c - 1]);
            }
        }
        a[i][nx + 1 + c] = 1.0f;
        a[i + m][nx + 1 + c] = -1.0f;
    }
    return a;
}

// What the fits minimise, evaluated in double on the float-rounded data the
// tableau saw.
double L1Misfit(const Design& A, const std::vector<double>& rhs, const std::vector<double>& x) {
    double sum = 0.0;
    for (double v : x) sum += std::fabs(v);
    for (std::size_t c = 0; c < rhs.size(); ++c) {
        double fit = 0.0;
        for (std::size_t t = 0; t < x.size(); ++t) fit += A[t][c] * x[t];
        sum += 10.0 * std::fabs(rhs[c] - fit);
    }
    return sum;
}

// Brute force: the minimum of cost . z over G z <= h (nonnegativity included
// as rows of G), found by visiting every vertex, i.e. every choice of N rows
// whose equalities fix a single point. Double precision throughout.
struct Polyhedron {
    std::vector<std::vector<double>> G;
    std::vector<double> h;
};

bool SolveSquare(const std::vector<std::vector<double>>& rows, const std::vector<double>& b,
                 std::vector<double>& z) {
    const Eigen::Index N = Eigen::Index(b.size());
    Eigen::MatrixXd M(N, N);
    for (Eigen::Index r = 0; r < N; ++r)
        for (Eigen::Index k = 0; k < N; ++k) M(r, k) = rows[std::size_t(r)][std::size_t(k)];
    Eigen::FullPivLU<Eigen::MatrixXd> lu(M);
    lu.setThreshold(1e-10);
    if (!lu.isInvertible()) return false;
    const Eigen::VectorXd x = lu.solve(Eigen::Map<const Eigen::VectorXd>(b.data(), N));
    z.assign(x.begin(), x.end());
    return true;
}

double MinimumOverVertices(const Polyhedron& P, const std::vector<double>& cost) {
    const std::size_t N = cost.size();
    const std::size_t R = P.h.size();
    double best = std::numeric_limits<double>::infinity();
    std::vector<std::size_t> pick(N);
    for (std::size_t k = 0; k < N; ++k) pick[k] = k;
    std::vector<std::vector<double>> M(N);
    std::vector<double> b(N);
    std::vector<double> z;
    for (;;) {
        for (std::size_t k = 0; k < N; ++k) {
            M[k] = P.G[pick[k]];
            b[k] = P.h[pick[k]];
        }
        if (SolveSquare(M, b, z)) {
            bool feasible = true;
            for (std::size_t r = 0; r < R && feasible; ++r) {
                double s = 0.0;
                for (std::size_t k = 0; k < N; ++k) s += P.G[r][k] * z[k];
                feasible = s <= P.h[r] + 1e-9 * (1.0 + std::fabs(P.h[r]));
            }
            if (feasible) {
                double value = 0.0;
                for (std::size_t k = 0; k < N; ++k) value += cost[k] * z[k];
                best = std::min(best, value);
            }
        }
        // Next N-subset of the R rows in lexicographic order.
        std::size_t k = N;
        while (k > 0 && pick[k - 1] == R - N + (k - 1)) --k;
        if (k == 0) break;
        ++pick[k - 1];
        for (std::size_t j = k; j < N; ++j) pick[j] = pick[j - 1] + 1;
    }
    return best;
}

// The LP of the tableau in inequality form, variables (x+, x-, r) or (x, r):
// A x - r <= rhs and -(A x + r) <= -rhs per channel, then z >= 0.
double BruteForceL1(const Design& A, const std::vector<double>& rhs, bool signedAmplitudes) {
    const std::size_t n = A.size();
    const std::size_t m = rhs.size();
    const std::size_t nx = signedAmplitudes ? 2 * n : n;
    const std::size_t N = nx + m;
    Polyhedron P;
    for (int sense : {1, -1}) {
        for (std::size_t c = 0; c < m; ++c) {
            std::vector<double> g(N, 0.0);
            for (std::size_t t = 0; t < n; ++t) {
                g[t] = sense * A[t][c];
                if (signedAmplitudes) g[n + t] = -sense * A[t][c];
            }
            g[nx + c] = -1.0;
            P.G.push_back(g);
            P.h.push_back(sense * rhs[c]);
        }
    }
    for (std::size_t k = 0; k < N; ++k) {
        std::vector<double> g(N, 0.0);
        g[k] = -1.0;
        P.G.push_back(g);
        P.h.push_back(0.0);
    }
    std::vector<double> cost(N, 1.0);
    for (std::size_t c = 0; c < m; ++c) cost[nx + c] = 10.0;
    return MinimumOverVertices(P, cost);
}

// Portable draws, so that every machine meets the same cases.
double Draw(std::mt19937& rng, double lo, double hi) {
    return lo + (hi - lo) * (double(rng()) / 4294967296.0);
}

enum class Family { Uniform, Decays, CoarseGrid };

// Data rounded to float first: the brute force must see what the tableau saw.
// Every channel is at or above 0, as the fits hand them in; the coarse grid puts
// exact zeros and ties in, which is where degenerate vertices come from.
void MakeCase(std::mt19937& rng, Family family, int n, int m, Design& A, std::vector<double>& rhs) {
    A.assign(std::size_t(n), std::vector<double>(std::size_t(m), 0.0));
    rhs.assign(std::size_t(m), 0.0);
    auto grid = [&](double lo, double hi) { return std::round(Draw(rng, lo, hi) * 2.0) / 2.0; };
    if (family == Family::Decays) {
        // Exponential decays over log-spaced windows, like a tau basis: nearly
        // collinear columns and data mixed from them plus noise.
        std::vector<double> taus(std::size_t(n), 0.0);
        for (auto& tau : taus) tau = std::exp(Draw(rng, std::log(0.05), std::log(2.0)));
        std::vector<double> amp(std::size_t(n), 0.0);
        for (auto& v : amp) v = Draw(rng, -1.0, 1.0);
        for (int c = 0; c < m; ++c) {
            const double time = 0.05 * std::pow(2.0, c);
            for (int t = 0; t < n; ++t) A[t][c] = std::exp(-time / taus[t]);
            for (int t = 0; t < n; ++t) rhs[c] += amp[t] * A[t][c];
            rhs[c] += Draw(rng, -0.05, 0.05);
            rhs[c] = std::fabs(rhs[c]);
        }
    } else {
        for (int c = 0; c < m; ++c) {
            for (int t = 0; t < n; ++t)
                A[t][c] = family == Family::CoarseGrid ? grid(-1, 1) : Draw(rng, -1, 1);
            rhs[c] = family == Family::CoarseGrid ? grid(0, 2) : Draw(rng, 0, 2);
        }
    }
    for (auto& row : A)
        for (auto& v : row) v = double(float(v));
    for (auto& v : rhs) v = double(float(v));
}

// The optimum of the float simplex against the exact one: the tableau is
// worked in single precision through some tens of exchanges with entries of
// order 10, so agreement to 2e-5 of the larger of the optimum and 1 is what
// float rounding allows; a wrong pivot or a lost exchange is off by far more.
constexpr double kRelativeTolerance = 2e-5;

double Allowance(double optimum) {
    return kRelativeTolerance * std::max(1.0, std::fabs(optimum));
}

struct Size {
    int taus;
    int channels;
};

// The amplitudes the fits read off the basis: x+ - x- for free signs.
std::vector<double> Amplitudes(const Outcome& out, int n, bool signedAmplitudes) {
    std::vector<double> x(std::size_t(n), 0.0);
    for (int t = 1; t <= n; ++t) {
        x[std::size_t(t - 1)] = out.x[std::size_t(t)];
        if (signedAmplitudes) x[std::size_t(t - 1)] -= out.x[std::size_t(n + t)];
    }
    return x;
}

Outcome SolveL1(const Design& A, const std::vector<double>& rhs, bool signedAmplitudes) {
    const int n = int(A.size());
    const int m = int(rhs.size());
    FloatMatrix a = L1Tableau(A, rhs, signedAmplitudes);
    return RunSimplx(a, 2 * m, (signedAmplitudes ? 2 * n : n) + m, m, m, 0);
}

// Every family at every size, five draws each, against brute force.
void CheckAgainstBruteForce(bool signedAmplitudes, const std::vector<Size>& sizes, unsigned seed,
                            int expectedCases) {
    xRecordingPlatform platform;
    std::mt19937 rng(seed);
    int cases = 0;
    for (Family family : {Family::Uniform, Family::Decays, Family::CoarseGrid}) {
        for (Size size : sizes) {
            for (int rep = 0; rep < 5; ++rep, ++cases) {
                Design A;
                std::vector<double> rhs;
                const int n = size.taus;
                const int m = size.channels;
                MakeCase(rng, family, n, m, A, rhs);
                SCOPED_TRACE(testing::Message() << "case " << cases << " family " << int(family)
                                                << " size " << n << "x" << m);
                const Outcome out = SolveL1(A, rhs, signedAmplitudes);
                const double best = BruteForceL1(A, rhs, signedAmplitudes);
                ASSERT_EQ(out.status, 0);
                EXPECT_NEAR(-out.value, best, Allowance(best));

                // The amplitudes as the fit reads them must carry that misfit too,
                // and never come out negative in the positive fit.
                const std::vector<double> x = Amplitudes(out, n, signedAmplitudes);
                EXPECT_NEAR(L1Misfit(A, rhs, x), best, Allowance(best));
                if (!signedAmplitudes) {
                    for (double v : x) EXPECT_GE(v, 0.0);
                }
            }
        }
    }
    EXPECT_EQ(cases, expectedCases);
    EXPECT_TRUE(platform.messages.empty());
}

TEST(SimplxL1, FreeSignedFitsReachTheBruteForceOptimum) {
    CheckAgainstBruteForce(true, {{2, 3}, {3, 3}, {2, 4}, {3, 4}}, 20240611u, 60);
}

TEST(SimplxL1, PositiveFitsReachTheBruteForceOptimum) {
    CheckAgainstBruteForce(false, {{2, 3}, {3, 4}}, 977u, 30);
}

TEST(SimplxL1, AllRightHandSidesZero) {
    xRecordingPlatform platform;
    // Nothing to fit: the optimum is 0 with every amplitude and residual bound
    // at 0, however phase one shuffles the degenerate basis.
    const Design A{{0.9, 0.5, 0.2}, {0.4, 0.7, 0.8}};
    const std::vector<double> rhs{0.0, 0.0, 0.0};
    const Outcome out = SolveL1(A, rhs, true);
    EXPECT_EQ(out.status, 0);
    EXPECT_EQ(out.value, 0.0f);
    for (int v = 1; v <= 7; ++v) EXPECT_EQ(out.x[std::size_t(v)], 0.0) << "variable " << v;
}

// ---------------------------------------------------------------------------
// Messages.

TEST(SimplxMessages, BadCountsAreReportedAndTheSolveGoesOn) {
    xRecordingPlatform platform;
    // Two at-most rows declared with one at-least too many. No row is left to
    // be at-least, so the answer is that of the at-most program:
    // maximise x1 + x2 with x1 <= 1, x2 <= 2, value 3.
    const Program p{{1, 1}, {{{1, 0}, 1}, {{0, 1}, 2}}, {}, {}};
    FloatMatrix a = TableauOf(p);
    const Outcome out = RunSimplx(a, 2, 2, 2, 1, 0);
    EXPECT_EQ(platform.Texts("error"),
              std::vector<std::string>{"Bad input constraint counts in simplx"});
    EXPECT_EQ(out.status, 0);
    EXPECT_NEAR(out.value, 3.0f, 1e-6f);
}

TEST(SimplxMessages, NegativeRightHandSideOnlyReportedWhenVerbose) {
    // Two rows with negative right-hand sides, as the L1 fits hand in, and one
    // at zero, which is not below 0 and so not worth a box.
    const Program p{{1, 1}, {{{1, -1}, -1}, {{-1, -1}, -0.5}, {{0, 1}, 0}, {{1, 1}, 3}}, {}, {}};
    const auto solve = [&p](bool verbose, const std::vector<std::string>& errors) {
        xRecordingPlatform platform;
        FloatMatrix a = TableauOf(p);
        const Outcome out = RunSimplx(a, 4, 2, 4, 0, 0, 1e-6f, verbose);
        // One box per offending row, and nothing else.
        EXPECT_EQ(platform.Texts("error"), errors);
        EXPECT_EQ(platform.messages.size(), errors.size());
        return out;
    };
    const Outcome quiet = solve(false, {});
    const Outcome loud = solve(true, std::vector<std::string>(2, "Bad input tableau in simplx"));
    // Verbose changes what is said, not what is computed.
    EXPECT_EQ(loud.status, quiet.status);
    EXPECT_EQ(loud.value, quiet.value);
    EXPECT_EQ(loud.basic, quiet.basic);
}

}  // namespace

#include "simplx.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "xPlatform.h"

namespace {

constexpr float kUnboundedAnswer = -99.0f;
constexpr float kInfeasibleAnswer = -100.0f;

// A degenerate tableau can keep phase one pivoting without progress; loosening
// the tolerance every so many passes lets the small entries that feed the cycle
// drop out of the choice until the phase ends one way or the other.
constexpr int kPassesPerEpsGrowth = 100;
constexpr float kEpsGrowth = 5.0f;

// The entering choice over one row: the variable whose column won and the
// entry it won with. Column 0 means no column was left to choose from.
struct Choice {
    int column = 0;
    float entry = 0.0f;
};

// Largest entry of the row among the columns, the first of equal ones.
Choice LargestEntry(const FloatArray& row, const std::vector<int>& columns) {
    Choice best;
    for (int k : columns) {
        const float entry = row[k + 1];
        if (best.column == 0 || entry > best.entry) best = {k, entry};
    }
    return best;
}

// Entry of largest magnitude, kept with its sign: the caller wants to know
// whether it can pivot on it.
Choice LargestMagnitude(const FloatArray& row, const std::vector<int>& columns) {
    Choice best;
    for (int k : columns) {
        const float entry = row[k + 1];
        if (best.column == 0 || std::fabs(entry) > std::fabs(best.entry)) best = {k, entry};
    }
    return best;
}

class SimplexRun {
  public:
    SimplexRun(FloatMatrix& a, int m, int n, int m1, int m2, float eps, bool verbose,
               LongArray& izrov, LongArray& iposv);

    // False when the constraints admit no point.
    bool PhaseOne();
    // The status: 0 at the optimum, 1 when the objective has no bound.
    int PhaseTwo();

  private:
    int LastConstraintRow() const { return m_ + 1; }
    int WorkRow() const { return m_ + 2; }

    void BuildWorkRow();
    int PivotRow(int kp) const;
    bool CandidateWinsTie(int best, int candidate, int kp) const;
    void Exchange(int ip, int kp, int lastRow);
    void SwapBasis(int ip, int kp);
    int ZeroArtificialRow(int& kp) const;
    void RetireArtificial(int ip, int kp);
    void TurnColumnToSurplus(int kp);
    void FlipUnreachedAtLeastRows();

    FloatMatrix& a_;
    const int m_;
    const int n_;
    const int m1_;
    const int m2_;
    float eps_;
    LongArray& izrov_;
    LongArray& iposv_;
    std::vector<int> l1_;   // variables outside the basis that may still enter
    std::vector<int> l2_;   // constraint rows open to the ratio test; none ever leaves
    std::vector<char> l3_;  // at-least rows (1..m2) whose artificial is still in the basis
};

SimplexRun::SimplexRun(FloatMatrix& a, int m, int n, int m1, int m2, float eps, bool verbose,
                       LongArray& izrov, LongArray& iposv)
    : a_(a),
      m_(m),
      n_(n),
      m1_(m1),
      m2_(m2),
      eps_(eps),
      izrov_(izrov),
      iposv_(iposv),
      l3_(std::size_t(std::max(m, 0)) + 1, 0) {
    if (n >= 1 && (izrov.Low() != 1 || izrov.High() != n)) izrov.Resize(1, n);
    if (m >= 1 && (iposv.Low() != 1 || iposv.High() != m)) iposv.Resize(1, m);

    for (int k = 1; k <= n; ++k) {
        l1_.push_back(k);
        izrov_[k] = k;
    }
    for (int i = 1; i <= m; ++i) {
        // The L1 fits put signed data here, so a negative right-hand side is
        // only worth a word when someone is watching.
        if (a_[i + 1][1] < 0.0f && verbose) Platform().Error("Bad input tableau in simplx");
        l2_.push_back(i);
        iposv_[i] = n + i;
    }
    // Counts that do not add up to m were reported already; clamping keeps the
    // run inside the tableau.
    for (int i = 1; i <= std::min(m2, m); ++i) l3_[std::size_t(i)] = 1;
}

// Minus the sum of the at-least and equality rows: it measures how far the
// artificials are from zero and drives phase one.
void SimplexRun::BuildWorkRow() {
    FloatArray& work = a_[WorkRow()];
    for (int k = 1; k <= n_ + 1; ++k) {
        float sum = 0.0f;
        for (int i = std::max(m1_ + 1, 1); i <= m_; ++i) sum += a_[i + 1][k];
        work[k] = -sum;
    }
}

// The row that bounds the entering column first. Exact ties, which come with
// degenerate vertices, are broken by the rows' ratios in the other columns
// taken in order; choosing the lowest row instead can send the exchanges round
// in a circle for ever.
int SimplexRun::PivotRow(int kp) const {
    if (kp == 0) return 0;
    int best = 0;
    float bestRatio = 0.0f;
    for (int i : l2_) {
        const float entry = a_[i + 1][kp + 1];
        if (!(entry < -eps_)) continue;
        const float ratio = -a_[i + 1][1] / entry;
        if (best == 0 || ratio < bestRatio ||
            (ratio == bestRatio && CandidateWinsTie(best, i, kp))) {
            best = i;
            bestRatio = ratio;
        }
    }
    return best;
}

bool SimplexRun::CandidateWinsTie(int best, int candidate, int kp) const {
    const FloatArray& bestRow = a_[best + 1];
    const FloatArray& candidateRow = a_[candidate + 1];
    for (int k = 1; k <= n_; ++k) {
        const float q0 = -bestRow[k + 1] / bestRow[kp + 1];
        const float q1 = -candidateRow[k + 1] / candidateRow[kp + 1];
        if (q0 != q1) return q1 < q0;
    }
    return false;
}

// Exchanges basic variable ip with non-basic kp over rows 1..lastRow; the
// work row only takes part while phase one needs it.
void SimplexRun::Exchange(int ip, int kp, int lastRow) {
    const int pivotRow = ip + 1;
    const int pivotColumn = kp + 1;
    FloatArray& pr = a_[pivotRow];
    const float p = 1.0f / pr[pivotColumn];
    for (int i = 1; i <= lastRow; ++i) {
        if (i == pivotRow) continue;
        FloatArray& row = a_[i];
        row[pivotColumn] *= p;
        const float factor = row[pivotColumn];
        for (int k = 1; k <= n_ + 1; ++k)
            if (k != pivotColumn) row[k] -= pr[k] * factor;
    }
    for (int k = 1; k <= n_ + 1; ++k)
        if (k != pivotColumn) pr[k] *= -p;
    pr[pivotColumn] = p;
}

void SimplexRun::SwapBasis(int ip, int kp) {
    const std::int32_t leaving = iposv_[ip];
    iposv_[ip] = izrov_[kp];
    izrov_[kp] = leaving;
}

// An equality artificial may sit in the basis at level zero when phase one
// has nothing left to gain. It must still be driven out, or phase two could
// lift it again. Only a positive pivot is taken. Answers the row (0 when none
// qualifies) and sets the column to pivot on.
int SimplexRun::ZeroArtificialRow(int& kp) const {
    for (int ip = std::max(m1_ + m2_ + 1, 1); ip <= m_; ++ip) {
        if (iposv_[ip] != ip + n_) continue;
        const Choice pivot = LargestMagnitude(a_[ip + 1], l1_);
        if (pivot.entry > 0.0f) {
            kp = pivot.column;
            return ip;
        }
    }
    return 0;
}

// Once an artificial has left the basis its column is of no more use as it
// stands. An equality artificial must never come back, so its column stops
// being a candidate. The column of an at-least artificial becomes that of the
// row's surplus variable, which is the artificial's column negated, with the
// work row corrected for the artificial no longer counted.
void SimplexRun::RetireArtificial(int ip, int kp) {
    const int leaving = iposv_[ip];
    if (leaving >= n_ + m1_ + m2_ + 1) {
        const auto column = std::find(l1_.begin(), l1_.end(), kp);
        if (column != l1_.end()) l1_.erase(column);
        TurnColumnToSurplus(kp);
    } else if (leaving >= n_ + m1_ + 1) {
        const int kh = leaving - m1_ - n_;
        if (kh >= 1 && kh <= m_ && l3_[std::size_t(kh)]) {
            l3_[std::size_t(kh)] = 0;
            TurnColumnToSurplus(kp);
        }
    }
}

void SimplexRun::TurnColumnToSurplus(int kp) {
    a_[WorkRow()][kp + 1] += 1.0f;
    for (int i = 1; i <= WorkRow(); ++i) a_[i][kp + 1] = -a_[i][kp + 1];
}

// At-least rows whose artificial never left were read with their artificial
// as the basic variable; in its place the surplus is basic, whose row is the
// negative.
void SimplexRun::FlipUnreachedAtLeastRows() {
    for (int i = std::max(m1_ + 1, 1); i <= std::min(m1_ + m2_, m_); ++i) {
        if (!l3_[std::size_t(i - m1_)]) continue;
        FloatArray& row = a_[i + 1];
        for (int k = 1; k <= n_ + 1; ++k) row[k] = -row[k];
    }
}

bool SimplexRun::PhaseOne() {
    BuildWorkRow();
    const FloatArray& work = a_[WorkRow()];
    int passesToGrowth = kPassesPerEpsGrowth;
    for (;;) {
        if (--passesToGrowth == 0) {
            eps_ *= kEpsGrowth;
            passesToGrowth = kPassesPerEpsGrowth;
        }
        const Choice entering = LargestEntry(work, l1_);
        const bool nothingToGain = entering.entry <= eps_;
        if (nothingToGain && work[1] < -eps_) return false;

        int ip = 0;
        int kp = entering.column;
        if (nothingToGain && work[1] <= eps_) {
            ip = ZeroArtificialRow(kp);
            if (ip == 0) {
                FlipUnreachedAtLeastRows();
                return true;
            }
        } else {
            ip = PivotRow(kp);
            if (ip == 0) return false;
        }
        Exchange(ip, kp, WorkRow());
        RetireArtificial(ip, kp);
        SwapBasis(ip, kp);
    }
}

int SimplexRun::PhaseTwo() {
    for (;;) {
        const Choice entering = LargestEntry(a_[1], l1_);
        if (entering.entry <= 0.0f) return 0;
        const int ip = PivotRow(entering.column);
        if (ip == 0) return 1;
        Exchange(ip, entering.column, LastConstraintRow());
        SwapBasis(ip, entering.column);
    }
}

}  // namespace

float simplx(FloatMatrix& a, int m, int n, int m1, int m2, int m3, int& status, LongArray& izrov,
             LongArray& iposv, float eps, bool verbose) {
    if (m != m1 + m2 + m3) Platform().Error("Bad input constraint counts in simplx");
    SimplexRun run(a, m, n, m1, m2, eps, verbose, izrov, iposv);

    if (m2 + m3 != 0 && !run.PhaseOne()) {
        status = -1;
        return kInfeasibleAnswer;
    }
    status = run.PhaseTwo();
    return status == 0 ? a[1][1] : kUnboundedAnswer;
}

#include "xBackground.h"

#include <cmath>

#include "xMAmp.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xRecordLayout.h"

namespace {

// Amplitude files before this version have no background half.
constexpr std::int32_t FirstVersionWithBackground = 9;
// Records between two looks at the progress and the stop button.
constexpr long TickRecords = 100;

}  // namespace

// The sums of the normal equations of one order: a[j] = sum of x^j for j up to
// 2n (a[0] the count) in doubles; b[k] = sum of y x^k, whose terms are formed
// in single precision and rounded to single at every addition, as the amplitude
// files have always been computed.
struct xBackground::xSums {
    explicit xSums(std::int32_t order)
        : a(std::size_t(2 * std::max(order, 0) + 1), 0.0),
          b(std::size_t(std::max(order, 0) + 1), 0.0f) {}

    void Add(double x, float y) {
        double power = 1.0;
        for (std::size_t k = 0; k < a.size(); ++k) {
            a[k] += power;
            if (k < b.size()) b[k] = float(b[k] + y * float(power));
            power *= x;
        }
    }
    long Count() const { return long(a[0]); }

    std::vector<double> a;
    std::vector<float> b;
};

xBackground::xBackground(std::int32_t lowOrder, std::int32_t highOrder, xProgressSink* owner)
    : xProcessState(owner), lowOrder_(lowOrder), highOrder_(highOrder) {}

std::string xBackground::ErrorText(std::int32_t code) {
    switch (code) {
        case NoError:
            return "No errors detected.";
        case InvalidOrder:
            return "Invalid polynomial order.";
        case PoorlyConditioned:
            return "Matrix poorly conditioned.";
        case InvalidLength:
            return "Invalid data array length.";
        case NoComponent:
            return "Data set does not contain required TR orientation.";
        case NoBackground:
            return "This data file does not store background.";
        case NoAmplitudes:
            return "This data file does not contain fitting amplitudes.";
        case Terminated:
            return "Terminated by the User.";
        default:
            return "Undefined error in background calculation.";
    }
}

bool xBackground::Calculate(xMLine& line, long component, xPlatform& messages) {
    code_ = NoError;
    const auto* amp = dynamic_cast<const xMAmp*>(line.File());
    if (!amp)
        code_ = NoAmplitudes;
    else if (amp->AmplitudeOffset(component) == 0)
        code_ = NoComponent;
    else if (amp->Version() < FirstVersionWithBackground)
        code_ = NoBackground;
    const long taus = amp ? amp->TauCount() : 0;
    const long first = code_ == NoError ? amp->AmplitudeOffset(component) : 0;
    for (long i = 0; code_ == NoError && i < taus; ++i)
        CalculateTau(line, first + i, first + taus + i);
    if (code_ != NoError && code_ != Terminated) messages.Warning(ErrorText(code_));
    return code_ == NoError;
}

void xBackground::CalculateTau(xMLine& line, long u, long v) {
    const std::vector<float> bound = FitItem(line, u, lowOrder_);
    if (code_ != NoError) return;
    auto evaluate = [](const std::vector<float>& c, double x) {
        double sum = 0.0;
        for (std::size_t k = c.size(); k-- > 0;) sum = sum * x + c[k];
        return float(sum);
    };
    const long rows = line.Rows();
    for (long r = 0; r < rows; ++r) {
        FloatArray& row = line.RowForWriting(r);
        const float p = evaluate(bound, row[xRecordLayout::Distance] * 0.001);
        const float above = row[u] - p;
        row[v] = above < 0.0f ? p + above : p;
    }
    const std::vector<float> trend = FitItem(line, v, highOrder_);
    if (code_ != NoError) return;
    for (long r = 0; r < rows; ++r) {
        FloatArray& row = line.RowForWriting(r);
        row[v] = evaluate(trend, row[xRecordLayout::Distance] * 0.001);
    }
}

std::vector<float> xBackground::FitItem(xMLine& line, long item, std::int32_t order) {
    xSums sums(order);
    for (long r = 0; r < line.Rows() && code_ == NoError; ++r) {
        const FloatArray& row = line.Row(r);
        sums.Add(row[xRecordLayout::Distance] * 0.001, row[item]);
        Tick(r);
    }
    return Solve(sums, order);
}

std::vector<float> xBackground::FitPolynomial(const std::vector<double>& x,
                                              const std::vector<float>& y, std::int32_t order) {
    code_ = NoError;
    xSums sums(order);
    for (std::size_t r = 0; r < x.size() && r < y.size() && code_ == NoError; ++r) {
        sums.Add(x[r], y[r]);
        Tick(long(r));
    }
    return Solve(sums, order);
}

void xBackground::Tick(long record) {
    if ((record + 1) % TickRecords != 0) return;
    Advance(TickRecords);
    if (IsSet(Stop)) code_ = Terminated;
}

std::vector<float> xBackground::Solve(const xSums& sums, std::int32_t order) {
    if (code_ != NoError) return {};
    const long count = sums.Count();
    if (order < 1 || count < order)
        code_ = InvalidOrder;
    else if (count < 1)
        code_ = InvalidLength;
    if (code_ != NoError) return {};
    // Plain Gaussian elimination without pivoting on M[i][j] = a[i + j].
    const auto n = std::size_t(order) + 1;
    std::vector<std::vector<double>> m(n, std::vector<double>(n));
    std::vector<double> b(sums.b.begin(), sums.b.end());
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j) m[i][j] = sums.a[i + j];
    for (std::size_t k = 0; k < n; ++k) {
        const double pivot = m[k][k];
        if (std::fabs(pivot) < 1e-10) {
            code_ = PoorlyConditioned;
            return {};
        }
        for (std::size_t j = k; j < n; ++j) m[k][j] /= pivot;
        b[k] /= pivot;
        for (std::size_t r = k + 1; r < n; ++r) {
            const double factor = m[r][k];
            for (std::size_t j = k; j < n; ++j) m[r][j] -= factor * m[k][j];
            b[r] -= factor * b[k];
        }
    }
    std::vector<float> c(n);
    for (std::size_t k = n; k-- > 0;) {
        double sum = b[k];
        for (std::size_t j = k + 1; j < n; ++j) sum -= m[k][j] * c[j];
        c[k] = float(sum);
    }
    return c;
}

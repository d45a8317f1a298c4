#include "xDoubleSVD.h"

#include <Eigen/Dense>
#include <algorithm>
#include <limits>

#include "xPlatform.h"

struct xDoubleSVD::Impl {
    Eigen::MatrixXd a;
    long colLow = 0;
    bool assigned = false;
    bool decomposed = false;
    bool toleranceSet = false;
    double tolerance = 0.0;
    // Jacobi rather than divide and conquer: the designs are a few tens wide and
    // Jacobi gives the small singular values to high relative accuracy, which is
    // what the tolerance cut looks at.
    Eigen::JacobiSVD<Eigen::MatrixXd> svd;

    double DefaultTolerance() const {
        if (!decomposed || svd.singularValues().size() == 0) return 0.0;
        return double(std::max(a.rows(), a.cols())) * std::numeric_limits<double>::epsilon() *
               svd.singularValues()(0);
    }
};

const char* xDoubleSVD::StatusText(int status) {
    switch (status) {
        case Ok:
            return "no error";
        case NotAssigned:
            return "no matrix assigned";
        case NotDecomposed:
            return "matrix not decomposed";
        case DimensionMismatch:
            return "right-hand side does not match the matrix";
        case NotFinite:
            return "value not finite";
        default:
            return "unknown status";
    }
}

xDoubleSVD::xDoubleSVD() : impl_(std::make_unique<Impl>()) {}

xDoubleSVD::xDoubleSVD(const xDoubleSVD& other) : impl_(std::make_unique<Impl>(*other.impl_)) {}

xDoubleSVD& xDoubleSVD::operator=(const xDoubleSVD& other) {
    if (this != &other) *impl_ = *other.impl_;
    return *this;
}

xDoubleSVD::~xDoubleSVD() = default;

void xDoubleSVD::Assign(const DoubleMatrix& a) {
    Impl& d = *impl_;
    d.colLow = a.ColLow();
    d.a.resize(a.Rows(), a.Cols());
    for (long r = 0; r < a.Rows(); ++r)
        for (long c = 0; c < a.Cols(); ++c) d.a(r, c) = a[a.RowLow() + r][a.ColLow() + c];
    d.assigned = true;
    d.decomposed = false;
}

int xDoubleSVD::Decompose() {
    Impl& d = *impl_;
    d.decomposed = false;
    if (!d.assigned || d.a.size() == 0) return NotAssigned;
    // Checked here rather than left to the routine: non-finite input is bad data,
    // which the fitter answers with a zero solution.
    if (!d.a.allFinite()) return NotFinite;
    d.svd.compute(d.a, Eigen::ComputeThinU | Eigen::ComputeThinV);
    if (d.svd.info() != Eigen::Success)
        Platform().Fatal("xDoubleSVD: singular value decomposition failed");
    d.decomposed = true;
    return Ok;
}

int xDoubleSVD::SingularValues(DoubleArray& values) const {
    const Impl& d = *impl_;
    if (!d.decomposed) return NotDecomposed;
    const Eigen::VectorXd& s = d.svd.singularValues();
    values.Resize(d.colLow, d.colLow + s.size() - 1);
    for (Eigen::Index i = 0; i < s.size(); ++i) values[d.colLow + i] = s(i);
    return Ok;
}

void xDoubleSVD::SetTolerance(double tolerance) {
    impl_->tolerance = tolerance;
    impl_->toleranceSet = true;
}

double xDoubleSVD::Tolerance() const {
    return impl_->toleranceSet ? impl_->tolerance : impl_->DefaultTolerance();
}

int xDoubleSVD::BackSubstitute(const DoubleMatrix& rhs, DoubleArray& x) const {
    const Impl& d = *impl_;
    if (!d.decomposed) return NotDecomposed;
    if (rhs.Cols() != 1 || rhs.Rows() != d.a.rows()) return DimensionMismatch;
    Eigen::VectorXd b(rhs.Rows());
    for (long r = 0; r < rhs.Rows(); ++r) b(r) = rhs[rhs.RowLow() + r][rhs.ColLow()];
    if (!b.allFinite()) return NotFinite;

    // x = V diag(1/s) U^T b over the values that survive the cut; the dropped
    // directions contribute nothing, which is what makes x the shortest.
    const double tolerance = Tolerance();
    const Eigen::VectorXd& s = d.svd.singularValues();
    Eigen::VectorXd c = d.svd.matrixU().transpose() * b;
    for (Eigen::Index i = 0; i < s.size(); ++i)
        c(i) = (s(i) > 0.0 && s(i) >= tolerance) ? c(i) / s(i) : 0.0;
    Eigen::VectorXd solution = d.svd.matrixV() * c;

    x.Resize(d.colLow, d.colLow + solution.size() - 1);
    for (Eigen::Index j = 0; j < solution.size(); ++j) x[d.colLow + j] = solution(j);
    return Ok;
}

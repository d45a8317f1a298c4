#include "xMatrix.h"

#include <algorithm>
#include <iomanip>
#include <istream>
#include <new>
#include <ostream>

#include "BinaryStream.h"
#include "Extreme.h"
#include "xPlatform.h"

template <class T>
xMatrix<T>::xMatrix(long nRows, long nCols) {
    Resize(0, nRows - 1, 0, nCols - 1);
}

template <class T>
xMatrix<T>::xMatrix(long rowLow, long rowHigh, long colLow, long colHigh) {
    Resize(rowLow, rowHigh, colLow, colHigh);
}

template <class T>
xMatrix<T>::xMatrix(const xMatrix& other)
    : nCols_(other.nCols_),
      nRows_(other.nRows_),
      rowLow_(other.rowLow_),
      rowHigh_(other.rowHigh_),
      colLow_(other.colLow_),
      colHigh_(other.colHigh_),
      block_(other.block_) {
    BuildRowViews();
}

template <class T>
xMatrix<T>& xMatrix<T>::operator=(const xMatrix& other) {
    if (this == &other) return *this;
    nCols_ = other.nCols_;
    nRows_ = other.nRows_;
    rowLow_ = other.rowLow_;
    rowHigh_ = other.rowHigh_;
    colLow_ = other.colLow_;
    colHigh_ = other.colHigh_;
    block_ = other.block_;
    BuildRowViews();
    return *this;
}

template <class T>
void xMatrix<T>::Resize(long rowLow, long rowHigh, long colLow, long colHigh) {
    long nRows = std::max(0L, rowHigh - rowLow + 1);
    long nCols = std::max(0L, colHigh - colLow + 1);
    bool keepBlock = nRows == nRows_ && nCols == nCols_ && colLow == colLow_ && !rows_.empty();
    rowLow_ = rowLow;
    rowHigh_ = rowLow + nRows - 1;
    if (keepBlock) return;
    nRows_ = nRows;
    nCols_ = nCols;
    colLow_ = colLow;
    colHigh_ = colLow + nCols - 1;
    try {
        block_.assign(std::size_t(nRows * nCols), T(0));
    } catch (const std::bad_alloc&) {
        Platform().Fatal(std::string(ClassName()) + ": Out of memory!");
    }
    BuildRowViews();
}

template <class T>
void xMatrix<T>::BuildRowViews() {
    rows_.clear();
    rows_.reserve(std::size_t(nRows_));
    for (long r = 0; r < nRows_; ++r)
        rows_.emplace_back(block_.data() + r * nCols_, colLow_, colHigh_);
}

template <class T>
typename xMatrix<T>::RowArray* xMatrix<T>::RowAt(long r) {
    return r < rowLow_ || r > rowHigh_ ? nullptr : &(*this)[r];
}

template <class T>
const typename xMatrix<T>::RowArray* xMatrix<T>::RowAt(long r) const {
    return r < rowLow_ || r > rowHigh_ ? nullptr : &(*this)[r];
}

template <class T>
void xMatrix<T>::Fill(T value) {
    std::fill(block_.begin(), block_.end(), value);
}

template <class T>
void xMatrix<T>::SetColumn(long c, const RowArray& values) {
    for (long r = rowLow_; r <= rowHigh_; ++r) (*this)[r][c] = values[r];
}

template <class T>
void xMatrix<T>::SwapRows(long r1, long r2) {
    std::swap_ranges(&(*this)[r1][colLow_], &(*this)[r1][colLow_] + nCols_, &(*this)[r2][colLow_]);
}

template <class T>
void xMatrix<T>::SwapColumns(long c1, long c2) {
    for (long r = rowLow_; r <= rowHigh_; ++r) std::swap((*this)[r][c1], (*this)[r][c2]);
}

template <class T>
T xMatrix<T>::Min(const T* ignore) const {
    return extreme::Min(block_.data(), Count(), 1, ignore);
}

template <class T>
T xMatrix<T>::Max(const T* ignore) const {
    return extreme::Max(block_.data(), Count(), 1, ignore);
}

template <class T>
T xMatrix<T>::RowMin(long r, const T* ignore) const {
    return (*this)[r].Min(ignore);
}

template <class T>
T xMatrix<T>::RowMax(long r, const T* ignore) const {
    return (*this)[r].Max(ignore);
}

template <class T>
T xMatrix<T>::ColumnMin(long c, const T* ignore) const {
    return extreme::Min(block_.data() + (c - colLow_), nRows_, nCols_, ignore);
}

template <class T>
T xMatrix<T>::ColumnMax(long c, const T* ignore) const {
    return extreme::Max(block_.data() + (c - colLow_), nRows_, nCols_, ignore);
}

template <class T>
T xMatrix<T>::RowsMin(long r1, long r2, const T* ignore) const {
    return extreme::Min(&(*this)[r1][colLow_], (r2 - r1 + 1) * nCols_, 1, ignore);
}

template <class T>
T xMatrix<T>::RowsMax(long r1, long r2, const T* ignore) const {
    return extreme::Max(&(*this)[r1][colLow_], (r2 - r1 + 1) * nCols_, 1, ignore);
}

template <class T>
bool xMatrix<T>::BlockRange(long r1, long r2, long c1, long c2, T& min, T& max,
                            const T* ignore) const {
    bool seeded = false;
    for (long r = r1; r <= r2; ++r) {
        for (long c = c1; c <= c2; ++c) {
            T value = (*this)[r][c];
            if (ignore && value == *ignore) continue;
            if (!seeded) min = max = value;
            min = std::min(min, value);
            max = std::max(max, value);
            seeded = true;
        }
    }
    return seeded;
}

template <class T>
xMatrix<T>& xMatrix<T>::operator+=(const xMatrix& other) {
    std::size_t n = std::min(block_.size(), other.block_.size());
    for (std::size_t i = 0; i < n; ++i) block_[i] += other.block_[i];
    return *this;
}

template <class T>
xMatrix<T>& xMatrix<T>::operator+=(T value) {
    for (T& v : block_) v += value;
    return *this;
}

template <class T>
xMatrix<T>& xMatrix<T>::operator-=(T value) {
    for (T& v : block_) v -= value;
    return *this;
}

template <class T>
xMatrix<T>& xMatrix<T>::operator*=(T value) {
    for (T& v : block_) v *= value;
    return *this;
}

template <class T>
xMatrix<T>& xMatrix<T>::operator/=(T value) {
    for (T& v : block_) v /= value;
    return *this;
}

template <class T>
xMatrix<T> xMatrix<T>::operator*(const xMatrix& other) const {
    if (nCols_ != other.nRows_) {
        Platform().Error(xMatrixTraits<T>::multiplyError);
        return xMatrix();
    }
    xMatrix product(rowLow_, rowHigh_, other.colLow_, other.colHigh_);
    for (long i = 0; i < nRows_; ++i) {
        const T* a = block_.data() + i * nCols_;
        T* p = product.block_.data() + i * other.nCols_;
        for (long k = 0; k < nCols_; ++k) {
            const T* b = other.block_.data() + k * other.nCols_;
            for (long j = 0; j < other.nCols_; ++j) p[j] += a[k] * b[j];
        }
    }
    return product;
}

template <class T>
xMatrix<T> xMatrix<T>::operator-(const xMatrix& other) const {
    if (nCols_ != other.nCols_ || nRows_ != other.nRows_) {
        Platform().Error(std::string(ClassName()) +
                         "::operator-() matrix subtraction, dimension error");
        return xMatrix();
    }
    xMatrix difference(*this);
    for (std::size_t i = 0; i < block_.size(); ++i) difference.block_[i] -= other.block_[i];
    return difference;
}

template <class T>
T xMatrix<T>::Sum() const {
    T sum = 0;
    for (T v : block_) sum += v;
    return sum;
}

template <class T>
xMatrix<T> xMatrix<T>::Transposed() const {
    xMatrix result(colLow_, colHigh_, rowLow_, rowHigh_);
    for (long r = 0; r < nRows_; ++r)
        for (long c = 0; c < nCols_; ++c) result.block_[c * nRows_ + r] = block_[r * nCols_ + c];
    return result;
}

template <class T>
void xMatrix<T>::TransposeInPlace() {
    *this = Transposed();
}

template <class T>
void xMatrix<T>::FlipVertical() {
    for (long top = rowLow_, bottom = rowHigh_; top < bottom; ++top, --bottom)
        SwapRows(top, bottom);
}

template <class T>
int xMatrix<T>::AppendRow(const RowArray&) {
    Platform().Warning(std::string("WARNING: ") + ClassName() + "::AppendRow() not implemented!");
    return 0;
}

template <class T>
int xMatrix<T>::InsertRow(long, const RowArray&) {
    Platform().Warning(std::string("WARNING: ") + ClassName() + "::InsertRow() not implemented!");
    return 0;
}

template <class T>
int xMatrix<T>::DeleteRow(long) {
    Platform().Warning(std::string("WARNING: ") + ClassName() + "::DeleteRow() not implemented!");
    return 0;
}

template <class T>
bool xMatrix<T>::operator==(const xMatrix& other) const {
    if (this == &other) return true;
    return nRows_ == other.nRows_ && nCols_ == other.nCols_ && block_ == other.block_;
}

template <class T>
void xMatrix<T>::WriteBinary(std::ostream& out, bool withBounds) const {
    if (withBounds) {
        for (long bound : {rowLow_, rowHigh_, colLow_, colHigh_})
            binary::Write<std::int32_t>(out, std::int32_t(bound));
    }
    binary::WriteBlock(out, block_.data(), block_.size());
    out.flush();
}

template <class T>
bool xMatrix<T>::ReadBinary(std::istream& in, bool withBounds) {
    if (withBounds) {
        std::int32_t bounds[4] = {};
        for (auto& bound : bounds)
            if (!binary::Read(in, bound)) return false;
        Resize(bounds[0], bounds[1], bounds[2], bounds[3]);
    }
    return binary::ReadBlock(in, block_.data(), block_.size()) == block_.size();
}

template <class T>
bool xMatrix<T>::WriteAscii(std::ostream& out) const {
    out << rowLow_ << ' ' << rowHigh_ << ' ' << colLow_ << ' ' << colHigh_ << '\n';
    for (long r = 0; r < nRows_; ++r) {
        for (long c = 0; c < nCols_; ++c)
            out << (c ? " " : "") << std::setw(15) << block_[r * nCols_ + c];
        out << '\n';
    }
    if (out) return true;
    Platform().Error(std::string(ClassName()) + ": Error writing matrix to ASCII stream.");
    return false;
}

template <class T>
bool xMatrix<T>::ReadAscii(std::istream& in) {
    long bounds[4] = {};
    if (in >> bounds[0] >> bounds[1] >> bounds[2] >> bounds[3]) {
        Resize(bounds[0], bounds[1], bounds[2], bounds[3]);
        for (T& v : block_)
            if (!(in >> v)) break;
    }
    if (in) return true;
    Platform().Error(std::string(ClassName()) + ": Error reading matrix from ASCII stream.");
    return false;
}

template <class T>
void xMatrix<T>::Dump(std::ostream& out) const {
    const std::ios_base::fmtflags flags = out.flags();
    const std::streamsize precision = out.precision();
    out << std::fixed << std::setprecision(2);
    WriteAscii(out);
    out.flags(flags);
    out.precision(precision);
}

template class xMatrix<float>;
template class xMatrix<double>;

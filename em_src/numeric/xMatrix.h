#pragma once
// Row-major matrices with free bounds on both axes. Each row is an xArray view
// onto its stretch of the block, so m[r][c] costs no allocation and a row can be
// handed to anything that takes an array.

#include <iosfwd>
#include <new>
#include <vector>

#include "xArray.h"

// Asks for memory without the throwing path, so that exhaustion always comes
// back here as std::bad_alloc and turns into the class's fatal message.
template <class T>
struct xBlockAllocator {
    using value_type = T;
    xBlockAllocator() = default;
    template <class U>
    xBlockAllocator(const xBlockAllocator<U>&) {}
    T* allocate(std::size_t n) {
        void* p = ::operator new(n * sizeof(T), std::nothrow);
        if (!p) throw std::bad_alloc();
        return static_cast<T*>(p);
    }
    void deallocate(T* p, std::size_t) { ::operator delete(p); }
    bool operator==(const xBlockAllocator&) const = default;
};

template <class T>
struct xMatrixTraits;
template <>
struct xMatrixTraits<float> {
    static constexpr const char* name = "FloatMatrix";
    static constexpr const char* multiplyError =
        "FloatMatrix::operator*() matrix multiplication, dimension error";
};
template <>
struct xMatrixTraits<double> {
    static constexpr const char* name = "DoubleMatrix";
    static constexpr const char* multiplyError =
        "DoubleMatrix::operator*() matrix multiplication error.";
};

template <class T>
class xMatrix {
  public:
    using RowArray = xArray<T>;
    static constexpr const char* ClassName() { return xMatrixTraits<T>::name; }

    xMatrix() = default;  // no rows, no columns
    xMatrix(long nRows, long nCols);
    xMatrix(long rowLow, long rowHigh, long colLow, long colHigh);
    xMatrix(const xMatrix& other);
    xMatrix& operator=(const xMatrix& other);
    virtual ~xMatrix() = default;

    // New dimensions zero-fill a new block; the same row and column counts with
    // the same column low bound keep the block and take only the new bounds.
    void Resize(long rowLow, long rowHigh, long colLow, long colHigh);

    RowArray& operator[](long r) { return rows_[std::size_t(r - rowLow_)]; }
    const RowArray& operator[](long r) const { return rows_[std::size_t(r - rowLow_)]; }
    // Checked access: null outside row low..row high.
    RowArray* RowAt(long r);
    const RowArray* RowAt(long r) const;

    long Rows() const { return nRows_; }
    long Cols() const { return nCols_; }
    long RowLow() const { return rowLow_; }
    long RowHigh() const { return rowHigh_; }
    long ColLow() const { return colLow_; }
    long ColHigh() const { return colHigh_; }
    long Count() const { return long(block_.size()); }
    T* Data() { return block_.data(); }
    const T* Data() const { return block_.data(); }

    void Fill(T value);
    void SetColumn(long c, const RowArray& values);  // values indexed by row
    void SwapRows(long r1, long r2);
    void SwapColumns(long c1, long c2);

    // With an ignore value, blank elements are passed over.
    T Min(const T* ignore = nullptr) const;
    T Max(const T* ignore = nullptr) const;
    T RowMin(long r, const T* ignore = nullptr) const;
    T RowMax(long r, const T* ignore = nullptr) const;
    T ColumnMin(long c, const T* ignore = nullptr) const;
    T ColumnMax(long c, const T* ignore = nullptr) const;
    T RowsMin(long r1, long r2, const T* ignore = nullptr) const;
    T RowsMax(long r1, long r2, const T* ignore = nullptr) const;
    // Limits of a block; the first non-blank element seeds both. Answers false
    // (limits untouched) when every element is blank.
    bool BlockRange(long r1, long r2, long c1, long c2, T& min, T& max,
                    const T* ignore = nullptr) const;

    // Runs over the shorter of the two blocks; no dimension check.
    xMatrix& operator+=(const xMatrix& other);
    xMatrix& operator+=(T value);
    xMatrix& operator-=(T value);
    xMatrix& operator*=(T value);
    xMatrix& operator/=(T value);
    xMatrix operator*(const xMatrix& other) const;
    xMatrix operator-(const xMatrix& other) const;
    T Sum() const;

    xMatrix Transposed() const;
    void TransposeInPlace();
    void FlipVertical();

    // Never implemented: they warn and answer 0.
    int AppendRow(const RowArray& row);
    int InsertRow(long r, const RowArray& row);
    int DeleteRow(long r);

    bool operator==(const xMatrix& other) const;
    bool operator!=(const xMatrix& other) const { return !(*this == other); }

    // Raw little-endian block, preceded by the four bounds with the header flag.
    void WriteBinary(std::ostream& out, bool withBounds) const;
    bool ReadBinary(std::istream& in, bool withBounds);
    // Text: the four bounds, then a line per row in fields of 15. Failures are
    // error boxes, not fatal.
    bool WriteAscii(std::ostream& out) const;
    bool ReadAscii(std::istream& in);
    // Debug dump in fixed notation with 2 decimals; the stream's own
    // notation is left as it was.
    void Dump(std::ostream& out) const;

  protected:
    void BuildRowViews();

    long nCols_ = 0;
    long nRows_ = 0;
    long rowLow_ = 0;
    long rowHigh_ = -1;
    long colLow_ = 0;
    long colHigh_ = -1;
    std::vector<T, xBlockAllocator<T>> block_;
    std::vector<RowArray> rows_;
};

using FloatMatrix = xMatrix<float>;
using DoubleMatrix = xMatrix<double>;

extern template class xMatrix<float>;
extern template class xMatrix<double>;

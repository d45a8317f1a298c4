#pragma once
// One-dimensional arrays with free index bounds. An array either owns its
// elements or is a view on storage that belongs to someone else (a matrix row,
// a record buffer); a view's destructor leaves that storage alone.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <type_traits>

template <class T>
struct xArrayTraits;
template <>
struct xArrayTraits<float> {
    static constexpr const char* name = "FloatArray";
};
template <>
struct xArrayTraits<std::int32_t> {
    static constexpr const char* name = "LongArray";
};
template <>
struct xArrayTraits<double> {
    static constexpr const char* name = "DoubleArray";
};

template <class T>
class xArray {
  public:
    using value_type = T;
    static constexpr const char* ClassName() { return xArrayTraits<T>::name; }

    xArray();                      // one zero element at index 0
    explicit xArray(long length);  // bounds 0..length-1, zero-filled
    xArray(long low, long high);   // zero-filled
    xArray(const xArray& other);   // deep copy, owning
    xArray(xArray&& other) noexcept;
    // Views, not zeroed. The pointer type is deduced so that a literal 0 in
    // xArray(0, n) picks the bounds constructor, not a view on null.
    template <class P, std::enable_if_t<std::is_same_v<P, T*>, int> = 0>
    xArray(P data, long length) : xArray(data, 0, length - 1) {}
    template <class P, std::enable_if_t<std::is_same_v<P, T*>, int> = 0>
    xArray(P data, long low, long high)
        : length_(high >= low ? high - low + 1 : 0),
          low_(low),
          high_(low + length_ - 1),
          owns_(false),
          data_(data) {}
    ~xArray();

    // Copies every element; resizes first when length or bounds differ. A view
    // of the same shape is written through, which is how matrix rows are set.
    xArray& operator=(const xArray& other);

    void Resize(long length);
    void Resize(long low, long high);
    void SetLowBound(long low);

    T& operator[](long i) { return data_[i - low_]; }
    const T& operator[](long i) const { return data_[i - low_]; }
    bool InRange(long i) const { return i >= low_ && i <= high_; }

    long Length() const { return length_; }
    long Low() const { return low_; }
    long High() const { return high_; }
    bool OwnsData() const { return owns_; }
    T* Data() { return data_; }
    const T* Data() const { return data_; }

    xArray& operator+=(const xArray& other);
    xArray& operator-=(const xArray& other);
    xArray& operator*=(const xArray& other);
    xArray& operator/=(const xArray& other);
    xArray& operator+=(T value);
    xArray& operator-=(T value);
    xArray& operator*=(T value);
    xArray& operator/=(T value);
    T Dot(const xArray& other) const;

    // With an ignore value, elements equal to it are passed over; when all are,
    // the answer is the last element scanned.
    T Min(const T* ignore = nullptr) const;
    T Max(const T* ignore = nullptr) const;
    T Range(const T* ignore = nullptr) const { return Max(ignore) - Min(ignore); }
    T Sum() const;
    T Sum(long first, long last) const;
    T SumAbs(long first, long last) const;
    double Norm() const;
    long Find(T value) const;  // bounded index of the first exact match, 0 if none
    long Count(T value) const;
    xArray SubArray(long first, long last) const;
    void CopyFrom(const xArray& source, long sourceIndex, long destIndex, long count);
    // On a monotonic array: the nearer of the first element not below (rising) or
    // not above (falling) the value and its predecessor, counted from 0 whatever
    // the low bound. A value beyond the last element answers 0, which callers rely on.
    long NearestIndex(T value) const;

    // Same length and every |a - b| <= 5e-10 |a + b|.
    bool operator==(const xArray& other) const;
    // Not the negation of ==: unequal bounds alone make arrays unequal here.
    bool operator!=(const xArray& other) const;

    // Raw little-endian elements, preceded by low and high with the header flag.
    void WriteBinary(std::ostream& out, bool withBounds) const;
    bool ReadBinary(std::istream& in, bool withBounds);
    // The stored (collectable) form: length, low, high, owner flag, elements.
    void SaveGuts(std::ostream& out) const;
    bool RestoreGuts(std::istream& in);
    static constexpr long StoredHeaderSize = 14;
    // Text: low and high in fields of 10 then the elements in fields of 20, or
    // the elements alone.
    void WriteAscii(std::ostream& out, bool withBounds) const;
    void ReadAscii(std::istream& in);
    void List(std::ostream& out) const;

  private:
    void Allocate(long low, long high);
    void Release();
    void RequireSameBounds(const xArray& other, const char* verb) const;
    static T* NewBlock(long length, const char* failureText);

    long length_ = 0;
    long low_ = 0;
    long high_ = -1;
    bool owns_ = true;
    T* data_ = nullptr;
};

using FloatArray = xArray<float>;
using LongArray = xArray<std::int32_t>;
using DoubleArray = xArray<double>;

extern template class xArray<float>;
extern template class xArray<std::int32_t>;
extern template class xArray<double>;

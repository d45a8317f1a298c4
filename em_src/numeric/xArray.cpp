#include "xArray.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <istream>
#include <new>
#include <ostream>

#include "BinaryStream.h"
#include "Extreme.h"
#include "xPlatform.h"

namespace {

std::string Named(const char* className, const std::string& rest) {
    return std::string(className) + rest;
}

}  // namespace

template <class T>
T* xArray<T>::NewBlock(long length, const char* failureText) {
    if (length <= 0) return nullptr;
    T* block = new (std::nothrow) T[std::size_t(length)]();
    if (!block) Platform().Fatal(failureText);
    return block;
}

template <class T>
void xArray<T>::Allocate(long low, long high) {
    low_ = low;
    if (low > high) {
        length_ = 0;
        high_ = low - 1;
        data_ = nullptr;
        owns_ = true;
        if constexpr (std::is_same_v<T, std::int32_t>)
            Platform().Error("Specified LongArray bounds out of order.");
        return;
    }
    length_ = high - low + 1;
    high_ = high;
    data_ = NewBlock(length_, "xArray: Out of memory!");
    owns_ = true;
}

template <class T>
void xArray<T>::Release() {
    if (owns_) delete[] data_;
    data_ = nullptr;
}

template <class T>
xArray<T>::xArray() {
    Allocate(0, 0);
}

template <class T>
xArray<T>::xArray(long length) {
    Allocate(0, length - 1);
}

template <class T>
xArray<T>::xArray(long low, long high) {
    Allocate(low, high);
}

template <class T>
xArray<T>::xArray(const xArray& other) {
    Allocate(other.low_, other.high_);
    std::copy(other.data_, other.data_ + other.length_, data_);
}

template <class T>
xArray<T>::xArray(xArray&& other) noexcept
    : length_(other.length_),
      low_(other.low_),
      high_(other.high_),
      owns_(other.owns_),
      data_(other.data_) {
    other.data_ = nullptr;
    other.length_ = 0;
    other.high_ = other.low_ - 1;
    other.owns_ = true;
}

template <class T>
xArray<T>::~xArray() {
    Release();
}

template <class T>
xArray<T>& xArray<T>::operator=(const xArray& other) {
    if (this == &other) return *this;
    if (length_ != other.length_ || low_ != other.low_ || high_ != other.high_)
        Resize(other.low_, other.high_);
    std::copy(other.data_, other.data_ + other.length_, data_);
    return *this;
}

template <class T>
void xArray<T>::Resize(long length) {
    Resize(0, length - 1);
}

// Resizing a view detaches it: it gets storage of its own and the foreign
// block is left as it was.
template <class T>
void xArray<T>::Resize(long low, long high) {
    Release();
    low_ = low;
    length_ = std::max(0L, high - low + 1);
    high_ = low + length_ - 1;
    owns_ = true;
    data_ =
        NewBlock(length_, (std::string("Out of memory, ") + ClassName() + " allocation.").c_str());
}

template <class T>
void xArray<T>::SetLowBound(long low) {
    low_ = low;
    high_ = low + length_ - 1;
}

template <class T>
void xArray<T>::RequireSameBounds(const xArray& other, const char* verb) const {
    if (low_ != other.low_ || high_ != other.high_)
        Platform().Fatal(
            Named(ClassName(), std::string(" : Attempt to ") + verb + " arrays of unequal size."));
}

template <class T>
xArray<T>& xArray<T>::operator+=(const xArray& other) {
    RequireSameBounds(other, "sum");
    for (long i = 0; i < length_; ++i) data_[i] += other.data_[i];
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator-=(const xArray& other) {
    RequireSameBounds(other, "subtract");
    for (long i = 0; i < length_; ++i) data_[i] -= other.data_[i];
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator*=(const xArray& other) {
    RequireSameBounds(other, "multiply");
    for (long i = 0; i < length_; ++i) data_[i] *= other.data_[i];
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator/=(const xArray& other) {
    RequireSameBounds(other, "divide");
    for (long i = 0; i < length_; ++i) data_[i] /= other.data_[i];
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator+=(T value) {
    for (long i = 0; i < length_; ++i) data_[i] += value;
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator-=(T value) {
    for (long i = 0; i < length_; ++i) data_[i] -= value;
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator*=(T value) {
    for (long i = 0; i < length_; ++i) data_[i] *= value;
    return *this;
}

template <class T>
xArray<T>& xArray<T>::operator/=(T value) {
    for (long i = 0; i < length_; ++i) data_[i] /= value;
    return *this;
}

template <class T>
T xArray<T>::Dot(const xArray& other) const {
    RequireSameBounds(other, "multiply");
    T sum = 0;
    for (long i = 0; i < length_; ++i) sum += data_[i] * other.data_[i];
    return sum;
}

template <class T>
T xArray<T>::Min(const T* ignore) const {
    return extreme::Min(data_, length_, 1, ignore);
}

template <class T>
T xArray<T>::Max(const T* ignore) const {
    return extreme::Max(data_, length_, 1, ignore);
}

template <class T>
T xArray<T>::Sum() const {
    return length_ ? Sum(low_, high_) : T(0);
}

template <class T>
T xArray<T>::Sum(long first, long last) const {
    T sum = 0;
    for (long i = first; i <= last; ++i) sum += (*this)[i];
    return sum;
}

template <class T>
T xArray<T>::SumAbs(long first, long last) const {
    T sum = 0;
    for (long i = first; i <= last; ++i) sum += std::abs((*this)[i]);
    return sum;
}

template <class T>
double xArray<T>::Norm() const {
    double sum = 0;
    for (long i = 0; i < length_; ++i) sum += double(data_[i]) * double(data_[i]);
    return std::sqrt(sum);
}

template <class T>
long xArray<T>::Find(T value) const {
    for (long i = 0; i < length_; ++i)
        if (data_[i] == value) return low_ + i;
    return 0;
}

template <class T>
long xArray<T>::Count(T value) const {
    long count = 0;
    for (long i = 0; i < length_; ++i) count += data_[i] == value;
    return count;
}

template <class T>
xArray<T> xArray<T>::SubArray(long first, long last) const {
    xArray result(first, last);
    for (long i = first; i <= last; ++i) result[i] = (*this)[i];
    return result;
}

template <class T>
void xArray<T>::CopyFrom(const xArray& source, long sourceIndex, long destIndex, long count) {
    std::copy(&source[sourceIndex], &source[sourceIndex] + count, &(*this)[destIndex]);
}

template <class T>
long xArray<T>::NearestIndex(T value) const {
    if (length_ == 0) return low_;
    bool rising = length_ < 2 || data_[1] >= data_[0];
    long k = 0;
    while (k < length_ && (rising ? data_[k] < value : data_[k] > value)) ++k;
    if (k == length_) return 0;
    if (k == 0) return 0;
    return std::abs(data_[k] - value) < std::abs(data_[k - 1] - value) ? k : k - 1;
}

template <class T>
bool xArray<T>::operator==(const xArray& other) const {
    if (length_ != other.length_) return false;
    for (long i = 0; i < length_; ++i) {
        T a = data_[i], b = other.data_[i];
        if (std::abs(a - b) > T(5e-10) * std::abs(a + b)) return false;
    }
    return true;
}

template <class T>
bool xArray<T>::operator!=(const xArray& other) const {
    return !(low_ == other.low_ && high_ == other.high_ && *this == other);
}

template <class T>
void xArray<T>::WriteBinary(std::ostream& out, bool withBounds) const {
    if (withBounds) {
        binary::Write<std::int32_t>(out, std::int32_t(low_));
        binary::Write<std::int32_t>(out, std::int32_t(high_));
    }
    binary::WriteBlock(out, data_, std::size_t(length_));
}

template <class T>
bool xArray<T>::ReadBinary(std::istream& in, bool withBounds) {
    if (withBounds) {
        std::int32_t low = 0, high = 0;
        if (!binary::Read(in, low) || !binary::Read(in, high)) return false;
        Resize(low, high);
    }
    return binary::ReadBlock(in, data_, std::size_t(length_)) == std::size_t(length_);
}

template <class T>
void xArray<T>::SaveGuts(std::ostream& out) const {
    binary::Write<std::int32_t>(out, std::int32_t(length_));
    binary::Write<std::int32_t>(out, std::int32_t(low_));
    binary::Write<std::int32_t>(out, std::int32_t(high_));
    binary::Write<std::int16_t>(out, std::int16_t(owns_ ? 1 : 0));
    binary::WriteBlock(out, data_, std::size_t(length_));
}

template <class T>
bool xArray<T>::RestoreGuts(std::istream& in) {
    std::int32_t length = 0, low = 0, high = 0;
    std::int16_t owns = 0;
    if (!binary::Read(in, length) || !binary::Read(in, low) || !binary::Read(in, high) ||
        !binary::Read(in, owns))
        return false;
    Resize(low, high);
    return binary::ReadBlock(in, data_, std::size_t(length_)) == std::size_t(length_);
}

template <class T>
void xArray<T>::WriteAscii(std::ostream& out, bool withBounds) const {
    if (withBounds) out << std::setw(10) << low_ << std::setw(10) << high_ << '\n';
    for (long i = 0; i < length_; ++i) out << std::setw(20) << data_[i];
    out << '\n';
    if (!out) Platform().Fatal(Named("Error writing ", ClassName()) + " to ASCII filestream.");
}

template <class T>
void xArray<T>::ReadAscii(std::istream& in) {
    long low = 0, high = 0;
    if (in >> low >> high) {
        Resize(low, high);
        for (long i = 0; i < length_ && in; ++i) in >> data_[i];
    }
    if (!in) Platform().Fatal(Named("Error reading ", ClassName()) + " from ASCII filestream.");
}

template <class T>
void xArray<T>::List(std::ostream& out) const {
    const std::string rule = "-------------------------";
    out << rule << ClassName() << rule << '\n';
    for (long i = low_; i <= high_; ++i)
        out << std::setw(14) << i << std::setw(14) << (*this)[i] << '\n';
}

template class xArray<float>;
template class xArray<std::int32_t>;
template class xArray<double>;

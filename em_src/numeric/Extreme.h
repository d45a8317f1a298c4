#pragma once
// The smallest or largest of a strided run of numbers, passing over a blank
// marker. When every element is blank the answer is the last one scanned, which
// is the blank itself: callers test for it.

namespace extreme {

template <class T, class Better>
T Of(const T* data, long count, long stride, const T* ignore, Better better) {
    if (count <= 0) return T(0);
    T result = data[(count - 1) * stride];
    bool seeded = false;
    for (long i = 0; i < count; ++i) {
        T value = data[i * stride];
        if (ignore && value == *ignore) continue;
        if (!seeded || better(value, result)) result = value;
        seeded = true;
    }
    return result;
}

template <class T>
T Min(const T* data, long count, long stride, const T* ignore) {
    return Of(data, count, stride, ignore, [](T a, T b) { return a < b; });
}

template <class T>
T Max(const T* data, long count, long stride, const T* ignore) {
    return Of(data, count, stride, ignore, [](T a, T b) { return a > b; });
}

}  // namespace extreme

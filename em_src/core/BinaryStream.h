#pragma once
// Little-endian field readers and writers. Every binary project file goes through
// these, one field at a time, so that files are the same on any host.

#include <bit>
#include <cstdint>
#include <cstring>
#include <istream>
#include <ostream>
#include <type_traits>

namespace binary {

template <class T>
T ToLittleEndian(T value) {
    static_assert(std::is_arithmetic_v<T>);
    if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
        return value;
    } else {
        unsigned char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        for (std::size_t i = 0; i < sizeof(T) / 2; ++i)
            std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
        std::memcpy(&value, bytes, sizeof(T));
        return value;
    }
}

template <class T>
void Write(std::ostream& out, T value) {
    value = ToLittleEndian(value);
    out.write(reinterpret_cast<const char*>(&value), sizeof(T));
}

template <class T>
bool Read(std::istream& in, T& value) {
    in.read(reinterpret_cast<char*>(&value), sizeof(T));
    value = ToLittleEndian(value);
    return static_cast<bool>(in);
}

// Blocks of numbers: one call on a little-endian host, field by field elsewhere.
template <class T>
void WriteBlock(std::ostream& out, const T* values, std::size_t count) {
    if constexpr (std::endian::native == std::endian::little) {
        out.write(reinterpret_cast<const char*>(values), std::streamsize(count * sizeof(T)));
    } else {
        for (std::size_t i = 0; i < count; ++i) Write(out, values[i]);
    }
}

// Answers how many whole values arrived; the rest of the block is left as it was.
template <class T>
std::size_t ReadBlock(std::istream& in, T* values, std::size_t count) {
    in.read(reinterpret_cast<char*>(values), std::streamsize(count * sizeof(T)));
    std::size_t got = std::size_t(in.gcount()) / sizeof(T);
    if constexpr (std::endian::native != std::endian::little) {
        for (std::size_t i = 0; i < got; ++i) values[i] = ToLittleEndian(values[i]);
    }
    return got;
}

}  // namespace binary

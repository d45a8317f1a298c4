#pragma once
// Little-endian bytes put together by hand in a test, independent of the
// stream helpers that the code under test uses.

#include <bit>
#include <cstdint>
#include <string>

struct Bytes {
    std::string data;

    Bytes& Le(std::uint32_t value, int size) {
        for (int i = 0; i < size; ++i) data.push_back(char((value >> (8 * i)) & 0xFF));
        return *this;
    }
    Bytes& I16(int value) { return Le(std::uint32_t(value), 2); }
    Bytes& I32(long long value) { return Le(std::uint32_t(value), 4); }
    Bytes& F32(float value) { return Le(std::bit_cast<std::uint32_t>(value), 4); }
    // A section text: its length, then the characters.
    Bytes& Text(const std::string& text) {
        I32(static_cast<long long>(text.size()));
        data += text;
        return *this;
    }
    // A fixed-width field, padded.
    Bytes& Field(const std::string& text, std::size_t size, char pad) {
        std::string field = text;
        field.resize(size, pad);
        data += field;
        return *this;
    }
    Bytes& PadTo(std::size_t size, char pad) {
        if (data.size() < size) data.append(size - data.size(), pad);
        return *this;
    }
    Bytes& Raw(const Bytes& bytes) {
        data += bytes.data;
        return *this;
    }
};

#pragma once
// Readers and writers of a parameter block, field by field. A short read leaves
// the field (and every later one) at its default without a word: old and
// truncated files are read as far as they go.

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>

#include "BinaryStream.h"

// Names in a section: a 32-bit length, then the characters, no terminator.
constexpr std::size_t kMaxParamText = 99;

class xBlockReader {
  public:
    explicit xBlockReader(std::istream& in) : in_(in) {}

    template <class T>
    void Get(T& field) {
        T value{};
        if (ok_ && binary::Read(in_, value))
            field = value;
        else
            ok_ = false;
    }
    void GetText(std::string& field);
    // Stream position, for the rules that stop at the section's end.
    std::streamoff Position() { return in_.tellg(); }
    bool Ok() const { return ok_; }
    std::istream& Stream() { return in_; }

  private:
    std::istream& in_;
    bool ok_ = true;
};

class xBlockWriter {
  public:
    explicit xBlockWriter(std::ostream& out) : out_(out) {}

    template <class T>
    void Put(T value) {
        binary::Write(out_, value);
    }
    void PutText(const std::string& text);
    std::streamoff Position() { return out_.tellp(); }
    std::ostream& Stream() { return out_; }

  private:
    std::ostream& out_;
};

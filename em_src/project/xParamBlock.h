#pragma once
// Readers and writers of a parameter block, field by field. A short read leaves
// the field (and every later one) at its default without a word: old and
// truncated files are read as far as they go.

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>

#include "BinaryStream.h"
#include "xMatrix.h"

// Names in a section: a 32-bit length, then the characters, no terminator.
constexpr std::size_t kMaxParamText = 99;

class xBlockReader {
  public:
    // sectionEnd: where the section ends; nothing is read past it.
    xBlockReader(std::istream& in, std::streamoff sectionEnd) : in_(in), end_(sectionEnd) {}

    template <class T>
    void Get(T& field) {
        T value{};
        if (ok_ && binary::Read(in_, value))
            field = value;
        else
            ok_ = false;
    }
    void GetText(std::string& field);
    // Arrays and matrices in their binary form with bounds. Bounds that claim
    // more values than the section holds are not ours: reading stops there and
    // the field, like every later one, keeps what it had.
    void GetArray(FloatArray& field);
    void GetMatrix(FloatMatrix& field);
    // Stream position, for the rules that stop at the section's end.
    std::streamoff Position() { return in_.tellg(); }
    bool Ok() const { return ok_; }
    std::istream& Stream() { return in_; }

  private:
    // Fails the reader unless count values of size bytes fit in the section.
    bool Room(std::int64_t count, std::int64_t size);

    std::istream& in_;
    std::streamoff end_;
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

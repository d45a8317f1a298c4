#pragma once
// Readers and writers of a parameter block, field by field. A short read leaves
// the field (and every later one) at its default without a word: old and
// truncated files are read as far as they go.

#include <cstdint>
#include <filesystem>
#include <istream>
#include <ostream>
#include <string>

#include "BinaryStream.h"
#include "xMatrix.h"

// Names in a section: a 32-bit length, then the characters, no terminator.
constexpr std::size_t kMaxParamText = 99;

class xBlockReader {
  public:
    // sectionEnd: where the section ends; nothing is read past it. The file and
    // the section's tag name the place in Where().
    xBlockReader(std::istream& in, std::streamoff sectionEnd, std::filesystem::path file = "PAR",
                 std::int32_t tag = 0)
        : in_(in), end_(sectionEnd), file_(std::move(file)), tag_(tag) {}

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
    // A field that no file of ours can hold (a short read is not one): the
    // byte it starts at, the section and what it said. Empty when none was met.
    const std::string& Where() const { return where_; }
    std::istream& Stream() { return in_; }

  private:
    // Fails the reader unless count values of size bytes fit in the section.
    bool Room(std::int64_t count, std::int64_t size, std::streamoff fieldStart);
    void Broken(std::streamoff fieldStart, const std::string& expected, const std::string& found);

    std::istream& in_;
    std::streamoff end_;
    std::filesystem::path file_;
    std::int32_t tag_;
    std::string where_;
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

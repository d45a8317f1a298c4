#include "xParamBlock.h"

#include "xParFile.h"
#include "xReadError.h"

void xBlockReader::Broken(std::streamoff fieldStart, const std::string& expected,
                          const std::string& found) {
    ok_ = false;
    if (where_.empty())
        where_ = AtOffset(file_, fieldStart, par::InSection(tag_, ExpectedFound(expected, found)));
}

void xBlockReader::GetText(std::string& field) {
    const std::streamoff start = ok_ ? Position() : 0;
    std::int32_t length = 0;
    if (!ok_ || !binary::Read(in_, length)) {
        ok_ = false;
        return;
    }
    if (length < 0 || length > par::SectionSize) {
        Broken(start, "a text length from 0 to " + std::to_string(par::SectionSize),
               std::to_string(length));
        return;
    }
    std::string text(std::size_t(length), '\0');
    if (!in_.read(text.data(), length)) {
        ok_ = false;
        return;
    }
    field = text;
}

bool xBlockReader::Room(std::int64_t count, std::int64_t size, std::streamoff fieldStart) {
    if (!ok_) return false;
    if (count >= 0 && count <= par::SectionSize && Position() + count * size <= end_) return true;
    Broken(fieldStart, "bounds that fit in the section", std::to_string(count) + " values");
    return false;
}

void xBlockReader::GetArray(FloatArray& field) {
    const std::streamoff start = ok_ ? Position() : 0;
    std::int32_t low = 0, high = -1;
    Get(low);
    Get(high);
    if (!Room(std::int64_t(high) - low + 1, 4, start)) return;
    FloatArray read(low, high);
    if (read.Length() > 0 && !read.ReadBinary(in_, false)) {
        ok_ = false;
        return;
    }
    field = read;
}

void xBlockReader::GetMatrix(FloatMatrix& field) {
    const std::streamoff start = ok_ ? Position() : 0;
    std::int32_t bounds[4] = {0, -1, 0, -1};
    for (auto& bound : bounds) Get(bound);
    const std::int64_t rows = std::int64_t(bounds[1]) - bounds[0] + 1;
    const std::int64_t cols = std::int64_t(bounds[3]) - bounds[2] + 1;
    if (!Room(rows, 0, start) || !Room(cols, 0, start) || !Room(rows * cols, 4, start)) return;
    FloatMatrix read(bounds[0], bounds[1], bounds[2], bounds[3]);
    if (rows * cols > 0 && !read.ReadBinary(in_, false)) {
        ok_ = false;
        return;
    }
    field = read;
}

void xBlockWriter::PutText(const std::string& text) {
    std::string cut = text.substr(0, kMaxParamText);
    binary::Write(out_, std::int32_t(cut.size()));
    out_.write(cut.data(), std::streamsize(cut.size()));
}

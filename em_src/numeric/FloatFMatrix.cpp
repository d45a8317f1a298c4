#include "FloatFMatrix.h"

#include <unistd.h>
#include <algorithm>
#include <cstdlib>

#include "BinaryStream.h"
#include "xPlatform.h"

namespace {

constexpr std::streamoff HeaderBytes = 16;

std::filesystem::path MakeTemporaryFile() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tovarnXXXXXX").string();
    int fd = mkstemp(pattern.data());
    if (fd < 0) return {};
    close(fd);
    return pattern;
}

}  // namespace

FloatFMatrix::FloatFMatrix() : fileName_(MakeTemporaryFile()), temporary_(true) {
    OpenOwnStream();
}

FloatFMatrix::FloatFMatrix(const std::filesystem::path& fileName) : fileName_(fileName) {
    OpenOwnStream();
}

FloatFMatrix::FloatFMatrix(std::fstream& documentStream) : stream_(&documentStream) {}

FloatFMatrix::FloatFMatrix(const FloatFMatrix& other) : FloatFMatrix() {
    Setup(0, other.bufferRows_,
          {std::int32_t(other.fileRowLow_), std::int32_t(other.FileRowHigh()),
           std::int32_t(other.colLow_), std::int32_t(other.colHigh_)},
          false);
    for (long r = other.FileRowLow(); r <= other.FileRowHigh(); ++r) (*this)[r] = other[r];
    Flush();
}

FloatFMatrix& FloatFMatrix::operator=(const FloatFMatrix&) {
    Platform().Error("FloatFMatrix: operator= called - Not implemented!");
    return *this;
}

FloatFMatrix::~FloatFMatrix() {
    if (HasDocument() && windowDirty_ && !temporary_) WriteWindow();
    if (!ownsDocument_) return;
    ownStream_.close();
    if (!temporary_) return;
    std::error_code ec;
    if (!std::filesystem::remove(fileName_, ec))
        Platform().Warning("FloatFMatrix: Unable to delete temporary file!");
}

void FloatFMatrix::OpenOwnStream() {
    constexpr auto mode = std::ios::in | std::ios::out | std::ios::binary;
    if (!fileName_.empty()) {
        ownStream_.open(fileName_, mode);
        if (!ownStream_.is_open()) ownStream_.open(fileName_, mode | std::ios::trunc);
    }
    if (!ownStream_.is_open()) {
        Platform().Error("FloatFMatrix: Unable to open file < " + fileName_.string() + " >");
        return;
    }
    stream_ = &ownStream_;
    ownsDocument_ = true;
}

int FloatFMatrix::Init(std::streamoff offset, long bufferRows, long nRows, long nCols) {
    bool reading = nRows == 0 && nCols == 0;
    Bounds bounds = {0, std::int32_t(nRows - 1), 0, std::int32_t(nCols - 1)};
    if (reading && !ReadHeader(offset, bounds)) return 0;
    return Setup(offset, bufferRows, bounds, reading);
}

bool FloatFMatrix::ReadHeader(std::streamoff offset, Bounds& bounds) {
    if (!HasDocument()) return false;
    stream_->clear();
    stream_->seekg(offset);
    for (auto& bound : bounds) {
        if (!binary::Read(*stream_, bound)) {
            stream_->clear();
            Platform().Error("FloatFMatrix: Error reading header from file < " +
                             fileName_.string() + " >");
            return false;
        }
    }
    return true;
}

int FloatFMatrix::Setup(std::streamoff offset, long bufferRows, const Bounds& bounds,
                        bool reading) {
    offset_ = offset;
    bufferRows_ = std::max(2L, bufferRows);
    fileRowLow_ = bounds[0];
    fileRows_ = std::max(0L, long(bounds[1]) - bounds[0] + 1);
    pages_ = HasDocument() ? (fileRows_ + bufferRows_ - 1) / bufferRows_ : 1;
    if (!HasDocument()) bufferRows_ = std::max(bufferRows_, fileRows_);
    long windowRows = std::min(bufferRows_, fileRows_);
    Resize(fileRowLow_, fileRowLow_ + windowRows - 1, bounds[2], bounds[3]);
    FloatMatrix::Fill(0.0f);
    windowDirty_ = false;
    if (!HasDocument()) return 1;
    if (reading) {
        ReadWindow();
        return 1;
    }
    stream_->clear();
    stream_->seekp(offset_);
    for (auto bound : bounds) binary::Write(*stream_, bound);
    WriteWindow();
    return 1;
}

void FloatFMatrix::CheckRow(long r) const {
    if (r < fileRowLow_ || r > FileRowHigh())
        Platform().Fatal("FloatFMatrix: Row index out of range!");
}

FloatArray& FloatFMatrix::operator[](long r) {
    CheckRow(r);
    if (pages_ != 1 && (r < rowLow_ || r > rowHigh_)) PageIn(r);
    windowDirty_ = true;
    return FloatMatrix::operator[](r);
}

// The window is a cache of the file: paging it in from a const reader changes
// nothing that the matrix holds.
const FloatArray& FloatFMatrix::operator[](long r) const {
    CheckRow(r);
    if (pages_ != 1 && (r < rowLow_ || r > rowHigh_)) const_cast<FloatFMatrix*>(this)->PageIn(r);
    return FloatMatrix::operator[](r);
}

float& FloatFMatrix::At(long r, long c) {
    FloatArray& row = (*this)[r];
    if (!row.InRange(c)) Platform().Fatal("FloatFMatrix: Column index out of range!");
    return row[c];
}

void FloatFMatrix::PageIn(long r) {
    if (windowDirty_) WriteWindow();
    long rows = fileRows_;
    long start = (r - fileRowLow_) - bufferRows_ / 2;
    if (start < 0) start = 0;
    if (start >= rows) start = rows - bufferRows_;
    long last = std::min(start + bufferRows_ - 1, rows - 1);
    if (last - start + 1 > bufferRows_) start = last - bufferRows_ + 1;
    Resize(fileRowLow_ + start, fileRowLow_ + last, colLow_, colHigh_);
    ReadWindow();
}

std::streamoff FloatFMatrix::RowPlace(long r) const {
    return offset_ + HeaderBytes + std::streamoff(r - fileRowLow_) * nCols_ * 4;
}

// Rows past the end of a file that has not been filled yet read as zero.
void FloatFMatrix::ReadWindow() {
    stream_->clear();
    stream_->seekg(RowPlace(rowLow_));
    std::size_t got = binary::ReadBlock(*stream_, block_.data(), block_.size());
    std::fill(block_.begin() + std::ptrdiff_t(got), block_.end(), 0.0f);
    stream_->clear();
    windowDirty_ = false;
}

void FloatFMatrix::WriteWindow() {
    stream_->clear();
    stream_->seekp(RowPlace(rowLow_));
    binary::WriteBlock(*stream_, block_.data(), block_.size());
    windowDirty_ = false;
}

void FloatFMatrix::Flush() {
    if (!HasDocument()) return;
    WriteWindow();
    stream_->flush();
}

void FloatFMatrix::Fill(float value) {
    FloatMatrix::Fill(value);
    if (!HasDocument()) return;
    const long wholeWindows = fileRows_ / bufferRows_;
    std::vector<float> window(std::size_t(bufferRows_ * nCols_), value);
    stream_->clear();
    stream_->seekp(RowPlace(fileRowLow_));
    for (long w = 0; w < wholeWindows; ++w)
        binary::WriteBlock(*stream_, window.data(), window.size());
    for (long r = wholeWindows * bufferRows_; r < fileRows_; ++r)
        binary::WriteBlock(*stream_, window.data(), std::size_t(nCols_));
    stream_->flush();
    windowDirty_ = false;
}

#pragma once
// A float matrix kept in a file, with a window of rows in memory. Sections and
// survey lines far larger than memory are walked through it: asking for a row
// outside the window writes the window back and recentres it on that row.
//
// File form at the matrix's offset: file row low, file row high, column low,
// column high (int32 each), then the rows as 4-byte floats; row r (counted from
// 0) starts at offset + 16 + r * cols * 4.

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "xMatrix.h"

class FloatFMatrix : public FloatMatrix {
  public:
    // A temporary file, deleted by the destructor.
    FloatFMatrix();
    // A named file, kept; created when it does not exist.
    explicit FloatFMatrix(const std::filesystem::path& fileName);
    // A matrix inside a document's file; the document keeps the stream.
    explicit FloatFMatrix(std::fstream& documentStream);
    // Copies row by row into a temporary file.
    FloatFMatrix(const FloatFMatrix& other);
    // Refused with a message; the matrix stays as it was.
    FloatFMatrix& operator=(const FloatFMatrix& other);
    ~FloatFMatrix() override;

    // With nRows and nCols both 0, reads the header at offset; otherwise writes a
    // header for rows 0..nRows-1 and columns 0..nCols-1 and zeroes the first
    // window in the file. Buffer rows below 2 become 2. Answers 1 or 0.
    int Init(std::streamoff offset, long bufferRows, long nRows = 0, long nCols = 0);

    // Row of the file (by file row index); a row outside the window pages it in.
    // Out-of-range rows are fatal.
    FloatArray& operator[](long r);
    const FloatArray& operator[](long r) const;
    // Element with both indices checked (fatal when out of range).
    float& At(long r, long c);

    // Writes the window to its place in the file.
    void Flush();
    // Writes value to every row of the file (and of the window).
    void Fill(float value);

    long FileRows() const { return fileRows_; }
    long FileRowLow() const { return fileRowLow_; }
    long FileRowHigh() const { return fileRowLow_ + fileRows_ - 1; }
    long Pages() const { return pages_; }
    long BufferRows() const { return bufferRows_; }
    std::streamoff Offset() const { return offset_; }
    const std::filesystem::path& FileName() const { return fileName_; }
    bool IsTemporary() const { return temporary_; }

  private:
    using Bounds = std::array<std::int32_t, 4>;  // row low, row high, column low, column high
    void OpenOwnStream();
    bool ReadHeader(std::streamoff offset, Bounds& bounds);
    int Setup(std::streamoff offset, long bufferRows, const Bounds& bounds, bool reading);
    void CheckRow(long r) const;
    // Recentres the window on file row r, writing it back first when it was
    // handed out for writing.
    void PageIn(long r);
    void ReadWindow();
    void WriteWindow();
    std::streamoff RowPlace(long r) const;
    bool HasDocument() const { return stream_ != nullptr; }

    long fileRows_ = 0;
    long fileRowLow_ = 0;
    long pages_ = 1;
    long bufferRows_ = 2;
    std::streamoff offset_ = 0;
    std::fstream ownStream_;
    std::fstream* stream_ = nullptr;
    bool ownsDocument_ = false;
    std::filesystem::path fileName_;
    bool temporary_ = false;
    bool windowDirty_ = false;
};

#pragma once
// One survey line as it sits in a survey file: a block header (row and column
// bounds, line number, memo, statistics) followed by the records row by row.
// Lines are written through xMLineWriter one record at a time, so that no line
// is ever held whole; the statistics gather as the records pass.

#include <array>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <vector>

#include "xArray.h"
#include "xMatrix.h"

class xMFile;

// The value that means "no data" in a record.
constexpr float BlankValue = -32767.0f;

// Per-item minimum, maximum and running mean over the records added so far.
class xMLineStats {
  public:
    explicit xMLineStats(long items = 0);
    void Reset(long items);
    // The first record is taken as it stands, blanks included; after that a
    // blank is passed over, and a stored extreme that is still blank is replaced
    // outright. The mean counts every record, so blanks pull it towards zero.
    void Add(const float* record, const float* blank);

    long Count() const { return count_; }
    const FloatArray& Min() const { return min_; }
    const FloatArray& Max() const { return max_; }
    const FloatArray& Mean() const { return mean_; }

  private:
    FloatArray min_, max_, mean_;
    long count_ = 0;
};

// The header of one line block and where it lies in the file.
struct xMLineBlock {
    static constexpr long MemoSize = 1024;

    std::int32_t number = 0;
    long rows = 0;
    long cols = 0;
    std::array<char, MemoSize> memo{};
    FloatArray min, max, mean;      // mean only in files above version 13
    std::int64_t position = 0;      // first byte of the block
    std::int64_t dataPosition = 0;  // first byte of row 0

    std::int64_t End() const { return dataPosition + std::int64_t(rows) * cols * 4; }
    // Smoothing flag: the first int16 of the memo.
    std::int16_t SmoothingFlag() const;
};

// Appends one line block at the end of a survey file. The block header is
// reserved when the writer starts and written again with the totals by Finish,
// which also hands the line's statistics to the file.
class xMLineWriter {
  public:
    xMLineWriter(xMFile& file, std::int32_t lineNumber, const float* blank = &BlankValue);
    xMLineWriter(const xMLineWriter&) = delete;
    xMLineWriter& operator=(const xMLineWriter&) = delete;

    // A record of the file's row length.
    void AddRow(const float* record);
    void AddRow(const FloatArray& record) { AddRow(record.Data()); }
    void AddRows(const FloatMatrix& records);
    // The rows written so far, turned end for end on disk a window at a time.
    bool ReverseRows(long windowRows = DefaultWindowRows);
    // Every row written so far passes through edit, in order, and goes back to
    // disk; the statistics are gathered again from the edited rows.
    bool RewriteRows(const std::function<void(float* row)>& edit,
                     long windowRows = DefaultWindowRows);
    // Writes the block header in place and adds the line to the file's totals.
    // False when the stream failed; the file's totals are left alone then.
    bool Finish();

    long Rows() const { return stats_.Count(); }
    const xMLineStats& Stats() const { return stats_; }

    static constexpr long DefaultWindowRows = 1024;

  private:
    void WriteBlockHeader();
    bool ReadWindow(long first, long count, std::vector<float>& rows);
    void WriteWindow(long first, long count, const std::vector<float>& rows);

    xMFile& file_;
    xMLineBlock block_;
    xMLineStats stats_;
    bool hasBlank_;
    float blank_;
    bool finished_ = false;
};

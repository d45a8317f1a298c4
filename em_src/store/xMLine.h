#pragma once
// One survey line of a survey file, walked through a window of rows. A line may
// be far larger than memory, so only the window is ever held; a row outside it
// recentres the window on that row, and a walk in row order loads each page
// once. The rows come straight from the line block through the file, which
// moves its shared stream before every transfer: two lines of one file may be
// used in turn, not at once.

#include <cstdint>
#include <iosfwd>
#include <memory>

#include "xArray.h"
#include "xMLineBlock.h"
#include "xMatrix.h"
#include "xRecordLayout.h"

class xMFile;

class xMLine {
  public:
    static constexpr long DefaultBufferRows = 100;

    // Without a file the error is reported and the line stays empty.
    explicit xMLine(xMFile* file, long bufferRows = DefaultBufferRows);
    xMLine(const xMLine&) = delete;
    xMLine& operator=(const xMLine&) = delete;
    virtual ~xMLine();

    // Line walk: the next block of the file, or the block with a line number.
    // The window is loaded from row 0.
    bool Next();
    bool Find(std::int32_t number);
    bool Load(const xMLineBlock& block);

    // Statistics of one record, merged as a writer adds it. The first record
    // after SetFirstRow(true) is taken as it stands.
    void Statistics(const float* record);
    void SetFirstRow(bool first);
    bool FirstRow() const { return firstRow_; }
    long StatisticsCount() const { return stats_.Count(); }

    std::int32_t LineNumber() const { return block_.number; }
    void SetLineNumber(std::int32_t number) { block_.number = number; }
    long Rows() const { return block_.rows; }
    long Cols() const { return block_.cols; }
    long LastRow() const { return block_.rows - 1; }
    long BufferRows() const { return bufferRows_; }
    long HeaderSize() const;
    const xMLineBlock& Block() const { return block_; }
    xMFile* File() const { return file_; }
    char* Memo() { return block_.memo.data(); }

    // Not set by the store itself; callers that mark missing data set it.
    void SetBlankValue(const float* blank);
    const float* Blank() const { return blank_.get(); }

    const FloatArray& Min() const { return fromFile_ ? block_.min : stats_.Min(); }
    const FloatArray& Max() const { return fromFile_ ? block_.max : stats_.Max(); }
    const FloatArray& Mean() const { return fromFile_ ? block_.mean : stats_.Mean(); }
    float MinFid() const { return Min()[xRecordLayout::Fid]; }
    float MaxFid() const { return Max()[xRecordLayout::Fid]; }
    float MinX() const { return Min()[xRecordLayout::X]; }
    float MaxX() const { return Max()[xRecordLayout::X]; }
    float MinY() const { return Min()[xRecordLayout::Y]; }
    float MaxY() const { return Max()[xRecordLayout::Y]; }
    float MinZ() const { return Min()[xRecordLayout::Z]; }
    float MaxZ() const { return Max()[xRecordLayout::Z]; }
    float MinAltitude() const { return Min()[xRecordLayout::Altitude]; }
    float MaxAltitude() const { return Max()[xRecordLayout::Altitude]; }
    // Over one component's channels; 0 when the component is not in the file.
    float ComponentMax(long component) const;
    float ComponentMin(long component) const;
    // Over items first..last.
    float ItemRangeMax(long first, long last) const;
    float ItemRangeMin(long first, long last) const;

    // Row r of the line through the window; valid until the next row access.
    // Out-of-range rows are fatal.
    const FloatArray& Row(long r);
    // The same, marked to be written back when the window moves or is flushed.
    FloatArray& RowForWriting(long r);
    float Item(long r, long c) { return Row(r)[c]; }
    // Writes changed rows back; a read-only file never is.
    bool Flush();

    // Row whose FID equals value; 0 outside MinFid..MaxFid. Stepping off the
    // line gives the end reached. The end FIDs must differ.
    long FindFid(float value);
    // Row of the pair that brackets value, the later one in the direction of
    // travel from the guess; 0 outside MinFid..MaxFid.
    long FindFidBracket(float value);
    // Row whose item is nearest value; on a tie the row reached last.
    long FindNearest(float value, long item);

    // Item 5 of every row becomes its straight distance from row 0.
    void RecomputeDistance();
    // The ASCII line block.
    void Dump(std::ostream& out) const;

  private:
    void PageIn(long r);
    bool WriteWindow();
    long Guess(float value, float first, float last) const;
    long BracketWalk(float value, long item, long row, long& previous);
    long ChannelRange(long component, long& first) const;

    xMFile* file_;
    xMLineBlock block_;
    xMLineStats stats_;
    bool fromFile_ = false;  // the statistics are the block's, not merged here
    std::unique_ptr<float> blank_;
    bool firstRow_ = true;
    long bufferRows_;
    FloatMatrix window_;
    long windowFirst_ = 0;
    long windowRows_ = 0;
    bool windowDirty_ = false;
};

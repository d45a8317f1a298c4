#pragma once
// The survey file: a header followed by a chain of line blocks. The header is
// written twice, once to reserve its place and once more with the totals after
// the last line. No directory of lines exists: a reader steps from block to
// block by each block's size.

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "xArray.h"
#include "xAsciiPattern.h"
#include "xDoc.h"
#include "xMLineBlock.h"
#include "xMatrix.h"

class xMLine;

class xMFile : public xDoc {
  public:
    static constexpr std::int32_t CurrentVersion = 13;
    static constexpr std::int32_t LowestVersion = 6;
    static constexpr std::int32_t HighestVersion = 14;  // the form with the means
    static constexpr long ReservedArea = 1020;          // bytes 28..1047 of the header
    static constexpr long LineHeaderBase = 1060;

    xMFile();
    ~xMFile() override;

    // Channels per component and component flags are arrays over 100..109.
    void InitFromDescriptor(const LongArray& channels, const LongArray& flags, long userItems);
    // The same channel count for every flagged component.
    void InitFromDescriptor(long channelsEach, const LongArray& flags, long userItems);
    void CopyHeaderFrom(const xMFile& other);

    std::int32_t ReadVersion();
    virtual bool ReadHeader();
    virtual bool WriteHeader();
    virtual void DumpHeader(std::ostream& out) const;
    virtual void AddLine(const xMLineBlock& line);

    virtual long BaseItems() const { return 6; }
    virtual long ItemsPerComponent() const { return 0; }
    virtual long HeaderSize() const;

    // Record length R in floats.
    long RowLength() const;
    long OrientationItems() const { return orientationItems_; }
    void SetOrientationItems(long items) { orientationItems_ = items; }

    // Line walk.
    void ResetLines();
    bool NextLine(xMLineBlock& line);
    bool FindLine(std::int32_t number, xMLineBlock& line);
    // Rows first..first+count-1 of a line into target (resized to count x cols).
    bool ReadRows(const xMLineBlock& line, long first, long count, FloatMatrix& target);
    // The numbers of all lines, in file order.
    std::vector<std::int32_t> LineNumbers();
    // "Line L is not in F; its lines are ...": what a reader says of a line
    // the file does not have.
    std::string MissingLineText(std::int32_t line);
    // The block headers of all lines, in file order: a walk that loads lines
    // moves the file's stream, so it takes the blocks first.
    std::vector<xMLineBlock> LineBlocks();

    // Look-ups by FID go through the file's own line and its bracket search,
    // which answers row 0 for a FID outside the line. They, and the ASCII
    // forms below, start the line walk over.
    // Records from the record of fid1 to that of fid2, both included; 0 when
    // the line is not in the file.
    long RecordsBetween(std::int32_t line, float fid1, float fid2);
    // Those records, read in one go into target. False when the line is not in
    // the file or both FIDs fall on the same record.
    bool ReadFidWindow(std::int32_t line, float fid1, float fid2, FloatMatrix& target);
    // count / 2 records on each side of the record of fid, cut at the line's
    // ends. False when the line is not in the file or count is below 1.
    bool ReadAroundFid(std::int32_t line, float fid, long count, FloatMatrix& target);

    // The plain ASCII form: the header block, then each line's block and its
    // records, every float in a field of 14. lines empty: every line; else
    // those of them that the file has, in file order.
    bool DumpAscii(std::ostream& out, const std::vector<std::int32_t>& lines = {});
    // The ASCII form by a pattern: header block, title row, then "Line" and the
    // records of each line as the pattern lays them out.
    bool SaveAscii(std::ostream& out, const xAsciiPattern& pattern,
                   const std::vector<std::int32_t>& lines = {});
    // The same with the pattern kept in patternFile: read from it when it is
    // there, else the default pattern; either way written back, so the last
    // pattern used returns.
    bool SaveAscii(std::ostream& out, const std::filesystem::path& patternFile,
                   const std::vector<std::int32_t>& lines = {});
    // Every record item in record order, each under its name.
    virtual xAsciiPattern DefaultPattern() const;
    // The title of a record item in the default pattern.
    virtual std::string ItemTitle(long item) const;

    // Block header at the stream's position; the stream is left at row 0.
    bool ReadLineHeader(xMLineBlock& line);
    void WriteLineHeader(const xMLineBlock& line);
    // Bytes of a line block header for a row length.
    long LineHeaderSize(long cols) const;

    // Smallest minimum and largest maximum over one component's channels;
    // false when the component is not in the file.
    bool ComponentRange(long component, float& low, float& high) const;
    // Index of the component's first channel in a record.
    virtual long ChannelOffset(long component) const;

    static const char* ItemName(long item);

    std::int32_t Version() const { return version_; }
    std::int32_t ActiveComponents() const { return activeComponents_; }
    std::int32_t LegacyChannels() const { return legacyChannels_; }
    std::int32_t Flight() const { return flight_; }
    void SetFlight(std::int32_t flight) { flight_ = flight; }
    std::int32_t Lines() const { return lines_; }
    std::int32_t Records() const { return records_; }
    float NoiseLevel() const { return noiseLevel_; }
    void SetNoiseLevel(float noise) { noiseLevel_ = noise; }
    std::int32_t UserItems() const { return userItems_; }
    const LongArray& Channels() const { return channels_; }
    const LongArray& ComponentFlags() const { return flags_; }
    const FloatArray& Min() const { return min_; }
    const FloatArray& Max() const { return max_; }

  protected:
    // Offsets of the channels, derived by the forms that keep them.
    virtual void DeriveChannelOffsets() {}
    // The form's part of the header behind the common one, at the stream's
    // position; each form reports its own failure.
    virtual bool ReadTail() { return true; }
    // True for forms whose tail settles the record's trailing items: the
    // common header alone cannot check their record length.
    virtual bool RecordLengthInTail() const { return false; }
    // Bytes left in the file from the stream's read position.
    std::int64_t BytesLeft();

    // Field readers of the header and the line blocks, at the stream's
    // position. A field that is missing or out of range is refused: its offset
    // and what was expected and found are kept, and Fail puts them behind the
    // class's own message. Nothing is sized before its length is known to fit
    // in what is left of the file.
    bool ReadField(std::int32_t& value, const std::string& what);
    bool ReadField(std::int32_t& value, const std::string& what, std::int64_t low,
                   std::int64_t high);
    bool ReadField(float& value, const std::string& what);
    bool SkipBytes(std::int64_t bytes, const std::string& what);
    // An array with bounds: any bounds whose length fits, or exactly low..high.
    bool ReadCheckedArray(FloatArray& array, const std::string& what);
    bool ReadCheckedArray(FloatArray& array, const std::string& what, long low, long high);
    bool ReadCheckedArray(LongArray& array, const std::string& what, long low, long high);
    // A matrix with bounds whose rows x cols floats fit.
    bool ReadMatrix(FloatMatrix& matrix, const std::string& what);
    // Whether rows x cols floats fit in what is left of the file. Each side is
    // held to the file's size on its own too: an empty matrix still makes its
    // rows, and sides of a few billion must not overflow the product.
    bool MatrixFits(std::int64_t rows, std::int64_t cols);
    // The extremes against the record the counts give.
    bool CheckRecordLength();
    // Keep the fault at offset for Fail; false.
    bool Refuse(std::int64_t offset, const std::string& expected, const std::string& found);
    bool RefuseShort(std::int64_t offset, const std::string& what);
    bool CheckRange(std::int64_t offset, const std::string& what, std::int64_t value,
                    std::int64_t low, std::int64_t high);
    // The class's message, followed by the fault kept since the last header
    // or line block read began, when there is one.
    void Fail(const std::string& format);
    // The internal line, made on first use, placed on a line by number.
    xMLine* LineForFid(std::int32_t number);
    // The header, read now when it has not been.
    bool EnsureHeader();
    // Each selected line of the file in turn through one window.
    template <class Body>
    bool ForEachLine(const std::vector<std::int32_t>& lines, Body body);

    std::int32_t version_ = CurrentVersion;
    std::int32_t activeComponents_ = 0;
    std::int32_t legacyChannels_ = 0;
    std::int32_t flight_ = 0;
    std::int32_t lines_ = 0;
    std::int32_t records_ = 0;
    float noiseLevel_ = 0.0f;
    std::int32_t userItems_ = 0;
    LongArray channels_;
    LongArray flags_;
    FloatArray min_;
    FloatArray max_;
    long orientationItems_ = 0;
    long lineCursor_ = 0;
    bool headerRead_ = false;
    std::int64_t firstLine_ = 0;  // first byte behind the header
    std::int64_t nextBlock_ = 0;
    std::unique_ptr<xMLine> fidLine_;
    std::string fault_;  // where and why the last read stopped

  private:
    bool ReadCommonHeader();
    // The lines and records against the bytes behind the header.
    bool CheckTotals();
    bool ReadBounds(std::int32_t& low, std::int32_t& high, const std::string& what);
    bool ReadExactBounds(long low, long high, const std::string& what);
    template <class Array>
    bool ReadValues(Array& array, const std::string& what);
};

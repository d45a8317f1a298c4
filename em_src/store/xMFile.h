#pragma once
// The survey file: a header followed by a chain of line blocks. The header is
// written twice, once to reserve its place and once more with the totals after
// the last line. No directory of lines exists: a reader steps from block to
// block by each block's size.

#include <cstdint>
#include <iosfwd>
#include <string>

#include "xArray.h"
#include "xDoc.h"
#include "xMLineBlock.h"
#include "xMatrix.h"

class xMFile : public xDoc {
  public:
    static constexpr std::int32_t CurrentVersion = 13;
    static constexpr std::int32_t LowestVersion = 6;
    static constexpr long ReservedArea = 1020;  // bytes 28..1047 of the header
    static constexpr long LineHeaderBase = 1060;

    xMFile();
    ~xMFile() override = default;

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
    // Bytes left in the file from the stream's read position.
    std::int64_t BytesLeft();
    // An array with bounds whose length must fit in what is left of the file.
    bool ReadCheckedArray(FloatArray& array);
    bool ReadCheckedArray(LongArray& array, long low, long high);
    void Fail(const std::string& format);

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
};

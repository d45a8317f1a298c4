#include "xMFile.h"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <ostream>

#include "BinaryStream.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xReadError.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace {

std::string WithName(const std::string& format, const std::string& name) {
    std::string text = format;
    if (auto at = text.find("%s"); at != std::string::npos) text.replace(at, 2, name);
    return text;
}

// The common header: the extremes begin behind the reserved area, and a
// header of R items takes kCommonHeaderBase + 8 R bytes.
constexpr std::int64_t kMinimumAt = 28 + xMFile::ReservedArea;
constexpr long kCommonHeaderBase = 1112;

// "3 bytes", "1 item".
std::string Count(std::int64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Bounds(std::int64_t low, std::int64_t high) {
    return std::to_string(low) + ".." + std::to_string(high);
}

void WriteZeros(std::ostream& out, std::size_t count) {
    static const char zeros[1024] = {};
    while (count > 0) {
        const std::size_t n = std::min(count, sizeof(zeros));
        out.write(zeros, std::streamsize(n));
        count -= n;
    }
}

}  // namespace

xMFile::xMFile() : channels_(100, 109), flags_(100, 109), min_(0, -1), max_(0, -1) {
    SetBinary(true);
}

// Out of line: the internal line is complete only here.
xMFile::~xMFile() = default;

long xMFile::RowLength() const {
    long sum = 0;
    for (long c = FirstComponent; c <= LastComponent; ++c)
        if (flags_[c] != 0) sum += channels_[c];
    return BaseItems() + ItemsPerComponent() * activeComponents_ + sum + userItems_ +
           orientationItems_;
}

long xMFile::HeaderSize() const {
    return kCommonHeaderBase + 8 * RowLength();
}

long xMFile::LineHeaderSize(long cols) const {
    return LineHeaderBase + 8 * cols + (version_ > CurrentVersion ? 8 + 4 * cols : 0);
}

void xMFile::InitFromDescriptor(const LongArray& channels, const LongArray& flags, long userItems) {
    activeComponents_ = 0;
    long sum = 0;
    for (long c = 100; c <= LastComponent; ++c) {
        channels_[c] = channels.InRange(c) ? channels[c] : 0;
        flags_[c] = flags.InRange(c) ? flags[c] : 0;
        if (c >= FirstComponent && flags_[c] != 0) {
            ++activeComponents_;
            sum += channels_[c];
        }
    }
    if (sum <= 0) Platform().Fatal("xMFile::InitFromDescriptor: no channels in the descriptor.");
    userItems_ = std::int32_t(userItems);
    legacyChannels_ = 0;
    DeriveChannelOffsets();
    min_.Resize(0, RowLength() - 1);
    max_.Resize(0, RowLength() - 1);
    min_ *= 0.0f;
    max_ *= 0.0f;
}

void xMFile::InitFromDescriptor(long channelsEach, const LongArray& flags, long userItems) {
    LongArray channels(100, 109);
    for (long c = FirstComponent; c <= LastComponent; ++c)
        channels[c] = (flags.InRange(c) && flags[c] != 0) ? std::int32_t(channelsEach) : 0;
    InitFromDescriptor(channels, flags, userItems);
}

void xMFile::CopyHeaderFrom(const xMFile& other) {
    flight_ = other.flight_;
    lines_ = other.lines_;
    records_ = other.records_;
    noiseLevel_ = other.noiseLevel_;
    userItems_ = other.userItems_;
    activeComponents_ = other.activeComponents_;
    orientationItems_ = other.orientationItems_;
    for (long c = 100; c <= LastComponent; ++c) {
        flags_[c] = other.flags_[c];
        channels_[c] = other.channels_[c];
    }
    DeriveChannelOffsets();
    min_.Resize(0, RowLength() - 1);
    max_.Resize(0, RowLength() - 1);
    for (long i = 0; i <= 4; ++i) {
        if (min_.InRange(i) && other.min_.InRange(i)) min_[i] = other.min_[i];
        if (max_.InRange(i) && other.max_.InRange(i)) max_[i] = other.max_[i];
    }
}

void xMFile::Fail(const std::string& format) {
    std::string text = WithName(format, Path().string());
    if (!fault_.empty()) text += "\n" + fault_;
    fault_.clear();
    Platform().Error(text);
}

bool xMFile::Refuse(std::int64_t offset, const std::string& expected, const std::string& found) {
    fault_ = AtOffset(Path(), offset, ExpectedFound(expected, found));
    return false;
}

bool xMFile::RefuseShort(std::int64_t offset, const std::string& what) {
    auto& s = Stream();
    s.clear();
    s.seekg(0, std::ios::end);
    const std::int64_t left = std::max<std::int64_t>(0, std::int64_t(s.tellg()) - offset);
    fault_ = AtOffset(Path(), offset,
                      "expected " + what + ", found " +
                          (left == 0 ? "the end of the file" : "only " + Count(left, "byte")));
    return false;
}

bool xMFile::CheckRange(std::int64_t offset, const std::string& what, std::int64_t value,
                        std::int64_t low, std::int64_t high) {
    if (value >= low && value <= high) return true;
    const std::string range = low == high
                                  ? " " + std::to_string(low)
                                  : " from " + std::to_string(low) + " to " + std::to_string(high);
    return Refuse(offset, what + range, std::to_string(value));
}

std::int64_t xMFile::BytesLeft() {
    auto& s = Stream();
    const auto here = s.tellg();
    if (here < 0) return 0;
    s.seekg(0, std::ios::end);
    const auto end = s.tellg();
    s.seekg(here);
    return end < here ? 0 : std::int64_t(end - here);
}

bool xMFile::ReadField(std::int32_t& value, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    return binary::Read(Stream(), value) || RefuseShort(at, what);
}

bool xMFile::ReadField(std::int32_t& value, const std::string& what, std::int64_t low,
                       std::int64_t high) {
    const std::int64_t at = Stream().tellg();
    return ReadField(value, what) && CheckRange(at, what, value, low, high);
}

bool xMFile::ReadField(float& value, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    return binary::Read(Stream(), value) || RefuseShort(at, what);
}

bool xMFile::SkipBytes(std::int64_t bytes, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    if (BytesLeft() < bytes) return RefuseShort(at, what + " of " + Count(bytes, "byte"));
    Stream().seekg(bytes, std::ios::cur);
    return true;
}

bool xMFile::ReadBounds(std::int32_t& low, std::int32_t& high, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    if (!ReadField(low, "the bounds of " + what) || !ReadField(high, "the bounds of " + what))
        return false;
    const std::int64_t count = std::int64_t(high) - low + 1;
    const std::int64_t room = BytesLeft() / 4;
    if (count >= 0 && count <= room) return true;
    return Refuse(at, "bounds of " + what + " that fit the " + Count(4 * room, "byte") + " left",
                  Bounds(low, high));
}

bool xMFile::ReadExactBounds(long low, long high, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    std::int32_t lo = 0, hi = 0;
    if (!ReadField(lo, "the bounds of " + what) || !ReadField(hi, "the bounds of " + what))
        return false;
    if (lo != low || hi != high)
        return Refuse(at, "bounds " + Bounds(low, high) + " of " + what, Bounds(lo, hi));
    const std::int64_t bytes = 4 * (std::int64_t(high) - low + 1);
    return BytesLeft() >= bytes || RefuseShort(at + 8, what + " of " + Count(bytes, "byte"));
}

template <class Array>
bool xMFile::ReadValues(Array& array, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    const auto count = std::size_t(array.Length());
    return binary::ReadBlock(Stream(), array.Data(), count) == count ||
           RefuseShort(at, what + " of " + Count(4 * std::int64_t(count), "byte"));
}

bool xMFile::ReadCheckedArray(FloatArray& array, const std::string& what) {
    std::int32_t low = 0, high = 0;
    if (!ReadBounds(low, high, what)) return false;
    array.Resize(low, high);
    return ReadValues(array, what);
}

bool xMFile::ReadCheckedArray(FloatArray& array, const std::string& what, long low, long high) {
    if (!ReadExactBounds(low, high, what)) return false;
    array.Resize(low, high);
    return ReadValues(array, what);
}

bool xMFile::ReadCheckedArray(LongArray& array, const std::string& what, long low, long high) {
    if (!ReadExactBounds(low, high, what)) return false;
    array.Resize(low, high);
    return ReadValues(array, what);
}

bool xMFile::ReadMatrix(FloatMatrix& matrix, const std::string& what) {
    const std::int64_t at = Stream().tellg();
    std::int32_t b[4] = {};
    for (auto& bound : b)
        if (!ReadField(bound, "the bounds of " + what)) return false;
    const std::int64_t rows = std::int64_t(b[1]) - b[0] + 1;
    const std::int64_t cols = std::int64_t(b[3]) - b[2] + 1;
    if (!MatrixFits(rows, cols))
        return Refuse(at,
                      "bounds of " + what + " that fit the " + Count(BytesLeft(), "byte") + " left",
                      Bounds(b[0], b[1]) + " x " + Bounds(b[2], b[3]));
    matrix.Resize(b[0], b[1], b[2], b[3]);
    const auto n = std::size_t(matrix.Count());
    return binary::ReadBlock(Stream(), matrix.Data(), n) == n ||
           RefuseShort(at + 16, what + " of " + Count(4 * std::int64_t(n), "byte"));
}

bool xMFile::MatrixFits(std::int64_t rows, std::int64_t cols) {
    const std::int64_t floats = BytesLeft() / 4;
    if (rows < 0 || cols < 0 || rows > floats || cols > floats) return false;
    return rows == 0 || cols <= floats / rows;
}

std::int32_t xMFile::ReadVersion() {
    auto& s = Stream();
    s.clear();
    s.seekg(0);
    std::int32_t version = 0;
    binary::Read(s, version);
    return version;
}

bool xMFile::ReadHeader() {
    static const char* readError = "xMFile::Error reading header from file < %s >";
    headerRead_ = false;
    fault_.clear();
    const auto refuse = [this](const char* format) {
        Fail(format);
        return false;
    };
    if (!IsOpen()) return refuse(readError);
    auto& s = Stream();
    s.clear();
    s.seekg(0);
    std::int32_t version = 0;
    if (!ReadField(version, "a version")) return refuse(readError);
    if (!CheckRange(0, "a version", version, LowestVersion, HighestVersion))
        return refuse(
            "xMFile::Unsupported format of data in %s. Update your data files to "
            "version 13.");
    version_ = version;
    if (!ReadCommonHeader() || (!RecordLengthInTail() && !CheckRecordLength()))
        return refuse(readError);
    DeriveChannelOffsets();
    if (!ReadTail()) return false;
    if (!CheckTotals()) return refuse(readError);
    headerRead_ = true;
    lineCursor_ = 0;
    firstLine_ = s.tellg();
    return true;
}

// Every count is held to what a file of this size could hold before anything
// is sized by it.
bool xMFile::ReadCommonHeader() {
    auto& s = Stream();
    const std::int64_t size = BytesLeft() + 4;
    if (size < kCommonHeaderBase)
        return RefuseShort(0, "a header of at least " + Count(kCommonHeaderBase, "byte"));
    const std::int64_t items = (size - kCommonHeaderBase) / 8;
    bool ok = ReadField(activeComponents_, "a component count", 1, LastComponent - 100) &&
              ReadField(legacyChannels_, "a channel count", 0, items) &&
              ReadField(flight_, "a flight number") && ReadField(lines_, "a line count") &&
              ReadField(records_, "a record count") && ReadField(noiseLevel_, "a noise level") &&
              ReadField(userItems_, "a user item count", 0, items);
    orientationItems_ = 0;
    for (long c = 100; c <= LastComponent; ++c) channels_[c] = 0;
    if (ok && version_ > 6) {
        orientationItems_ = 6;
        ok = ReadExactBounds(100, LastComponent, "the channels per component");
        for (long c = 100; ok && c <= LastComponent; ++c)
            ok = ReadField(channels_[c], "a channel count", 0, items);
    }
    ok = ok && SkipBytes(kMinimumAt - std::int64_t(s.tellg()), "the reserved area") &&
         ReadCheckedArray(min_, "the minimum array") &&
         ReadCheckedArray(max_, "the maximum array", min_.Low(), min_.High());
    const std::int64_t flagsAt = s.tellg();
    ok = ok && ReadCheckedArray(flags_, "the component flags", 100, LastComponent);
    long flagged = 0;
    for (long c = FirstComponent; ok && c <= LastComponent; ++c) flagged += flags_[c] != 0;
    ok = ok && (flagged == activeComponents_ ||
                Refuse(flagsAt + 8,
                       Count(activeComponents_, "flagged component") + " (the count at byte 4)",
                       std::to_string(flagged)));
    if (ok && version_ == 6) {
        for (long c = FirstComponent; c <= LastComponent; ++c)
            if (flags_[c] != 0) channels_[c] = legacyChannels_;
    }
    return ok;
}

bool xMFile::CheckRecordLength() {
    const long r = RowLength();
    if (min_.Low() == 0 && min_.Length() == r) return true;
    return Refuse(kMinimumAt,
                  "bounds " + Bounds(0, r - 1) + " of the minimum array (a record of " +
                      Count(r, "item") + " by the counts)",
                  Bounds(min_.Low(), min_.High()));
}

// Each line block takes at least its header; the records take R floats each.
bool xMFile::CheckTotals() {
    const std::int64_t left = BytesLeft();
    const std::int64_t block = LineHeaderSize(RowLength());
    if (!CheckRange(16, "a line count", lines_, 0, left / block)) return false;
    const std::int64_t rows = (left - lines_ * block) / (4 * std::max(RowLength(), 1L));
    return CheckRange(20, "a record count", records_, 0, rows);
}

bool xMFile::WriteHeader() {
    if (IsReadOnly()) return true;
    auto& s = Stream();
    s.clear();
    s.seekp(0);
    binary::Write<std::int32_t>(s, CurrentVersion);
    binary::Write<std::int32_t>(s, activeComponents_);
    binary::Write<std::int32_t>(s, 0);
    binary::Write<std::int32_t>(s, flight_);
    binary::Write<std::int32_t>(s, lines_);
    binary::Write<std::int32_t>(s, records_);
    binary::Write<float>(s, noiseLevel_);
    binary::Write<std::int32_t>(s, userItems_);
    channels_.WriteBinary(s, true);
    binary::Write<std::int16_t>(s, 0);
    WriteZeros(s, ReservedArea - 4 - 48 - 2);
    min_.WriteBinary(s, true);
    max_.WriteBinary(s, true);
    flags_.WriteBinary(s, true);
    if (!s) {
        Fail("xMFile::Error writing header to file < %s >");
        return false;
    }
    firstLine_ = s.tellp();
    return true;
}

void xMFile::DumpHeader(std::ostream& out) const {
    const std::string bar = "/" + std::string(35, '_');
    auto field = [&out](const char* label, auto value) { out << label << "\t: " << value << '\n'; };
    auto item = [](const FloatArray& a, long i) { return a.InRange(i) ? a[i] : 0.0f; };
    out << bar << '\n';
    field("/Version    ", CurrentVersion);
    field("/Flight     ", flight_);
    field("/No of Lines", lines_);
    field("/MinFid     ", item(min_, xRecordLayout::Fid));
    field("/MaxFid     ", item(max_, xRecordLayout::Fid));
    field("/MinX       ", item(min_, xRecordLayout::X));
    field("/MaxX       ", item(max_, xRecordLayout::X));
    field("/MinY       ", item(min_, xRecordLayout::Y));
    field("/MaxY       ", item(max_, xRecordLayout::Y));
    field("/MinZ       ", item(min_, xRecordLayout::Z));
    field("/MaxZ       ", item(max_, xRecordLayout::Z));
    field("/MinAltitude", item(min_, xRecordLayout::Altitude));
    field("/MaxAltitude", item(max_, xRecordLayout::Altitude));
    field("/Noise Level", noiseLevel_);
    out << bar << '\n';
}

void xMFile::AddLine(const xMLineBlock& line) {
    if (lines_ == 0) {
        lines_ = 0;
        records_ = 0;
        for (long i = min_.Low(); i <= min_.High(); ++i) {
            if (line.min.InRange(i)) min_[i] = line.min[i];
            if (line.max.InRange(i)) max_[i] = line.max[i];
        }
    } else {
        for (long i = min_.Low(); i <= min_.High(); ++i) {
            if (line.min.InRange(i)) min_[i] = std::min(min_[i], line.min[i]);
            if (line.max.InRange(i)) max_[i] = std::max(max_[i], line.max[i]);
        }
    }
    ++lines_;
    records_ += std::int32_t(line.rows);
}

long xMFile::ChannelOffset(long component) const {
    long c = 0, p = ItemsPerComponent();
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0) continue;
        if (id == component) return BaseItems() + p + c;
        c += channels_[id];
        p += ItemsPerComponent();
    }
    return 0;
}

bool xMFile::ComponentRange(long component, float& low, float& high) const {
    if (component < FirstComponent || component > LastComponent || flags_[component] == 0 ||
        channels_[component] <= 0)
        return false;
    const long first = ChannelOffset(component);
    const long last = first + channels_[component] - 1;
    if (!min_.InRange(first) || !min_.InRange(last)) return false;
    low = min_[first];
    high = max_[first];
    for (long i = first + 1; i <= last; ++i) {
        low = std::min(low, min_[i]);
        high = std::max(high, max_[i]);
    }
    return true;
}

const char* xMFile::ItemName(long item) {
    static const char* names[] = {"FID",      "East",     "North", "Z",  "Altitude",
                                  "Distance", "Error",    "RL",    "IL", "TSC",
                                  "ASC",      "FitDepth", "M1",    "M2", "Permittivity"};
    if (item < 0 || item >= long(std::size(names))) return "";
    return names[item];
}

// Line walk ----------------------------------------------------------------

void xMFile::ResetLines() {
    lineCursor_ = 0;
    Stream().clear();
    Stream().seekg(0);
    nextBlock_ = firstLine_;
}

bool xMFile::NextLine(xMLineBlock& line) {
    if (!headerRead_) {
        if (!ReadHeader()) return false;
        nextBlock_ = firstLine_;
    }
    if (lineCursor_ >= lines_) return false;
    if (lineCursor_ == 0) nextBlock_ = firstLine_;
    auto& s = Stream();
    s.clear();
    s.seekg(nextBlock_);
    if (!ReadLineHeader(line)) return false;
    nextBlock_ = line.End();
    ++lineCursor_;
    return true;
}

bool xMFile::FindLine(std::int32_t number, xMLineBlock& line) {
    if (!headerRead_ && !ReadHeader()) return false;
    ResetLines();
    while (NextLine(line))
        if (line.number == number) return true;
    return false;
}

// The block must hold the header's record length and fit, records and all,
// in what is left of the file before its rows are sized.
bool xMFile::ReadLineHeader(xMLineBlock& line) {
    fault_.clear();
    auto& s = Stream();
    line.position = s.tellg();
    const long r = RowLength();
    const std::int64_t head = LineHeaderSize(r);
    const std::int64_t rowsLeft = (BytesLeft() - head) / (4 * std::max(r, 1L));
    std::int32_t rowLow = 0, rowHigh = 0, colLow = 0, colHigh = 0;
    bool ok = (BytesLeft() >= head ||
               RefuseShort(line.position, "a line block header of " + Count(head, "byte"))) &&
              ReadField(rowLow, "the first row", 0, 0) &&
              ReadField(rowHigh, "a last row", -1, rowsLeft - 1) &&
              ReadField(colLow, "the first column", 0, 0) &&
              ReadField(colHigh, "the last column", r - 1, r - 1) &&
              ReadField(line.number, "a line number");
    ok = ok && (binary::ReadBlock(s, line.memo.data(), line.memo.size()) == line.memo.size() ||
                RefuseShort(line.position + 20, "a line memo"));
    ok = ok && ReadCheckedArray(line.min, "the line's minimum array", 0, r - 1) &&
         ReadCheckedArray(line.max, "the line's maximum array", 0, r - 1);
    if (ok && version_ > CurrentVersion)
        ok = ReadCheckedArray(line.mean, "the line's mean array", 0, r - 1);
    if (!ok) {
        Fail("xMFile::Error reading line from file < %s >");
        return false;
    }
    line.rows = long(rowHigh) + 1;
    line.cols = r;
    line.dataPosition = s.tellg();
    return true;
}

void xMFile::WriteLineHeader(const xMLineBlock& line) {
    auto& s = Stream();
    binary::Write<std::int32_t>(s, 0);
    binary::Write<std::int32_t>(s, std::int32_t(line.rows - 1));
    binary::Write<std::int32_t>(s, 0);
    binary::Write<std::int32_t>(s, std::int32_t(line.cols - 1));
    binary::Write<std::int32_t>(s, line.number);
    s.write(line.memo.data(), std::streamsize(line.memo.size()));
    line.min.WriteBinary(s, true);
    line.max.WriteBinary(s, true);
    if (version_ > CurrentVersion) line.mean.WriteBinary(s, true);
}

bool xMFile::ReadRows(const xMLineBlock& line, long first, long count, FloatMatrix& target) {
    if (first < 0 || count <= 0 || first + count > line.rows) return false;
    auto& s = Stream();
    s.clear();
    s.seekg(line.dataPosition + std::int64_t(first) * line.cols * 4);
    target.Resize(0, count - 1, 0, line.cols - 1);
    const std::size_t n = std::size_t(count) * std::size_t(line.cols);
    if (binary::ReadBlock(s, target.Data(), n) != n) {
        Fail("xMFile::Error reading line from file < %s >");
        return false;
    }
    return true;
}

// FID look-ups ------------------------------------------------------------------

bool xMFile::EnsureHeader() {
    return headerRead_ || ReadHeader();
}

std::vector<std::int32_t> xMFile::LineNumbers() {
    std::vector<std::int32_t> numbers;
    for (const xMLineBlock& block : LineBlocks()) numbers.push_back(block.number);
    return numbers;
}

std::string xMFile::MissingLineText(std::int32_t line) {
    std::string list;
    for (std::int32_t number : LineNumbers())
        list += (list.empty() ? "" : ", ") + std::to_string(number);
    return "Line " + std::to_string(line) + " is not in " + FileName() + "; its lines are " +
           (list.empty() ? "none" : list) + ".";
}

std::vector<xMLineBlock> xMFile::LineBlocks() {
    std::vector<xMLineBlock> blocks;
    if (!EnsureHeader()) return blocks;
    ResetLines();
    xMLineBlock block;
    while (NextLine(block)) blocks.push_back(block);
    return blocks;
}

xMLine* xMFile::LineForFid(std::int32_t number) {
    if (!EnsureHeader()) return nullptr;
    if (!fidLine_) fidLine_ = std::make_unique<xMLine>(this);
    if (!fidLine_->Find(number) || fidLine_->Rows() <= 0) return nullptr;
    return fidLine_.get();
}

long xMFile::RecordsBetween(std::int32_t line, float fid1, float fid2) {
    xMLine* found = LineForFid(line);
    if (!found) return 0;
    return std::labs(found->FindFidBracket(fid1) - found->FindFidBracket(fid2)) + 1;
}

bool xMFile::ReadFidWindow(std::int32_t line, float fid1, float fid2, FloatMatrix& target) {
    xMLine* found = LineForFid(line);
    if (!found) return false;
    const long a = found->FindFidBracket(fid1), b = found->FindFidBracket(fid2);
    if (a == b) return false;
    return ReadRows(found->Block(), std::min(a, b), std::labs(a - b) + 1, target);
}

bool xMFile::ReadAroundFid(std::int32_t line, float fid, long count, FloatMatrix& target) {
    if (count < 1) return false;
    xMLine* found = LineForFid(line);
    if (!found) return false;
    const long centre = found->FindFidBracket(fid);
    const long first = std::max(0L, centre - count / 2);
    const long last = std::min(found->LastRow(), centre + count / 2);
    return ReadRows(found->Block(), first, last - first + 1, target);
}

// ASCII forms ---------------------------------------------------------------------

template <class Body>
bool xMFile::ForEachLine(const std::vector<std::int32_t>& lines, Body body) {
    xMLine line(this);
    ResetLines();
    Platform().ProgressRange(0, lines_);
    long walked = 0;
    while (line.Next()) {
        Platform().ProgressAdvance(++walked);
        // A dump has no process to stop: a signal ends it between lines.
        Platform().Yield();
        if (Platform().Interrupted()) return false;
        if (!lines.empty() &&
            std::find(lines.begin(), lines.end(), line.LineNumber()) == lines.end())
            continue;
        if (!body(line)) return false;
    }
    // A walk that stops short of the header's count met a broken block.
    return lineCursor_ >= lines_;
}

namespace {

bool Written(std::ostream& out, bool ok) {
    if (ok && !out) {
        Platform().Error("Cannot write ASCII file");
        return false;
    }
    return ok;
}

}  // namespace

bool xMFile::DumpAscii(std::ostream& out, const std::vector<std::int32_t>& lines) {
    if (!EnsureHeader()) return false;
    Platform().ProgressOpen("Dumping " + FileName() + " file..");
    DumpHeader(out);
    const bool ok = ForEachLine(lines, [&out](xMLine& line) {
        line.Dump(out);
        for (long r = 0; r < line.Rows(); ++r) {
            const FloatArray& row = line.Row(r);
            for (long c = 0; c < line.Cols(); ++c) out << std::setw(14) << row[c];
            out << '\n';
        }
        return bool(out);
    });
    Platform().ProgressClose();
    return Written(out, ok);
}

bool xMFile::SaveAscii(std::ostream& out, const xAsciiPattern& pattern,
                       const std::vector<std::int32_t>& lines) {
    xAsciiPattern prepared = pattern;
    if (!EnsureHeader() || !prepared.Prepare(RowLength())) return false;
    Platform().ProgressOpen("Dumping " + FileName() + " file..");
    DumpHeader(out);
    prepared.WriteTitles(out);
    const long items = RowLength();
    const bool ok = ForEachLine(lines, [&](xMLine& line) {
        // The pattern was checked against the header's record length.
        if (line.Cols() != items) {
            Fail("xMFile::Error reading line from file < %s >");
            return false;
        }
        out << "Line " << std::setw(6) << line.LineNumber() << '\n';
        for (long r = 0; r < line.Rows(); ++r) prepared.WriteRecord(out, line.Row(r));
        return bool(out);
    });
    Platform().ProgressClose();
    return Written(out, ok);
}

bool xMFile::SaveAscii(std::ostream& out, const std::filesystem::path& patternFile,
                       const std::vector<std::int32_t>& lines) {
    xAsciiPattern pattern;
    if (std::filesystem::exists(patternFile)) {
        if (!pattern.Load(patternFile)) return false;
    } else {
        if (!EnsureHeader()) return false;
        pattern = DefaultPattern();
        Platform().Note("No ASCII pattern in " + patternFile.string() +
                        ": every record item is written, and that pattern is saved there.");
    }
    // Saved first, so that a pattern to be edited is there whatever the output does.
    return pattern.Save(patternFile) && SaveAscii(out, pattern, lines);
}

xAsciiPattern xMFile::DefaultPattern() const {
    xAsciiPattern pattern;
    for (long i = 0; i < RowLength(); ++i) pattern.Add(i, ItemTitle(i));
    return pattern;
}

std::string xMFile::ItemTitle(long item) const {
    if (item < BaseItems() && *ItemName(item) != '\0') return ItemName(item);
    const long angles = RowLength() - orientationItems_;
    static const char* angleNames[] = {"RxPitch", "RxRoll", "RxYaw", "TxPitch", "TxRoll", "TxYaw"};
    if (item >= angles && item - angles < long(std::size(angleNames)))
        return angleNames[item - angles];
    const long users = angles - userItems_;
    if (item >= users && item < angles) return "User" + std::to_string(item - users + 1);
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0 || channels_[id] <= 0) continue;
        const long first = ChannelOffset(id);
        if (item >= first && item < first + channels_[id])
            return ComponentName(id) + std::to_string(item - first + 1);
    }
    return "Item" + std::to_string(item);
}

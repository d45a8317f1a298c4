#include "xMFile.h"

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <ostream>

#include "BinaryStream.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace {

std::string WithName(const std::string& format, const std::string& name) {
    std::string text = format;
    if (auto at = text.find("%s"); at != std::string::npos) text.replace(at, 2, name);
    return text;
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
    return 1112 + 8 * RowLength();
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
    Platform().Error(WithName(format, Path().string()));
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

bool xMFile::ReadCheckedArray(FloatArray& array) {
    auto& s = Stream();
    std::int32_t low = 0, high = 0;
    if (!binary::Read(s, low) || !binary::Read(s, high)) return false;
    const std::int64_t count = std::int64_t(high) - low + 1;
    if (count < 0 || count * 4 > BytesLeft()) return false;
    array.Resize(low, high);
    return binary::ReadBlock(s, array.Data(), std::size_t(count)) == std::size_t(count);
}

bool xMFile::ReadCheckedArray(LongArray& array, long low, long high) {
    auto& s = Stream();
    std::int32_t lo = 0, hi = 0;
    if (!binary::Read(s, lo) || !binary::Read(s, hi)) return false;
    if (lo != low || hi != high) return false;
    array.Resize(low, high);
    return binary::ReadBlock(s, array.Data(), std::size_t(array.Length())) ==
           std::size_t(array.Length());
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
    if (!IsOpen()) {
        Fail(readError);
        return false;
    }
    auto& s = Stream();
    s.clear();
    s.seekg(0);
    std::int32_t version = 0;
    if (!binary::Read(s, version)) {
        Fail(readError);
        return false;
    }
    if (version < LowestVersion) {
        Platform().Error("xMFile::Unsupported format of data in " + Path().string() +
                         ". Update your data files to version " + "13" + ".");
        return false;
    }
    version_ = version;
    bool ok = binary::Read(s, activeComponents_) && binary::Read(s, legacyChannels_) &&
              binary::Read(s, flight_) && binary::Read(s, lines_) && binary::Read(s, records_) &&
              binary::Read(s, noiseLevel_);
    orientationItems_ = 0;
    long reserved = ReservedArea;
    ok = ok && binary::Read(s, userItems_);
    reserved -= 4;
    for (long c = 100; c <= LastComponent; ++c) channels_[c] = 0;
    if (ok && version_ > 6) {
        orientationItems_ = 6;
        std::int16_t spare = 0;
        ok = ReadCheckedArray(channels_, 100, 109) && binary::Read(s, spare);
        reserved -= 8 + 4 * 10 + 2;
    }
    ok = ok && BytesLeft() >= reserved;
    if (ok) s.seekg(reserved, std::ios::cur);
    ok = ok && ReadCheckedArray(min_) && ReadCheckedArray(max_) &&
         ReadCheckedArray(flags_, 100, 109);
    if (ok && version_ == 6) {
        for (long c = FirstComponent; c <= LastComponent; ++c)
            if (flags_[c] != 0) channels_[c] = legacyChannels_;
    }
    // Counts that no file of this size could hold mean the bytes are not a
    // survey file; refuse them before anything is sized by them.
    if (ok) {
        const std::int64_t limit = BytesLeft() + HeaderSize();
        ok = activeComponents_ >= 0 && userItems_ >= 0 && lines_ >= 0 && records_ >= 0;
        for (long c = FirstComponent; ok && c <= LastComponent; ++c)
            ok = channels_[c] >= 0 && channels_[c] <= limit;
        ok = ok && userItems_ <= limit && activeComponents_ <= 9 && RowLength() * 4 <= limit;
    }
    if (!ok) {
        Fail(readError);
        return false;
    }
    DeriveChannelOffsets();
    headerRead_ = true;
    lineCursor_ = 0;
    firstLine_ = s.tellg();
    return true;
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

bool xMFile::ReadLineHeader(xMLineBlock& line) {
    auto& s = Stream();
    line.position = s.tellg();
    std::int32_t rowLow = 0, rowHigh = 0, colLow = 0, colHigh = 0;
    bool ok = binary::Read(s, rowLow) && binary::Read(s, rowHigh) && binary::Read(s, colLow) &&
              binary::Read(s, colHigh) && binary::Read(s, line.number);
    ok = ok && binary::ReadBlock(s, line.memo.data(), line.memo.size()) == line.memo.size();
    ok = ok && ReadCheckedArray(line.min) && ReadCheckedArray(line.max);
    if (ok && version_ > CurrentVersion) ok = ReadCheckedArray(line.mean);
    const std::int64_t rows = std::int64_t(rowHigh) - rowLow + 1;
    const std::int64_t cols = std::int64_t(colHigh) - colLow + 1;
    ok = ok && cols > 0 && MatrixFits(rows, cols);
    if (!ok) {
        Fail("xMFile::Error reading line from file < %s >");
        return false;
    }
    line.rows = long(rows);
    line.cols = long(cols);
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

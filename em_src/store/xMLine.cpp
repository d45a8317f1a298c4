#include "xMLine.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "BinaryStream.h"
#include "xMFile.h"
#include "xPlatform.h"

namespace {
constexpr long kFid = xRecordLayout::Fid;
}  // namespace

namespace {

constexpr long NoFileError = 2500;

void ReportError(long number, int line) {
    char text[160];
    std::snprintf(text, sizeof(text), "XVT-Power++ Error: #%ld, File:%s, Line:%d", number,
                  "xMLine.cpp", line);
    Platform().Error(text);
}

}  // namespace

xMLine::xMLine(xMFile* file, long bufferRows) : file_(file), bufferRows_(std::max(bufferRows, 2L)) {
    if (!file_) {
        ReportError(NoFileError, __LINE__);
        return;
    }
    block_.cols = file_->RowLength();
    stats_.Reset(block_.cols);
    block_.memo[0] = block_.memo[1] = 0;
}

xMLine::~xMLine() {
    if (file_) Flush();
}

long xMLine::HeaderSize() const {
    return file_ ? file_->LineHeaderSize(block_.cols) : xMFile::LineHeaderBase + 8 * block_.cols;
}

// Line walk -------------------------------------------------------------------

bool xMLine::Next() {
    if (!file_ || !Flush()) return false;
    xMLineBlock block;
    return file_->NextLine(block) && Load(block);
}

bool xMLine::Find(std::int32_t number) {
    if (!file_ || !Flush()) return false;
    xMLineBlock block;
    return file_->FindLine(number, block) && Load(block);
}

bool xMLine::Load(const xMLineBlock& block) {
    if (!file_ || !Flush()) return false;
    block_ = block;
    fromFile_ = true;
    firstRow_ = false;
    windowRows_ = 0;
    windowFirst_ = 0;
    if (block_.rows > 0) PageIn(0);
    return true;
}

// Statistics --------------------------------------------------------------------

void xMLine::SetFirstRow(bool first) {
    firstRow_ = first;
}

void xMLine::Statistics(const float* record) {
    if (firstRow_) {
        // The merge starts over: the first record stands as it is, blanks and all.
        stats_.Reset(block_.cols);
        fromFile_ = false;
        firstRow_ = false;
    }
    stats_.Add(record, blank_.get());
}

void xMLine::SetBlankValue(const float* blank) {
    blank_.reset(blank ? new float(*blank) : nullptr);
}

long xMLine::ChannelRange(long component, long& first) const {
    if (!file_ || component < 100 || component > 109) return 0;
    const LongArray& channels = file_->Channels();
    if (!channels.InRange(component) || file_->ComponentFlags()[component] == 0) return 0;
    first = file_->ChannelOffset(component);
    return channels[component];
}

float xMLine::ComponentMax(long component) const {
    long first = 0;
    const long n = ChannelRange(component, first);
    return n > 0 ? ItemRangeMax(first, first + n - 1) : 0.0f;
}

float xMLine::ComponentMin(long component) const {
    long first = 0;
    const long n = ChannelRange(component, first);
    return n > 0 ? ItemRangeMin(first, first + n - 1) : 0.0f;
}

float xMLine::ItemRangeMax(long first, long last) const {
    const FloatArray& max = Max();
    float value = max[first];
    for (long i = first + 1; i <= last; ++i) value = std::max(value, max[i]);
    return value;
}

float xMLine::ItemRangeMin(long first, long last) const {
    const FloatArray& min = Min();
    float value = min[first];
    for (long i = first + 1; i <= last; ++i) value = std::min(value, min[i]);
    return value;
}

// Window ------------------------------------------------------------------------

const FloatArray& xMLine::Row(long r) {
    if (r < 0 || r >= block_.rows)
        Platform().Fatal("xMLine: row " + std::to_string(r) + " outside the line.");
    if (r < windowFirst_ || r >= windowFirst_ + windowRows_) PageIn(r);
    return window_[r - windowFirst_];
}

FloatArray& xMLine::RowForWriting(long r) {
    Row(r);
    windowDirty_ = true;
    return window_[r - windowFirst_];
}

void xMLine::PageIn(long r) {
    WriteWindow();
    // Centred on the row asked for; the first load of a line starts at row 0.
    long first = r - bufferRows_ / 2;
    first = std::max(0L, std::min(first, block_.rows - bufferRows_));
    const long count = std::min(bufferRows_, block_.rows - first);
    windowFirst_ = first;
    windowRows_ = 0;
    if (!file_->ReadRows(block_, first, count, window_))
        Platform().Fatal("xMLine: rows of line " + std::to_string(block_.number) +
                         " could not be read.");
    windowRows_ = count;
}

bool xMLine::WriteWindow() {
    if (!windowDirty_) return true;
    windowDirty_ = false;
    if (file_->IsReadOnly() || windowRows_ == 0) return true;
    auto& s = file_->Stream();
    s.clear();
    s.seekp(block_.dataPosition + std::int64_t(windowFirst_) * block_.cols * 4);
    binary::WriteBlock(s, window_.Data(), std::size_t(windowRows_) * std::size_t(block_.cols));
    s.flush();
    return bool(s);
}

bool xMLine::Flush() {
    return WriteWindow();
}

// FID searches --------------------------------------------------------------------

long xMLine::Guess(float value, float first, float last) const {
    // Linear interpolation keeps an evenly sampled line to a step or two. Equal
    // end values are the caller's fault; they start the walk at row 0.
    const float span = last - first;
    if (span == 0.0f) return 0;
    const double guess = double(LastRow()) * double(value - first) / double(span);
    if (!(guess >= 0.0)) return 0;
    if (guess > double(LastRow())) return LastRow();
    return long(guess);
}

long xMLine::FindFid(float value) {
    if (block_.rows <= 0 || value > MaxFid() || value < MinFid()) return 0;
    const float first = Item(0, kFid), last = Item(LastRow(), kFid);
    long row = Guess(value, first, last);
    const long step = (last - first) * (value - Item(row, kFid)) >= 0.0f ? 1 : -1;
    while (Item(row, kFid) != value) {
        row += step;
        if (row > LastRow()) return LastRow();
        if (row < 0) return 0;
    }
    return row;
}

// The walk shared by the bracket and nearest forms: one step from the guess, then
// on until value lies between the previous and the present row. Past an end the
// answer is that end and previous is set to it as well.
long xMLine::BracketWalk(float value, long item, long row, long& previous) {
    const float first = Item(0, item), last = Item(LastRow(), item);
    const long step = (last - first) * (value - Item(row, item)) >= 0.0f ? 1 : -1;
    previous = row;
    row += step;
    for (;;) {
        if (row > LastRow() || row < 0) {
            previous = row = row < 0 ? 0 : LastRow();
            return row;
        }
        const float present = Item(row, item), before = Item(previous, item);
        if (!((present - value) * (value - before) < 0.0f)) return row;
        previous = row;
        row += step;
    }
}

long xMLine::FindFidBracket(float value) {
    if (block_.rows <= 0 || value > MaxFid() || value < MinFid()) return 0;
    long previous = 0;
    return BracketWalk(value, kFid, Guess(value, Item(0, kFid), Item(LastRow(), kFid)), previous);
}

long xMLine::FindNearest(float value, long item) {
    if (block_.rows <= 0) return 0;
    long previous = 0;
    const long guess = Guess(value, Item(0, item), Item(LastRow(), item));
    const long row = BracketWalk(value, item, guess, previous);
    const float present = std::fabs(value - Item(row, item));
    const float before = std::fabs(value - Item(previous, item));
    return present <= before ? row : previous;
}

// Distance and dump -----------------------------------------------------------------

void xMLine::RecomputeDistance() {
    if (block_.rows <= 0 || block_.cols <= xRecordLayout::Distance) return;
    const float x0 = Item(0, xRecordLayout::X), y0 = Item(0, xRecordLayout::Y);
    for (long r = 0; r < block_.rows; ++r) {
        FloatArray& row = RowForWriting(r);
        const float dx = row[xRecordLayout::X] - x0, dy = row[xRecordLayout::Y] - y0;
        row[xRecordLayout::Distance] = std::sqrt(dx * dx + dy * dy);
    }
    Flush();
}

void xMLine::Dump(std::ostream& out) const {
    const char* bar = "//===================================";
    out << bar << "\n";
    out << "//Line     : " << block_.number << "\n";
    out << bar << "\n";
    out << "//No of Records : " << block_.rows << "\n";
    if (Min().Length() >= 5 && Max().Length() >= 5) {
        out << "//MinFid : " << MinFid() << "\n";
        out << "//MaxFid : " << MaxFid() << "\n";
        out << "//MinX   : " << MinX() << "\n";
        out << "//MaxX   : " << MaxX() << "\n";
        out << "//MinY   : " << MinY() << "\n";
        out << "//MaxY   : " << MaxY() << "\n";
        out << "//MinZ   : " << MinZ() << "\n";
        out << "//MaxZ   : " << MaxZ() << "\n";
        out << "//MinAltitude   : " << MinAltitude() << "\n";
        out << "//MaxAltitude   : " << MaxAltitude() << "\n";
    }
    out << bar << "\n";
}

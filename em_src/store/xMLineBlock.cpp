#include "xMLineBlock.h"

#include <algorithm>
#include <cstring>

#include "BinaryStream.h"
#include "xMFile.h"
#include "xPlatform.h"

xMLineStats::xMLineStats(long items) {
    Reset(items);
}

void xMLineStats::Reset(long items) {
    min_.Resize(0, items - 1);
    max_.Resize(0, items - 1);
    mean_.Resize(0, items - 1);
    min_ *= 0.0f;
    max_ *= 0.0f;
    mean_ *= 0.0f;
    count_ = 0;
}

void xMLineStats::Add(const float* record, const float* blank) {
    const long n = min_.Length();
    if (count_ == 0) {
        for (long i = 0; i < n; ++i) min_[i] = max_[i] = mean_[i] = record[i];
        count_ = 1;
        return;
    }
    const float count = float(count_);
    for (long i = 0; i < n; ++i) {
        float x = record[i];
        if (blank && x == *blank) {
            x = 0.0f;
        } else {
            if (blank && max_[i] == *blank) max_[i] = x;
            if (blank && min_[i] == *blank) min_[i] = x;
            if (x > max_[i]) max_[i] = x;
            if (x < min_[i]) min_[i] = x;
        }
        mean_[i] = (count * mean_[i] + x) / (count + 1.0f);
    }
    ++count_;
}

std::int16_t xMLineBlock::SmoothingFlag() const {
    std::int16_t flag = 0;
    std::memcpy(&flag, memo.data(), sizeof(flag));
    return binary::ToLittleEndian(flag);
}

xMLineWriter::xMLineWriter(xMFile& file, std::int32_t lineNumber, const float* blank)
    : file_(file), hasBlank_(blank != nullptr), blank_(blank ? *blank : 0.0f) {
    block_.number = lineNumber;
    block_.cols = file.RowLength();
    stats_.Reset(block_.cols);
    block_.min = stats_.Min();
    block_.max = stats_.Max();
    block_.mean = stats_.Mean();
    auto& s = file_.Stream();
    s.clear();
    s.seekp(0, std::ios::end);
    block_.position = s.tellp();
    block_.dataPosition = block_.position + file_.LineHeaderSize(block_.cols);
    if (!file_.IsReadOnly()) file_.WriteLineHeader(block_);
}

void xMLineWriter::AddRow(const float* record) {
    stats_.Add(record, hasBlank_ ? &blank_ : nullptr);
    if (!file_.IsReadOnly()) binary::WriteBlock(file_.Stream(), record, std::size_t(block_.cols));
}

void xMLineWriter::AddRows(const FloatMatrix& records) {
    for (long r = records.RowLow(); r <= records.RowHigh(); ++r) AddRow(records[r].Data());
}

bool xMLineWriter::ReadWindow(long first, long count, std::vector<float>& rows) {
    auto& s = file_.Stream();
    const std::size_t n = std::size_t(count) * std::size_t(block_.cols);
    rows.resize(n);
    s.clear();
    s.seekg(block_.dataPosition + std::int64_t(first) * block_.cols * 4);
    return binary::ReadBlock(s, rows.data(), n) == n;
}

void xMLineWriter::WriteWindow(long first, long count, const std::vector<float>& rows) {
    auto& s = file_.Stream();
    s.seekp(block_.dataPosition + std::int64_t(first) * block_.cols * 4);
    binary::WriteBlock(s, rows.data(), std::size_t(count) * std::size_t(block_.cols));
}

bool xMLineWriter::ReverseRows(long windowRows) {
    if (file_.IsReadOnly() || finished_) return !finished_;
    const std::size_t cols = std::size_t(block_.cols);
    std::vector<float> front, back;
    auto reverse = [cols](std::vector<float>& rows) {
        const std::size_t n = rows.size() / cols;
        for (std::size_t a = 0, b = n - 1; a < b; ++a, --b)
            std::swap_ranges(rows.begin() + std::ptrdiff_t(a * cols),
                             rows.begin() + std::ptrdiff_t((a + 1) * cols),
                             rows.begin() + std::ptrdiff_t(b * cols));
    };
    for (long low = 0, high = stats_.Count() - 1; low < high;) {
        const long count = std::min(std::max(windowRows, 1L), (high - low + 1) / 2);
        if (!ReadWindow(low, count, front) || !ReadWindow(high - count + 1, count, back))
            return false;
        reverse(front);
        reverse(back);
        WriteWindow(low, count, back);
        WriteWindow(high - count + 1, count, front);
        low += count;
        high -= count;
    }
    return bool(file_.Stream());
}

bool xMLineWriter::RewriteRows(const std::function<void(float* row)>& edit, long windowRows) {
    if (file_.IsReadOnly() || finished_) return !finished_;
    const long rows = stats_.Count();
    const std::size_t cols = std::size_t(block_.cols);
    stats_.Reset(block_.cols);
    const long step = std::max(windowRows, 1L);
    std::vector<float> window;
    for (long first = 0; first < rows; first += step) {
        const long count = std::min(step, rows - first);
        if (!ReadWindow(first, count, window)) return false;
        for (long r = 0; r < count; ++r) {
            float* row = window.data() + std::size_t(r) * cols;
            edit(row);
            stats_.Add(row, hasBlank_ ? &blank_ : nullptr);
        }
        WriteWindow(first, count, window);
    }
    return bool(file_.Stream());
}

bool xMLineWriter::Finish() {
    if (finished_) return false;
    finished_ = true;
    block_.rows = stats_.Count();
    block_.min = stats_.Min();
    block_.max = stats_.Max();
    block_.mean = stats_.Mean();
    if (!file_.IsReadOnly()) {
        auto& s = file_.Stream();
        s.seekp(block_.position);
        file_.WriteLineHeader(block_);
        s.seekp(0, std::ios::end);
        if (!s) {
            Platform().Error("xMFile::Error writing line to file < " + file_.Path().string() +
                             " >");
            return false;
        }
    }
    file_.AddLine(block_);
    return true;
}

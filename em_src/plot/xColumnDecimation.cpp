#include "xColumnDecimation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

xColumnGrid::xColumnGrid(double first, double last, long columns)
    : first_(first), columns_(std::max(1L, columns)) {
    width_ = (last - first) / double(columns_);
    if (width_ == 0.0) width_ = 1.0;  // a line of one place: one column of width 1
}

double xColumnGrid::Centre(long column) const {
    return first_ + (double(column) + 0.5) * width_;
}

long xColumnGrid::ColumnOf(double x) const {
    const double position = (x - first_) / width_;
    if (!(position >= 0.0) || position > double(columns_)) return -1;
    return std::min(columns_ - 1, long(position));
}

double xColumnGrid::Offset(double x, long column) const {
    return std::abs((x - Centre(column)) / width_);
}

xNearestPerColumn::xNearestPerColumn(const xColumnGrid& grid)
    : grid_(grid),
      record_(std::size_t(grid.Columns()), -1),
      offset_(std::size_t(grid.Columns()), std::numeric_limits<double>::infinity()) {}

bool xNearestPerColumn::Offer(double x, long record) {
    const long column = grid_.ColumnOf(x);
    if (column < 0) return false;
    const double offset = grid_.Offset(x, column);
    if (!(offset < offset_[std::size_t(column)])) return false;
    offset_[std::size_t(column)] = offset;
    record_[std::size_t(column)] = record;
    return true;
}

std::vector<long> xNearestPerColumn::SourceColumns(long maxGap) const {
    const long n = grid_.Columns();
    std::vector<long> source(std::size_t(n), -1);
    // Nearest kept column on each side, by two sweeps.
    std::vector<long> left(std::size_t(n), -1), right(std::size_t(n), -1);
    for (long c = 0, last = -1; c < n; ++c) {
        if (record_[std::size_t(c)] >= 0) last = c;
        left[std::size_t(c)] = last;
    }
    for (long c = n - 1, last = -1; c >= 0; --c) {
        if (record_[std::size_t(c)] >= 0) last = c;
        right[std::size_t(c)] = last;
    }
    for (long c = 0; c < n; ++c) {
        const long l = left[std::size_t(c)], r = right[std::size_t(c)];
        const long dl = l < 0 ? n + 1 : c - l, dr = r < 0 ? n + 1 : r - c;
        const long nearest = dl <= dr ? l : r;
        if (nearest >= 0 && std::min(dl, dr) <= maxGap) source[std::size_t(c)] = nearest;
    }
    return source;
}

std::vector<long> xNearestPerColumn::Kept(long maxGap) const {
    std::vector<long> kept = SourceColumns(maxGap);
    for (long& column : kept)
        if (column >= 0) column = record_[std::size_t(column)];
    return kept;
}

xEnvelopeDecimator::xEnvelopeDecimator(const xColumnGrid& grid) : grid_(grid) {}

void xEnvelopeDecimator::Add(double x, double y) {
    if (std::isnan(y)) {
        Flush();
        xs_.push_back(x);
        ys_.push_back(y);
        return;
    }
    const long column = grid_.ColumnOf(x);
    if (column != bucket_.column) Flush();
    Bucket& b = bucket_;
    if (b.count == 0) {
        b = Bucket{column, x, y, x, y, x, y, x, y, 0, 0, 0};
    } else {
        if (y < b.lowY) b.lowX = x, b.lowY = y, b.lowAt = b.count;
        if (y > b.highY) b.highX = x, b.highY = y, b.highAt = b.count;
        b.lastX = x, b.lastY = y;
    }
    ++b.count;
}

void xEnvelopeDecimator::Flush() {
    Bucket& b = bucket_;
    if (b.count == 0) return;
    auto put = [this](double x, double y) {
        xs_.push_back(x);
        ys_.push_back(y);
    };
    put(b.firstX, b.firstY);
    // The extremes in the order they came, each once, and never the ends again.
    std::pair<long, std::pair<double, double>> inner[2] = {{b.lowAt, {b.lowX, b.lowY}},
                                                           {b.highAt, {b.highX, b.highY}}};
    if (inner[1].first < inner[0].first) std::swap(inner[0], inner[1]);
    for (long i = 0; i < 2; ++i) {
        const long at = inner[i].first;
        if (at == 0 || at == b.count - 1 || (i == 1 && at == inner[0].first)) continue;
        put(inner[i].second.first, inner[i].second.second);
    }
    if (b.count > 1) put(b.lastX, b.lastY);
    b = Bucket{};
}

void xEnvelopeDecimator::Finish(std::vector<double>& xs, std::vector<double>& ys) {
    Flush();
    xs = std::move(xs_);
    ys = std::move(ys_);
}

#include "xSectionGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "xColumnDecimation.h"
#include "xMCond.h"
#include "xMLine.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

float Valid(float value) {
    return value == xMCond::NullValue ? kNaN : value;
}

void SizeGrid(const xMCond& cnd, const xSectionRequest& request, const xColumnGrid& columns,
              xSectionGrid& grid) {
    const auto n = std::size_t(columns.Columns());
    grid.line = request.line;
    grid.byFid = request.byFid;
    grid.sections = request.sections;
    grid.x.resize(n);
    for (std::size_t c = 0; c < n; ++c) grid.x[c] = columns.Centre(long(c));
    grid.surface.assign(n, kNaN);
    grid.sensor.assign(n, kNaN);
    grid.penetration.assign(n, kNaN);
    grid.depths.resize(std::size_t(cnd.DepthCount()));
    for (long d = 0; d < cnd.DepthCount(); ++d) grid.depths[std::size_t(d)] = -cnd.RelativeDepth(d);
    grid.values.assign(request.sections.size(), std::vector<float>(n * grid.depths.size(), kNaN));
}

void CopyRecord(const xMCond& cnd, const FloatArray& row, long column, xSectionGrid& grid) {
    const auto c = std::size_t(column);
    grid.surface[c] = row[xRecordLayout::Z];
    grid.sensor[c] = row[xRecordLayout::Altitude];
    const float penetration = Valid(row[xMCond::PenetrationItem]);
    grid.penetration[c] = penetration > 0.0f ? kNaN : -penetration;
    for (std::size_t s = 0; s < grid.sections.size(); ++s) {
        const long start = cnd.SectionStart(grid.sections[s]);
        for (long d = 0; d < grid.Depths(); ++d)
            grid.values[s][c * std::size_t(grid.Depths()) + std::size_t(d)] = Valid(row[start + d]);
    }
}

// Empty columns within a record's reach take the nearest kept column.
void FillGaps(const xNearestPerColumn& picks, long maxGap, xSectionGrid& grid) {
    const std::vector<long> source = picks.SourceColumns(maxGap);
    const auto depths = std::size_t(grid.Depths());
    for (std::size_t c = 0; c < source.size(); ++c) {
        const long from = source[c];
        if (from < 0 || std::size_t(from) == c) continue;
        const auto f = std::size_t(from);
        grid.surface[c] = grid.surface[f];
        grid.sensor[c] = grid.sensor[f];
        grid.penetration[c] = grid.penetration[f];
        for (auto& values : grid.values)
            std::copy_n(values.begin() + long(f * depths), depths,
                        values.begin() + long(c * depths));
    }
}

bool HasValue(const xSectionGrid& grid) {
    for (const auto& values : grid.values)
        for (float v : values)
            if (!std::isnan(v)) return true;
    return false;
}

}  // namespace

const char* SectionName(long section) {
    switch (section) {
        case 0:
            return "Discrete";
        case 1:
            return "Layered";
        case 2:
            return "Conductance";
    }
    return "Section";
}

bool ReadSectionGrid(xMCond& cnd, const xSectionRequest& request, xSectionGrid& grid,
                     std::string& error) {
    const std::string name = cnd.FileName();
    if (cnd.DepthCount() == 0) {
        error = name + " has no depths: its sections are empty. Run the CDI (704) again.";
        return false;
    }
    for (long section : request.sections)
        if (cnd.SectionStart(section) == 0) {
            error = name + " has no " + SectionName(section) + " section.";
            return false;
        }
    xMLine line(&cnd, 4096);
    if (!line.Find(request.line)) {
        error = cnd.MissingLineText(request.line);
        return false;
    }
    const long item = request.byFid ? xRecordLayout::Fid : xRecordLayout::Distance;
    const float first = line.Row(0)[item], last = line.Row(line.LastRow())[item];
    const xColumnGrid columns(first, last, std::min(request.columns, line.Rows()));
    SizeGrid(cnd, request, columns, grid);
    xNearestPerColumn picks(columns);
    for (long r = 0; r < line.Rows(); ++r) {
        const FloatArray& row = line.Row(r);
        if (picks.Offer(row[item], r)) CopyRecord(cnd, row, columns.ColumnOf(row[item]), grid);
    }
    // A column is filled across the spacing of the line's records, not across its gaps.
    const double spacing = std::abs(double(last) - first) / double(std::max(1L, line.LastRow()));
    const double width = std::abs(grid.Columns() > 1 ? grid.x[1] - grid.x[0] : 1.0);
    FillGaps(picks, long(std::ceil(1.5 * spacing / width)), grid);
    if (!HasValue(grid)) {
        error = "Line " + std::to_string(request.line) + " of " + name +
                " has no valid conductivity: every value is NULL.";
        return false;
    }
    return true;
}

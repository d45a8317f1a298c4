#include "xMapData.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>

#include "xMCond.h"
#include "xMLine.h"
#include "xProfileData.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Survey files mark a missing value and a NULL conductivity alike.
double Valid(float value) {
    return value == BlankValue || !std::isfinite(value) ? kNaN : double(value);
}

bool SameText(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char p, char q) {
        return std::tolower(static_cast<unsigned char>(p)) ==
               std::tolower(static_cast<unsigned char>(q));
    });
}

long ItemNamed(const xMFile& file, const std::string& name) {
    if (!name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
            return std::isdigit(static_cast<unsigned char>(c));
        }))
        return name.size() < 9 && std::stol(name) < file.RowLength() ? std::stol(name) : -1;
    for (long item = 0; item < file.RowLength(); ++item)
        if (SameText(file.ItemTitle(item), name)) return item;
    return -1;
}

std::string Metres(double value) {
    const long rounded = std::lround(value);
    return std::to_string(rounded) + " m";
}

// The item the tracks are coloured by, -1 for none, and its quantity.
bool ChooseValue(xMFile& file, const xMapRequest& request, xMapData& data, long& item,
                 std::string& error) {
    item = -1;
    if (request.depth) {
        auto* cnd = dynamic_cast<xMCond*>(&file);
        if (cnd == nullptr || cnd->DepthCount() == 0) {
            error = file.FileName() + " has no depths: a depth colours the map of a CDI file.";
            return false;
        }
        long nearest = 0;
        for (long d = 1; d < cnd->DepthCount(); ++d)
            if (std::abs(-cnd->RelativeDepth(d) - *request.depth) <
                std::abs(-cnd->RelativeDepth(nearest) - *request.depth))
                nearest = d;
        item = cnd->SectionStart(0) + nearest;
        data.quantity = "Conductivity at " + Metres(-cnd->RelativeDepth(nearest));
        data.unit = "mS/m";
        data.logValue = true;
        return true;
    }
    if (request.value.empty()) return true;
    item = ItemNamed(file, request.value);
    if (item < 0) {
        error = file.FileName() + " has no item \"" + request.value +
                "\": name one as tovarn dump titles it (e.g. Altitude) or give its index, 0 to " +
                std::to_string(file.RowLength() - 1) + ".";
        return false;
    }
    data.quantity = file.ItemTitle(item);
    const bool metres = item >= xRecordLayout::X && item <= xRecordLayout::Distance;
    data.unit = metres ? "m" : "";
    return true;
}

bool ChooseBlocks(xMFile& file, const xMapRequest& request, std::vector<xMLineBlock>& chosen,
                  std::string& error) {
    const std::vector<xMLineBlock> blocks = file.LineBlocks();
    if (request.lines.empty()) chosen = blocks;
    for (std::int32_t number : request.lines) {
        auto found = std::find_if(blocks.begin(), blocks.end(),
                                  [number](const xMLineBlock& b) { return b.number == number; });
        if (found == blocks.end()) {
            error = file.MissingLineText(number);
            return false;
        }
        chosen.push_back(*found);
    }
    return true;
}

// The length of a pixel: the wider side of the lines' extent over the pixels.
double PixelLength(const std::vector<xMLineBlock>& blocks, long pixels) {
    double xLow = HUGE_VAL, xHigh = -HUGE_VAL, yLow = HUGE_VAL, yHigh = -HUGE_VAL;
    for (const xMLineBlock& b : blocks) {
        if (b.rows == 0) continue;
        xLow = std::min(xLow, double(b.min[xRecordLayout::X]));
        xHigh = std::max(xHigh, double(b.max[xRecordLayout::X]));
        yLow = std::min(yLow, double(b.min[xRecordLayout::Y]));
        yHigh = std::max(yHigh, double(b.max[xRecordLayout::Y]));
    }
    const double side = std::max(xHigh - xLow, yHigh - yLow);
    return side > 0.0 && std::isfinite(side) ? side / double(std::max(1L, pixels)) : 0.0;
}

// A point is kept a pixel or more from the last one kept, and so is the
// line's last position, so that a line's ends are where its labels go.
void WalkTrack(xMLine& line, long item, double pixel, xMapTrack& track) {
    long lastKept = -1, lastValid = -1;
    auto keep = [&](long r) {
        const FloatArray& row = line.Row(r);
        track.x.push_back(row[xRecordLayout::X]);
        track.y.push_back(row[xRecordLayout::Y]);
        if (item >= 0) track.value.push_back(Valid(row[item]));
        lastKept = r;
    };
    for (long r = 0; r < line.Rows(); ++r) {
        const FloatArray& row = line.Row(r);
        const double x = Valid(row[xRecordLayout::X]), y = Valid(row[xRecordLayout::Y]);
        if (std::isnan(x) || std::isnan(y)) continue;
        lastValid = r;
        if (!track.x.empty() && std::hypot(x - track.x.back(), y - track.y.back()) < pixel)
            continue;
        keep(r);
    }
    if (lastValid > lastKept) keep(lastValid);
}

void Extend(const xMapTrack& track, xMapData& data, bool& first) {
    for (std::size_t i = 0; i < track.x.size(); ++i) {
        if (first) {
            data.xLow = data.xHigh = track.x[i];
            data.yLow = data.yHigh = track.y[i];
            first = false;
        }
        data.xLow = std::min(data.xLow, track.x[i]);
        data.xHigh = std::max(data.xHigh, track.x[i]);
        data.yLow = std::min(data.yLow, track.y[i]);
        data.yHigh = std::max(data.yHigh, track.y[i]);
    }
}

bool HasValue(const xMapData& data) {
    for (const xMapTrack& track : data.tracks)
        for (double v : track.value)
            if (!std::isnan(v)) return true;
    return false;
}

}  // namespace

bool ReadMapData(xMFile& file, const xMapRequest& request, xMapData& data, std::string& error) {
    long item = -1;
    if (!ChooseValue(file, request, data, item, error)) return false;
    std::vector<xMLineBlock> blocks;
    if (!ChooseBlocks(file, request, blocks, error)) return false;
    const double pixel = PixelLength(blocks, request.pixels);
    xMLine line(&file, 4096);
    bool first = true;
    for (const xMLineBlock& block : blocks) {
        if (!line.Load(block)) return false;
        xMapTrack track;
        track.line = block.number;
        WalkTrack(line, item, pixel, track);
        if (track.x.empty()) continue;
        Extend(track, data, first);
        data.tracks.push_back(std::move(track));
    }
    if (data.tracks.empty()) {
        error = file.FileName() + " has no line with a position (X, Y) to draw.";
        return false;
    }
    if (data.Coloured() && !HasValue(data)) {
        error = "The lines of " + file.FileName() + " have no valid " + data.quantity +
                ": every value is NULL.";
        return false;
    }
    return true;
}

#include "xMCond.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <ostream>

#include "BinaryStream.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace {

constexpr const char* kReadError = "xMCond::Error reading header from file < %s >";
constexpr const char* kWriteError = "xMCond::Error writing header to file < %s >";
constexpr const char* kCrossReadError = "xMCondCross::Error reading header from file < %s >";
constexpr const char* kCrossWriteError = "xMCondCross::Error writing header to file < %s >";

// Bytes of an array or a matrix with its bounds.
long ArrayBytes(long length) {
    return 8 + 4 * length;
}

std::string Number(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", double(value));
    return text;
}

}  // namespace

xMCond::xMCond() : depths_(0, -1), weights_(101, 109), histogram_(2, HistogramBins) {
    SetType("CND");
    for (long id = FirstComponent; id <= LastComponent; ++id)
        weights_[id] = id == 107 || id == 109 ? 1.0f : 0.0f;
    SyncTrailingItems();
}

void xMCond::Init(const FloatArray& depths, const LongArray& components) {
    version_ = CurrentVersion;
    legacyChannels_ = 0;
    lines_ = 0;
    records_ = 0;
    userItems_ = 0;
    activeComponents_ = 0;
    for (long id = 100; id <= LastComponent; ++id) {
        channels_[id] = 0;
        flags_[id] = id >= FirstComponent && components.InRange(id) ? components[id] : 0;
        if (flags_[id] != 0) ++activeComponents_;
    }
    depths_.Resize(0, depths.Length() - 1);
    for (long d = 0; d < depths.Length(); ++d) depths_[d] = -depths[depths.Low() + d];
    for (long id = FirstComponent; id <= LastComponent; ++id)
        weights_[id] = id == 107 || id == 109 ? 1.0f : 0.0f;
    Relayout();
}

void xMCond::SyncTrailingItems() {
    orientationItems_ = layerCount_ + SectionCount() * DepthCount();
}

void xMCond::Relayout() {
    SyncTrailingItems();
    min_.Resize(0, RowLength() - 1);
    max_.Resize(0, RowLength() - 1);
    min_ *= 0.0f;
    max_ *= 0.0f;
}

void xMCond::SetLayerCount(std::int32_t layers) {
    layerCount_ = std::max<std::int32_t>(0, layers);
    Relayout();
}

void xMCond::SetWeight(long component, float weight) {
    if (weights_.InRange(component)) weights_[component] = weight;
}

long xMCond::HeaderSize() const {
    return xMFile::HeaderSize() + 8 + ArrayBytes(depths_.Length()) + ArrayBytes(weights_.Length()) +
           16 + 4 * histogram_.Count();
}

// Header -------------------------------------------------------------------------

bool xMCond::ReadTail() {
    histogram_ = FloatMatrix();
    spectrumFlag_ = 0;
    cdiType_ = FullCdi;
    layerCount_ = 0;
    bool ok = ReadCheckedArray(depths_, "the depths") &&
              ReadCheckedArray(weights_, "the component weights", FirstComponent, LastComponent);
    if (ok && version_ > 7) ok = ReadMatrix(histogram_, "the histogram");
    if (ok && version_ > 9)
        ok = ReadField(spectrumFlag_, "a spectrum flag") && ReadField(cdiType_, "a CDI type");
    if (ok && version_ > 10) ok = ReadField(layerCount_, "a layer count", 0, min_.Length());
    // The extremes hold one value an item: the tail must give the same record.
    if (ok) {
        SyncTrailingItems();
        ok = CheckRecordLength();
    }
    if (!ok) Fail(kReadError);
    return ok;
}

bool xMCond::WriteHeader() {
    if (IsReadOnly()) return true;
    // A rewrite over written lines must take the bytes it took before.
    const std::int64_t reserved = lines_ > 0 ? firstLine_ : 0;
    if (!xMFile::WriteHeader() || !WriteTail()) return false;
    auto& s = Stream();
    if (reserved > 0 && std::int64_t(s.tellp()) != reserved) {
        Fail(kWriteError);
        return false;
    }
    firstLine_ = s.tellp();
    return true;
}

bool xMCond::WriteTail() {
    auto& s = Stream();
    depths_.WriteBinary(s, true);
    weights_.WriteBinary(s, true);
    histogram_.WriteBinary(s, true);
    // The version written is the current one, so the three words always follow.
    binary::Write<std::int32_t>(s, spectrumFlag_);
    binary::Write<std::int32_t>(s, cdiType_);
    binary::Write<std::int32_t>(s, layerCount_);
    if (!s) {
        Fail(kWriteError);
        return false;
    }
    return true;
}

const char* xMCond::CdiTypeName(std::int32_t type) {
    return type == BackgroundCdi ? "Background" : "Full CDI";
}

void xMCond::DumpHeader(std::ostream& out) const {
    xMFile::DumpHeader(out);
    out << '/' << DepthCount() << " Depths (m)" << '\n' << '/';
    for (long d = depths_.Low(); d <= depths_.High(); ++d)
        out << std::setw(10) << depths_[d] - depths_[depths_.Low()];
    out << '\n';
    out << '/' << std::setw(13) << "Type" << std::setw(5) << ": " << std::setw(14)
        << CdiTypeName(cdiType_) << '\n';
    DumpTailLines(out);
    out << '/' << std::string(45, '=') << '\n';
}

// Layout ---------------------------------------------------------------------------

long xMCond::SectionStart(long section) const {
    if (section < 0 || section >= SectionCount()) return 0;
    return BaseItems() + (activeComponents_ + 1) * layerCount_ + section * DepthCount();
}

long xMCond::SectionSize(long section) const {
    return section >= 0 && section < SectionCount() ? DepthCount() : 0;
}

long xMCond::LayerStart(long component) const {
    if (layerCount_ <= 0) return 0;
    if (component == 0) return BaseItems() + activeComponents_ * layerCount_;
    if (component < FirstComponent || component > LastComponent || flags_[component] == 0) return 0;
    // Each component's layers are its per-component items, just ahead of its
    // (empty) channel block.
    return ChannelOffset(component) - layerCount_;
}

std::string xMCond::ItemTitle(long item) const {
    static const char* names[] = {
        "FID", "X",   "Y",   "Z",        "Altitude",       "Distance",        "Error",       "RL",
        "IL",  "TSC", "ASC", "FitDepth", "Susceptibility", "Est.Penetration", "Permittivity"};
    if (item >= 0 && item < BaseItems()) return names[item];
    const long layers = layerCount_;
    for (long id = FirstComponent; id <= LastComponent && layers > 0; ++id) {
        if (flags_[id] == 0) continue;
        const long first = LayerStart(id);
        if (item >= first && item < first + layers)
            return ComponentName(id) + "_Layer" + std::to_string(item - first + 1);
    }
    if (const long first = LayerStart(0); layers > 0 && item >= first && item < first + layers)
        return "Layer" + std::to_string(item - first + 1);
    static const char* sections[] = {"DC(", "LC(", "CC("};
    for (long s = 0; s < SectionCount(); ++s) {
        const long first = SectionStart(s);
        if (item >= first && item < first + SectionSize(s))
            return sections[s] + Number(RelativeDepth(item - first)) + ")";
    }
    return "Item" + std::to_string(item);
}

// Extremes and depths ----------------------------------------------------------------

void xMCond::AddLine(const xMLineBlock& line) {
    UpdateExtremes(line);
    ++lines_;
    records_ += std::int32_t(line.rows);
}

void xMCond::UpdateExtremes(const xMLineBlock& line) {
    const bool first = lines_ == 0;
    for (long i = min_.Low(); i <= min_.High(); ++i) {
        if (line.min.InRange(i)) {
            const float v = line.min[i];
            if (first || (v != NullValue && (min_[i] == NullValue || v < min_[i]))) min_[i] = v;
        }
        if (line.max.InRange(i)) {
            const float v = line.max[i];
            if (first || (v != NullValue && (max_[i] == NullValue || v > max_[i]))) max_[i] = v;
        }
    }
}

float xMCond::Top() const {
    if (depths_.Length() == 0) return 0.0f;
    float top = depths_[depths_.Low()];
    for (long d = depths_.Low() + 1; d <= depths_.High(); ++d) top = std::max(top, depths_[d]);
    return top;
}

float xMCond::RelativeDepth(long d) const {
    return depths_.InRange(d) ? depths_[d] - Top() : 0.0f;
}

bool xMCond::ShiftDepthsByZmax() {
    if (depths_.Length() < 2) return false;
    const long last = depths_.High();
    if (!(std::fabs(depths_[last] - depths_[last - 1]) < ShiftStepLimit)) return false;
    const float zmax = max_.InRange(xRecordLayout::Z) ? max_[xRecordLayout::Z] : 0.0f;
    for (long d = depths_.Low(); d <= last; ++d) depths_[d] += zmax;
    return true;
}

// Cross-component form -----------------------------------------------------------------

xCrossPacking::xCrossPacking(long count) {
    while ((1L << bits_) < count) ++bits_;
    mask_ = 1L << bits_;
}

long xCrossPacking::Unpack(long& value, long slot) const {
    const long v = value >> (slot * bits_);
    const long r = v & mask_;
    value = (v - r) << (slot * bits_);
    return r;
}

xMCondCross::xMCondCross() : conductivities_(0, -1), selection_(1, MaxSelected) {
    SetType("CRS");
}

long xMCondCross::HeaderSize() const {
    return xMCond::HeaderSize() + ArrayBytes(conductivities_.Length()) +
           ArrayBytes(selection_.Length());
}

bool xMCondCross::ReadTail() {
    if (!xMCond::ReadTail()) return false;
    if (ReadCheckedArray(conductivities_, "the conductivities") &&
        ReadCheckedArray(selection_, "the component selection", 1, MaxSelected))
        return true;
    Fail(kCrossReadError);
    return false;
}

bool xMCondCross::WriteTail() {
    if (!xMCond::WriteTail()) return false;
    auto& s = Stream();
    conductivities_.WriteBinary(s, true);
    selection_.WriteBinary(s, true);
    if (!s) {
        Fail(kCrossWriteError);
        return false;
    }
    return true;
}

xCrossPacking xMCondCross::Packing() const {
    return xCrossPacking(conductivities_.Length() > 0 ? conductivities_.Length()
                                                      : xCrossPacking::DefaultCount);
}

bool xMCondCross::IsSelected(long id) const {
    if (id == 0) return false;
    for (long slot = 1; slot <= MaxSelected; ++slot)
        if (selection_[slot] == id) return true;
    return false;
}

long xMCondCross::Count() const {
    long count = 0;
    for (long slot = 1; slot <= MaxSelected; ++slot) count += selection_[slot] != 0;
    return count;
}

bool xMCondCross::Add(long id) {
    if (id < FirstComponent || id > LastComponent || IsSelected(id)) return false;
    for (long slot = 1; slot <= MaxSelected; ++slot) {
        if (selection_[slot] != 0) continue;
        selection_[slot] = std::int32_t(id);
        return true;
    }
    return false;
}

bool xMCondCross::Remove(long id) {
    for (long slot = 1; slot <= MaxSelected; ++slot) {
        if (id == 0 || selection_[slot] != id) continue;
        for (long next = slot; next < MaxSelected; ++next) selection_[next] = selection_[next + 1];
        selection_[MaxSelected] = 0;
        return true;
    }
    return false;
}

void xMCondCross::SelectFromFile() {
    if (Count() != 0) return;
    for (long id = FirstComponent; id <= LastComponent && Count() < MaxSelected; ++id)
        if (flags_[id] != 0) Add(id);
}

std::string xMCondCross::Names(const std::string& separator) const {
    std::string names;
    for (long slot = 1; slot <= MaxSelected; ++slot) {
        if (selection_[slot] == 0) continue;
        if (!names.empty()) names += separator;
        names += ComponentName(selection_[slot]);
    }
    return names;
}

void xMCondCross::DumpTailLines(std::ostream& out) const {
    out << '/' << std::setw(13) << "Components" << std::setw(5) << ": " << std::setw(14) << Names()
        << '\n';
    out << '/' << conductivities_.Length() << " Conductivities (mS/m)" << '\n' << '/';
    for (long c = conductivities_.Low(); c <= conductivities_.High(); ++c)
        out << std::setw(10) << conductivities_[c];
    out << '\n';
}

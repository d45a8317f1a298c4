#include "xMAmp.h"

#include <cstdio>
#include <iomanip>
#include <ostream>

#include "BinaryStream.h"
#include "xAofTau.h"
#include "xTRClasf.h"

namespace {

constexpr const char* kReadError = "xMAmp::Error reading header from file < %s >";
constexpr const char* kWriteError = "xMAmp::Error writing header to file < %s >";

}  // namespace

xMAmp::xMAmp() : taus_(0, -1) {
    SetType("AMP");
}

long xMAmp::ItemsPerComponent() const {
    // Files of these versions kept no primary items in front of the amplitudes.
    return version_ >= 9 && version_ <= 11 ? 0 : 2;
}

long xMAmp::HeaderSize() const {
    return xMData::HeaderSize() + 8 + 4 * taus_.Length() + 2 * MatrixBytes + 4;
}

void xMAmp::InitFromData(const xMData& bin, const FloatArray& taus, std::int32_t basisType) {
    version_ = CurrentVersion;
    CopyHeaderFrom(bin);
    legacyChannels_ = 0;
    lines_ = 0;
    records_ = 0;
    taus_ = taus;
    basisType_ = basisType;
    const auto channels = std::int32_t(2 * taus_.Length() + 1);
    for (long id = 100; id <= LastComponent; ++id)
        channels_[id] = id >= FirstComponent && flags_[id] != 0 ? channels : 0;
    DeriveChannelOffsets();
    min_.Resize(0, RowLength() - 1);
    max_.Resize(0, RowLength() - 1);
    min_ *= 0.0f;
    max_ *= 0.0f;
    for (long i = 0; i <= 4; ++i) {
        if (min_.InRange(i) && bin.Min().InRange(i)) min_[i] = bin.Min()[i];
        if (max_.InRange(i) && bin.Max().InRange(i)) max_[i] = bin.Max()[i];
    }
}

bool xMAmp::ReadTail() {
    if (!xMData::ReadTail()) return false;
    const std::int64_t tausAt = Stream().tellg();
    bool ok = ReadCheckedArray(taus_, "the taus");
    // Every component holds an amplitude and a background a tau and one more item.
    for (long id = FirstComponent; ok && id <= LastComponent; ++id)
        ok = flags_[id] == 0 || channels_[id] == 2 * taus_.Length() + 1 ||
             Refuse(tausAt,
                    std::to_string((channels_[id] - 1) / 2) + " taus (the " +
                        std::to_string(channels_[id]) + " channels of " + ComponentName(id) + ")",
                    std::to_string(taus_.Length()));
    // The two reserved matrices are passed over, whatever their size.
    FloatMatrix reserved;
    ok = ok && ReadMatrix(reserved, "a reserved matrix") &&
         ReadMatrix(reserved, "a reserved matrix");
    basisType_ = ApproximationExponent;
    if (ok && version_ > 9) ok = ReadField(basisType_, "a basis type");
    if (!ok) Fail(kReadError);
    return ok;
}

bool xMAmp::WriteHeader() {
    if (IsReadOnly()) return true;
    if (!xMData::WriteHeader()) return false;
    auto& s = Stream();
    taus_.WriteBinary(s, true);
    const FloatMatrix reserved(1, 1);
    reserved.WriteBinary(s, true);
    reserved.WriteBinary(s, true);
    // The version written is always above 9, so the basis type always follows.
    binary::Write<std::int32_t>(s, basisType_);
    if (!s) {
        Fail(kWriteError);
        return false;
    }
    firstLine_ = s.tellp();
    return true;
}

void xMAmp::DumpHeader(std::ostream& out) const {
    xMFile::DumpHeader(out);
    out << ApproximationName(basisType_) << '\n' << " Taus (sec)" << '\n';
    for (long t = taus_.Low(); t <= taus_.High(); ++t) out << std::setw(20) << taus_[t];
    out << '\n' << std::string(46, '=') << '\n';
}

long xMAmp::ComponentOf(long item) const {
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0 || channels_[id] <= 0) continue;
        const long first = ChannelOffset(id);
        if (item >= first - ItemsPerComponent() && item < first + channels_[id]) return id;
    }
    return 0;
}

long xMAmp::AmplitudeOffset(long component) const {
    if (component < FirstComponent || component > LastComponent) return 0;
    return flags_[component] != 0 ? ChannelOffset(component) : 0;
}

long xMAmp::BackgroundOffset(long component) const {
    const long first = AmplitudeOffset(component);
    return first == 0 ? 0 : first + TauCount();
}

long xMAmp::PrimaryLevelItem(long component) const {
    const long first = AmplitudeOffset(component);
    return first == 0 || ItemsPerComponent() < 2 ? 0 : first - 2;
}

long xMAmp::PrimaryCoefficientItem(long component) const {
    const long first = AmplitudeOffset(component);
    return first == 0 || ItemsPerComponent() < 2 ? 0 : first - 1;
}

std::string xMAmp::ItemTitle(long item) const {
    static const char* base[] = {"FID", "X", "Y", "Z", "Altitude", "Distance", "Error"};
    if (item >= 0 && item < BaseItems()) return base[item];
    if (const long id = ComponentOf(item); id != 0) {
        const long first = ChannelOffset(id);
        if (item == first - 2) return "Primary_" + ComponentName(id);
        if (item == first - 1) return "PrimaryCoef_" + ComponentName(id);
        char index[16];
        std::snprintf(index, sizeof index, "%3d", int(item - first + 1));
        return "A_" + ComponentName(id) + "(t=" + index + ")";
    }
    return xMData::ItemTitle(item);
}

xAsciiPattern xMAmp::DefaultPattern() const {
    xAsciiPattern pattern;
    for (long i = 0; i < BaseItems(); ++i) pattern.Add(i, ItemTitle(i));
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0) continue;
        const long first = ChannelOffset(id);
        for (long i = first; i < first + channels_[id]; ++i) pattern.Add(i, ItemTitle(i));
    }
    return pattern;
}

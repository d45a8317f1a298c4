#include "xEMDesc.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "DscStream.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xRxUnit.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kReadError = "xEMDesc::Read()  Error reading EM system descriptor.";
constexpr const char* kFormatError = "xEMDesc::Read()  Error reading format descriptor.";
constexpr const char* kWriteError = "xEMDesc::Write()  Error writing EM system descriptor.";
// More systems than components cannot be one descriptor.
constexpr long kMaxSystems = 9;

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

// The name in a component banner: "                         + TzRz +".
long BannerComponent(const std::string& line) {
    std::istringstream words(line);
    for (std::string word; words >> word;)
        if (long id = ComponentId(word); id != UndefinedComponent) return id;
    return UndefinedComponent;
}

void WriteBanner(std::ostream& out, long id) {
    const std::string indent(25, ' ');
    out << indent << "++++++++\n"
        << indent << "+ " << ComponentName(id) << " +\n"
        << indent << "++++++++\n";
}

// The system's message, and on its second line where the file broke.
void ReportReadError(const xDscReader& in) {
    if (in.Where().empty())
        Platform().Error(kReadError);
    else
        Platform().Error(std::string(kReadError) + '\n' + in.Where());
}

}  // namespace

xEMDesc::xEMDesc() {
    components_[109] = xEMCompDesc{};
}

bool xEMDesc::Read(const fs::path& path) {
    std::ifstream in(path);
    if (!in) {
        Platform().Error(std::string(kReadError) + '\n' + path.filename().string() +
                         ": the file cannot be opened");
        return false;
    }
    return Read(in, path);
}

bool xEMDesc::Read(std::istream& stream, const fs::path& name) {
    xDscReader in(stream, name);
    in.Skip("\"FILE FORMAT VERSION\"");
    long version = 0;
    if (!in.Numbers(version)) {
        ReportReadError(in);
        return false;
    }
    fileVersion_ = version;
    components_.clear();
    bool ok = true;
    if (version == 6) {
        Platform().Note("Currently unsupported version of EM descriptor (version 6)");
        return false;
    } else if (version == 8 || version == 9) {
        ok = ReadCurrent(in);
    } else if (version == 7) {
        long systems = 0;
        ok = in.Count(systems, 1, kMaxSystems);
        for (long s = 0; ok && s < systems; ++s) ok = ReadOldSystem(in, s == 0);
    } else {
        if (version != 5)
            Platform().Note("Unknown version of EM descriptor (version " + std::to_string(version) +
                            "). Conversion to version 8 is not guaranteed.");
        fileVersion_ = 5;  // read in the single-system way of version 5
        ok = ReadOldSystem(in, true);
    }
    if (ok && components_.empty())
        in.FailAt(in.LineNumber(), "the format gives no component any channels");
    if (!ok || components_.empty()) {
        if (components_.empty()) components_[109] = xEMCompDesc{};
        ReportReadError(in);
        return false;
    }
    Finish();
    return true;
}

bool xEMDesc::ReadCurrent(xDscReader& in) {
    if (!systemDesc.Read(in)) return false;
    // A header without the normalisation label has already read the separator.
    if (!systemDesc.HasPendingLine()) in.SkipSeparator();
    in.Skip("the component names");
    long counts[9] = {};
    if (!in.Numbers(counts[0], counts[1], counts[2], counts[3], counts[4], counts[5], counts[6],
                    counts[7], counts[8]))
        return false;
    in.SkipSeparator();
    const long present =
        std::count_if(std::begin(counts), std::end(counts), [](long n) { return n != 0; });
    for (long c = 0; c < present; ++c)
        if (!ReadComponent(in)) return false;
    const bool fd = IsFrequencyDomain();
    if (!formatDesc.Read(in, fileVersion_, fd)) {
        Platform().Error(kFormatError);
        return false;
    }
    return in.Ok();
}

bool xEMDesc::ReadComponent(xDscReader& in) {
    constexpr const char* kBanner = "a component banner such as \"+ TzRz +\"";
    in.Skip(kBanner);
    const long id = BannerComponent(in.Line(kBanner));
    if (in.Ok() && id == UndefinedComponent) in.Fail(kBanner);
    in.Skip(kBanner);
    if (!in.Ok()) return false;
    xEMCompDesc& component = components_[id];
    component.id = id;
    return component.wave.Read(in, fileVersion_, IsFrequencyDomain()) &&
           component.geometry.Read(in, fileVersion_);
}

// The older single-system block: header, waveform, geometry and format, with
// one component for every orientation that the format gives channels.
bool xEMDesc::ReadOldSystem(xDscReader& in, bool first) {
    xEMSDesc header;
    xEMWDesc wave;
    xEMGDesc geometry;
    xEMFDesc format;
    if (!header.Read(in)) return false;
    if (!header.HasPendingLine()) in.SkipSeparator();
    const bool fd = header.IsFrequencyDomain();
    if (!wave.Read(in, fileVersion_, fd) || !geometry.Read(in, fileVersion_)) return false;
    if (!format.Read(in, fileVersion_, fd)) {
        Platform().Error(kFormatError);
        return false;
    }
    if (first) {
        systemDesc = header;
        formatDesc = format;
    }
    const xTRClasf channels = format.ClassificationFromMaps();
    for (long id : channels.Ids()) {
        if (id == UndefinedComponent) continue;
        components_[id] = xEMCompDesc{id, wave, geometry};
    }
    return true;
}

void xEMDesc::Finish() {
    const std::string name = Lower(systemDesc.name);
    knownSystem_ = Unknown;
    if (name.find("geotem") != std::string::npos) knownSystem_ = Geotem;
    if (name.find("spectrem") != std::string::npos) knownSystem_ = Spectrem;
    if (name.find("questem") != std::string::npos) knownSystem_ = Questem;
    formatDesc.isFrequencyDomain = IsFrequencyDomain() ? 1 : 0;
    current_ = components_.begin()->first;
    fileVersion_ = CurrentVersion;
}

bool xEMDesc::Write(const fs::path& path) const {
    xOutputFile out;
    if (out.Open(path)) {
        Write(out.Stream());
        if (out.Commit()) return true;
    }
    Platform().Error(kWriteError);
    return false;
}

void xEMDesc::Write(std::ostream& out) const {
    out << "FILE FORMAT VERSION\n" << CurrentVersion << '\n';
    systemDesc.Write(out);
    out << dsc::Separator() << '\n';
    for (long id = FirstComponent; id <= LastComponent; ++id)
        out << std::setw(6) << ComponentName(id);
    out << '\n';
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        const auto found = components_.find(id);
        out << std::setw(6)
            << (found == components_.end() ? 0
                                           : found->second.wave.GetChannels(IsFrequencyDomain()));
    }
    out << '\n' << dsc::Separator() << '\n';
    for (const auto& [id, component] : components_) {
        WriteBanner(out, id);
        component.wave.Write(out, IsFrequencyDomain());
        component.geometry.Write(out);
    }
    formatDesc.Write(out);
}

int xEMDesc::SelectComponent(long id) {
    if (id == current_) return 1;
    if (!HasComponent(id)) return 0;
    current_ = id;
    return 1;
}

xTRClasf xEMDesc::GetClassification() const {
    xTRClasf channels;
    channels[109] = 0;
    const bool fd = IsFrequencyDomain();
    for (const auto& [id, component] : components_)
        channels[id] = std::int32_t(component.wave.GetChannels(fd) * (fd ? 2 : 1));
    return channels;
}

long xEMDesc::GetNumberOfChannels(long id) {
    return SelectComponent(id) ? components_.at(id).wave.GetChannels(IsFrequencyDomain()) : 0;
}

long xEMDesc::MaxChannelsExcept(long id) const {
    long most = 0;
    for (const auto& [other, component] : components_)
        if (other != id) most = std::max(most, component.wave.GetChannels(IsFrequencyDomain()));
    return most;
}

const xEMWDesc* xEMDesc::Wave(long id) {
    return SelectComponent(id) ? &components_.at(id).wave : nullptr;
}

const xEMGDesc* xEMDesc::Geometry(long id) {
    return SelectComponent(id) ? &components_.at(id).geometry : nullptr;
}

float xEMDesc::GetSeparation(long id, int axis) {
    const xEMGDesc* geometry = Geometry(id);
    if (!geometry) return 0.0f;
    switch (axis) {
        case AxisX:
            return geometry->GetSeparationX();
        case AxisY:
            return geometry->GetSeparationY();
        case AxisZ:
            return geometry->GetSeparationZ();
        default:
            return 0.0f;
    }
}

float xEMDesc::GetAbsSeparation(long id, int axis) {
    return std::abs(GetSeparation(id, axis));
}

int xEMDesc::PrimaryFieldAtReceiver(long id, FloatArray& field) {
    if (!SelectComponent(id)) return 0;
    xEMGDesc& geometry = components_.at(id).geometry;
    return geometry.PrimaryField(geometry.GetTxComponent(), geometry.GetSeparationX(),
                                 geometry.GetSeparationY(), geometry.GetSeparationZ(), field);
}

bool xEMDesc::HasFixedTransmitter(long id) const {
    return HasComponent(id) && components_.at(id).geometry.transmitter.IsFixed();
}

bool xEMDesc::HasLoopReceiver(long id) const {
    return HasComponent(id) && components_.at(id).geometry.receiver.IsLoop();
}

bool CheckSystemFiles(const fs::path& directory, const std::string& project,
                      const std::string& orientation) {
    for (const char* extension : {".EMF", ".EMG", ".EMW"}) {
        if (fs::exists(directory / (project + orientation + extension))) continue;
        std::string upper = project;
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char c) { return char(std::toupper(c)); });
        Platform().Error("Cannot find one or more of the system files for a " + orientation +
                         " orientation for the project " + upper +
                         ".  You will have to use the Tovarn Editor to create them before running "
                         "a process that requires them.");
        return false;
    }
    return true;
}

namespace {

constexpr double kMu0 = 1.25663706212e-6;

// Peak of the current's rate of change in 1/s, the current scaled to a peak of 1.
double PeakCurrentRate(const xWaveform& current, const xEMSDesc& header) {
    const FloatMatrix& s = current.samples;
    double peak = 0.0, rate = 0.0;
    for (long r = s.RowLow(); r <= s.RowHigh(); ++r)
        peak = std::max(peak, std::fabs(double(s[r][1])));
    for (long r = s.RowLow(); r < s.RowHigh(); ++r) {
        const double dt = header.RealSeconds(s[r + 1][0]) - header.RealSeconds(s[r][0]);
        if (dt > 0.0) rate = std::max(rate, std::fabs(double(s[r + 1][1]) - s[r][1]) / dt);
    }
    return peak > 0.0 ? rate / peak : 0.0;
}

// The sign of the receiver's primary where it is largest: the basis divides
// the data by it, so a primary stored negative turns the amplitudes over.
double PrimarySign(const xWaveform& primary) {
    const FloatMatrix& s = primary.samples;
    float largest = 0.0f;
    for (long r = s.RowLow(); r <= s.RowHigh(); ++r)
        if (std::fabs(s[r][1]) > std::fabs(largest)) largest = s[r][1];
    return largest < 0.0f ? -1.0 : 1.0;
}

// The free-space primary B per unit moment at the receiver.
double PrimaryPerMoment(const xEMGDesc& g, long id) {
    FloatArray field(0, 2);
    if (!g.PrimaryField(TxAxis(id), g.GetSeparationX(), g.GetSeparationY(), g.GetSeparationZ(),
                        field))
        return 0.0;
    // The size the lookups divide by, with the sign of the field along the
    // receiver's axis: data keep the sign the survey delivers them with.
    double size = std::sqrt(double(field[0]) * field[0] + double(field[1]) * field[1] +
                            double(field[2]) * field[2]);
    if (field[RxAxis(id) - 1] < 0.0f) size = -size;
    // A loop's routine gives the field per ampere; its moment is the area.
    const double area = g.transmitter.IsLoop() ? g.GetArea(TxAxis(id)) : 1.0;
    return area > 0.0 ? kMu0 * size / area : 0.0;
}

}  // namespace

double xEMDesc::PrimaryFractionFactor(long id, std::string& why) const {
    why.clear();
    const auto found = components_.find(id);
    if (found == components_.end()) {
        why = "the descriptor has no component " + ComponentName(id);
        return 0.0;
    }
    const xEMCompDesc& c = found->second;
    const std::string name = ComponentName(id);
    const xRxUnit unit = xRxUnit::Of(c.wave.rxPrimary.unit);
    if (unit.IsRelative()) return 1.0 / unit.Factor();
    if (!unit.IsAbsolute()) {
        why = "the receiver unit \"" + c.wave.rxPrimary.unit + "\" of " + name +
              " is none the system knows; set the unit of its receiver primary field in the "
              "descriptor (ppm, ppt, %, fT, pT, nT, Wb/m^2, V/amp/m^4, nV/amp/m^4, nV/amp/m^2)";
        return 0.0;
    }
    const xWaveform& tx = c.wave.txWaveform;
    const double moment = tx.unit == "amp/m^2" ? double(tx.AmplitudeFactor()) : 0.0;
    if (!(moment > 0.0)) {
        why = "the data of " + name + " are in " + c.wave.rxPrimary.unit +
              " but the descriptor does not give the transmitter moment; set the transmitter "
              "current's unit to amp/m^2 and its amplitude scaling to the peak moment (A m^2)";
        return 0.0;
    }
    const double primary = PrimaryPerMoment(c.geometry, id);
    const double peak = unit.kind() == xRxUnit::Kind::FieldRate && !IsFrequencyDomain()
                            ? PeakCurrentRate(tx, systemDesc)
                            : 1.0;
    if (primary == 0.0 || !(peak > 0.0)) {
        why = "the primary field of " + name +
              " at its receiver is 0 by the descriptor's geometry and transmitter current; "
              "check them in the descriptor";
        return 0.0;
    }
    return PrimarySign(c.wave.rxPrimary) * unit.Factor() / (moment * primary * peak);
}

std::vector<xEMFCheck> xEMDesc::CheckRecordFormat() const {
    std::vector<xEMFCheck> checks = formatDesc.Validate();
    xTRClasf channels;
    channels[109] = 0;
    for (const auto& [id, component] : components_)
        channels[id] = std::int32_t(component.wave.GetChannels(IsFrequencyDomain()));
    for (std::string& text : formatDesc.RecordProblems(channels))
        checks.push_back({std::move(text), false});
    return checks;
}

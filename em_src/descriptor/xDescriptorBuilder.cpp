#include "xDescriptorBuilder.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <numbers>
#include <sstream>

#include "xPlatform.h"
#include "xRxUnit.h"

namespace {

// Times closer than this (seconds) are the same instant: the tables are
// written to a microsecond or better.
constexpr double kTimeTolerance = 1e-9;
constexpr double kMicro = 1e6;
// The step of a derivative, in microseconds: far under any segment of the
// tables seen, far over the resolution of a float at 20000.
constexpr double kStepMicro = 0.01;

std::string Lower(std::string text) {
    for (char& c : text) c = char(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Number(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

const xGdfField* Column(const xGdfDefinition& layout, const std::string& name,
                        const std::string& usedFor) {
    const xGdfField* field = layout.Find(name);
    if (!field)
        Platform().Error("The layout " + layout.Source() + " has no column \"" + name +
                         "\" (given for " + usedFor + ").");
    return field;
}

// The samples of the half period [start, start + H] in microseconds from its
// start, the ends filled in where the table runs past them.
FloatMatrix HalfPeriodCurrent(const xStmSystem& system, double start) {
    const double end = start + system.HalfPeriod();
    std::vector<std::pair<double, double>> rows;
    auto add = [&rows](double t, double current) {
        if (rows.empty() || t > rows.back().first + kTimeTolerance) rows.emplace_back(t, current);
    };
    if (system.waveform.front().time < start - kTimeTolerance) add(start, system.CurrentAt(start));
    for (const xStmSample& s : system.waveform)
        if (s.time >= start - kTimeTolerance && s.time <= end + kTimeTolerance)
            add(s.time, s.current);
    if (system.waveform.back().time > end + kTimeTolerance) add(end, system.CurrentAt(end));

    // A table of a whole period gives both polarities; ours is the positive one.
    double peak = 0.0;
    for (const auto& row : rows)
        if (std::fabs(row.second) > std::fabs(peak)) peak = row.second;
    const double sign = system.PeriodsCovered() > 0.5 + 1e-6 && peak < 0.0 ? -1.0 : 1.0;

    FloatMatrix samples;
    samples.Resize(0, long(rows.size()) - 1, 0, 2);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        samples[long(r)][0] = float((rows[r].first - start) * kMicro);
        samples[long(r)][1] = float(sign * rows[r].second) + 0.0f;  // no -0 in the file
        samples[long(r)][2] = 0.0f;
    }
    return samples;
}

bool NamedItem(const std::string& item, long position, xEMFDesc& format) {
    for (int i = 0; i < xEMFDesc::NumberOfItems; ++i) {
        const auto which = xEMFDesc::Item(i);
        if (Lower(item) == Lower(xEMFDesc::ItemName(which))) {
            format.SetPosition(which, position);
            return true;
        }
    }
    return false;
}

// The unit the system file's forward model writes in: its normalisation, or
// SI scaled by its output scaling (1e15 on B is fT).
std::string SystemFileUnit(const xStmSystem& system, double scaling) {
    const std::string normalisation = Lower(system.normalisation);
    if (normalisation == "ppm" || normalisation == "ppt" || normalisation == "%")
        return normalisation;
    struct Scaled {
        double scaling;
        const char* b;
        const char* dbdt;
    };
    constexpr std::array<Scaled, 4> kScaled{{{1.0, "T", "V/amp/m^4"},
                                             {1e9, "nT", "nV/amp/m^4"},
                                             {1e12, "pT", "pV/amp/m^4"},
                                             {1e15, "fT", ""}}};
    for (const Scaled& s : kScaled)
        if (std::fabs(scaling / s.scaling - 1.0) < 1e-9)
            return system.output == xStmOutput::B ? s.b : s.dbdt;
    return "";
}

std::string KnownUnits() {
    std::string list;
    for (const std::string& name : xRxUnit::Names()) list += (list.empty() ? "" : ", ") + name;
    return list;
}

// The descriptor's unit of one channel group: the option, else the column's
// own, else what the system file writes along that axis.
std::string ChannelUnit(const std::string& option, const xGdfField& field, const xStmSystem& system,
                        int axis) {
    const std::string stated = option.empty() ? field.units : option;
    if (!stated.empty()) {
        const std::string unit = xRxUnit::FromSurvey(stated);
        if (unit.empty())
            Platform().Error("The unit \"" + stated + "\" of the channels \"" + field.name +
                             "\" is not one we know; give one of " + KnownUnits() +
                             " with --unit.");
        return unit;
    }
    const double scaling =
        axis == AxisX ? system.xScaling : (axis == AxisY ? system.yScaling : system.zScaling);
    const std::string unit = SystemFileUnit(system, scaling);
    if (unit.empty())
        Platform().Error("Neither the layout nor the system file says the unit of the channels \"" +
                         field.name + "\"; give one of " + KnownUnits() + " with --unit.");
    return unit;
}

// "-EMZ" is the column EMZ with its sign turned.
std::pair<std::string, float> SignedColumn(const std::string& text) {
    if (text.size() > 1 && text.front() == '-') return {text.substr(1), -1.0f};
    return {text, 1.0f};
}

// The transmitter waveform of data in an absolute unit: the current at a
// peak of 1, and the peak moment as its amplitude factor. Relative data keep
// the current as the system file gives it.
void DescribeMoment(const xStmSystem& system, const std::string& rxUnit, xWaveform& current) {
    if (xRxUnit::Of(rxUnit).IsRelative()) return;
    const std::optional<double> moment = xDescriptorBuilder::Moment(system, rxUnit);
    if (!moment) {
        Platform().Warning(
            "The system file gives no number of turns, loop area or peak current, "
            "so the moment of data in " +
            rxUnit +
            " is unknown; give the transmitter waveform the unit amp/m^2 and the peak moment "
            "(A m^2) as its amplitude scaling.");
        return;
    }
    xDescriptorBuilder::NormaliseToPeak(current);
    current.unit = "amp/m^2";
    current.scaleFirst = 1.0f;
    current.scaleSecond = float(*moment);
}

xEMSensorType Dipole(int axis) {
    xEMSensorType sensor;
    sensor.AddComponent(axis);
    return sensor;
}

// The named and user items of the record from the layout's columns.
bool FormatItems(const xGdfDefinition& layout,
                 const std::vector<std::pair<std::string, std::string>>& items, xEMFDesc& format) {
    format.userItems.clear();
    for (const auto& [item, column] : items) {
        const xGdfField* field = Column(layout, column, "the item \"" + item + "\"");
        if (!field) return false;
        if (!NamedItem(item, field->position, format)) {
            if (item.size() > xEMFDesc::MaxItemNameLength) {
                Platform().Error("The item name \"" + item + "\" is longer than " +
                                 std::to_string(xEMFDesc::MaxItemNameLength) + " characters.");
                return false;
            }
            format.userItems.push_back({item, field->position});
        }
    }
    for (int i = 0; i < xEMFDesc::NumberOfItems; ++i) {
        const auto which = xEMFDesc::Item(i);
        if (xEMFDesc::IsRequired(which) && format.Position(which) == 0) {
            Platform().Error("No column is given for the item \"" +
                             std::string(xEMFDesc::ItemName(which)) + "\".");
            return false;
        }
    }
    if (format.userItems.empty()) format.userItems = xEMFDesc().userItems;
    return true;
}

// The position of a column of one value per record.
bool SingleColumn(const xGdfDefinition& layout, const std::string& name, const std::string& usedFor,
                  long& position) {
    const xGdfField* field = Column(layout, name, usedFor);
    if (!field) return false;
    if (field->Items() != 1) {
        Platform().Error("The column \"" + name + "\" holds " + std::to_string(field->Items()) +
                         " items; " + usedFor + " takes one.");
        return false;
    }
    position = field->position;
    return true;
}

struct ChannelGroup {
    const xGdfField* field = nullptr;
    float sign = 1.0f;
    std::string unit;
};

// One receiver axis and its channel column, checked against the system file.
bool AddGroup(const xStmSystem& system, const xGdfDefinition& layout,
              const xDescriptorOptions& options, const std::string& axis,
              const std::string& signedColumn, std::map<long, ChannelGroup>& groups) {
    const long id = xDescriptorBuilder::ComponentOfAxis(axis);
    if (id == UndefinedComponent) {
        Platform().Error("Unknown receiver axis \"" + axis + "\"; the channels go by X, Y or Z.");
        return false;
    }
    if (groups.count(id)) {
        Platform().Error("The channels of " + axis + " are given twice.");
        return false;
    }
    const auto [column, sign] = SignedColumn(signedColumn);
    const xGdfField* field = Column(layout, column, "the channels of " + axis);
    if (!field) return false;
    const long windows = long(system.windows.size());
    if (field->Items() != windows) {
        Platform().Error("The column \"" + column + "\" holds " + std::to_string(field->Items()) +
                         " channels but the system file has " + std::to_string(windows) +
                         " windows.");
        return false;
    }
    const std::string unit = ChannelUnit(options.rxUnit, *field, system, RxAxis(id));
    if (unit.empty()) return false;
    groups[id] = {field, sign, unit};
    return true;
}

// The option's missing value, else the one NULL the channel columns share.
bool MissingValue(const xDescriptorOptions& options, const std::map<long, ChannelGroup>& groups,
                  std::optional<double>& missing) {
    missing = options.missingValue;
    if (missing) return true;
    for (const auto& [id, group] : groups) {
        if (!group.field->null) continue;
        if (missing && *missing != *group.field->null) {
            Platform().Error("The channel columns declare different NULL values (" +
                             Number(*missing) + " and " + Number(*group.field->null) +
                             "); give the one to use with --null.");
            return false;
        }
        missing = group.field->null;
    }
    return true;
}

// The group's unit, sign and moment in the waveform block of its component.
void DescribeWave(const xStmSystem& system, const ChannelGroup& group, xEMWDesc& wave) {
    for (long w = 0; w < wave.weights.Length(); ++w) wave.weights[w] = group.sign;
    DescribeMoment(system, group.unit, wave.txWaveform);
    wave.rxPrimary.unit = group.unit;
    wave.rxPrimary.samples =
        system.output == xStmOutput::B
            ? wave.txWaveform.samples
            : xDescriptorBuilder::Derivative(wave.txWaveform.samples, kStepMicro);
    xDescriptorBuilder::NormaliseToPeak(wave.rxPrimary);
}

}  // namespace

long xDescriptorBuilder::ComponentOfAxis(const std::string& axis) {
    const std::string a = Lower(axis);
    if (a == "x") return IdFromAxes(AxisZ, AxisX);
    if (a == "y") return IdFromAxes(AxisZ, AxisY);
    if (a == "z") return IdFromAxes(AxisZ, AxisZ);
    return UndefinedComponent;
}

double xDescriptorBuilder::FilterDelay(const xStmSystem& system) {
    double delay = 0.0;
    const std::size_t filters = std::min(system.lowPassCutOff.size(), system.lowPassOrder.size());
    for (std::size_t f = 0; f < filters; ++f) {
        const double cutOff = system.lowPassCutOff[f], order = std::round(system.lowPassOrder[f]);
        if (cutOff > 0.0 && order >= 1.0)
            delay += 1.0 /
                     (2.0 * std::numbers::pi * cutOff * std::sin(std::numbers::pi / (2.0 * order)));
    }
    return delay;
}

bool xDescriptorBuilder::HalfPeriodShift(const xStmSystem& system, double& shift) {
    const double half = system.HalfPeriod();
    if (system.waveform.empty() || half <= 0.0) return false;
    const double first = system.waveform.front().time;
    const double last = system.waveform.back().time;
    // A table of one half period starts it; in a longer one the windows say which
    // half. A table of a thousand half periods is no waveform of this system.
    constexpr int kMostHalfPeriods = 1000;
    int tried = 0;
    for (double start = first; start == first || start + half <= last + kTimeTolerance;
         start += half) {
        if (++tried > kMostHalfPeriods) return false;
        const bool fits =
            std::all_of(system.windows.begin(), system.windows.end(), [&](const xStmWindow& w) {
                return w.start >= start - kTimeTolerance && w.end <= start + half + kTimeTolerance;
            });
        if (fits) {
            shift = -start;
            return true;
        }
    }
    return false;
}

// Slopes per microsecond are small numbers, and the file keeps six decimals:
// the samples are kept at a peak of 1 and the peak goes into the amplitude
// scaling, whose factor (second over first) gives the samples back their size.
void xDescriptorBuilder::NormaliseToPeak(xWaveform& wave) {
    float peak = 0.0f;
    for (long r = 0; r < wave.samples.Rows(); ++r)
        peak = std::max(peak, std::abs(wave.samples[r][1]));
    if (peak == 0.0f || peak == 1.0f) return;
    for (long r = 0; r < wave.samples.Rows(); ++r) wave.samples[r][1] /= peak;
    wave.scaleFirst = 1.0f / peak;
    wave.scaleSecond = 1.0f;
}

std::optional<double> xDescriptorBuilder::Moment(const xStmSystem& system,
                                                 const std::string& rxUnit) {
    const xRxUnit unit = xRxUnit::Of(rxUnit);
    if (!unit.IsAbsolute()) return std::nullopt;
    if (xRxUnit::IsPerUnitMoment(rxUnit)) return 1.0;
    if (!system.numberOfTurns || !system.loopArea || !system.peakCurrent) return std::nullopt;
    return *system.numberOfTurns * *system.loopArea * *system.peakCurrent;
}

FloatMatrix xDescriptorBuilder::Derivative(const FloatMatrix& current, double epsilon) {
    const long n = current.Rows();
    const long low = current.RowLow();
    std::vector<std::pair<double, double>> rows;
    if (n == 1) rows.emplace_back(current[low][0], 0.0);
    std::vector<double> slopes;
    for (long r = low; r + 1 < low + n; ++r)
        slopes.push_back((double(current[r + 1][1]) - current[r][1]) /
                         (double(current[r + 1][0]) - current[r][0]));
    for (std::size_t k = 0; k < slopes.size(); ++k) {
        const double t = current[low + long(k)][0];
        if (k == 0) {
            // Before the first sample lies the end of the previous half period,
            // of the other sign: a jump there is written as a step like the others.
            const double before = -slopes.back();
            if (t == 0.0 && slopes[0] != before) {
                rows.emplace_back(t, before);
                rows.emplace_back(t + std::min(epsilon, (current[low + 1][0] - t) / 2.0),
                                  slopes[0]);
            } else {
                rows.emplace_back(t, slopes[0]);
            }
        } else if (slopes[k] != slopes[k - 1]) {
            const double next = current[low + long(k) + 1][0];
            rows.emplace_back(t, slopes[k - 1]);
            rows.emplace_back(t + std::min(epsilon, (next - t) / 2.0), slopes[k]);
        }
    }
    if (n > 1) rows.emplace_back(current[low + n - 1][0], slopes.back());

    FloatMatrix samples;
    samples.Resize(0, long(rows.size()) - 1, 0, 2);
    for (std::size_t r = 0; r < rows.size(); ++r) {
        samples[long(r)][0] = float(rows[r].first);
        samples[long(r)][1] = float(rows[r].second) + 0.0f;
        samples[long(r)][2] = 0.0f;
    }
    return samples;
}

bool xDescriptorBuilder::Build(const xStmSystem& system, const xGdfDefinition& layout,
                               const xDescriptorOptions& options, xEMDesc& descriptor) {
    if (system.output == xStmOutput::Unknown) {
        Platform().Error("The system file gives no output type that we know (\"" +
                         system.outputType + "\"); it must be B or dB/dt.");
        return false;
    }
    if (system.waveform.empty() || system.windows.empty()) {
        Platform().Error("The system file gives no waveform or no windows.");
        return false;
    }
    double shift = 0.0;
    if (!HalfPeriodShift(system, shift)) {
        Platform().Error("The windows of the system file do not lie within one half period of " +
                         Number(system.HalfPeriod() * kMicro) + " microsec.");
        return false;
    }
    if (Lower(system.windowWeighting) != "boxcar")
        Platform().Warning("The system file weights its windows by \"" + system.windowWeighting +
                           "\"; the descriptor averages each window as a boxcar.");
    const double delay = FilterDelay(system);
    if (delay > 0.0)
        Platform().Note("The receiver's low-pass filters of the system file delay a decay by " +
                        Number(delay * kMicro) +
                        " microsec; the descriptor's windows are taken that much earlier.");

    xEMFDesc format;
    if (!FormatItems(layout, options.items, format)) return false;

    const long windows = long(system.windows.size());
    std::map<long, ChannelGroup> groups;
    for (const auto& [axis, signedColumn] : options.channels)
        if (!AddGroup(system, layout, options, axis, signedColumn, groups)) return false;
    if (groups.empty()) {
        Platform().Error("No channel columns are given.");
        return false;
    }
    if (!MissingValue(options, groups, format.missingValue)) return false;

    const double half = system.HalfPeriod() * kMicro;
    xEMSDesc& header = descriptor.systemDesc;
    header = xEMSDesc();
    header.name = options.name.empty() ? system.name : options.name;
    header.version = options.version;
    header.definedBy = options.definedBy;
    header.dateDefined = options.dateDefined;
    header.nominalHalfPeriod = header.realHalfPeriod = header.halfPeriod = float(half);
    header.timeUnit = TimeUnit;
    header.waveformType = "halfperiod";
    header.normalization = Lower(system.normalisation) == "none" ? "total field" : "component";

    xEMWDesc wave;
    wave.windows.Resize(0, windows - 1, 0, 1);
    wave.weights.Resize(0, windows - 1);
    for (long w = 0; w < windows; ++w) {
        const xStmWindow& window = system.windows[std::size_t(w)];
        wave.windows[w][0] = float((window.start + shift - delay) * kMicro);
        wave.windows[w][1] = float((window.end + shift - delay) * kMicro);
    }
    wave.txWaveform.source = "nominal";
    wave.txWaveform.unit = "amp";
    wave.txWaveform.samples = HalfPeriodCurrent(system, -shift);
    wave.rxPrimary.source = "nominal";

    // The system file is normalised to a unit moment: a dipole is the transmitter.
    xEMGDesc geometry;
    geometry.transmitter = Dipole(AxisZ);
    geometry.SetPosition(xEMGDesc::Tx, 0.0f, 0.0f, 0.0f);

    descriptor.Components().clear();
    for (const auto& [id, group] : groups) {
        xEMCompDesc component;
        component.id = id;
        component.wave = wave;
        DescribeWave(system, group, component.wave);
        component.geometry = geometry;
        component.geometry.receiver = Dipole(RxAxis(id));
        component.geometry.SetPosition(xEMGDesc::Rx, options.rxOffset[0], options.rxOffset[1],
                                       options.rxOffset[2]);
        descriptor.Components()[id] = component;
    }
    descriptor.SelectComponent(groups.begin()->first);

    format.itemsPerRecord = layout.ItemsPerRecord();
    // The channel counts live in the components; a descriptor read from a file
    // holds no other classification in its format, nor does this one.
    format.SetChannels(windows);
    for (const auto& [id, group] : groups)
        for (long ch = 1; ch <= windows; ++ch)
            format.channelMap[ch][id] = float(group.field->position + ch - 1);
    descriptor.formatDesc = format;
    return true;
}

long xDescriptorBuilder::ComponentOfCoilPair(const std::string& axis) {
    const std::string a = Lower(axis);
    if (a == "x") return IdFromAxes(AxisX, AxisX);
    if (a == "y") return IdFromAxes(AxisY, AxisY);
    if (a == "z") return IdFromAxes(AxisZ, AxisZ);
    const long id = ComponentId(axis);
    return id >= FirstComponent && id <= LastComponent ? id : UndefinedComponent;
}

bool xDescriptorBuilder::BuildFrequencyDomain(const xGdfDefinition& layout,
                                              const xFdDescriptorOptions& options,
                                              xEMDesc& descriptor) {
    xEMFDesc format;
    if (!FormatItems(layout, options.items, format)) return false;
    if (options.components.empty()) {
        Platform().Error("No components are given.");
        return false;
    }

    struct Columns {
        std::vector<long> inPhase, quadrature;
    };
    std::map<long, Columns> positions;
    long channels = 0;
    for (const xFdComponentOptions& c : options.components) {
        const std::string name = ComponentName(c.id);
        if (c.id < FirstComponent || c.id > LastComponent) {
            Platform().Error("Unknown component " + std::to_string(c.id) + ".");
            return false;
        }
        if (positions.count(c.id)) {
            Platform().Error("The component " + name + " is given twice.");
            return false;
        }
        const std::size_t n = c.frequencies.size();
        if (n == 0 || c.inPhase.size() != n || c.quadrature.size() != n) {
            Platform().Error("The component " + name +
                             " needs one in-phase and one quadrature column per frequency.");
            return false;
        }
        Columns& columns = positions[c.id];
        for (std::size_t k = 0; k < n; ++k) {
            if (!(c.frequencies[k] > 0.0f)) {
                Platform().Error("The frequencies of " + name + " must be above 0 Hz.");
                return false;
            }
            const std::string at = Number(c.frequencies[k]) + " Hz of " + name;
            long ip = 0, q = 0;
            if (!SingleColumn(layout, c.inPhase[k], "the in-phase at " + at, ip) ||
                !SingleColumn(layout, c.quadrature[k], "the quadrature at " + at, q))
                return false;
            columns.inPhase.push_back(ip);
            columns.quadrature.push_back(q);
        }
        channels = std::max(channels, long(n));
    }

    xEMSDesc& header = descriptor.systemDesc;
    header = xEMSDesc();
    header.name = options.name;
    header.version = options.version;
    header.definedBy = options.definedBy;
    header.dateDefined = options.dateDefined;
    header.waveformType = "frequency domain";
    // In-phase and quadrature are given in parts of each component's own primary.
    header.normalization = "component";

    descriptor.Components().clear();
    for (const xFdComponentOptions& c : options.components) {
        xEMCompDesc component;
        component.id = c.id;
        const long n = long(c.frequencies.size());
        component.wave.frequencies.Resize(0, n - 1, 0, 0);
        component.wave.weights.Resize(0, n - 1);
        for (long k = 0; k < n; ++k) {
            component.wave.frequencies[k][0] = c.frequencies[std::size_t(k)];
            component.wave.weights[k] = 1.0f;
        }
        component.wave.rxPrimary.unit = xEMWDesc::FrequencyDomainUnit;
        component.geometry.transmitter = Dipole(TxAxis(c.id));
        component.geometry.SetPosition(xEMGDesc::Tx, 0.0f, 0.0f, 0.0f);
        component.geometry.receiver = Dipole(RxAxis(c.id));
        component.geometry.SetPosition(xEMGDesc::Rx, c.rxOffset[0], c.rxOffset[1], c.rxOffset[2]);
        descriptor.Components()[c.id] = component;
    }
    descriptor.SelectComponent(options.components.front().id);

    format.isFrequencyDomain = 1;
    format.itemsPerRecord = layout.ItemsPerRecord();
    format.SetChannels(channels);
    for (const auto& [id, columns] : positions)
        for (std::size_t k = 0; k < columns.inPhase.size(); ++k) {
            format.inPhaseMap[long(k) + 1][id] = float(columns.inPhase[k]);
            format.quadratureMap[long(k) + 1][id] = float(columns.quadrature[k]);
        }
    descriptor.formatDesc = format;
    return true;
}

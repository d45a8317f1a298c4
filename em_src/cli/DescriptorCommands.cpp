#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <iomanip>
#include <iostream>
#include <memory>
#include <ostream>
#include <sstream>

#include "Commands.h"
#include "xDescriptorBuilder.h"
#include "xEMDesc.h"
#include "xParamFields.h"
#include "xPlatform.h"
#include "xRxUnit.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

std::string Triple(const std::array<float, 3>& v) {
    std::ostringstream text;
    text << "(" << v[0] << ", " << v[1] << ", " << v[2] << ")";
    return text.str();
}

std::string Axes(const xEMSensorType& sensor) {
    std::string axes;
    for (int axis : sensor.UsedAxes()) axes += (axes.empty() ? "" : ",") + AxisName(axis);
    return axes.empty() ? "none" : axes;
}

void ShowSensor(const char* label, const xEMSensorType& sensor, std::ostream& out) {
    out << "    " << label << ": " << sensor.Mobility() << " " << sensor.Kind() << " along "
        << Axes(sensor) << " at " << Triple(sensor.Position()) << " m";
    if (sensor.IsLoop()) out << ", area " << sensor.GetArea(AxisZ) << " m^2";
    out << '\n';
}

void ShowWaveform(const char* label, const xWaveform& wave, std::ostream& out) {
    out << "    " << label << ": " << wave.source;
    const long rows = wave.samples.Rows();
    if (rows > 0)
        out << ", " << rows << " samples from " << wave.samples[0][0] << " to "
            << wave.samples[rows - 1][0] << " (nominal), unit [" << wave.unit << "]";
    out << '\n';
}

void ShowSampling(const xEMDesc& descriptor, const xEMWDesc& wave, std::ostream& out) {
    const xEMSDesc& header = descriptor.systemDesc;
    if (descriptor.IsFrequencyDomain()) {
        out << "    frequencies (Hz)      weight\n";
        for (long r = 0; r < wave.frequencies.Rows(); ++r)
            out << "    " << std::setw(14) << wave.frequencies[r][0] << std::setw(12)
                << wave.weights[r] << '\n';
        return;
    }
    out << "    window        start          end     start (s)       end (s)   weight\n";
    for (long r = 0; r < wave.windows.Rows(); ++r) {
        out << "    " << std::setw(6) << r + 1 << std::setw(13) << wave.windows[r][0]
            << std::setw(13) << wave.windows[r][1] << std::setw(14)
            << header.RealSeconds(wave.windows[r][0]) << std::setw(14)
            << header.RealSeconds(wave.windows[r][1]) << std::setw(9) << wave.weights[r] << '\n';
    }
}

// What a data unit of the component is worth: relative, or per the moment.
std::string MomentText(const xWaveform& current, const std::string& rxUnit) {
    if (xRxUnit::Of(rxUnit).IsRelative()) return "relative to the primary field";
    if (current.unit != "amp/m^2") return "moment unknown";
    std::ostringstream text;
    text << "moment " << current.AmplitudeFactor() << " A m^2";
    return text.str();
}

void ShowComponent(xEMDesc& descriptor, long id, std::ostream& out) {
    const xEMCompDesc& component = descriptor.Components().at(id);
    out << "\nComponent " << ComponentName(id) << ": "
        << component.wave.GetChannels(descriptor.IsFrequencyDomain()) << " channels\n";
    if (!descriptor.IsFrequencyDomain()) {
        ShowWaveform("transmitter current", component.wave.txWaveform, out);
        ShowWaveform("receiver primary field", component.wave.rxPrimary, out);
        out << "    data: " << component.wave.rxPrimary.unit << ", "
            << MomentText(component.wave.txWaveform, component.wave.rxPrimary.unit) << '\n';
    }
    ShowSampling(descriptor, component.wave, out);
    ShowSensor("transmitter", component.geometry.transmitter, out);
    ShowSensor("receiver", component.geometry.receiver, out);
    const xEMGDesc& g = component.geometry;
    out << "    separation receiver - transmitter: (" << g.GetSeparationX() << ", "
        << g.GetSeparationY() << ", " << g.GetSeparationZ() << ") m\n";
    FloatArray field(0, 2);
    if (descriptor.PrimaryFieldAtReceiver(id, field))
        out << "    primary field at the receiver (x, y, z) per unit "
            << (g.transmitter.IsLoop() ? "current, 1/m" : "moment, 1/m^3") << ": (" << field[0]
            << ", " << field[1] << ", " << field[2] << ")\n";
}

// "a=b,c=d" in order; false, with a message, on an item without "=".
bool ParsePairs(const std::string& text, const char* option,
                std::vector<std::pair<std::string, std::string>>& pairs) {
    for (const auto& item : SplitList(text)) {
        const auto equals = item.find('=');
        if (equals == std::string::npos || equals == 0 || equals + 1 == item.size()) {
            Platform().Error(std::string(option) +
                             " wants NAME=COLUMN items separated by commas, not \"" + item + "\".");
            return false;
        }
        pairs.emplace_back(item.substr(0, equals), item.substr(equals + 1));
    }
    return true;
}

bool ReadLayout(const fs::path& file, xGdfDefinition& layout) {
    std::string extension = file.extension().string();
    for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
    return extension == ".hdr" ? layout.ReadHdr(file) : layout.ReadDfn(file);
}

// "Z:382=CPI400_F/CPQ400_F,1822=CPI1800_F/CPQ1800_F": a coil pair, then each
// frequency with its in-phase and quadrature columns.
bool ParseComponent(const std::string& text, xFdComponentOptions& component) {
    const auto fail = [&text]() {
        Platform().Error(
            "--component wants PAIR:FREQUENCY=INPHASE/QUADRATURE,... (e.g. "
            "Z:382=CPI400_F/CPQ400_F), not \"" +
            text + "\".");
        return false;
    };
    const auto colon = text.find(':');
    if (colon == std::string::npos) return fail();
    component.id = xDescriptorBuilder::ComponentOfCoilPair(text.substr(0, colon));
    if (component.id == UndefinedComponent) {
        Platform().Error("Unknown coil pair \"" + text.substr(0, colon) +
                         "\"; give X (coaxial), Y, Z (horizontal coplanar) or a component "
                         "name such as TzRz.");
        return false;
    }
    for (const auto& item : SplitList(text.substr(colon + 1))) {
        const auto equals = item.find('=');
        const auto slash = item.find('/', equals == std::string::npos ? 0 : equals);
        double frequency = 0.0;
        if (equals == std::string::npos || slash == std::string::npos || slash == equals + 1 ||
            slash + 1 == item.size() || !ParseDouble(item.substr(0, equals), frequency))
            return fail();
        component.frequencies.push_back(float(frequency));
        component.inPhase.push_back(item.substr(equals + 1, slash - equals - 1));
        component.quadrature.push_back(item.substr(slash + 1));
    }
    return !component.frequencies.empty() || fail();
}

// "DX,DY,DZ" in metres.
bool ParseOffset(const std::string& text, const char* option, std::array<float, 3>& offset) {
    const auto parts = SplitList(text);
    double value[3] = {};
    bool ok = parts.size() == 3;
    for (std::size_t i = 0; ok && i < 3; ++i) ok = ParseDouble(parts[i], value[i]);
    if (!ok) {
        Platform().Error(std::string(option) + " wants three numbers DX,DY,DZ in metres, not \"" +
                         text + "\".");
        return false;
    }
    offset = {float(value[0]), float(value[1]), float(value[2])};
    return true;
}

bool ReadDescriptor(const fs::path& file, xEMDesc& descriptor) {
    if (!fs::exists(file)) {
        Platform().Error("Cannot find specified descriptor file.");
        return false;
    }
    return descriptor.Read(file);
}

}  // namespace

int DescriptorShow(const fs::path& file, std::ostream& out) {
    xEMDesc descriptor;
    if (!ReadDescriptor(file, descriptor)) return kFailed;
    const xEMSDesc& h = descriptor.systemDesc;
    out << "System:        " << h.name << "  (version " << h.version << ", defined by "
        << h.definedBy << ", " << h.dateDefined << ")\n"
        << "Waveform:      " << h.waveformType << ", normalised by " << h.normalization << '\n';
    if (!descriptor.IsFrequencyDomain())
        out << "Time scaling:  nominal half period " << h.nominalHalfPeriod << " = "
            << h.realHalfPeriod << " " << h.timeUnit << " real ("
            << h.RealSeconds(h.nominalHalfPeriod) << " s)\n";
    out << "Components:   ";
    const xTRClasf channels = descriptor.GetClassification();
    for (long id : channels.Ids()) out << " " << ComponentName(id) << "=" << channels[id];
    out << (descriptor.IsFrequencyDomain() ? "  (in-phase and quadrature)\n" : "\n");
    for (const auto& [id, component] : descriptor.Components()) ShowComponent(descriptor, id, out);
    const xEMFDesc& f = descriptor.formatDesc;
    out << "\nRecords: " << f.itemsPerRecord << " items, " << f.commentLines << " comment lines, "
        << (f.geosoftFormat ? "Geosoft XYZ form" : "line label in a column") << "; line "
        << f.posLine << ", FID " << f.posFid << ", east " << f.posEast << ", north " << f.posNorth
        << ", z_topo " << f.posZTopo << ", altitude " << f.posAltitude << '\n';
    if (f.missingValue) {
        std::ostringstream missing;
        missing << std::setprecision(10) << *f.missingValue;
        out << "Missing readings are written as " << missing.str() << '\n';
    }
    return kSuccess;
}

int DescriptorCheck(const fs::path& file, std::ostream& out) {
    xEMDesc descriptor;
    if (!ReadDescriptor(file, descriptor)) return kFailed;
    int problems = 0;
    for (const auto& [id, component] : descriptor.Components()) {
        for (const auto& text : component.wave.Validate(descriptor.systemDesc)) {
            Platform().Error(ComponentName(id) + ": " + text);
            ++problems;
        }
    }
    for (const auto& check : descriptor.CheckRecordFormat()) {
        if (check.isQuestion) {
            Platform().Warning(check.text);
        } else {
            Platform().Error(check.text);
            ++problems;
        }
    }
    out << file.string() << ": " << (problems ? std::to_string(problems) + " problem(s)" : "valid")
        << '\n';
    return problems ? kFailed : kSuccess;
}

namespace {

struct Moment {
    std::string label;  // empty for a system of one moment
    fs::path system;
};

// "FILE" or "LABEL=FILE" for each --system; labels are needed for more than one.
bool ParseMoments(const std::vector<std::string>& systems, std::vector<Moment>& moments) {
    for (const std::string& text : systems) {
        const auto equals = text.find('=');
        if (equals == std::string::npos)
            moments.push_back({"", text});
        else
            moments.push_back({text.substr(0, equals), text.substr(equals + 1)});
    }
    const bool labelled = std::any_of(moments.begin(), moments.end(),
                                      [](const Moment& m) { return !m.label.empty(); });
    for (const Moment& m : moments) {
        if ((labelled || moments.size() > 1) && (m.label.empty() || m.system.empty())) {
            Platform().Error(
                "With more than one moment each --system wants LABEL=FILE.stm (e.g. "
                "LM=Skytem-LM.stm), not \"" +
                m.system.string() + "\".");
            return false;
        }
    }
    return !moments.empty();
}

// The channel groups of one moment: "LABEL:AXIS=COLUMN" of its label and the
// groups without one.
bool MomentChannels(const std::string& text, const std::vector<Moment>& moments,
                    const std::string& label,
                    std::vector<std::pair<std::string, std::string>>& channels) {
    std::vector<std::pair<std::string, std::string>> all;
    if (!ParsePairs(text, "--channels", all)) return false;
    for (auto [axis, column] : all) {
        const auto colon = axis.find(':');
        if (colon != std::string::npos) {
            const std::string moment = axis.substr(0, colon);
            if (std::none_of(moments.begin(), moments.end(),
                             [&](const Moment& m) { return m.label == moment; })) {
                Platform().Error("--channels names the moment \"" + moment +
                                 "\", which no --system LABEL=FILE gives.");
                return false;
            }
            if (moment != label) continue;
            axis = axis.substr(colon + 1);
        }
        channels.emplace_back(axis, column);
    }
    return true;
}

// OUT.DSC for a single moment, OUT-LABEL.DSC for each of several.
fs::path MomentFile(const fs::path& out, const std::string& label) {
    if (label.empty()) return out;
    fs::path file = out;
    return file.replace_filename(out.stem().string() + "-" + label + out.extension().string());
}

int BuildMoment(const DescriptorBuildArgs& args, const Moment& moment,
                const std::vector<Moment>& moments, const xGdfDefinition& layout,
                std::ostream& out) {
    xDescriptorOptions options;
    options.rxUnit = args.unit;
    options.version = moment.system.filename().string();
    options.definedBy = "tovarn descriptor build";
    if (!ParsePairs(args.map, "--map", options.items) ||
        !MomentChannels(args.channels, moments, moment.label, options.channels))
        return kUsage;
    if (!args.rxOffset.empty() && !ParseOffset(args.rxOffset, "--rx-offset", options.rxOffset))
        return kUsage;
    if (!args.missing.empty()) {
        double missing = 0.0;
        if (!ParseDouble(args.missing, missing)) {
            Platform().Error("--null wants a number, not \"" + args.missing + "\".");
            return kUsage;
        }
        options.missingValue = missing;
    }

    xStmFile stm;
    xStmSystem system;
    if (!stm.Read(moment.system) || !system.Read(stm)) return kFailed;
    options.name =
        args.name.empty() || moment.label.empty() ? args.name : args.name + " " + moment.label;
    xEMDesc descriptor;
    const fs::path file = MomentFile(args.out, moment.label);
    if (!xDescriptorBuilder::Build(system, layout, options, descriptor) || !descriptor.Write(file))
        return kFailed;
    const xEMWDesc& wave = descriptor.Components().begin()->second.wave;
    out << file.string() << ": " << descriptor.systemDesc.name << ", "
        << descriptor.Components().size() << " component(s) of " << wave.windows.Rows()
        << " windows, half period " << descriptor.systemDesc.nominalHalfPeriod << " "
        << descriptor.systemDesc.timeUnit << ", data in " << wave.rxPrimary.unit << ", "
        << MomentText(wave.txWaveform, wave.rxPrimary.unit) << '\n';
    return kSuccess;
}

}  // namespace

int DescriptorBuild(const DescriptorBuildArgs& args, std::ostream& out) {
    std::vector<Moment> moments;
    if (!ParseMoments(args.systems, moments)) return kUsage;
    xGdfDefinition layout;
    if (!ReadLayout(args.layout, layout)) return kFailed;
    for (const Moment& moment : moments)
        if (const int status = BuildMoment(args, moment, moments, layout, out); status != kSuccess)
            return status;
    return kSuccess;
}

int DescriptorBuildFd(const DescriptorBuildFdArgs& args, std::ostream& out) {
    xFdDescriptorOptions options;
    options.name = args.name;
    options.version = args.layout.filename().string();
    options.definedBy = "tovarn descriptor build-fd";
    if (!ParsePairs(args.map, "--map", options.items)) return kUsage;
    for (const auto& text : args.components) {
        xFdComponentOptions component;
        if (!ParseComponent(text, component)) return kUsage;
        options.components.push_back(component);
    }
    for (const auto& text : args.rxOffsets) {
        const auto equals = text.find('=');
        const long id = equals == std::string::npos
                            ? UndefinedComponent
                            : xDescriptorBuilder::ComponentOfCoilPair(text.substr(0, equals));
        auto component = std::find_if(options.components.begin(), options.components.end(),
                                      [id](const xFdComponentOptions& c) { return c.id == id; });
        if (component == options.components.end()) {
            Platform().Error(
                "--rx-offset wants PAIR=DX,DY,DZ for a pair given by --component, "
                "not \"" +
                text + "\".");
            return kUsage;
        }
        if (!ParseOffset(text.substr(equals + 1), "--rx-offset", component->rxOffset))
            return kUsage;
    }

    xGdfDefinition layout;
    if (!ReadLayout(args.layout, layout)) return kFailed;
    xEMDesc descriptor;
    if (!xDescriptorBuilder::BuildFrequencyDomain(layout, options, descriptor)) return kFailed;
    if (!descriptor.Write(args.out)) return kFailed;
    out << args.out.string() << ": " << descriptor.systemDesc.name << ", frequency domain,";
    for (const auto& [id, component] : descriptor.Components())
        out << " " << ComponentName(id) << " " << component.wave.frequencies.Rows()
            << " frequencies;";
    out << " records of " << descriptor.formatDesc.itemsPerRecord << " items\n";
    return kSuccess;
}

namespace {

const char* kMapHelp =
    "ITEM=COLUMN,...: line, fid, east, north, z_topo and altitude are required;\n"
    "Rx_pitch, Rx_roll, Rx_yaw, Tx_pitch, Tx_roll, Tx_yaw are optional; any other\n"
    "name becomes a user item";
const char* kLayoutHelp =
    "the column layout: an ASEG-GDF2 definition (.dfn) or a column list (.hdr)";

void AddShowAndCheck(CLI::App& descriptor, CommandTable& table) {
    auto dsc = std::make_shared<std::string>();
    table
        .Add(descriptor, "show",
             "The system, time scaling, components and channels, windows, waveforms, geometry "
             "and\nthe primary field at the receiver per component.",
             [dsc](xConsolePlatform&) { return DescriptorShow(*dsc, std::cout); })
        ->add_option("SYSTEM.DSC", *dsc, "the descriptor")
        ->required();
    table
        .Add(descriptor, "check", "Run the descriptor's validations; exit code 1 when one fails.",
             [dsc](xConsolePlatform&) { return DescriptorCheck(*dsc, std::cout); })
        ->add_option("SYSTEM.DSC", *dsc, "the descriptor")
        ->required();
}

void AddBuild(CLI::App& descriptor, CommandTable& table) {
    struct Args {
        DescriptorBuildArgs build;
        std::string layout, out;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        descriptor, "build",
        "Build a descriptor from a survey's system file (.stm) and column layout (.dfn or "
        ".hdr).\n"
        "Times in the descriptor run from 0 to the half period, in microseconds; the system\n"
        "file's time zero is moved there. A dB/dt receiver's primary field is the derivative "
        "of\n"
        "the current. The channels are imported as delivered: the descriptor says their unit\n"
        "(the columns' UNITS, else --unit, else the system file's scaling) and, for absolute\n"
        "units, the transmitter's moment (1 for units per unit moment such as V/(A.m^4), else\n"
        "turns x loop area x peak current of the system file). A \"-\" before a column turns\n"
        "the sign of its channels; the columns' NULL marks a missing reading. Example:\n"
        "  tovarn descriptor build --system Geotem3-GSQ823.stm --layout Geotem_GSQ823.dfn \\\n"
        "    --map line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=Elevation_SRTM,"
        "altitude=Radar_Altimeter \\\n"
        "    --channels Z=Z_off_time,X=X_off_time --rx-offset -120,0,-45 --out GEOTEM.DSC\n"
        "A system of two moments gives one descriptor per moment from one call: label each\n"
        "system file and each channel group; OUT.DSC becomes OUT-LABEL.DSC for each:\n"
        "  tovarn descriptor build --system LM=Skytem-LM.stm --system HM=Skytem-HM.stm \\\n"
        "    --layout bhmar-skytem.dfn --map ... --channels LM:Z=LMZ,HM:Z=HMZ --out BHMAR.DSC\n"
        "    (writes BHMAR-LM.DSC and BHMAR-HM.DSC)",
        [args](xConsolePlatform&) {
            args->build.layout = args->layout;
            args->build.out = args->out;
            return DescriptorBuild(args->build, std::cout);
        });
    command
        ->add_option("--system", args->build.systems,
                     "the system file (.stm); for each moment LABEL=FILE.stm (repeat the "
                     "option)")
        ->required();
    command->add_option("--layout", args->layout, kLayoutHelp)->required();
    command->add_option("--map", args->build.map, kMapHelp)->required();
    command
        ->add_option("--channels", args->build.channels,
                     "AXIS=COLUMN,...: the array column of each receiver axis, X (TzRx), Y "
                     "(TzRy)\nor Z (TzRz); its item count must equal the system file's windows. "
                     "Z=-COLUMN\nturns the sign of the group; LABEL:AXIS=COLUMN gives it to one "
                     "moment")
        ->required();
    command->add_option("--rx-offset", args->build.rxOffset,
                        "DX,DY,DZ: receiver minus transmitter in metres, x forward, z up "
                        "(default 0,0,0)");
    command->add_option("--name", args->build.name,
                        "the system name (default: the system file's; with moments the label is "
                        "added)");
    command->add_option("--unit,--rx-unit", args->build.unit,
                        "the unit of the channels, e.g. fT, pT, nT, V/(A.m^4), nV/(A.m^4), ppm\n"
                        "(default: the columns' UNITS, else the system file's normalisation or "
                        "output scaling)");
    command->add_option("--null", args->build.missing,
                        "the value the survey writes for a missing reading (default: the "
                        "channel columns' NULL)");
    command
        ->add_option("--out", args->out,
                     "the descriptor to write (.DSC); with moments OUT-LABEL.DSC for each")
        ->required();
}

void AddBuildFd(CLI::App& descriptor, CommandTable& table) {
    struct Args {
        DescriptorBuildFdArgs build;
        std::string layout, out;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        descriptor, "build-fd",
        "Build a frequency-domain descriptor from a survey's column layout (.dfn or .hdr) and\n"
        "its coil pairs. Each pair is a dipole transmitter at the origin and a dipole receiver\n"
        "at its offset; in-phase and quadrature are in ppm of the pair's primary field. "
        "Example:\n"
        "  tovarn descriptor build-fd --layout RESOLVE.hdr \\\n"
        "    --map line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=Ground_elevation,"
        "altitude=Bird_height \\\n"
        "    --component Z:382=CPI400_F/CPQ400_F,1822=CPI1800_F/CPQ1800_F \\\n"
        "    --component X:3258=CXI3300_F/CXQ3300_F \\\n"
        "    --rx-offset Z=-7.86,0,0 --rx-offset X=-8.99,0,0 --name RESOLVE --out RESOLVE.DSC",
        [args](xConsolePlatform&) {
            args->build.layout = args->layout;
            args->build.out = args->out;
            return DescriptorBuildFd(args->build, std::cout);
        });
    command->add_option("--layout", args->layout, kLayoutHelp)->required();
    command->add_option("--map", args->build.map, kMapHelp)->required();
    command
        ->add_option("--component", args->build.components,
                     "PAIR:HZ=INPHASE/QUADRATURE,...: one coil pair and, for each of its\n"
                     "frequencies, the columns of its in-phase and quadrature. PAIR is Z\n"
                     "(horizontal coplanar, TzRz), X (coaxial, TxRx), Y (TyRy) or a component\n"
                     "name such as TzRx; repeat the option for each pair")
        ->required();
    command->add_option("--rx-offset", args->build.rxOffsets,
                        "PAIR=DX,DY,DZ: the pair's receiver minus transmitter in metres, x\n"
                        "forward, z up (default 0,0,0); repeat for each pair");
    command->add_option("--name", args->build.name, "the system name");
    command->add_option("--out", args->out, "the descriptor to write (.DSC)")->required();
}

}  // namespace

void AddDescriptorCommands(CLI::App& app, CommandTable& table) {
    auto* descriptor = app.add_subcommand(
        "descriptor",
        "Look at a system descriptor (DSC): show its summary or check it; or build one from the\n"
        "system file and column layout that come with a survey.");
    descriptor->require_subcommand(1);
    AddShowAndCheck(*descriptor, table);
    AddBuild(*descriptor, table);
    AddBuildFd(*descriptor, table);
}

}  // namespace cli

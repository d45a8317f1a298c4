#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <utility>

#include "Commands.h"
#include "xCndMerge.h"
#include "xCndReports.h"
#include "xIniFile.h"
#include "xMCond.h"
#include "xParamFields.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

// Format names of the command line and the SaveAscii codes they stand for.
const std::pair<const char*, int> kFormats[] = {
    {"user", 10},    {"geosoft-line", 11},   {"simple-xyz", 12}, {"depth-grid", 13},
    {"db-line", 15}, {"geosoft-survey", 16}, {"db-survey", 17},  {"gdf2", 18}};

int FormatCode(const std::string& name) {
    for (const auto& [format, code] : kFormats)
        if (name == format) return code;
    return 0;
}

bool ParseUnits(const std::string& text, int& units) {
    units = 0;
    for (const auto& item : SplitList(text)) {
        const int bit = item == "mS/m" ? 1 : item == "S/m" ? 2 : item == "ohm-m" ? 4 : 0;
        if (bit == 0) return false;
        units |= bit;
    }
    return units != 0;
}

bool ReadText(const fs::path& path, std::string& text) {
    std::ifstream in(path);
    std::stringstream content;
    content << in.rdbuf();
    text = content.str();
    return bool(in);
}

}  // namespace

int CdiExport(const CdiExportArgs& args, std::ostream& out) {
    const int code = FormatCode(args.format);
    if (code == 0) {
        std::string names;
        for (const auto& [format, ignored] : kFormats) names += std::string(format) + ", ";
        Platform().Error("--format wants one of " + names.substr(0, names.size() - 2) + ", not \"" +
                         args.format + "\".");
        return kUsage;
    }
    xCdiOutputOptions options;
    if (!ParseUnits(args.units, options.units)) {
        Platform().Error("--units wants mS/m, S/m or ohm-m separated by commas, not \"" +
                         args.units + "\".");
        return kUsage;
    }
    if (args.air != "allow" && args.air != "surface") {
        Platform().Error("--air wants allow or surface, not \"" + args.air + "\".");
        return kUsage;
    }
    options.forceToSurface = args.air == "surface";
    options.alignTop = args.top;
    // Both sections are there to be named; an empty pattern writes both.
    options.sections = 3;
    options.out = args.out.empty() ? DefaultCdiOutputPath(args.cnd, code) : args.out;
    // The per-line reports take the extension the CDI process gives them.
    xIniFile configuration(ConfigurationFolder(args.cnd), {}, xIniFile::Saving::WhenAsked);
    options.extension = configuration.GetCdiAsciiExtension();
    if (!args.pattern.empty() && !ReadText(args.pattern, options.pattern)) {
        Platform().Error("Cannot read the pattern file " + args.pattern.string() + ".");
        return kFailed;
    }

    if (!fs::exists(args.cnd)) {
        Platform().Error("There is no CDI file " + args.cnd.string() + ".");
        return kFailed;
    }
    xMCond cnd;
    cnd.SetPath(args.cnd);
    if (cnd.Open() != 1) {
        Platform().Error("Cannot open " + args.cnd.string());
        return kFailed;
    }
    if (!cnd.ReadHeader() || !SaveCdiOutput(cnd, code, options, Platform())) return kFailed;
    out << "Written: " << DescribeCdiOutput(code, options) << '\n';
    return kSuccess;
}

int CdiMerge(const fs::path& low, const fs::path& high, fs::path out, std::ostream& report) {
    if (!out.has_extension()) out += ".CND";
    if (!xCndMerge(Platform()).Merge(low, high, out)) return kFailed;
    report << "Written: " << out.string() << " (" << low.filename().string() << " above its "
           << "penetration, " << high.filename().string() << " below)\n";
    return kSuccess;
}

namespace {

void AddMergeCommand(CLI::App& cdi, CommandTable& table) {
    struct Args {
        std::string low, high, out;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        cdi, "merge",
        "Join the CDI files of the low and the high moment of the same records into one:\n"
        "the low moment's sections down to its estimated penetration, the high moment's\n"
        "below it, blended over 20 m in log conductivity; every other item is the high\n"
        "moment's. The low moment stops sooner where its section runs out into one value\n"
        "or first differs from the high moment's by more than a factor of 2: its short\n"
        "pulse hardly excites the slow decays of a conductive ground. Both files must come from "
        "704 with the same depths and parameters, over\n"
        "the same lines and FIDs. The result is a CDI file every export format can write.\n"
        "Example:\n"
        "  tovarn cdi merge LM.CND HM.CND --out both",
        [args](xConsolePlatform&) {
            return CdiMerge(args->low, args->high, args->out, std::cout);
        });
    command->add_option("LM.CND", args->low, "the low moment's CDI file")->required();
    command->add_option("HM.CND", args->high, "the high moment's CDI file")->required();
    command->add_option("--out", args->out, "the merged CDI file (.CND added without an extension)")
        ->required();
}

}  // namespace

void AddCdiCommands(CLI::App& app, CommandTable& table) {
    struct Args {
        CdiExportArgs cdi;
        std::string file, pattern, out;
        float top = 0.0f;
        CLI::Option* topOption = nullptr;
    };
    auto args = std::make_shared<Args>();
    auto* cdi = app.add_subcommand("cdi", "Work with a CDI file (CND) that 704 wrote.");
    cdi->require_subcommand(1);
    AddMergeCommand(*cdi, table);
    auto* command = table.Add(
        *cdi, "export",
        "Write a CDI file as text or as an ASEG-GDF2 pair, as the CDI process does after a\n"
        "pass. Depths are relative to the top of the section (0 and below); elevations are\n"
        "that depth plus the record's Z; invalid conductivities are -32767.0. Formats:\n"
        "  simple-xyz      one file, a row per depth of every record: line, FID, X, Y, Z,\n"
        "                  distance, elevation, discrete and layered conductivity (mS/m)\n"
        "  geosoft-survey  the same rows under \"Line\" headers, without the line column\n"
        "  geosoft-line    that layout, a file per line: OUT-<line>.DOC\n"
        "  db-survey       a row per record: X, Y, Z, FID, line, altitude, distance, all\n"
        "                  discrete, all layered and all depths\n"
        "  db-line         that layout, a file per line: OUT-<line>.DOC\n"
        "  depth-grid      the sections resampled at constant elevations, from --top (default\n"
        "                  the highest Z) down by the depth step to the lowest Z less the span\n"
        "  user            the items and formats of a pattern file (--pattern), e.g.\n"
        "                  X:14f2 Y:14f2 FID:10f1 { DC(10m) DC(20m) }:14f4 EOL\n"
        "                  where { } writes the mean of the values between them; without a\n"
        "                  pattern every item and both sections\n"
        "  gdf2            OUT.dat and OUT.dfn: one record per row, conductivity in the units\n"
        "                  of --units, resistivity 1000 / conductivity, NULL -1.0E+32\n"
        "Every report but gdf2 starts with the file's header: version, type, flight, ranges.\n"
        "Example:\n"
        "  tovarn cdi export survey.CND --format gdf2 --units mS/m,ohm-m --out survey_cdi",
        [args](xConsolePlatform&) {
            args->cdi.cnd = args->file;
            args->cdi.pattern = args->pattern;
            args->cdi.out = args->out;
            if (args->topOption->count() > 0) args->cdi.top = args->top;
            return CdiExport(args->cdi, std::cout);
        });
    command->add_option("P.CND", args->file, "the CDI file")->required();
    command->add_option("--format", args->cdi.format, "the layout, as listed above")->required();
    command->add_option("--pattern", args->pattern,
                        "user: the pattern file (docs/FILE_FORMATS.md)");
    command->add_option("--units", args->cdi.units,
                        "gdf2: mS/m, S/m, ohm-m, one or more separated by commas (default mS/m)");
    args->topOption = command->add_option(
        "--top", args->top, "depth-grid: the elevation of the grid's first row, in metres");
    command->add_option("--air", args->cdi.air,
                        "conductors fitted in the air: allow (default), or surface to lift each\n"
                        "section by its positive fitted depth");
    command->add_option("--out", args->out,
                        "the file, or the stem of per-line and gdf2 outputs (default beside the\n"
                        "CDI file: P.xyz, P.DOC, P_db.DOC, P_grid.xyz, P_user.txt, P)");
}

}  // namespace cli

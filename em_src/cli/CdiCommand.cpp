#include <fstream>
#include <sstream>
#include <utility>

#include "Commands.h"
#include "xCndReports.h"
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

}  // namespace cli

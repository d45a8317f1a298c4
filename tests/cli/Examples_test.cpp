// The bundled example descriptors are what the builder makes from the public
// survey files today: a change of the builder or the descriptor writer that
// would change them fails here until the examples are rebuilt on purpose.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <vector>

#include "SharedData.h"
#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xAofTau.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMData.h"
#include "xMLine.h"

namespace fs = std::filesystem;

namespace {

// Runs tovarn in the repository root and answers its exit code.
const fs::path kRoot = TOVARN_SOURCE_DIR;
int Tovarn(const std::string& arguments) {
    const std::string command =
        "cd '" + kRoot.string() + "' && " + TOVARN_BINARY + " " + arguments + " >/dev/null 2>&1";
    return std::system(command.c_str());
}

using ExampleDescriptors = xTempFolderTest;

// The `tovarn descriptor build` line of a README, its continued lines joined,
// without the program's name.
std::string ReadmeBuildCommand(const fs::path& readme) {
    std::ifstream in(readme);
    const std::string start = "tovarn descriptor build";
    std::string command;
    for (std::string line; std::getline(in, line);) {
        if (command.empty() && line.rfind(start, 0) != 0) continue;
        const bool continued = !line.empty() && line.back() == '\\';
        if (continued) line.pop_back();
        command += line + ' ';
        if (!continued) break;
    }
    return command.empty() ? command : command.substr(std::string("tovarn ").size());
}

struct LineRun {
    long label = 0;
    long records = 0;
    bool operator==(const LineRun&) const = default;
};

// The runs of one label in a survey file's records, counted from the text
// alone: the label is the item at labelColumn (1-based).
std::vector<LineRun> LabelRuns(const fs::path& file, int labelColumn) {
    std::ifstream in(file);
    std::vector<LineRun> runs;
    for (std::string text; std::getline(in, text);) {
        std::istringstream items(text);
        std::string item;
        for (int k = 0; k < labelColumn; ++k) items >> item;
        const long label = std::stol(item);
        if (runs.empty() || runs.back().label != label) runs.push_back({label, 0});
        ++runs.back().records;
    }
    return runs;
}

// The lines of a survey file as a reader finds them; every FID must rise.
template <class File>
std::vector<LineRun> SurveyLines(const fs::path& path, long& headerRecords) {
    File file;
    file.SetPath(path);
    std::vector<LineRun> lines;
    if (file.Open() != 1 || !file.ReadHeader()) return lines;
    headerRecords = file.Records();
    xMLine line(&file);
    while (line.Next()) {
        lines.push_back({line.LineNumber(), line.Rows()});
        for (long r = 1; r < line.Rows(); ++r)
            EXPECT_LE(line.Item(r - 1, 0), line.Item(r, 0)) << "line " << line.LineNumber();
    }
    return lines;
}

// Every value of every section of a CDI file is a number, and some depth of
// the survey holds a conductivity.
bool FiniteSections(const fs::path& path) {
    xMCond cnd;
    cnd.SetPath(path);
    if (cnd.Open() != 1 || !cnd.ReadHeader()) return false;
    xMLine line(&cnd);
    bool anyValue = false;
    while (line.Next())
        for (long r = 0; r < line.Rows(); ++r)
            for (long i = cnd.SectionStart(0); i < cnd.RowLength(); ++i) {
                const float v = line.Item(r, i);
                if (!std::isfinite(v)) return false;
                anyValue |= v != xMCond::NullValue && i < cnd.SectionStart(1);
            }
    return anyValue;
}

}  // namespace

TEST_F(ExampleDescriptors, ExampleSurveysImportEveryRecord) {
    struct Example {
        const char* dir;
        const char* descriptor;
        const char* survey;
        int labelColumn;
        std::size_t lines;
        long records;
    };
    for (const Example& e :
         {Example{"geotem-gsq823", "GEOTEM.DSC", "Geotem_GSQ823.dat", 2, 2, 2568},
          Example{"tempest-ausaem2020", "TEMPEST.DSC", "Tempest-AusAEM-2020.dat", 1, 1, 1277}}) {
        const fs::path example = kRoot / "examples" / e.dir;
        const std::string par = (dir_ / "S.PAR").string();
        fs::remove(dir_ / "S.PAR");
        ASSERT_EQ(Tovarn("new " + par + " --descriptor " + (example / e.descriptor).string()), 0);
        ASSERT_EQ(Tovarn("set " + par + " 701.Files=" + (example / e.survey).string()), 0);
        std::string output;
        ASSERT_EQ(RunTovarn("run " + par + " --only 701,702,703,704", output), 0) << output;
        // Every pass of every record's fit reached its optimum.
        EXPECT_EQ(output.find("round limit"), std::string::npos) << e.dir << output;
        long headerRecords = 0;
        const auto lines = SurveyLines<xMData>(dir_ / "S.BIN", headerRecords);
        EXPECT_EQ(lines, LabelRuns(example / e.survey, e.labelColumn)) << e.dir;
        EXPECT_EQ(lines.size(), e.lines);
        EXPECT_EQ(headerRecords, e.records);
        xAofTau basis(dir_ / "S.AOT");
        ASSERT_EQ(basis.Read(), 1) << e.dir;
        EXPECT_EQ(basis.Components(), (std::vector<long>{107, 109}));
        EXPECT_EQ(basis.Taus().Length(), 12);
        long ampRecords = 0;
        EXPECT_EQ(SurveyLines<xMAmp>(dir_ / "S.AMP", ampRecords),
                  lines);  // every record deconvolved
        EXPECT_EQ(ampRecords, e.records);
        long cdiRecords = 0;
        EXPECT_EQ(SurveyLines<xMCond>(dir_ / "S.CND", cdiRecords), lines);  // every record imaged
        EXPECT_EQ(cdiRecords, e.records);
        EXPECT_TRUE(FiniteSections(dir_ / "S.CND")) << e.dir;
        // One record fitted again by eye, and a record the line does not have.
        const std::string line = std::to_string(lines.front().label);
        EXPECT_EQ(Tovarn("fit " + par + " --line " + line + " --record 2") >> 8, 0);
        EXPECT_EQ(Tovarn("fit " + par + " --line " + line + " --record 0") >> 8, 2);
    }
}

// Each example's README builds its descriptors from the files beside it; the
// line, run as written but into a folder of its own, gives the bundled files
// byte for byte, in the unit the survey's definition states.
TEST_F(ExampleDescriptors, ReadmeBuildLinesRebuildTheBundledDescriptors) {
    struct Built {
        const char* dir;
        std::vector<std::pair<const char*, const char*>> unitOf;  // descriptor, receiver unit
    };
    const std::vector<Built> examples = {
        {"geotem-gsq823", {{"GEOTEM.DSC", "ppm"}}},
        {"tempest-ausaem2020", {{"TEMPEST.DSC", "fT"}}},
        {"tempest-frome2010", {{"TEMPEST.DSC", "fT"}}},
        {"skytem-bhmar2009", {{"BHMAR-LM.DSC", "V/amp/m^4"}, {"BHMAR-HM.DSC", "V/amp/m^4"}}},
    };
    for (const Built& e : examples) {
        const fs::path example = kRoot / "examples" / e.dir;
        std::string command = ReadmeBuildCommand(example / "README.md");
        const std::string out = "--out examples/" + std::string(e.dir) + "/";
        ASSERT_NE(command.find(out), std::string::npos) << e.dir;
        command.replace(command.find(out), out.size(), "--out " + dir_.string() + "/");
        ASSERT_EQ(Tovarn(command), 0) << command;
        for (const auto& [descriptor, unit] : e.unitOf) {
            EXPECT_EQ(Slurp(dir_ / descriptor), Slurp(example / descriptor)) << descriptor;
            EXPECT_NE(Slurp(dir_ / descriptor).find("[" + std::string(unit) + "]"),
                      std::string::npos)
                << e.dir << " " << descriptor;
        }
    }
}

TEST_F(ExampleDescriptors, ResolveRebuildsIdenticallyAndAllCheckValid) {
    ASSERT_EQ(Tovarn("descriptor build-fd --layout examples/resolve-bookpurnong/RESOLVE.hdr --map "
                     "line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=Ground_elevation,"
                     "altitude=Bird_height --component Z:382=CPI400_F/CPQ400_F,1822=CPI1800_F/"
                     "CPQ1800_F,7970=CPI8200_F/CPQ8200_F,35920=CPI40k_F/CPQ40k_F,130100=CPI140k_F/"
                     "CPQ140k_F --component X:3258=CXI3300_F/CXQ3300_F --rx-offset Z=-7.86,0,0 "
                     "--rx-offset X=-8.99,0,0 --name RESOLVE --out " +
                     (dir_ / "RESOLVE.DSC").string()),
              0);
    EXPECT_EQ(Slurp(dir_ / "RESOLVE.DSC"),
              Slurp(kRoot / "examples/resolve-bookpurnong/RESOLVE.DSC"));
    for (const char* example : {"geotem-gsq823/GEOTEM.DSC", "tempest-ausaem2020/TEMPEST.DSC",
                                "tempest-frome2010/TEMPEST.DSC", "skytem-bhmar2009/BHMAR-LM.DSC",
                                "skytem-bhmar2009/BHMAR-HM.DSC", "resolve-bookpurnong/RESOLVE.DSC"})
        EXPECT_EQ(Tovarn(std::string("descriptor check examples/") + example), 0) << example;
}

namespace {

const fs::path kTempest = kRoot / "examples" / "tempest-ausaem2020";

// What `tovarn fit` prints for the second record of the TEMPEST example run
// through 701 and 702 with the descriptor and survey given.
std::string TempestFit(const fs::path& dir, const fs::path& descriptor, const fs::path& survey) {
    const std::string par = (dir / "S.PAR").string();
    std::string output;
    EXPECT_EQ(RunTovarn("new " + par + " --descriptor " + descriptor.string(), output), 0)
        << output;
    EXPECT_EQ(RunTovarn("set " + par + " 701.Files=" + survey.string(), output), 0) << output;
    EXPECT_EQ(RunTovarn("run " + par + " --only 701,702", output), 0) << output;
    EXPECT_EQ(RunTovarn("fit " + par + " --line 1007001 --record 2", output, false), 0);
    return output;
}

// The TzRz block of that print: its misfit and its rows of channel, data, fit
// and residual as printed.
struct ShownFit {
    float misfit = 1.0f;
    std::vector<std::vector<std::string>> rows;
};

ShownFit TzRzOf(const std::string& output) {
    ShownFit shown;
    std::istringstream text(output.substr(output.find("TzRz  misfit")));
    std::string word, line;
    text >> word >> word >> shown.misfit;
    std::getline(text, line);
    std::getline(text, line);  // the column titles
    while (std::getline(text, line) && line.find("tau") == std::string::npos) {
        std::istringstream items(line);
        shown.rows.emplace_back();
        while (items >> word) shown.rows.back().push_back(word);
    }
    return shown;
}

}  // namespace

// Data of the other sign (the TEMPEST example with its window weights turned)
// are shown as they are: negative data, a fit of the same sign beside them,
// and a misfit as small as the data of the right sign give.
TEST_F(ExampleDescriptors, FitShowsNegativeDataWithTheirSign) {
    const std::string turned = std::regex_replace(
        Slurp(kTempest / "TEMPEST.DSC"), std::regex(R"((\s)1\.000000\n)"), "$1-1.000000\n");
    std::ofstream(dir_ / "TURNED.DSC") << turned;
    const std::string output =
        TempestFit(dir_, dir_ / "TURNED.DSC", kTempest / "Tempest-AusAEM-2020.dat");
    const ShownFit shown = TzRzOf(output);
    EXPECT_LT(shown.misfit, 0.01f) << output;
    ASSERT_EQ(shown.rows.size(), 15u) << output;
    for (const auto& row : shown.rows) {
        ASSERT_EQ(row.size(), 4u);
        EXPECT_LT(std::stof(row[1]), 0.0f) << output;
        EXPECT_NEAR(std::stof(row[2]), std::stof(row[1]), 0.05f) << output;
    }
}

// Windows holding the blank value are shown as missing, with the fit beside
// them; the misfit is that of the measured windows.
TEST_F(ExampleDescriptors, FitShowsMissingWindowsAsMissing) {
    std::ifstream in(kTempest / "Tempest-AusAEM-2020.dat");
    std::ofstream gaps(dir_ / "gaps.dat");
    long number = 0;
    for (std::string line; std::getline(in, line); gaps << line << "\n") {
        if (++number != 2) continue;
        // Items 91 and 93 are the first and third TzRz windows.
        std::istringstream items(line);
        std::vector<std::string> item{std::istream_iterator<std::string>(items), {}};
        item[90] = item[92] = "-999.999999";  // the survey's declared missing value
        line.clear();
        for (const std::string& i : item) line += i + " ";
    }
    gaps.close();
    const std::string output = TempestFit(dir_, kTempest / "TEMPEST.DSC", dir_ / "gaps.dat");
    const ShownFit shown = TzRzOf(output);
    EXPECT_LT(shown.misfit, 0.01f) << output;
    ASSERT_EQ(shown.rows.size(), 15u) << output;
    for (std::size_t c : {0u, 2u}) {
        EXPECT_EQ(shown.rows[c][1], "missing") << output;
        EXPECT_GT(std::fabs(std::stof(shown.rows[c][2])), 0.5f) << output;
        EXPECT_EQ(shown.rows[c][3], "-") << output;
    }
    EXPECT_EQ(std::fabs(std::stof(shown.rows[1][1])), 1.0f) << output;
}

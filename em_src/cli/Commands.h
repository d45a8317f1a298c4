#pragma once
// The commands of the tovarn program, each a thin layer over the shell. They
// answer the exit code: 0 success, 1 a process or check reported an error,
// 2 bad usage (a fatal message is turned into 2 by the caller). Each command's
// file also adds its options and help to the command line (the Add functions
// at the end), in the order that the program's help lists them.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "xSyntheticSurvey.h"

namespace CLI {
class App;
}
class xConsolePlatform;

namespace cli {

constexpr int kSuccess = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

// The subcommands of the line with the bodies that run them once the line is
// parsed. A body answers the exit code.
class CommandTable {
  public:
    using Body = std::function<int(xConsolePlatform& console)>;
    // Adds the subcommand name to parent; body runs when the line chose it.
    CLI::App* Add(CLI::App& parent, const std::string& name, const std::string& help, Body body);
    // The body of the subcommand the line chose.
    int RunChosen(xConsolePlatform& console) const;

  private:
    std::vector<std::pair<CLI::App*, Body>> commands_;
};

// Line numbers separated by commas, e.g. "10010,22810"; false for anything else.
bool ParseLines(const std::string& text, std::vector<std::int32_t>& lines);

// An existing PAR file is replaced only with force.
int New(const std::filesystem::path& parFile, const std::filesystem::path& descriptor,
        const std::filesystem::path& copyFrom, bool force = false);
// processId 0: every process's rows.
int Params(const std::filesystem::path& parFile, int processId, std::ostream& out);
// "ID.Field=value" each; all are checked before anything is saved.
int Set(const std::filesystem::path& parFile, const std::vector<std::string>& assignments,
        std::ostream& out);
// only empty: every process of the chain. The project's lock is held for the
// run; while another holds it the run is refused, or with wait waits for it.
int Run(const std::filesystem::path& parFile, const std::vector<int>& only, std::ostream& out,
        bool wait = false);

// A readable summary of a system descriptor, and its validations (kFailed
// when one fails).
int DescriptorShow(const std::filesystem::path& descriptor, std::ostream& out);
int DescriptorCheck(const std::filesystem::path& descriptor, std::ostream& out);

struct DescriptorBuildArgs {
    // "FILE.stm" for one moment, or "LABEL=FILE.stm" for each moment of the system.
    std::vector<std::string> systems;
    std::filesystem::path layout;  // .dfn or .hdr
    std::string map;               // "line=Line,fid=Fiducial,..."
    // "Z=EMZ_off,X=-EMX_off"; with moments "LM:Z=LMZ,HM:Z=HMZ" (a group without
    // a label goes to every moment).
    std::string channels;
    std::string rxOffset;  // "-120,0,-45"
    std::string name;
    std::string unit;           // empty: from the layout or the system file
    std::string missing;        // empty: the NULL of the channel columns
    std::filesystem::path out;  // with moments: OUT-LABEL.ext for each
};
// A descriptor from a survey's system file and column layout, written to
// args.out, or one per moment; nothing is written when any part is refused.
int DescriptorBuild(const DescriptorBuildArgs& args, std::ostream& out);

struct DescriptorBuildFdArgs {
    std::filesystem::path layout;         // .dfn or .hdr
    std::string map;                      // "line=Line,fid=Fiducial,..."
    std::vector<std::string> components;  // "Z:382=CPI400_F/CPQ400_F,1822=..."
    std::vector<std::string> rxOffsets;   // "Z=-7.86,0,0"
    std::string name;
    std::filesystem::path out;
};
// A frequency-domain descriptor from a survey's column layout and the coil
// pairs given on the command line; nothing is written when any part is refused.
int DescriptorBuildFd(const DescriptorBuildFdArgs& args, std::ostream& out);

// The ASCII form of a survey file to out, or to target when it is not empty.
// lines: "10010,22810", empty for every line. Without a pattern file the plain
// form; with one the pattern form, the file's default pattern being written
// there first when it is missing.
// An AOT file (any case of the extension) is written whole as a readable
// table; lines and pattern do not apply to it and are passed over with a warning.
int Dump(const std::filesystem::path& file, const std::string& lines,
         const std::filesystem::path& pattern, const std::filesystem::path& target,
         std::ostream& out);

// One record of a line (records from 1) deconvolved as a run would: per
// component the normalised data, the fit, the residuals and the amplitudes;
// with a plot path, the figure of tovarn plot decay too.
int Fit(const std::filesystem::path& parFile, std::int32_t line, long record, std::ostream& out,
        const std::filesystem::path& plot = {});

struct SynthArgs {
    std::filesystem::path descriptor;
    std::string model;  // "100:20,10:30,1000"
    std::string plate;  // not modelled yet
    xSurveyPlan plan;
    std::filesystem::path out;
};
// A survey of a layered earth in the descriptor's record layout, and its notes,
// written into args.out.
int Synth(const SynthArgs& args, std::ostream& out);

struct CdiExportArgs {
    std::filesystem::path cnd;
    std::string format;             // user, geosoft-line, simple-xyz, depth-grid, db-line,
                                    // geosoft-survey, db-survey or gdf2
    std::filesystem::path pattern;  // user: the pattern text
    std::string units = "mS/m";     // gdf2: any of mS/m, S/m, ohm-m, comma-separated
    std::optional<float> top;       // depth-grid: the elevation the grid starts at
    std::string air = "allow";      // allow, or surface to force conductors to the surface
    std::filesystem::path out;      // default beside the CND file
};
// A report of a CDI file as the CDI process writes it after a pass.
int CdiExport(const CdiExportArgs& args, std::ostream& out);
// The low moment's section above its penetration and the high moment's below,
// into out (".CND" added when it has no extension).
int CdiMerge(const std::filesystem::path& low, const std::filesystem::path& high,
             std::filesystem::path out, std::ostream& report);

// The survey's table and its lines', or with line one line's table; the
// project's SDB is made from its BIN first when it is missing or damaged.
int Info(const std::filesystem::path& parFile, const std::string& line, std::ostream& out);

// The user's folder of the configuration file: $XDG_CONFIG_HOME/tovarn, else
// ~/.config/tovarn.
std::filesystem::path UserConfigurationFolder();
// The folder whose configuration a project reads: its own when it holds the
// file, else the user's; the user's for an empty path.
std::filesystem::path ConfigurationFolder(const std::filesystem::path& parFile);
// The configuration's text, as it would be written.
int ConfigShow(const std::filesystem::path& parFile, std::ostream& out);
// "Field=value" each, all checked before the file is written.
int ConfigSet(const std::vector<std::string>& assignments, const std::filesystem::path& parFile,
              std::ostream& out);

void AddNewCommand(CLI::App& app, CommandTable& table);
void AddParamsCommand(CLI::App& app, CommandTable& table);
void AddSetCommand(CLI::App& app, CommandTable& table);
void AddRunCommand(CLI::App& app, CommandTable& table);
// descriptor show, check, build and build-fd.
void AddDescriptorCommands(CLI::App& app, CommandTable& table);
void AddDumpCommand(CLI::App& app, CommandTable& table);
void AddInfoCommand(CLI::App& app, CommandTable& table);
void AddFitCommand(CLI::App& app, CommandTable& table);
void AddSynthCommand(CLI::App& app, CommandTable& table);
// cdi export.
void AddCdiCommands(CLI::App& app, CommandTable& table);
// config show and set.
void AddConfigCommand(CLI::App& app, CommandTable& table);

}  // namespace cli

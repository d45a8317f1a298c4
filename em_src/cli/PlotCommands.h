#pragma once
// tovarn plot KIND: the figures of a project's files as PNG, SVG or PDF. Every
// kind takes the same figure options (--out, --size, --title); each kind's
// file adds its own options and draws through the plot library.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace CLI {
class App;
}
class QCustomPlot;
class xMFile;

namespace cli {

class CommandTable;

struct FigureArgs {
    std::filesystem::path out;
    std::string size = "1200x800";
    std::string title;  // empty: the kind's own title
};

// The figure options on a kind's subcommand.
void AddFigureOptions(CLI::App& command, FigureArgs& figure);
// Width of the figure's size for decimation; 0 when the size is malformed.
int FigureWidth(const FigureArgs& figure);
// Checks the figure options, makes the application Qt draws with, and hands
// a plot to draw, which answers an exit code; on success the plot is saved
// and named on out.
template <class Draw>
int DrawFigure(const FigureArgs& figure, std::ostream& out, Draw draw);
// option: how the command names the figure's file in its messages.
int CheckFigureArgs(const FigureArgs& figure, const std::string& option = "--out");
int SaveFigureFile(QCustomPlot& plot, const FigureArgs& figure, std::ostream& out);
// --range LOW:HIGH of a colour scale into low and high; empty text leaves
// them unset. A bad range is said, in unit, and answers kUsage.
int ReadColourRange(const std::string& text, bool logScale, const std::string& unit,
                    std::optional<double>& low, std::optional<double>& high);
QCustomPlot& FigurePlot();

template <class Draw>
int DrawFigure(const FigureArgs& figure, std::ostream& out, Draw draw) {
    if (const int bad = CheckFigureArgs(figure)) return bad;
    QCustomPlot& plot = FigurePlot();
    if (const int failed = draw(plot)) return failed;
    return SaveFigureFile(plot, figure, out);
}

// A survey file opened by its extension (AMP, CND, else a BIN form) with its
// header read; null when it is missing or unreadable, which was said.
std::unique_ptr<xMFile> OpenSurveyFile(const std::filesystem::path& path);

struct PlotCdiArgs {
    std::filesystem::path cnd;
    std::int32_t line = 0;
    std::string section;  // discrete, layered; empty: both
    std::string scale = "log";
    std::string range;  // "LO:HI" in mS/m
    bool elevation = false;
    bool fid = false;
};
int PlotCdi(const PlotCdiArgs& args, const FigureArgs& figure, std::ostream& out);

struct RecordFit;
// The decays of a fitted record, with the noise of the project's NDF file
// where there is one.
int DrawRecordFit(const RecordFit& fit, const FigureArgs& figure, std::ostream& out);

struct PlotDecayArgs {
    std::filesystem::path par;
    std::int32_t line = 0;
    long record = 0;
};
int PlotDecay(const PlotDecayArgs& args, const FigureArgs& figure, std::ostream& out);

struct PlotBasisArgs {
    std::filesystem::path aot;
    std::string component;  // empty: the first the basis has
};
int PlotBasis(const PlotBasisArgs& args, const FigureArgs& figure, std::ostream& out);

int PlotHistogram(const std::filesystem::path& cnd, const FigureArgs& figure, std::ostream& out);
struct PlotProfilesArgs {
    std::filesystem::path file;
    std::int32_t line = 0;
    std::string component;  // empty: the file's default
    std::string channels;   // "FIRST-LAST" or "ONE", 1-based; empty: all
    bool log = false;
    bool fid = false;
};
int PlotProfiles(const PlotProfilesArgs& args, const FigureArgs& figure, std::ostream& out);

struct PlotMapArgs {
    std::filesystem::path file;
    std::string value;  // an item's title or index
    std::string depth;  // metres, for a CND
    std::string lines;  // "10010,22810"; empty: all
    std::string range;  // "LO:HI" of the colour scale
};
int PlotMap(const PlotMapArgs& args, const FigureArgs& figure, std::ostream& out);

// The plot command and its kinds.
void AddPlotCommands(CLI::App& app, CommandTable& table);
void AddPlotCdiCommand(CLI::App& plot, CommandTable& table);
void AddPlotDecayCommand(CLI::App& plot, CommandTable& table);
void AddPlotBasisCommand(CLI::App& plot, CommandTable& table);
void AddPlotHistogramCommand(CLI::App& plot, CommandTable& table);
void AddPlotProfilesCommand(CLI::App& plot, CommandTable& table);
void AddPlotMapCommand(CLI::App& plot, CommandTable& table);

}  // namespace cli

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <climits>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "xAofTau.h"
#include "xAsciiPattern.h"
#include "xMAmp.h"
#include "xMCond.h"
#include "xMData.h"
#include "xParamFields.h"
#include "xPlatform.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

std::string Joined(const std::vector<std::int32_t>& numbers) {
    std::string text;
    for (auto n : numbers) text += (text.empty() ? "" : ", ") + std::to_string(n);
    return text.empty() ? "none" : text;
}

bool HasExtension(const fs::path& file, const std::string& wanted) {
    std::string extension = file.extension().string();
    for (char& c : extension) c = char(std::toupper(static_cast<unsigned char>(c)));
    return extension == wanted;
}

bool IsAot(const fs::path& file) {
    return HasExtension(file, ".AOT");
}

// The basis as a person reads it: identity, taus, then each component's windows,
// amplitudes (a row per tau, a column per window) and primary field.
void WriteAotTable(const xAofTau& aot, std::ostream& out) {
    constexpr int kIndex = 8;
    constexpr int kValue = 14;
    out << "Descriptor      : " << aot.DescriptorName() << '\n'
        << "Descriptor date : " << aot.DescriptorDate() << '\n'
        << "Approximation   : " << ApproximationName(aot.Approximation()) << '\n'
        << "Taus [sec]      : " << aot.Taus().Length() << '\n';
    out << std::setw(kIndex) << "Tau" << std::setw(kValue) << "Seconds" << '\n';
    for (long t = aot.Taus().Low(); t <= aot.Taus().High(); ++t)
        out << std::setw(kIndex) << t << std::setw(kValue) << aot.Taus()[t] << '\n';

    for (long id : aot.Components()) {
        const FloatMatrix& windows = *aot.Windows(id);
        const FloatMatrix& amplitudes = *aot.Amplitudes(id);
        const FloatArray& primary = *aot.Primary(id);
        out << "\nComponent " << ComponentName(id) << '\n';

        // A frequency-domain system has one row, the frequencies.
        out << "Sampling windows\n" << std::setw(kIndex) << "Window";
        for (long r = windows.RowLow(); r <= windows.RowHigh(); ++r) {
            const long row = r - windows.RowLow();
            const std::string title = windows.Rows() == 1 ? "Frequency"
                                      : row == 0          ? "Start"
                                      : row == 1          ? "End"
                                                          : "Row " + std::to_string(r);
            out << std::setw(kValue) << title;
        }
        out << '\n';
        for (long c = windows.ColLow(); c <= windows.ColHigh(); ++c) {
            out << std::setw(kIndex) << c;
            for (long r = windows.RowLow(); r <= windows.RowHigh(); ++r)
                out << std::setw(kValue) << windows[r][c];
            out << '\n';
        }

        out << "Basis amplitudes (one row per tau, one column per window)\n"
            << std::setw(kIndex) << "Tau";
        for (long c = amplitudes.ColLow(); c <= amplitudes.ColHigh(); ++c)
            out << std::setw(kValue) << "Window " + std::to_string(c);
        out << '\n';
        for (long r = amplitudes.RowLow(); r <= amplitudes.RowHigh(); ++r) {
            out << std::setw(kIndex) << r;
            for (long c = amplitudes.ColLow(); c <= amplitudes.ColHigh(); ++c)
                out << std::setw(kValue) << amplitudes[r][c];
            out << '\n';
        }

        out << "Primary field coefficients\n"
            << std::setw(kIndex) << "Window" << std::setw(kValue) << "Coefficient" << '\n';
        for (long c = primary.Low(); c <= primary.High(); ++c)
            out << std::setw(kIndex) << c << std::setw(kValue) << primary[c] << '\n';
    }
}

int DumpAot(const fs::path& file, const std::string& lines, const fs::path& pattern,
            const fs::path& target, std::ostream& out) {
    if (!lines.empty() || !pattern.empty())
        Platform().Warning(
            "--lines and --pattern apply to survey files only; an AOT file is written whole.");
    xAofTau aot(file);
    if (aot.Read() != 1) {
        if (fs::exists(file)) Platform().Error("Cannot read " + file.string() + " as an AOT file.");
        return kFailed;
    }
    xOutputFile text;
    if (!target.empty() && !OpenAsciiFile(target, text)) return kFailed;
    WriteAotTable(aot, target.empty() ? out : text.Stream());
    return target.empty() || text.Commit() ? kSuccess : kFailed;
}

}  // namespace

bool ParseLines(const std::string& text, std::vector<std::int32_t>& lines) {
    for (const auto& item : SplitList(text)) {
        long number;
        if (!ParseLong(item, number) || number < INT32_MIN || number > INT32_MAX) return false;
        lines.push_back(std::int32_t(number));
    }
    return true;
}

int Dump(const fs::path& file, const std::string& lines, const fs::path& pattern,
         const fs::path& target, std::ostream& out) {
    if (IsAot(file)) return DumpAot(file, lines, pattern, target, out);
    std::vector<std::int32_t> wanted;
    if (!ParseLines(lines, wanted)) {
        Platform().Error(
            "--lines wants line numbers separated by commas, e.g. 10010,22810, not \"" + lines +
            "\".");
        return kUsage;
    }
    // An amplitude file carries its taus in the header and names its columns by
    // them; a CDI file its depths and CDI type.
    std::unique_ptr<xMFile> survey;
    if (HasExtension(file, ".AMP"))
        survey = std::make_unique<xMAmp>();
    else if (HasExtension(file, ".CND"))
        survey = std::make_unique<xMCond>();
    else if (HasExtension(file, ".CRS"))
        survey = std::make_unique<xMCondCross>();
    else
        survey = std::make_unique<xMData>();
    xMFile& data = *survey;
    data.SetPath(file);
    // Open falls back to reading only; a dump never writes the survey file.
    if (data.Open() != 1) {
        if (fs::exists(file)) Platform().Error("Cannot open " + file.string());
        return kFailed;
    }
    if (!data.ReadHeader()) return kFailed;
    if (!wanted.empty()) {
        const auto present = data.LineNumbers();
        for (auto number : wanted) {
            if (std::find(present.begin(), present.end(), number) != present.end()) continue;
            Platform().Error("Line " + std::to_string(number) + " is not in " + file.string() +
                             "; its lines are " + Joined(present) + ".");
            return kUsage;
        }
    }

    // Half a report would pass for a whole one: it takes its place only when whole.
    xOutputFile text;
    if (!target.empty() && !OpenAsciiFile(target, text)) return kFailed;
    std::ostream& sink = target.empty() ? out : text.Stream();
    const bool ok =
        pattern.empty() ? data.DumpAscii(sink, wanted) : data.SaveAscii(sink, pattern, wanted);
    return ok && (target.empty() || text.Commit()) ? kSuccess : kFailed;
}

void AddDumpCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string file, lines, pattern, out;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "dump",
        "Write a binary survey file (BIN, NDF), an amplitude file (AMP), a CDI file (CND,\n"
        "CRS) or a wave basis file (AOT) as ASCII text.\n"
        "Without --pattern: the file header, then for each line its summary block and every\n"
        "record, each value in a field of 14 characters.\n"
        "With --pattern: the file header, a title row beginning with '/', then \"Line\" and the\n"
        "line number, and one row per record laid out by the pattern file (.AFF). A pattern\n"
        "file holds one item a line, \"number format title\": a record index, or -1 line end,\n"
        "-2 text, -4 and -3 begin and end of a group written as its mean; formats 14f6, 14e6,\n"
        "10i, 10l, 14s. A missing pattern file gets the default pattern (every record item).\n"
        "An AMP file adds the basis type and its taus to the header; its default pattern is\n"
        "FID, X, Y, Z, Altitude, Distance, Error and per component a column per channel,\n"
        "A_<component>(t=  n).\n"
        "A CDI file (CND, CRS) adds its depths relative to the first and the CDI type to the\n"
        "header, a CRS file also its components and conductivities; its default pattern\n"
        "names the items FID, X, Y, ..., then the layers and DC(depth), LC(depth),\n"
        "CC(depth) for the sections.\n"
        "An AOT file is written whole as a table: descriptor name and date, approximation,\n"
        "taus in seconds, then per component the windows, the basis amplitudes (a row per\n"
        "tau, a column per window) and the primary field coefficients; --lines and --pattern\n"
        "do not apply to it.\n"
        "Example:\n"
        "  tovarn dump survey.BIN --lines 10010,22810 --pattern survey_BIN.AFF --out survey.txt",
        [args](xConsolePlatform&) {
            return Dump(args->file, args->lines, args->pattern, args->out, std::cout);
        });
    command
        ->add_option(
            "FILE", args->file,
            "the survey file, e.g. survey.BIN, survey.AMP or survey.CND, or a basis file (AOT)")
        ->required();
    command->add_option("--lines", args->lines,
                        "only these lines, e.g. 10010,22810 (in file order)");
    command->add_option("--pattern", args->pattern,
                        "the pattern file (.AFF); written with the default pattern when missing");
    command->add_option("--out", args->out, "the text file to write (default: standard output)");
}

}  // namespace cli

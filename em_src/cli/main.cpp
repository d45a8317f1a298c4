// The tovarn command line: runs the processing chain of a project without a
// screen. A project is its PAR file; each command's file adds its options and
// help and runs it; here they are put on the line and errors become exit codes.

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cerrno>
#include <iostream>

#include "Commands.h"
#ifdef TOVARN_FIGURES
#include "PlotCommands.h"
#endif
#include "xConsolePlatform.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xProcessRegistry.h"

namespace {

const char* kIntro =
    "tovarn - airborne EM survey processing from the command line.\n\n"
    "A project is one PAR file. It names the system descriptor (DSC) and keeps the\n"
    "parameters of every process of the chain:\n"
    "  701 ASCII to binary, 702 Basis functions, 703 Deconvolution, 704 CDI,\n"
    "  705 Anomaly picker, 706 Inverter.\n"
    "Every output is written beside the PAR file as <project>.<ext>.\n\n"
    "A typical session:\n"
    "  tovarn new    survey.PAR --descriptor system.DSC\n"
    "  tovarn set    survey.PAR 701.Files=line1.asc,line2.asc 702.NumberOfTaus=16\n"
    "  tovarn params survey.PAR --process 702\n"
    "  tovarn run    survey.PAR --only 701,702,703,704\n"
    "  tovarn dump   survey.BIN --lines 10010     (or survey.AOT, .AMP, .CND)\n"
    "  tovarn fit    survey.PAR --line 10010 --record 250\n"
    "  tovarn cdi export survey.CND --format simple-xyz\n"
    "  tovarn plot   cdi survey.CND --line 10010 --out survey-10010-cdi.png\n"
    "  tovarn synth  system.DSC --model 100:30,1000 --lines 2 --line-length 1000 \\\n"
    "                --spacing 10 --altitude 120 --out synthetic\n"
    "  tovarn descriptor show system.DSC\n"
    "  tovarn config set ExtraTaus=3 --project survey.PAR\n";

const char* kExitCodes =
    "Exit codes: 0 success, 1 a process or a check reported an error,\n"
    "2 bad usage or a fatal error, 128 + the signal's number after Ctrl-C (130),\n"
    "SIGTERM (143) or SIGHUP (129), which stop the running process as its Stop button\n"
    "does. Messages go to stderr, led by their kind.";

// Every command, in the order that the help lists them.
void AddCommands(CLI::App& app, cli::CommandTable& table) {
    cli::AddNewCommand(app, table);
    cli::AddParamsCommand(app, table);
    cli::AddSetCommand(app, table);
    cli::AddRunCommand(app, table);
    cli::AddDescriptorCommands(app, table);
    cli::AddDumpCommand(app, table);
    cli::AddInfoCommand(app, table);
    cli::AddFitCommand(app, table);
    cli::AddSynthCommand(app, table);
    cli::AddCdiCommands(app, table);
    cli::AddConfigCommand(app, table);
#ifdef TOVARN_FIGURES
    cli::AddPlotCommands(app, table);
#else
    table
        .Add(app, "plot", "Figures: not in this build (it was made with TOVARN_FIGURES=OFF).",
             [](xConsolePlatform&) {
                 Platform().Error(
                     "This tovarn was built without figures (TOVARN_FIGURES=OFF). "
                     "Install Qt 6 and QCustomPlot (scripts/setup) and build it "
                     "again with -DTOVARN_FIGURES=ON.");
                 return cli::kUsage;
             })
        ->allow_extras();
#endif
}

// A stream that failed long before the end keeps no error code: one more
// byte to the broken output answers the same as the failed write did.
int WhyOutputFailed() {
    if (::write(STDOUT_FILENO, "\n", 1) < 0 && errno != 0) return errno;
    return EIO;
}

// Tables and listings go to stdout: a full disk or a closed pipe there is
// an error of the command, not a silent success.
bool StandardOutputWritten(xPlatform& platform) {
    errno = 0;
    if (std::cout.flush()) return true;
    platform.Error(xPendingFile::FailureText("the standard output", WhyOutputFailed()));
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{kIntro, "tovarn"};
    app.set_version_flag("--version", "tovarn 0.3.0");
    app.footer(kExitCodes);
    app.require_subcommand(1);
    cli::CommandTable table;
    AddCommands(app, table);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : cli::kUsage;
    }

    xConsolePlatform console(std::cerr, isatty(STDERR_FILENO));
    SetPlatform(&console);
    xConsolePlatform::CatchStopSignals();
    RegisterDescriptor();
    int result = cli::kSuccess;
    try {
        result = table.RunChosen(console);
    } catch (const xFatalError&) {
        result = cli::kUsage;
    }
    if (!StandardOutputWritten(console)) result = cli::kFailed;
    SetPlatform(nullptr);
    // A stopped run ends as the signal would have ended it.
    if (const int signal = xConsolePlatform::CaughtSignal()) return 128 + signal;
    if (result == cli::kSuccess && console.Errors() > 0) result = cli::kFailed;
    return result;
}

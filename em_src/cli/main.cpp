// The tovarn command line: runs the processing chain of a project without a
// screen. A project is its PAR file; each command below works on one.

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <iostream>

#include "Commands.h"
#include "xConsolePlatform.h"
#include "xEMDesc.h"
#include "xProcessRegistry.h"
#include "xParamFields.h"

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
    "  tovarn synth  system.DSC --model 100:30,1000 --lines 2 --line-length 1000 \\\n"
    "                --spacing 10 --altitude 120 --out synthetic\n"
    "  tovarn descriptor show system.DSC\n";

const char* kExitCodes =
    "Exit codes: 0 success, 1 a process or a check reported an error,\n"
    "2 bad usage or a fatal error. Messages go to stderr, led by their kind.";

// "701,702" -> 701, 702; false on anything that is not a list of numbers.
bool ParseIds(const std::string& list, std::vector<int>& ids) {
    for (const auto& item : SplitList(list)) {
        long id;
        if (!ParseLong(item, id)) return false;
        ids.push_back(int(id));
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{kIntro, "tovarn"};
    app.set_version_flag("--version", "tovarn 0.3.0");
    app.footer(kExitCodes);
    app.require_subcommand(1);

    std::string par, descriptor, copyFrom, only;
    int process = 0;
    std::vector<std::string> assignments, answers;

    auto* newCmd = app.add_subcommand(
        "new", "Create a project: a new PAR file that names the system descriptor.");
    newCmd->add_option("PROJECT.PAR", par, "the new parameter file")->required();
    newCmd->add_option("--descriptor", descriptor, "the system descriptor (.DSC) of the survey")
        ->required();
    newCmd->add_option("--copy-from", copyFrom,
                       "an existing PAR file whose parameters the new project starts with");

    auto* paramsCmd = app.add_subcommand(
        "params", "Show the parameters of a project as the parameter display lists them.");
    paramsCmd->add_option("PROJECT.PAR", par, "the project")->required();
    paramsCmd->add_option("--process", process,
                          "only this process (701 ASCII, 702 basis, 703 deconvolution, 704 CDI, "
                          "705 picker, 706 inverter)");

    auto* setCmd = app.add_subcommand(
        "set",
        "Change parameters: ID.Field=value, e.g. 703.Threshold=1e-3 704.MaxDepth=500.\n"
        "The ASCII files to import are 701.Files=a.asc,b.asc. A wrong name or value is\n"
        "refused with the list of names and ranges, and nothing is saved.");
    setCmd->add_option("PROJECT.PAR", par, "the project")->required();
    setCmd->add_option("ID.Field=value", assignments, "one or more assignments")->required();

    auto* runCmd = app.add_subcommand(
        "run",
        "Run the chain with automatic file names, in its order: 701, 702, 703, 704, 705, 706.\n"
        "Questions are answered by --answer rules, else by their first choice; Ctrl-C stops\n"
        "the running process, which deletes its incomplete output.");
    runCmd->add_option("PROJECT.PAR", par, "the project")->required();
    runCmd->add_option("--only", only, "run only these processes, e.g. 701,702");
    runCmd->add_option(
        "--answer", answers,
        "answer questions whose text holds FRAGMENT with CAPTION: \"FRAGMENT=CAPTION\"");

    auto* descriptorCmd = app.add_subcommand(
        "descriptor",
        "Look at a system descriptor (DSC): show its summary or check it; or build one from the\n"
        "system file and column layout that come with a survey.");
    descriptorCmd->require_subcommand(1);
    std::string dsc;
    auto* showCmd = descriptorCmd->add_subcommand(
        "show",
        "The system, time scaling, components and channels, windows, waveforms, geometry and\n"
        "the primary field at the receiver per component.");
    showCmd->add_option("SYSTEM.DSC", dsc, "the descriptor")->required();
    auto* checkCmd = descriptorCmd->add_subcommand(
        "check", "Run the descriptor's validations; exit code 1 when one fails.");
    checkCmd->add_option("SYSTEM.DSC", dsc, "the descriptor")->required();

    cli::DescriptorBuildArgs build;
    std::string systemFile, layoutFile, outFile;
    auto* buildCmd = descriptorCmd->add_subcommand(
        "build",
        "Build a descriptor from a survey's system file (.stm) and column layout (.dfn or .hdr).\n"
        "Times in the descriptor run from 0 to the half period, in microseconds; the system\n"
        "file's time zero is moved there. A dB/dt receiver's primary field is the derivative of\n"
        "the current. Example:\n"
        "  tovarn descriptor build --system Geotem3-GSQ823.stm --layout Geotem_GSQ823.dfn \\\n"
        "    --map line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=Elevation_SRTM,"
        "altitude=Radar_Altimeter \\\n"
        "    --channels Z=Z_off_time,X=X_off_time --rx-offset -120,0,-45 --out GEOTEM.DSC");
    buildCmd->add_option("--system", systemFile, "the system file (.stm)")->required();
    buildCmd
        ->add_option("--layout", layoutFile,
                     "the column layout: an ASEG-GDF2 definition (.dfn) or a column list (.hdr)")
        ->required();
    buildCmd
        ->add_option(
            "--map", build.map,
            "ITEM=COLUMN,...: line, fid, east, north, z_topo and altitude are required;\n"
            "Rx_pitch, Rx_roll, Rx_yaw, Tx_pitch, Tx_roll, Tx_yaw are optional; any other\n"
            "name becomes a user item")
        ->required();
    buildCmd
        ->add_option("--channels", build.channels,
                     "AXIS=COLUMN,...: the array column of each receiver axis, X (TzRx), Y (TzRy)\n"
                     "or Z (TzRz); its item count must equal the system file's windows")
        ->required();
    buildCmd->add_option("--rx-offset", build.rxOffset,
                         "DX,DY,DZ: receiver minus transmitter in metres, x forward, z up "
                         "(default 0,0,0)");
    buildCmd->add_option("--name", build.name, "the system name (default: the system file's)");
    buildCmd->add_option("--rx-unit", build.rxUnit,
                         "the receiver unit (default: the normalisation, else Wb/m^2 for B and\n"
                         "nV/amp/m^2 for dB/dt)");
    buildCmd->add_option("--out", outFile, "the descriptor to write (.DSC)")->required();

    cli::DescriptorBuildFdArgs buildFd;
    std::string fdLayoutFile, fdOutFile;
    auto* buildFdCmd = descriptorCmd->add_subcommand(
        "build-fd",
        "Build a frequency-domain descriptor from a survey's column layout (.dfn or .hdr) and\n"
        "its coil pairs. Each pair is a dipole transmitter at the origin and a dipole receiver\n"
        "at its offset; in-phase and quadrature are in ppm of the pair's primary field. Example:\n"
        "  tovarn descriptor build-fd --layout RESOLVE.hdr \\\n"
        "    --map line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=Ground_elevation,"
        "altitude=Bird_height \\\n"
        "    --component Z:382=CPI400_F/CPQ400_F,1822=CPI1800_F/CPQ1800_F \\\n"
        "    --component X:3258=CXI3300_F/CXQ3300_F \\\n"
        "    --rx-offset Z=-7.86,0,0 --rx-offset X=-8.99,0,0 --name RESOLVE --out RESOLVE.DSC");
    buildFdCmd
        ->add_option("--layout", fdLayoutFile,
                     "the column layout: an ASEG-GDF2 definition (.dfn) or a column list (.hdr)")
        ->required();
    buildFdCmd
        ->add_option(
            "--map", buildFd.map,
            "ITEM=COLUMN,...: line, fid, east, north, z_topo and altitude are required;\n"
            "Rx_pitch, Rx_roll, Rx_yaw, Tx_pitch, Tx_roll, Tx_yaw are optional; any other\n"
            "name becomes a user item")
        ->required();
    buildFdCmd
        ->add_option("--component", buildFd.components,
                     "PAIR:HZ=INPHASE/QUADRATURE,...: one coil pair and, for each of its\n"
                     "frequencies, the columns of its in-phase and quadrature. PAIR is Z\n"
                     "(horizontal coplanar, TzRz), X (coaxial, TxRx), Y (TyRy) or a component\n"
                     "name such as TzRx; repeat the option for each pair")
        ->required();
    buildFdCmd->add_option("--rx-offset", buildFd.rxOffsets,
                           "PAIR=DX,DY,DZ: the pair's receiver minus transmitter in metres, x\n"
                           "forward, z up (default 0,0,0); repeat for each pair");
    buildFdCmd->add_option("--name", buildFd.name, "the system name");
    buildFdCmd->add_option("--out", fdOutFile, "the descriptor to write (.DSC)")->required();

    std::string dumpFile, dumpLines, dumpPattern, dumpOut;
    auto* dumpCmd = app.add_subcommand(
        "dump",
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
        "  tovarn dump survey.BIN --lines 10010,22810 --pattern survey_BIN.AFF --out survey.txt");
    dumpCmd
        ->add_option(
            "FILE", dumpFile,
            "the survey file, e.g. survey.BIN, survey.AMP or survey.CND, or a basis file (AOT)")
        ->required();
    dumpCmd->add_option("--lines", dumpLines, "only these lines, e.g. 10010,22810 (in file order)");
    dumpCmd->add_option("--pattern", dumpPattern,
                        "the pattern file (.AFF); written with the default pattern when missing");
    dumpCmd->add_option("--out", dumpOut, "the text file to write (default: standard output)");

    std::int32_t fitLine = 0;
    long fitRecord = 0;
    auto* fitCmd = app.add_subcommand(
        "fit",
        "Deconvolve one record as 703 would and show, per component, the normalised data, the\n"
        "fit, the residuals and the amplitudes of the taus, to check a fit by eye. Needs the\n"
        "project's BIN (701) and AOT (702) files. Example:\n"
        "  tovarn fit survey.PAR --line 10010 --record 250");
    fitCmd->add_option("PROJECT.PAR", par, "the project")->required();
    fitCmd->add_option("--line", fitLine, "the line number, e.g. 10010")->required();
    fitCmd->add_option("--record", fitRecord, "the record of the line, from 1")->required();

    cli::SynthArgs synth;
    std::string synthDescriptor, synthOut;
    auto* synthCmd = app.add_subcommand(
        "synth",
        "Model a survey over a layered earth: the ASCII survey file the system would deliver,\n"
        "in the descriptor's record layout (Geosoft XYZ when the descriptor says so), ready for\n"
        "ASCII->Binary, and a note of what was modelled. Lines run east and back, north of each\n"
        "other, with rising FID; values are in the descriptor's receiver units. Example:\n"
        "  tovarn synth GEOTEM.DSC --model 100:30,10:50,1000 --lines 5 --line-length 2000 \\\n"
        "    --spacing 10 --altitude 120 --noise 2 --out synthetic");
    synthCmd->add_option("SYSTEM.DSC", synthDescriptor, "the system descriptor")->required();
    synthCmd
        ->add_option("--model", synth.model,
                     "the layers from the top: RESISTIVITY:THICKNESS (ohm m and m), the last\n"
                     "RESISTIVITY alone, e.g. 100:30,10:50,1000")
        ->required();
    synthCmd->add_option("--lines", synth.plan.lines, "number of lines (labels 10010, 10020, ...)")
        ->required();
    synthCmd->add_option("--line-length", synth.plan.lineLength, "m along each line")->required();
    synthCmd->add_option("--spacing", synth.plan.spacing, "m between records")->required();
    synthCmd->add_option("--altitude", synth.plan.altitude, "m of the transmitter above ground")
        ->required();
    synthCmd->add_option("--line-spacing", synth.plan.lineSpacing, "m between lines (default 200)");
    synthCmd->add_option("--noise", synth.plan.noisePercent,
                         "Gaussian noise, percent of each value (default 0)");
    synthCmd->add_option("--seed", synth.plan.seed, "seed of the noise (default 1)");
    synthCmd->add_option("--plate", synth.plate,
                         "X,Y,DEPTH,DIP,STRIKE,LENGTH,EXTENT,CONDUCTANCE: a thin plate (not "
                         "modelled yet)");
    synthCmd->add_option("--out", synthOut, "the folder to write into")->required();

    cli::CdiExportArgs cdiExport;
    std::string cdiFile, cdiPattern, cdiOut;
    float cdiTop = 0.0f;
    auto* cdiCmd = app.add_subcommand("cdi", "Work with a CDI file (CND) that 704 wrote.");
    cdiCmd->require_subcommand(1);
    auto* exportCmd = cdiCmd->add_subcommand(
        "export",
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
        "  tovarn cdi export survey.CND --format gdf2 --units mS/m,ohm-m --out survey_cdi");
    exportCmd->add_option("P.CND", cdiFile, "the CDI file")->required();
    exportCmd->add_option("--format", cdiExport.format, "the layout, as listed above")->required();
    exportCmd->add_option("--pattern", cdiPattern, "user: the pattern file (docs/FILE_FORMATS.md)");
    exportCmd->add_option("--units", cdiExport.units,
                          "gdf2: mS/m, S/m, ohm-m, one or more separated by commas (default mS/m)");
    auto* topOption = exportCmd->add_option(
        "--top", cdiTop, "depth-grid: the elevation of the grid's first row, in metres");
    exportCmd->add_option("--air", cdiExport.air,
                          "conductors fitted in the air: allow (default), or surface to lift each\n"
                          "section by its positive fitted depth");
    exportCmd->add_option("--out", cdiOut,
                          "the file, or the stem of per-line and gdf2 outputs (default beside the\n"
                          "CDI file: P.xyz, P.DOC, P_db.DOC, P_grid.xyz, P_user.txt, P)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : cli::kUsage;
    }

    xConsolePlatform console(std::cerr, isatty(STDERR_FILENO));
    SetPlatform(&console);
    xConsolePlatform::CatchInterrupt();
    RegisterDescriptor();
    int result = cli::kSuccess;
    try {
        if (*newCmd) {
            result = cli::New(par, descriptor, copyFrom);
        } else if (*paramsCmd) {
            result = cli::Params(par, process, std::cout);
        } else if (*setCmd) {
            result = cli::Set(par, assignments, std::cout);
        } else if (*showCmd) {
            result = cli::DescriptorShow(dsc, std::cout);
        } else if (*checkCmd) {
            result = cli::DescriptorCheck(dsc, std::cout);
        } else if (*buildCmd) {
            build.system = systemFile;
            build.layout = layoutFile;
            build.out = outFile;
            result = cli::DescriptorBuild(build, std::cout);
        } else if (*buildFdCmd) {
            buildFd.layout = fdLayoutFile;
            buildFd.out = fdOutFile;
            result = cli::DescriptorBuildFd(buildFd, std::cout);
        } else if (*dumpCmd) {
            result = cli::Dump(dumpFile, dumpLines, dumpPattern, dumpOut, std::cout);
        } else if (*exportCmd) {
            cdiExport.cnd = cdiFile;
            cdiExport.pattern = cdiPattern;
            cdiExport.out = cdiOut;
            if (topOption->count() > 0) cdiExport.top = cdiTop;
            result = cli::CdiExport(cdiExport, std::cout);
        } else if (*fitCmd) {
            result = cli::Fit(par, fitLine, fitRecord, std::cout);
        } else if (*synthCmd) {
            synth.descriptor = synthDescriptor;
            synth.out = synthOut;
            result = cli::Synth(synth, std::cout);
        } else if (*runCmd) {
            for (const auto& text : answers) {
                xConsolePlatform::AnswerRule rule;
                if (!xConsolePlatform::ParseRule(text, rule)) {
                    console.Error("--answer wants \"fragment=Caption\", not \"" + text + "\".");
                    return cli::kUsage;
                }
                console.AddRule(rule);
            }
            std::vector<int> ids;
            if (!ParseIds(only, ids)) {
                console.Error("--only wants process ids separated by commas, e.g. 701,702.");
                return cli::kUsage;
            }
            result = cli::Run(par, ids, std::cout);
        }
    } catch (const xFatalError&) {
        return cli::kUsage;
    }
    SetPlatform(nullptr);
    if (result == cli::kSuccess && console.Errors() > 0) result = cli::kFailed;
    return result;
}

// tovarn synth: a survey of a known layered earth, written as the system's
// survey files are, with a note of what was modelled.

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "Commands.h"
#include "xEMDesc.h"
#include "xParamFields.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xSyntheticSurvey.h"
#include "xSystemResponse.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

// "100:20,10:30,1000": resistivities in ohm m, each but the last with its
// thickness in m.
bool ParseModel(const std::string& text, xLayeredEarth& earth) {
    const auto layers = SplitList(text);
    if (layers.empty()) {
        Platform().Error(
            "--model wants the layers from the top, RESISTIVITY:THICKNESS and the "
            "last RESISTIVITY alone, e.g. \"100:20,10:30,1000\".");
        return false;
    }
    for (std::size_t k = 0; k < layers.size(); ++k) {
        const std::string& layer = layers[k];
        const auto colon = layer.find(':');
        const bool last = k + 1 == layers.size();
        double resistivity = 0.0, thickness = 0.0;
        const bool ok =
            ParseDouble(layer.substr(0, colon), resistivity) && resistivity > 0.0 &&
            (last ? colon == std::string::npos
                  : colon != std::string::npos && ParseDouble(layer.substr(colon + 1), thickness) &&
                        thickness > 0.0);
        if (!ok) {
            Platform().Error("Layer " + std::to_string(k + 1) + " of --model, \"" + layer +
                             "\", is not " +
                             (last ? "a resistivity (ohm m, above 0) alone: the last layer has "
                                     "no thickness."
                                   : "RESISTIVITY:THICKNESS (ohm m and m, both above 0)."));
            return false;
        }
        earth.conductivity.push_back(1.0 / resistivity);
        if (!last) earth.thickness.push_back(thickness);
    }
    return true;
}

bool CheckPlan(const xSurveyPlan& plan) {
    std::string wrong;
    if (plan.lines < 1) wrong = "--lines must be at least 1.";
    if (!(plan.spacing > 0.0)) wrong = "--spacing (m between records) must be above 0.";
    if (!(plan.lineLength >= 0.0)) wrong = "--line-length (m) must not be negative.";
    if (!(plan.altitude > 0.0))
        wrong = "--altitude (m of the transmitter above ground) must be above 0.";
    if (!(plan.noisePercent >= 0.0)) wrong = "--noise (percent) must not be negative.";
    if (wrong.empty()) return true;
    Platform().Error(wrong);
    return false;
}

void WriteNotes(std::ostream& notes, const SynthArgs& args, const xEMDesc& system,
                const xLayeredEarth& earth, const xSystemResponse& response,
                const std::map<long, std::vector<double>>& sounding, const fs::path& survey,
                long records) {
    notes << "Synthetic survey " << survey.filename().string() << "\n"
          << "System: " << system.systemDesc.name << " (" << args.descriptor.string() << ")\n"
          << "Earth, from the top:\n";
    for (std::size_t k = 0; k < earth.conductivity.size(); ++k) {
        notes << "  " << 1.0 / earth.conductivity[k] << " ohm m";
        if (k < earth.thickness.size()) notes << ", " << earth.thickness[k] << " m";
        notes << "\n";
    }
    const xSurveyPlan& plan = args.plan;
    notes << "Lines: " << plan.lines << " (labels " << xSurveyPlan::LineLabel(0) << " on, every "
          << plan.lineSpacing << " m), " << plan.lineLength << " m long, a record every "
          << plan.spacing << " m: " << records << " records\n"
          << "Transmitter " << plan.altitude << " m above flat ground at " << plan.groundLevel
          << " m\n"
          << "Noise: " << plan.noisePercent << " % Gaussian of each value, seed " << plan.seed
          << "\n"
          << "Values: " << response.UnitsText()
          << "; divided by the window weights, as the system delivers them\n"
          << "Noise-free channels:\n";
    notes << std::setprecision(7);
    for (const auto& [id, values] : sounding) {
        notes << "  " << ComponentName(id) << ":";
        for (double v : values) notes << ' ' << v;
        notes << "\n";
    }
}

}  // namespace

int Synth(const SynthArgs& args, std::ostream& out) {
    if (!args.plate.empty()) {
        Platform().Error(
            "Plates are not modelled yet: their response arrives with the inverter. "
            "Leave --plate out to model the layered earth alone.");
        return kUsage;
    }
    xLayeredEarth earth;
    if (!ParseModel(args.model, earth) || !CheckPlan(args.plan)) return kUsage;
    xEMDesc system;
    if (!system.Read(args.descriptor)) return kFailed;
    xSystemResponse response;
    if (!response.SetSystem(system)) {
        Platform().Error(response.Problem());
        return kFailed;
    }
    const auto started = std::chrono::steady_clock::now();
    const auto sounding = response.Sounding(earth, args.plan.altitude);
    const double milliseconds =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
            .count();

    std::error_code ec;
    fs::create_directories(args.out, ec);
    const std::string stem = args.descriptor.stem().string() + "_synthetic";
    const fs::path survey = args.out / (stem + (system.formatDesc.geosoftFormat ? ".xyz" : ".asc"));
    const xSyntheticSurvey writer(system, args.plan, sounding);
    Platform().ProgressOpen("Writing " + survey.filename().string());
    Platform().ProgressRange(0, writer.Records());
    const bool written = writer.Write(survey, [](long n) { Platform().ProgressAdvance(n); });
    Platform().ProgressClose();
    if (!written) {
        Platform().Error("Cannot write the survey file <" + survey.string() + ">.");
        return kFailed;
    }
    const fs::path notesFile = args.out / (stem + ".txt");
    xOutputFile notes;
    if (notes.Open(notesFile))
        WriteNotes(notes.Stream(), args, system, earth, response, sounding, survey,
                   writer.Records());
    if (!notes.IsOpen() || !notes.Commit()) {
        Platform().Error("Cannot write the notes <" + notesFile.string() + ">.");
        return kFailed;
    }
    out << "wrote " << survey.string() << ": " << args.plan.lines << " lines, " << writer.Records()
        << " records (one sounding in " << std::fixed << std::setprecision(2) << milliseconds
        << " ms)\n"
        << "wrote " << notesFile.string() << "\n";
    return kSuccess;
}

void AddSynthCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        SynthArgs synth;
        std::string descriptor, out;
    };
    auto args = std::make_shared<Args>();
    SynthArgs& synth = args->synth;
    auto* command = table.Add(
        app, "synth",
        "Model a survey over a layered earth: the ASCII survey file the system would deliver,\n"
        "in the descriptor's record layout (Geosoft XYZ when the descriptor says so), ready for\n"
        "ASCII->Binary, and a note of what was modelled. Lines run east and back, north of each\n"
        "other, with rising FID; values are in the descriptor's receiver units. Example:\n"
        "  tovarn synth GEOTEM.DSC --model 100:30,10:50,1000 --lines 5 --line-length 2000 \\\n"
        "    --spacing 10 --altitude 120 --noise 2 --out synthetic",
        [args](xConsolePlatform&) {
            args->synth.descriptor = args->descriptor;
            args->synth.out = args->out;
            return Synth(args->synth, std::cout);
        });
    command->add_option("SYSTEM.DSC", args->descriptor, "the system descriptor")->required();
    command
        ->add_option("--model", synth.model,
                     "the layers from the top: RESISTIVITY:THICKNESS (ohm m and m), the last\n"
                     "RESISTIVITY alone, e.g. 100:30,10:50,1000")
        ->required();
    command->add_option("--lines", synth.plan.lines, "number of lines (labels 10010, 10020, ...)")
        ->required();
    command->add_option("--line-length", synth.plan.lineLength, "m along each line")->required();
    command->add_option("--spacing", synth.plan.spacing, "m between records")->required();
    command->add_option("--altitude", synth.plan.altitude, "m of the transmitter above ground")
        ->required();
    command->add_option("--line-spacing", synth.plan.lineSpacing, "m between lines (default 200)");
    command->add_option("--noise", synth.plan.noisePercent,
                        "Gaussian noise, percent of each value (default 0)");
    command->add_option("--seed", synth.plan.seed, "seed of the noise (default 1)");
    command->add_option("--plate", synth.plate,
                        "X,Y,DEPTH,DIP,STRIKE,LENGTH,EXTENT,CONDUCTANCE: a thin plate (not "
                        "modelled yet)");
    command->add_option("--out", args->out, "the folder to write into")->required();
}

}  // namespace cli

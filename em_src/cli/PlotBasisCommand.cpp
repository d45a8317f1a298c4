// tovarn plot basis: the basis functions of one component of an AOT file.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "PlotCommands.h"
#include "xAofTau.h"
#include "xBasisFigure.h"
#include "xPlatform.h"
#include "xTRClasf.h"

namespace cli {

int PlotBasis(const PlotBasisArgs& args, const FigureArgs& figure, std::ostream& out) {
    if (const int bad = CheckFigureArgs(figure)) return bad;
    xAofTau basis(args.aot);
    if (!basis.Exists()) {
        Platform().Error("There is no basis " + args.aot.string() +
                         ": run 702 (Basis Functions) first.");
        return kFailed;
    }
    if (!basis.Read()) {
        Platform().Error("The basis " + args.aot.string() + " cannot be read" +
                         (basis.Where().empty() ? "." : ":\n" + basis.Where()));
        return kFailed;
    }
    const std::vector<long> components = basis.Components();
    const long component = args.component.empty() && !components.empty()
                               ? components.front()
                               : ComponentIdTyped(args.component);
    if (const std::string problem = BasisFigureProblem(basis, component); !problem.empty()) {
        Platform().Error(problem);
        return args.component.empty() ? kFailed : kUsage;
    }
    const QString title =
        figure.title.empty()
            ? QString::fromStdString("Basis functions - " + args.aot.filename().string() + " (" +
                                     ApproximationName(basis.Approximation()) + ")")
            : QString::fromStdString(figure.title);
    return DrawFigure(figure, out, [&](QCustomPlot& plot) {
        DrawBasis(plot, basis, component, title);
        return kSuccess;
    });
}

void AddPlotBasisCommand(CLI::App& plot, CommandTable& table) {
    struct Args {
        PlotBasisArgs basis;
        FigureArgs figure;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        plot, "basis",
        "The basis functions of one component of an AOT file: the response of each tau\n"
        "against the window time on log axes, a curve per tau coloured from short to long,\n"
        "the sampling windows shaded from start to end. Example:\n"
        "  tovarn plot basis survey.AOT --component ZZ --out basis.png",
        [args](xConsolePlatform&) { return PlotBasis(args->basis, args->figure, std::cout); });
    command->add_option("BASIS.AOT", args->basis.aot, "the basis file")->required();
    command->add_option("--component", args->basis.component,
                        "the component, e.g. ZZ or TzRz; default the first of the file");
    AddFigureOptions(*command, args->figure);
}

}  // namespace cli

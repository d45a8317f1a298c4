// tovarn params: the parameters of a project as the parameter display lists them,
// each with the name that `tovarn set` takes.

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "Commands.h"
#include "ProjectParams.h"
#include "xParamDisplay.h"
#include "xProcessTable.h"
#include "xProjectContext.h"
#include "xPrsCont.h"

namespace fs = std::filesystem;

namespace cli {

int Params(const fs::path& parFile, int processId, std::ostream& out) {
    if (processId != 0 && !MakeParams(processId)) {
        NoProcessWithParams(processId);
        return kUsage;
    }
    if (!OpenParFile(parFile, true)) return kFailed;
    const xProjectContext& context = ProjectContext();
    xParamDisplay display;
    display.AddTitleRow(context.projectName, context.descriptorName);
    for (int id : ParamsLoadOrder()) {
        if (processId != 0 && id != processId) continue;
        auto params = MakeParams(id);
        params->Load();
        params->Display(display, true);
    }
    display.ExportAscii(out);
    return kSuccess;
}

void AddParamsCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par;
        int process = 0;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "params",
        "Show the parameters of a project as the parameter display lists them, with the\n"
        "ID.Field name of each beside its caption, as `tovarn set` takes it.",
        [args](xConsolePlatform&) { return Params(args->par, args->process, std::cout); });
    command->add_option("PROJECT.PAR", args->par, "the project")->required();
    command->add_option("--process", args->process,
                        "only this process (701 ASCII, 702 basis, 703 deconvolution, 704 CDI, "
                        "705 picker, 706 inverter)");
}

}  // namespace cli

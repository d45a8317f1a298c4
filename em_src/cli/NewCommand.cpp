// tovarn new: a project, that is a PAR file naming the system descriptor.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace cli {

int New(const fs::path& parFile, const fs::path& descriptor, const fs::path& copyFrom) {
    xShellApp shell;
    return shell.NewProject(parFile, descriptor, copyFrom) ? kSuccess : kFailed;
}

void AddNewCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par, descriptor, copyFrom;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "new", "Create a project: a new PAR file that names the system descriptor.",
        [args](xConsolePlatform&) { return New(args->par, args->descriptor, args->copyFrom); });
    command->add_option("PROJECT.PAR", args->par, "the new parameter file")->required();
    command
        ->add_option("--descriptor", args->descriptor, "the system descriptor (.DSC) of the survey")
        ->required();
    command->add_option("--copy-from", args->copyFrom,
                        "an existing PAR file whose parameters the new project starts with");
}

}  // namespace cli

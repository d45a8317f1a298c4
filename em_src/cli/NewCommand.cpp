// tovarn new: a project, that is a PAR file naming the system descriptor.

#include <CLI/CLI.hpp>

#include <memory>

#include "Commands.h"
#include "xPlatform.h"
#include "xProjectLock.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace cli {

int New(const fs::path& parFile, const fs::path& descriptor, const fs::path& copyFrom, bool force) {
    xProjectLock lock(parFile, "tovarn new " + parFile.string());
    // Where the project cannot be, NewProject says why.
    const bool inFolder = !parFile.empty() && fs::is_directory(fs::absolute(parFile).parent_path());
    if (inFolder && !lock.Take()) return kFailed;
    if (fs::exists(parFile) && !force) {
        Platform().Error("The project " + parFile.string() +
                         " exists already: its file list and parameters would be lost. Give "
                         "--force to replace it.");
        return kFailed;
    }
    xShellApp shell;
    return shell.NewProject(parFile, descriptor, copyFrom) ? kSuccess : kFailed;
}

void AddNewCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par, descriptor, copyFrom;
        bool force = false;
    };
    auto args = std::make_shared<Args>();
    auto* command =
        table.Add(app, "new", "Create a project: a new PAR file that names the system descriptor.",
                  [args](xConsolePlatform&) {
                      return New(args->par, args->descriptor, args->copyFrom, args->force);
                  });
    command->add_option("PROJECT.PAR", args->par, "the new parameter file")->required();
    command
        ->add_option("--descriptor", args->descriptor, "the system descriptor (.DSC) of the survey")
        ->required();
    command->add_flag("--force", args->force,
                      "replace an existing PAR file (its parameters and file list are lost)");
    command->add_option("--copy-from", args->copyFrom,
                        "an existing PAR file whose parameters the new project starts with");
}

}  // namespace cli

// tovarn info: the survey window's content, the survey's table and each line's,
// read from the project's survey database, which is made from the BIN file
// when it is missing or damaged.

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "Commands.h"
#include "ProjectParams.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xSurveyDatabase.h"
#include "xSurveyInfo.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

bool OpenSurveyTree(xSurveyDatabase& db) {
    const xProjectContext& project = ProjectContext();
    const fs::path sdb = project.ProjectFile("SDB");
    const fs::path bin = project.ProjectFile("BIN");
    std::error_code ec;
    if (!xSurveyDatabase::IsWhole(sdb) && !fs::exists(bin, ec)) {
        Platform().Error("There is no survey file " + bin.string() +
                         ": run 701 (ASCII->Binary) first.");
        return false;
    }
    return xSurveyInfo::OpenOrRebuild(db, sdb, bin, project.projectName);
}

}  // namespace

int Info(const fs::path& parFile, const std::string& line, std::ostream& out) {
    if (!OpenParFile(parFile, true)) return kFailed;
    xSurveyDatabase db;
    if (!OpenSurveyTree(db)) return kFailed;
    if (!line.empty()) {
        const auto node = db.FindChild(line);
        if (!node) return kFailed;
        out << node->item.text;
        return kSuccess;
    }
    const auto root = db.LoadNode(-1);
    if (!root) return kFailed;
    out << root->item.text;
    for (const auto& child : db.Children(root->position)) out << '\n' << child.item.text;
    return kSuccess;
}

void AddInfoCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par;
        std::string line;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "info",
        "Show the survey information of a project: the survey's flight, lines, FIDs and\n"
        "the range of its positions, then the same for each line. The project's SDB file\n"
        "holds them; it is made again from the BIN file when it is missing or damaged.",
        [args](xConsolePlatform&) { return Info(args->par, args->line, std::cout); });
    command->add_option("PROJECT.PAR", args->par, "the project")->required();
    command->add_option("--line", args->line, "only this line, by its number");
}

}  // namespace cli

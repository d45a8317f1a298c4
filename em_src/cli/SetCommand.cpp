// tovarn set: parameters changed by name, all checked before any is saved.

#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>

#include "Commands.h"
#include "ProjectParams.h"
#include "xParamFields.h"
#include "xPlatform.h"
#include "xProcessTable.h"
#include "xProjectLock.h"
#include "xPrsCont.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

std::string FieldNames(xPrsCont& params) {
    xParamFields fields;
    params.Fields(fields);
    std::string names;
    for (const auto& field : fields.All()) names += "\n  " + field.name + ": " + field.valid;
    return names;
}

struct Assignment {
    int id = 0;
    std::string field;
    std::string value;
};

// "703.Threshold=1e-3" -> 703, "Threshold", "1e-3".
bool ParseAssignment(const std::string& text, Assignment& assignment) {
    auto equals = text.find('=');
    auto dot = text.find('.');
    long id = 0;
    if (equals == std::string::npos || dot == std::string::npos || dot > equals ||
        !ParseLong(text.substr(0, dot), id))
        return false;
    assignment = {int(id), text.substr(dot + 1, equals - dot - 1), text.substr(equals + 1)};
    return true;
}

// Applies one assignment to the loaded parameters; says why when it cannot.
bool Apply(const Assignment& assignment, std::map<int, std::unique_ptr<xPrsCont>>& loaded) {
    auto& params = loaded[assignment.id];
    if (!params) {
        params = MakeParams(assignment.id);
        if (!params) {
            NoProcessWithParams(assignment.id);
            return false;
        }
        params->Load();
    }
    xParamFields fields;
    params->Fields(fields);
    const xParamField* field = fields.Find(assignment.field);
    const std::string key = std::to_string(assignment.id) + "." + assignment.field;
    if (!field) {
        Platform().Error("Unknown parameter " + key + ". The parameters of " +
                         std::to_string(assignment.id) +
                         " and the values they take are:" + FieldNames(*params));
        return false;
    }
    if (!field->assign(assignment.value)) {
        Platform().Error("Refused " + key + "=" + assignment.value + ": " + assignment.field +
                         " takes " + field->valid + ".");
        return false;
    }
    return true;
}

}  // namespace

int Set(const fs::path& parFile, const std::vector<std::string>& assignments, std::ostream& out) {
    xProjectLock lock(parFile, "tovarn set " + parFile.string());
    if (!xShellApp::CheckParName(parFile) || !lock.Take() || !OpenParFile(parFile, false))
        return kFailed;
    std::map<int, std::unique_ptr<xPrsCont>> loaded;
    bool allApplied = true;
    for (const auto& text : assignments) {
        Assignment assignment;
        if (!ParseAssignment(text, assignment)) {
            Platform().Error("Cannot read \"" + text +
                             "\": write ID.Field=value, as in 703.Threshold=1e-3.");
            allApplied = false;
            continue;
        }
        allApplied = Apply(assignment, loaded) && allApplied;
    }
    if (!allApplied) {
        Platform().Error("Nothing was saved: correct the values above and run the command again.");
        return kUsage;
    }
    for (auto& [id, params] : loaded) {
        if (!params->Save()) {
            Platform().Error("Could not save the parameters of " + std::to_string(id) + " in " +
                             parFile.string() + ".");
            return kFailed;
        }
        out << "saved " << id << " " << params->Title() << '\n';
    }
    return kSuccess;
}

void AddSetCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par;
        std::vector<std::string> assignments;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "set",
        "Change parameters: ID.Field=value, e.g. 703.Threshold=1e-3 704.MaxDepth=500.\n"
        "The ASCII files to import are 701.Files=a.asc,b.asc. A wrong name or value is\n"
        "refused with the list of names and ranges, and nothing is saved.",
        [args](xConsolePlatform&) { return Set(args->par, args->assignments, std::cout); });
    command->add_option("PROJECT.PAR", args->par, "the project")->required();
    command->add_option("ID.Field=value", args->assignments, "one or more assignments")->required();
}

}  // namespace cli

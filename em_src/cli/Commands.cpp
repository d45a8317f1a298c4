#include "Commands.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>

#include "xConda.h"
#include "xConsolePlatform.h"
#include "xFileCnv.h"
#include "xFitTau.h"
#include "xParFile.h"
#include "xParamDisplay.h"
#include "xParamFields.h"
#include "xPlatform.h"
#include "xProcessTable.h"
#include "xProjectContext.h"
#include "xPrsCont.h"
#include "xShellApp.h"
#include "xWaveBasis.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

// Opens an existing project's PAR file for the parameter commands: the name
// checks of project selection, then the header, which names the descriptor.
bool OpenParFile(const fs::path& parFile) {
    if (!xShellApp::CheckParName(parFile)) return false;
    ProjectContext().SetParFile(parFile);
    std::fstream file(parFile, std::ios::in | std::ios::out | std::ios::binary);
    par::Header header;
    if (file.is_open() && par::CheckHeader(file, header))
        ProjectContext().SetDescriptorPath(header.descriptorPath);
    return true;
}

std::string ProcessIds() {
    std::string ids;
    for (const auto& info : ProcessTable())
        if (MakeParams(info.id)) ids += (ids.empty() ? "" : ", ") + std::to_string(info.id);
    return ids;
}

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
            Platform().Error("There is no process " + std::to_string(assignment.id) +
                             " with parameters. Processes with parameters: " + ProcessIds() + ".");
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

int New(const fs::path& parFile, const fs::path& descriptor, const fs::path& copyFrom) {
    xShellApp shell;
    return shell.NewProject(parFile, descriptor, copyFrom) ? kSuccess : kFailed;
}

int Params(const fs::path& parFile, int processId, std::ostream& out) {
    if (processId != 0 && !MakeParams(processId)) {
        Platform().Error("There is no process " + std::to_string(processId) +
                         " with parameters. Processes with parameters: " + ProcessIds() + ".");
        return kUsage;
    }
    if (!OpenParFile(parFile)) return kFailed;
    const xProjectContext& context = ProjectContext();
    xParamDisplay display;
    display.AddTitleRow(context.projectName, context.descriptorName);
    for (int id : ParamsLoadOrder()) {
        if (processId != 0 && id != processId) continue;
        auto params = MakeParams(id);
        params->Load();
        params->Display(display);
    }
    display.ExportAscii(out);
    return kSuccess;
}

int Set(const fs::path& parFile, const std::vector<std::string>& assignments, std::ostream& out) {
    if (!OpenParFile(parFile)) return kFailed;
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

int Run(const fs::path& parFile, const std::vector<int>& only, std::ostream& out) {
    xShellApp shell;
    shell.RegisterProcess(xFileCnv::Id, [] { return std::make_unique<xFileCnv>(); });
    shell.RegisterProcess(xWaveBasis::Id, [] { return std::make_unique<xWaveBasis>(); });
    shell.RegisterProcess(xFitTau::Id, [] { return std::make_unique<xFitTau>(); });
    shell.RegisterProcess(xConda::Id, [] { return std::make_unique<xConda>(); });
    if (auto* console = dynamic_cast<xConsolePlatform*>(&Platform()))
        console->OnStop([&shell] { shell.StopRunning(); });
    if (!shell.OldProject(parFile) || !shell.OpenProject()) return kFailed;
    shell.AutoFiles();
    for (const auto& button : shell.Buttons()) {
        bool wanted = only.empty() || std::find(only.begin(), only.end(), button.id) != only.end();
        if (!wanted && (button.state & Ready)) shell.SingleClick(button.id);
    }
    for (const auto& title : shell.ExecutingList()) out << "ready: " << title << '\n';
    shell.Execute();
    return kSuccess;
}

}  // namespace cli

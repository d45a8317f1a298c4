// tovarn run: the chain of a project with automatic file names, in its order.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "xConsolePlatform.h"
#include "xIniFile.h"
#include "xParamFields.h"
#include "xProcessRegistry.h"
#include "xProcessTable.h"
#include "xProjectLock.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace cli {

namespace {

// "701,702" -> 701, 702; false on anything that is not a list of numbers.
bool ParseIds(const std::string& list, std::vector<int>& ids) {
    for (const auto& item : SplitList(list)) {
        long id;
        if (!ParseLong(item, id)) return false;
        ids.push_back(int(id));
    }
    return true;
}

// The --answer rules into the console; false on one it cannot read.
bool AddAnswerRules(const std::vector<std::string>& answers, xConsolePlatform& console) {
    for (const auto& text : answers) {
        xConsolePlatform::AnswerRule rule;
        if (!xConsolePlatform::ParseRule(text, rule)) {
            console.Error("--answer wants \"fragment=Caption\", not \"" + text + "\".");
            return false;
        }
        console.AddRule(rule);
    }
    return true;
}

const std::vector<int> kChain = {701, 702, 703, 704, 705, 706};

// Every id of --only is a process of the chain that is built; the first
// refusal answers its exit code.
int CheckOnly(const xShellApp& shell, const std::vector<int>& only) {
    for (int id : only) {
        if (std::find(kChain.begin(), kChain.end(), id) == kChain.end()) {
            Platform().Error(std::to_string(id) +
                             " is not a process of the chain: its processes are 701, 702, 703, "
                             "704, 705 and 706.");
            return kUsage;
        }
    }
    std::string missing;
    for (int id : only)
        if (!shell.Registered(id)) {
            const xProcessInfo* info = FindProcess(id);
            missing += (missing.empty() ? "" : ", ") + std::to_string(id) +
                       (info ? " (" + info->buttonText + ")" : "");
        }
    if (missing.empty()) return kSuccess;
    Platform().Error("Not built yet: " + missing + ". Nothing was run.");
    return kFailed;
}

// The project's lock, taken at once or, with wait, once its holder lets it go
// (Ctrl-C gives up waiting).
bool TakeLock(xProjectLock& lock, bool wait) {
    auto* console = dynamic_cast<xConsolePlatform*>(&Platform());
    if (!wait || !console) return lock.Take();
    bool stopped = false;
    console->OnStop([&stopped] { stopped = true; });
    const bool taken = lock.Wait([&stopped] {
        Platform().Yield();
        return stopped;
    });
    console->OnStop({});
    return taken;
}

}  // namespace

int Run(const fs::path& parFile, const std::vector<int>& only, std::ostream& out, bool wait) {
    xIniFile configuration(ConfigurationFolder(parFile), {}, xIniFile::Saving::WhenAsked);
    xShellApp shell(&configuration);
    RegisterChainProcesses(shell);
    if (const int refused = CheckOnly(shell, only); refused != kSuccess) return refused;
    xProjectLock lock(parFile, "tovarn run " + parFile.string());
    if (!xShellApp::CheckParName(parFile) || !TakeLock(lock, wait)) return kFailed;
    if (auto* console = dynamic_cast<xConsolePlatform*>(&Platform()))
        console->OnStop([&shell] { shell.StopRunning(); });
    if (!shell.OldProject(parFile) || !shell.OpenProject()) return kFailed;
    for (const auto& title : shell.ReadyOnly(only)) out << "ready: " << title << '\n';
    for (const auto& step : shell.Execute())
        if (step.Failed()) return kFailed;
    return kSuccess;
}

void AddRunCommand(CLI::App& app, CommandTable& table) {
    struct Args {
        std::string par, only;
        std::vector<std::string> answers;
        bool wait = false;
    };
    auto args = std::make_shared<Args>();
    auto* command = table.Add(
        app, "run",
        "Run the chain with automatic file names, in its order: 701, 702, 703, 704, 705, 706.\n"
        "Questions are answered by --answer rules, else by their first choice; Ctrl-C stops\n"
        "the running process, which deletes its incomplete output. One run at a time: while\n"
        "another holds the project's lock (PROJECT.lock, naming its process) a run is refused,\n"
        "or with --wait waits until the other ends.",
        [args](xConsolePlatform& console) {
            if (!AddAnswerRules(args->answers, console)) return kUsage;
            std::vector<int> ids;
            if (!ParseIds(args->only, ids)) {
                console.Error("--only wants process ids separated by commas, e.g. 701,702.");
                return kUsage;
            }
            return Run(args->par, ids, std::cout, args->wait);
        });
    command->add_option("PROJECT.PAR", args->par, "the project")->required();
    command->add_option("--only", args->only, "run only these processes, e.g. 701,702");
    command->add_flag("--wait", args->wait,
                      "wait for another run of the project to end instead of refusing");
    command->add_option(
        "--answer", args->answers,
        "answer questions whose text holds FRAGMENT with CAPTION: \"FRAGMENT=CAPTION\"");
}

}  // namespace cli

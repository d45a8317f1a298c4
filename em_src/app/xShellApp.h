#pragma once
// The shell without its windows: project selection, the process buttons and
// their Ready states, Execute in the chain's order, starting a process with its
// guards, and the Quit and Start New questions. Processes register a maker by
// id (RegisterChainProcesses wires the chain's). The desktop program plays the
// user's clicks; a batch front end opens the project, picks with ReadyOnly and
// runs Execute.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "xObject.h"
#include "xParamDisplay.h"

class xSharedDescriptor;
class xIniFile;
class xPrsCont;

// The three bits of a process button's state word.
enum xButtonBits : std::uint32_t { Opened = 0x0001, Confirmed = 0x0002, Ready = 0x1000 };

// One process that Execute started: whether it is built and ran (a guard or
// its Init may refuse it), how its run ended and how many error boxes it
// showed meanwhile.
struct xChainStep {
    int id = 0;
    std::string title;
    bool built = true;
    bool ran = false;
    xObject::Outcome outcome = xObject::Outcome::Completed;
    int errors = 0;
    bool Succeeded() const { return ran && errors == 0 && outcome == xObject::Outcome::Completed; }
    // A process not built yet is passed over; any other that did not succeed
    // ends the chain.
    bool Failed() const { return built && !Succeeded(); }
};

struct xProcessButton {
    int id = 0;
    std::string text;
    std::string title;
    std::uint32_t state = 0;
    std::string toolTip = "Not Ready";
    bool enabled = true;
};

class xShellApp {
  public:
    using ProcessMaker = std::function<std::unique_ptr<xObject>()>;
    // A parameter dialog on the loaded parameters: answers -1 for Cancel, else
    // the pages changed (0 for none). The headless default confirms as it is.
    using ParamsDialog = std::function<int(xPrsCont& params)>;
    // Starts an external program without waiting; answers the launch result
    // (0 started, 2 or 3 file or path not found).
    using Launcher = std::function<int(const std::string& commandLine)>;

    explicit xShellApp(xIniFile* ini = nullptr);
    ~xShellApp();

    void RegisterProcess(int id, ProcessMaker maker);
    bool Registered(int id) const { return makers_.count(id) > 0; }
    // The configuration the shell was opened with; null when it has none.
    xIniFile* Configuration() const { return ini_; }
    void SetParamsDialog(ParamsDialog dialog) { dialog_ = std::move(dialog); }
    void SetLauncher(Launcher launcher) { launcher_ = std::move(launcher); }

    // Project selection. New Project: checks, then writes or copies the PAR file
    // and names the descriptor in its header. 1 on success.
    int NewProject(const std::filesystem::path& parFile, const std::filesystem::path& descriptor,
                   const std::filesystem::path& copyFrom = {});
    // Old Project: every validation of a PAR file picked from the box. 1 when it
    // may be opened.
    int OldProject(const std::filesystem::path& parFile);
    // The PAR name checks alone: the extension, then existence.
    static int CheckParName(const std::filesystem::path& parFile);
    // After confirmation: disk check, parameters into the display, descriptor.
    // 0 when the project cannot be opened (the message said why).
    int OpenProject();
    // Project selection's checks of an opened descriptor: fixed transmitters
    // and loop receivers are refused, transmitters off the vertical reported.
    static bool SupportedGeometry(const xSharedDescriptor& descriptor);
    bool ProjectOpen() const { return projectOpen_; }
    const xParamDisplay& ParameterDisplay() const { return display_; }
    // The parameter display as text, into a file the user picks.
    void ExportParameters() const;

    // The buttons of the main window, in their slots.
    xProcessButton* Button(int id);
    const std::vector<xProcessButton>& Buttons() const { return buttons_; }
    void DoubleClick(int id);
    void SingleClick(int id);
    void AutoFiles();
    void UserFiles();
    // Auto Files with only the processes of ids left Ready (every one when ids
    // is empty), for a front end without buttons. Answers the executing list.
    const std::vector<std::string>& ReadyOnly(const std::vector<int>& ids);
    const std::vector<std::string>& ExecutingList() const { return executing_; }
    bool ExecuteEnabled() const { return executeEnabled_; }
    const std::string& Description() const { return description_; }

    // Starts every Ready process in the chain's order, until one fails or a stop
    // is asked for; answers what it started.
    std::vector<xChainStep> Execute();
    // 1 when the process ran (or opened), 0 when a guard or its Init refused it;
    // how its run ended goes to outcome.
    int StartProcess(int id, xProcessButton* button = nullptr, xObject::Outcome* outcome = nullptr);
    bool IsOpen(int id) const { return open_.count(id) > 0; }
    // The Stop button of every open process: their engines leave at the next
    // test, and Execute starts no further process.
    void StopRunning();
    // True when a stop came during the last Execute.
    bool Stopped() const { return stopped_; }
    void SetProcessGate(short gate) { processGate_ = gate; }

    enum class Choice { Refused, Quit, StartNew, Continue };
    Choice Quit();
    Choice StartNew();
    // 0 when the user chose "Break" on a nearly full disk.
    int CheckDisk(double megabytes);
    int RunEditor(const std::string& commandLine);

  private:
    void MakeReady(xProcessButton& button);
    void MakeNotReady(xProcessButton& button);
    void EditParameters(xProcessButton& button);
    void EditDescriptor();
    bool Refused(int id) const;
    // A non-interruptible stage is running: says so and answers true.
    bool StageRunning() const;
    void CloseAll();
    void ListChanged();
    void ProcessEnded(xProcessButton* button);

    xIniFile* ini_;
    std::map<int, ProcessMaker> makers_;
    std::map<int, std::unique_ptr<xObject>> open_;
    std::vector<xProcessButton> buttons_;
    std::vector<std::string> executing_;
    std::string description_;
    xParamDisplay display_;
    ParamsDialog dialog_;
    Launcher launcher_;
    bool executeEnabled_ = false;
    bool projectOpen_ = false;
    bool stopped_ = false;
    short processGate_ = 1;
};

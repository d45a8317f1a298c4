#pragma once
// The base of every process of the chain. It holds the process's parameters,
// shares the one system descriptor among all processes, opens the process's
// input and output files, relays its engine's progress to the progress box, and
// carries the run state that every long loop tests.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "xProcessState.h"
#include "xSharedDescriptor.h"

class xDoc;
class xPrsCont;
struct xProjectContext;

using xDescriptorMaker = std::function<std::unique_ptr<xSharedDescriptor>()>;
// Until a maker is registered no descriptor can be opened.
void SetDescriptorMaker(xDescriptorMaker maker);

// The frequency-domain switch of the descriptor, copied at every first open.
extern short FrequencyDomain;

class xObject : public xProgressSink {
  public:
    enum RunStates : std::int32_t { Terminated = 1, Executing = 2, Idle = 4 };

    // The process works in the given project; without one, in the project that
    // project selection opened.
    explicit xObject(int id, const std::string& title = "", xProjectContext* project = nullptr);
    // Copies are refused: the box says so and the copy is an empty process.
    xObject(const xObject& other);
    xObject& operator=(const xObject& other);
    virtual ~xObject();

    int Id() const { return id_; }
    // The project the process reads from and writes into.
    xProjectContext& Project() const { return *project_; }
    // The process title, ending in a slash ("Deconvolution/").
    const std::string& Title() const { return title_; }
    void SetProcessTitle(const std::string& title) { title_ = title; }

    std::int32_t RunState() const { return runState_; }
    void SetRunState(std::int32_t state) { runState_ = state; }
    // What every line and record loop tests at its head.
    bool IsTerminated() const { return (runState_ & 1) != 0; }

    // How the last Execute ended: a chain goes on only after a completed one.
    enum class Outcome { Completed, Stopped, Failed };
    Outcome LastOutcome() const { return outcome_; }
    void SetOutcome(Outcome outcome) { outcome_ = outcome; }
    // Stopped when the run was terminated, else failed.
    void SetUnfinished() { outcome_ = IsTerminated() ? Outcome::Stopped : Outcome::Failed; }

    // Drops the parameters held, takes p (not owned) or a plain parameter object
    // of this process (owned) when p is null, and loads it from the PAR file.
    virtual void SetParams(xPrsCont* p);
    // The same, owning what it is given.
    void TakeParams(std::unique_ptr<xPrsCont> p);
    xPrsCont* Params() const { return params_; }
    bool OwnsParams() const { return ownsParams_ != 0; }

    virtual void Execute(int mode) = 0;
    virtual void PreExecute() {}
    // An empty list means "take the inputs from the parameters".
    virtual void SetInputs(const std::string& /*list*/) {}
    virtual void SetOptions(const std::string& /*text*/) {}
    virtual void CloseProgress();
    virtual void OnFinished() {}
    virtual void Dialog(int mode, int arg) = 0;
    // 0 makes the shell discard the process.
    virtual int Init() { return 1; }
    // Quit sent to the process: a running engine is told to stop and the run
    // state turns to terminated, so every loop leaves at its next test.
    virtual void Quit();

    // The engine that Quit and the Stop button reach while it runs.
    void SetEngine(xProcessState* engine) override { engine_ = engine; }
    xProcessState* Engine() const { return engine_; }

    // Told the process id when a process ends (the shell's button listens).
    void SetEndObserver(std::function<void(int)> observer) { endObserver_ = std::move(observer); }

    // The shared descriptor: one object, counted references.
    static int OpenDescriptor();
    // The references left, 0 when it was destroyed, -1 when none was open.
    static int CloseDescriptor();
    static void ForceCloseDescriptor();
    static xSharedDescriptor* Descriptor();
    static int DescriptorReferences();
    // One reference to the shared descriptor for this process, released when
    // the process ends. 1 when the descriptor is open.
    int HoldDescriptor();

    // Processes alive, and the title of the non-interruptible stage running
    // (empty when none).
    static int RunningProcesses();
    static const std::string& RunningProcessName();
    static void SetRunningProcessName(const std::string& title);

    // The shell's process gate: told true when a process declares itself busy.
    static void SetBusyHandler(std::function<void(bool)> handler);
    void ShowBusy(bool on);

    // Names the file in the project directory (a name with a directory keeps it)
    // and opens it; when it is missing and mayAsk is set, a file box offers
    // another, which then becomes the parameters' input name.
    int OpenInput(xDoc& file, const std::string& name, const std::string& title, int mayAsk);
    // Names and creates the file; with mayAsk set a failure offers the save box,
    // and the file picked becomes the parameters' output name.
    int OpenOutput(xDoc& file, const std::string& name, const std::string& title, int mayAsk);
    // With Auto Files the input becomes the latest created file; if the input is
    // that file, it must be found in the project directory.
    int CheckInput(std::string& input, const std::string& processName);
    // The newest file of the directory (the pattern's own when it has one)
    // whose name matches the pattern (* and ?, any case). 0 when none matches.
    static int FindNewest(const std::string& pattern, std::filesystem::path& result,
                          const std::filesystem::path& directory);

    void OpenProgress(const std::string& title);
    bool ProgressOpen() const { return progressOpen_; }
    void SetRange(long maximum) override { SetRange(0, maximum); }
    void SetRange(long minimum, long maximum);
    // Steps the gauge; the point where every long process yields.
    void Advance(long steps = 1) override;
    void SetStatus(const std::string& text) override;
    void SetTitle(const std::string& text) override;
    void EngineGone(const xProcessState* engine) override {
        if (engine_ == engine) engine_ = nullptr;
    }
    long Position() const { return current_; }
    long Minimum() const { return minimum_; }
    long Maximum() const { return maximum_; }

  private:
    void DropParams();
    void Gauge(long value);

    xProjectContext* project_;
    xPrsCont* params_ = nullptr;
    short ownsParams_ = 0;
    std::string title_;
    std::int32_t runState_ = Idle;
    Outcome outcome_ = Outcome::Completed;
    int id_;
    xProcessState* engine_ = nullptr;
    std::function<void(int)> endObserver_;
    bool progressOpen_ = false;
    bool holdsDescriptor_ = false;
    long current_ = 0;
    long minimum_ = 0;
    long maximum_ = 1;
};

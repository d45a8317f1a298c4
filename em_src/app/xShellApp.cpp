#include "xShellApp.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <regex>

#include "xIniFile.h"
#include "xLaunch.h"
#include "xObject.h"
#include "xParFile.h"
#include "xPendingFile.h"
#include "xPlatform.h"
#include "xProcessTable.h"
#include "xProjectContext.h"
#include "xPrsCont.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t kAllBits = Opened | Confirmed | Ready;
constexpr const char* kDefaultEditor = "sysedit400.exe";

// Auto Files and User Files walk the buttons in this order.
const std::vector<int> kAutoFilesOrder = {702, 701, 703, 704, 705, 706, 709, 711};
// Execute walks the slots in the chain's order; Strip Anomaly is not walked.
const std::vector<int> kExecuteOrder = {708, 701, 702, 703, 704, 705, 706, 711};

struct Exclusion {
    int starting;
    int whileOpen;
    const char* text;
};
const Exclusion kExclusions[] = {
    {704, 703,
     "System detected running <Deconvolution>. Before invoking CDI close Deconvolution, please.."},
    {705, 703,
     "System detected running <Deconvolution>. Before invoking <Anomaly Picker> close "
     "Deconvolution, please.."},
    {706, 703,
     "System detected running <Deconvolution>. Before invoking <Inverter> close Deconvolution, "
     "please.."},
    {706, 705,
     "System detected running <Anomaly Picker>. Before invoking Inverter close the Picker, "
     "please.."},
};

bool EndsWithDsc(const std::string& name) {
    if (name.size() < 5) return false;
    std::string tail = name.substr(name.size() - 4);
    std::transform(tail.begin(), tail.end(), tail.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    return tail == ".DSC";
}

// The path as the question shows it: a long one keeps its first four and last
// twenty characters.
std::string Shortened(const std::string& path) {
    if (path.size() <= 25) return path;
    return path.substr(0, 4) + "..." + path.substr(path.size() - 20);
}

// Writes the descriptor path into the PAR header, zero padded, in the width
// that the file's generation gives it.
bool WriteDescriptorPath(const fs::path& parFile, const std::string& path) {
    std::fstream file(parFile, std::ios::in | std::ios::out | std::ios::binary);
    float version = 0;
    if (!file.is_open() || !par::ReadVersion(file, version)) return false;
    const std::size_t width =
        version < par::NewHeaderVersion ? par::OldDescriptorPathSize : par::DescriptorPathSize;
    std::string field = path.substr(0, width);
    field.resize(width, '\0');
    file.seekp(4 + par::ProjectNameSize + par::CreationTextSize);
    file.write(field.data(), std::streamsize(field.size()));
    return bool(file);
}

std::string FullPath(const fs::path& path) {
    return fs::absolute(path).lexically_normal().string();
}

// Stands in for the platform in force while one process runs, counting the
// error boxes it shows; everything else passes through unchanged.
class xErrorCounter final : public xPlatform {
  public:
    xErrorCounter() : inner_(Platform()) { SetPlatform(this); }
    ~xErrorCounter() override { SetPlatform(&inner_); }
    int Errors() const { return errors_; }

    void Error(const std::string& text) override {
        ++errors_;
        inner_.Error(text);
    }
    void Warning(const std::string& text) override { inner_.Warning(text); }
    void Note(const std::string& text) override { inner_.Note(text); }
    int Question(const std::string& text, const std::vector<std::string>& captions) override {
        return inner_.Question(text, captions);
    }
    std::optional<fs::path> FileBox(const std::string& title, const std::string& pattern,
                                    bool forSaving) override {
        return inner_.FileBox(title, pattern, forSaving);
    }
    void ProgressOpen(const std::string& title) override { inner_.ProgressOpen(title); }
    void ProgressStatus(const std::string& text) override { inner_.ProgressStatus(text); }
    void ProgressRange(long low, long high) override { inner_.ProgressRange(low, high); }
    void ProgressAdvance(long position) override { inner_.ProgressAdvance(position); }
    void ProgressClose() override { inner_.ProgressClose(); }
    void Yield() override { inner_.Yield(); }
    bool Interrupted() const override { return inner_.Interrupted(); }
    std::chrono::system_clock::time_point Now() const override { return inner_.Now(); }
    std::uintmax_t FreeDiskSpace(const fs::path& where) const override {
        return inner_.FreeDiskSpace(where);
    }

  protected:
    // The platform in force shows the box and throws.
    void ShowFatal(const std::string& text) override { inner_.Fatal(text); }

  private:
    xPlatform& inner_;
    int errors_ = 0;
};

}  // namespace

xShellApp::xShellApp(xIniFile* ini) : ini_(ini), launcher_(LaunchDetached) {
    for (const auto& info : ProcessTable()) {
        if (!info.hasButton) continue;
        xProcessButton button;
        button.id = info.id;
        button.text = info.buttonText;
        button.title = info.id == 708 ? "Define System" : info.title;
        buttons_.push_back(button);
    }
    xObject::SetBusyHandler([this](bool busy) { processGate_ = busy ? 0 : 1; });
}

xShellApp::~xShellApp() {
    CloseAll();
    xObject::SetBusyHandler({});
}

void xShellApp::RegisterProcess(int id, ProcessMaker maker) {
    makers_[id] = std::move(maker);
}

xProcessButton* xShellApp::Button(int id) {
    for (auto& button : buttons_)
        if (button.id == id) return &button;
    return nullptr;
}

// ---- project selection ----

int xShellApp::CheckParName(const fs::path& parFile) {
    const std::string name = parFile.string();
    if (!std::regex_search(name, std::regex(".[pP][aA][rR]$"))) {
        Platform().Error("Wrong file selection <" + name +
                         ">! <***.PAR> file has to be selected. Please try again.");
        return 0;
    }
    if (!fs::exists(parFile)) {
        Platform().Error("Selected parameter file does not exist.");
        return 0;
    }
    return 1;
}

int xShellApp::OldProject(const fs::path& parFile) {
    if (!CheckParName(parFile)) return 0;
    ProjectContext().readOnly = false;
    {
        std::fstream file(parFile, std::ios::in | std::ios::out | std::ios::binary);
        float version = 0;
        char mark = 0;
        if (par::ReadVersion(file, version) && version < par::NewHeaderVersion &&
            file.seekg(4).get(mark) && mark != par::MovedMark)
            par::ConvertOldFile(file);
    }
    par::Header header;
    {
        std::fstream file(parFile, std::ios::in | std::ios::out | std::ios::binary);
        if (!par::CheckHeader(file, header)) header.descriptorPath.clear();
    }
    std::string descriptor = header.descriptorPath;
    if (!(descriptor.size() > 4 && EndsWithDsc(descriptor) && fs::exists(descriptor))) {
        const std::string question = "Descriptor path " + Shortened(descriptor) +
                                     " embedded in PAR file " + parFile.string() +
                                     " is invalid. Browse for it?";
        if (Platform().Question(question, {"Yes", "No"}) != 0) return 0;
        auto chosen = Platform().FileBox("Select DSC File...", "*.DSC", false);
        if (!chosen) return 0;
        if (!std::regex_search(chosen->string(), std::regex("[A-z]*.[dD][sS][cC]$"))) {
            Platform().Error(
                "Wrong file selection! <***.DSC> file has to be selected. Please try again.");
            return 0;
        }
        if (!fs::exists(*chosen)) {
            Platform().Error("Selected DSC file does not exist!");
            return 0;
        }
        descriptor = FullPath(*chosen);
        WriteDescriptorPath(parFile, descriptor);
    }
    ProjectContext().SetParFile(parFile);
    ProjectContext().SetDescriptorPath(descriptor);
    if (ini_) ini_->AddRecentProject(parFile.string());
    return 1;
}

int xShellApp::NewProject(const fs::path& parFile, const fs::path& descriptor,
                          const fs::path& copyFrom) {
    if (parFile.empty()) {
        Platform().Error("No parameter file specified.");
        return 0;
    }
    fs::path directory = fs::absolute(parFile).parent_path();
    if (!fs::is_directory(directory)) {
        Platform().Error("Directory path for specified parameter file does not exist.");
        return 0;
    }
    if (!copyFrom.empty() && !OldProject(copyFrom)) return 0;
    if (descriptor.empty()) {
        Platform().Error("Descriptor file file name has not been defined.");
        return 0;
    }
    if (!EndsWithDsc(descriptor.string()) || !fs::exists(descriptor)) {
        Platform().Error("Cannot find specified descriptor file.");
        return 0;
    }
    ProjectContext().SetParFile(parFile);
    ProjectContext().readOnly = false;
    const std::string project = ProjectContext().projectName;
    if (!copyFrom.empty()) {
        fs::copy_file(copyFrom, parFile, fs::copy_options::overwrite_existing);
    } else {
        std::ofstream out(parFile, std::ios::binary | std::ios::trunc);
        par::WriteHeader(out, project, par::CreationText(project, par::Today()), "", true);
    }
    const std::string descriptorPath = FullPath(descriptor);
    if (!WriteDescriptorPath(parFile, descriptorPath)) {
        Platform().Error("Directory path for specified parameter file does not exist.");
        return 0;
    }
    ProjectContext().SetDescriptorPath(descriptorPath);
    if (ini_) ini_->AddRecentProject(parFile.string());
    return 1;
}

int xShellApp::OpenProject() {
    if (!CheckDisk(5)) return 0;
    Platform().Note("Reading the parameter file. Please wait..");
    const xProjectContext& context = ProjectContext();
    display_ = xParamDisplay();
    display_.AddTitleRow(context.projectName, context.descriptorName);
    for (int id : ParamsLoadOrder()) {
        auto params = MakeParams(id);
        params->Load();
        params->Display(display_);
    }
    if (!xObject::OpenDescriptor()) {
        Platform().Error("Cannot open descriptor file. Please select another survey.");
        return 0;
    }
    if (!SupportedGeometry(*xObject::Descriptor())) {
        xObject::CloseDescriptor();
        return 0;
    }
    projectOpen_ = true;
    return 1;
}

// Fixed transmitters and loop receivers are refused; transmitters not along z
// are only reported, once.
bool xShellApp::SupportedGeometry(const xSharedDescriptor& descriptor) {
    for (long id = 101; id <= 109; ++id) {
        if (!descriptor.HasComponent(id)) continue;
        const char* refused = descriptor.HasFixedTransmitter(id) ? "fixed transmitter"
                              : descriptor.HasLoopReceiver(id)   ? "loop receiver"
                                                                 : nullptr;
        if (refused) {
            Platform().Error(std::string("System detected ") + refused +
                             " geometry which is not supported by Tovarn V3.03.");
            return false;
        }
    }
    for (long id = 101; id <= 106; ++id) {
        if (descriptor.HasComponent(id)) {
            Platform().Warning(
                "This version of Tovarn supports only vertical transmitter orientation, others "
                "will be ignored.");
            break;
        }
    }
    return true;
}

// ---- buttons ----

void xShellApp::ListChanged() {
    executeEnabled_ = !executing_.empty();
}

void xShellApp::MakeReady(xProcessButton& button) {
    button.state |= Ready;
    button.toolTip = "Ready to Execute";
    if (std::find(executing_.begin(), executing_.end(), button.title) == executing_.end())
        executing_.push_back(button.title);
    ListChanged();
}

void xShellApp::MakeNotReady(xProcessButton& button) {
    button.state &= ~Ready;
    button.toolTip = "NOT Ready";
    executing_.erase(std::remove(executing_.begin(), executing_.end(), button.title),
                     executing_.end());
    ListChanged();
}

void xShellApp::DoubleClick(int id) {
    xProcessButton* button = Button(id);
    if (!button || !button->enabled) return;
    description_.clear();
    button->state |= Opened;
    EditParameters(*button);
    if (button->state & Confirmed) MakeReady(*button);
}

void xShellApp::SingleClick(int id) {
    xProcessButton* button = Button(id);
    if (!button || !button->enabled) return;
    if (button->state & Ready) {
        MakeNotReady(*button);
    } else if (button->state & Confirmed) {
        MakeReady(*button);
    } else {
        description_ = button->text +
                       "\n\nYou have to initialize parameters first. \nDouble click on the "
                       "button to bring up the dialog.";
    }
}

void xShellApp::EditParameters(xProcessButton& button) {
    if (button.id == 708) {
        EditDescriptor();
        return;
    }
    auto params = MakeParams(button.id);
    params->Load();
    const int result = dialog_ ? dialog_(*params) : 0;
    params->Save();
    button.state &= ~Opened;
    if (result == -1)
        button.state &= ~Confirmed;
    else
        button.state |= Confirmed;
}

void xShellApp::EditDescriptor() {
    const fs::path descriptor = ProjectContext().DescriptorPath();
    std::error_code ec;
    const auto before = fs::file_time_type::clock::now();
    RunEditor("\"" + descriptor.string() + "\"");
    xObject::ForceCloseDescriptor();
    const auto modified = fs::last_write_time(descriptor, ec);
    if (!ec && modified > before)
        Platform().Note(
            "The System Descriptor has been changed. We strongly recommend to reprocess current "
            "survey starting from ASCII->BIN conversion.");
    xObject::OpenDescriptor();
}

void xShellApp::AutoFiles() {
    for (int id : kAutoFilesOrder) {
        xProcessButton* button = Button(id);
        if (!button || !button->enabled) continue;
        button->state = (button->state & ~Opened) | Confirmed;
        MakeReady(*button);
    }
    ProjectContext().autoFiles = 1;
}

const std::vector<std::string>& xShellApp::ReadyOnly(const std::vector<int>& ids) {
    AutoFiles();
    for (auto& button : buttons_) {
        const bool wanted =
            ids.empty() || std::find(ids.begin(), ids.end(), button.id) != ids.end();
        if (!wanted && (button.state & Ready)) MakeNotReady(button);
    }
    return executing_;
}

void xShellApp::UserFiles() {
    for (int id : kAutoFilesOrder) {
        xProcessButton* button = Button(id);
        if (!button || !button->enabled) continue;
        button->state &= ~kAllBits;
        MakeNotReady(*button);
    }
    ProjectContext().autoFiles = 0;
}

// ---- running ----

std::vector<xChainStep> xShellApp::Execute() {
    executeEnabled_ = false;
    stopped_ = false;
    processGate_ = 1;
    std::vector<xChainStep> steps;
    for (int id : kExecuteOrder) {
        xProcessButton* button = Button(id);
        if (!button || !(button->state & Ready)) continue;
        if (id == 708) {
            Platform().Note(
                "Double click on <DEFINE SYSTEM> button to invoke Descriptor File Editor.");
            continue;
        }
        Platform().Yield();
        if (stopped_) break;
        xChainStep step{id, button->title};
        step.built = makers_.count(id) > 0;
        xErrorCounter counter;
        step.ran = StartProcess(id, button, &step.outcome) == 1;
        step.errors = counter.Errors();
        steps.push_back(step);
        // What comes after a process that did not finish would work on
        // missing or old files.
        if (stopped_ || step.Failed()) break;
    }
    executeEnabled_ = true;
    return steps;
}

bool xShellApp::Refused(int id) const {
    for (const auto& rule : kExclusions) {
        if (rule.starting == id && IsOpen(rule.whileOpen)) {
            Platform().Error(rule.text);
            return true;
        }
    }
    return false;
}

int xShellApp::StartProcess(int id, xProcessButton* button, xObject::Outcome* outcome) {
    if (processGate_ == 0) return 0;
    const xProcessInfo* info = FindProcess(id);
    const std::string title = info ? info->title : std::to_string(id);
    if (IsOpen(id)) {
        Platform().Error("/" + title + " process is already running.");
        return 0;
    }
    if (Refused(id)) return 0;
    auto maker = makers_.find(id);
    if (maker == makers_.end()) {
        Platform().Note(id == 711 ? "Not implemented. (will display bodies on top of CDIs."
                                  : title + " is not built yet: nothing was run.");
        ProcessEnded(button);
        return 0;
    }
    std::unique_ptr<xObject>& process = open_[id] = maker->second();
    if (!process->Init()) {
        open_.erase(id);
        return 0;
    }
    if (button) {
        process->PreExecute();
        process->SetInputs("");
        process->Execute(1);
        process->SetOptions("  ");
    }
    if (outcome) *outcome = process->LastOutcome();
    open_.erase(id);
    ProcessEnded(button);
    return 1;
}

void xShellApp::ProcessEnded(xProcessButton* button) {
    if (button) MakeNotReady(*button);
}

void xShellApp::CloseAll() {
    open_.clear();
}

void xShellApp::StopRunning() {
    stopped_ = true;
    for (auto& [id, process] : open_)
        if (process) process->Quit();
}

bool xShellApp::StageRunning() const {
    if (xObject::RunningProcessName().empty()) return false;
    Platform().Error("The process /" + xObject::RunningProcessName() +
                     " are running. Terminate it first.");
    return true;
}

xShellApp::Choice xShellApp::Quit() {
    if (StageRunning()) return Choice::Refused;
    std::string text = xObject::RunningProcesses() > 0 ? "You are still running processes..\n" : "";
    text +=
        "What would you like to do:\nquit Tovarn, start a new project or continue the current one?";
    switch (Platform().Question(text, {"Quit", "Start New", "Continue"})) {
        case 0:
            CloseAll();
            return Choice::Quit;
        case 1:
            return StartNew();
        default:
            return Choice::Continue;
    }
}

xShellApp::Choice xShellApp::StartNew() {
    if (StageRunning()) return Choice::Refused;
    const std::string text =
        "Please confirm what you'd like to do:\nstart a new project or continue the current one?";
    if (Platform().Question(text, {"Start New", "Continue"}) != 0) return Choice::Continue;
    CloseAll();
    display_ = xParamDisplay();
    projectOpen_ = false;
    processGate_ = 1;
    return Choice::StartNew;
}

void xShellApp::ExportParameters() const {
    auto file = Platform().FileBox("Select file to save parameters in ASCII", "par.txt", true);
    if (!file) return;
    xOutputFile out;
    if (!out.Open(*file)) {
        Platform().Error(xPendingFile::FailureText(*file, errno));
        return;
    }
    display_.ExportAscii(out.Stream());
    out.Commit();
}

int xShellApp::CheckDisk(double megabytes) {
    const double freeBytes = double(Platform().FreeDiskSpace(ProjectContext().projectDir));
    if (freeBytes >= megabytes * 1000000.0) return 1;
    return Platform().Question("Your current drive is nearly full, mate!", {"Continue", "Break"}) ==
                   1
               ? 0
               : 1;
}

int xShellApp::RunEditor(const std::string& arguments) {
    std::string program = ini_ ? ini_->GetEditorName() : kDefaultEditor;
    int result = launcher_(program + " " + arguments);
    if (result != 2 && result != 3) return result;
    if (Platform().Question("Select the module to execute?", {"Yes", "No"}) != 0) return result;
    auto module = Platform().FileBox("Module Selection", "*.EXE", false);
    if (!module) return result;
    return launcher_(module->string() + " " + arguments);
}

#include "xObject.h"

#include <algorithm>
#include <cctype>
#include <system_error>
#include <vector>

#include "xDoc.h"
#include "xPlatform.h"
#include "xProcessState.h"
#include "xProjectContext.h"
#include "xPrsCont.h"

namespace fs = std::filesystem;

short FrequencyDomain = 0;

namespace {

xDescriptorMaker descriptorMaker;
std::unique_ptr<xSharedDescriptor> descriptor;
int descriptorReferences = 0;
int runningProcesses = 0;
std::string runningProcessName;
std::function<void(bool)> busyHandler;

bool SameIgnoringCase(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::toupper(static_cast<unsigned char>(x)) ==
               std::toupper(static_cast<unsigned char>(y));
    });
}

// Names are compared without regard to case: project files come from systems
// where "SURVEY.AMP" and "survey.amp" are the same file.
bool Matches(const char* pattern, const char* name) {
    if (*pattern == '\0') return *name == '\0';
    if (*pattern == '*') return Matches(pattern + 1, name) || (*name && Matches(pattern, name + 1));
    if (*name == '\0') return false;
    if (*pattern != '?' && std::toupper(static_cast<unsigned char>(*pattern)) !=
                               std::toupper(static_cast<unsigned char>(*name)))
        return false;
    return Matches(pattern + 1, name + 1);
}

fs::path ProjectDirectory(const xProjectContext& project) {
    const fs::path& dir = project.projectDir;
    return dir.empty() ? fs::path(".") : dir;
}

// The descriptor's name as the project knows it, with the DSC extension.
fs::path DescriptorFile() {
    fs::path path = ProjectContext().DescriptorPath();
    if (!SameIgnoringCase(path.extension().string(), ".DSC")) path.replace_extension("DSC");
    return path;
}

// A bare name goes to the project directory; a name with a directory keeps it.
void NameInProject(xDoc& file, const std::string& name, const xProjectContext& project) {
    const fs::path path(name);
    if (path.has_parent_path())
        file.SetPath(path);
    else {
        file.SetDirectory(ProjectDirectory(project));
        file.SetName(name);
    }
}

}  // namespace

void SetDescriptorMaker(xDescriptorMaker maker) {
    descriptorMaker = std::move(maker);
}

xObject::xObject(int id, const std::string& title, xProjectContext* project)
    : project_(project ? project : &ProjectContext()), title_(title), id_(id) {
    ++runningProcesses;
}

xObject::xObject(const xObject& other) : project_(other.project_), id_(other.id_) {
    ++runningProcesses;
    Platform().Error("xObject copy constructor is  not implemented");
}

xObject& xObject::operator=(const xObject&) {
    Platform().Error("xObject = operator is  not implemented");
    return *this;
}

xObject::~xObject() {
    if (endObserver_) endObserver_(id_);
    --runningProcesses;
    if (engine_ && engine_->Owner() == this) engine_->SetOwner(nullptr);
    if (progressOpen_) Platform().ProgressClose();
    if (holdsDescriptor_) CloseDescriptor();
    DropParams();
}

int xObject::HoldDescriptor() {
    if (!holdsDescriptor_) holdsDescriptor_ = OpenDescriptor() != 0;
    return holdsDescriptor_ ? 1 : 0;
}

void xObject::DropParams() {
    if (ownsParams_) delete params_;
    params_ = nullptr;
    ownsParams_ = 0;
}

void xObject::SetParams(xPrsCont* p) {
    DropParams();
    if (p) {
        params_ = p;
    } else {
        params_ = new xPrsCont(id_);
        ownsParams_ = 1;
    }
    params_->Load();
    // Outputs go where the PAR file is; the project's name is its name up to
    // the first dot.
    xProjectContext& context = Project();
    if (!context.parFile.empty()) {
        context.projectDir = context.parFile.parent_path();
        if (context.projectDir.empty()) context.projectDir = ".";
    }
    context.projectName = context.projectName.substr(0, context.projectName.find('.'));
}

void xObject::TakeParams(std::unique_ptr<xPrsCont> p) {
    if (!p) {
        SetParams(nullptr);
        return;
    }
    SetParams(p.get());
    params_ = p.release();
    ownsParams_ = 1;
}

void xObject::Quit() {
    if (engine_) engine_->SetFlag(xProcessState::Stop);
    runState_ = Terminated;
}

int xObject::OpenDescriptor() {
    if (descriptor) {
        ++descriptorReferences;
        return 1;
    }
    fs::path path = DescriptorFile();
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) {
        auto picked = Platform().FileBox("Open Descriptor file", "*.DSC", false);
        if (!picked) {
            Platform().Error("xObject: Cannot open DSC file.");
            return 0;
        }
        path = *picked;
        ProjectContext().SetDescriptorPath(path);
    }
    if (!descriptorMaker) {
        Platform().Error("xObject: Cannot open DSC file.");
        return 0;
    }
    std::unique_ptr<xSharedDescriptor> made = descriptorMaker();
    if (!made || !made->Read(path)) return 0;
    descriptor = std::move(made);
    FrequencyDomain = descriptor->FrequencyDomain() ? 1 : 0;
    descriptorReferences = 1;
    return 1;
}

int xObject::CloseDescriptor() {
    if (!descriptor) return -1;
    if (--descriptorReferences > 0) return descriptorReferences;
    ForceCloseDescriptor();
    return 0;
}

void xObject::ForceCloseDescriptor() {
    descriptor.reset();
    descriptorReferences = 0;
}

xSharedDescriptor* xObject::Descriptor() {
    return descriptor.get();
}

int xObject::DescriptorReferences() {
    return descriptorReferences;
}

int xObject::RunningProcesses() {
    return runningProcesses;
}

const std::string& xObject::RunningProcessName() {
    return runningProcessName;
}

void xObject::SetRunningProcessName(const std::string& title) {
    runningProcessName = title;
}

void xObject::SetBusyHandler(std::function<void(bool)> handler) {
    busyHandler = std::move(handler);
}

void xObject::ShowBusy(bool on) {
    if (busyHandler) busyHandler(on);
}

int xObject::OpenInput(xDoc& file, const std::string& name, const std::string& title, int mayAsk) {
    NameInProject(file, name, Project());
    if (file.Exists()) return file.Open();
    if (!mayAsk) return 0;
    auto picked = Platform().FileBox(title, "*." + file.Type(), false);
    if (!picked) {
        Platform().Error("xObject: Cannot open " + file.Type() +
                         " file. The application will quit!");
        Quit();
        return 0;
    }
    file.SetPath(*picked);
    if (params_) params_->inputFile = picked->string();
    return file.Open();
}

int xObject::OpenOutput(xDoc& file, const std::string& name, const std::string& title, int mayAsk) {
    NameInProject(file, name, Project());
    const int created = file.Create();
    if (created || !mayAsk) return created;
    auto picked = Platform().FileBox(title, "*." + file.Type(), true);
    if (!picked) {
        Platform().Error("Cannot open " + file.Type() + " file. The application will quit!");
        Quit();
        return 0;
    }
    file.SetPath(*picked);
    if (params_) params_->outputFile = picked->string();
    // The save box was the question: what was picked is replaced.
    const bool overwrite = file.Overwrite();
    file.SetOverwrite(true);
    const int result = file.Create();
    file.SetOverwrite(overwrite);
    return result;
}

int xObject::CheckInput(std::string& input, const std::string& processName) {
    const std::string& latest = Project().latestCreatedFile;
    if (Project().autoFiles) input = latest;
    if (input != latest) return 1;
    fs::path found;
    if (FindNewest(latest, found, ProjectDirectory(Project()))) return 1;
    Platform().Note("There are no input file(s) for " + processName +
                    ".  Please run the previous process to create one.");
    return 0;
}

int xObject::FindNewest(const std::string& pattern, fs::path& result, const fs::path& directory) {
    const fs::path given(pattern);
    const fs::path dir = given.has_parent_path() ? given.parent_path() : directory;
    const std::string namePattern = given.filename().string();

    std::vector<fs::path> names;
    std::error_code ec;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code typeError;
        if (!it->is_regular_file(typeError)) continue;
        if (Matches(namePattern.c_str(), it->path().filename().string().c_str()))
            names.push_back(it->path());
    }
    if (names.empty()) return 0;
    // The listing's order is the file system's; sorted, "the first" is the same
    // everywhere.
    std::sort(names.begin(), names.end());
    fs::path newest = names.front();
    auto newestTime = fs::last_write_time(newest, ec);
    for (const fs::path& name : names) {
        auto time = fs::last_write_time(name, ec);
        if (!ec && time > newestTime) {
            newest = name;
            newestTime = time;
        }
    }
    result = newest;
    return 1;
}

void xObject::OpenProgress(const std::string& title) {
    progressOpen_ = true;
    Platform().ProgressOpen(title);
}

void xObject::CloseProgress() {
    if (!progressOpen_) return;
    progressOpen_ = false;
    Platform().ProgressClose();
}

void xObject::SetRange(long minimum, long maximum) {
    if (maximum == minimum) maximum = minimum + 1;
    current_ = minimum;
    minimum_ = minimum;
    maximum_ = maximum;
    if (progressOpen_) Platform().ProgressRange(minimum_, maximum_);
}

void xObject::Advance(long steps) {
    Gauge(current_ + steps);
}

void xObject::Gauge(long value) {
    Platform().Yield();
    const long clamped = std::clamp(value, minimum_, std::max(minimum_, maximum_));
    if (clamped == current_) return;
    current_ = clamped;
    if (progressOpen_) Platform().ProgressAdvance(current_);
}

void xObject::SetStatus(const std::string& text) {
    if (progressOpen_) Platform().ProgressStatus(text);
}

void xObject::SetTitle(const std::string& text) {
    if (progressOpen_) Platform().ProgressOpen(text);
}

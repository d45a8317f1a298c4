#include "xShellApp.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "TempFolder.h"
#include "xObject.h"
#include "xParFile.h"
#include "xPlatform.h"
#include "xProjectContext.h"
#include "xPrsCont.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

// A process that records that it ran, and may do something while it runs.
class FakeProcess : public xObject {
  public:
    FakeProcess(int id, std::vector<int>& log, std::function<void(xObject&)> during)
        : xObject(id), log_(log), during_(std::move(during)) {}
    void Execute(int) override {
        log_.push_back(Id());
        if (during_) during_(*this);
    }
    void Dialog(int, int) override {}

  private:
    std::vector<int>& log_;
    std::function<void(xObject&)> during_;
};

// A descriptor that answers the geometry questions from sets of ids.
class FakeDescriptor : public xSharedDescriptor {
  public:
    std::set<long> present, fixedTransmitter, loopReceiver;
    bool Read(const fs::path&) override { return true; }
    bool FrequencyDomain() const override { return false; }
    bool HasComponent(long id) const override { return present.count(id) > 0; }
    bool HasFixedTransmitter(long id) const override { return fixedTransmitter.count(id) > 0; }
    bool HasLoopReceiver(long id) const override { return loopReceiver.count(id) > 0; }
};

class ShellTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        ProjectContext() = xProjectContext();
        descriptor_ = Put("system.DSC", "descriptor\n");
    }
    void TearDown() override {
        ProjectContext() = xProjectContext();
        xTempFolderTest::TearDown();
    }

    void Register(xShellApp& shell, int id, std::function<void(xObject&)> during = {}) {
        shell.RegisterProcess(
            id, [this, id, during] { return std::make_unique<FakeProcess>(id, ran_, during); });
    }
    // A project made through New Project.
    fs::path NewProject(xShellApp& shell, const std::string& name = "survey.PAR") {
        fs::path par = dir_ / name;
        EXPECT_EQ(shell.NewProject(par, descriptor_), 1);
        return par;
    }

    fs::path descriptor_;
    std::vector<int> ran_;
    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(ShellTest, NewProjectWritesHeaderWithZeroPaddedDescriptorPath) {
    xShellApp shell;
    fs::path par = NewProject(shell);
    const std::string bytes = Slurp(par);
    ASSERT_EQ(bytes.size(), 1329u);
    float version;
    std::memcpy(&version, bytes.data(), 4);
    EXPECT_EQ(version, 3.13f);
    EXPECT_EQ(bytes.substr(4, 6), "survey");
    EXPECT_EQ(bytes.substr(10, 94), std::string(94, ' '));
    EXPECT_EQ(bytes.substr(104, 25), "Project: SURVEY      Date");
    const std::string path = fs::absolute(descriptor_).lexically_normal().string();
    EXPECT_EQ(bytes.substr(304, path.size()), path);
    EXPECT_EQ(bytes.substr(304 + path.size()), std::string(1025 - path.size(), '\0'));
    EXPECT_EQ(ProjectContext().projectName, "survey");
    EXPECT_EQ(ProjectContext().descriptorName, "system.DSC");
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(ShellTest, NewProjectRefusals) {
    xShellApp shell;
    EXPECT_EQ(shell.NewProject("", descriptor_), 0);
    EXPECT_EQ(shell.NewProject(dir_ / "no" / "such.PAR", descriptor_), 0);
    EXPECT_EQ(shell.NewProject(dir_ / "a.PAR", ""), 0);
    EXPECT_EQ(shell.NewProject(dir_ / "a.PAR", dir_ / "missing.DSC"), 0);
    std::ofstream(dir_ / "notes.txt") << "x";
    EXPECT_EQ(shell.NewProject(dir_ / "a.PAR", dir_ / "notes.txt"), 0);
    EXPECT_EQ(
        platform_.Texts("error"),
        (std::vector<std::string>{"No parameter file specified.",
                                  "Directory path for specified parameter file does not exist.",
                                  "Descriptor file file name has not been defined.",
                                  "Cannot find specified descriptor file.",
                                  "Cannot find specified descriptor file."}));
    EXPECT_FALSE(fs::exists(dir_ / "a.PAR"));  // nothing half-made is left behind
}

TEST_F(ShellTest, CopyFromCopiesTheSectionsAndNamesTheNewDescriptor) {
    xShellApp shell;
    fs::path old = NewProject(shell, "old.PAR");
    xPrsCont params(711);
    params.alignX = "Distance";
    ASSERT_EQ(params.Save(), 1);
    fs::path other = dir_ / "other.DSC";
    std::ofstream(other) << "other\n";

    fs::path copy = dir_ / "copy.PAR";
    ASSERT_EQ(shell.NewProject(copy, other, old), 1);
    EXPECT_EQ(fs::file_size(copy), fs::file_size(old));
    EXPECT_EQ(ProjectContext().descriptorName, "other.DSC");
    xPrsCont loaded(711);
    ASSERT_EQ(loaded.Load(), 1);
    EXPECT_EQ(loaded.alignX, "Distance");
}

TEST_F(ShellTest, OldProjectChecksNameExistenceAndDescriptor) {
    xShellApp shell;
    EXPECT_EQ(shell.OldProject(dir_ / "survey.txt"), 0);
    EXPECT_EQ(shell.OldProject(dir_ / "gone.par"), 0);
    EXPECT_EQ(
        platform_.Texts("error"),
        (std::vector<std::string>{"Wrong file selection <" + (dir_ / "survey.txt").string() +
                                      ">! <***.PAR> file has to be selected. Please try again.",
                                  "Selected parameter file does not exist."}));

    fs::path par = NewProject(shell);
    EXPECT_EQ(shell.OldProject(par), 1);
    fs::remove(descriptor_);
    platform_.answers = {1};  // "No": do not browse
    EXPECT_EQ(shell.OldProject(par), 0);
    EXPECT_EQ(platform_.Texts("question").size(), 1u);
}

TEST_F(ShellTest, BrowsingForTheDescriptorChecksAndRecordsThePick) {
    xShellApp shell;
    fs::path par = NewProject(shell);
    fs::path moved = dir_ / "moved.DSC";
    fs::rename(descriptor_, moved);
    platform_.answers = {0, 0, 0};
    platform_.files = {dir_ / "wrong.txt", dir_ / "absent.DSC", moved};
    EXPECT_EQ(shell.OldProject(par), 0);
    EXPECT_EQ(shell.OldProject(par), 0);
    EXPECT_EQ(shell.OldProject(par), 1);
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "Wrong file selection! <***.DSC> file has to be selected. Please try again.",
                  "Selected DSC file does not exist!"}));
    EXPECT_EQ(ProjectContext().descriptorName, "moved.DSC");
    platform_.messages.clear();
    EXPECT_EQ(shell.OldProject(par), 1);  // the new path is in the header now
    EXPECT_TRUE(platform_.Texts("question").empty());
}

TEST_F(ShellTest, DescriptorPathsOver25CharactersAreShortened) {
    // A path of exactly 25 characters stays whole; a longer one keeps its
    // first 4 and last 20 characters.
    xShellApp shell;
    fs::path par = NewProject(shell);
    for (std::size_t length : {25u, 26u, 60u}) {
        std::string path = "/x/" + std::string(length - 7, 'p') + ".DSC";
        ASSERT_EQ(path.size(), length);
        std::fstream file(par, std::ios::in | std::ios::out | std::ios::binary);
        std::string field = path;
        field.resize(1025, '\0');
        file.seekp(304);
        file.write(field.data(), 1025);
        file.close();
        platform_.answers = {1};
        shell.OldProject(par);
        const std::string shown =
            length == 25 ? path : path.substr(0, 4) + "..." + path.substr(length - 20);
        EXPECT_EQ(platform_.Texts("question").back(), "Descriptor path " + shown +
                                                          " embedded in PAR file " + par.string() +
                                                          " is invalid. Browse for it?")
            << length;
    }
}

TEST_F(ShellTest, ButtonsStartNotReadyAndFollowClicks) {
    xShellApp shell;
    NewProject(shell);
    for (const auto& button : shell.Buttons()) EXPECT_EQ(button.state, 0u) << button.id;
    EXPECT_FALSE(shell.ExecuteEnabled());

    shell.SingleClick(703);  // never confirmed: only the hint
    EXPECT_EQ(shell.Description(),
              "Deconv.\n\nYou have to initialize parameters first. \nDouble click on the button "
              "to bring up the dialog.");
    EXPECT_TRUE(shell.ExecutingList().empty());

    shell.SetParamsDialog([](xPrsCont& params) {  // what the dialog changed is saved
        params.horizontalScale = 2500;
        return 1;
    });
    shell.DoubleClick(703);
    xPrsCont saved(703);
    ASSERT_EQ(saved.Load(), 1);
    EXPECT_EQ(saved.horizontalScale, 2500);
    EXPECT_EQ(shell.Button(703)->state, std::uint32_t(Confirmed | Ready));
    EXPECT_EQ(shell.Button(703)->toolTip, "Ready to Execute");
    EXPECT_EQ(shell.ExecutingList(), std::vector<std::string>{"Deconvolution/"});
    EXPECT_TRUE(shell.ExecuteEnabled());

    // Cancel on a Ready button keeps it Ready but forgets the confirmation...
    shell.SetParamsDialog([](xPrsCont&) { return -1; });
    shell.DoubleClick(703);
    EXPECT_EQ(shell.Button(703)->state, std::uint32_t(Ready));
    // ...so one click removes it and the next does not bring it back.
    shell.SingleClick(703);
    EXPECT_EQ(shell.Button(703)->toolTip, "NOT Ready");
    shell.SingleClick(703);
    EXPECT_EQ(shell.Button(703)->state, 0u);
    EXPECT_FALSE(shell.ExecuteEnabled());
}

TEST_F(ShellTest, AutoFilesReadiesEveryButtonInItsOrderAndUserFilesUndoes) {
    xShellApp shell;
    NewProject(shell);
    shell.AutoFiles();
    EXPECT_EQ(shell.ExecutingList(),
              (std::vector<std::string>{"Basis Functions/", "ASCII->BIN/", "Deconvolution/", "CDI/",
                                        "Inverter/"}));
    EXPECT_EQ(ProjectContext().autoFiles, 1);
    EXPECT_EQ(shell.Button(708)->state, 0u);  // Define System takes no part
    shell.UserFiles();
    EXPECT_TRUE(shell.ExecutingList().empty());
    EXPECT_EQ(shell.Button(701)->state, 0u);
    EXPECT_EQ(ProjectContext().autoFiles, 0);
}

TEST_F(ShellTest, StartProcessGuards) {
    xShellApp shell;
    NewProject(shell);
    // While Deconvolution runs, the user clicks it again and tries CDI and the Inverter.
    Register(shell, 703, [&shell](xObject&) {
        shell.StartProcess(703, shell.Button(703));
        shell.StartProcess(704, shell.Button(704));
        shell.StartProcess(706, shell.Button(706));
    });
    xProcessButton picker;  // the picker has no slot in the main window
    Register(shell, 705, [&shell](xObject&) { shell.StartProcess(706, shell.Button(706)); });
    Register(shell, 704);
    Register(shell, 706);
    EXPECT_EQ(shell.StartProcess(703, shell.Button(703)), 1);
    EXPECT_EQ(shell.StartProcess(705, &picker), 1);
    EXPECT_EQ(ran_, (std::vector<int>{703, 705}));
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "/Deconvolution/ process is already running.",
                  "System detected running <Deconvolution>. Before invoking CDI close "
                  "Deconvolution, please..",
                  "System detected running <Deconvolution>. Before invoking <Inverter> close "
                  "Deconvolution, please..",
                  "System detected running <Anomaly Picker>. Before invoking Inverter close the "
                  "Picker, please.."}));

    // Stop reaches the process that is running.
    bool stopped = false;
    Register(shell, 704, [&shell, &stopped](xObject& process) {
        shell.StopRunning();
        stopped = process.IsTerminated();
    });
    EXPECT_EQ(shell.StartProcess(704, shell.Button(704)), 1);
    EXPECT_TRUE(stopped);

    shell.SetProcessGate(0);
    EXPECT_EQ(shell.StartProcess(704, shell.Button(704)), 0);
    EXPECT_EQ(ran_.size(), 3u);
}

// The command line's run: no clicks, only the processes asked for, and a
// report of each one started, in the chain's order.
TEST_F(ShellTest, ReadyOnlyPicksProcessesAndExecuteReportsEach) {
    xShellApp shell;
    NewProject(shell);
    Register(shell, 701);
    Register(shell, 703, [](xObject&) { Platform().Error("Cannot open BIN file"); });
    EXPECT_EQ(shell.ReadyOnly({703, 701, 702}),
              (std::vector<std::string>{"Basis Functions/", "ASCII->BIN/", "Deconvolution/"}));
    shell.Button(708)->state |= Ready;
    const std::vector<xChainStep> steps = shell.Execute();
    EXPECT_TRUE(platform_.Saw(
        "note", "Double click on <DEFINE SYSTEM> button to invoke Descriptor File Editor."));
    EXPECT_TRUE(shell.ExecutingList().empty());
    for (int id : {701, 702, 703}) EXPECT_FALSE(shell.Button(id)->state & Ready);
    EXPECT_TRUE(shell.ExecuteEnabled());
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].id, 701);
    EXPECT_TRUE(steps[0].Succeeded());
    EXPECT_EQ(steps[1].title, "Basis Functions/");  // no maker: reported, not run
    EXPECT_FALSE(steps[1].ran);
    EXPECT_EQ(steps[1].errors, 0);
    EXPECT_TRUE(steps[2].ran);
    EXPECT_EQ(steps[2].errors, 1);
    EXPECT_FALSE(steps[2].Succeeded());
    EXPECT_EQ(&Platform(), &platform_);  // the counting stand-in is gone
    EXPECT_EQ(ran_, (std::vector<int>{701, 703}));

    EXPECT_EQ(shell.StartProcess(711), 0);
    EXPECT_TRUE(platform_.Saw("note", "Basis Functions/ is not built yet: nothing was run."));
    EXPECT_TRUE(platform_.Saw("note", "Not implemented. (will display bodies on top of CDIs."));
    EXPECT_EQ(shell.ReadyOnly({}).size(), 5u);  // every process of Auto Files
}

TEST_F(ShellTest, QuitAndStartNewQuestions) {
    xShellApp shell;
    platform_.answers = {2, 1, 1};
    EXPECT_EQ(shell.Quit(), xShellApp::Choice::Continue);
    EXPECT_EQ(shell.Quit(), xShellApp::Choice::Continue);  // "Start New", then "Continue"
    EXPECT_EQ(platform_.Texts("question"),
              (std::vector<std::string>{
                  "What would you like to do:\nquit Tovarn, start a new project or continue the "
                  "current one?",
                  "What would you like to do:\nquit Tovarn, start a new project or continue the "
                  "current one?",
                  "Please confirm what you'd like to do:\nstart a new project or continue the "
                  "current one?"}));
    {
        FakeProcess alive(703, ran_, {});
        platform_.answers = {0};
        EXPECT_EQ(shell.Quit(), xShellApp::Choice::Quit);
        EXPECT_EQ(
            platform_.Texts("question").back().rfind("You are still running processes..\n", 0), 0u);
    }
    xObject::SetRunningProcessName("ASCII->BIN/");
    EXPECT_EQ(shell.Quit(), xShellApp::Choice::Refused);
    EXPECT_EQ(shell.StartNew(), xShellApp::Choice::Refused);
    xObject::SetRunningProcessName("");
    EXPECT_EQ(
        platform_.Texts("error"),
        (std::vector<std::string>(2, "The process /ASCII->BIN/ are running. Terminate it first.")));
}

TEST_F(ShellTest, CheckDiskAsksOnlyWhenNearlyFull) {
    xShellApp shell;
    EXPECT_EQ(shell.CheckDisk(0), 1);
    EXPECT_TRUE(platform_.messages.empty());
    platform_.answers = {1, 0};
    EXPECT_EQ(shell.CheckDisk(1e15), 0);  // "Break"
    EXPECT_EQ(shell.CheckDisk(1e15), 1);  // "Continue"
    EXPECT_EQ(platform_.Texts("question"),
              std::vector<std::string>(2, "Your current drive is nearly full, mate!"));
}

TEST_F(ShellTest, EditorThatCannotStartOffersAnotherModule) {
    xShellApp shell;
    std::vector<std::string> launched;
    shell.SetLauncher([&launched](const std::string& command) {
        launched.push_back(command);
        return launched.size() == 1 ? 2 : 0;
    });
    platform_.answers = {0};
    platform_.files = {fs::path("/opt/edit/sysedit.exe")};
    EXPECT_EQ(shell.RunEditor("\"a.DSC\""), 0);
    EXPECT_EQ(launched, (std::vector<std::string>{"sysedit400.exe \"a.DSC\"",
                                                  "/opt/edit/sysedit.exe \"a.DSC\""}));
    EXPECT_TRUE(platform_.Saw("question", "Select the module to execute?"));
}

TEST_F(ShellTest, UnsupportedGeometriesAreRefusedAndSideTransmittersReported) {
    FakeDescriptor descriptor;
    descriptor.present = {107, 109};
    EXPECT_TRUE(xShellApp::SupportedGeometry(descriptor));
    EXPECT_TRUE(platform_.messages.empty());

    descriptor.present = {101, 103, 109};  // two transmitters along x: one warning
    EXPECT_TRUE(xShellApp::SupportedGeometry(descriptor));
    EXPECT_EQ(platform_.Texts("warning"),
              std::vector<std::string>{"This version of Tovarn supports only vertical transmitter "
                                       "orientation, others will be ignored."});

    descriptor.present = {109};
    descriptor.loopReceiver = {109};
    EXPECT_FALSE(xShellApp::SupportedGeometry(descriptor));
    descriptor.fixedTransmitter = {109};
    EXPECT_FALSE(xShellApp::SupportedGeometry(descriptor));
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{
                  "System detected loop receiver geometry which is not supported by Tovarn V3.03.",
                  "System detected fixed transmitter geometry which is not supported by Tovarn "
                  "V3.03."}));
}

#include "xObject.h"

#include <gtest/gtest.h>

#include "ProjectFolder.h"
#include "xDoc.h"
#include "xLineObject.h"
#include "xProcessState.h"
#include "xPrsCont.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class xTestProcess : public xLineObject {
  public:
    explicit xTestProcess(int id = 704) : xLineObject(id, "CDI/") {}
    void Execute(int) override {}
    void Dialog(int, int) override {}
};

// Counts the descriptors alive and remembers what they were asked to read.
struct DescriptorLog {
    int alive = 0;
    std::vector<fs::path> read;
    bool readSucceeds = true;
    bool frequencyDomain = true;
};

class xFakeDescriptor : public xSharedDescriptor {
  public:
    explicit xFakeDescriptor(DescriptorLog& log) : log_(log) { ++log_.alive; }
    ~xFakeDescriptor() override { --log_.alive; }
    bool Read(const fs::path& path) override {
        log_.read.push_back(path);
        return log_.readSucceeds;
    }
    bool FrequencyDomain() const override { return log_.frequencyDomain; }

  private:
    DescriptorLog& log_;
};

class CountedParams : public xPrsCont {
  public:
    explicit CountedParams(bool& gone) : xPrsCont(704), gone_(gone) {}
    ~CountedParams() override { gone_ = true; }

  private:
    bool& gone_;
};

class xObjectTest : public xProjectFolderTest {
  protected:
    void TearDown() override {
        xObject::ForceCloseDescriptor();
        SetDescriptorMaker(nullptr);
        xProjectFolderTest::TearDown();
    }

    using xProjectFolderTest::Put;
    void Put(const std::string& name) const { Put(name, "x"); }
    void Age(const std::string& name, int secondsAgo) {
        fs::last_write_time(dir_ / name,
                            fs::file_time_type::clock::now() - std::chrono::seconds(secondsAgo));
    }
    void UseFakeDescriptors() {
        SetDescriptorMaker([this] { return std::make_unique<xFakeDescriptor>(log_); });
    }

    DescriptorLog log_;
    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(xObjectTest, RunStateAndTheCountOfProcesses) {
    const int before = xObject::RunningProcesses();
    {
        xTestProcess process;
        EXPECT_EQ(xObject::RunningProcesses(), before + 1);
        EXPECT_EQ(process.RunState(), xObject::Idle);
        EXPECT_FALSE(process.IsTerminated());
        process.SetRunState(xObject::Executing);
        EXPECT_FALSE(process.IsTerminated());
        process.SetRunState(xObject::Terminated | xObject::Executing);
        EXPECT_TRUE(process.IsTerminated());  // bit 0 alone decides
        process.SetRunState(xObject::Executing);
        {
            xProcessState engine(&process);
            process.SetEngine(&engine);
            process.Quit();  // reaches the running engine too
            EXPECT_TRUE(engine.IsSet(xProcessState::Stop));
        }
        EXPECT_EQ(process.Engine(), nullptr);  // a finished engine is forgotten
        EXPECT_EQ(process.RunState(), xObject::Terminated);
    }
    EXPECT_EQ(xObject::RunningProcesses(), before);
}

TEST_F(xObjectTest, CopiesAreRefusedWithTheirOwnTexts) {
    const int before = xObject::RunningProcesses();
    xTestProcess first;
    first.SetRunState(xObject::Executing);
    {
        xTestProcess copy(first);
        EXPECT_EQ(copy.RunState(), xObject::Idle);  // nothing of the original came over
        copy = first;
        EXPECT_EQ(copy.RunState(), xObject::Idle);
        EXPECT_EQ(xObject::RunningProcesses(), before + 2);
    }
    EXPECT_EQ(xObject::RunningProcesses(), before + 1);
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{"xObject copy constructor is  not implemented",
                                        "xObject = operator is  not implemented"}));
}

TEST_F(xObjectTest, EqualEndsGiveARangeOfOneThatTheNextStepFills) {
    xTestProcess process;
    process.OpenProgress("Working");
    process.SetRange(5, 5);
    EXPECT_EQ(process.Minimum(), 5);
    EXPECT_EQ(process.Maximum(), 6);
    EXPECT_EQ(process.Position(), 5);
    process.Advance();
    EXPECT_EQ(process.Position(), 6);
    EXPECT_EQ(platform_.lastProgress, 6);
    EXPECT_EQ(platform_.progress, (std::vector<std::string>{"open Working", "range 5 6"}));
}

TEST_F(xObjectTest, AdvanceYieldsEveryTimeAndClampsToTheRange) {
    xTestProcess process;
    process.SetRange(10);
    const long yields = platform_.yields;
    for (auto [step, position] : {std::pair{4, 4}, {25, 10}, {1, 10}, {-30, 0}}) {
        process.Advance(step);
        EXPECT_EQ(process.Position(), position) << step;
    }
    EXPECT_EQ(platform_.yields, yields + 4);
    // Without a progress box nothing is drawn, but the yields happened.
    EXPECT_TRUE(platform_.progress.empty());
    EXPECT_EQ(platform_.lastProgress, 0);
}

TEST_F(xObjectTest, DescriptorIsSharedByReference) {
    Put("SYS.DSC");
    UseFakeDescriptors();
    FrequencyDomain = 0;
    ASSERT_EQ(xObject::OpenDescriptor(), 1);
    ASSERT_EQ(xObject::OpenDescriptor(), 1);
    EXPECT_EQ(log_.alive, 1);
    EXPECT_EQ(log_.read, std::vector<fs::path>{dir_ / "SYS.DSC"});
    EXPECT_EQ(FrequencyDomain, 1);
    EXPECT_EQ(xObject::DescriptorReferences(), 2);

    EXPECT_EQ(xObject::CloseDescriptor(), 1);
    EXPECT_NE(xObject::Descriptor(), nullptr);
    EXPECT_EQ(log_.alive, 1);
    EXPECT_EQ(xObject::CloseDescriptor(), 0);
    EXPECT_EQ(xObject::Descriptor(), nullptr);
    EXPECT_EQ(log_.alive, 0);
    EXPECT_EQ(xObject::CloseDescriptor(), -1);
    EXPECT_TRUE(platform_.messages.empty());

    // A forced close destroys it at any count.
    ASSERT_EQ(xObject::OpenDescriptor(), 1);
    ASSERT_EQ(xObject::OpenDescriptor(), 1);
    xObject::ForceCloseDescriptor();
    EXPECT_EQ(log_.alive, 0);
    EXPECT_EQ(xObject::DescriptorReferences(), 0);
    EXPECT_EQ(xObject::CloseDescriptor(), -1);
    // The next open reads the file afresh.
    log_.frequencyDomain = false;
    ASSERT_EQ(xObject::OpenDescriptor(), 1);
    EXPECT_EQ(log_.read.size(), 3u);
    EXPECT_EQ(FrequencyDomain, 0);
}

TEST_F(xObjectTest, DescriptorThatCannotBeOpened) {
    Put("SYS.DSC");
    {
        SCOPED_TRACE("no maker");
        EXPECT_EQ(xObject::OpenDescriptor(), 0);
        EXPECT_EQ(platform_.messages,
                  (std::vector<xRecordedMessage>{{"error", "xObject: Cannot open DSC file."}}));
    }
    UseFakeDescriptors();
    platform_.messages.clear();
    {
        SCOPED_TRACE("a file that does not read");
        log_.readSucceeds = false;
        EXPECT_EQ(xObject::OpenDescriptor(), 0);
        EXPECT_EQ(xObject::Descriptor(), nullptr);
        EXPECT_EQ(log_.alive, 0);
        EXPECT_EQ(xObject::CloseDescriptor(), -1);
    }
    log_.readSucceeds = true;
    fs::remove(dir_ / "SYS.DSC");
    {
        SCOPED_TRACE("a missing file and a refused box");
        EXPECT_EQ(xObject::OpenDescriptor(), 0);
        EXPECT_EQ(platform_.messages,
                  (std::vector<xRecordedMessage>{{"filebox", "Open Descriptor file"},
                                                 {"error", "xObject: Cannot open DSC file."}}));
    }
    {
        SCOPED_TRACE("a missing file and another picked");
        Put("other.dsc");
        platform_.files = {dir_ / "other.dsc"};
        EXPECT_EQ(xObject::OpenDescriptor(), 1);
        EXPECT_EQ(log_.read.back(), dir_ / "other.dsc");
        EXPECT_EQ(ProjectContext().DescriptorPath(), dir_ / "other.dsc");
    }
}

TEST_F(xObjectTest, InputIsTheNamedFileOrWithAutoFilesTheLatestWhichMustExist) {
    ProjectContext().latestCreatedFile = "survey.AMP";
    xTestProcess process;
    std::string input = "mine.AMP";
    // Not looked for: the project directory does not exist, so a search would fail.
    ProjectContext().projectDir = dir_ / "nowhere";
    EXPECT_EQ(process.CheckInput(input, "CDI"), 1);
    EXPECT_EQ(input, "mine.AMP");
    EXPECT_TRUE(platform_.messages.empty());

    ProjectContext().projectDir = dir_;
    ProjectContext().autoFiles = 1;
    EXPECT_EQ(process.CheckInput(input, "CDI"), 0);
    EXPECT_EQ(input, "survey.AMP");
    EXPECT_EQ(platform_.messages,
              (std::vector<xRecordedMessage>{
                  {"note",
                   "There are no input file(s) for CDI.  Please run the previous "
                   "process to create one."}}));
    Put("survey.AMP");
    EXPECT_EQ(process.CheckInput(input, "CDI"), 1);
    // Without Auto Files, naming the latest file still asks for it on disk.
    ProjectContext().autoFiles = 0;
    fs::remove(dir_ / "survey.AMP");
    EXPECT_EQ(process.CheckInput(input, "CDI"), 0);
}

TEST_F(xObjectTest, FindNewestTakesTheStrictlyNewestMatch) {
    fs::path found;
    EXPECT_EQ(xObject::FindNewest("*.AMP", found, dir_), 0);
    for (const char* name : {"a1.AMP", "b2.amp", "c3.AMP", "d4.BIN", "long.AMPX"}) Put(name);
    Age("a1.AMP", 300);
    Age("b2.amp", 100);
    Age("c3.AMP", 200);
    Age("d4.BIN", 10);  // newer, but does not match
    Age("long.AMPX", 10);
    ASSERT_EQ(xObject::FindNewest("*.AMP", found, dir_), 1);
    EXPECT_EQ(found, dir_ / "b2.amp");
    ASSERT_EQ(xObject::FindNewest("?3.*", found, dir_), 1);
    EXPECT_EQ(found, dir_ / "c3.AMP");

    // Same time: the first stays.
    fs::last_write_time(dir_ / "c3.AMP", fs::last_write_time(dir_ / "b2.amp"));
    ASSERT_EQ(xObject::FindNewest("*.AMP", found, dir_), 1);
    EXPECT_EQ(found, dir_ / "b2.amp");
}

TEST_F(xObjectTest, OwnedParametersDieAdoptedOnesDoNot) {
    bool ownedGone = false;
    bool adoptedGone = false;
    CountedParams adopted(adoptedGone);
    {
        xTestProcess process;
        process.TakeParams(std::make_unique<CountedParams>(ownedGone));
        EXPECT_TRUE(process.OwnsParams());
        process.SetParams(&adopted);  // the owned one goes first
        EXPECT_TRUE(ownedGone);
        EXPECT_FALSE(process.OwnsParams());
        EXPECT_EQ(process.Params(), &adopted);
        // A null gives a plain parameter object of this process, its own.
        ProjectContext().projectName = "survey.old";
        process.SetParams(nullptr);
        EXPECT_TRUE(process.OwnsParams());
        EXPECT_EQ(process.Params()->ProcessId(), 704);
        EXPECT_EQ(ProjectContext().projectName, "survey");
    }
    EXPECT_FALSE(adoptedGone);
}

// A process whose parameters take the names of the files picked.
class xFileProcessTest : public xObjectTest {
  protected:
    void SetUp() override {
        xObjectTest::SetUp();
        process.SetParams(&params);  // loads them, asking for a parameter file
        platform_.messages.clear();
    }
    bool gone = false;
    CountedParams params{gone};
    xTestProcess process;
};

TEST_F(xFileProcessTest, InputIsOpenedOrAskedForOrTheProcessQuits) {
    xDoc file;
    file.SetType("AMP");

    Put("survey.AMP");
    EXPECT_EQ(process.OpenInput(file, "survey", "Select AMP", 1), 1);
    EXPECT_EQ(file.Path(), dir_ / "survey.AMP");
    EXPECT_EQ(process.OpenInput(file, "missing", "Select AMP", 0), 0);
    EXPECT_TRUE(platform_.messages.empty());

    Put("found.AMP");
    platform_.files = {dir_ / "found.AMP"};
    EXPECT_EQ(process.OpenInput(file, "missing", "Select AMP", 1), 1);
    EXPECT_EQ(params.inputFile, (dir_ / "found.AMP").string());
    EXPECT_FALSE(process.IsTerminated());

    EXPECT_EQ(process.OpenInput(file, "missing", "Select AMP", 1), 0);
    EXPECT_EQ(platform_.messages,
              (std::vector<xRecordedMessage>{
                  {"filebox", "Select AMP"},
                  {"filebox", "Select AMP"},
                  {"error", "xObject: Cannot open AMP file. The application will quit!"}}));
    EXPECT_TRUE(process.IsTerminated());
}

TEST_F(xFileProcessTest, OutputThatCannotBeCreatedOffersTheSaveBox) {
    xDoc file;
    file.SetType("CND");

    const std::string nowhere = (dir_ / "no" / "such").string();
    EXPECT_EQ(process.OpenOutput(file, nowhere, "Save CND", 0), 0);
    EXPECT_TRUE(platform_.messages.empty());

    Put("picked.CND", "old");
    platform_.files = {dir_ / "picked.CND"};
    EXPECT_EQ(process.OpenOutput(file, nowhere, "Save CND", 1), 1);
    EXPECT_EQ(params.outputFile, (dir_ / "picked.CND").string());
    EXPECT_EQ(file.Commit(), 1);
    EXPECT_EQ(fs::file_size(dir_ / "picked.CND"), 0u);  // replaced without a second question
    EXPECT_FALSE(file.Overwrite());

    EXPECT_EQ(process.OpenOutput(file, nowhere, "Save CND", 1), 0);
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"Cannot open CND file. The application will quit!"});
    EXPECT_EQ(platform_.Texts("question"), std::vector<std::string>{});
    EXPECT_TRUE(process.IsTerminated());
}

TEST_F(xObjectTest, LineSelection) {
    xTestProcess process;
    process.SetLines({1010, 1020, 1030});
    EXPECT_EQ(process.SelectedLines(), (std::vector<std::int32_t>{1010, 1020, 1030}));
    EXPECT_EQ(process.Select(1020, false), 1);
    EXPECT_EQ(process.Select(9999), 0);
    EXPECT_FALSE(process.IsSelected(1020));
    EXPECT_FALSE(process.IsSelected(9999));
    EXPECT_EQ(process.SelectedLines(), (std::vector<std::int32_t>{1010, 1030}));
    process.SelectAll(false);
    EXPECT_TRUE(process.SelectedLines().empty());
}

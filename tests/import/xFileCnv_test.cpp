#include "xFileCnv.h"
#include "xProcessRegistry.h"

#include <gtest/gtest.h>

#include "ImportFixture.h"
#include "xCnvParams.h"
#include "xProjectContext.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace {

class FileCnvTest : public ImportTest {
  protected:
    void SetUp() override {
        ImportTest::SetUp();
        RegisterDescriptor();
        ASSERT_TRUE(SmallSystem().Write(dir_ / "SMALL.DSC"));
        xShellApp shell;
        ASSERT_EQ(shell.NewProject(dir_ / "T.PAR", dir_ / "SMALL.DSC"), 1);
        ProjectContext().autoFiles = 1;
    }
    void TearDown() override {
        xObject::ForceCloseDescriptor();
        ImportTest::TearDown();
    }
    // The process as the shell runs it, on the files named.
    void Run(const std::vector<std::string>& files) {
        xCnvParams params;
        params.Load();
        params.files = files;
        ASSERT_TRUE(params.Save());
        xFileCnv process;
        ASSERT_EQ(process.Init(), 1);
        process.Execute(1);
    }
};

}  // namespace

TEST_F(FileCnvTest, RelativeNamesAreTakenFromTheProjectDirectory) {
    fs::create_directories(dir_ / "lines");
    Put("lines/a.asc", "10 100 0 0 5 50 x 1 2 4\n10 101 3 4 6 51 x 2 4 8\n");
    std::ofstream(dir_ / "T.NDF") << "residuals of an older import";
    Run({"lines/a.asc"});
    EXPECT_TRUE(platform_.Saw("note", "T.BIN: 1 lines, 2 records."));
    EXPECT_EQ(ReadLines().at(0).rows.size(), 2u);
    EXPECT_EQ(ProjectContext().latestCreatedFile, "T.BIN");
    EXPECT_FALSE(fs::exists(dir_ / "T.NDF"));  // stale beside a new BIN
    // Run again: the automatic files are replaced without a question.
    Run({"lines/a.asc"});
    EXPECT_TRUE(platform_.Texts("question").empty());
}

TEST_F(FileCnvTest, WithoutFilesItSaysWhatThereIs) {
    Run({});
    EXPECT_TRUE(platform_.Saw("warning",
                              "PROCESS: ASCII->Binary Conversion\nWARNING: File \"T.BIN\" does "
                              "not exist. "));
    std::ofstream(dir_ / "T.BIN") << "x";
    Run({});
    EXPECT_TRUE(platform_.Saw("question",
                              "There were no ASCII files selected, but there is binary file "
                              "created before. Do you want to draw this file?"));
}

// A record format that fails its checks is refused before anything is read or
// written: a negative item count once made the import spin for ever, a huge one
// took gigabytes.
TEST_F(FileCnvTest, RefusesARecordFormatThatFailsItsChecks) {
    Put("a.asc", "10 100 0 0 5 50 x 1 2 4\n");
    for (long items : {-55L, 1000000000L}) {
        xEMDesc broken = SmallSystem();
        broken.formatDesc.itemsPerRecord = items;
        ASSERT_TRUE(broken.Write(dir_ / "SMALL.DSC"));
        xObject::ForceCloseDescriptor();
        platform_.messages.clear();
        Run({"a.asc"});
        EXPECT_FALSE(fs::exists(dir_ / "T.BIN"));
        EXPECT_EQ(platform_.Texts("error").size(), 1u) << items;
    }
    EXPECT_TRUE(platform_.Saw("error",
                              "A data record cannot hold more than 100000 items, not 1000000000."));
}

#include "xDoc.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> kNoYesCancel = {"No", "Yes", "Cancel"};

class xDocTest : public xTempFolderTest {
  protected:
    std::string OverwriteQuestion(const std::string& name) const {
        return (dir_ / name).string() + " already exists. Do you want to overwrite it?";
    }

    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(xDocTest, FileSpecTypeAndCreator) {
    xDoc doc;
    doc.SetType("BIN");
    doc.SetName("SURVEY");  // no extension: the type stays
    EXPECT_EQ(doc.FileName(), "SURVEY.BIN");
    doc.SetName("a.b.cdef");
    EXPECT_EQ(doc.FileName(), "a.b.cdef");
    EXPECT_EQ(doc.Type(), "cdef");
    doc.SetName("survey.ascii");  // five characters after the dot: no type
    EXPECT_EQ(doc.Name(), "survey.ascii");
    EXPECT_EQ(doc.Type(), "cdef");
    doc.SetPath(dir_ / "proj.AMP");
    doc.SetName("other");  // a bare name keeps the directory
    EXPECT_EQ(doc.Path(), dir_ / "other.AMP");

    EXPECT_TRUE(doc.IsBinary());
    EXPECT_EQ(doc.Creator(), "????");
    EXPECT_EQ(doc.SetCreator("TVRN"), 1);
    EXPECT_EQ(doc.SetCreator("TOVRN"), 0);
    EXPECT_EQ(doc.Creator(), "TVRN");
    EXPECT_EQ(platform_.Texts("error"),
              std::vector<std::string>{"xDoc::Attempt to set illegal file creator string."});
}

TEST_F(xDocTest, OpenReadsAndWritesAnExistingFileAndWarnsOfAMissingOne) {
    xDoc doc(dir_ / "data.BIN");
    EXPECT_FALSE(doc.Exists());
    EXPECT_EQ(doc.Size(), 0u);
    EXPECT_EQ(doc.Open(), 0);
    EXPECT_EQ(
        platform_.Texts("warning"),
        std::vector<std::string>{"File " + (dir_ / "data.BIN").string() + " does not exist."});

    Put("data.BIN", "abcdef");
    ASSERT_EQ(doc.Open(), 1);
    EXPECT_FALSE(doc.IsReadOnly());
    EXPECT_EQ(doc.Size(), 6u);
    char bytes[3] = {};
    ASSERT_EQ(doc.Read(bytes, 3), 1);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    ASSERT_EQ(doc.ResetOutput(), 1);
    ASSERT_EQ(doc.Write("XY", 2), 1);
    doc.Close();
    EXPECT_EQ(Slurp(dir_ / "data.BIN"), "XYcdef");  // opened in place, not truncated
}

// Permissions do not bind root, so the check runs in a child that gives up its
// privileges first.
TEST_F(xDocTest, UnwritableFileOpensReadOnlyAndRefusesWrites) {
    const fs::path path = Put("locked.BIN", "1234");
    fs::permissions(path, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    EXPECT_EXIT(
        {
            if (geteuid() == 0 && setuid(65534) != 0) std::_Exit(3);
            xRecordingPlatform platform;
            xDoc doc(path);
            bool ok = doc.Open() == 1 && doc.IsReadOnly() && doc.Write("z", 1) == 0 &&
                      doc.ResetOutput() == 0 &&
                      platform.Texts("error") ==
                          std::vector<std::string>(2, "Attempt to write to read only file.");
            doc.Close();
            std::_Exit(ok && Slurp(path) == "1234" ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(xDocTest, CreateOverExistingFileFollowsTheAnswer) {
    const fs::path old = Put("old.AMP", "keep");
    {
        SCOPED_TRACE("Yes replaces the file");
        xDoc doc(old);
        platform_.answers = {1};
        ASSERT_EQ(doc.Create(), 1);
        EXPECT_EQ(Slurp(old), "keep");  // until the new one is whole
        EXPECT_EQ(doc.Commit(), 1);
        EXPECT_EQ(Slurp(old), "");
        EXPECT_EQ(platform_.messages,
                  (std::vector<xRecordedMessage>{{"question", OverwriteQuestion("old.AMP")}}));
    }
    Put("old.AMP", "keep");
    platform_.messages.clear();
    {
        SCOPED_TRACE("Cancel fails and leaves it");
        xDoc doc(old);
        platform_.answers = {2};
        EXPECT_EQ(doc.Create(), 0);
        EXPECT_FALSE(doc.IsOpen());
        EXPECT_EQ(Slurp(old), "keep");
    }
    platform_.messages.clear();
    {
        SCOPED_TRACE("No opens the save box; its pick is created");
        xDoc doc(old);
        platform_.answers = {0};
        platform_.files = {dir_ / "elsewhere.AMP"};
        ASSERT_EQ(doc.Create(), 1);
        EXPECT_EQ(doc.Commit(), 1);
        EXPECT_EQ(doc.Path(), dir_ / "elsewhere.AMP");
        EXPECT_TRUE(fs::exists(dir_ / "elsewhere.AMP"));
        EXPECT_EQ(Slurp(old), "keep");
        EXPECT_EQ(platform_.messages,
                  (std::vector<xRecordedMessage>{{"question", OverwriteQuestion("old.AMP")},
                                                 {"filebox", "Save As :"}}));
    }
    platform_.messages.clear();
    {
        SCOPED_TRACE("the overwrite flag replaces without a question");
        xDoc doc(old);
        doc.SetOverwrite(true);
        ASSERT_EQ(doc.Create(), 1);
        doc.Close();
        EXPECT_EQ(Slurp(old), "keep");  // closed without a commit: thrown away
        ASSERT_EQ(doc.Create(), 1);
        EXPECT_EQ(doc.Commit(), 1);
        EXPECT_EQ(Slurp(old), "");
        EXPECT_TRUE(platform_.messages.empty());
    }
}

TEST_F(xDocTest, OpenAsTakesThePickAndDeleteRemovesTheFile) {
    Put("picked.NDF", "n");
    xDoc doc;
    doc.SetType("NDF");
    EXPECT_EQ(doc.OpenAs(), 0);  // refused box
    platform_.files = {dir_ / "picked.NDF"};
    ASSERT_EQ(doc.OpenAs("Pick one"), 1);
    EXPECT_EQ(doc.Path(), dir_ / "picked.NDF");
    EXPECT_EQ(platform_.Texts("filebox"), (std::vector<std::string>{"Select file :", "Pick one"}));
    EXPECT_EQ(doc.Delete(), 1);
    EXPECT_FALSE(doc.IsOpen());
    EXPECT_FALSE(fs::exists(dir_ / "picked.NDF"));
    EXPECT_EQ(doc.Delete(), 0);
}

#include "xSurveyDatabase.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "SurveyFiles.h"
#include "TempFolder.h"
#include "xRecordingPlatform.h"
#include "xSurveyInfo.h"

namespace fs = std::filesystem;

namespace {

// Records are FID, East, North, Z, Altitude, Distance.
const std::vector<SurveyLine> kLines = {
    {10, {{100, 5000, 7000, 12, 120, 0}, {101, 5010, 7005, 14, 118, 10}}},
    {2,
     {{200.5f, 6000, 8000, 9, 125, 0},
      {201.5f, 6020, 8001, 11, 130, 20},
      {202.5f, 6040, 8002, 10, 128, 40}}}};

const std::string kSurveyText =
    "Survey \tsmall\n"
    "Flight \t0\n"
    "# Lines \t2\n"
    "# FIDs \t5\n"
    "PARAMETER   \t           MIN\t           MAX\n"
    "Fiducial    \t       100.000\t       202.500\n"
    "Nothing     \t        7000.0\t        8002.0\n"
    "Easting     \t        5000.0\t        6040.0\n"
    "Distance    \t           0.0\t          40.0\n"
    "Topography  \t           9.0\t          14.0\n"
    "Altitude    \t         118.0\t         130.0\n";

const std::string kLine2Text =
    "Line 2\n"
    "PARAMETER   \t           MIN\t           MAX\n"
    "Fiducial    \t       200.500\t       202.500\n"
    "Nothing     \t        8000.0\t        8002.0\n"
    "Easting     \t        6000.0\t        6040.0\n"
    "Distance    \t           0.0\t          40.0\n"
    "Topography  \t           9.0\t          11.0\n"
    "Altitude    \t         125.0\t         130.0\n";

class SurveyDatabaseTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        bin_ = dir_ / "small.BIN";
        sdb_ = dir_ / "small.SDB";
        WriteSurvey(bin_, kLines);
    }
    bool OpenOrRebuild(xSurveyDatabase& db) {
        return xSurveyInfo::OpenOrRebuild(db, sdb_, bin_, "small");
    }

    fs::path bin_, sdb_;
    xRecordingPlatform platform_;
};

const std::string kRebuildNote =
    "The survey database small.SDB is missing or damaged; it is made again from small.BIN.";

}  // namespace

TEST_F(SurveyDatabaseTest, TreeHoldsTheSurveyAndItsLinesWithTheirTables) {
    ASSERT_TRUE(xSurveyInfo::Rebuild(sdb_, bin_, "small"));
    xSurveyDatabase db;
    ASSERT_TRUE(db.Open(sdb_));
    const auto root = db.LoadNode(-1);
    ASSERT_TRUE(root);
    EXPECT_EQ(root->key, "small");
    EXPECT_EQ(root->item.text, kSurveyText);
    EXPECT_EQ(root->item.kind, xSurveyItem::SurveyKind);
    EXPECT_EQ(root->item.fileName, "small.BIN");
    EXPECT_EQ(root->childCount, 2);

    const auto line = db.FindChild(" 2 ");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->item.text, kLine2Text);
    EXPECT_EQ(line->item.kind, xSurveyItem::LineKind);
    EXPECT_EQ(line->item.displayFlag, 1);
    EXPECT_EQ(line->parent, root->position);

    // Children come in the order of their keys, which are text.
    std::vector<std::string> keys;
    for (const auto& child : db.Children(root->position)) keys.push_back(child.key);
    EXPECT_EQ(keys, (std::vector<std::string>{"10", "2"}));
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(SurveyDatabaseTest, NodesKeepTheirPositionsAndRefusalsAreReported) {
    xSurveyDatabase db;
    EXPECT_EQ(db.NewNode("survey", {}), -1);
    ASSERT_TRUE(db.Create(sdb_));
    const std::int64_t root = db.NewNode("survey", {});
    const std::int64_t line = db.NewNode("7", {"seven", "a.BIN", 1, 0, 0, 2});
    const std::int64_t deeper = db.AppendChild(line, "x", {"under seven", "", 0, 3, 4, 0});
    ASSERT_GE(deeper, 0);
    EXPECT_EQ(db.AppendChild(root, "7", {}), -1);
    EXPECT_EQ(db.JournalMode(), "wal");
    db.Close();

    ASSERT_TRUE(db.Open(sdb_));
    const auto found = db.FindByPath({"survey", "7", "x"});
    ASSERT_TRUE(found);
    EXPECT_EQ(found->position, deeper);
    EXPECT_EQ(found->item.text, "under seven");
    EXPECT_EQ(found->item.secondNumber, 4);
    EXPECT_EQ(db.LoadNode(line)->childCount, 1);
    EXPECT_FALSE(db.FindByPath({}));
    EXPECT_FALSE(db.FindByPath({"other"}));
    EXPECT_FALSE(db.FindByPath({"survey", "8"}));
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{"Open a database before creating a node",
                                        "Cannot add node 7", "Path must have at least one item.",
                                        "Path should start from the root.",
                                        "Node 8 is not among the children"}));
}

TEST_F(SurveyDatabaseTest, MissingOrDamagedDatabaseIsMadeAgainWithANote) {
    for (const std::string& damage : {std::string(), std::string("not a database at all"),
                                      std::string("SQLite format 3\0\x10\x00", 18)}) {
        platform_.messages.clear();
        fs::remove(sdb_);
        if (!damage.empty()) Put("small.SDB", damage);
        xSurveyDatabase db;
        ASSERT_TRUE(OpenOrRebuild(db)) << damage;
        EXPECT_EQ(db.LoadNode(-1)->item.text, kSurveyText);
        EXPECT_EQ(platform_.Texts("note"), std::vector<std::string>{kRebuildNote});
        EXPECT_TRUE(platform_.Texts("error").empty());
    }
    // A whole database is read as it is.
    platform_.messages.clear();
    xSurveyDatabase db;
    ASSERT_TRUE(OpenOrRebuild(db));
    EXPECT_TRUE(platform_.messages.empty());
    // A truncated one is refused whole rather than read in part.
    db.Close();
    fs::resize_file(sdb_, fs::file_size(sdb_) / 2);
    EXPECT_FALSE(xSurveyDatabase::IsWhole(sdb_));
}

TEST_F(SurveyDatabaseTest, ReadersInTwoProcessesDoNotWaitForEachOther) {
    ASSERT_TRUE(xSurveyInfo::Rebuild(sdb_, bin_, "small"));
    xSurveyDatabase first, second;
    ASSERT_TRUE(first.Open(sdb_));
    ASSERT_TRUE(second.Open(sdb_));
    EXPECT_EQ(first.JournalMode(), "wal");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        xSurveyDatabase reader;
        const bool read = reader.Open(sdb_) && reader.FindChild("2") &&
                          reader.FindChild("2")->item.text == kLine2Text;
        ::_exit(read ? 0 : 1);
    }
    EXPECT_EQ(second.LoadNode(-1)->item.text, kSurveyText);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    // A rebuild swaps in a new file; a reader that has the old one open reads on.
    ASSERT_TRUE(xSurveyInfo::Rebuild(sdb_, bin_, "renamed"));
    EXPECT_EQ(first.FindChild("10")->item.text.substr(0, 8), "Line 10\n");
    xSurveyDatabase fresh;
    ASSERT_TRUE(fresh.Open(sdb_));
    EXPECT_EQ(fresh.LoadNode(-1)->key, "renamed");

    // The last reader to close takes the WAL's side files with it.
    first.Close();
    second.Close();
    fresh.Close();
    EXPECT_FALSE(fs::exists(dir_ / "small.SDB-wal"));
    EXPECT_FALSE(fs::exists(dir_ / "small.SDB-shm"));
}

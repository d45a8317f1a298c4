// Two moments of the same records made into one section: hand-made CDI files
// whose every column is known, so each merged value can be named.

#include "xCndMerge.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "CdiTestSupport.h"
#include "TempFolder.h"
#include "xMCond.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;
using cdi::NULLVALUE;

namespace {

constexpr long Depths = 11;  // 0 to 100 m in steps of 10

class CndMergeTest : public xTempFolderTest {
  protected:
    // One line of FIDs 1, 2 with every section value and a penetration; the
    // first FID and the line number can be changed to make the files disagree.
    // From depth index runOutFrom down, the sections hold runOutValue.
    fs::path Write(const std::string& name, float value, float penetration, float firstFid = 1.0f,
                   long depthStep = 10, std::int32_t lineNumber = 100, long runOutFrom = Depths,
                   float runOutValue = 0.5f) {
        std::vector<float> depths;
        for (long d = 0; d < Depths; ++d) depths.push_back(float(d * depthStep));
        xMCond cnd;
        cnd.SetLayerCount(2);
        cnd.Init(cditest::DepthColumn(depths), cditest::ComponentFlags({109}));
        cnd.SetPath(dir_ / name);
        cnd.SetOverwrite(true);
        EXPECT_EQ(cnd.Create(), 1);
        EXPECT_TRUE(cnd.WriteHeader());
        xMLineWriter writer(cnd, lineNumber, &xMCond::NullValue);
        FloatArray record(0, cnd.RowLength() - 1);
        for (float fid : {firstFid, 2.0f}) {
            record *= 0.0f;
            record[0] = fid;
            record[xMCond::RLItem] = value;
            record[xMCond::PenetrationItem] = -penetration;
            for (long s = 0; s < cnd.SectionCount(); ++s)
                for (long d = 0; d < Depths; ++d)
                    record[cnd.SectionStart(s) + d] = d < runOutFrom ? value : runOutValue;
            writer.AddRow(record);
        }
        EXPECT_TRUE(writer.Finish());
        EXPECT_TRUE(cnd.WriteHeader());
        EXPECT_EQ(cnd.Commit(), 1);
        return dir_ / name;
    }

    // The first merged record's discrete section: the low moment's 10 mS/m down
    // to 40 m, the log-blend with the high moment's 16 at 50 m, then highBelow.
    void ExpectLowThenHighFrom60m(const fs::path& low, const fs::path& high, float highBelow) {
        ASSERT_TRUE(merge.Merge(low, high, dir_ / "both.CND"));
        xMCond both;
        const FloatArray r = cditest::FirstLineRecords(both, dir_ / "both.CND").at(0);
        const long discrete = both.SectionStart(0);
        for (long d : {0, 1, 2, 3, 4}) EXPECT_FLOAT_EQ(r[discrete + d], 10.0f) << d;
        EXPECT_NEAR(r[discrete + 5], 12.6491f, 1e-3f);
        for (long d = 6; d < Depths; ++d) EXPECT_FLOAT_EQ(r[discrete + d], highBelow) << d;
    }

    xRecordingPlatform platform;
    xCndMerge merge{platform};
};

}  // namespace

// The low moment above its penetration (40 m), the high below, blended in log
// conductivity over 30..50 m; the other items are the high moment's.
TEST_F(CndMergeTest, TheLowMomentAboveItsPenetrationAndTheHighBelow) {
    const fs::path low = Write("LM.CND", 10.0f, 40.0f);
    const fs::path high = Write("HM.CND", 16.0f, 150.0f);
    ASSERT_TRUE(merge.Merge(low, high, dir_ / "both.CND")) << platform.Texts("error").front();
    EXPECT_FALSE(fs::exists(dir_ / "both-partial.CND"));
    xMCond both;
    const auto rows = cditest::FirstLineRecords(both, dir_ / "both.CND");
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(both.Lines(), 1);
    EXPECT_EQ(both.DepthCount(), Depths);
    const FloatArray& r = rows[1];
    EXPECT_EQ(r[0], 2.0f);
    EXPECT_EQ(r[xMCond::RLItem], 16.0f);
    EXPECT_EQ(r[xMCond::PenetrationItem], -150.0f);
    const long discrete = both.SectionStart(0), layered = both.SectionStart(1);
    for (long d : {0, 1, 2, 3}) EXPECT_FLOAT_EQ(r[discrete + d], 10.0f) << d;
    EXPECT_NEAR(r[discrete + 4], 12.6491f, 1e-3f);  // 40 m: half way in log, sqrt(10 x 16)
    EXPECT_NEAR(r[layered + 4], 12.6491f, 1e-3f);
    for (long d = 5; d < Depths; ++d) EXPECT_FLOAT_EQ(r[discrete + d], 16.0f) << d;
    // The conductance column adds up; it is blended as it stands.
    EXPECT_NEAR(r[both.SectionStart(2) + 4], 13.0f, 1e-4f);
}

// A low moment whose section runs out into one value at 60 m, above its
// estimated penetration of 100 m, has given way to the high moment there; a
// section of one value throughout is a uniform ground and keeps its estimate.
TEST_F(CndMergeTest, TheLowMomentEndsWhereItsSectionRunsOut) {
    const fs::path high = Write("HM.CND", 16.0f, 150.0f);
    ExpectLowThenHighFrom60m(Write("LM.CND", 10.0f, 100.0f, 1.0f, 10, 100, 6, 8.0f), high, 16.0f);

    ASSERT_TRUE(merge.Merge(Write("U.CND", 10.0f, 100.0f), high, dir_ / "uniform.CND"));
    xMCond uniform;
    const FloatArray u = cditest::FirstLineRecords(uniform, dir_ / "uniform.CND").at(0);
    EXPECT_FLOAT_EQ(u[uniform.SectionStart(0) + 8], 10.0f);
    EXPECT_NEAR(u[uniform.SectionStart(0) + 10], 12.6491f, 1e-3f);
}

// Where the moments part by more than a factor of two (the high moment finds
// 100 mS/m from 60 m, the low one still 10) the low moment has lost the
// ground: the blend is centred 10 m above it, whatever the estimate says.
TEST_F(CndMergeTest, TheLowMomentEndsWhereTheMomentsPart) {
    ExpectLowThenHighFrom60m(Write("LM.CND", 10.0f, 100.0f),
                             Write("HM.CND", 16.0f, 150.0f, 1.0f, 10, 100, 6, 100.0f), 100.0f);
}

TEST_F(CndMergeTest, ANullOfOneMomentTakesTheOther) {
    EXPECT_EQ(xCndMerge::Blend(NULLVALUE, 5.0f, 0.0f, true), 5.0f);
    EXPECT_EQ(xCndMerge::Blend(5.0f, NULLVALUE, 1.0f, true), 5.0f);
    EXPECT_EQ(xCndMerge::Blend(NULLVALUE, NULLVALUE, 0.5f, true), NULLVALUE);
    EXPECT_EQ(xCndMerge::HighWeight(29.0f, 40.0f), 0.0f);
    EXPECT_EQ(xCndMerge::HighWeight(51.0f, 40.0f), 1.0f);
}

// Files that are not two moments of the same records are refused by what
// differs, and no output is left behind.
TEST_F(CndMergeTest, FilesOfOtherRecordsOrDepthsAreRefused) {
    const fs::path high = Write("HM.CND", 1000.0f, 150.0f);
    const fs::path out = dir_ / "both.CND";
    EXPECT_FALSE(merge.Merge(Write("A.CND", 10.0f, 40.0f, 1.5f), high, out));
    EXPECT_TRUE(
        platform.Saw("error",
                     "Cannot merge A.CND and HM.CND: record 1 of line 100 is FID 1.5 in "
                     "one and FID 1 in the other; the moments must hold the same records."));
    EXPECT_FALSE(merge.Merge(Write("B.CND", 10.0f, 40.0f, 1.0f, 20), high, out));
    EXPECT_TRUE(platform.Saw("error",
                             "Cannot merge B.CND and HM.CND: their depths differ at depth 2; run "
                             "704 of both with the same 704.MaxDepth and 704.DepthResolution."));
    EXPECT_FALSE(merge.Merge(Write("C.CND", 10.0f, 40.0f, 1.0f, 10, 200), high, out));
    EXPECT_TRUE(platform.Saw("error",
                             "Cannot merge C.CND and HM.CND: line 1 is 200 of 2 records in one "
                             "and 100 of 2 in the other."));
    EXPECT_FALSE(merge.Merge(dir_ / "none.CND", high, out));
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(fs::exists(dir_ / "both-partial.CND"));
}

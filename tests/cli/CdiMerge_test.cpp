// `tovarn cdi merge` on the CDI files of the two moments of the bundled SkyTEM
// survey, each made by the chain from the first records of the survey.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "TempFolder.h"
#include "TovarnProgram.h"
#include "xCndMerge.h"
#include "xMCond.h"
#include "xMLine.h"

namespace fs = std::filesystem;

namespace {

const fs::path kExample = fs::path(TOVARN_SOURCE_DIR) / "examples/skytem-bhmar2009";

class CdiMergeCommand : public xTempFolderTest {
  protected:
    // The first records of the survey through 701..704 with the moment's
    // descriptor, in a project named after it; the CDI file.
    fs::path Chain(const std::string& moment, int records) {
        const fs::path survey = dir_ / (moment + ".dat");
        std::ifstream in(kExample / "bhmar-skytem_subset.dat");
        std::ofstream out(survey);
        std::string row;
        for (int k = 0; k < records && std::getline(in, row); ++k) out << row << '\n';
        out.close();
        const std::string par = "'" + (dir_ / (moment + ".PAR")).string() + "'";
        std::string output;
        EXPECT_EQ(RunTovarn("new " + par + " --descriptor '" +
                                (kExample / ("BHMAR-" + moment + ".DSC")).string() + "'",
                            output),
                  0)
            << output;
        EXPECT_EQ(
            RunTovarn("set " + par + " 701.Files='" + survey.string() + "' 701.MaxDFid=5", output),
            0)
            << output;
        EXPECT_EQ(RunTovarn("run " + par + " --only 701,702,703,704", output), 0) << output;
        return dir_ / (moment + ".CND");
    }
    int Merge(const fs::path& low, const fs::path& high) {
        return RunTovarn("cdi merge '" + low.string() + "' '" + high.string() + "' --out '" +
                             (dir_ / "both").string() + "'",
                         output_);
    }
    // Every record's discrete section.
    static std::vector<std::vector<float>> Sections(const fs::path& path) {
        xMCond cnd;
        cnd.SetPath(path);
        std::vector<std::vector<float>> sections;
        if (cnd.Open() != 1 || !cnd.ReadHeader()) return sections;
        xMLine line(&cnd);
        while (line.Next())
            for (long r = 0; r < line.Rows(); ++r) {
                sections.emplace_back();
                for (long d = 0; d < cnd.DepthCount(); ++d)
                    sections.back().push_back(line.Item(r, cnd.SectionStart(0) + d));
            }
        return sections;
    }

    // Whether the sections part by more than the merge allows at a depth from
    // first to last.
    static bool Part(const std::vector<float>& a, const std::vector<float>& b, std::size_t first,
                     std::size_t last) {
        for (std::size_t d = first; d <= last; ++d)
            if (a[d] != xMCond::NullValue && b[d] != xMCond::NullValue &&
                std::max(a[d] / b[d], b[d] / a[d]) > xCndMerge::AgreementFactor)
                return true;
        return false;
    }

    std::string output_;
};

// Every merged value is one of the moments' or lies between them; the bottom
// is the high moment's, and so is the top where the moments part there; where
// they agree down to 30 m the top is the low moment's.
TEST_F(CdiMergeCommand, JoinsTheMomentsOfTheSameRecords) {
    const fs::path low = Chain("LM", 12), high = Chain("HM", 12);
    ASSERT_EQ(Merge(low, high), 0) << output_;
    EXPECT_NE(output_.find("both.CND (LM.CND above its penetration, HM.CND below)"),
              std::string::npos)
        << output_;
    const auto lm = Sections(low), hm = Sections(high), both = Sections(dir_ / "both.CND");
    ASSERT_EQ(both.size(), 12u);
    ASSERT_EQ(lm.size(), both.size());
    const float null = xMCond::NullValue;
    for (std::size_t r = 0; r < both.size(); ++r) {
        const auto& a = lm[r];
        const auto& b = hm[r];
        const auto& m = both[r];
        for (std::size_t d = 0; d < m.size(); ++d) {
            if (a[d] == null || b[d] == null) {
                EXPECT_EQ(m[d], a[d] == null ? b[d] : a[d]) << r << " " << d;
                continue;
            }
            EXPECT_GE(m[d], std::min(a[d], b[d]) * 0.9999f) << r << " " << d;
            EXPECT_LE(m[d], std::max(a[d], b[d]) * 1.0001f) << r << " " << d;
        }
        const std::size_t top = 1, bottom = m.size() - 1;
        if (a[top] != null && b[top] != null) {
            if (Part(a, b, 1, 1)) {
                EXPECT_EQ(m[top], b[top]) << r;
            } else if (!Part(a, b, 1, 3)) {
                EXPECT_EQ(m[top], a[top]) << r;
            }
        }
        if (b[bottom] != null) {
            EXPECT_EQ(m[bottom], b[bottom]) << r;
        }
    }
}

TEST_F(CdiMergeCommand, RefusesTheMomentsOfOtherRecords) {
    ASSERT_EQ(Merge(Chain("LM", 12), Chain("HM", 15)), 1) << output_;
    EXPECT_NE(output_.find("error: Cannot merge LM.CND and HM.CND: they hold 1 lines of 12 records "
                           "and 1 lines of 15; both moments must be imported with the same lines "
                           "and records."),
              std::string::npos)
        << output_;
    EXPECT_FALSE(fs::exists(dir_ / "both.CND"));
}

}  // namespace

#include "PlotFixtures.h"

#include <gtest/gtest.h>

#include <vector>

#include "xMCond.h"
#include "xMLineBlock.h"

namespace plottest {

void WriteCnd(const std::filesystem::path& path, std::int32_t line, long records,
              const std::function<float(long, float)>& value) {
    xMCond cnd;
    cnd.SetPath(path);
    cnd.SetOverwrite(true);
    ASSERT_EQ(cnd.Create(), 1);
    FloatArray depths(0, 20);
    for (long d = 0; d <= 20; ++d) depths[d] = 10.0f * float(d);
    LongArray flags(100, 109);
    flags[109] = 1;
    cnd.Init(depths, flags);
    ASSERT_TRUE(cnd.WriteHeader());
    {
        xMLineWriter writer(cnd, line);
        std::vector<float> row(std::size_t(cnd.RowLength()), 0.0f);
        for (long r = 0; r < records; ++r) {
            row[0] = row[5] = 10.0f * float(r);
            row[3] = 100.0f;
            row[4] = 220.0f;
            row[xMCond::PenetrationItem] = -150.0f;
            for (long s = 0; s < 2; ++s)
                for (long d = 0; d <= 20; ++d)
                    row[std::size_t(cnd.SectionStart(s) + d)] = value(r, 10.0f * float(d));
            writer.AddRow(row.data());
        }
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(cnd.WriteHeader());
    ASSERT_EQ(cnd.Commit(), 1);
}

}  // namespace plottest

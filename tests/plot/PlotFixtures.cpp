#include "PlotFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "xMCond.h"
#include "xMData.h"
#include "xMLineBlock.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace plottest {

void WriteCnd(const std::filesystem::path& path, std::int32_t line, long records,
              const std::function<float(long, float)>& value, const FloatMatrix* histogram) {
    xMCond cnd;
    cnd.SetPath(path);
    cnd.SetOverwrite(true);
    ASSERT_EQ(cnd.Create(), 1);
    FloatArray depths(0, 20);
    for (long d = 0; d <= 20; ++d) depths[d] = 10.0f * float(d);
    LongArray flags(100, 109);
    flags[109] = 1;
    cnd.Init(depths, flags);
    if (histogram) cnd.SetHistogram(*histogram);
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

void WriteTzRzSurvey(const std::filesystem::path& path, std::int32_t line, long channels,
                     long records, const std::function<float(long, long)>& value) {
    xMData file;
    file.SetPath(path);
    file.SetOverwrite(true);
    ASSERT_EQ(file.Create(), 1);
    LongArray counts(100, 109), flags(100, 109);
    for (long id = 100; id <= 109; ++id) counts[id] = flags[id] = 0;
    counts[109] = channels;
    flags[109] = 1;
    file.InitFromDescriptor(counts, flags, 0);
    ASSERT_TRUE(file.WriteHeader());
    {
        const xRecordLayout layout(file);
        xMLineWriter writer(file, line);
        std::vector<float> row(std::size_t(layout.Length()), 0.0f);
        for (long r = 0; r < records; ++r) {
            row[0] = float(r);
            for (long c = 0; c < channels; ++c)
                row[std::size_t(layout.FirstChannel(109) + c)] = value(r, c);
            writer.AddRow(row.data());
        }
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(file.WriteHeader());
    ASSERT_EQ(file.Commit(), 1);
}

void WriteBin(const std::filesystem::path& path, const std::vector<std::int32_t>& lines,
              long records, long channels, const RowFill& fill) {
    xMData bin;
    bin.SetPath(path);
    bin.SetOverwrite(true);
    ASSERT_EQ(bin.Create(), 1);
    LongArray flags(100, 109);
    flags[FirstComponent] = flags[LastComponent] = 1;
    bin.InitFromDescriptor(channels, flags, 0);
    ASSERT_TRUE(bin.WriteHeader());
    const long tzrz = bin.ChannelOffset(LastComponent);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        xMLineWriter writer(bin, lines[i]);
        std::vector<float> row(std::size_t(bin.RowLength()), 1.0f);
        for (long r = 0; r < records; ++r) {
            std::fill(row.begin(), row.end(), 1.0f);
            row[0] = row[5] = 10.0f * float(r);
            row[1] = 1000.0f + 10.0f * float(r);
            row[2] = 5000.0f + 1000.0f * float(i);
            row[3] = 0.0f;
            row[4] = 100.0f;
            fill(lines[i], r, row.data(), tzrz);
            writer.AddRow(row.data());
        }
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(bin.WriteHeader());
    ASSERT_EQ(bin.Commit(), 1);
}

}  // namespace plottest

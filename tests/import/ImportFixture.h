#pragma once
// A small system and the means to import text into a survey file and read the
// lines back, for the import suites.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TempFolder.h"
#include "xASCII2BinFactory.h"
#include "xCnvParams.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLine.h"
#include "xRecordChecker.h"
#include "xRecordingPlatform.h"

// TzRz with three windows whose weights are 1, 2 and 0.5. A record has ten
// items: line, FID, east, north, z_topo, altitude, an unused item, the three
// channels. R = 6 + 3 + 1 user item (z(ASL)) + 6 angles = 16.
inline xEMDesc SmallSystem() {
    xEMDesc d;
    xEMCompDesc z;
    z.id = 109;
    z.wave.windows.Resize(0, 2, 0, 1);
    z.wave.weights.Resize(0, 2);
    const float weights[3] = {1.0f, 2.0f, 0.5f};
    for (long r = 0; r < 3; ++r) {
        z.wave.windows[r][0] = 1.0f + float(r);
        z.wave.windows[r][1] = 2.0f + float(r);
        z.wave.weights[r] = weights[r];
    }
    d.Components().clear();
    d.Components()[109] = z;
    auto& f = d.formatDesc;
    f.itemsPerRecord = 10;
    f.posLine = 1;
    f.posFid = 2;
    f.posEast = 3;
    f.posNorth = 4;
    f.posZTopo = 5;
    f.posAltitude = 6;
    f.SetChannels(3);
    for (long ch = 1; ch <= 3; ++ch) f.channelMap[ch][109] = float(7 + ch);
    return d;
}

constexpr long SmallR = 16;

struct ImportedLine {
    std::int32_t number = 0;
    std::vector<std::vector<float>> rows;
    FloatArray min, max, mean;
};

class ImportTest : public xTempFolderTest {
  protected:
    std::filesystem::path Bin() const { return dir_ / "T.BIN"; }
    std::filesystem::path Err() const { return dir_ / "T.err"; }

    // Imports the files into T.BIN; the checker reports by params. Answers
    // what Convert answered.
    bool Import(const std::vector<std::filesystem::path>& files, const xEMDesc& system,
                const xCnvParams& params = xCnvParams(),
                xASCII2BinFactory::Editor editor = nullptr) {
        xMData bin;
        bin.SetPath(Bin());
        bin.SetOverwrite(true);
        EXPECT_EQ(bin.Create(), 1);
        xASCII2BinFactory engine;
        engine.SetDescriptor(&system);
        engine.SetTarget(&bin);
        engine.SetFiles(files);
        engine.SetEditor(std::move(editor));
        if (!engine.Ready()) return engine.Convert();
        xRecordChecker checker(Err(), engine.RecordLength(), params);
        engine.SetChecker(&checker);
        return engine.Convert();
    }

    // Every line of T.BIN, walked as a reader walks it.
    std::vector<ImportedLine> ReadLines(long* lineCount = nullptr, long* records = nullptr) {
        xMData bin;
        bin.SetPath(Bin());
        EXPECT_EQ(bin.Open(), 1);
        EXPECT_TRUE(bin.ReadHeader());
        if (lineCount) *lineCount = bin.Lines();
        if (records) *records = bin.Records();
        std::vector<ImportedLine> lines;
        xMLine line(&bin);
        bin.ResetLines();
        while (line.Next()) {
            ImportedLine copy{line.LineNumber(), {}, line.Min(), line.Max(), line.Mean()};
            for (long r = 0; r < line.Rows(); ++r) {
                const FloatArray& row = line.Row(r);
                copy.rows.emplace_back(row.Data(), row.Data() + row.Length());
            }
            lines.push_back(std::move(copy));
        }
        return lines;
    }

    xRecordingPlatform platform_;
};

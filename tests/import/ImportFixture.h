#pragma once
// A small system and the means to import text into a survey file and read the
// lines back, for the import suites.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "../store/SurveyFiles.h"
#include "SmallSystem.h"
#include "TempFolder.h"
#include "xASCII2BinFactory.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLine.h"
#include "xRecordChecker.h"
#include "xRecordingPlatform.h"

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

    // Imports the files into T.BIN; the checker reports by the settings and
    // every box goes to platform_, handed to the engine. Answers what Convert
    // answered.
    bool Import(const std::vector<std::filesystem::path>& files, const xEMDesc& system,
                const xImportSettings& settings = xImportSettings(),
                xASCII2BinFactory::Editor editor = nullptr) {
        xMData bin;
        bin.SetPath(Bin());
        bin.SetOverwrite(true);
        EXPECT_EQ(bin.Create(), 1);
        xASCII2BinFactory engine(platform_);
        engine.SetDescriptor(&system);
        engine.SetTarget(&bin);
        engine.SetFiles(files);
        engine.SetEditor(std::move(editor));
        if (!engine.Ready()) return engine.Convert();
        xRecordChecker checker(Err(), engine.RecordLength(), settings, platform_);
        engine.SetChecker(&checker);
        const bool converted = engine.Convert();
        // Even a run cut short is kept here: tests read what it left.
        bin.Commit();
        return converted;
    }

    // Every line of T.BIN, walked as a reader walks it.
    std::vector<ImportedLine> ReadLines(long* lineCount = nullptr, long* records = nullptr) {
        const auto bin = OpenSurvey(Bin());
        if (lineCount) *lineCount = bin->Lines();
        if (records) *records = bin->Records();
        std::vector<ImportedLine> lines;
        xMLine line(bin.get());
        bin->ResetLines();
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

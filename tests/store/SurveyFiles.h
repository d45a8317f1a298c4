#pragma once
// Small survey files for the store and command tests, written through the
// store's own writers.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "xMData.h"

// Two channels of TxRx (101) and one of TyRy (105), no user items:
// R = 6 + 3 + 6 orientation items = 15.
constexpr long SmallRecord = 15;

inline void SmallLayout(xMFile& file) {
    LongArray channels(100, 109), flags(100, 109);
    channels[101] = 2;
    channels[105] = 1;
    flags[101] = 1;
    flags[105] = 1;
    file.InitFromDescriptor(channels, flags, 0);
}

struct SurveyLine {
    std::int32_t number;
    std::vector<std::vector<float>> records;  // each padded with zeros to SmallRecord
};

// A BIN file of the small layout holding the lines given.
inline void WriteSurvey(const std::filesystem::path& path, const std::vector<SurveyLine>& lines) {
    xMData file;
    file.SetPath(path);
    file.SetOverwrite(true);
    ASSERT_EQ(file.Create(), 1);
    SmallLayout(file);
    ASSERT_TRUE(file.WriteHeader());
    for (const auto& line : lines) {
        xMLineWriter writer(file, line.number);
        for (auto record : line.records) {
            record.resize(SmallRecord, 0.0f);
            writer.AddRow(record.data());
        }
        ASSERT_TRUE(writer.Finish());
    }
    ASSERT_TRUE(file.WriteHeader());
    file.Commit();
}

// The survey file at path, opened and its header read.
template <class File = xMData>
std::unique_ptr<File> OpenSurvey(const std::filesystem::path& path) {
    auto file = std::make_unique<File>();
    file->SetPath(path);
    EXPECT_EQ(file->Open(), 1) << path;
    EXPECT_TRUE(file->ReadHeader()) << path;
    return file;
}

inline FloatArray Values(const std::vector<float>& values) {
    FloatArray a(0, long(values.size()) - 1);
    for (long i = 0; i < a.Length(); ++i) a[i] = values[std::size_t(i)];
    return a;
}

// The component flags of a TzRz system.
inline LongArray OnlyTzRz() {
    LongArray flags(100, 109);
    flags[109] = 1;
    return flags;
}

// A result file (amplitudes, CDI) at path, laid out by init: its header, and
// when item is given line 10 of one record whose item i is item(i).
template <class File>
void WriteResult(File& file, const std::filesystem::path& path,
                 const std::function<void(File&)>& init,
                 const std::function<float(long)>& item = nullptr) {
    file.SetPath(path);
    file.SetOverwrite(true);
    ASSERT_EQ(file.Create(), 1);
    init(file);
    ASSERT_TRUE(file.WriteHeader());
    if (item) {
        xMLineWriter writer(file, 10);
        std::vector<float> record(std::size_t(file.RowLength()));
        for (std::size_t i = 0; i < record.size(); ++i) record[i] = item(long(i));
        writer.AddRow(record.data());
        ASSERT_TRUE(writer.Finish());
        ASSERT_TRUE(file.WriteHeader());
    }
    file.Commit();
}

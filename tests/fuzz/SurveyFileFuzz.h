#pragma once
// The walk that every later process makes over a survey file, for the fuzz
// targets of its forms: whatever the bytes, a header or line block that is
// refused must have told the person why, and a header that reads must lead to
// blocks of its own record length, each row of which reads.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "xMFile.h"
#include "xMLine.h"
#include "xRecordingPlatform.h"

namespace surveyfuzz {

[[noreturn]] inline void Fail(const char* target, const std::string& what,
                              const xRecordingPlatform& platform) {
    std::fprintf(stderr, "%s: %s\n", target, what.c_str());
    for (const auto& m : platform.messages)
        std::fprintf(stderr, "  %s: %s\n", m.kind.c_str(), m.text.c_str());
    std::abort();
}

inline bool Reported(const xRecordingPlatform& platform) {
    for (const auto& m : platform.messages)
        if (m.kind == "error" || m.kind == "fatal") return true;
    return false;
}

// The input as a file of this name in a folder of the process's own.
inline std::filesystem::path Put(const std::string& name, const std::uint8_t* data,
                                 std::size_t size) {
    static const std::filesystem::path dir = [] {
        auto d = std::filesystem::temp_directory_path() /
                 ("tovarn_survey_fuzz_" + std::to_string(getpid()));
        std::filesystem::create_directories(d);
        return d;
    }();
    const auto path = dir / name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    return path;
}

// Reads the header; false when it was refused (with its reason).
inline bool ReadHeader(const char* target, xMFile& file, xRecordingPlatform& platform) {
    if (file.Open() != 1) Fail(target, "the input file does not open", platform);
    if (file.ReadHeader()) return true;
    if (!Reported(platform)) Fail(target, "a header refused without a message", platform);
    return false;
}

// Every line and row, then the ASCII forms over the same walk.
inline void Walk(const char* target, xMFile& file, xRecordingPlatform& platform) {
    xMLine line(&file);
    file.ResetLines();
    long lines = 0;
    double sum = 0.0;
    while (line.Next()) {
        ++lines;
        if (line.Cols() != file.RowLength())
            Fail(target, "a line block of another record length", platform);
        for (long r = 0; r < line.Rows(); ++r) sum += line.Row(r)[line.Cols() - 1];
    }
    (void)sum;
    if (lines < file.Lines() && !Reported(platform))
        Fail(target, "a line walk stopped short without a message", platform);
    std::ostringstream out;
    const bool dumped = file.DumpAscii(out) && file.SaveAscii(out, file.DefaultPattern());
    if (!dumped && !Reported(platform))
        Fail(target, "an ASCII form refused without a message", platform);
}

}  // namespace surveyfuzz

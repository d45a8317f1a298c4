#pragma once
// What the reader fuzzers share: a private scratch folder, the input put in a
// file there, and the rule that a reader that says no says why.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "xRecordingPlatform.h"

namespace fuzz {

[[noreturn]] inline void Fail(const char* target, const char* what,
                              const xRecordingPlatform& platform) {
    std::fprintf(stderr, "%s: %s\n", target, what);
    for (const auto& m : platform.messages)
        std::fprintf(stderr, "  %s: %s\n", m.kind.c_str(), m.text.c_str());
    std::abort();
}

inline const std::filesystem::path& Dir(const std::string& target) {
    static const std::filesystem::path dir = [&] {
        auto d = std::filesystem::temp_directory_path() /
                 ("tovarn_" + target + "_fuzz_" + std::to_string(getpid()));
        std::filesystem::create_directories(d);
        return d;
    }();
    return dir;
}

inline void WriteFile(const std::filesystem::path& path, const std::uint8_t* data,
                      std::size_t size) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data), std::streamsize(size));
}

inline bool Said(const xRecordingPlatform& platform, const std::string& kind) {
    for (const auto& m : platform.messages)
        if (m.kind == kind) return true;
    return false;
}

// The last error carries the place: "<file>:<line>: ..." on a line of its own.
inline bool ErrorSaysWhere(const xRecordingPlatform& platform, const std::string& file) {
    for (auto m = platform.messages.rbegin(); m != platform.messages.rend(); ++m)
        if (m->kind == "error") return m->text.find(file + ":") != std::string::npos;
    return false;
}

}  // namespace fuzz

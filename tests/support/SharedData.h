#pragma once
// Where the public survey files live: TOVARN_SHARED_DATA when set, else
// shared/data beside the repository, whose root is found from TOVARN_TEST_DATA
// (set by CTest) or, when the suite is run by hand, from this file's place.
// The files are read where they are and never copied into the repository.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

inline std::filesystem::path SharedDataDir() {
    namespace fs = std::filesystem;
    if (const char* shared = std::getenv("TOVARN_SHARED_DATA"); shared && *shared) return shared;
    fs::path repo;
    if (const char* data = std::getenv("TOVARN_TEST_DATA"); data && *data) {
        fs::path tests = fs::path(data).lexically_normal();
        if (!tests.has_filename()) tests = tests.parent_path();
        repo = tests.parent_path().parent_path();
    } else {
        repo = fs::path(__FILE__).parent_path().parent_path().parent_path();  // tests/support/..
    }
    return (repo / ".." / "shared" / "data").lexically_normal();
}

inline std::string FirstLineOf(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// Use at the top of a test that needs a shared file.
#define SKIP_UNLESS_EXISTS(path)                                                   \
    do {                                                                           \
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "not found: " << path; \
    } while (0)

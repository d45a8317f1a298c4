#pragma once
// A folder of its own for each test, emptied away afterwards. CTest runs tests
// side by side, and two checkouts may run the same suite at once, so the name
// carries the suite, the test and the process.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class xTempFolderTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = std::filesystem::temp_directory_path() /
               (std::string("tovarn_") + info->test_suite_name() + "_" + info->name() + "_" +
                std::to_string(::getpid()));
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    // A file of these bytes in the folder.
    std::filesystem::path Put(const std::string& name, const std::string& bytes) const {
        std::ofstream(dir_ / name, std::ios::binary) << bytes;
        return dir_ / name;
    }
    static std::string Slurp(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    std::filesystem::path dir_;
};

// The same, with the folder as the current one while the test runs: files are
// named from it, as a user in the project's folder names them.
class xWorkFolderTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        home_ = std::filesystem::current_path();
        std::filesystem::current_path(dir_);
    }
    void TearDown() override {
        std::filesystem::current_path(home_);
        xTempFolderTest::TearDown();
    }

  private:
    std::filesystem::path home_;
};

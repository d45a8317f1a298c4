#pragma once
// The chain as a user runs it: the tovarn program of this build, run in a
// folder of the test's own (files are named relative to it: a project keeps
// file names of 99 characters at most), on projects left at their defaults
// but for what is given.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "../cli/TovarnProgram.h"
#include "TempFolder.h"

class xAcceptanceRun : public xWorkFolderTest {
  protected:
    // Runs tovarn; a failure is reported with what it printed. True on exit 0.
    bool Tovarn(const std::string& arguments) {
        const int code = RunTovarn(arguments, output_);
        EXPECT_EQ(code, 0) << "tovarn " << arguments << "\n" << output_;
        return code == 0;
    }
    // A new project (project.PAR) on the descriptor for the survey, with the
    // settings given (tovarn set arguments, may be empty), run through
    // 701..704; the CDI file. The survey is a file of the folder.
    std::filesystem::path RunChain(const std::filesystem::path& descriptor,
                                   const std::string& survey, const std::string& settings,
                                   const std::string& project = "S") {
        const std::string par = project + ".PAR";
        const bool done = Tovarn("new " + par + " --descriptor " + Quoted(descriptor)) &&
                          Tovarn("set " + par + " 701.Files=" + survey + " " + settings) &&
                          Tovarn("run " + par + " --only 701,702,703,704");
        return done ? dir_ / (project + ".CND") : std::filesystem::path();
    }
    // The path quoted for the shell.
    static std::string Quoted(const std::filesystem::path& path) {
        return "'" + path.string() + "'";
    }

    std::string output_;
};

// Replaces every {data} in text by the folder.
inline std::string WithDataFolder(std::string text, const std::filesystem::path& folder) {
    for (auto at = text.find("{data}"); at != std::string::npos; at = text.find("{data}"))
        text.replace(at, 6, folder.string());
    return text;
}

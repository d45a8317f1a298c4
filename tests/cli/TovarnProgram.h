#pragma once
// The tovarn program run as a user runs it, for the tests that check what it
// prints and the exit codes it answers.

#include <sys/wait.h>

#include <cstdio>
#include <string>

// Runs a shell command and answers its exit code, with what it printed on its
// standard output in output.
inline int RunShell(const std::string& command, std::string& output) {
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return -1;
    char buffer[4096];
    output.clear();
    while (std::size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs `tovarn arguments` through the shell (so redirections may follow) and
// answers its exit code, with what it printed in output: standard output, and
// standard error too when withErrors is set.
inline int RunTovarn(const std::string& arguments, std::string& output, bool withErrors = true) {
    return RunShell(
        std::string(TOVARN_BINARY) + " " + arguments + (withErrors ? " 2>&1" : " 2>/dev/null"),
        output);
}

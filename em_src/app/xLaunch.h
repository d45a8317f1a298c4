#pragma once
// Starting an external program (the descriptor editor, the dynamic command)
// without waiting for it.

#include <string>
#include <vector>

// Splits a command line at blanks, keeping "double quoted" parts whole.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);
// Starts the program found on the search path; answers 0 when it started,
// 2 when the program was not found, 3 when a directory on its path was not,
// and another error number otherwise.
int LaunchDetached(const std::string& commandLine);

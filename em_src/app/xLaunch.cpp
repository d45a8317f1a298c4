#include "xLaunch.h"

#include <spawn.h>

#include <cerrno>

extern char** environ;

std::vector<std::string> SplitCommandLine(const std::string& commandLine) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, inWord = false;
    for (char c : commandLine) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (c == ' ' && !quoted) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words.push_back(word);
    return words;
}

int LaunchDetached(const std::string& commandLine) {
    std::vector<std::string> words = SplitCommandLine(commandLine);
    if (words.empty()) return ENOENT;
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t child;
    int result = posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ);
    if (result == ENOTDIR) return 3;
    return result;
}

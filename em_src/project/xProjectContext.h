#pragma once
// What the whole program knows of the open project: its PAR file, its
// descriptor and the file the last process made. One global, set up by project
// selection and read by every process.

#include <filesystem>
#include <string>

struct xProjectContext {
    std::string projectName;           // the PAR file's name cut at its first dot
    std::filesystem::path projectDir;  // where the PAR file and every output live
    std::filesystem::path parFile;     // the PAR file itself
    std::string descriptorName;        // file name of the DSC, with its extension
    std::filesystem::path descriptorDir;
    std::string latestCreatedFile;  // shown as "Latest Created File"
    short autoFiles = 0;
    // A command that only looks at the project: its PAR file is opened for
    // reading and no file is made, changed or removed.
    bool readOnly = false;

    std::filesystem::path DescriptorPath() const { return descriptorDir / descriptorName; }
    // <project>.<extension> in the project directory.
    std::filesystem::path ProjectFile(const std::string& extension) const {
        return projectDir / (projectName + "." + extension);
    }
    // Takes the PAR file: its directory, and its name cut at the first dot.
    void SetParFile(const std::filesystem::path& file);
    void SetDescriptorPath(const std::filesystem::path& path);
};

xProjectContext& ProjectContext();

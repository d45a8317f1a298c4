#include "xProjectContext.h"

void xProjectContext::SetParFile(const std::filesystem::path& file) {
    parFile = file;
    projectDir = file.parent_path();
    if (projectDir.empty()) projectDir = ".";
    std::string name = file.filename().string();
    projectName = name.substr(0, name.find('.'));
}

void xProjectContext::SetDescriptorPath(const std::filesystem::path& path) {
    descriptorDir = path.parent_path();
    descriptorName = path.filename().string();
}

xProjectContext& ProjectContext() {
    static xProjectContext context;
    return context;
}

#include "ProjectParams.h"

#include <fstream>
#include <string>

#include "xParFile.h"
#include "xPlatform.h"
#include "xProcessTable.h"
#include "xProjectContext.h"
#include "xPrsCont.h"
#include "xShellApp.h"

namespace fs = std::filesystem;

namespace cli {

bool OpenParFile(const fs::path& parFile, bool readOnly) {
    if (!xShellApp::CheckParName(parFile)) return false;
    ProjectContext().SetParFile(parFile);
    ProjectContext().readOnly = readOnly;
    const auto mode = readOnly ? std::ios::in : std::ios::in | std::ios::out;
    std::fstream file(parFile, mode | std::ios::binary);
    par::Header header;
    if (file.is_open() && par::CheckHeader(file, header, readOnly)) {
        ProjectContext().SetDescriptorPath(header.descriptorPath);
        return true;
    }
    if (!readOnly) return true;  // the first Load replaces it
    if (!file.is_open()) {
        Platform().Error("xPrsCont:Problems in opening PAR file");
        return false;
    }
    Platform().Error(UnreadableHeader(parFile, header.fault));
    return false;
}

void NoProcessWithParams(int id) {
    std::string ids;
    for (const auto& info : ProcessTable())
        if (MakeParams(info.id)) ids += (ids.empty() ? "" : ", ") + std::to_string(info.id);
    Platform().Error("There is no process " + std::to_string(id) +
                     " with parameters. Processes with parameters: " + ids + ".");
}

}  // namespace cli

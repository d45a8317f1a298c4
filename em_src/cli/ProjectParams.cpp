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

bool OpenParFile(const fs::path& parFile) {
    if (!xShellApp::CheckParName(parFile)) return false;
    ProjectContext().SetParFile(parFile);
    std::fstream file(parFile, std::ios::in | std::ios::out | std::ios::binary);
    par::Header header;
    if (file.is_open() && par::CheckHeader(file, header))
        ProjectContext().SetDescriptorPath(header.descriptorPath);
    return true;
}

void NoProcessWithParams(int id) {
    std::string ids;
    for (const auto& info : ProcessTable())
        if (MakeParams(info.id)) ids += (ids.empty() ? "" : ", ") + std::to_string(info.id);
    Platform().Error("There is no process " + std::to_string(id) +
                     " with parameters. Processes with parameters: " + ids + ".");
}

}  // namespace cli

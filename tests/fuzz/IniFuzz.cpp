// Feeds arbitrary text as the configuration file. Whatever it held, the file
// written at the end must read back without a warning and with the same
// values.

#include <cstdint>

#include "FuzzSupport.h"
#include "xIniFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto& dir = fuzz::Dir("ini");
    fuzz::WriteFile(dir / xIniFile::FileName, data, size);
    std::vector<std::string> projects;
    {
        xRecordingPlatform platform;
        xIniFile ini(dir);
        projects = ini.GetRecentProjects();
        // The writer keeps nine: a tenth would not read back as "Project<digit>=".
        if (projects.size() > 9) projects.resize(9);
    }
    xRecordingPlatform platform;
    xIniFile again(dir);
    if (fuzz::Said(platform, "warning"))
        fuzz::Fail("IniFuzz", "the file written does not read back", platform);
    if (again.GetRecentProjects() != projects)
        fuzz::Fail("IniFuzz", "recent projects changed on the way back", platform);
    return 0;
}

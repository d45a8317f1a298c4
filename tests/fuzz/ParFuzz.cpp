// Feeds arbitrary bytes as a project's PAR file to the six parameter classes:
// each loads its section, saves it and loads it again. Whatever the bytes, a
// section that loaded must save, and the save must load back with the class's tag.

#include <cstdint>
#include <memory>
#include <vector>

#include "FuzzSupport.h"
#include "xAPCont.h"
#include "xCDIParams.h"
#include "xCnvParams.h"
#include "xFitParams.h"
#include "xInvParams.h"
#include "xProjectContext.h"
#include "xWavParams.h"

namespace {

std::vector<std::unique_ptr<xPrsCont>> AllParameters() {
    std::vector<std::unique_ptr<xPrsCont>> all;
    all.push_back(std::make_unique<xCnvParams>());
    all.push_back(std::make_unique<xWavParams>());
    all.push_back(std::make_unique<xFitParams>());
    all.push_back(std::make_unique<xAPCont>());
    all.push_back(std::make_unique<xCDIParams>());
    all.push_back(std::make_unique<xInvParams>());
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    const auto& dir = fuzz::Dir("par");
    const auto file = dir / "F.PAR";
    fuzz::WriteFile(file, data, size);
    ProjectContext() = xProjectContext{};
    ProjectContext().SetParFile(file);
    ProjectContext().SetDescriptorPath(dir / "F.DSC");
    for (const auto& parameters : AllParameters()) {
        if (parameters->Load() != 1) continue;
        if (parameters->Save() != 1)
            fuzz::Fail("ParFuzz", "a section that loaded does not save", platform);
        // A save writes the class's own tag over the one the file had.
        if (parameters->Load() != 1 || parameters->FileTag() != parameters->Tag())
            fuzz::Fail("ParFuzz", "a saved section does not load back", platform);
    }
    return 0;
}

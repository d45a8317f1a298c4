// Feeds arbitrary text to the basis file reader. A read that stops short must
// say where; a basis that reads must write a text that reads back, and must
// stand each scaling the deconvolution applies before it fits.

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "xAofTau.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    xAofTau basis("F.AOT");
    if (basis.ReadText(text) != 1) {
        if (basis.Where().find("F.AOT:") != 0 && !fuzz::Said(platform, "error"))
            fuzz::Fail("AotFuzz", "a refusal that does not say where", platform);
        return 0;
    }
    std::stringstream written;
    if (!basis.WriteText(written)) return 0;
    xAofTau again("W.AOT");
    if (again.ReadText(written) != 1)
        fuzz::Fail("AotFuzz", "a basis that does not read back", platform);
    if (again.Components() != basis.Components())
        fuzz::Fail("AotFuzz", "components lost on the way back", platform);
    for (int mode = xNormalizedAofTau::ByGlobalMax; mode <= xNormalizedAofTau::ByPrimaryField;
         ++mode) {
        xNormalizedAofTau scaled;
        scaled.CopyFrom(basis);
        scaled.NormalizeBasisFunctions(mode);
        for (long id : scaled.Components()) (void)scaled.PrimaryFactor(id);
    }
    return 0;
}

// Feeds arbitrary text to the descriptor reader. A refusal must be an error
// that names the line (or the note of an unsupported version); a descriptor that reads must write a
// text that reads back to the same components.

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "xEMDesc.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    xEMDesc desc;
    if (!desc.Read(text, "F.DSC")) {
        // A version the reader does not take is a note of the system's own.
        const bool versionNote = !fuzz::Said(platform, "error") && fuzz::Said(platform, "note");
        if (!versionNote && !fuzz::ErrorSaysWhere(platform, "F.DSC"))
            fuzz::Fail("DscFuzz", "a refusal that does not say where", platform);
        return 0;
    }
    std::stringstream written;
    desc.Write(written);
    xEMDesc again;
    if (!again.Read(written, "W.DSC"))
        fuzz::Fail("DscFuzz", "a descriptor that does not read back", platform);
    if (again.Components().size() != desc.Components().size())
        fuzz::Fail("DscFuzz", "components lost on the way back", platform);
    return 0;
}

// Feeds arbitrary text to the system-file reader and, when it parses, to the
// view of a system and the descriptor builder's time checks. Every refusal
// must come with an error.

#include <cstdint>
#include <string_view>

#include "FuzzSupport.h"
#include "xDescriptorBuilder.h"
#include "xStmFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    xStmFile file;
    if (!file.Parse(std::string_view(reinterpret_cast<const char*>(data), size), "F.stm")) {
        if (!fuzz::ErrorSaysWhere(platform, "F.stm"))
            fuzz::Fail("StmFuzz", "a refusal that does not say where", platform);
        return 0;
    }
    xStmSystem system;
    if (!system.Read(file)) {
        if (!fuzz::Said(platform, "error"))
            fuzz::Fail("StmFuzz", "a system refused without a message", platform);
        return 0;
    }
    double shift = 0.0;
    xDescriptorBuilder::HalfPeriodShift(system, shift);
    return 0;
}

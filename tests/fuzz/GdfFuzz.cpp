// Feeds arbitrary text to the column definitions: the first byte picks the
// form (even: ".dfn", odd: ".hdr"), the rest is the file. A refusal must be an
// error, and a definition that reads must give fields that fit one another.

#include <cstdint>
#include <string_view>

#include "FuzzSupport.h"
#include "xGdfDefinition.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    xRecordingPlatform platform;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    xGdfDefinition definition;
    const bool hdr = data[0] & 1;
    const bool ok = hdr ? definition.ParseHdr(text, "F.hdr") : definition.ParseDfn(text, "F.dfn");
    if (!ok) {
        if (!fuzz::Said(platform, "error"))
            fuzz::Fail("GdfFuzz", "a refusal without a message", platform);
        return 0;
    }
    long position = 0;
    for (const xGdfField& field : definition.Fields()) {
        if (field.position <= position)
            fuzz::Fail("GdfFuzz", "fields that do not follow one another", platform);
        position = field.LastPosition();
        if (definition.Find(field.name) == nullptr)
            fuzz::Fail("GdfFuzz", "a field not found by its own name", platform);
    }
    if (definition.ItemsPerRecord() != position)
        fuzz::Fail("GdfFuzz", "items per record are not the last field's end", platform);
    return 0;
}

// Feeds arbitrary bytes to the amplitude file reader and walks its lines. A
// header that reads must place every present component's primary items,
// amplitudes, backgrounds and reserved item inside the record.

#include "SurveyFileFuzz.h"
#include "xMAmp.h"
#include "xTRClasf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1L << 40;
    xMAmp amp;
    amp.SetPath(surveyfuzz::Put("in.AMP", data, size));
    if (!surveyfuzz::ReadHeader("AmpFuzz", amp, platform)) return 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (amp.ComponentFlags()[id] == 0) continue;
        const long front = amp.AmplitudeOffset(id) - amp.ItemsPerComponent();
        const long reserved = amp.BackgroundOffset(id) + amp.TauCount();
        if (front < amp.BaseItems() || reserved >= amp.RowLength())
            surveyfuzz::Fail("AmpFuzz", "amplitudes outside the record", platform);
    }
    try {
        surveyfuzz::Walk("AmpFuzz", amp, platform);
    } catch (const xFatalError&) {
    }
    return 0;
}

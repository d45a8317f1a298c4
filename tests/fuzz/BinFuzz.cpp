// Feeds arbitrary bytes to the survey file reader as a BIN file (an NDF file
// has the same form) and walks its lines. A header that reads must place
// every present component's channels inside the record.

#include "SurveyFileFuzz.h"
#include "xMData.h"
#include "xTRClasf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    xRecordingPlatform platform;
    platform.yieldLimit = 1L << 40;
    xMData bin;
    bin.SetPath(surveyfuzz::Put("in.BIN", data, size));
    if (!surveyfuzz::ReadHeader("BinFuzz", bin, platform)) return 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (bin.ComponentFlags()[id] == 0) continue;
        const long first = bin.ChannelOffset(id);
        if (first < bin.BaseItems() || first + bin.Channels()[id] > bin.RowLength())
            surveyfuzz::Fail("BinFuzz", "channels outside the record", platform);
    }
    try {
        surveyfuzz::Walk("BinFuzz", bin, platform);
    } catch (const xFatalError&) {
    }
    return 0;
}

// Feeds arbitrary text to the ASCII import and walks the survey file it wrote.
// The first byte picks the variant: bit 0 the Geosoft layout ("LINE n" headers
// instead of a line item), bit 1 the answer to a bad value ("Skip record" or
// "Skip all"), bits 2-3 the comment lines at the top. Whatever the text, the
// file must read back: its header's lines and records are those a line walk
// finds, every line has rows, and every line runs from its lower FID to its
// higher one.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "SmallSystem.h"
#include "xASCII2BinFactory.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xRecordChecker.h"

namespace fs = std::filesystem;

namespace {

// No person to ask: every question gets the fuzzer's answer, every message is
// dropped.
class SilentPlatform final : public xPlatform {
  public:
    int answer = 2;

    void Error(const std::string&) override {}
    void Warning(const std::string&) override {}
    void Note(const std::string&) override {}
    int Question(const std::string&, const std::vector<std::string>& captions) override {
        return answer < int(captions.size()) ? answer : int(captions.size()) - 1;
    }
    std::optional<fs::path> FileBox(const std::string&, const std::string&, bool) override {
        return std::nullopt;
    }
    void ProgressOpen(const std::string&) override {}
    void ProgressStatus(const std::string&) override {}
    void ProgressRange(long, long) override {}
    void ProgressAdvance(long) override {}
    void ProgressClose() override {}
    void Yield() override {}

  protected:
    void ShowFatal(const std::string&) override {}
};

// The import suites' system, in the plain or the Geosoft form.
xEMDesc FuzzSystem(bool geosoft, long commentLines) {
    xEMDesc d = SmallSystem();
    d.formatDesc.geosoftFormat = geosoft ? 1 : 0;
    d.formatDesc.commentLines = commentLines;
    if (geosoft) d.formatDesc.posLine = 0;
    return d;
}

[[noreturn]] void Fail(const char* what, double found, double expected) {
    std::fprintf(stderr, "ImportFuzz: %s: %g, expected %g\n", what, found, expected);
    std::abort();
}

const fs::path& Dir() {
    static const fs::path dir = [] {
        fs::path d = fs::temp_directory_path() / ("tovarn_fuzz_" + std::to_string(getpid()));
        fs::create_directories(d);
        return d;
    }();
    return dir;
}

SilentPlatform& Silent() {
    static SilentPlatform platform;
    static bool installed = (SetPlatform(&platform), true);
    (void)installed;
    return platform;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::uint8_t variant = data[0];
    SilentPlatform& platform = Silent();
    platform.answer = (variant & 2) ? 3 : 2;
    const xEMDesc system = FuzzSystem(variant & 1, (variant >> 2) & 3);

    const fs::path ascii = Dir() / "in.asc";
    const fs::path binPath = Dir() / "out.BIN";
    {
        std::ofstream out(ascii, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data + 1), std::streamsize(size - 1));
    }

    bool converted = false;
    try {
        xMData target;
        target.SetPath(binPath);
        target.SetOverwrite(true);
        if (target.Create() != 1) Fail("cannot create the survey file", 0, 1);
        xASCII2BinFactory engine(platform);
        engine.SetDescriptor(&system);
        engine.SetTarget(&target);
        engine.SetFiles({ascii});
        if (!engine.Ready()) Fail("engine not ready", 0, 1);
        xRecordChecker checker(Dir() / "out.err", engine.RecordLength(), xImportSettings(),
                               platform);
        engine.SetChecker(&checker);
        converted = engine.Convert();
        target.Commit();
    } catch (const xFatalError&) {
        // A fatal message ends a run as the system defines; nothing to read.
        return 0;
    }
    // Unknown line ends leave the header as reserved.
    if (!converted) return 0;

    xMData bin;
    bin.SetPath(binPath);
    if (bin.Open() != 1 || !bin.ReadHeader()) Fail("the survey file does not read back", 0, 1);
    bin.ResetLines();
    xMLine line(&bin);
    long lines = 0, records = 0;
    while (line.Next()) {
        ++lines;
        const long rows = line.Rows();
        if (rows < 1) Fail("a line without rows", rows, 1);
        if (line.Cols() != bin.RowLength())
            Fail("row length", double(line.Cols()), double(bin.RowLength()));
        const float first = line.Row(0)[0];
        const float last = line.Row(rows - 1)[0];
        if (first > last) Fail("a line runs from a higher FID to a lower", first, last);
        records += rows;
    }
    if (lines != bin.Lines()) Fail("lines walked against the header", lines, bin.Lines());
    if (records != bin.Records()) Fail("records walked against the header", records, bin.Records());
    return 0;
}

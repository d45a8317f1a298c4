// Feeds arbitrary bytes to the CDI file readers and, when a header reads, to
// the line walk and the reports. The first byte picks the variant: bit 0 the
// cross-component form (CRS) instead of the plain one (CND), bit 1 the force to
// the surface, bits 2-5 a third report by its SaveAscii code (10 + value % 9),
// bits 6-7 the sections of the user pattern (none asks the question). The rest
// of the input is the file.
//
// Whatever the bytes, a reader or report that says no must have told the
// person why, and a header that reads must lead to lines that read: every line
// the header counts is found and every one of its rows is read.
//
// TOVARN_CDI_SEEDS=<folder> writes the seeds of tests/fuzz/corpus/cdi there
// before the run starts.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "xCndReports.h"
#include "xMCond.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

// Larger headers are still read and walked, but their reports could run to
// gigabytes of text.
constexpr long kReportRecords = 10000;
constexpr long kReportDepths = 1000;

[[noreturn]] void Fail(const char* what, const xRecordingPlatform& platform) {
    std::fprintf(stderr, "CdiFuzz: %s\n", what);
    for (const auto& m : platform.messages)
        std::fprintf(stderr, "  %s: %s\n", m.kind.c_str(), m.text.c_str());
    std::abort();
}

const fs::path& Dir() {
    static const fs::path dir = [] {
        fs::path d = fs::temp_directory_path() / ("tovarn_cdi_fuzz_" + std::to_string(getpid()));
        fs::create_directories(d);
        return d;
    }();
    return dir;
}

bool Reported(const xRecordingPlatform& platform, std::size_t before) {
    for (std::size_t i = before; i < platform.messages.size(); ++i)
        if (platform.messages[i].kind == "error" || platform.messages[i].kind == "fatal")
            return true;
    return false;
}

// Runs one report; a refusal must come with its reason.
template <class Report>
void Check(const char* name, xRecordingPlatform& platform, Report report) {
    const std::size_t before = platform.messages.size();
    bool ok = false;
    try {
        ok = report();
    } catch (const xFatalError&) {
        return;  // shown as a fatal box: the reason is there
    }
    if (!ok && !Reported(platform, before)) Fail(name, platform);
}

// Seeds -------------------------------------------------------------------------

FloatArray Column(const std::vector<float>& values) {
    FloatArray a(0, long(values.size()) - 1);
    for (long i = 0; i < a.Length(); ++i) a[i] = values[std::size_t(i)];
    return a;
}

// A small file of the form: its lines hold records whose items are varied
// enough to reach NULLs, negative and positive fitted depths and zero
// conductivities.
template <class File>
bool WriteSeed(File& file, const fs::path& path, const std::vector<float>& depths,
               const std::vector<long>& components, std::int32_t layers, long lines, long rows) {
    file.SetPath(path);
    file.SetOverwrite(true);
    if (file.Create() != 1) return false;
    LongArray flags(100, 109);
    for (long id : components) flags[id] = 1;
    file.SetLayerCount(layers);
    file.Init(Column(depths), flags);
    file.SetFlight(3);
    file.SetNoiseLevel(0.25f);
    if (!file.WriteHeader()) return false;
    const long R = file.RowLength();
    for (long l = 0; l < lines; ++l) {
        xMLineWriter writer(file, std::int32_t(10 * (l + 1)));
        for (long r = 0; r < rows; ++r) {
            std::vector<float> row(std::size_t(R), 0.0f);
            row[0] = float(100 * (l + 1) + r);
            row[1] = 1000.0f + 10.0f * float(r);
            row[2] = 2000.0f + 100.0f * float(l);
            row[3] = 50.0f - float(r);
            row[4] = 120.0f;
            row[5] = 10.0f * float(r);
            row[xMCond::FitDepthItem] = r % 2 ? -3.0f : 4.0f;
            for (long i = file.SectionStart(0); i < R; ++i)
                row[std::size_t(i)] = (i + r) % 5 == 0 ? xMCond::NullValue : float(i % 7);
            writer.AddRow(row.data());
        }
        if (!writer.Finish()) return false;
    }
    if (!file.WriteHeader()) return false;
    file.Commit();
    return true;
}

bool PutSeed(const fs::path& dir, const std::string& name, std::uint8_t variant,
             const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ofstream out(dir / name, std::ios::binary | std::ios::trunc);
    out.put(char(variant));
    out.write(bytes.data(), std::streamsize(bytes.size()));
    return bool(out);
}

void WriteSeeds(const fs::path& dir) {
    xRecordingPlatform platform;
    fs::create_directories(dir);
    const fs::path scratch = Dir() / "seed";  // the file classes add .CND or .CRS
    bool ok = true;
    {
        xMCond cnd;
        ok = ok && WriteSeed(cnd, scratch, {0, 10, 20}, {109}, 0, 2, 2);
    }
    // Simple XYZ, depth grid and the user layout of every item, forced.
    ok = ok && PutSeed(dir, "cnd_two_lines", 0x02 | (0 << 2), scratch.string() + ".CND");
    {
        xMCond cnd;
        ok = ok && WriteSeed(cnd, scratch, {0, 5, 15, 30}, {101, 107, 109}, 2, 1, 3);
    }
    // Layers of three components; the GDF2 pair in all units.
    ok = ok && PutSeed(dir, "cnd_layers_gdf2", 0xC0 | (8 << 2), scratch.string() + ".CND");
    {
        xMCondCross crs;
        crs.SetConductivities(Column({1, 10, 100}));
        crs.Add(109);
        crs.Add(107);
        ok = ok && WriteSeed(crs, scratch, {0, 10, 20}, {107, 109}, 1, 1, 2);
    }
    // The database layout, a file a line.
    ok = ok && PutSeed(dir, "crs_one_line", 0x01 | (5 << 2), scratch.string() + ".CRS");
    if (!ok) Fail("the seeds could not be written", platform);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (const char* seeds = std::getenv("TOVARN_CDI_SEEDS")) WriteSeeds(seeds);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::uint8_t variant = data[0];
    const bool cross = variant & 1;
    const bool force = variant & 2;
    const int code = 10 + ((variant >> 2) & 15) % 9;
    const int sections = (variant >> 6) & 3;

    const fs::path out = Dir() / "out";
    fs::remove_all(out);
    fs::create_directories(out);
    const fs::path input = Dir() / (cross ? "in.CRS" : "in.CND");
    {
        std::ofstream file(input, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(data + 1), std::streamsize(size - 1));
    }

    xRecordingPlatform platform;
    platform.yieldLimit = 1L << 40;
    xMCond plain;
    xMCondCross crossFile;
    xMCond& cnd = cross ? crossFile : plain;
    cnd.SetPath(input);
    if (cnd.Open() != 1) Fail("the input file does not open", platform);
    if (!cnd.ReadHeader()) {
        if (!Reported(platform, 0)) Fail("a header refused without a message", platform);
        return 0;
    }

    // The walk the reports make, by hand: every line and row.
    try {
        xMLine line(&cnd);
        cnd.ResetLines();
        long lines = 0;
        while (line.Next()) {
            ++lines;
            for (long r = 0; r < line.Rows(); ++r) (void)line.Row(r);
        }
        if (lines < cnd.Lines() && !Reported(platform, 0))
            Fail("a line walk stopped short without a message", platform);
    } catch (const xFatalError&) {
    }

    if (cnd.Records() > kReportRecords || cnd.DepthCount() > kReportDepths) return 0;
    xCdiOutputOptions options;
    options.forceToSurface = force;
    options.sections = sections;
    options.units = 7;
    Check("simple XYZ refused without a message", platform,
          [&] { return cnd.DumpSimpleXYZ(out / "s.xyz", force); });
    Check("depth grid refused without a message", platform,
          [&] { return cnd.DumpDepthGrid(out / "grid.xyz", force); });
    Check("user pattern refused without a message", platform,
          [&] { return cnd.DumpUser(sections, out / "u.txt", force, "", platform); });
    options.out = out / ("code" + std::to_string(code) + ".DOC");
    Check("a report by code refused without a message", platform,
          [&] { return SaveCdiOutput(cnd, code, options, platform); });
    cnd.Commit();
    fs::remove_all(out);
    return 0;
}

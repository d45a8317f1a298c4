// The import, piece by piece: the scanner's float reading against a bare
// std::from_chars loop over the same text, the whole ASCII to BIN conversion of
// a generated survey in the GEOTEM example's layout, and a walk over every row
// of the BIN it wrote, line by line through the window.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <istream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "SurveyText.h"
#include "xASCII2BinFactory.h"
#include "xAsciiScanner.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLine.h"
#include "xPlatform.h"
#include "xRecordChecker.h"

namespace fs = std::filesystem;

namespace {

constexpr long kTextRecords = 20'000;   // about 12 MB of text held in memory
constexpr long kFileRecords = 200'000;  // about 120 MB on disk
constexpr long kFileLines = 40;

double PeakResidentMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

std::string SurveyString(long records, long lines) {
    std::string text;
    SurveyText survey(records, lines);
    survey.Write([&](const char* record, std::size_t length) { text.append(record, length); });
    return text;
}

const std::string& Text() {
    static const std::string text = SurveyString(kTextRecords, 4);
    return text;
}

// Reads a string in place, so that the copy of a string stream is not timed.
class MemoryBuffer : public std::streambuf {
  public:
    explicit MemoryBuffer(const std::string& text) {
        char* first = const_cast<char*>(text.data());
        setg(first, first, first + text.size());
    }
};

fs::path Dir() {
    static const fs::path dir = [] {
        fs::path d = fs::temp_directory_path() / "tovarn_bench_import";
        fs::create_directories(d);
        return d;
    }();
    return dir;
}

const fs::path& SurveyFile() {
    static const fs::path path = [] {
        const fs::path p = Dir() / "survey.asc";
        std::ofstream out(p, std::ios::binary);
        SurveyText survey(kFileRecords, kFileLines);
        survey.Write([&](const char* record, std::size_t length) {
            out.write(record, std::streamsize(length));
        });
        return p;
    }();
    return path;
}

const xEMDesc& Geotem() {
    static const xEMDesc descriptor = [] {
        xEMDesc d;
        if (!d.Read(fs::path(TOVARN_GEOTEM_DSC)))
            throw std::runtime_error("cannot read " TOVARN_GEOTEM_DSC);
        return d;
    }();
    return descriptor;
}

fs::path BinFile() {
    return Dir() / "survey.BIN";
}

// The conversion as process 701 runs it, record checker included.
bool Import(const fs::path& survey, const fs::path& bin) {
    xMData target;
    target.SetPath(bin);
    target.SetOverwrite(true);
    if (target.Create() != 1) return false;
    xASCII2BinFactory engine(Platform());
    engine.SetDescriptor(&Geotem());
    engine.SetTarget(&target);
    engine.SetFiles({survey});
    if (!engine.Ready()) return false;
    xRecordChecker checker(Dir() / "survey.err", engine.RecordLength(), xImportSettings(),
                           Platform());
    engine.SetChecker(&checker);
    return engine.Convert();
}

void BM_ScannerFloats(benchmark::State& state) {
    const std::string& text = Text();
    long floats = 0;
    for (auto _ : state) {
        MemoryBuffer buffer(text);
        std::istream in(&buffer);
        xAsciiScanner scanner(in);
        float value = 0.0f;
        floats = 0;
        while (scanner.ReadFloat(value) == xAsciiScanner::Status::Ok) {
            benchmark::DoNotOptimize(value);
            ++floats;
        }
    }
    if (floats != kTextRecords * SurveyText::Items) state.SkipWithError("floats missed");
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
    state.SetItemsProcessed(std::int64_t(state.iterations()) * floats);
}

// The ceiling: no buffer, no stream, no checks but the parse.
void BM_FromCharsFloats(benchmark::State& state) {
    const std::string& text = Text();
    long floats = 0;
    for (auto _ : state) {
        const char* p = text.data();
        const char* const end = p + text.size();
        floats = 0;
        for (;;) {
            while (p < end && xAsciiScanner::IsBlank(*p)) ++p;
            if (p == end) break;
            float value = 0.0f;
            const auto [stop, error] = std::from_chars(p, end, value);
            if (error != std::errc()) break;
            benchmark::DoNotOptimize(value);
            p = stop;
            ++floats;
        }
    }
    if (floats != kTextRecords * SurveyText::Items) state.SkipWithError("floats missed");
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
    state.SetItemsProcessed(std::int64_t(state.iterations()) * floats);
}

void BM_ImportSurvey(benchmark::State& state) {
    const fs::path& survey = SurveyFile();
    const auto bytes = std::int64_t(fs::file_size(survey));
    for (auto _ : state) {
        if (!Import(survey, BinFile())) {
            state.SkipWithError("import failed");
            return;
        }
    }
    xMData bin;
    bin.SetPath(BinFile());
    if (bin.Open() != 1 || !bin.ReadHeader() || bin.Records() != kFileRecords ||
        bin.Lines() != kFileLines)
        state.SkipWithError("the BIN does not hold the survey");
    state.SetBytesProcessed(std::int64_t(state.iterations()) * bytes);
    state.SetItemsProcessed(std::int64_t(state.iterations()) * kFileRecords);
    state.counters["peak_MiB"] = PeakResidentMiB();
    state.counters["ascii_MiB"] = double(bytes) / (1024.0 * 1024.0);
    state.counters["bin_MiB"] = double(fs::file_size(BinFile())) / (1024.0 * 1024.0);
}

void BM_WalkLines(benchmark::State& state) {
    if (!fs::exists(BinFile()) && !Import(SurveyFile(), BinFile())) {
        state.SkipWithError("import failed");
        return;
    }
    long rows = 0;
    for (auto _ : state) {
        xMData bin;
        bin.SetPath(BinFile());
        if (bin.Open() != 1 || !bin.ReadHeader()) {
            state.SkipWithError("cannot open the BIN");
            return;
        }
        bin.ResetLines();
        xMLine line(&bin);
        double sum = 0;
        rows = 0;
        while (line.Next()) {
            for (long r = 0; r < line.Rows(); ++r) sum += line.Row(r)[0];
            rows += line.Rows();
        }
        benchmark::DoNotOptimize(sum);
    }
    if (rows != kFileRecords) state.SkipWithError("rows missed");
    state.SetItemsProcessed(std::int64_t(state.iterations()) * rows);
    state.counters["peak_MiB"] = PeakResidentMiB();
}

}  // namespace

BENCHMARK(BM_ScannerFloats)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FromCharsFloats)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportSurvey)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkLines)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);

// The generated survey and its BIN (about 150 MB) go with the run.
int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ec;
    fs::remove_all(fs::temp_directory_path() / "tovarn_bench_import", ec);
    return 0;
}

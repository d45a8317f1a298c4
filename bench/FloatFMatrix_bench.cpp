// Walks a file-backed matrix of 1,000,000 rows x 50 floats (200 MB) through a
// window of 100 rows, the way survey lines are walked, and reports rows per
// second and the peak resident memory of the process, which must stay far below
// the file's size.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <filesystem>

#include "FloatFMatrix.h"

namespace {

constexpr long kCols = 50;
constexpr long kWindow = 100;

double PeakResidentMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

std::filesystem::path BenchFile() {
    return std::filesystem::temp_directory_path() / "tovarn_bench_ffm.bin";
}

void ReportRows(benchmark::State& state, long rows) {
    state.counters["rows/s"] =
        benchmark::Counter(double(rows), benchmark::Counter::kIsIterationInvariantRate);
    state.counters["peak_MiB"] = PeakResidentMiB();
    state.counters["file_MiB"] = double(rows * kCols * 4) / (1024.0 * 1024.0);
}

void BM_WriteRows(benchmark::State& state) {
    const long rows = state.range(0);
    for (auto _ : state) {
        FloatFMatrix m(BenchFile());
        m.Init(0, kWindow, rows, kCols);
        for (long r = 0; r < rows; ++r) {
            FloatArray& row = m[r];
            for (long c = 0; c < kCols; ++c) row[c] = float(r + c);
        }
        m.Flush();
    }
    ReportRows(state, rows);
}

void BM_WalkRows(benchmark::State& state) {
    const long rows = state.range(0);
    {
        FloatFMatrix m(BenchFile());
        m.Init(0, kWindow, rows, kCols);
        m.Fill(1.0f);
    }
    for (auto _ : state) {
        FloatFMatrix m(BenchFile());
        m.Init(0, kWindow);
        const FloatFMatrix& reader = m;
        double sum = 0;
        for (long r = 0; r < rows; ++r) sum += reader[r][kCols - 1];
        benchmark::DoNotOptimize(sum);
    }
    ReportRows(state, rows);
    std::filesystem::remove(BenchFile());
}

}  // namespace

BENCHMARK(BM_WriteRows)
    ->Arg(1'000'000)
    ->Iterations(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkRows)->Arg(1'000'000)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

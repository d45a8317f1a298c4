// Drawing figures of long lines: a CDI section of 100,000 records, read through
// a window of rows, decimated to the figure's columns and drawn to a PNG.

#include <benchmark/benchmark.h>
#include <qcustomplot.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "xFigureFile.h"
#include "xMCond.h"
#include "xMLineBlock.h"
#include "xSectionFigure.h"
#include "xSectionGrid.h"

namespace fs = std::filesystem;

namespace {

constexpr long kRecords = 100000;
constexpr long kDepths = 51;

// One line of kRecords at 5 m spacing over 51 depths to 500 m, a conductor
// that rises and falls along the line.
fs::path MakeCnd() {
    const fs::path path = fs::temp_directory_path() / "tovarn_bench_section.CND";
    xMCond cnd;
    cnd.SetPath(path);
    cnd.SetOverwrite(true);
    cnd.Create();
    FloatArray depths(0, kDepths - 1);
    for (long d = 0; d < kDepths; ++d) depths[d] = 10.0f * float(d);
    LongArray flags(100, 109);
    flags[109] = 1;
    cnd.Init(depths, flags);
    cnd.WriteHeader();
    {
        xMLineWriter writer(cnd, 1);
        std::vector<float> row(std::size_t(cnd.RowLength()), 0.0f);
        for (long r = 0; r < kRecords; ++r) {
            row[0] = float(r);
            row[5] = 5.0f * float(r);
            row[3] = 300.0f + 20.0f * std::sin(float(r) * 1e-3f);
            row[4] = row[3] + 120.0f;
            row[xMCond::PenetrationItem] = -300.0f;
            const float top = 100.0f + 80.0f * std::sin(float(r) * 3e-4f);
            for (long s = 0; s < 2; ++s)
                for (long d = 0; d < kDepths; ++d)
                    row[std::size_t(cnd.SectionStart(s) + d)] =
                        std::abs(10.0f * float(d) - top) < 30.0f ? 300.0f : 3.0f;
            writer.AddRow(row.data());
        }
        writer.Finish();
    }
    cnd.WriteHeader();
    cnd.Commit();
    return path;
}

void BM_SectionOf100kRecordsToPng(benchmark::State& state) {
    EnsureFigureApplication();
    static const fs::path path = MakeCnd();
    QCustomPlot plot;
    for (auto _ : state) {
        xMCond cnd;
        cnd.SetPath(path);
        cnd.Open();
        cnd.ReadHeader();
        xSectionRequest request;
        request.line = 1;
        xSectionGrid grid;
        std::string error;
        ReadSectionGrid(cnd, request, grid, error);
        DrawSection(plot, grid, xSectionLook{});
        benchmark::DoNotOptimize(RenderFigure(plot, QSize(1200, 800), xFigureFormat::Png));
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_SectionOf100kRecordsToPng)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

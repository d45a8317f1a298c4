// One component of one record through the CDI mathematics, the inner loop of
// a CDI pass: the decay rebuilt on the time grid from the amplitudes, the
// limits, the fitted depth and the conductance column, then the discrete and
// layered sections of that column. GEOTEM's TzRz lookups, 12 taus from 5e-6 to
// 0.1 s as the basis chooses them, 31 depths of 10 m.

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "xCndMath.h"
#include "xEMDesc.h"

namespace {

constexpr long kComponent = 109;
constexpr long kTaus = 12;

xCndMath& GeotemMath() {
    static xCndMath* math = [] {
        xEMDesc descriptor;
        if (!descriptor.Read(std::filesystem::path(TOVARN_EXAMPLES "/geotem-gsq823/GEOTEM.DSC")))
            throw std::runtime_error("cannot read the GEOTEM descriptor");
        std::vector<float> taus;
        for (long j = 0; j < kTaus; ++j)
            taus.push_back(float(5.12e-6 * std::pow(0.1 / 5.12e-6, double(j) / (kTaus - 1))));
        auto* m = new xCndMath(taus, 1, kTaus);
        m->BuildLookups(1, 800, descriptor);
        m->BuildDerivatives(1, 800);
        m->DefineTimes();
        std::vector<float> depths;
        for (int d = 0; d <= 30; ++d) depths.push_back(10.0f * float(d));
        m->SetDepths(depths);
        std::vector<float> conductivities;
        for (int i = 0; i < 250; ++i)
            conductivities.push_back(std::pow(10.0f, 3.0f * float(i) / 249));
        m->SetConductivities(conductivities);
        m->SetSystemSpan(0.02f);
        return m;
    }();
    return *math;
}

// A smooth positive spectrum, most of it at the middle taus, as a conductive
// earth seen from 75 m gives.
xCndRecord Record() {
    xCndRecord record;
    for (long j = 0; j < kTaus; ++j)
        record.amps.push_back(float(0.03 * std::exp(-0.5 * std::pow((j - 5.0) / 2.5, 2.0))));
    record.height = 75.0f;
    return record;
}

void BM_ComponentRecord(benchmark::State& state) {
    xCndMath& m = GeotemMath();
    const xCndRecord record = Record();
    std::vector<float> discrete, layered;
    for (auto _ : state) {
        xCndRecord r = record;
        m.ZeroColumns();
        benchmark::DoNotOptimize(m.ComponentRecord(r, kComponent));
        const auto& column = m.CondColumn(kComponent);
        const std::vector<float> copy(column.begin(), column.end());
        m.DiscreteColumn(copy, discrete);
        m.LayeredColumn(copy, layered);
        benchmark::DoNotOptimize(layered.data());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ComponentRecord);

}  // namespace

BENCHMARK_MAIN();

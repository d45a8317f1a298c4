// Soundings of the layered-earth model: the earth's step-off response alone,
// and whole soundings as systems sample it.

#include <benchmark/benchmark.h>

#include <cmath>

#include "LayeredEarth.h"
#include "xEMDesc.h"
#include "xSystemResponse.h"

namespace {

const xLayeredEarth kThreeLayers{{0.01, 0.1, 0.001}, {30.0, 50.0}};

xEMDesc Example(const char* path) {
    xEMDesc d;
    d.Read(std::filesystem::path(path));
    return d;
}

// The GEOTEM example cut to its Z component with 20 windows spread over the
// same off-time.
xEMDesc TwentyWindows() {
    xEMDesc d = Example(TOVARN_EXAMPLES "/geotem-gsq823/GEOTEM.DSC");
    d.Components().erase(107);
    auto& wave = d.Components()[109].wave;
    wave.windows.Resize(0, 19, 0, 1);
    wave.weights.Resize(0, 19);
    for (long w = 0; w < 20; ++w) {
        wave.windows[w][0] = float(4381.3 * std::pow(15742.0 / 4381.3, w / 20.0));
        wave.windows[w][1] = float(4381.3 * std::pow(15742.0 / 4381.3, (w + 1) / 20.0));
        wave.weights[w] = 1.0f;
    }
    return d;
}

void BM_StepOffThreeLayers(benchmark::State& state) {
    std::vector<double> times;
    for (double t = 1e-7; t < 0.3; t *= std::pow(10.0, 0.1)) times.push_back(t);
    const xDipoleGeometry geometry{120.0, -120.0, 0.0, -45.0};
    for (auto _ : state) benchmark::DoNotOptimize(StepOffResponse(kThreeLayers, geometry, times));
    state.SetItemsProcessed(state.iterations());
    state.counters["times"] = double(times.size());
}
BENCHMARK(BM_StepOffThreeLayers)->Unit(benchmark::kMillisecond);

void Soundings(benchmark::State& state, const xEMDesc& system) {
    xSystemResponse response;
    if (!response.SetSystem(system)) {
        state.SkipWithError(response.Problem().c_str());
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(response.Sounding(kThreeLayers, 120.0));
    state.SetItemsProcessed(state.iterations());
}

void BM_SoundingTwentyWindows(benchmark::State& state) {
    Soundings(state, TwentyWindows());
}
BENCHMARK(BM_SoundingTwentyWindows)->Unit(benchmark::kMillisecond);

void BM_SoundingGeotemXZ(benchmark::State& state) {
    Soundings(state, Example(TOVARN_EXAMPLES "/geotem-gsq823/GEOTEM.DSC"));
}
BENCHMARK(BM_SoundingGeotemXZ)->Unit(benchmark::kMillisecond);

void BM_SoundingTempestXZ(benchmark::State& state) {
    Soundings(state, Example(TOVARN_EXAMPLES "/tempest-ausaem2020/TEMPEST.DSC"));
}
BENCHMARK(BM_SoundingTempestXZ)->Unit(benchmark::kMillisecond);

// The coplanar pairs alone: a coaxial transmitter is not modelled.
void BM_SoundingResolveFiveFrequencies(benchmark::State& state) {
    xEMDesc resolve = Example(TOVARN_EXAMPLES "/resolve-bookpurnong/RESOLVE.DSC");
    resolve.Components().erase(101);
    Soundings(state, resolve);
}
BENCHMARK(BM_SoundingResolveFiveFrequencies)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

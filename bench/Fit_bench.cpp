// Component fits per second of each fitter: on the normalised bases of the
// bundled time-domain examples (12 taus, chosen automatically) and on a plain
// decay basis of 20 channels and 12 taus, the size the deconvolution's target
// of 100,000 PLS fits a second per core is stated for. The design is built
// once, as the deconvolution does when the weights do not depend on the data;
// every iteration sets one record and solves it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "xAofTau.h"
#include "xEMDesc.h"
#include "xL1MinErrFit.h"
#include "xL1PosFit.h"
#include "xPLSFit.h"
#include "xPlatform.h"
#include "xSVDFit.h"
#include "xWaveBasisTD.h"

namespace {

constexpr long kComponent = 109;
constexpr std::size_t kRecords = 256;  // a power of two: the pool is cycled with a mask

// One component's normalised basis (rows taus, columns channels) and the
// records fitted with it.
struct xFitCase {
    FloatMatrix basis;
    std::vector<FloatArray> records;
};

// The basis as process 702 builds it and the deconvolution normalises it:
// automatic tau selection, 12 taus, scaled by the largest amplitude.
FloatMatrix ExampleBasis(const char* descriptorPath) {
    xEMDesc descriptor;
    if (!descriptor.Read(std::filesystem::path(descriptorPath)))
        throw std::runtime_error(std::string("cannot read ") + descriptorPath);
    xBasisSettings settings;
    settings.numberOfTaus = 12;
    settings.automaticSelection = true;
    auto builder = MakeBasisBuilder(descriptor, settings, Platform());
    builder->Build(kComponent);

    xAofTau raw;
    raw.SetTaus(builder->Taus());
    raw.SetWindows(kComponent, builder->Windows());
    raw.SetAmplitudes(kComponent, builder->Amplitudes());
    raw.SetPrimary(kComponent, builder->Primary());
    xNormalizedAofTau normalized;
    normalized.CopyFrom(raw);
    normalized.NormalizeBasisFunctions(xNormalizedAofTau::ByGlobalMax);
    return *normalized.Amplitudes(kComponent);
}

// exp(-t / tau) at channels times from 1e-5 to 1e-2 s and taus from 1e-5 to
// 1e-2 s, both spaced evenly in log.
FloatMatrix DecayBasis(long taus, long channels) {
    FloatMatrix basis(1, taus, 1, channels);
    for (long t = 1; t <= taus; ++t) {
        const double tau = 1e-5 * std::pow(1e3, double(t - 1) / double(taus - 1));
        for (long c = 1; c <= channels; ++c) {
            const double time = 1e-5 * std::pow(1e3, double(c - 1) / double(channels - 1));
            basis[t][c] = float(std::exp(-time / tau));
        }
    }
    return basis;
}

// Positive combinations of the basis rows with 2 % Gaussian noise on each
// channel, each record divided by its largest magnitude.
std::vector<FloatArray> Records(const FloatMatrix& basis) {
    std::mt19937 rng(20261122);
    std::uniform_real_distribution<float> amplitude(0.0f, 1.0f);
    std::normal_distribution<float> noise(0.0f, 0.02f);
    const long taus = basis.Rows(), channels = basis.Cols();
    std::vector<FloatArray> records;
    records.reserve(kRecords);
    for (std::size_t i = 0; i < kRecords; ++i) {
        FloatArray data(1, channels);
        for (long t = 1; t <= taus; ++t) {
            const float a = amplitude(rng);
            for (long c = 1; c <= channels; ++c) data[c] += a * basis[basis.RowLow() + t - 1][c];
        }
        float largest = 0.0f;
        for (long c = 1; c <= channels; ++c) {
            data[c] *= 1.0f + noise(rng);
            largest = std::max(largest, std::fabs(data[c]));
        }
        if (largest > 0.0f) data /= largest;
        records.push_back(std::move(data));
    }
    return records;
}

xFitCase MakeCase(FloatMatrix basis) {
    xFitCase fitCase;
    fitCase.records = Records(basis);
    fitCase.basis = std::move(basis);
    return fitCase;
}

const xFitCase& Geotem() {
    static const xFitCase fitCase =
        MakeCase(ExampleBasis(TOVARN_EXAMPLES "/geotem-gsq823/GEOTEM.DSC"));
    return fitCase;
}

const xFitCase& Tempest() {
    static const xFitCase fitCase =
        MakeCase(ExampleBasis(TOVARN_EXAMPLES "/tempest-ausaem2020/TEMPEST.DSC"));
    return fitCase;
}

const xFitCase& Decay() {
    static const xFitCase fitCase = MakeCase(DecayBasis(12, 20));
    return fitCase;
}

// The deconvolution's defaults: tolerance 1e-4, smoothing 0.2 squared, no
// power law, no force to surface, no minimum length, weights 1.
template <class Fitter>
void Fits(benchmark::State& state, const xFitCase& (*which)()) {
    const xFitCase* fitCase = nullptr;
    try {
        fitCase = &which();
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    const FloatMatrix& basis = fitCase->basis;
    FloatArray weights(1, basis.Cols());
    weights += 1.0f;
    Fitter fitter;
    fitter.SetTolerance(1e-4f);
    fitter.SetConditioning(0.04f, 1.0f, 0.0f, 0.0f);
    fitter.SetBasisAndWeights(basis, weights);
    fitter.BuildDesign();
    FloatArray x(1, fitter.Cols());
    std::size_t i = 0;
    for (auto _ : state) {
        fitter.SetData(fitCase->records[i++ & (kRecords - 1)]);
        fitter.Solve(x);
        benchmark::DoNotOptimize(x[1]);
    }
    state.SetItemsProcessed(state.iterations());
    // The last record's mean misfit per channel, so that a fitter that stops
    // early and answers zeros shows.
    const FloatArray& data = fitCase->records[(i - 1) & (kRecords - 1)];
    double misfit = 0.0;
    for (long c = 1; c <= basis.Cols(); ++c) {
        double model = 0.0;
        for (long t = 1; t <= basis.Rows(); ++t) model += x[t] * basis[basis.RowLow() + t - 1][c];
        misfit += std::fabs(model - data[c]);
    }
    state.counters["misfit"] = misfit / double(basis.Cols());
    state.counters["taus"] = double(basis.Rows());
    state.counters["channels"] = double(basis.Cols());
    state.counters["rows"] = double(fitter.Rows());
}

void BM_PLS(benchmark::State& state, const xFitCase& (*which)()) {
    Fits<xPLSFit>(state, which);
}
void BM_SVD(benchmark::State& state, const xFitCase& (*which)()) {
    Fits<xSVDFit>(state, which);
}
void BM_L1MinErr(benchmark::State& state, const xFitCase& (*which)()) {
    Fits<xL1MinErrFit>(state, which);
}
void BM_L1Pos(benchmark::State& state, const xFitCase& (*which)()) {
    Fits<xL1PosFit>(state, which);
}

BENCHMARK_CAPTURE(BM_PLS, Geotem109, &Geotem);
BENCHMARK_CAPTURE(BM_PLS, Tempest109, &Tempest);
BENCHMARK_CAPTURE(BM_PLS, Decay20x12, &Decay);
BENCHMARK_CAPTURE(BM_SVD, Geotem109, &Geotem);
BENCHMARK_CAPTURE(BM_SVD, Tempest109, &Tempest);
BENCHMARK_CAPTURE(BM_SVD, Decay20x12, &Decay);
BENCHMARK_CAPTURE(BM_L1MinErr, Geotem109, &Geotem);
BENCHMARK_CAPTURE(BM_L1MinErr, Tempest109, &Tempest);
BENCHMARK_CAPTURE(BM_L1MinErr, Decay20x12, &Decay);
BENCHMARK_CAPTURE(BM_L1Pos, Geotem109, &Geotem);
BENCHMARK_CAPTURE(BM_L1Pos, Tempest109, &Tempest);
BENCHMARK_CAPTURE(BM_L1Pos, Decay20x12, &Decay);

}  // namespace

BENCHMARK_MAIN();

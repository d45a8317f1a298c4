#include "xFitFactory.h"

#include <gtest/gtest.h>

#include <cmath>

#include "FitTestSupport.h"
#include "xAofTau.h"
#include "xEMDesc.h"
#include "xMAmp.h"
#include "xMLineBlock.h"
#include "xRecordingPlatform.h"

namespace {

constexpr long Taus = 4, Channels = 10;

// A survey file layout of TzRz alone, with this many channels.
void InitTzRzSurvey(xMData& bin, long channelCount) {
    LongArray channels(100, 109), flags(100, 109);
    for (long id = 100; id <= 109; ++id) channels[id] = flags[id] = 0;
    channels[109] = channelCount;
    flags[109] = 1;
    bin.InitFromDescriptor(channels, flags, 0);
}

// A TzRz system of ten windows whose basis is four decays.
struct Deconvolution {
    xEMDesc system;
    xAofTau basis;

    Deconvolution() {
        xEMCompDesc z;
        z.id = 109;
        z.wave.windows.Resize(0, Channels - 1, 0, 1);
        z.wave.weights.Resize(0, Channels - 1);
        for (long r = 0; r < Channels; ++r) {
            z.wave.windows[r][0] = float(r + 1);
            z.wave.windows[r][1] = float(r + 2);
            z.wave.weights[r] = 1.0f;
        }
        system.Components().clear();
        system.Components()[109] = z;
        FloatArray taus(1, Taus);
        for (long t = 1; t <= Taus; ++t) taus[t] = 0.05f * float(1 << (t - 1));
        FloatMatrix windows(0, 1, 1, Channels);
        for (long c = 1; c <= Channels; ++c) windows[0][c] = windows[1][c] = float(c);
        FloatArray primary(1, Channels);
        for (long c = 1; c <= Channels; ++c) primary[c] = 1.0f;
        basis.SetTaus(taus);
        basis.SetWindows(109, windows);
        basis.SetAmplitudes(109, fittest::DecayBasis(Taus, Channels));
        basis.SetPrimary(109, primary);
    }

    // Records made exactly from the basis with the amplitudes given (one set a
    // record), deconvolved one by one; the amplitude records.
    // Channels listed in missing (one list a record, from 1) hold the blank.
    std::vector<std::vector<float>> Run(const std::vector<std::vector<float>>& amplitudes,
                                        int normalization,
                                        const std::vector<std::vector<long>>& missing = {}) {
        const FloatMatrix decays = fittest::DecayBasis(Taus, Channels);
        xMData bin;
        InitTzRzSurvey(bin, Channels);
        xMAmp amp;
        amp.InitFromData(bin, basis.Taus(), 0);
        xFitSettings settings;
        settings.normalization = normalization;
        settings.threshold = 1e-7f;
        xFitFactory engine(system);
        engine.Configure(settings, basis, platform);
        engine.SetLayouts(bin, amp);
        std::vector<std::vector<float>> rows;
        std::vector<float> in(std::size_t(bin.RowLength()), 0.0f);
        for (std::size_t k = 0; k < amplitudes.size(); ++k) {
            in[0] = float(100 + k);
            for (long c = 1; c <= Channels; ++c) {
                double value = 0.0;
                for (long t = 1; t <= Taus; ++t)
                    value += amplitudes[k][std::size_t(t - 1)] * decays[t][c];
                in[std::size_t(bin.ChannelOffset(109) + c - 1)] = float(value);
            }
            if (k < missing.size())
                for (long c : missing[k])
                    in[std::size_t(bin.ChannelOffset(109) + c - 1)] = BlankValue;
            rows.emplace_back(std::size_t(amp.RowLength()), 0.0f);
            engine.FitRecord(in.data(), rows.back().data());
            EXPECT_EQ(engine.Fits().size(), 1u);
            fits.push_back(engine.Fits());
        }
        EXPECT_EQ(engine.RecordsFitted(), long(amplitudes.size()));
        return rows;
    }

    xRecordingPlatform platform;
    std::vector<std::vector<xComponentFit>> fits;  // per record
};

}  // namespace

TEST(FitFactory, ExactDataGiveTheirAmplitudesBackWithTheirSign) {
    Deconvolution run;
    const std::vector<std::vector<float>> amplitudes = {
        {3.0f, 0.5f, 1.0f, 0.25f}, {-2.0f, -1.0f, -0.5f, -4.0f}, {0, 0, 0, 0}};
    for (int normalization : {1, 2, 3}) {
        SCOPED_TRACE(normalization);
        run.fits.clear();
        const auto rows = run.Run(amplitudes, normalization);
        ASSERT_EQ(rows.size(), 3u);
        const long S = 9;  // the first amplitude of the first component
        for (std::size_t k = 0; k < 3; ++k) {
            // Normalisation 3 forces the sign to +1: negative data give back
            // positive amplitudes.
            const float sign = normalization == 3 && k == 1 ? -1.0f : 1.0f;
            for (long t = 0; t < Taus; ++t)
                EXPECT_NEAR(rows[k][std::size_t(S + t)], sign * amplitudes[k][std::size_t(t)],
                            2e-3 * 4.0)
                    << "record " << k << " tau " << t;
        }
        // The misfit compares the fit, with the data's sign, with the data as
        // they came: near zero for decays of either sign.
        EXPECT_LT(rows[0][xMAmp::ErrorItem], 1e-4);
        EXPECT_EQ(rows[2][xMAmp::ErrorItem], 0.0f);
        EXPECT_LT(rows[1][xMAmp::ErrorItem], 1e-4);
        const xComponentFit& negative = run.fits[1].front();
        for (long c = 1; c <= Channels; ++c) {
            EXPECT_LT(negative.data[c], 0.0f) << c;
            EXPECT_NEAR(negative.fit[c], negative.data[c], 1e-4) << c;
        }
        EXPECT_EQ(rows[0][0], 100.0f);
    }
    EXPECT_TRUE(run.platform.messages.empty());
}

// Windows holding the blank are left out of the fit and of the normalisation:
// the other windows give the amplitudes back, the misfit counts only measured
// windows, and the next record without gaps is fitted on all its windows.
TEST(FitFactory, MissingWindowsAreLeftOutOfTheirRecord) {
    Deconvolution run;
    const std::vector<float> truth = {3.0f, 0.5f, 1.0f, 0.25f};
    for (int normalization : {1, 2}) {
        SCOPED_TRACE(normalization);
        run.fits.clear();
        // The first window missing is the one Normalization 2 divides by.
        const auto rows = run.Run({truth, truth, truth}, normalization, {{1, 6}, {}, {10}});
        const long S = 9;
        for (std::size_t k = 0; k < rows.size(); ++k) {
            for (long t = 0; t < Taus; ++t)
                EXPECT_NEAR(rows[k][std::size_t(S + t)], truth[std::size_t(t)], 2e-3 * 4.0)
                    << "record " << k << " tau " << t;
            EXPECT_LT(rows[k][xMAmp::ErrorItem], 1e-4) << "record " << k;
        }
        const xComponentFit& gaps = run.fits[0].front();
        for (long c : {1L, 6L}) {
            EXPECT_EQ(gaps.data[c], BlankValue);
            EXPECT_EQ(gaps.residuals[c], BlankValue);
            EXPECT_GT(gaps.fit[c], 0.0f);  // the model is still shown there
        }
        EXPECT_NE(run.fits[1].front().data[1], BlankValue);
    }
}

// A basis made for other windows than the survey file's channels, or whose
// primary field is shorter than its windows when the primary is fitted, is
// named before any record is read past its channels.
TEST(FitFactory, ABasisOfOtherWindowsIsRefused) {
    Deconvolution run;
    xFitSettings settings;
    xFitFactory engine(run.system);
    engine.Configure(settings, run.basis, run.platform);
    xMData bin;
    InitTzRzSurvey(bin, Channels);
    EXPECT_EQ(engine.BasisMismatch(bin), "");
    xMData shorter;
    InitTzRzSurvey(shorter, Channels - 1);
    EXPECT_EQ(engine.BasisMismatch(shorter),
              "the basis has 10 windows of TzRz, the survey file 9 channels");

    run.basis.SetPrimary(109, FloatArray(1, 5));
    settings.primaryFit = true;
    xFitFactory primaryFitted(run.system);
    primaryFitted.Configure(settings, run.basis, run.platform);
    EXPECT_EQ(primaryFitted.BasisMismatch(bin),
              "the basis has a primary field of 5 values for the 10 windows of TzRz");
}

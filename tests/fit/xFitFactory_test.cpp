#include "xFitFactory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "FitTestSupport.h"
#include "xAofTau.h"
#include "xEMDesc.h"
#include "xMAmp.h"
#include "xMLine.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

constexpr long Taus = 4, Channels = 10;

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

    // One BIN line of records made exactly from the basis with the amplitudes
    // given (one set a record), deconvolved into an AMP file; the AMP rows.
    std::vector<std::vector<float>> Run(const fs::path& dir,
                                        const std::vector<std::vector<float>>& amplitudes,
                                        int normalization) {
        const FloatMatrix decays = fittest::DecayBasis(Taus, Channels);
        xMData bin;
        bin.SetPath(dir / "F.BIN");
        bin.SetOverwrite(true);
        EXPECT_EQ(bin.Create(), 1);
        LongArray channels(100, 109), flags(100, 109);
        for (long id = 100; id <= 109; ++id) channels[id] = flags[id] = 0;
        channels[109] = Channels;
        flags[109] = 1;
        bin.InitFromDescriptor(channels, flags, 0);
        bin.WriteHeader();
        {
            xMLineWriter writer(bin, 7);
            FloatArray record(0, bin.RowLength() - 1);
            record *= 0.0f;
            for (std::size_t k = 0; k < amplitudes.size(); ++k) {
                record[0] = float(100 + k);
                for (long c = 1; c <= Channels; ++c) {
                    double value = 0.0;
                    for (long t = 1; t <= Taus; ++t)
                        value += amplitudes[k][std::size_t(t - 1)] * decays[t][c];
                    record[bin.ChannelOffset(109) + c - 1] = float(value);
                }
                writer.AddRow(record);
            }
            writer.Finish();
        }
        bin.WriteHeader();
        xMAmp amp;
        amp.SetPath(dir / "F.AMP");
        amp.SetOverwrite(true);
        EXPECT_EQ(amp.Create(), 1);
        amp.InitFromData(bin, basis.Taus(), 0);
        amp.WriteHeader();
        xFitFactory engine(system);
        engine.SetBasis(basis, normalization, 1);
        engine.SetThreshold(1e-7f);
        engine.SetErrorWeights({}, 0, 1.0f);
        engine.SetConditioning(0.0f, 1.0f, 0.0f, 0.0f);
        engine.CreateFitters();
        xMLineBlock block;
        bin.ResetLines();
        EXPECT_TRUE(bin.NextLine(block));
        EXPECT_TRUE(engine.ProcessLine(bin, block, amp));
        amp.WriteHeader();
        std::vector<std::vector<float>> rows;
        xMLine line(&amp);
        amp.ResetLines();
        while (line.Next())
            for (long r = 0; r < line.Rows(); ++r) {
                const FloatArray& row = line.Row(r);
                rows.emplace_back(row.Data(), row.Data() + row.Length());
            }
        return rows;
    }
};

}  // namespace

TEST(FitFactory, ExactDataGiveTheirAmplitudesBackWithTheirSign) {
    xRecordingPlatform platform;
    const fs::path dir = fs::temp_directory_path() / "tovarn_fit_factory";
    fs::create_directories(dir);
    Deconvolution run;
    const std::vector<std::vector<float>> amplitudes = {
        {3.0f, 0.5f, 1.0f, 0.25f}, {-2.0f, -1.0f, -0.5f, -4.0f}, {0, 0, 0, 0}};
    for (int normalization : {1, 2, 3}) {
        SCOPED_TRACE(normalization);
        const auto rows = run.Run(dir, amplitudes, normalization);
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
        // The misfit compares the fit with the data as they came: near zero
        // for positive decays; a negative one is fitted turned round and
        // measured against the data unturned, twice their size.
        EXPECT_LT(rows[0][xMAmp::ErrorItem], 1e-4);
        EXPECT_EQ(rows[2][xMAmp::ErrorItem], 0.0f);
        EXPECT_NEAR(rows[1][xMAmp::ErrorItem], 2.0 * 0.359568, 0.01);
        EXPECT_EQ(rows[0][0], 100.0f);
    }
    fs::remove_all(dir);
}

#include "xErrWeight.h"

#include <gtest/gtest.h>

#include <cmath>

#include "xEMDesc.h"
#include "xRecordingPlatform.h"

namespace {

const char* const kMaxZeroWarning =
    "Creating error weighting function for Deconvolution: Max=0 has been detected.\n"
    "No weighting will be used ...";

// Time domain: TzRz with windows [0.1, 0.2], [0.2, 0.4], [0.4, 0.8]; TxRx
// with none.
xEMDesc TimeSystem() {
    xEMDesc desc;
    FloatMatrix windows(0, 2, 0, 1);
    const float edges[] = {0.1f, 0.2f, 0.4f, 0.8f};
    for (long i = 0; i < 3; ++i) {
        windows[i][0] = edges[i];
        windows[i][1] = edges[i + 1];
    }
    desc.Components()[109].wave.windows = windows;
    desc.Components()[101].id = 101;
    desc.Components()[101].wave.windows.Resize(0, -1, 0, 1);
    return desc;
}

// Frequency domain: TzRz at 100, 400 and 1600 Hz.
xEMDesc FrequencySystem() {
    xEMDesc desc;
    desc.systemDesc.waveformType = "frequency domain";
    FloatMatrix f(0, 2, 0, 0);
    f[0][0] = 100.0f, f[1][0] = 400.0f, f[2][0] = 1600.0f;
    desc.Components()[109].wave.frequencies = f;
    return desc;
}

std::vector<float> Row(const xErrWeight& w, const std::string& name) {
    const FloatArray row = w.GetRow(name);
    return std::vector<float>(row.Data(), row.Data() + row.Length());
}

FloatMatrix Table(std::initializer_list<float> values) {
    FloatMatrix m(1, 1, 1, long(values.size()));
    long c = 1;
    for (float v : values) m[1][c++] = v;
    return m;
}

}  // namespace

// No weighting gives ones, doubled in the frequency domain; type 1 the power
// of each window's width, or of the inverse frequency (one per frequency, not
// doubled), divided by the largest.
TEST(xErrWeight, GeneratedWeights) {
    struct Case {
        std::int32_t type;
        float parameter;
        bool frequencyDomain;
        std::vector<float> tzrz;
    };
    const Case cases[] = {
        {xErrWeight::NoWeighting, 1.0f, false, std::vector<float>(3, 1.0f)},
        {xErrWeight::NoWeighting, 1.0f, true, std::vector<float>(6, 1.0f)},
        {xErrWeight::PowerOfTime, 0.5f, false, {std::sqrt(0.25f), std::sqrt(0.5f), 1.0f}},
        {xErrWeight::PowerOfTime, 1.0f, true, {1.0f, 0.25f, 0.0625f}},
        {xErrWeight::PowerOfTime, 0.0f, false, std::vector<float>(3, 1.0f)}};
    xRecordingPlatform platform;
    for (const Case& c : cases) {
        xErrWeight w;
        w.Set(std::map<std::string, FloatMatrix>{}, c.type, c.parameter,
              c.frequencyDomain ? FrequencySystem() : TimeSystem(), platform);
        const std::vector<float> row = Row(w, "TzRz");
        ASSERT_EQ(row.size(), c.tzrz.size()) << c.type << ' ' << c.parameter;
        for (std::size_t i = 0; i < row.size(); ++i)
            EXPECT_NEAR(row[i], c.tzrz[i], 1e-6) << c.type << ' ' << c.parameter << ' ' << i;
        EXPECT_FALSE(w.IsDataDependent());
    }
    // TxRx of the time system has no windows: the empty table's maximum is 0,
    // said once for each power weighting of that system.
    EXPECT_EQ(platform.Texts("warning"), std::vector<std::string>(2, kMaxZeroWarning));
}

// Type 3 keeps the user's table as entered, signs and all, and the parameter
// floor applies whatever the type.
TEST(xErrWeight, UserTablesStandAndTheParameterHasAFloor) {
    xRecordingPlatform platform;
    xErrWeight w;
    std::map<std::int32_t, FloatMatrix> user{{109, Table({0.5f, -0.25f, 1.0f})}};
    w.Set(user, xErrWeight::UserDefined, 0.0f, TimeSystem(), platform);
    EXPECT_EQ(Row(w, "TzRz"), (std::vector<float>{0.5f, -0.25f, 1.0f}));
    EXPECT_FLOAT_EQ(w.Parameter(), 1e-10f);
    ASSERT_NE(w.Get(109), nullptr);
    EXPECT_EQ(w.Get("TyRy"), nullptr);
    EXPECT_EQ(w.ById().at(109), user.at(109));

    w.Set(user, xErrWeight::NoiseDependent, -3e-11f, TimeSystem(), platform);
    EXPECT_FLOAT_EQ(w.Parameter(), 1e-10f);
    EXPECT_TRUE(w.IsDataDependent());
    // Until the first record the noise weights are ones.
    EXPECT_EQ(Row(w, "TzRz"), std::vector<float>(3, 1.0f));

    w.Store("TzRz", Table({2.0f}));
    EXPECT_EQ(Row(w, "TzRz"), std::vector<float>{2.0f});
}

// Type 2: sqrt(1 / (q^2 + 1)) with q the ratio of the value to N * noise
// (or its inverse), divided by the largest; nothing below 1e-10 counts.
TEST(xErrWeight, NoiseWeights) {
    xRecordingPlatform platform;
    xErrWeight w;
    w.Set(std::map<std::string, FloatMatrix>{}, xErrWeight::NoiseDependent, 4.0f, TimeSystem(),
          platform);

    FloatArray equal(1, 3);
    equal[1] = equal[2] = equal[3] = 4.0f;
    const FloatArray ones = w.ComputeNoiseWeights(equal, 1.0f, 1.0f);
    for (long i = 1; i <= 3; ++i) EXPECT_FLOAT_EQ(ones[i], 1.0f);

    FloatArray data(1, 4);
    data[1] = 4.0f, data[2] = 8.0f, data[3] = 2.0f, data[4] = -100.0f;
    const FloatArray v = w.ComputeNoiseWeights(data, 1.0f, 1.0f);
    const float atLevel = std::sqrt(0.5f);
    EXPECT_FLOAT_EQ(v[1], 1.0f);
    EXPECT_FLOAT_EQ(v[2], std::sqrt(1.0f / 5.0f) / atLevel);  // q = 2 above
    EXPECT_FLOAT_EQ(v[3], std::sqrt(1.0f / 5.0f) / atLevel);  // q = 2 below
    EXPECT_EQ(v[4], 0.0f);

    // The level scales with noise / scale.
    const FloatArray scaled = w.ComputeNoiseWeights(data, 2.0f, 4.0f);  // level 2
    EXPECT_FLOAT_EQ(scaled[3], 1.0f);

    FloatArray nothing(1, 2);
    nothing[1] = -1.0f;
    const FloatArray zeros = w.ComputeNoiseWeights(nothing, 1.0f, 1.0f);
    EXPECT_EQ(zeros[1], 0.0f);
    EXPECT_EQ(zeros[2], 0.0f);
}

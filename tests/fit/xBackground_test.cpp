#include "xBackground.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include "TempFolder.h"
#include "xFitParams.h"
#include "xMAmp.h"
#include "xMLine.h"
#include "xParamFields.h"
#include "xRecordingPlatform.h"

namespace {

constexpr long Taus = 3;
constexpr long Component = 101;

// An amplitude file whose version a test may set back.
class xAgedAmp : public xMAmp {
  public:
    void SetVersion(std::int32_t version) { version_ = version; }
};

// The amplitude of tau i at distance x (km) on a line.
using Profile = std::function<float(long tau, double km)>;

class xBackgroundTest : public xTempFolderTest {
  protected:
    // One line of an amplitude file on TxRx: records every spacing metres, the
    // amplitudes from profile, the background half zero.
    void MakeLine(long records, double spacing, const Profile& profile) {
        LongArray channels(100, 109), flags(100, 109);
        channels[Component] = 2;
        flags[Component] = 1;
        xMData bin;
        bin.InitFromDescriptor(channels, flags, 0);
        FloatArray taus(1, Taus);
        for (long t = 1; t <= Taus; ++t) taus[t] = float(1e-4 * t);
        amp_.SetPath(dir_ / "LINE.AMP");
        amp_.SetOverwrite(true);
        ASSERT_EQ(amp_.Create(), 1);
        amp_.InitFromData(bin, taus, 0);
        ASSERT_TRUE(amp_.WriteHeader());
        xMLineWriter writer(amp_, 10010);
        const long first = amp_.AmplitudeOffset(Component);
        std::vector<float> record(std::size_t(amp_.RowLength()), 0.0f);
        for (long r = 0; r < records; ++r) {
            record[xRecordLayout::Fid] = float(r);
            record[xRecordLayout::Distance] = float(r * spacing);
            for (long i = 0; i < Taus; ++i)
                record[std::size_t(first + i)] = profile(i, r * spacing * 0.001);
            writer.AddRow(record.data());
        }
        ASSERT_TRUE(writer.Finish());
        ASSERT_TRUE(amp_.WriteHeader());
        line_ = std::make_unique<xMLine>(&amp_);
        ASSERT_TRUE(line_->Load(amp_.LineBlocks().front()));
    }
    float Background(long r, long tau) {
        return line_->Row(r)[amp_.BackgroundOffset(Component) + tau];
    }

    xRecordingPlatform platform_;
    xAgedAmp amp_;
    std::unique_ptr<xMLine> line_;
};

// A smooth decaying level along a 10 km line, smaller at later taus.
float Trend(long tau, double km) {
    return float((200.0 - 30.0 * km + 4.0 * km * km - 0.2 * km * km * km) / (1 + tau));
}

// Narrow positive anomalies, 150 m wide, at 2, 5 and 8 km.
bool OnAnomaly(double km) {
    for (double centre : {2.0, 5.0, 8.0})
        if (std::fabs(km - centre) <= 0.1) return true;
    return false;
}

TEST_F(xBackgroundTest, TrendUnderNarrowAnomaliesIsFoundWithinOnePercent) {
    MakeLine(401, 25.0, [](long tau, double km) {
        const double anomaly = 60.0 * std::exp(-std::pow((km - 2.0) / 0.04, 2)) +
                               90.0 * std::exp(-std::pow((km - 5.0) / 0.03, 2)) +
                               40.0 * std::exp(-std::pow((km - 8.0) / 0.05, 2));
        return Trend(tau, km) + float(anomaly / (1 + tau));
    });
    xBackground background(3, 5);
    ASSERT_TRUE(background.Calculate(*line_, Component, platform_));
    ASSERT_TRUE(line_->Flush());
    EXPECT_TRUE(platform_.messages.empty());
    for (long r = 0; r < 401; ++r) {
        const double km = r * 0.025;
        if (OnAnomaly(km)) continue;
        for (long tau = 0; tau < Taus; ++tau)
            EXPECT_NEAR(Background(r, tau), Trend(tau, km), 0.01 * Trend(tau, km))
                << "record " << r << " tau " << tau;
    }
}

TEST_F(xBackgroundTest, ProfileOnTheBoundingPolynomialIsItsOwnBackground) {
    MakeLine(200, 50.0, Trend);
    xBackground background(3, 5);
    ASSERT_TRUE(background.Calculate(*line_, Component, platform_));
    for (long r = 0; r < 200; r += 7)
        for (long tau = 0; tau < Taus; ++tau)
            EXPECT_NEAR(Background(r, tau), Trend(tau, r * 0.05), 1e-3 * Trend(tau, r * 0.05));
}

TEST_F(xBackgroundTest, NegativeExcursionsAreKeptInTheBackground) {
    // A broad trough below the trend is geology, not an anomaly: it pulls the
    // background down where positive anomalies of its size would not.
    auto trough = [](long tau, double km) {
        return Trend(tau, km) - float(40.0 * std::exp(-std::pow((km - 5.0) / 1.0, 2)));
    };
    MakeLine(401, 25.0, trough);
    xBackground background(3, 5);
    ASSERT_TRUE(background.Calculate(*line_, Component, platform_));
    EXPECT_LT(Background(200, 0), Trend(0, 5.0) - 20.0f);
}

TEST_F(xBackgroundTest, LinesItCannotTreatGiveTheirCodeInWords) {
    struct Case {
        long records;
        double spacing;
        std::int32_t code;
        const char* text;
    };
    for (const Case& c :
         {Case{2, 25.0, xBackground::InvalidOrder, "Invalid polynomial order."},
          Case{50, 0.0, xBackground::PoorlyConditioned, "Matrix poorly conditioned."}}) {
        platform_.messages.clear();
        MakeLine(c.records, c.spacing, Trend);
        xBackground background(3, 5);
        EXPECT_FALSE(background.Calculate(*line_, Component, platform_));
        EXPECT_EQ(background.ErrorCode(), c.code);
        EXPECT_EQ(platform_.Texts("warning"), std::vector<std::string>{c.text});
        EXPECT_EQ(Background(0, 0), 0.0f) << "a failed tau writes nothing";
    }
}

TEST_F(xBackgroundTest, FilesWithoutBackgroundOrComponentAreRefused) {
    MakeLine(20, 25.0, Trend);
    xBackground background(3, 5);
    EXPECT_FALSE(background.Calculate(*line_, 105, platform_));
    EXPECT_EQ(background.ErrorCode(), xBackground::NoComponent);
    amp_.SetVersion(8);
    EXPECT_FALSE(background.Calculate(*line_, Component, platform_));
    EXPECT_EQ(background.ErrorCode(), xBackground::NoBackground);
    xMData bin;
    xMLine binLine(&bin);
    EXPECT_FALSE(background.Calculate(binLine, Component, platform_));
    EXPECT_EQ(background.ErrorCode(), xBackground::NoAmplitudes);
    EXPECT_EQ(platform_.Texts("warning"),
              (std::vector<std::string>{"Data set does not contain required TR orientation.",
                                        "This data file does not store background.",
                                        "This data file does not contain fitting amplitudes."}));
    EXPECT_EQ(xBackground::ErrorText(2), "Undefined error in background calculation.");
    EXPECT_EQ(xBackground::ErrorText(42), "Undefined error in background calculation.");
}

TEST_F(xBackgroundTest, StopEndsTheWalkSilently) {
    MakeLine(300, 25.0, Trend);
    xBackground background(3, 5);
    background.SetFlag(xProcessState::Stop);
    EXPECT_FALSE(background.Calculate(*line_, Component, platform_));
    EXPECT_EQ(background.ErrorCode(), xBackground::Terminated);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST(xBackgroundFit, NormalEquationsReproduceAPolynomialAndRefuseBadOrders) {
    xBackground background(3, 5);
    std::vector<double> x;
    std::vector<float> y;
    for (int i = 0; i < 30; ++i) {
        x.push_back(i * 0.2);
        y.push_back(float(1.5 - 2.0 * x.back() + 0.25 * x.back() * x.back()));
    }
    const std::vector<float> c = background.FitPolynomial(x, y, 3);
    ASSERT_EQ(c.size(), 4u);
    EXPECT_NEAR(c[0], 1.5f, 1e-3f);
    EXPECT_NEAR(c[1], -2.0f, 1e-3f);
    EXPECT_NEAR(c[2], 0.25f, 1e-3f);
    EXPECT_NEAR(c[3], 0.0f, 1e-4f);
    EXPECT_TRUE(background.FitPolynomial(x, y, 0).empty());
    EXPECT_EQ(background.ErrorCode(), xBackground::InvalidOrder);
}

TEST(xBackgroundDialog, LowSmoothingWithBackgroundOnIsWarnedOf) {
    xRecordingPlatform platform;
    xFitParams params;
    xParamFields fields;
    params.Fields(fields);
    const xParamField* smoothing = fields.Find("Smoothing");
    ASSERT_NE(smoothing, nullptr);
    const std::string warning = "Background can be calculated correctly only with smoothing > 0.15";
    params.calculateBackground = 0;
    ASSERT_TRUE(smoothing->assign("0.005"));
    EXPECT_FALSE(platform.Saw("warning", warning)) << "background off";
    params.calculateBackground = 1;
    ASSERT_TRUE(smoothing->assign("0.02"));
    EXPECT_FALSE(platform.Saw("warning", warning)) << "0.02 is above the test's 0.01";
    ASSERT_TRUE(smoothing->assign("0.01"));
    EXPECT_TRUE(platform.Saw("warning", warning));
    EXPECT_FLOAT_EQ(params.smoothing, 0.01f) << "the value is kept all the same";
}

}  // namespace

// Real surveys as they are delivered, and half-spaces of every system, through
// the whole chain with every parameter at its default: the discrete CDI must
// follow the published layered inversions of the surveys and give back the
// half-spaces' conductivities. The figures are printed whether they pass or not.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <sstream>

#include "AcceptanceRun.h"
#include "Surveys.h"

namespace fs = std::filesystem;

namespace {

constexpr double kMaxDepth = 300;      // m compared with the published models
constexpr double kDeepDepth = 100;     // m a station's CDI must reach
constexpr double kFidTolerance = 0.1;  // a float FID of seven digits is within 1/16
constexpr double kMinRho = 0.9;
constexpr double kMinDeepShare = 0.9;

constexpr double kHalfSpaceTop = 30, kHalfSpaceBottom = 150;  // m
constexpr double kHalfSpaceTolerance = 0.2;

// The survey's records of one line, or a link to the whole survey when every
// line counts, in the current folder; its name.
std::string RecordsOfLine(const fs::path& survey, int lineColumn, long line) {
    const std::string part = survey.filename().string();
    if (lineColumn == 0) {
        fs::create_symlink(survey, part);
        return part;
    }
    std::ifstream in(survey);
    std::ofstream out(part);
    for (std::string text; std::getline(in, text);) {
        std::istringstream items(text);
        std::string item;
        for (int k = 0; k < lineColumn; ++k) items >> item;
        if (!item.empty() && std::stol(item) == line) out << text << '\n';
    }
    return part;
}

// The CDI held against the survey's published models, with its figures printed.
SectionAgreement Measured(const std::string& name, const fs::path& cnd, const SurveyCheck& check) {
    std::vector<fs::path> files;
    for (const auto& model : check.models) files.push_back(fs::path(check.folder) / model);
    const auto models = ReadModels(files, check.columns, check.line);
    const SectionAgreement a =
        CompareSections(ReadDiscreteSections(cnd), models, kMaxDepth, kDeepDepth, kFidTolerance);
    std::cout << "[ figures  ] " << name << ": rank correlation " << a.rho << " over " << a.values
              << " values at " << a.paired << " of " << a.stations << " stations; values down to "
              << kDeepDepth << " m at " << 100 * a.deepShare << " % of stations\n";
    return a;
}

void ExpectFollowsModels(const SectionAgreement& a) {
    EXPECT_GT(a.stations, 0u);
    EXPECT_EQ(a.paired, a.stations) << "stations without a published model";
    EXPECT_GE(a.rho, kMinRho);
    EXPECT_GE(a.deepShare, kMinDeepShare);
}

class SurveyAcceptance : public xAcceptanceRun,
                         public ::testing::WithParamInterface<SurveyCheck> {};

TEST_P(SurveyAcceptance, DiscreteCdiOnDefaultsFollowsThePublishedModels) {
    const SurveyCheck& check = GetParam();
    const fs::path folder = check.folder;
    ASSERT_TRUE(fs::exists(folder / check.survey))
        << folder / check.survey << " not found: point TOVARN_ACCEPTANCE_DATA_* at the survey";
    const fs::path descriptor = "SYSTEM.DSC";
    ASSERT_TRUE(Tovarn("descriptor build " + WithDataFolder(check.build, folder) + " --out " +
                       Quoted(descriptor)));
    const std::string survey = RecordsOfLine(folder / check.survey, check.lineColumn, check.line);
    const fs::path cnd = RunChain(descriptor, survey, check.settings);
    ASSERT_FALSE(cnd.empty());
    ExpectFollowsModels(Measured(check.name, cnd, check));
}

INSTANTIATE_TEST_SUITE_P(RealSurveys, SurveyAcceptance, ::testing::ValuesIn(SurveyChecks()),
                         [](const auto& info) { return std::string(info.param.name); });

class TwoMomentAcceptance : public xAcceptanceRun {
  protected:
    static SurveyCheck HighMomentCheck() {
        for (const SurveyCheck& check : SurveyChecks())
            if (std::string(check.name) == "SkytemBhmarHighMoment") return check;
        return {};
    }
};

// Each moment through the chain in a project of its own, then joined: the
// merged section must follow the published models at least as well as the
// high moment's alone.
TEST_F(TwoMomentAcceptance, SkytemBhmarBothMoments) {
    const SurveyCheck check = HighMomentCheck();
    const fs::path folder = check.folder;
    ASSERT_TRUE(Tovarn("descriptor build " + WithDataFolder(kSkytemBhmarBothBuild, folder) +
                       " --out BHMAR.DSC"));
    const std::string survey = RecordsOfLine(folder / check.survey, 0, 0);
    const fs::path low = RunChain("BHMAR-LM.DSC", survey, kSkytemBhmarLowMoment, "LM");
    const fs::path high = RunChain("BHMAR-HM.DSC", survey, kSkytemBhmarHighMoment, "HM");
    ASSERT_FALSE(low.empty() || high.empty());
    ASSERT_TRUE(Tovarn("cdi merge LM.CND HM.CND --out both"));

    Measured("SkytemBhmarLowMoment", low, check);
    const SectionAgreement alone = Measured("SkytemBhmarHighMoment", high, check);
    const SectionAgreement both = Measured("SkytemBhmarBothMoments", "both.CND", check);
    ExpectFollowsModels(both);
    EXPECT_GE(both.rho, alone.rho);
    EXPECT_GE(both.deepShare, alone.deepShare);
}

using HalfSpaceCase = std::tuple<HalfSpaceSystem, double>;

class HalfSpaceAcceptance : public xAcceptanceRun,
                            public ::testing::WithParamInterface<HalfSpaceCase> {
  protected:
    fs::path Descriptor(const HalfSpaceSystem& system) {
        if (!system.descriptor.empty()) return system.descriptor;
        const fs::path built = "SYSTEM.DSC";
        Tovarn("descriptor build " + WithDataFolder(system.build, system.folder) + " --out " +
               Quoted(built));
        return built;
    }
    // The survey file that synth wrote into folder (beside its note).
    static std::string SyntheticSurvey(const fs::path& folder) {
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().extension() != ".txt")
                return (folder / entry.path().filename()).string();
        return {};
    }
};

TEST_P(HalfSpaceAcceptance, ImagesBackItsConductivity) {
    const auto& [system, resistivity] = GetParam();
    const fs::path descriptor = Descriptor(system);
    ASSERT_TRUE(fs::exists(descriptor)) << descriptor;
    std::ostringstream synth;
    synth << "synth " << Quoted(descriptor) << " --model " << resistivity
          << " --lines 1 --line-length 100 --spacing 20 --altitude " << system.altitude
          << " --out synthetic";
    ASSERT_TRUE(Tovarn(synth.str()));
    const fs::path cnd = RunChain(descriptor, SyntheticSurvey("synthetic"), "");
    ASSERT_FALSE(cnd.empty());

    const double expected = 1000.0 / resistivity;  // mS/m
    double low = HUGE_VAL, high = -HUGE_VAL;
    std::size_t values = 0, missing = 0;
    for (const CdiStation& station : ReadDiscreteSections(cnd))
        for (std::size_t k = 0; k < station.depth.size(); ++k) {
            if (station.depth[k] < kHalfSpaceTop || station.depth[k] > kHalfSpaceBottom) continue;
            ++values;
            if (std::isnan(station.conductivity[k])) {
                ++missing;
                continue;
            }
            low = std::min(low, station.conductivity[k]);
            high = std::max(high, station.conductivity[k]);
        }
    const double worst = std::max(std::abs(low / expected - 1), std::abs(high / expected - 1));
    std::cout << "[ figures  ] " << system.name << " over " << resistivity
              << " ohm m: " << kHalfSpaceTop << "-" << kHalfSpaceBottom << " m images " << low
              << " to " << high << " mS/m for " << expected << " (worst " << 100 * worst
              << " % off); " << missing << " of " << values << " values missing\n";
    EXPECT_GT(values, 0u);
    EXPECT_EQ(missing, 0u);
    EXPECT_LE(worst, kHalfSpaceTolerance);
}

// The case's name: the system, then the resistivity.
std::string HalfSpaceName(const ::testing::TestParamInfo<HalfSpaceCase>& info) {
    return std::string(std::get<0>(info.param).name) + "_" +
           std::to_string(long(std::get<1>(info.param))) + "ohmm";
}

INSTANTIATE_TEST_SUITE_P(EverySystem, HalfSpaceAcceptance,
                         ::testing::Combine(::testing::ValuesIn(HalfSpaceSystems()),
                                            ::testing::Values(10.0, 50.0, 200.0)),
                         HalfSpaceName);

}  // namespace

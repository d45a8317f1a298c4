#include "xAofTau.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

FloatMatrix Matrix(long r0, long c0, std::initializer_list<std::initializer_list<float>> rows) {
    const long nCols = long(rows.begin()->size());
    FloatMatrix m(r0, r0 + long(rows.size()) - 1, c0, c0 + nCols - 1);
    long r = r0;
    for (const auto& row : rows) {
        long c = c0;
        for (float v : row) m[r][c++] = v;
        ++r;
    }
    return m;
}

FloatArray Array(long low, std::initializer_list<float> values) {
    FloatArray a(low, low + long(values.size()) - 1);
    long i = low;
    for (float v : values) a[i++] = v;
    return a;
}

// Two full components and one without its primary field, which a file leaves out.
void Fill(xAofTau& aot) {
    aot.SetDescriptorName("SYS.DSC");
    aot.SetDescriptorDate("2026-01-02 03:04:05");
    aot.SetApproximation(ApproximationHalfSpace);
    aot.SetTaus(Array(1, {1e-5f, 0.00125f}));
    aot.SetWindows(109, Matrix(0, 1, {{0.1f, 0.2f}, {0.2f, 0.5f}}));
    aot.SetAmplitudes(109, Matrix(1, 1, {{1, 0.5f}, {-2.5f, 3e6f}}));
    aot.SetPrimary(109, Array(1, {-1, 0.25f}));
    aot.SetWindows(105, Matrix(0, 1, {{1}, {2}}));
    aot.SetAmplitudes(105, Matrix(1, 1, {{1}, {2}}));
    aot.SetWindows(101, Matrix(0, 1, {{0.5f}, {1.5f}}));
    aot.SetAmplitudes(101, Matrix(1, 1, {{7}, {-1.0f / 3}}));
    aot.SetPrimary(101, Array(1, {2}));
}

const char* const kWritten =
    "Version-3\n"
    "SYS.DSC\n"
    "2026-01-02 03:04:05\n"
    "HalfSpace\n"
    "Taus [sec]\n"
    "         1         2\n"
    "               1e-05             0.00125\n"
    "TxRx\n"
    "Sampling windows\n"
    "         0         1         1         1\n"
    "                 0.5\n"
    "                 1.5\n"
    "Amplitude Coefficients (sampl. windows --->)\n"
    "         1         2         1         1\n"
    "                   7\n"
    "           -0.333333\n"
    "Primary Field Coefficients (sampl. windows --->)\n"
    "         1         1\n"
    "                   2\n"
    "TzRz\n"
    "Sampling windows\n"
    "         0         1         1         2\n"
    "                 0.1                 0.2\n"
    "                 0.2                 0.5\n"
    "Amplitude Coefficients (sampl. windows --->)\n"
    "         1         2         1         2\n"
    "                   1                 0.5\n"
    "                -2.5               3e+06\n"
    "Primary Field Coefficients (sampl. windows --->)\n"
    "         1         2\n"
    "                  -1                0.25\n";

std::string Text(const xAofTau& aot) {
    std::ostringstream out;
    EXPECT_TRUE(aot.WriteText(out));
    return out.str();
}

int ReadFrom(xAofTau& aot, const std::string& text) {
    std::istringstream in(text);
    return aot.ReadText(in);
}

// The one basis of the old files, in the order they hold it: windows, taus,
// amplitudes, primary field, each behind a free line (the head ends with the
// first; what the free lines say does not count).
const char* const kOldWindows = "0 1 1 2\n0.1 0.2\n0.2 0.5\n";
const char* const kOldTaus = "1 3\n1e-5 1e-4 1e-3\n";
const char* const kOldAmplitudes = "1 3 1 2\n1 2\n3 4\n5 6\n";
const char* const kOldPrimary = "1 2\n-7 -8\n";

std::string OldBasis(const std::string& head) {
    return head + kOldWindows + "taus\n" + kOldTaus + "amplitudes\n" + kOldAmplitudes +
           "primary\n" + kOldPrimary;
}

void ExpectOldBasisEverywhere(const xAofTau& aot) {
    ASSERT_EQ(aot.Components().size(), 9u);
    for (long id = 101; id <= 109; ++id) {
        SCOPED_TRACE(id);
        EXPECT_EQ(*aot.Windows(id), Matrix(0, 1, {{0.1f, 0.2f}, {0.2f, 0.5f}}));
        EXPECT_EQ(*aot.Amplitudes(id), Matrix(1, 1, {{1, 2}, {3, 4}, {5, 6}}));
        EXPECT_EQ(*aot.Primary(id), Array(1, {-7, -8}));
    }
    EXPECT_EQ(aot.Taus(), Array(1, {1e-5f, 1e-4f, 1e-3f}));
}

class AofTauTest : public xTempFolderTest {
  protected:
    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(AofTauTest, WritesTheCurrentVersionWithComponentsThatHaveAllParts) {
    xAofTau aot;
    Fill(aot);
    EXPECT_EQ(Text(aot), kWritten);
    EXPECT_EQ(aot.Components(), (std::vector<long>{101, 109}));
}

TEST_F(AofTauTest, FileRoundTripAndCopiesAreDeep) {
    xAofTau written(dir_ / "P.AOT");
    Fill(written);
    written.SetOverwrite(true);
    ASSERT_EQ(written.Write(), 1);

    xAofTau read(dir_ / "P.AOT");
    ASSERT_EQ(read.Read(), 1);
    EXPECT_EQ(read.VersionRead(), 3);
    EXPECT_EQ(Text(read), kWritten);
    EXPECT_EQ(read.Windows(105), nullptr);  // the file never carried it
    EXPECT_EQ(*read.Amplitudes(109), Matrix(1, 1, {{1, 0.5f}, {-2.5f, 3e6f}}));

    xAofTau copy;
    copy.CopyFrom(read);
    read.Amplitudes(109)->Fill(0);
    (*read.Primary(101))[1] = 99;
    read.SetTaus(Array(1, {1}));
    EXPECT_EQ(Text(copy), kWritten);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(AofTauTest, OlderVersionsRead) {
    xAofTau v2;
    const std::string version2 = std::string(kWritten)
                                     .replace(0, 9, "Version-2")
                                     .replace(std::string(kWritten).find("HalfSpace\n"), 10, "");
    ASSERT_EQ(ReadFrom(v2, version2), 1);
    EXPECT_EQ(v2.VersionRead(), 2);
    EXPECT_EQ(v2.Approximation(), ApproximationExponent);
    EXPECT_EQ(v2.DescriptorName(), "SYS.DSC");
    EXPECT_EQ(v2.DescriptorDate(), "2026-01-02 03:04:05");
    EXPECT_EQ(v2.Components(), (std::vector<long>{101, 109}));
    EXPECT_EQ(*v2.Primary(109), Array(1, {-1, 0.25f}));

    xAofTau v1;
    ASSERT_EQ(ReadFrom(v1, OldBasis("Version-1\nOLD.DSC\nwindows\n")), 1);
    EXPECT_EQ(v1.VersionRead(), 1);
    EXPECT_EQ(v1.DescriptorName(), "OLD.DSC");
    EXPECT_EQ(v1.DescriptorDate(), "");
    ExpectOldBasisEverywhere(v1);

    xAofTau unversioned;
    Fill(unversioned);
    ASSERT_EQ(ReadFrom(unversioned, OldBasis("")), 1);
    EXPECT_EQ(unversioned.VersionRead(), 0);
    EXPECT_EQ(unversioned.DescriptorName(), "");
    ExpectOldBasisEverywhere(unversioned);

    // Leading zeros do not make another version.
    xAofTau padded;
    ASSERT_EQ(ReadFrom(padded, std::string(kWritten).replace(0, 9, "Version-03")), 1);
    EXPECT_EQ(Text(padded), kWritten);
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(AofTauTest, UnsupportedVersionIsRefusedAndNothingRead) {
    xAofTau aot(fs::path("work") / "P.AOT");
    Fill(aot);
    const std::string before = Text(aot);
    std::string version4 = std::string(kWritten).replace(0, 9, "Version-4");
    version4.replace(version4.find("SYS.DSC"), 7, "NEW.DSC");
    EXPECT_EQ(ReadFrom(aot, version4), 0);
    EXPECT_EQ(platform_.Texts("error"),
              (std::vector<std::string>{"xAofTau::Read() Attempt to read unsupported version of "
                                        ".AOT file. File name <" +
                                        (fs::path("work") / "P.AOT").string() + ">, aVersion."}));
    EXPECT_EQ(Text(aot), before);
    EXPECT_EQ(ReadFrom(aot, "Version-\n"), 0);
    EXPECT_EQ(platform_.Texts("error").size(), 2u);
}

TEST_F(AofTauTest, UnknownComponentEndsTheListAndShortTextEmptiesIt) {
    // TxRx, a misnamed TzRz, then a TyRy section behind it.
    std::string text = kWritten;
    const auto tzrz = text.find("TzRz\n");
    text += "TyRy" + text.substr(text.find("TxRx\n") + 4, tzrz - text.find("TxRx\n") - 4);
    text.replace(tzrz, 4, "TzRq");
    xAofTau aot;
    ASSERT_EQ(ReadFrom(aot, text), 1);
    EXPECT_EQ(aot.Components(), (std::vector<long>{101}));
    EXPECT_EQ(aot.Windows(109), nullptr);
    EXPECT_EQ(aot.Windows(105), nullptr);

    // A matrix that stops short: nothing of the basis is kept.
    const std::string cut = std::string(kWritten).substr(0, std::string(kWritten).rfind("-2.5"));
    xAofTau shortRead;
    std::istringstream in(cut);
    EXPECT_EQ(shortRead.ReadText(in), 0);
    EXPECT_TRUE(in.fail());
    EXPECT_TRUE(shortRead.Components().empty());
    EXPECT_EQ(shortRead.Amplitudes(101), nullptr);

    // The reader says nothing itself; it keeps where it stopped for its caller.
    const std::string head = "Version-3\nS.DSC\nd\nExponent\nTaus [sec]\n";
    const std::string window = "TxRz\nSampling windows\n0 1 1 1\n0.5\n1.5\n";
    const std::pair<std::string, std::string> broken[] = {
        {head + "1 2\n1e-5 x\n", "B.AOT:7: expected numbers, found \"1e-5 x\""},
        {head + "1 2\n1e-5 1e39\n",
         "B.AOT:7: expected numbers a float can hold, found \"1e-5 1e39\""},
        {head + "-40000000 40000000\n",
         "B.AOT:6: expected bounds of at most 50000000 values, found \"80000001 values\""},
        {head + "1\n", "B.AOT:6: expected 2 bounds, found \"1\""},
        // Forty million rows of no value once took more than 2 GB.
        {head + "1 0\n\nTxRz\nSampling windows\n1 40000000 1 0\n",
         "B.AOT:10: expected at most 3125000 rows, found \"40000000 rows\""},
        {head + "1 0\n\nTxRz\nSampling windows\n0 1 99999999999 1\n",
         "B.AOT:10: expected 4 bounds from -50000000 to 50000000, found \"0 1 99999999999 1\""},
        {"",
         "B.AOT:1: expected the version line or the sampling windows, found the end of the "
         "file"},
        // Parts that do not agree, found at the component's end: a fit would
        // index past them. Amplitudes of no window once crashed the deconvolution.
        {head + "1 1\n1e-5\n" + window + "Amplitude Coefficients\n1 1 1 0\n\n" +
             "Primary Field Coefficients\n1 1\n2\n",
         "B.AOT:18: expected amplitudes 1..1 x 1..n (the taus by one or more channels) and a "
         "primary field within 1..n, found \"1..1 x 1..0 and 1..1\""},
        {head + "1 1\n1e-5\n" + window + "Amplitude Coefficients\n1 1 1 1\n7\n" +
             "Primary Field Coefficients\n0 1\n2 3\n",
         "B.AOT:18: expected amplitudes 1..1 x 1..n (the taus by one or more channels) and a "
         "primary field within 1..n, found \"1..1 x 1..1 and 0..1\""},
    };
    for (const auto& [text, where] : broken) {
        xAofTau garbage("B.AOT");
        EXPECT_EQ(ReadFrom(garbage, text), 0);
        EXPECT_EQ(garbage.Where(), where);
    }
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(AofTauTest, DescriptorChecks) {
    xAofTau aot(fs::path("P.AOT"));
    ASSERT_EQ(ReadFrom(aot, kWritten), 1);
    EXPECT_TRUE(aot.CheckDescriptor("SYS.DSC", "2026-01-02 03:04:05"));
    EXPECT_FALSE(aot.CheckDescriptor("OTHER.DSC", "2026-01-02 03:04:05"));
    EXPECT_FALSE(aot.CheckDescriptor("SYS.DSC", "2026-02-01 00:00:00"));
    EXPECT_EQ(platform_.Texts("warning"),
              (std::vector<std::string>{
                  "File <P.AOT> was created using descriptor file <SYS.DSC>. The presently "
                  "selected descriptor file is <OTHER.DSC>. Your fate is in your hands.",
                  "Descriptor file <SYS.DSC> has been modified since initiallly used to create "
                  "Wave Basis oputput file <P.AOT>. Select OK to continue."}));
    EXPECT_EQ(aot.DescriptorDate(), "2026-01-02 03:04:05");

    // Version 1 names its descriptor but carries no date; the oldest carry neither.
    platform_.messages.clear();
    xAofTau v1;
    ASSERT_EQ(ReadFrom(v1, OldBasis("Version-1\nSYS.DSC\n\n")), 1);
    EXPECT_TRUE(v1.CheckDescriptor("SYS.DSC", "any date"));
    EXPECT_FALSE(v1.CheckDescriptor("NEW.DSC", "any date"));
    xAofTau none;
    ASSERT_EQ(ReadFrom(none, OldBasis("")), 1);
    EXPECT_TRUE(none.CheckDescriptor("NEW.DSC", "any date"));
    EXPECT_EQ(platform_.Texts("warning").size(), 1u);
}

TEST_F(AofTauTest, DateStampFollowsTheLastWrite) {
    const fs::path file = Put("S.DSC", "descriptor\n");
    fs::last_write_time(
        file, std::chrono::file_clock::from_sys(
                  std::chrono::sys_days{std::chrono::year{2025} / 3 / 4} + std::chrono::hours{5} +
                  std::chrono::minutes{6} + std::chrono::seconds{7}));
    EXPECT_EQ(DescriptorDateStamp(file), "2025-03-04 05:06:07");
    fs::last_write_time(file, fs::file_time_type::clock::now());
    EXPECT_TRUE(std::regex_match(DescriptorDateStamp(file),
                                 std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)")));
    EXPECT_NE(DescriptorDateStamp(file), "2025-03-04 05:06:07");
    fs::remove(file);
    EXPECT_EQ(DescriptorDateStamp(file), "");
}

// Amplitudes of one sign per column, first column summing to -5: the basis of
// 109. Component 101 holds its negative, summing to +5.
class NormalizedAofTauTest : public AofTauTest {
  protected:
    void SetUp() override {
        basis_.SetTaus(Array(1, {1e-4f, 1e-3f, 1e-2f}));
        for (long id : {101L, 109L}) {
            const float s = id == 109 ? 1.0f : -1.0f;
            basis_.SetWindows(id, Matrix(0, 1, {{1, 2}, {2, 3}}));
            basis_.SetAmplitudes(id, Matrix(1, 1, {{-2 * s, 4 * s}, {s, -8 * s}, {-4 * s, 2 * s}}));
            basis_.SetPrimary(id, Array(1, {-3 * s, 1.5f * s}));
        }
    }
    xNormalizedAofTau basis_;
};

TEST_F(NormalizedAofTauTest, GlobalMaxScalesByTheLargestMagnitude) {
    for (int mode : {1, 3}) {
        SCOPED_TRACE(mode);
        xNormalizedAofTau n;
        n.CopyFrom(basis_);
        n.NormalizeBasisFunctions(mode);
        EXPECT_EQ(*n.Amplitudes(109), Matrix(1, 1, {{-0.25f, 0.5f}, {0.125f, -1}, {-0.5f, 0.25f}}));
        EXPECT_EQ(*n.Norms(109), Array(1, {8, 8, 8}));
        EXPECT_EQ(n.PrimaryFactor(109), 3.0f);
        EXPECT_EQ(*n.Primary(109), Array(1, {-1, 0.5f}));
        EXPECT_EQ(n.Norm(109, 2), 8.0f);
        EXPECT_EQ(n.Norm(105, 2), 1.0f);  // no such component
        EXPECT_EQ(n.PrimaryFactor(105), 1.0f);
        EXPECT_EQ(n.Norms(105), nullptr);
        EXPECT_EQ(*n.Windows(109), Matrix(0, 1, {{1, 2}, {2, 3}}));
    }
}

TEST_F(NormalizedAofTauTest, EarliestChannelAlternatesTheSignWhenTheSumIsNegative) {
    basis_.NormalizeBasisFunctions(2);
    // Sum -5: the norm array is negated before each row, so rows 1 and 3 are
    // divided by -|v| and row 2 by +|v|; the last state is the negated one.
    EXPECT_EQ(*basis_.Amplitudes(109), Matrix(1, 1, {{1, -2}, {1, -8}, {1, -0.5f}}));
    EXPECT_EQ(*basis_.Norms(109), Array(1, {-2, -1, -4}));
    EXPECT_EQ(basis_.PrimaryFactor(109), -3.0f);
    EXPECT_EQ(*basis_.Primary(109), Array(1, {1, -0.5f}));
    // Sum +5: every row by its own |v|.
    EXPECT_EQ(*basis_.Amplitudes(101), Matrix(1, 1, {{1, -2}, {-1, 8}, {1, -0.5f}}));
    EXPECT_EQ(*basis_.Norms(101), Array(1, {2, 1, 4}));
    EXPECT_EQ(basis_.PrimaryFactor(101), 3.0f);
}

TEST_F(NormalizedAofTauTest, PrimaryFieldModeChangesNothing) {
    basis_.NormalizeBasisFunctions(4);
    EXPECT_EQ(platform_.Texts("note"),
              (std::vector<std::string>{"xNormalizedAofTau::NormalizeBasisFunctions() : AofTau "
                                        "matrix is already normalized by Primary Field"}));
    EXPECT_EQ(*basis_.Amplitudes(109), Matrix(1, 1, {{-2, 4}, {1, -8}, {-4, 2}}));
    EXPECT_EQ(basis_.Norm(109, 3), 1.0f);
    EXPECT_EQ(basis_.PrimaryFactor(109), 1.0f);
}

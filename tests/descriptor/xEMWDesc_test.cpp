#include "xEMWDesc.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "xEMSDesc.h"
#include "xRecordingPlatform.h"
#include "xWaveform.h"

namespace {

const std::string kSeparator(57, '_');

// Written by hand from the layout: 12-column numbers with one blank between them,
// the two and three blanks of the scaling lines, the empty line that closes a
// defined waveform. Each text starts after the opening newline.
const std::string kTimeHeader = &R"(
SYSTEM NAME
Test loop 30 Hz
VERSION
2.1 (survey 7)
DEFINED BY
A. Field
DATE DEFINED
12 May 2003
TIME SCALING
20.000000  10.000000   [mSec]
WAVEFORM TYPE
halfperiod
10.000000   [mSec]
WAVEFORM NORMALIZED BY
component
)"[1];

const std::string kTimeBlock = &R"(
_________________________________________________________
TRANSMITTER CURRENT WAVEFORM
nominal
AMPLITUDE SCALING
2.000000  5.000000   [amp]
3
        TIME      CURRENT        ERROR  [ppm]
    0.000000     0.000000     0.000000
    1.250000   500.000000     0.010000
    2.500000    -1.500000     0.000000

_________________________________________________________
RECEIVER PRIMARY FIELD
undefined
_________________________________________________________
RECEIVER SAMPLING
2
       START          END       WEIGHT
    0.100000     0.300000     1.000000
    0.300000     0.900000     0.250000
_________________________________________________________
)"[1];

const std::string kFrequencyHeader = &R"(
SYSTEM NAME
Test bird
VERSION
1
DEFINED BY
B. Coil
DATE DEFINED
1 Jan 1999
TIME SCALING
1.000000  1.000000   [sec]
WAVEFORM TYPE
frequency domain
WAVEFORM NORMALIZED BY
total field
)"[1];

const std::string kFrequencyBlock = &R"(
_________________________________________________________
FREQUENCIES
3
_________________________________________________________
  900.000000     1.000000
 7200.000000     0.500000
56000.000000     2.000000
AMPLITUDE SCALING
0.500000 2.000000
_________________________________________________________
)"[1];

// What follows a component's waveform block in a descriptor.
const std::string kNext = "TRANSMITTER GEOMETRY\n";

template <class T>
std::string Written(const T& block) {
    std::ostringstream out;
    block.Write(out);
    return out.str();
}

std::string Written(const xEMWDesc& block, bool frequencyDomain) {
    std::ostringstream out;
    block.Write(out, frequencyDomain);
    return out.str();
}

// Reads a waveform block that the next block follows, whose first line must be
// left unread.
bool ReadBlockBefore(const std::string& text, xEMWDesc& wave, long version, bool frequencyDomain) {
    std::istringstream file(text + kNext);
    xDscReader in(file);
    const bool ok = wave.Read(in, version, frequencyDomain);
    EXPECT_EQ(in.Line(), "TRANSMITTER GEOMETRY");
    return ok;
}

// Every whole-line prefix of a block, the empty one included, but not the block.
std::vector<std::string> LinePrefixes(const std::string& text) {
    std::vector<std::string> prefixes{""};
    for (std::size_t end = text.find('\n'); end + 1 < text.size(); end = text.find('\n', end + 1))
        prefixes.push_back(text.substr(0, end + 1));
    return prefixes;
}

}  // namespace

TEST(EMWDesc, TimeDomainHeaderAndBlockReadAndWriteBack) {
    xRecordingPlatform platform;
    std::istringstream file(kTimeHeader + kTimeBlock + kNext);
    xDscReader in(file);

    xEMSDesc header;
    ASSERT_TRUE(header.Read(in));
    EXPECT_EQ(header.version, "2.1 (survey 7)");
    EXPECT_FLOAT_EQ(header.realHalfPeriod, 20.0f);
    EXPECT_EQ(header.timeUnit, "mSec");
    EXPECT_EQ(header.normalization, "component");
    EXPECT_FALSE(header.HasPendingLine());

    xEMWDesc wave;
    ASSERT_TRUE(wave.Read(in, 9, false));
    EXPECT_EQ(in.Line(), "TRANSMITTER GEOMETRY");  // nothing of the next block consumed

    EXPECT_FLOAT_EQ(wave.txWaveform.AmplitudeFactor(), 2.5f);
    ASSERT_EQ(wave.txWaveform.samples.Rows(), 3);
    EXPECT_FLOAT_EQ(wave.txWaveform.samples[1][1], 500.0f);
    EXPECT_FLOAT_EQ(wave.txWaveform.samples[1][2], 0.01f);
    EXPECT_FALSE(wave.rxPrimary.IsDefined());
    EXPECT_EQ(wave.GetChannels(false), 2);
    EXPECT_FLOAT_EQ(wave.GetWeights()[1], 0.25f);
    FloatArray centres = wave.GetSampleTimes();
    ASSERT_EQ(centres.Length(), 2);
    EXPECT_FLOAT_EQ(centres[1], 0.6f);

    EXPECT_EQ(Written(header), kTimeHeader);
    EXPECT_EQ(Written(wave, false), kTimeBlock);
    EXPECT_TRUE(platform.messages.empty());
}

// No half-period line in the frequency domain, and no time at all.
TEST(EMWDesc, FrequencyDomainHeaderAndBlockReadAndWriteBack) {
    std::istringstream file(kFrequencyHeader + kFrequencyBlock + kNext);
    xDscReader in(file);

    xEMSDesc header;
    ASSERT_TRUE(header.Read(in));
    EXPECT_TRUE(header.IsFrequencyDomain());
    EXPECT_EQ(header.normalization, "total field");
    EXPECT_FLOAT_EQ(header.halfPeriod, header.nominalHalfPeriod);
    EXPECT_EQ(header.RealSeconds(1.0), 0.0);

    xEMWDesc wave;
    ASSERT_TRUE(wave.Read(in, 9, true));
    EXPECT_EQ(in.Line(), "TRANSMITTER GEOMETRY");
    EXPECT_EQ(wave.GetChannels(true), 3);
    EXPECT_EQ(wave.GetChannels(false), 1);  // the new component's one window
    EXPECT_FLOAT_EQ(wave.GetWeights()[1], 0.5f);
    EXPECT_FLOAT_EQ(wave.GetSampleTimes(true)[2], 56000.0f);
    EXPECT_FLOAT_EQ(wave.scaleReal, 0.5f);

    EXPECT_EQ(Written(header), kFrequencyHeader);
    EXPECT_EQ(Written(wave, true), kFrequencyBlock);
}

TEST(EMWDesc, OldFilesHaveNoWeightsAndNoFrequencyScaling) {
    const std::string oldTime = kSeparator + "\nTRANSMITTER CURRENT WAVEFORM\nundefined\n" +
                                kSeparator + "\nRECEIVER PRIMARY FIELD\nundefined\n" + kSeparator +
                                "\nRECEIVER SAMPLING\n2\n       START          END\n"
                                "    0.100000     0.300000\n"
                                "    0.300000     0.900000\n" +
                                kSeparator + "\n";
    xEMWDesc wave;
    ASSERT_TRUE(ReadBlockBefore(oldTime, wave, 4, false));
    ASSERT_EQ(wave.GetWeights().Length(), 2);
    EXPECT_EQ(wave.GetWeights()[1], 1.0f);
    EXPECT_FLOAT_EQ(wave.GetWindows()[1][1], 0.9f);
    // Written back in today's layout, weights and all.
    EXPECT_NE(Written(wave, false).find("    0.300000     0.900000     1.000000\n"),
              std::string::npos);

    const std::string frequencies =
        kSeparator + "\nFREQUENCIES\n2\n" + kSeparator + "\n  900.000000\n 7200.000000\n";
    const std::string scaling = "AMPLITUDE SCALING\n0.500000 2.000000\n";

    // Version 4: scaling yes, weights no.
    xEMWDesc v4;
    ASSERT_TRUE(ReadBlockBefore(frequencies + scaling + kSeparator + "\n", v4, 4, true));
    EXPECT_FLOAT_EQ(v4.GetFrequencies()[1][0], 7200.0f);
    EXPECT_EQ(v4.GetWeights()[1], 1.0f);
    EXPECT_FLOAT_EQ(v4.scaleReal, 0.5f);

    // Version 3: neither, and the scaling keeps what it had.
    xEMWDesc v3;
    v3.scaleReal = 3.0f;
    v3.scaleNominal = 4.0f;
    ASSERT_TRUE(ReadBlockBefore(frequencies + kSeparator + "\n", v3, 3, true));
    EXPECT_EQ(v3.GetWeights()[0], 1.0f);
    EXPECT_EQ(v3.scaleReal, 3.0f);
    EXPECT_EQ(v3.scaleNominal, 4.0f);
}

TEST(EMWDesc, UnitIsBetweenTheLastBrackets) {
    EXPECT_EQ(UnitOfLine("20.000000  10.000000   [mSec]"), "mSec");
    EXPECT_EQ(UnitOfLine("1.0 [amp]  2.0   [nV/amp/m^2]"), "nV/amp/m^2");
    EXPECT_EQ(UnitOfLine("x [a] b]"), "a] b");
    EXPECT_EQ(UnitOfLine("[]"), "");
    EXPECT_EQ(UnitOfLine("1.0  2.0"), "---");
    EXPECT_EQ(UnitOfLine("1.0 ] 2.0 ["), "---");
    EXPECT_EQ(UnitOfLine("1.0 [mSec"), "---");

    // A scaling line without a unit still reads, and writes the unit back.
    std::istringstream file("nominal\nAMPLITUDE SCALING\n1.0 4.0\n0\nheader\n\n");
    xDscReader in(file);
    xWaveform waveform;
    ASSERT_TRUE(waveform.Read(in));
    EXPECT_EQ(waveform.unit, "---");
    EXPECT_FLOAT_EQ(waveform.AmplitudeFactor(), 4.0f);
    EXPECT_NE(Written(waveform).find("1.000000  4.000000   [---]\n"), std::string::npos);
}

TEST(EMWDesc, UndefinedSourceIsOneLine) {
    xWaveform waveform;
    waveform.source = "undefined";
    waveform.samples = FloatMatrix(2, 3);  // not written: nothing follows "undefined"
    EXPECT_EQ(Written(waveform), "undefined\n");

    std::istringstream file(
        "averaged\nAMPLITUDE SCALING\n1 1 [ppm]\n1\nh\n1 2 3\n\n"
        "undefined\nnext\n");
    xDscReader in(file);
    xWaveform read;
    ASSERT_TRUE(read.Read(in));
    EXPECT_EQ(read.samples.Rows(), 1);
    // Reading an undefined waveform over a defined one leaves no samples behind.
    ASSERT_TRUE(read.Read(in));
    EXPECT_FALSE(read.IsDefined());
    EXPECT_EQ(read.samples.Rows(), 0);
    EXPECT_EQ(in.Line(), "next");
}

TEST(EMWDesc, HeaderWithoutNormalizationIsUpdated) {
    xRecordingPlatform platform;
    std::string old = kTimeHeader.substr(0, kTimeHeader.find("WAVEFORM NORMALIZED BY"));
    std::istringstream file(old + kSeparator + "\n   TxRx\n");
    xDscReader in(file);
    xEMSDesc header;
    header.normalization = "component";
    ASSERT_TRUE(header.Read(in));
    EXPECT_EQ(platform.Texts("note"),
              std::vector<std::string>{
                  "Old system descriptor, will be updated to support waveform normalization."});
    // The separator was read in the label's place; the caller goes on after it.
    ASSERT_TRUE(header.HasPendingLine());
    EXPECT_EQ(header.PendingLine(), kSeparator);
    EXPECT_EQ(in.Line(), "   TxRx");
    EXPECT_EQ(header.normalization, "total field");
    EXPECT_EQ(Written(header), old + "WAVEFORM NORMALIZED BY\ntotal field\n");

    // A later read of a current header clears what the old one left.
    std::istringstream current(kTimeHeader);
    xDscReader currentIn(current);
    ASSERT_TRUE(header.Read(currentIn));
    EXPECT_FALSE(header.HasPendingLine());
    EXPECT_EQ(platform.Texts("note").size(), 1u);
}

TEST(EMWDesc, TimeScaling) {
    // A month is thirty weeks, not a calendar month; unknown units are seconds.
    const std::vector<std::pair<std::string, double>> units{
        {"nSec", 1e-9},    {"microsec", 1e-6}, {"mSec", 1e-3},
        {"sec", 1.0},      {"min", 60.0},      {"hour", 3600.0},
        {"day", 86400.0},  {"week", 604800.0}, {"month", 30 * 604800.0},
        {"fortnight", 1.0}};
    for (const auto& [name, seconds] : units)
        EXPECT_EQ(xEMSDesc::SecondsPer(name), seconds) << name;

    xEMSDesc header;
    header.realHalfPeriod = 20.0f;
    header.nominalHalfPeriod = 10.0f;
    header.timeUnit = "mSec";
    EXPECT_DOUBLE_EQ(header.SecondsPerUnit(), 1e-3);
    EXPECT_DOUBLE_EQ(header.RealSeconds(5.0), 0.01);  // 5 nominal = 10 mSec
    header.timeUnit = "month";
    EXPECT_DOUBLE_EQ(header.RealSeconds(0.5), 18144000.0);
    header.nominalHalfPeriod = 0.0f;
    EXPECT_EQ(header.RealSeconds(5.0), 0.0);

    // Timing is no part of a system's identity.
    xEMSDesc same = header;
    same.realHalfPeriod = 7.0f;
    same.waveformType = "transient";
    EXPECT_TRUE(same == header);
    same.dateDefined = "tomorrow";
    EXPECT_FALSE(same == header);
}

TEST(EMWDesc, BrokenInputFailsTheReader) {
    xRecordingPlatform platform;
    // Every line counts: a block that stops short of its last line fails.
    auto readsHeader = [](const std::string& text) {
        std::istringstream file(text);
        xDscReader in(file);
        return xEMSDesc().Read(in);
    };
    auto readsBlock = [](const std::string& text, bool frequencyDomain) {
        std::istringstream file(text);
        xDscReader in(file);
        return xEMWDesc().Read(in, 9, frequencyDomain);
    };
    for (const std::string& prefix : LinePrefixes(kTimeHeader))
        EXPECT_FALSE(readsHeader(prefix)) << prefix;
    for (const std::string& prefix : LinePrefixes(kTimeBlock))
        EXPECT_FALSE(readsBlock(prefix, false)) << prefix;
    for (const std::string& prefix : LinePrefixes(kFrequencyBlock))
        EXPECT_FALSE(readsBlock(prefix, true)) << prefix;

    auto breakBlock = [&](const std::string& from, const std::string& to, bool frequencyDomain) {
        std::string text = frequencyDomain ? kFrequencyBlock : kTimeBlock;
        std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        text.replace(at, from.size(), to);
        return readsBlock(text, frequencyDomain);
    };
    EXPECT_FALSE(breakBlock("\n3\n", "\nthree\n", false));
    EXPECT_FALSE(breakBlock("\n3\n", "\n-3\n", false));
    EXPECT_FALSE(breakBlock("\n3\n", "\n2000000000\n", false));
    EXPECT_FALSE(breakBlock("\n2\n", "\n100001\n", false));
    EXPECT_FALSE(breakBlock("   500.000000", "   5OO.000000", false));
    EXPECT_FALSE(breakBlock("2.000000  5.000000", "two  five", false));
    EXPECT_FALSE(breakBlock("0.250000\n", "\n", false));
    EXPECT_FALSE(breakBlock("\n3\n", "\n-1\n", true));
    EXPECT_FALSE(breakBlock("0.500000 2.000000", "0.5 x", true));

    std::string header = kTimeHeader;
    header.replace(header.find("20.000000  10.000000"), 20, "twenty  ten");
    EXPECT_FALSE(readsHeader(header));

    EXPECT_TRUE(platform.Texts("fatal").empty());
}

TEST(EMWDesc, ValidationWords) {
    xEMSDesc header;
    xEMWDesc wave;
    // New: both half periods 1, one window, but no receiver waveform yet.
    EXPECT_EQ(wave.Validate(header), std::vector<std::string>{"Undefined waveform or windows."});

    wave.rxPrimary.source = "calibrated";
    wave.rxPrimary.samples = FloatMatrix(2, 3);
    EXPECT_TRUE(wave.Validate(header).empty());
    // A window may end at the half period, not after it; the first past it is named.
    wave.windows = FloatMatrix(0, 2, 0, 1);
    wave.windows[0][1] = 0.5f;
    wave.windows[1][1] = 1.0f;
    wave.windows[2][1] = 1.25f;
    EXPECT_EQ(wave.Validate(header),
              std::vector<std::string>{"Window 3 ends at 1.25, past the half period of 1."});

    header.realHalfPeriod = 0.0f;
    header.nominalHalfPeriod = -1.0f;
    wave.windows = FloatMatrix(0, 2);
    EXPECT_EQ(wave.Validate(header),
              (std::vector<std::string>{"Undefined halfperiod in real time.",
                                        "Undefined halfperiod in nominal time.",
                                        "Undefined waveform or windows."}));

    // Frequencies alone count in the frequency domain.
    header.waveformType = "frequency domain";
    EXPECT_TRUE(wave.Validate(header).empty());
    wave.frequencies = FloatMatrix(0, 1);
    EXPECT_EQ(wave.Validate(header), std::vector<std::string>{"Undefined frequencies."});
}

#include "xArray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "xRecordingPlatform.h"

namespace {

std::string Bytes(std::initializer_list<int> values) {
    std::string s;
    for (int v : values) s.push_back(char(v));
    return s;
}

// Little-endian bytes of 2, 4, then 1.0f, -2.5f, 3.25f.
const std::string kBounds = Bytes({2, 0, 0, 0, 4, 0, 0, 0});
const std::string kFloats =
    Bytes({0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x20, 0xC0, 0x00, 0x00, 0x50, 0x40});

FloatArray Sample() {
    FloatArray a(2, 4);
    a[2] = 1.0f;
    a[3] = -2.5f;
    a[4] = 3.25f;
    return a;
}

}  // namespace

TEST(ArrayConstruction, BoundsOutOfOrderOnlyLongArraySpeaksAndExhaustedMemoryIsFatal) {
    xRecordingPlatform platform;
    FloatArray f(3, 1);
    DoubleArray d(3, 1);
    LongArray l(3, 1);
    EXPECT_EQ(f.Length() + d.Length() + l.Length(), 0);
    EXPECT_EQ(platform.Texts("error"),
              std::vector<std::string>{"Specified LongArray bounds out of order."});

    const long huge = 1L << 42;  // 16 TiB of floats: no machine of ours has it
    EXPECT_THROW(FloatArray(0, huge), xFatalError);
    EXPECT_THROW(d.Resize(huge), xFatalError);
    EXPECT_EQ(platform.Texts("fatal"),
              (std::vector<std::string>{"xArray: Out of memory!",
                                        "Out of memory, DoubleArray allocation."}));
}

TEST(ArrayViews, WriteThroughAndLeaveForeignStorageAlone) {
    float storage[4] = {1, 2, 3, 4};
    {
        FloatArray view(storage, 1, 4);
        EXPECT_FALSE(view.OwnsData());
        EXPECT_EQ(view[1], 1.0f);
        view[4] = 40.0f;
        FloatArray copy(view);  // a copy owns its own block
        EXPECT_TRUE(copy.OwnsData());
        copy[1] = -1.0f;
        FloatArray replacement(1, 4);
        replacement[2] = 20.0f;
        view = replacement;  // same shape: written through into the storage
    }  // the view's destructor must not free the stack block (the sanitizer build checks)
    EXPECT_EQ(std::vector<float>(storage, storage + 4), (std::vector<float>{0, 20, 0, 0}));

    float other[2] = {5, 6};
    FloatArray view(other, 2);
    FloatArray wider(0, 4);
    view = wider;  // different shape: the view detaches instead of overrunning
    EXPECT_TRUE(view.OwnsData());
    EXPECT_EQ(view.Length(), 5);
    EXPECT_EQ(other[0], 5.0f);
}

TEST(ArrayArithmetic, UnequalBoundsAreFatalWithTheClassName) {
    xRecordingPlatform platform;
    FloatArray f(0, 2), g(1, 3);  // same length, other bounds
    EXPECT_THROW(f += g, xFatalError);
    LongArray l(0, 2), m(0, 3);
    EXPECT_THROW(l -= m, xFatalError);
    DoubleArray d(0, 2), e(1, 3);
    EXPECT_THROW(d *= e, xFatalError);
    EXPECT_THROW(d /= e, xFatalError);
    EXPECT_THROW(f.Dot(g), xFatalError);
    EXPECT_EQ(
        platform.Texts("fatal"),
        (std::vector<std::string>{"FloatArray : Attempt to sum arrays of unequal size.",
                                  "LongArray : Attempt to subtract arrays of unequal size.",
                                  "DoubleArray : Attempt to multiply arrays of unequal size.",
                                  "DoubleArray : Attempt to divide arrays of unequal size.",
                                  "FloatArray : Attempt to multiply arrays of unequal size."}));
}

TEST(ArraySearch, MinMaxWithBlankMarker) {
    const float blank = -32767.0f;
    FloatArray a(0, 4);
    float values[] = {blank, 3.0f, blank, -1.0f, 7.0f};
    for (long i = 0; i < 5; ++i) a[i] = values[i];
    EXPECT_EQ(a.Min(), blank);
    EXPECT_EQ(a.Min(&blank), -1.0f);
    EXPECT_EQ(a.Max(&blank), 7.0f);
    EXPECT_EQ(a.Range(&blank), 8.0f);

    FloatArray blanks(0, 2);
    blanks += blank;
    EXPECT_EQ(blanks.Min(&blank), blank);
    EXPECT_EQ(blanks.Max(&blank), blank);
}

TEST(ArraySearch, FindCountSubArrayCopyFrom) {
    LongArray a(5, 9);
    std::int32_t values[] = {4, 7, 4, 9, 7};
    for (long i = 0; i < 5; ++i) a[5 + i] = values[i];
    EXPECT_EQ(a.Find(7), 6);  // a bounded index
    EXPECT_EQ(a.Find(8), 0);
    EXPECT_EQ(a.Count(4), 2);

    LongArray middle = a.SubArray(6, 8);
    EXPECT_EQ(middle.Low(), 6);
    EXPECT_EQ(middle.High(), 8);
    EXPECT_EQ(middle[8], 9);

    LongArray target(0, 4);
    target.CopyFrom(a, 7, 1, 3);
    EXPECT_EQ(std::vector<std::int32_t>(target.Data(), target.Data() + 5),
              (std::vector<std::int32_t>{0, 4, 9, 7, 0}));
}

TEST(ArraySearch, NearestIndexCountsFromZeroAndAnswersZeroBeyondTheEnd) {
    FloatArray rising(5, 8);  // 0 10 20 30
    for (long i = 0; i < 4; ++i) rising[5 + i] = 10.0f * float(i);
    // A tie (15) takes the predecessor; beyond the last (35) the answer is 0, not 3.
    for (const auto& [value, index] :
         {std::pair{14.0f, 1L}, {15.0f, 1L}, {16.0f, 2L}, {30.0f, 3L}, {-5.0f, 0L}, {35.0f, 0L}})
        EXPECT_EQ(rising.NearestIndex(value), index) << value;

    FloatArray falling(0, 2);  // 30 20 10
    for (long i = 0; i < 3; ++i) falling[i] = 30.0f - 10.0f * float(i);
    EXPECT_EQ(falling.NearestIndex(12.0f), 2);
    EXPECT_EQ(falling.NearestIndex(26.0f), 0);
    EXPECT_EQ(falling.NearestIndex(5.0f), 0);

    FloatArray empty(7, 6);
    EXPECT_EQ(empty.NearestIndex(1.0f), 7);
}

TEST(ArrayEquality, ToleranceAndStricterInequality) {
    FloatArray zeros(0, 3), others(0, 3);
    EXPECT_TRUE(zeros == others);  // 0 <= 0

    FloatArray a = Sample(), b = Sample();
    EXPECT_TRUE(a == b);
    b[3] = std::nextafter(b[3], 0.0f);  // one float step is far above 5e-10 relative
    EXPECT_FALSE(a == b);

    DoubleArray x(0, 1), y(0, 1);
    x[0] = 1.0;
    y[0] = 1.0 + 4e-10;  // within 5e-10 * |x + y| = 1e-9
    EXPECT_TRUE(x == y);
    y[0] = 1.0 + 2e-9;
    EXPECT_FALSE(x == y);

    FloatArray shifted = Sample();
    shifted.SetLowBound(0);
    EXPECT_TRUE(shifted == a);  // equality ignores bounds...
    EXPECT_TRUE(shifted != a);  // ...inequality does not
}

TEST(ArrayStreams, RawBinaryBytesWithAndWithoutBounds) {
    FloatArray a = Sample();
    std::ostringstream plain, bounded;
    a.WriteBinary(plain, false);
    a.WriteBinary(bounded, true);
    EXPECT_EQ(plain.str(), kFloats);
    EXPECT_EQ(bounded.str(), kBounds + kFloats);

    std::istringstream in(kBounds + kFloats);
    FloatArray back;
    ASSERT_TRUE(back.ReadBinary(in, true));
    EXPECT_EQ(back.Low(), 2);
    EXPECT_EQ(back.High(), 4);
    EXPECT_FALSE(back != a);

    std::istringstream shortInput(kFloats.substr(0, 6));
    FloatArray truncated(0, 2);
    EXPECT_FALSE(truncated.ReadBinary(shortInput, false));

    DoubleArray d(0, 0);
    d[0] = 1.0;
    std::ostringstream doubles;
    d.WriteBinary(doubles, true);
    EXPECT_EQ(doubles.str(), Bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F}));

    LongArray l(0, 1);
    l[0] = -2;
    l[1] = 258;
    std::ostringstream longs;
    l.WriteBinary(longs, false);
    EXPECT_EQ(longs.str(), Bytes({0xFE, 0xFF, 0xFF, 0xFF, 0x02, 0x01, 0, 0}));
}

TEST(ArrayStreams, StoredFormCarriesLengthBoundsAndOwnerFlag) {
    FloatArray a = Sample();
    std::ostringstream owned;
    a.SaveGuts(owned);
    EXPECT_EQ(owned.str(), Bytes({3, 0, 0, 0}) + kBounds + Bytes({1, 0}) + kFloats);
    EXPECT_EQ(long(owned.str().size()), FloatArray::StoredHeaderSize + 4 * a.Length());

    FloatArray view(a.Data(), 2, 4);
    std::ostringstream viewed;
    view.SaveGuts(viewed);
    EXPECT_EQ(viewed.str(), Bytes({3, 0, 0, 0}) + kBounds + Bytes({0, 0}) + kFloats);

    std::istringstream in(viewed.str());
    FloatArray back(0, 0);
    ASSERT_TRUE(back.RestoreGuts(in));
    EXPECT_TRUE(back.OwnsData());
    EXPECT_FALSE(back != a);
}

TEST(ArrayStreams, AsciiFormsAndRoundTrip) {
    FloatArray a = Sample();
    std::ostringstream bounded, plain;
    a.WriteAscii(bounded, true);
    a.WriteAscii(plain, false);
    const std::string elements = std::string(19, ' ') + "1" + std::string(16, ' ') + "-2.5" +
                                 std::string(16, ' ') + "3.25\n";
    EXPECT_EQ(bounded.str(), "         2         4\n" + elements);
    EXPECT_EQ(plain.str(), elements);

    std::istringstream in(bounded.str());
    FloatArray back;
    back.ReadAscii(in);
    EXPECT_FALSE(back != a);
}

TEST(ArrayStreams, AsciiFailuresAreFatal) {
    xRecordingPlatform platform;
    std::istringstream garbage("2 4 1.0 oops");
    DoubleArray d;
    EXPECT_THROW(d.ReadAscii(garbage), xFatalError);
    std::ostringstream closed;
    closed.setstate(std::ios::badbit);
    LongArray l(0, 1);
    EXPECT_THROW(l.WriteAscii(closed, true), xFatalError);
    EXPECT_EQ(platform.Texts("fatal"),
              (std::vector<std::string>{"Error reading DoubleArray from ASCII filestream.",
                                        "Error writing LongArray to ASCII filestream."}));
}

TEST(ArrayStreams, ListingHasTheRuleLine) {
    DoubleArray d(1, 1);
    std::ostringstream out;
    d.List(out);
    EXPECT_EQ(out.str().substr(0, out.str().find('\n')),
              "-------------------------DoubleArray-------------------------");
}

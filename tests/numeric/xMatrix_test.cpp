#include "xMatrix.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "xRecordingPlatform.h"

namespace {

// Rows 2..3, columns -1..1:  [1 2 3; 4 5 6]
FloatMatrix TwoByThree() {
    FloatMatrix m(2, 3, -1, 1);
    float v = 1.0f;
    for (long r = 2; r <= 3; ++r)
        for (long c = -1; c <= 1; ++c) m[r][c] = v++;
    return m;
}

using Grid = std::vector<std::vector<double>>;

// The elements row by row, whatever the bounds.
template <class Matrix>
Grid Elements(const Matrix& m) {
    Grid grid;
    for (long r = m.RowLow(); r <= m.RowHigh(); ++r) {
        grid.emplace_back();
        for (long c = m.ColLow(); c <= m.ColHigh(); ++c) grid.back().push_back(m[r][c]);
    }
    return grid;
}

}  // namespace

TEST(MatrixRows, FreeBoundsOnBothAxesAndCheckedAccess) {
    FloatMatrix m = TwoByThree();
    EXPECT_EQ(m.Rows(), 2);
    EXPECT_EQ(m.Cols(), 3);
    EXPECT_EQ(m[3][0], 5.0f);
    EXPECT_EQ(m[2].Low(), -1);
    EXPECT_FALSE(m[2].OwnsData());
    EXPECT_EQ(m.RowAt(1), nullptr);
    EXPECT_EQ(m.RowAt(4), nullptr);
    ASSERT_NE(m.RowAt(3), nullptr);
    EXPECT_EQ((*m.RowAt(3))[1], 6.0f);

    FloatMatrix copy(m);  // deep: the copy's rows look at the copy's block
    copy[2][-1] = 100.0f;
    EXPECT_EQ(m[2][-1], 1.0f);
    EXPECT_EQ(copy.Data(), &copy[2][-1]);
}

TEST(MatrixRows, RebuildKeepsTheBlockOnlyForTheSameShape) {
    FloatMatrix m = TwoByThree();
    m.Resize(10, 11, -1, 1);  // same counts, same column low: block kept, rows renamed
    EXPECT_EQ(m.RowLow(), 10);
    EXPECT_EQ(Elements(m), (Grid{{1, 2, 3}, {4, 5, 6}}));

    m.Resize(10, 11, 0, 2);  // a new column low bound: new zeroed block
    EXPECT_EQ(m.Sum(), 0.0f);

    FloatMatrix n = TwoByThree();
    n.Resize(0, 2, -1, 1);
    EXPECT_EQ(n.Count(), 9);
    EXPECT_EQ(n.Sum(), 0.0f);
}

TEST(MatrixOperations, LimitsWithBlankMarker) {
    const float blank = -32767.0f;
    FloatMatrix m = TwoByThree();
    m[2][-1] = blank;
    m[3][1] = blank;
    EXPECT_EQ(m.Min(), blank);
    EXPECT_EQ(m.Min(&blank), 2.0f);
    EXPECT_EQ(m.Max(&blank), 5.0f);
    EXPECT_EQ(m.RowMin(2, &blank), 2.0f);
    EXPECT_EQ(m.RowMax(3, &blank), 5.0f);
    EXPECT_EQ(m.ColumnMin(-1, &blank), 4.0f);
    EXPECT_EQ(m.ColumnMax(1, &blank), 3.0f);
    EXPECT_EQ(m.RowsMin(3, 3, &blank), 4.0f);
    EXPECT_EQ(m.RowsMax(2, 3), 5.0f);

    float lo = 0, hi = 0;
    ASSERT_TRUE(m.BlockRange(2, 3, -1, 0, lo, hi, &blank));
    EXPECT_EQ(lo, 2.0f);  // seeded by the first non-blank (2), not by the blank
    EXPECT_EQ(hi, 5.0f);
    m[3][-1] = blank;
    m[2][0] = blank;
    m[3][0] = blank;
    lo = hi = 42.0f;
    EXPECT_FALSE(m.BlockRange(2, 3, -1, 0, lo, hi, &blank));
    EXPECT_EQ(lo, 42.0f);
}

TEST(MatrixOperations, ProductDifferenceTransposeFlip) {
    FloatMatrix a = TwoByThree();
    FloatMatrix t = a.Transposed();
    EXPECT_EQ(t.RowLow(), -1);
    EXPECT_EQ(t.ColLow(), 2);
    EXPECT_EQ(t[1][2], 3.0f);
    EXPECT_EQ(Elements(a * t), (Grid{{14, 32}, {32, 77}}));

    FloatMatrix zero = a - a;
    EXPECT_EQ(zero.Sum(), 0.0f);

    FloatMatrix flipped = a;
    flipped.FlipVertical();
    EXPECT_EQ(Elements(flipped), (Grid{{4, 5, 6}, {1, 2, 3}}));

    FloatMatrix inPlace = a;
    inPlace.TransposeInPlace();
    EXPECT_TRUE(inPlace == t);

    FloatMatrix small(1, 2);
    small[0][0] = 1;
    small[0][1] = 1;
    FloatMatrix sum = a;
    sum += small;  // only the first two elements of the block take part
    EXPECT_EQ(Elements(sum), (Grid{{2, 3, 3}, {4, 5, 6}}));
    sum *= 2.0f;
    sum -= 1.0f;
    sum /= 3.0f;
    EXPECT_EQ(sum[2][-1], 1.0f);
}

TEST(MatrixOperations, DimensionErrorsAndUnimplementedRowEdits) {
    xRecordingPlatform platform;
    FloatMatrix a = TwoByThree();
    EXPECT_EQ((a * a).Rows(), 0);
    EXPECT_EQ((a - FloatMatrix(3, 3)).Rows(), 0);
    DoubleMatrix d(2, 2), e(3, 3);
    EXPECT_EQ((d * e).Rows(), 0);
    EXPECT_EQ(
        platform.Texts("error"),
        (std::vector<std::string>{"FloatMatrix::operator*() matrix multiplication, dimension error",
                                  "FloatMatrix::operator-() matrix subtraction, dimension error",
                                  "DoubleMatrix::operator*() matrix multiplication error."}));

    EXPECT_EQ(a.AppendRow(a[2]), 0);
    EXPECT_EQ(a.InsertRow(2, a[2]), 0);
    EXPECT_EQ(d.DeleteRow(0), 0);
    EXPECT_EQ(a.Rows(), 2);
    EXPECT_EQ(platform.Texts("warning"),
              (std::vector<std::string>{"WARNING: FloatMatrix::AppendRow() not implemented!",
                                        "WARNING: FloatMatrix::InsertRow() not implemented!",
                                        "WARNING: DoubleMatrix::DeleteRow() not implemented!"}));
}

TEST(MatrixRows, ExhaustedMemoryIsFatal) {
    xRecordingPlatform platform;
    EXPECT_THROW(FloatMatrix(1L << 21, 1L << 21), xFatalError);
    EXPECT_THROW(DoubleMatrix(1L << 21, 1L << 21), xFatalError);
    EXPECT_EQ(platform.Texts("fatal"), (std::vector<std::string>{"FloatMatrix: Out of memory!",
                                                                 "DoubleMatrix: Out of memory!"}));
}

TEST(MatrixStreams, RawBinaryBytes) {
    FloatMatrix m(1, 1, 0, 1);
    m[1][0] = 1.0f;
    m[1][1] = -2.0f;
    std::ostringstream bounded, plain;
    m.WriteBinary(bounded, true);
    m.WriteBinary(plain, false);
    const std::string block("\x00\x00\x80\x3F\x00\x00\x00\xC0", 8);
    const std::string bounds("\x01\0\0\0\x01\0\0\0\0\0\0\0\x01\0\0\0", 16);
    EXPECT_EQ(plain.str(), block);
    EXPECT_EQ(bounded.str(), bounds + block);

    std::istringstream in(bounded.str());
    FloatMatrix back;
    ASSERT_TRUE(back.ReadBinary(in, true));
    EXPECT_EQ(back.RowLow(), 1);
    EXPECT_TRUE(back == m);

    DoubleMatrix d(1, 1);
    d[0][0] = 2.0;
    std::ostringstream doubles;
    d.WriteBinary(doubles, false);
    EXPECT_EQ(doubles.str(), std::string("\0\0\0\0\0\0\0\x40", 8));
}

TEST(MatrixStreams, AsciiFormAndErrors) {
    FloatMatrix m = TwoByThree();
    std::ostringstream out;
    ASSERT_TRUE(m.WriteAscii(out));
    const std::string pad(14, ' ');
    EXPECT_EQ(out.str(), "2 3 -1 1\n" + pad + "1 " + pad + "2 " + pad + "3\n" + pad + "4 " + pad +
                             "5 " + pad + "6\n");

    std::istringstream in(out.str());
    FloatMatrix back;
    ASSERT_TRUE(back.ReadAscii(in));
    EXPECT_TRUE(back == m);
    EXPECT_EQ(back.ColLow(), -1);

    xRecordingPlatform platform;
    std::istringstream broken("0 1 0 1\n1 2\n3");
    DoubleMatrix d;
    EXPECT_FALSE(d.ReadAscii(broken));
    std::ostringstream closed;
    closed.setstate(std::ios::badbit);
    EXPECT_FALSE(m.WriteAscii(closed));
    EXPECT_EQ(platform.Texts("error"),
              (std::vector<std::string>{"DoubleMatrix: Error reading matrix from ASCII stream.",
                                        "FloatMatrix: Error writing matrix to ASCII stream."}));
}

TEST(MatrixStreams, DumpIsTheAsciiFormInFixedNotationAndLeavesTheStreamAsItWas) {
    DoubleMatrix m(0, 0, 0, 1);
    m[0][0] = 1.0 / 3.0;
    m[0][1] = 2.5;
    std::ostringstream out;
    out << 0.125 << ' ';
    m.Dump(out);
    out << 0.125;
    const std::string pad(11, ' ');
    EXPECT_EQ(out.str(), "0.125 0 0 0 1\n" + pad + "0.33 " + pad + "2.50\n0.125");
}

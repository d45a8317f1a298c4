#include "FloatFMatrix.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "TempFolder.h"
#include "xRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

class FloatFMatrixTest : public xTempFolderTest {
  protected:
    fs::path File(const std::string& name) const { return dir_ / name; }

    // The little-endian 4-byte value at place, as an int32 or a float.
    template <class T>
    static T At(const std::string& bytes, std::size_t place) {
        T value;
        std::memcpy(&value, bytes.data() + place, 4);
        return value;
    }

    xRecordingPlatform platform_;
};

}  // namespace

TEST_F(FloatFMatrixTest, WindowRecentresAndClampsAtBothEnds) {
    FloatFMatrix m;
    ASSERT_EQ(m.Init(0, 4, 10, 1), 1);
    EXPECT_EQ(m.Pages(), 3);
    struct Case {
        long row, low, high;
    } cases[] = {{5, 3, 6}, {9, 7, 9}, {0, 0, 3}, {8, 6, 9}, {1, 0, 3}};
    for (const auto& c : cases) {
        m[c.row];
        EXPECT_EQ(m.RowLow(), c.low) << "row " << c.row;
        EXPECT_EQ(m.RowHigh(), c.high) << "row " << c.row;
    }
}

TEST_F(FloatFMatrixTest, FileLayoutAtAnOffset) {
    const fs::path path = Put("layout.fm", "HEADER!!");  // 8 bytes that belong to someone else
    {
        FloatFMatrix m(path);
        ASSERT_EQ(m.Init(8, 2, 3, 2), 1);
        for (long r = 0; r < 3; ++r)
            for (long c = 0; c < 2; ++c) m[r][c] = float(10 * r + c);
        m.Flush();
    }
    const std::string bytes = Slurp(path);
    ASSERT_EQ(bytes.size(), 8u + 16u + 3u * 2u * 4u);
    EXPECT_EQ(bytes.substr(0, 8), "HEADER!!");
    const std::int32_t bounds[] = {0, 2, 0, 1};  // rows 0..2, columns 0..1
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(At<std::int32_t>(bytes, 8 + 4 * i), bounds[i]);
    for (long r = 0; r < 3; ++r)
        for (long c = 0; c < 2; ++c)
            EXPECT_EQ(At<float>(bytes, std::size_t(8 + 16 + (r * 2 + c) * 4)), float(10 * r + c));

    FloatFMatrix reader(path);
    ASSERT_EQ(reader.Init(8, 2), 1);  // dimensions from the header
    EXPECT_EQ(reader.FileRows(), 3);
    EXPECT_EQ(reader.Cols(), 2);
    EXPECT_EQ(reader[2][1], 21.0f);
    EXPECT_EQ(reader[0][0], 0.0f);
}

TEST_F(FloatFMatrixTest, RandomWalkMatchesAnInMemoryCopy) {
    const long rows = 257, cols = 5;
    std::vector<float> reference(rows * cols, 0.0f);
    std::mt19937 random(7);
    std::uniform_int_distribution<long> anyRow(0, rows - 1), anyCol(0, cols - 1);
    const fs::path path = File("walk.fm");
    {
        FloatFMatrix m(path);
        ASSERT_EQ(m.Init(0, 16, rows, cols), 1);
        for (int step = 0; step < 5000; ++step) {
            long r = anyRow(random), c = anyCol(random);
            if (step % 3 == 0) {
                float value = float(step);
                m[r][c] = value;
                reference[r * cols + c] = value;
            } else {
                const FloatFMatrix& reader = m;
                ASSERT_EQ(reader[r][c], reference[r * cols + c]) << "step " << step;
            }
        }
    }  // a named matrix writes its last window back when it goes
    FloatFMatrix reader(path);
    ASSERT_EQ(reader.Init(0, 16), 1);
    for (long r = 0; r < rows; ++r)
        for (long c = 0; c < cols; ++c) ASSERT_EQ(reader[r][c], reference[r * cols + c]);
}

TEST_F(FloatFMatrixTest, FillReachesEveryRowOfTheFile) {
    const fs::path path = File("fill.fm");
    {
        FloatFMatrix m(path);
        ASSERT_EQ(m.Init(0, 3, 11, 2), 1);  // 3 whole windows and 2 rows more
        m.Fill(-32767.0f);
    }
    const std::string bytes = Slurp(path);
    ASSERT_EQ(bytes.size(), 16u + 11u * 2u * 4u);
    for (std::size_t place = 16; place < bytes.size(); place += 4)
        EXPECT_EQ(At<float>(bytes, place), -32767.0f);
}

TEST_F(FloatFMatrixTest, TemporaryFileGoesNamedFileStays) {
    fs::path temporary;
    {
        FloatFMatrix m;
        ASSERT_EQ(m.Init(0, 2, 4, 4), 1);
        temporary = m.FileName();
        EXPECT_TRUE(m.IsTemporary());
        EXPECT_TRUE(fs::exists(temporary));
    }
    EXPECT_FALSE(fs::exists(temporary));
    {
        FloatFMatrix m(File("kept.fm"));
        ASSERT_EQ(m.Init(0, 2, 4, 4), 1);
    }
    EXPECT_TRUE(fs::exists(File("kept.fm")));
    EXPECT_TRUE(platform_.messages.empty());
}

TEST_F(FloatFMatrixTest, CopyIsRowByRowAndAssignmentIsRefused) {
    FloatFMatrix m;
    ASSERT_EQ(m.Init(0, 2, 6, 3), 1);
    for (long r = 0; r < 6; ++r) m[r][2] = float(r);
    FloatFMatrix copy(m);
    EXPECT_NE(copy.FileName(), m.FileName());
    for (long r = 5; r >= 0; --r) EXPECT_EQ(copy[r][2], float(r));

    FloatFMatrix other;
    other.Init(0, 2, 1, 1);
    other = m;
    EXPECT_EQ(other.FileRows(), 1);
    EXPECT_TRUE(platform_.Saw("error", "FloatFMatrix: operator= called - Not implemented!"));
}

TEST_F(FloatFMatrixTest, OutOfRangeIndicesAreFatal) {
    FloatFMatrix m;
    ASSERT_EQ(m.Init(0, 2, 3, 2), 1);
    EXPECT_THROW(m[3], xFatalError);
    EXPECT_THROW(m[-1], xFatalError);
    EXPECT_THROW(m.At(1, 2), xFatalError);
    EXPECT_EQ(m.At(2, 1), 0.0f);
    EXPECT_EQ(platform_.Texts("fatal"),
              (std::vector<std::string>{"FloatFMatrix: Row index out of range!",
                                        "FloatFMatrix: Row index out of range!",
                                        "FloatFMatrix: Column index out of range!"}));
}

TEST_F(FloatFMatrixTest, MissingHeaderIsAnError) {
    FloatFMatrix m(File("empty.fm"));
    EXPECT_EQ(m.Init(0, 2), 0);
    EXPECT_EQ(platform_.Texts("error").size(), 1u);
}

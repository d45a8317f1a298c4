#include "xFigureFile.h"

#include <gtest/gtest.h>
#include <qcustomplot.h>

#include <QImage>
#include <QSvgRenderer>
#include <regex>

#include "PlotFixtures.h"
#include "PlotTestSupport.h"
#include "TempFolder.h"
#include "xMCond.h"
#include "xSectionFigure.h"
#include "xSectionGrid.h"

namespace {

class xFigureFileTest : public xTempFolderTest {
  protected:
    void SetUp() override {
        xTempFolderTest::SetUp();
        plottest::WriteCnd(dir_ / "P.CND", 3, 40, [](long r, float depth) {
            return depth < 30.0f + float(r) ? 5.0f : 200.0f;
        });
        xMCond cnd;
        cnd.SetPath(dir_ / "P.CND");
        ASSERT_EQ(cnd.Open(), 1);
        ASSERT_TRUE(cnd.ReadHeader());
        xSectionRequest request;
        request.line = 3;
        std::string error;
        ASSERT_TRUE(ReadSectionGrid(cnd, request, grid_, error)) << error;
    }

    xSectionGrid grid_;
    QCustomPlot plot_;
};

int PdfPages(const std::string& bytes) {
    static const std::regex page(R"(/Type\s*/Page[^s])");
    return int(std::distance(std::sregex_iterator(bytes.begin(), bytes.end(), page),
                             std::sregex_iterator()));
}

}  // namespace

TEST_F(xFigureFileTest, EveryFormatOpensAsWhatItIs) {
    DrawSection(plot_, grid_, xSectionLook{});
    std::string error;
    for (const char* name : {"s.png", "s.SVG", "s.pdf"})
        ASSERT_TRUE(SaveFigure(plot_, dir_ / name, QSize(640, 400), error)) << name << error;
    const QImage png(QString::fromStdString((dir_ / "s.png").string()));
    EXPECT_EQ(png.size(), QSize(640, 400));
    QSvgRenderer svg(QString::fromStdString((dir_ / "s.SVG").string()));
    EXPECT_TRUE(svg.isValid());
    EXPECT_EQ(svg.viewBox(), QRect(0, 0, 640, 400));
    const std::string pdf = Slurp(dir_ / "s.pdf");
    EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
    EXPECT_EQ(PdfPages(pdf), 1);
    EXPECT_NE(pdf.find("%%EOF"), std::string::npos);
}

TEST_F(xFigureFileTest, AnUnknownKindOrAnUnwritablePlaceKeepsWhatWasThere) {
    DrawSection(plot_, grid_, xSectionLook{});
    std::string error;
    EXPECT_FALSE(SaveFigure(plot_, dir_ / "s.jpg", QSize(300, 200), error));
    EXPECT_EQ(error, "A figure is written as .png, .svg or .pdf, not s.jpg.");
    EXPECT_FALSE(std::filesystem::exists(dir_ / "s.jpg"));
    EXPECT_FALSE(SaveFigure(plot_, dir_ / "no" / "s.png", QSize(300, 200), error));
    EXPECT_NE(error.find("Cannot write"), std::string::npos) << error;
    // Nothing but the finished file is left beside it.
    Put("old.png", "old");
    ASSERT_TRUE(SaveFigure(plot_, dir_ / "old.png", QSize(300, 200), error));
    EXPECT_NE(Slurp(dir_ / "old.png"), "old");
    for (const auto& entry : std::filesystem::directory_iterator(dir_))
        EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << entry.path();
}

TEST(FigureSizeTest, SizesAreReadAndHeldToSaneBounds) {
    EXPECT_EQ(ParseFigureSize("1200x800"), QSize(1200, 800));
    EXPECT_EQ(ParseFigureSize("100X100"), QSize(100, 100));
    for (const char* bad : {"", "1200", "99x800", "1200x20001", "1200 x 800", "-5x10", "axb"})
        EXPECT_FALSE(ParseFigureSize(bad)) << bad;
}

TEST_F(xFigureFileTest, TheSectionLooksAsReviewed) {
    xSectionLook look;
    look.title = "Line 3";
    DrawSection(plot_, grid_, look);
    EXPECT_TRUE(plottest::MatchesReference(plottest::Render(plot_, QSize(480, 320)), "cdi"));
    look.elevation = true;
    look.low = 1;
    look.high = 1000;
    DrawSection(plot_, grid_, look);
    EXPECT_TRUE(
        plottest::MatchesReference(plottest::Render(plot_, QSize(480, 320)), "cdi-elevation"));
}

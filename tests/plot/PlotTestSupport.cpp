#include <gtest/gtest.h>

#include "PlotTestSupport.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "xFigureFile.h"

namespace fs = std::filesystem;

namespace {

class QtEnvironment : public ::testing::Environment {
  public:
    // Offscreen with or without a display, so that pictures do not depend on one.
    void SetUp() override {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        EnsureFigureApplication();
    }
    void TearDown() override { EndFigureThreads(); }
};

[[maybe_unused]] auto* const kQt = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

fs::path ReferenceFolder() {
    return fs::path(TOVARN_PLOT_REFERENCES);
}

}  // namespace

namespace plottest {

QImage Render(QCustomPlot& plot, QSize size) {
    plot.setViewport(QRect(QPoint(0, 0), size));
    plot.replot();
    return plot.toPixmap(size.width(), size.height()).toImage();
}

int ColourDistance(QColor a, QColor b) {
    return std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                     std::abs(a.blue() - b.blue())});
}

QColor ColourAt(const QImage& image, QCPAxisRect& rect, double x, double y) {
    const int px = int(std::lround(rect.axis(QCPAxis::atBottom)->coordToPixel(x)));
    const int py = int(std::lround(rect.axis(QCPAxis::atLeft)->coordToPixel(y)));
    return image.pixelColor(px, py);
}

QColor ClosestColourNear(const QImage& image, QCPAxisRect& rect, double x, double y,
                         QColor wanted) {
    const int px = int(std::lround(rect.axis(QCPAxis::atBottom)->coordToPixel(x)));
    const int py = int(std::lround(rect.axis(QCPAxis::atLeft)->coordToPixel(y)));
    QColor best = image.pixelColor(px, py);
    for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) {
            const QColor seen = image.pixelColor(px + dx, py + dy);
            if (ColourDistance(seen, wanted) < ColourDistance(best, wanted)) best = seen;
        }
    return best;
}

::testing::AssertionResult MatchesReference(const QImage& image, const std::string& name,
                                            double share, int distance) {
    const fs::path reference = ReferenceFolder() / (name + ".png");
    if (std::getenv("TOVARN_UPDATE_FIGURES")) {
        image.save(QString::fromStdString(reference.string()));
        return ::testing::AssertionSuccess() << "wrote " << reference;
    }
    const QImage stored(QString::fromStdString(reference.string()));
    const fs::path fresh = fs::temp_directory_path() / (name + "-new.png");
    image.save(QString::fromStdString(fresh.string()));
    if (stored.isNull())
        return ::testing::AssertionFailure()
               << "no reference " << reference << "; the picture drawn is " << fresh;
    if (stored.size() != image.size())
        return ::testing::AssertionFailure() << "size differs from " << reference;
    long differing = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            differing += ColourDistance(image.pixelColor(x, y), stored.pixelColor(x, y)) > distance;
    const double total = double(image.width()) * image.height();
    if (double(differing) <= share * total) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << differing << " of " << total << " pixels differ from " << reference
           << "; the picture drawn is " << fresh
           << " (TOVARN_UPDATE_FIGURES=1 makes it the reference once reviewed)";
}

}  // namespace plottest

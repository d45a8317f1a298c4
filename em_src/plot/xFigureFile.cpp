#include "xFigureFile.h"

#include <qcustomplot.h>
#include <QApplication>
#include <QBuffer>
#include <QByteArray>
#include <QPdfWriter>
#include <QSvgGenerator>
#include <QThreadPool>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <regex>

#include "xPendingFile.h"

namespace fs = std::filesystem;

std::optional<xFigureFormat> FigureFormatOf(const fs::path& path) {
    std::string ext = path.extension().string();
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    if (ext == ".png") return xFigureFormat::Png;
    if (ext == ".svg") return xFigureFormat::Svg;
    if (ext == ".pdf") return xFigureFormat::Pdf;
    return std::nullopt;
}

std::optional<QSize> ParseFigureSize(const std::string& text) {
    static const std::regex form(R"(([0-9]{1,5})[xX]([0-9]{1,5}))");
    std::smatch match;
    if (!std::regex_match(text, match, form)) return std::nullopt;
    const QSize size(std::stoi(match[1]), std::stoi(match[2]));
    if (size.width() < 100 || size.height() < 100 || size.width() > 20000 || size.height() > 20000)
        return std::nullopt;
    return size;
}

namespace {

// Qt wants a private runtime folder and warns on every run without one; a
// batch job or a container often has none, so one is made as Qt would.
void EnsureRuntimeFolder() {
    if (std::getenv("XDG_RUNTIME_DIR")) return;
    const fs::path folder =
        fs::temp_directory_path() / ("tovarn-runtime-" + std::to_string(getuid()));
    std::error_code ec;
    fs::create_directory(folder, ec);
    if (::chmod(folder.c_str(), 0700) == 0) setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
}

}  // namespace

void EnsureFigureApplication() {
    if (QApplication::instance() != nullptr) return;
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") &&
        !std::getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    EnsureRuntimeFolder();
    static int argc = 1;
    static char name[] = "tovarn";
    static char* argv[] = {name, nullptr};
    static auto* application = new QApplication(argc, argv);
    (void)application;
}

void EndFigureThreads() {
    QThreadPool::globalInstance()->waitForDone();
}

namespace {

QByteArray RenderPng(QCustomPlot& plot, QSize size) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    plot.toPixmap(size.width(), size.height()).save(&buffer, "PNG");
    return bytes;
}

// Vector forms paint at the figure's size in pixels: one pixel a point.
template <class Device>
void PaintVector(QCustomPlot& plot, QSize size, Device& device) {
    QCPPainter painter;
    painter.begin(&device);
    painter.setMode(QCPPainter::pmVectorized);
    painter.setMode(QCPPainter::pmNoCaching);
    painter.setMode(QCPPainter::pmNonCosmetic);
    plot.toPainter(&painter, size.width(), size.height());
    painter.end();
}

QByteArray RenderSvg(QCustomPlot& plot, QSize size) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setSize(size);
    generator.setViewBox(QRect(QPoint(0, 0), size));
    generator.setTitle("tovarn figure");
    PaintVector(plot, size, generator);
    return bytes;
}

QByteArray RenderPdf(QCustomPlot& plot, QSize size) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setCreator("tovarn");
    writer.setResolution(72);
    writer.setPageMargins(QMarginsF(0, 0, 0, 0));
    writer.setPageSize(QPageSize(QSizeF(size), QPageSize::Point, QString(), QPageSize::ExactMatch));
    PaintVector(plot, size, writer);
    return bytes;
}

}  // namespace

QByteArray RenderFigure(QCustomPlot& plot, QSize size, xFigureFormat format) {
    switch (format) {
        case xFigureFormat::Svg:
            return RenderSvg(plot, size);
        case xFigureFormat::Pdf:
            return RenderPdf(plot, size);
        case xFigureFormat::Png:
            break;
    }
    return RenderPng(plot, size);
}

bool SaveFigure(QCustomPlot& plot, const fs::path& path, QSize size, std::string& error) {
    const auto format = FigureFormatOf(path);
    if (!format) {
        error = "A figure is written as .png, .svg or .pdf, not " + path.filename().string() + ".";
        return false;
    }
    const QByteArray bytes = RenderFigure(plot, size, *format);
    if (bytes.isEmpty()) {
        error = "The figure " + path.string() + " could not be drawn.";
        return false;
    }
    xOutputFile file;
    if (!file.Open(path, std::ios::out | std::ios::binary)) {
        error = xPendingFile::FailureText(path, errno);
        return false;
    }
    file.Stream().write(bytes.constData(), bytes.size());
    error.clear();  // a failed commit has said why itself
    return file.Commit();
}

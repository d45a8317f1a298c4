#pragma once
// Figures as files: PNG, SVG or PDF by the name's extension, written whole or
// not at all (through a pending file), and the application object that Qt's
// drawing needs, made offscreen when there is no display.

#include <QSize>

#include <filesystem>
#include <optional>
#include <string>

class QByteArray;
class QCustomPlot;

enum class xFigureFormat { Png, Svg, Pdf };

// The format of a file name's extension, any case; none for another.
std::optional<xFigureFormat> FigureFormatOf(const std::filesystem::path& path);

// "1200x800" into a size of at least 100 x 100 and at most 20000 x 20000.
std::optional<QSize> ParseFigureSize(const std::string& text);

// A QApplication for figures, made on first call. With no display (no DISPLAY
// nor WAYLAND_DISPLAY) and no platform chosen, Qt draws offscreen.
void EnsureFigureApplication();

// Ends the worker threads Qt keeps after drawing (its image conversions run
// on a pool whose threads idle for half a minute), so that none is left
// running while the process tears down. Call before the process ends.
void EndFigureThreads();

// The plot laid out and drawn at size, in the format's bytes.
QByteArray RenderFigure(QCustomPlot& plot, QSize size, xFigureFormat format);

// The plot at size into path, in the format of its extension. On failure
// any earlier file at path is left as it was, and error holds the reason
// unless the platform was already told it.
bool SaveFigure(QCustomPlot& plot, const std::filesystem::path& path, QSize size,
                std::string& error);

#pragma once
// One record's decays and their fits, a panel per component stacked down the
// page: the data and the fit against the window centre time on log axes (a
// negative value drawn hollow at its magnitude), with the channels' noise as
// error bars where there is one, and beside each the amplitudes of the taus.

#include <QString>

class QCustomPlot;
struct xDecayData;

// Draws the decay on plot, replacing what it held.
void DrawDecay(QCustomPlot& plot, const xDecayData& decay, const QString& title);

// "Line 10010, record 250 (FID 31234.5)".
QString DecayTitle(const xDecayData& decay);

#pragma once
// The basis of one component: the response of every tau against the window
// centre time on log axes, a curve per tau coloured in order of tau with its
// key beside the plot, and the sampling windows shaded from start to end.

#include <QString>

#include <string>

class QCustomPlot;
class xAofTau;

// What keeps the component's basis from being drawn, in words; empty when
// it can be.
std::string BasisFigureProblem(const xAofTau& basis, long component);

// Draws the component's basis on plot, replacing what it held.
void DrawBasis(QCustomPlot& plot, const xAofTau& basis, long component, const QString& title);

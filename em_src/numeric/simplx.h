#pragma once
// Two-phase tableau simplex in single precision, the solver behind the L1 fits.
//
// The tableau has bounds from (1, 1), m + 2 rows and n + 1 columns. Row 1 is the
// objective to maximise (its costs in columns 2..n+1, column 1 starts at 0); row
// i + 1 is constraint i, with its right-hand side in column 1 and the negated
// coefficients after it. The first m1 constraints are at-most, the next m2
// at-least, the last m3 equalities; row m + 2 is scratch for phase one.
//
// On return izrov[1..n] names the variables left out of the basis and
// iposv[1..m] the variable that is basic in each constraint row, whose value is
// then a[i + 1][1]. Numbers 1..n are the problem's own variables, n + i the slack
// or artificial of constraint i. The arrays are given the bounds 1..n and 1..m
// when they have others.
//
// status is 0 when solved (the answer is the optimum, a[1][1]), 1 when the
// objective is unbounded (answer -99) and -1 when no point is feasible (answer
// -100). Bad counts and, with verbose, negative right-hand sides are reported as
// error boxes and the solve goes on: the L1 fits hand in negative data on purpose.

#include "xArray.h"
#include "xMatrix.h"

float simplx(FloatMatrix& a, int m, int n, int m1, int m2, int m3, int& status, LongArray& izrov,
             LongArray& iposv, float eps = 1e-6f, bool verbose = false);

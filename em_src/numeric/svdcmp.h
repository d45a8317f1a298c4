#pragma once
// Singular value decomposition A = U diag(w) V^T in single precision, on
// matrices indexed from 1. The tau selection reads the vectors as they come out
// of this routine (unsorted, signs as the sweeps leave them), so it is kept as
// the classic Golub-Reinsch method rather than handed to a library.

#include "xArray.h"
#include "xMatrix.h"

// a[1..m][1..n] (m >= n) is replaced by U; w[1..n] receives the singular values,
// unsorted, and v[1..n][1..n] the right vectors (not transposed). w and v are
// resized to those bounds when they do not cover them. A wide matrix must come
// in a square buffer, zero-filled below its rows, with m raised to n.
// A value that does not converge in 30 sweeps posts an error and the rest go on.
// Entries below about 1e-20 make the squares in the shift underflow and the
// sweeps can stop converging: scale such a matrix first.
void svdcmp(FloatMatrix& a, int m, int n, FloatArray& w, FloatMatrix& v);

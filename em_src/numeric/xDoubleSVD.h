#pragma once
// Least squares by singular value decomposition in double precision, for the
// SVD fitter. Used in this order: Assign, Decompose, SingularValues,
// SetTolerance, then BackSubstitute once per right-hand side. Misuse and bad
// data answer a status; nothing here posts a box.

#include <memory>

#include "xArray.h"
#include "xMatrix.h"

class xDoubleSVD {
  public:
    enum Status : int {
        Ok = 0,
        NotAssigned = 1,        // no matrix, or an empty one
        NotDecomposed = 2,      // asked for results before Decompose
        DimensionMismatch = 3,  // rhs is not one column with a row per matrix row
        NotFinite = 4,          // NaN or infinity in the matrix or the rhs
    };
    static const char* StatusText(int status);

    xDoubleSVD();
    xDoubleSVD(const xDoubleSVD& other);
    xDoubleSVD& operator=(const xDoubleSVD& other);
    ~xDoubleSVD();

    // Copies the matrix (any bounds) and forgets an earlier decomposition. The
    // tolerance is kept.
    void Assign(const DoubleMatrix& a);
    int Decompose();
    // min(rows, cols) values, largest first, indexed from the matrix's column
    // low bound.
    int SingularValues(DoubleArray& values) const;
    // Singular values below the tolerance count as zero; exact zeros always do.
    // Until it is set, the tolerance is max(rows, cols) * machine epsilon * the
    // largest singular value, the usual numerical rank cut.
    void SetTolerance(double tolerance);
    // The cut in force: the one set, else the default once decomposed, else 0.
    double Tolerance() const;
    // The minimum-norm least-squares solution x of A x = rhs, indexed like the
    // columns of A. rhs is a one-column matrix with as many rows as A (its bounds
    // are free). On a non-zero status x is left as it was.
    int BackSubstitute(const DoubleMatrix& rhs, DoubleArray& x) const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

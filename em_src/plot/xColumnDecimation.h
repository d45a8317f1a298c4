#pragma once
// Long lines drawn into the columns of a figure. A line of a hundred thousand
// records across a thousand pixels is never drawn point by point: a section
// keeps, for each column, the record nearest the column's centre; a curve
// keeps, for each column, its first, lowest, highest and last point, which
// draws the same pixels as the whole curve would.

#include <vector>

// Columns of equal width over [first, last] of a line's distance or FID.
class xColumnGrid {
  public:
    // first may exceed last (a line flown backwards); columns at least 1.
    xColumnGrid(double first, double last, long columns);

    long Columns() const { return columns_; }
    double Centre(long column) const;
    // The column of x, or -1 outside the grid.
    long ColumnOf(double x) const;
    // Distance of x from the centre of its column, in column widths.
    double Offset(double x, long column) const;

  private:
    double first_;
    double width_;
    long columns_;
};

// For each column, the record nearest its centre. Records may come in any
// order; the first of two equally near is kept.
class xNearestPerColumn {
  public:
    explicit xNearestPerColumn(const xColumnGrid& grid);

    // True when the record at x is now the one its column keeps.
    bool Offer(double x, long record);
    // The kept record of every column, -1 where none fell. With fill, an
    // empty column takes the record of the nearest kept column when that is
    // at most maxGap columns away; wider gaps stay empty.
    std::vector<long> Kept(long maxGap) const;
    // The column a fill takes from for every column, or -1: the same rule.
    std::vector<long> SourceColumns(long maxGap) const;

  private:
    const xColumnGrid& grid_;
    std::vector<long> record_;
    std::vector<double> offset_;
};

// The first, lowest, highest and last point of a curve in each column, in
// the order they came: the points of a curve that draw the pixels the whole
// curve draws. Missing values (NaN) break the curve and are kept as breaks.
class xEnvelopeDecimator {
  public:
    explicit xEnvelopeDecimator(const xColumnGrid& grid);

    // Points in the order of the line.
    void Add(double x, double y);
    // The kept points, in the order of the line; call once at the end.
    void Finish(std::vector<double>& xs, std::vector<double>& ys);

  private:
    struct Bucket {
        long column = -1;
        double firstX = 0, firstY = 0, lastX = 0, lastY = 0;
        double lowX = 0, lowY = 0, highX = 0, highY = 0;
        long count = 0;
        long lowAt = 0, highAt = 0;
    };
    void Flush();

    const xColumnGrid& grid_;
    Bucket bucket_;
    std::vector<double> xs_, ys_;
};

#pragma once
// The amplitude file of a deconvolution: the BIN file's lines with every
// decay replaced by its amplitudes on the basis taus.
//
// Header: that of xMData, then
//   taus             FloatArray with bounds, seconds, as the AOT file has them
//   two matrices     1 x 1 with bounds, holding 0; kept for older readers
//   basis type       int32, 0 exponent, 1 thin sheet, 2 half space (files
//                    above version 9 only)
//
// Record, R floats, with S = ChannelOffset(component) the first amplitude of
// a component and n the number of taus:
//   0 .. 5           FID, X, Y, Z, Altitude, Distance as in the BIN record
//   6                Error: mean misfit over the fitted components
//   S - 2            fitted primary level
//   S - 1            primary fit coefficient
//   S .. S+n-1       amplitude of each tau, in data units
//   S+n .. S+2n-1    background of each tau, 0 until it is calculated
//   S + 2n           reserved, 0
//   then             user items and orientation items as in the BIN record
// The two items before S are absent in files of versions 9 to 11; there the
// components' channels follow one another directly.

#include <cstdint>
#include <iosfwd>
#include <string>

#include "xMData.h"

class xMAmp : public xMData {
  public:
    static constexpr long ErrorItem = 6;
    static constexpr long MatrixBytes = 4 * 4 + 4;  // a 1 x 1 matrix with bounds

    xMAmp();

    // The layout for the amplitudes of bin on these taus: its summary fields,
    // components and user items, 2 n + 1 channels per component. Lines and
    // records start at 0; they count what this file is given.
    void InitFromData(const xMData& bin, const FloatArray& taus, std::int32_t basisType);

    bool WriteHeader() override;
    void DumpHeader(std::ostream& out) const override;

    long BaseItems() const override { return 7; }
    long ItemsPerComponent() const override;
    long HeaderSize() const override;

    // Time, position, error and each component's channels.
    xAsciiPattern DefaultPattern() const override;
    std::string ItemTitle(long item) const override;

    const FloatArray& Taus() const { return taus_; }
    long TauCount() const { return taus_.Length(); }
    std::int32_t BasisType() const { return basisType_; }
    void SetBasisType(std::int32_t type) { basisType_ = type; }

    // Where a component's items lie in a record; 0 for a component that is not
    // in the file. The primary items exist only with ItemsPerComponent 2.
    long AmplitudeOffset(long component) const;
    long BackgroundOffset(long component) const;
    long PrimaryLevelItem(long component) const;
    long PrimaryCoefficientItem(long component) const;

  protected:
    // The taus, which must fill every component's channels, the reserved
    // matrices and the basis type.
    bool ReadTail() override;

  private:
    // A component whose channels hold item, or 0.
    long ComponentOf(long item) const;

    FloatArray taus_;
    std::int32_t basisType_ = 0;
};

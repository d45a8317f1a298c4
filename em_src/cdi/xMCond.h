#pragma once
// The conductivity-depth file (CND) and its cross-component form (CRS): the
// survey file's header and line blocks, with a tail of their own behind the
// common header.
//
// Tail of a CND file, by format level (the file's version):
//   depths           FloatArray with bounds, stored negative (see below)
//   weights          FloatArray with bounds 101..109, the component weights
//   histogram        FloatMatrix with bounds, 2 x 40: counts, bin edges (above 7)
//   spectrum flag    int32, copied from the amplitude file (above 9)
//   CDI type         int32, 0 full CDI, 1 background (above 9)
//   layer count      int32, layers of the layered approximation (above 10)
// A CRS file adds the conductivities (FloatArray with bounds) and the
// selected components (LongArray with bounds 1..2).
//
// Record, R floats, L layers, D depths:
//   0 .. 5           FID, X, Y, Z, Altitude (sensor elevation), Distance
//   6 .. 13          Error, RL, IL, TSC, ASC, FitDepth, Susceptibility,
//                    Est.Penetration
//   14               Permittivity (level 12 and above)
//   then             L layer values for each present component in code order,
//                    then L for their combination
//   then             the sections of D values each: discrete conductivity,
//                    layered conductivity, and from level 13 the cumulative
//                    conductance column
// Conductivities are in mS/m; NullValue marks an invalid one.
//
// The common header counts the records' trailing items (the combined layer
// block and the sections) as the orientation items; a CDI record has no
// angles, and the header holds no channels and no user items.

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "xMFile.h"

class xPlatform;

class xMCond : public xMFile {
  public:
    enum Item : long {
        ErrorItem = 6,
        RLItem = 7,
        ILItem = 8,
        TSCItem = 9,
        ASCItem = 10,
        FitDepthItem = 11,
        SusceptibilityItem = 12,
        PenetrationItem = 13,
        PermittivityItem = 14,
    };
    enum CdiKind : std::int32_t { FullCdi = 0, BackgroundCdi = 1 };

    static constexpr float NullValue = -32767.0f;
    static constexpr long HistogramBins = 40;
    // A last depth step this large leaves the column where it is (see ShiftDepthsByZmax).
    static constexpr float ShiftStepLimit = 100.0f;

    xMCond();

    // The layout for these depths (metres below the surface, rising from 0,
    // stored negative) and the components flagged over 100..109. The layer
    // count set before is kept. Lines and records start at 0, the extremes at
    // zero, the weights at their defaults (TzRx and TzRz 1, the rest 0).
    void Init(const FloatArray& depths, const LongArray& components);

    bool WriteHeader() override;
    void DumpHeader(std::ostream& out) const override;
    // Counts the line and merges its extremes (UpdateExtremes).
    void AddLine(const xMLineBlock& line) override;

    long BaseItems() const override { return version_ < 12 ? 14 : 15; }
    long ItemsPerComponent() const override { return layerCount_; }
    // Common size + 8 + the depths, weights and histogram with their bounds.
    // Only two of the three trailing words are counted, as ever; lines are
    // found by the stream's position, never by this value.
    long HeaderSize() const override;
    std::string ItemTitle(long item) const override;

    // Sections: 0 discrete, 1 layered, 2 conductance (level 13 and above).
    long SectionCount() const { return version_ < 13 ? 2 : 3; }
    // First record item of a section; 0 for one the file does not have.
    long SectionStart(long section) const;
    long SectionSize(long section) const;
    // First layer item of a present component, or with 0 of the combined
    // block; 0 for a component that is not in the file or with no layers.
    long LayerStart(long component) const;

    // Merges a line's item minima and maxima into the file's. The first line
    // is taken as it stands; after it a NullValue of the line is passed over
    // and a stored NullValue is replaced outright.
    void UpdateExtremes(const xMLineBlock& line);

    // Depth column as stored: negative below the surface, or shifted by Zmax.
    const FloatArray& Depths() const { return depths_; }
    long DepthCount() const { return depths_.Length(); }
    // The top of the section: the largest stored depth (0 with no depths).
    float Top() const;
    // Depths[d] - Top(), at or below 0: what every output works with.
    float RelativeDepth(long d) const;
    // Adds the file's largest Z to the column when its last two values differ
    // by less than ShiftStepLimit; a coarser last step leaves it as it is.
    // True when shifted.
    bool ShiftDepthsByZmax();

    const FloatArray& Weights() const { return weights_; }
    void SetWeight(long component, float weight);
    const FloatMatrix& Histogram() const { return histogram_; }
    void SetHistogram(const FloatMatrix& histogram) { histogram_ = histogram; }
    std::int32_t SpectrumFlag() const { return spectrumFlag_; }
    void SetSpectrumFlag(std::int32_t flag) { spectrumFlag_ = flag; }
    std::int32_t CdiType() const { return cdiType_; }
    void SetCdiType(std::int32_t type) { cdiType_ = type; }
    std::int32_t LayerCount() const { return layerCount_; }
    // Changes the record layout: the extremes are sized anew, zero-filled.
    void SetLayerCount(std::int32_t layers);

    static const char* CdiTypeName(std::int32_t type);

    // The reports of the file (xCndReports.cpp). Each answers false after the
    // failure was reported. Elevations are RelativeDepth + Z; forceToSurface
    // adds a positive FitDepth. kind 1 writes a file a line, named stem + "-" +
    // line + "." + extension beside path; kind 2 the one file path.
    bool DumpSimpleXYZ(const std::filesystem::path& path, bool forceToSurface);
    bool DumpGeosoft(const std::filesystem::path& path, bool forceToSurface, int kind,
                     const std::string& extension = "DOC");
    // One record a row: position, then all discrete, all layered, all depths.
    bool DumpGeosoftDB(const std::filesystem::path& path, bool forceToSurface, int kind,
                       const std::string& extension = "DOC");
    // The sections resampled at constant elevations from top (default the
    // truncated largest Z) down to the lowest Z less the depth span.
    bool DumpDepthGrid(const std::filesystem::path& path, bool forceToSurface,
                       std::optional<float> top = std::nullopt);
    // The user pattern (docs/FILE_FORMATS.md); sections: bit 1 discrete, bit 2
    // layered, the columns the pattern may name. Empty: every source item. With
    // no section chosen the user is asked through questions which to add.
    bool DumpUser(int sections, const std::filesystem::path& path, bool forceToSurface,
                  const std::string& pattern, xPlatform& questions);
    // The database channels as an ASEG-GDF2 pair, stem + ".dat" and ".dfn".
    // units: bits 1 mS/m, 2 S/m, 4 ohm-m, one or more.
    bool SaveGdf2(const std::filesystem::path& stem, int units);

  protected:
    // The tail behind the common header, at the stream's position; each form
    // reports its own failure. It settles the record's trailing items.
    bool ReadTail() override;
    bool RecordLengthInTail() const override { return true; }
    virtual bool WriteTail();
    // Extra header lines of a derived form, written before the closing rule.
    virtual void DumpTailLines(std::ostream&) const {}
    // Trailing items and extremes for the present layout.
    void Relayout();

  private:
    void SyncTrailingItems();
    // Each line of the file through one window, with the dump's progress;
    // false when body stops or a line does not hold this file's records.
    template <class Body>
    bool WalkLines(const std::string& title, Body body);
    // Layouts of kind 1 and 2: top starts each file, body writes a line.
    template <class Start, class Body>
    bool DumpByKind(const std::filesystem::path& path, int kind, const std::string& extension,
                    const std::string& title, Start top, Body body);

    FloatArray depths_;
    FloatArray weights_;
    FloatMatrix histogram_;
    std::int32_t spectrumFlag_ = 0;
    std::int32_t cdiType_ = FullCdi;
    std::int32_t layerCount_ = 0;
};

// The bit field in which a cross-component record packs the conductivity
// index of each selected component, one slot a component.
class xCrossPacking {
  public:
    static constexpr long DefaultCount = 254;

    // Bits: the smallest k with 2^k >= count; Mask: 2^k.
    explicit xCrossPacking(long count = DefaultCount);

    long Bits() const { return bits_; }
    long Mask() const { return mask_; }
    long Pack(long index, long slot) const { return index << (slot * bits_); }
    // The slot's field of value as the display has always read it: the masked
    // bit, not the whole field; value keeps the rest of the shifted word.
    long Unpack(long& value, long slot) const;

  private:
    long bits_ = 0;
    long mask_ = 1;
};

class xMCondCross : public xMCond {
  public:
    static constexpr long MaxSelected = 2;

    xMCondCross();

    long HeaderSize() const override;

    const FloatArray& Conductivities() const { return conductivities_; }
    void SetConductivities(const FloatArray& values) { conductivities_ = values; }
    // The bit field for this file's conductivities (the default count when
    // there are none).
    xCrossPacking Packing() const;

    // The selection: slots 1..2, 0 where free.
    const LongArray& Components() const { return selection_; }
    bool IsSelected(long id) const;
    // Into the first free slot; false for an id outside 101..109, one already
    // selected, or a full selection.
    bool Add(long id);
    // Closes up behind it; false when it was not selected.
    bool Remove(long id);
    long Count() const;
    // With nothing selected, the first two components of the file in code order.
    void SelectFromFile();
    std::string Names(const std::string& separator = ", ") const;

  protected:
    bool ReadTail() override;
    bool WriteTail() override;
    void DumpTailLines(std::ostream& out) const override;

  private:
    FloatArray conductivities_;
    LongArray selection_;
};

#pragma once
// The basis as the later processes see it: for each component the sampling
// windows, the basis amplitudes (rows taus, columns channels) and the primary
// field coefficients, with the common taus in seconds. It lives in a text file
// (AOT) that remembers the descriptor it was built from, so that a reader can
// tell when the system has changed under it.

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "xArray.h"
#include "xDoc.h"
#include "xMatrix.h"

class xAotReader;

// The decay shape the basis was built for.
constexpr std::int32_t ApproximationExponent = 0;
constexpr std::int32_t ApproximationThinSheet = 1;
constexpr std::int32_t ApproximationHalfSpace = 2;

// "Exponent", "ThinSheet" or "HalfSpace"; any other value is written as an exponent.
std::string ApproximationName(std::int32_t approximation);

// The stamp an AOT file keeps of its descriptor: the file's last-write time in
// UTC as "YYYY-MM-DD HH:MM:SS", or "" when the file cannot be looked at. Only
// ever compared as a string, so any edit of the descriptor shows.
std::string DescriptorDateStamp(const std::filesystem::path& descriptorFile);

class xAofTau : public xDoc {
  public:
    static constexpr int CurrentVersion = 3;

    xAofTau();
    explicit xAofTau(const std::filesystem::path& path);

    void SetDescriptorName(const std::string& name) { descriptorName_ = name; }
    void SetDescriptorDate(const std::string& date) { descriptorDate_ = date; }
    const std::string& DescriptorName() const { return descriptorName_; }
    const std::string& DescriptorDate() const { return descriptorDate_; }
    void SetApproximation(std::int32_t approximation) { approximation_ = approximation; }
    std::int32_t Approximation() const { return approximation_; }

    // Taus 1..n in seconds.
    void SetTaus(const FloatArray& taus) { taus_ = taus; }
    const FloatArray& Taus() const { return taus_; }

    // Each set keeps a copy of its own. Getters answer null for a component
    // that has no such part.
    void SetWindows(long component, const FloatMatrix& windows);
    void SetAmplitudes(long component, const FloatMatrix& amplitudes);
    void SetPrimary(long component, const FloatArray& primary);
    const FloatMatrix* Windows(long component) const;
    const FloatMatrix* Amplitudes(long component) const;
    const FloatArray* Primary(long component) const;
    FloatMatrix* Windows(long component);
    FloatMatrix* Amplitudes(long component);
    FloatArray* Primary(long component);
    // Components with all three parts, rising: the ones a file carries.
    std::vector<long> Components() const;

    // Everything the source has, copied; the file's name and place stay.
    void CopyFrom(const xAofTau& source);
    // Empties the components and the descriptor identity.
    void Clear();

    // The current version's text. False when the stream failed.
    bool WriteText(std::ostream& out) const;
    // Any version there has been. 1 on success; 0 with the error posted for a
    // version this reader does not know (nothing read), and 0 with every
    // component gone when the text stops short.
    int ReadText(std::istream& in);

    // The file: created (asking before an existing one is replaced unless the
    // overwrite flag is set), written and closed. 1 on success.
    int Write();
    // The file: opened, read and closed. Does not check the descriptor; the
    // reader calls CheckDescriptor with the one it has selected.
    int Read();

    // Where the last read stopped short and why ("P.AOT:12: expected ..."),
    // empty after a read that succeeded.
    const std::string& Where() const { return where_; }
    // The version of the last read: 1..3, or 0 for a file without one.
    int VersionRead() const { return versionRead_; }
    // Warns when the file was built from another descriptor, or from this one
    // before it last changed. Only a file carrying a version names its
    // descriptor, and only versions 2 and 3 date it. True when nothing was said.
    bool CheckDescriptor(const std::string& selectedName, const std::string& selectedDate) const;

  private:
    int Finish(const xAotReader& in, int result);
    int ReadVersioned(xAotReader& in, int version);
    int ReadWholeSystem(xAotReader& in, bool freeLineFirst);
    int ReadComponents(xAotReader& in);

    std::string descriptorName_;
    std::string descriptorDate_;
    std::int32_t approximation_ = ApproximationExponent;
    FloatArray taus_{1, 0};
    std::map<long, FloatMatrix> windows_;
    std::map<long, FloatMatrix> amplitudes_;
    std::map<long, FloatArray> primary_;
    std::string where_;
    int versionRead_ = 0;
    bool dateRead_ = false;
};

// The basis as the deconvolution fits with it: amplitudes and primary field
// scaled so that the fit works on numbers near one, with the scale kept to undo
// it on the results.
class xNormalizedAofTau : public xAofTau {
  public:
    static constexpr int ByGlobalMax = 1;
    static constexpr int ByEarliestChannel = 2;
    static constexpr int ByGlobalMaxUnsigned = 3;
    static constexpr int ByPrimaryField = 4;

    xNormalizedAofTau();

    // Scales every component that has amplitudes as mode says (1 to 4; any
    // other mode changes nothing and keeps no scale).
    void NormalizeBasisFunctions(int mode);

    // The primary field's scale of a component; 1 for one not scaled.
    float PrimaryFactor(long component) const;
    // The scale of one tau of a component; 1 when the component has none.
    float Norm(long component, long tau) const;
    const FloatArray* Norms(long component) const;
    const FloatArray& PrimaryFactors() const { return primaryFactors_; }

  private:
    std::map<long, FloatArray> norms_;
    FloatArray primaryFactors_;
};

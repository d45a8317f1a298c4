#pragma once
// The EM system descriptor: one text file (DSC) that says what the system is —
// its header and time scaling, which transmitter-receiver components it
// measures, each component's waveform, sampling and geometry, and where each
// quantity lies in a record of the survey's ASCII files.

#include <filesystem>
#include <iosfwd>
#include <map>
#include <string>

#include "xEMFDesc.h"
#include "xEMGDesc.h"
#include "xEMSDesc.h"
#include "xEMWDesc.h"
#include "xSharedDescriptor.h"
#include "xTRClasf.h"

struct xEMCompDesc {
    long id = 109;
    xEMWDesc wave;
    xEMGDesc geometry;
};

class xEMDesc : public xSharedDescriptor {
  public:
    static constexpr long CurrentVersion = 9;
    enum KnownSystems { Unknown = 0, Geotem = 1, Spectrem = 2, Questem = 3, NotRead = 4 };

    // One default component, TzRz, and an empty format.
    xEMDesc();

    bool Read(const std::filesystem::path& path) override;
    // name: the file the text came from, for the messages that say where it broke.
    bool Read(std::istream& in, const std::filesystem::path& name = "descriptor");
    // Always the current version.
    bool Write(const std::filesystem::path& path) const;
    void Write(std::ostream& out) const;

    bool FrequencyDomain() const override { return IsFrequencyDomain(); }
    bool IsFrequencyDomain() const { return systemDesc.IsFrequencyDomain(); }
    bool HasComponent(long id) const override { return components_.count(id) > 0; }
    bool HasFixedTransmitter(long id) const override;
    bool HasLoopReceiver(long id) const override;

    // 1 when the id is current or present (it becomes current), else 0; the
    // accessors by id below answer 0 for a component that is not there.
    int SelectComponent(long id);
    long CurrentComponent() const { return current_; }
    // Channels per component, doubled in frequency domain (in-phase and
    // quadrature); GetNumberOfChannels does not double.
    xTRClasf GetClassification() const;
    // The record format's checks: the card's, then those against this
    // descriptor's channels. `descriptor check` shows them all and the
    // converter refuses the descriptor on any that is not a question.
    std::vector<xEMFCheck> CheckRecordFormat() const;
    long GetNumberOfChannels(long id);
    long MaxChannelsExcept(long id) const;
    const xEMWDesc* Wave(long id);
    const xEMGDesc* Geometry(long id);
    // Separation of the receiver from the transmitter along an axis (1..3).
    float GetSeparation(long id, int axis);
    float GetAbsSeparation(long id, int axis);
    // Primary field at the receiver, per unit moment, for the component.
    int PrimaryFieldAtReceiver(long id, FloatArray& field);
    // What a component's values are multiplied by to become fractions of the
    // primary field at its receiver, the unit in which images are looked up.
    // Relative units: 1 / (parts in one primary). Absolute units: SI per data
    // unit / (moment x primary B per unit moment x peak of the receiver's
    // primary in SI time). 0, with the reason and what to set in why, when the
    // unit or the moment is not known.
    double PrimaryFractionFactor(long id, std::string& why) const;

    int KnownSystem() const { return knownSystem_; }
    long FileVersion() const { return fileVersion_; }
    const std::map<long, xEMCompDesc>& Components() const { return components_; }
    std::map<long, xEMCompDesc>& Components() { return components_; }

    xEMSDesc systemDesc;
    xEMFDesc formatDesc;
    short allComponents = 0;

  private:
    bool ReadCurrent(xDscReader& in);
    bool ReadOldSystem(xDscReader& in, bool first);
    bool ReadComponent(xDscReader& in);
    void Finish();

    std::map<long, xEMCompDesc> components_;
    long current_ = 109;
    int knownSystem_ = NotRead;
    long fileVersion_ = CurrentVersion;
};

// The older arrangement kept a system in three files per orientation; all of
// <project><orientation>.EMF, .EMG and .EMW must exist in the directory.
bool CheckSystemFiles(const std::filesystem::path& directory, const std::string& project,
                      const std::string& orientation);

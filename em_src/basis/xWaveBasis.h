#pragma once
// The Basis Functions process: builds the basis of every component of the
// system and writes it to <project>.AOT for the processes that follow.

#include <memory>

#include "xBasisSettings.h"
#include "xObject.h"
#include "xWaveBasisBuilder.h"

class xEMDesc;
class xWavParams;
class xIniFile;

class xWaveBasis : public xObject {
  public:
    static constexpr int Id = 702;

    // The configuration gives the factors of the half-space and thin-sheet
    // decays; without one their defaults hold.
    explicit xWaveBasis(xIniFile* ini = nullptr);

    int Init() override;
    void Execute(int mode) override;
    void Dialog(int, int) override {}

    // The builder for the system and the approximation of the parameters: made
    // once, kept for the process, working on Settings().
    xWaveBasisBuilder& Builder(const xEMDesc& descriptor);
    xBasisSettings& Settings() { return settings_; }

  private:
    xWavParams& Parameters() const;
    // The parameters and the configuration into the builder's settings, and
    // what a build decided back into the parameters.
    void TakeSettings();
    void KeepDecisions() const;
    // More taus than the sparsest component has channels: the advice.
    void AdviseOnTaus(const xEMDesc& descriptor) const;
    bool BuildAll(const xEMDesc& descriptor, class xAofTau& basis);
    // The range of the taus built, and why it is that range.
    void TellTauRange(const FloatArray& taus, bool frequencyDomain) const;

    xIniFile* ini_;
    xBasisSettings settings_;
    std::unique_ptr<xWaveBasisBuilder> builder_;
};

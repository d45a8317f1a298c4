#pragma once
// Per-channel weights of the deconvolution's objective, one one-row matrix per
// component, keyed by component name. The weights multiply both the basis and
// the data. Frequency-domain tables hold the in-phase weights in the left half
// and the quadrature weights in the right half.

#include <cstdint>
#include <map>
#include <string>

#include "xArray.h"
#include "xMatrix.h"

class xEMDesc;
class xPlatform;

class xErrWeight : public std::map<std::string, FloatMatrix> {
  public:
    enum Type : std::int32_t {
        NoWeighting = 0,
        PowerOfTime = 1,
        NoiseDependent = 2,
        UserDefined = 3,
    };
    static constexpr float SmallestParameter = 1e-10f;

    xErrWeight() = default;

    // Takes the user's tables, the type and the parameter, and recomputes the
    // weights of every component of the descriptor. A parameter of magnitude
    // below 1e-10 becomes 1e-10. Power weights that cannot be scaled are
    // reported to messages and replaced by ones.
    void Set(const std::map<std::string, FloatMatrix>& weights, std::int32_t type, float parameter,
             const xEMDesc& descriptor, xPlatform& messages);
    // The same from the tables of the deconvolution parameters, keyed by id.
    void Set(const std::map<std::int32_t, FloatMatrix>& weights, std::int32_t type, float parameter,
             const xEMDesc& descriptor, xPlatform& messages);
    // The tables keyed by component id, as the deconvolution parameters keep them.
    std::map<std::int32_t, FloatMatrix> ById() const;

    std::int32_t Type() const { return type_; }
    float Parameter() const { return parameter_; }
    // Only the noise-dependent weights change from record to record.
    bool IsDataDependent() const { return type_ == NoiseDependent; }

    const FloatMatrix* Get(const std::string& component) const;
    const FloatMatrix* Get(long id) const;
    // The first row of the component's table; empty when there is none.
    FloatArray GetRow(const std::string& component) const;
    FloatArray GetRow(long id) const;
    void Store(const std::string& component, const FloatMatrix& matrix);

    // The noise-dependent weights of one record, indexed like the data.
    FloatArray ComputeNoiseWeights(const FloatArray& data, float noise, float scale) const;

  private:
    void Recompute(const xEMDesc& descriptor, xPlatform& messages);

    std::int32_t type_ = NoWeighting;
    float parameter_ = 1.0f;
};

#pragma once
// The background of an amplitude file: per line, component and tau, the level
// under the anomalies, found by two polynomial fits along the line. The low
// order fit only bounds the data: everything above it is cut down to it, and
// the high order fit through what is left is the background. Positive
// anomalies drop out; negative excursions stay as they are.

#include <cstdint>
#include <string>
#include <vector>

#include "xProcessState.h"

class xMLine;
class xPlatform;

class xBackground : public xProcessState {
  public:
    enum Code : std::int32_t {
        NoError = 0,
        InvalidOrder = 1,
        Undefined = 2,
        PoorlyConditioned = 3,
        InvalidLength = 4,
        NoComponent = 5,
        NoBackground = 6,
        NoAmplitudes = 7,
        Terminated = 8,
    };

    xBackground(std::int32_t lowOrder, std::int32_t highOrder, xProgressSink* owner = nullptr);

    // Every tau of the component on the line of an amplitude file, its
    // background written through the line (flushed by the caller). True when
    // all taus are done; otherwise the code says why, and its text has gone to
    // messages unless the user stopped the run.
    bool Calculate(xMLine& line, long component, xPlatform& messages);

    std::int32_t ErrorCode() const { return code_; }
    static std::string ErrorText(std::int32_t code);

    // The coefficients c[0..order] of the least-squares polynomial of y on x
    // by the normal equations; empty with the code set when there are none.
    std::vector<float> FitPolynomial(const std::vector<double>& x, const std::vector<float>& y,
                                     std::int32_t order);

  private:
    // One tau: amplitude item u, background item v of every record.
    void CalculateTau(xMLine& line, long u, long v);
    // The polynomial of item through the line's records.
    std::vector<float> FitItem(xMLine& line, long item, std::int32_t order);
    // Sums of the normal equations over the records one at a time.
    struct xSums;
    std::vector<float> Solve(const xSums& sums, std::int32_t order);
    // Every 100th record: progress, and the user's stop.
    void Tick(long record);

    std::int32_t lowOrder_, highOrder_;
    std::int32_t code_ = NoError;
};

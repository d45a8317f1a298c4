#include "xCndMath.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "xEMDesc.h"
#include "xPlatform.h"
#include "xTRClasf.h"

using cdi::MU;
using cdi::NULLVALUE;

namespace {
constexpr float DegToRad = 0.017453292f;

bool IsNull(float v) {
    return v == NULLVALUE;
}

// The sign that brings each component's image field to the convention of the
// amplitudes; 0 for anything that is not a component.
float ComponentSign(long id, bool loopTransmitter) {
    switch (id) {
        case 101:
        case 102:
        case 104:
        case 105:
        case 107:
        case 108:
            return 1.0f;
        case 103:
        case 106:
            return -1.0f;
        case 109:
            return loopTransmitter ? -1.0f : 1.0f;
        default:
            return 0.0f;
    }
}
}  // namespace

xCndMath::xCndMath(std::vector<float> taus, long first, long last)
    : taus_(std::move(taus)), first_(first), last_(last) {
    SetShortTauCount(1);
}

void xCndMath::SetShortTauCount(int count) {
    shortDecayTable_.clear();
    count = std::max(count, 1);
    shortTaus_.assign(count, 0.0f);
    const float tauF = taus_.empty() ? 0.0f : taus_[first_ - 1];
    for (int i = 1; i <= count; ++i) shortTaus_[i - 1] = tauF / static_cast<float>(i + 1);
}

void xCndMath::SetSpectrum(bool on, int subCount, const std::array<float, 9>& exponents) {
    spectrum_ = on;
    for (auto& table : decayTable_) table.clear();
    subCount_ = subCount;
    exponents_ = exponents;
    subTaus_.clear();
    if (!on || taus_.empty()) return;
    const long n = static_cast<long>(taus_.size());
    long count = n + subCount * n;
    if (count % 2) ++count;
    subStep_ =
        count > 1 ? std::log10(taus_.back() / taus_.front()) / static_cast<float>(count - 1) : 0.0f;
    subTaus_.resize(count);
    for (long m = 0; m < count; ++m)
        subTaus_[m] = taus_.front() * std::pow(10.0f, static_cast<float>(m) * subStep_);
    // The weights of every run, so that the per-record expansion needs no pow.
    for (int c = 0; c < cdi::ComponentCount; ++c) {
        runWeights_[c].assign(n, {});
        for (long j = 1; j <= n; ++j) {
            const long i0 = j + (j - 1) * subCount;
            for (long m = i0; m <= count; ++m) {
                const float w =
                    std::pow(10.0f, static_cast<float>(i0 - m) * subStep_ * exponents_[c]);
                if (w == 0.0f) break;
                runWeights_[c][j - 1].push_back(w);
            }
        }
    }
}

void xCndMath::SetDepths(std::vector<float> depths) {
    depths_ = std::move(depths);
    for (auto& column : condColumn_) column.assign(depths_.size(), 0.0f);
}

void xCndMath::SetConductivities(std::vector<float> values) {
    disc_ = std::move(values);
}

// --- time grid and lookups ------------------------------------------------

void xCndMath::DefineTimes() {
    for (auto& table : decayTable_) table.clear();
    shortDecayTable_.clear();
    const long n = static_cast<long>(taus_.size());
    timeGrid_.assign(4 * n + 2, 0.0f);
    if (n == 0) return;
    const float tauF = taus_[first_ - 1];
    const float tauL = taus_[last_ - 1];
    const float dex = std::log10((tauL * 100.0f) / (tauF / 100.0f));
    timeGrid_[1] = 0.0f;
    // k, not k - 1, in the exponent: the grid skips its own first step.
    for (long k = 2; k <= 4 * n + 1; ++k)
        timeGrid_[k] = (tauF / 100.0f) *
                       std::pow(10.0f, static_cast<float>(k) * dex / static_cast<float>(4 * n));
    for (int c = 0; c < cdi::ComponentCount; ++c) {
        ampTable_[c].assign(timeGrid_.size(), 0.0f);
        ampSlope_[c].assign(timeGrid_.size(), 0.0f);
    }
}

std::vector<float>& xCndMath::Lookup(LookupKind kind, long component) {
    if (kind == LUT) fitReach_[Slot(component)].clear();
    auto& table = kind == LUT ? lut_ : kind == Deriv ? deriv_ : sum_;
    return table[Slot(component)];
}

const std::vector<float>& xCndMath::Lookup(LookupKind kind, long component) const {
    const auto& table = kind == LUT ? lut_ : kind == Deriv ? deriv_ : sum_;
    return table[Slot(component)];
}

void xCndMath::BuildLookups(long first, long last, const xEMDesc& desc) {
    lutFirst_ = first;
    lutLast_ = last;
    for (int c = 0; c < cdi::ComponentCount; ++c) {
        lut_[c].assign(last + 1, 0.0f);
        deriv_[c].assign(last + 1, 0.0f);
        sum_[c].assign(last + 1, 0.0f);
        signChanges_[c] = 0;
        fitReach_[c].clear();
    }
    FloatArray field(0, 2);
    for (const auto& [id, comp] : desc.Components()) {
        if (id < FirstComponent || id > LastComponent) continue;
        const xEMGDesc& g = comp.geometry;
        const std::string name = ComponentName(id);
        Platform().ProgressStatus("Amp.LUT(" + name + ")");
        Platform().ProgressRange(first, last);
        const float x = -g.GetSeparationX();
        const float y = -g.GetSeparationY();
        const float z0 = -g.GetSeparationZ();
        const int tx = TxAxis(id);
        const int rx = RxAxis(id);
        g.PrimaryField(tx, x, y, z0, field);
        float h0 = std::sqrt(field[0] * field[0] + field[1] * field[1] + field[2] * field[2]);
        if (h0 == 0.0f) {
            Platform().Error("CDI FACTORY ERROR: Primary Filed(" + name + ") is 0!");
            h0 = 1.0f;
        }
        const float sign = ComponentSign(id, g.transmitter.IsLoop());
        auto& lut = lut_[Slot(id)];
        for (long z = last; z >= first; --z) {
            if (g.PrimaryField(tx, x, y, 2.0f * static_cast<float>(z) + z0, field))
                lut[z] = sign * field[rx - 1] / h0;
            if ((last - z) % 50 == 0) {
                Platform().ProgressAdvance(last - z);
                Platform().Yield();
            }
        }
        auto& sum = sum_[Slot(id)];
        sum[last] = lut[last] / 2.0f;
        for (long z = last - 1; z >= first; --z) sum[z] = (lut[z] + lut[z + 1]) / 2.0f + sum[z + 1];
    }
    for (int c = 0; c < cdi::ComponentCount; ++c)
        for (long z = first + 1; z <= last; ++z)
            if ((sum_[c][z] < 0.0f) != (sum_[c][z - 1] < 0.0f)) ++signChanges_[c];
}

void xCndMath::BuildDerivatives(long first, long last) {
    Platform().ProgressStatus("Derivatives..");
    Platform().ProgressRange(first, last);
    for (long z = first + 1; z <= last - 1; ++z) {
        for (int c = 0; c < cdi::ComponentCount; ++c)
            if (static_cast<long>(lut_[c].size()) > z + 1)
                deriv_[c][z] = (lut_[c][z + 1] - lut_[c][z - 1]) / 2.0f;
        if ((z - first) % 50 == 0) Platform().ProgressAdvance(z);
    }
}

long xCndMath::ClampRow(long row) const {
    return std::clamp(row, lutFirst_, lutLast_);
}

// --- decay of one record ----------------------------------------------------

float xCndMath::SpectrumWeight(long j, long component) const {
    if (!spectrum_) return 1.0f;
    float total = 0.0f;
    for (float w : runWeights_[Slot(component)][j - 1]) total += w;
    return total;
}

float xCndMath::SpectrumExp(long j, long component, float t) const {
    if (!spectrum_) return std::exp(-t / taus_[j - 1]);
    const auto& run = runWeights_[Slot(component)][j - 1];
    const long i0 = j + (j - 1) * subCount_;
    float total = 0.0f;
    for (std::size_t i = 0; i < run.size(); ++i)
        total += run[i] * std::exp(-t / subTaus_[i0 - 1 + i]);
    return total;
}

float xCndMath::GetRL(const xCndRecord& record, long component) const {
    float rl = 0.0f;
    for (long j = first_; j <= last_; ++j)
        rl += SpectrumWeight(j, component) * record.amps[j - 1] * taus_[j - 1];
    return rl;
}

float xCndMath::GetIL(const xCndRecord& record, long component) const {
    float il = 0.0f;
    for (long j = first_; j <= last_; ++j) il += SpectrumWeight(j, component) * record.amps[j - 1];
    return il;
}

float xCndMath::ShortTauAdjustment(xCndRecord& record, long component) const {
    float il = GetIL(record, component);
    const auto& lut = lut_[Slot(component)];
    const long refRow = ClampRow(static_cast<long>(record.height + 5.0f));
    const float ref = lut.empty() ? 0.0f : lut[refRow];
    if (ref > il && predict_) return ref - il;
    if (cut_) {
        const long steps = (last_ - first_ + 1) - 2;
        for (long s = 0; s < steps; ++s) {
            const float excess = il - ref;
            if (excess <= 0.0f) break;
            float& a = record.amps[first_ - 1 + s];
            il -= a;
            a -= excess;
            if (a < 0.0f) a = 0.0f;
        }
    }
    return 0.0f;
}

const std::vector<float>& xCndMath::DecayTable(long component) {
    auto& decay = decayTable_[Slot(component)];
    if (!decay.empty()) return decay;
    const long n = static_cast<long>(taus_.size());
    decay.assign(timeGrid_.size() * n, 0.0f);
    for (std::size_t k = 1; k < timeGrid_.size(); ++k)
        for (long j = first_; j <= last_; ++j)
            decay[k * n + j - 1] = SpectrumExp(j, component, timeGrid_[k]);
    return decay;
}

const std::vector<float>& xCndMath::ShortDecayTable() {
    if (!shortDecayTable_.empty()) return shortDecayTable_;
    const std::size_t count = shortTaus_.size();
    shortDecayTable_.assign(timeGrid_.size() * count, 0.0f);
    for (std::size_t k = 1; k < timeGrid_.size(); ++k)
        for (std::size_t i = 0; i < count; ++i)
            shortDecayTable_[k * count + i] = std::exp(-timeGrid_[k] / shortTaus_[i]);
    return shortDecayTable_;
}

void xCndMath::ExpandAmplitudes(xCndRecord& record, long component) {
    const int c = Slot(component);
    const int shortCount = static_cast<int>(shortTaus_.size());
    float a0 = 0.0f;
    if (cut_ || predict_)
        a0 = ShortTauAdjustment(record, component) / static_cast<float>(shortCount);
    auto& table = ampTable_[c];
    auto& slope = ampSlope_[c];
    table.assign(timeGrid_.size(), 0.0f);
    slope.assign(timeGrid_.size(), 0.0f);
    const std::vector<float>& decay = DecayTable(component);
    const std::vector<float>& shortDecay = ShortDecayTable();
    const std::size_t n = taus_.size();
    for (std::size_t k = 1; k < timeGrid_.size(); ++k) {
        if (a0 != 0.0f) {
            for (int i = 0; i < shortCount; ++i) {
                table[k] += a0 * shortDecay[k * shortCount + i];
                // The running sum, not the single term, goes into the slope.
                slope[k] += -table[k] / shortTaus_[i];
            }
        }
        for (long j = first_; j <= last_; ++j) {
            const float a = record.amps[j - 1];
            if (a == 0.0f) continue;
            const float e = a * decay[k * n + j - 1];
            table[k] += e;
            slope[k] -= e / taus_[j - 1];
        }
    }
}

float xCndMath::GetASC(const xCndRecord& record, long component) const {
    const auto& sum = sum_[Slot(component)];
    if (sum.empty()) return 0.0f;
    const long row = ClampRow(static_cast<long>(record.height + 1.0f));
    const float rl = GetRL(record, component);
    if (sum[row] == 0.0f) return 0.0f;
    return 2.0f * rl / (MU * sum[row]);
}

const std::vector<float>& xCndMath::FitReach(long component) const {
    auto& reach = fitReach_[Slot(component)];
    if (!reach.empty()) return reach;
    const auto& lut = lut_[Slot(component)];
    reach.assign(lut.size(), 0.0f);
    for (long z = lutLast_; z > lutFirst_; --z) {
        const float both = std::min(lut[z], lut[z - 1]);
        reach[z] = z == lutLast_ ? both : std::max(both, reach[z + 1]);
    }
    return reach;
}

long xCndMath::GetFittedDepth(float il, long component) const {
    if (lut_[Slot(component)].empty() || lutLast_ <= lutFirst_) return 0;
    const auto& reach = FitReach(component);
    if (!(il <= reach[lutFirst_ + 1])) return 0;
    long low = lutFirst_ + 1, high = lutLast_;  // reach[low] holds il
    while (low < high) {
        const long mid = (low + high + 1) / 2;
        if (il <= reach[mid])
            low = mid;
        else
            high = mid - 1;
    }
    return low - 1;
}

float xCndMath::GetTSC(float rl, long fittedRow, long component) const {
    if (fittedRow == 0) return 0.0f;
    const float s = sum_[Slot(component)][fittedRow];
    if (s == 0.0f) return 0.0f;
    return 2.0f * rl / (MU * s);
}

xCndComponentResult xCndMath::ComponentRecord(xCndRecord& record, long component) {
    ExpandAmplitudes(record, component);
    xCndComponentResult r;
    r.RL = GetRL(record, component);
    r.IL = GetIL(record, component);
    r.ASC = GetASC(record, component);
    const long fitted = GetFittedDepth(r.IL, component);
    r.TSC = GetTSC(r.RL, fitted, component);
    r.FitDepth = static_cast<float>(static_cast<long>(record.height) - fitted);
    ConductanceColumn(record, component, static_cast<long>(record.height));
    return r;
}

// --- conductance columns ------------------------------------------------------

void xCndMath::ZeroColumns() {
    for (auto& column : condColumn_) column.assign(depths_.size(), 0.0f);
}

float xCndMath::GetAmpDepth(const xCndRecord& record, LookupKind kind, long row,
                            long component) const {
    const int t = TxAxis(component);
    float v[3];
    for (int r = 1; r <= 3; ++r) {
        const long id = IdFromAxes(t, r);
        if (id < FirstComponent || id > LastComponent) {
            v[r - 1] = 0.0f;
            continue;
        }
        const auto& table = Lookup(kind, id);
        v[r - 1] = row >= 0 && row < static_cast<long>(table.size()) ? table[row] : 0.0f;
    }
    float& x = v[0];
    float& y = v[1];
    float& z = v[2];
    for (int base : {3, 0}) {
        const float p = record.attitude[base] * DegToRad;
        const float r = record.attitude[base + 1] * DegToRad;
        const float w = record.attitude[base + 2] * DegToRad;
        if (p != 0.0f) {
            const float y1 = std::sin(p) * z + std::cos(p) * y;
            z = std::cos(p) * z - std::sin(p) * y;
            y = y1;
        }
        if (r != 0.0f) {
            const float x1 = std::sin(r) * z + std::cos(r) * x;
            z = std::cos(r) * z - std::sin(r) * x;
            x = x1;
        }
        if (w != 0.0f) {
            const float x1 = std::sin(w) * y + std::cos(w) * x;
            y = std::cos(w) * y - std::sin(w) * x;
            x = x1;
        }
    }
    const int rx = RxAxis(component);
    if (rx < 1 || rx > 3) {
        Platform().Error("xCondaFactory::GetAmpDepth(..) incorrect R component. This is a bug.");
        return 0.0f;
    }
    return v[rx - 1];
}

long xCndMath::FindAmpIndex(float value, long component) const {
    const auto& table = ampTable_[Slot(component)];
    const auto& slope = ampSlope_[Slot(component)];
    for (long k = GridRows(); k >= 2; --k) {
        if (slope[k] <= 0.0f && table[k] <= value && value < table[k - 1]) return k;
        if (slope[k] > 0.0f && table[k - 1] <= value && value < table[k]) return k;
    }
    return 0;
}

void xCndMath::ConductanceColumn(const xCndRecord& record, long component, long altitudeRow) {
    const float factor = 1000.0f / MU;
    auto& column = condColumn_[Slot(component)];
    const auto& table = ampTable_[Slot(component)];
    const auto& slopes = ampSlope_[Slot(component)];
    const float cutoff = systemSpan_ * cutOffFactor_;
    for (long d = static_cast<long>(column.size()) - 1; d >= 0; --d) {
        if (IsNull(column[d])) continue;
        long row = static_cast<long>(depths_[d] + static_cast<float>(altitudeRow));
        if (row >= lutLast_) row = lutLast_ - 1;
        if (row <= lutFirst_) row = lutFirst_ + 1;
        const float a = GetAmpDepth(record, LUT, row, component);
        long k = FindAmpIndex(a, component);
        if (k == 0 || timeGrid_[k] >= cutoff) {
            column[d] = NULLVALUE;
            continue;
        }
        if (k <= 1) k = 2;
        const float f = (a - table[k]) / (table[k - 1] - table[k]);
        const float slope = f * slopes[k - 1] + (1.0f - f) * slopes[k];
        if (slope == 0.0f) {
            column[d] = NULLVALUE;
            continue;
        }
        column[d] = GetAmpDepth(record, Deriv, row, component) / slope * factor;
    }
}

void xCndMath::MeanConductance(const std::array<float, 9>& weights,
                               const std::array<bool, 9>& active, std::vector<float>& mean) const {
    const long n = static_cast<long>(depths_.size());
    float total = 0.0f;
    for (int c = 0; c < cdi::ComponentCount; ++c)
        if (active[c]) total += weights[c] * static_cast<float>(n);
    if (total <= 0.0f) return;
    mean.assign(n, NULLVALUE);
    for (long d = 0; d < n; ++d) {
        float sum = 0.0f, weight = 0.0f;
        for (int c = 0; c < cdi::ComponentCount; ++c) {
            if (!active[c] || IsNull(condColumn_[c][d])) continue;
            sum += weights[c] * condColumn_[c][d];
            weight += weights[c];
        }
        const float m = weight != 0.0f ? sum / weight : 0.0f;
        mean[d] = m > 0.0f ? m : NULLVALUE;
    }
}

long xCndMath::DiscreteIndex(float c) const {
    if (disc_.empty() || std::isnan(c)) return -1;
    const long top = static_cast<long>(disc_.size()) - 1;
    if (c < disc_[0]) return 0;
    if (c > disc_[top]) return top;
    if (top == 0) return -1;  // c is the one value: no bracket holds it
    // The first bracket disc[k - 1] <= c <= disc[k] from the top: k - 1 is the
    // last value not above c, kept below the top.
    const long last =
        static_cast<long>(std::upper_bound(disc_.begin(), disc_.end(), c) - disc_.begin()) - 1;
    return std::clamp(last, 0L, top - 1);
}

void xCndMath::DiscreteColumn(const std::vector<float>& cond, std::vector<float>& out) const {
    const long n = static_cast<long>(std::min(cond.size(), depths_.size()));
    out.assign(n, NULLVALUE);
    if (n == 0 || disc_.empty()) return;
    float prevDepth = n > 1 ? (depths_[0] + depths_[1]) * 0.5f : depths_[0];
    float s = 0.0f;
    float thick = 0.0f;
    for (long d = 0; d < n; ++d) {
        thick += std::fabs(std::trunc(depths_[d] - prevDepth));
        if (!IsNull(s) && thick > 0.0f && !IsNull(cond[d])) {
            const long index = DiscreteIndex((cond[d] - s) / thick);
            if (index < 0) {
                Platform().Error("Index < 0");
            } else {
                out[d] = disc_[index];
                s += disc_[index] * thick;
                thick = 0.0f;
            }
        }
        prevDepth = depths_[d];
    }
}

void xCndMath::LayeredColumn(const std::vector<float>& cond, std::vector<float>& out,
                             std::vector<float>* boundaries) const {
    const long n = static_cast<long>(std::min(cond.size(), depths_.size()));
    out.assign(n, NULLVALUE);
    if (boundaries) boundaries->clear();
    if (n < 2 || disc_.empty()) return;
    const float lo = disc_.front(), hi = disc_.back();
    std::vector<float> g(n, 0.0f), h(n, 0.0f);
    std::vector<char> valid(n, 0);
    for (long d = 1; d < n; ++d)
        if (!IsNull(cond[d]) && !IsNull(cond[d - 1])) {
            g[d] = cond[d] - cond[d - 1];
            valid[d] = 1;
        }
    for (long d = 2; d < n; ++d) h[d] = std::fabs(g[d] - g[d - 1]);

    // Breaks sit where the change of slope stops growing.
    struct Break {
        long index;
        float strength;
    };
    std::vector<Break> breaks;
    float run = 0.0f, largest = 0.0f;
    for (long d = 2; d < n; ++d) {
        if (h[d] < run) {
            breaks.push_back({d - 1, run});
            run = 0.0f;
        } else {
            run = h[d];
            largest = std::max(largest, h[d]);
        }
    }
    // The bottom always closes a layer.
    if (breaks.empty() || breaks.back().index < n - 1)
        breaks.push_back({n - 1, largest + 100.0f});
    else
        breaks.back().strength = largest + 100.0f;

    std::stable_sort(breaks.begin(), breaks.end(), [](const Break& a, const Break& b) {
        return a.strength > b.strength || (a.strength == b.strength && a.index > b.index);
    });
    const long keep = std::min<long>(std::max(layerCount_, 1), static_cast<long>(breaks.size()));
    std::vector<long> kept;
    for (long i = 0; i < keep; ++i) kept.push_back(breaks[i].index);
    std::sort(kept.begin(), kept.end());
    if (boundaries)
        for (long index : kept) boundaries->push_back(depths_[index]);

    long start = 1;
    for (long end : kept) {
        float sum = 0.0f;
        long count = 0;
        for (long d = start; d <= end; ++d) {
            const float dz = depths_[d] - depths_[d - 1];
            if (valid[d] && dz != 0.0f) {
                sum += g[d] / dz;
                ++count;
            }
        }
        float c = count ? std::fabs(sum / static_cast<float>(count)) : lo;
        c = std::clamp(c, lo, hi);
        for (long d = start; d <= end; ++d) {
            // A depth without a valid difference has no layer value to carry.
            if (!valid[d]) continue;
            const float v = g[d] > 0.0f ? c : lo;
            out[d] = v < lo ? NULLVALUE : v;
        }
        start = end + 1;
    }
}

float xCndMath::EstimatePenetration(const std::vector<float>& cond) const {
    if (depths_.empty()) return 0.0f;
    const float limit = systemSpan_ * 1000.0f * cutOffFactor_ / MU;
    const long n = static_cast<long>(std::min(cond.size(), depths_.size()));
    for (long d = 0; d < n; ++d)
        if (cond[d] * depths_[d] > limit) return depths_[d];
    return depths_.back();
}

void xCndMath::AccumulateHistogram(const std::vector<float>& cond, std::vector<float>& counts,
                                   const std::vector<float>& edges) const {
    const long n = static_cast<long>(std::min(cond.size(), depths_.size()));
    for (long d = 1; d < n; ++d) {
        if (IsNull(cond[d]) || IsNull(cond[d - 1])) continue;
        const long thick = static_cast<long>(depths_[d] - depths_[d - 1]);
        if (thick <= 0) continue;
        CountSample((cond[d] - cond[d - 1]) / static_cast<float>(thick), counts, edges);
    }
}

void xCndMath::CountSample(float v, std::vector<float>& counts, const std::vector<float>& edges) {
    const std::size_t bins = std::min(counts.size(), edges.size());
    for (std::size_t k = 0; k + 1 < bins; ++k)
        if (edges[k] < v && v <= edges[k + 1]) {
            counts[k + 1] += 1.0f;
            return;
        }
}

void xCndMath::AddScalingSample(const xCndRecord& record, long component, ScalingSums& sums) const {
    sums.il += GetIL(record, component);
    const auto& lut = lut_[Slot(component)];
    if (!lut.empty()) sums.lut += lut[ClampRow(static_cast<long>(record.height + 5.0f))];
}

float xCndMath::ScalingSums::Factor() const {
    return std::fabs(lut) < 1e-10f ? 1.0f : il / lut;
}

void xCndMath::DefineFixedCond() const {
    Platform().Error("xCndMath::DefineFixedCond() not implemented!");
}

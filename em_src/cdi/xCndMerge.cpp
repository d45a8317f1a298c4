#include "xCndMerge.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <system_error>

#include "xMCond.h"
#include "xMLine.h"
#include "xMLineBlock.h"
#include "xPlatform.h"

namespace fs = std::filesystem;

namespace {
constexpr float FidTolerance = 1e-3f;

std::string Fid(float fid) {
    std::string text = std::to_string(fid);
    text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.') text.pop_back();
    return text;
}
}  // namespace

float xCndMerge::HighWeight(float depth, float penetration) {
    const float start = penetration - BlendMetres / 2.0f;
    return std::clamp((depth - start) / BlendMetres, 0.0f, 1.0f);
}

float xCndMerge::Blend(float low, float high, float weight, bool logarithmic) {
    const float null = xMCond::NullValue;
    if (low == null) return high;
    if (high == null || weight <= 0.0f) return low;
    if (weight >= 1.0f) return high;
    if (!logarithmic || !(low > 0.0f) || !(high > 0.0f))
        return (1.0f - weight) * low + weight * high;
    return std::pow(10.0f, (1.0f - weight) * std::log10(low) + weight * std::log10(high));
}

bool xCndMerge::Refuse(const std::string& text) {
    platform_.Error("Cannot merge " + lowName_ + " and " + highName_ + ": " + text);
    return false;
}

bool xCndMerge::OpenInput(xMCond& cnd, const fs::path& path) {
    cnd.SetPath(path);
    if (fs::exists(path) && cnd.Open() == 1 && cnd.ReadHeader()) return true;
    return Refuse("there is no readable CDI file " + path.string() + ".");
}

bool xCndMerge::SameLayout(const xMCond& low, const xMCond& high) {
    if (low.DepthCount() != high.DepthCount())
        return Refuse("they have " + std::to_string(low.DepthCount()) + " and " +
                      std::to_string(high.DepthCount()) +
                      " depths; run 704 of both with the same 704.MaxDepth and "
                      "704.DepthResolution.");
    for (long d = 0; d < low.DepthCount(); ++d)
        if (std::fabs(low.RelativeDepth(d) - high.RelativeDepth(d)) > 1e-3f)
            return Refuse("their depths differ at depth " + std::to_string(d + 1) +
                          "; run 704 of both with the same 704.MaxDepth and "
                          "704.DepthResolution.");
    if (low.RowLength() != high.RowLength() || low.ComponentFlags() != high.ComponentFlags())
        return Refuse(
            "their records are laid out differently (components or 704.LayerCount); "
            "run 704 of both with the same parameters.");
    if (low.Lines() != high.Lines() || low.Records() != high.Records())
        return Refuse("they hold " + std::to_string(low.Lines()) + " lines of " +
                      std::to_string(low.Records()) + " records and " +
                      std::to_string(high.Lines()) + " lines of " + std::to_string(high.Records()) +
                      "; both moments must be imported with the same lines and records.");
    return true;
}

float xCndMerge::ResolvedDepth(const xMCond& layout, const float* low) {
    const float* discrete = low + layout.SectionStart(0);
    long end = layout.DepthCount() - 1;
    while (end > 0 && discrete[end] == xMCond::NullValue) --end;
    while (end > 0 && discrete[end - 1] == discrete[end]) --end;
    // One value from top to bottom is a uniform ground, not a lookup run out.
    const bool uniform = end == 0 || discrete[end - 1] == xMCond::NullValue;
    return uniform ? std::numeric_limits<float>::infinity() : -layout.RelativeDepth(end);
}

float xCndMerge::AgreementDepth(const xMCond& layout, const float* low, const float* high) {
    const long start = layout.SectionStart(0);
    const float null = xMCond::NullValue;
    for (long d = 0; d < layout.DepthCount(); ++d) {
        const float a = low[start + d], b = high[start + d];
        if (a == null || b == null || !(a > 0.0f) || !(b > 0.0f)) continue;
        if (std::max(a / b, b / a) > AgreementFactor) return -layout.RelativeDepth(d);
    }
    return std::numeric_limits<float>::infinity();
}

void xCndMerge::MergeRecord(const xMCond& layout, const float* low, float* merged) const {
    // The blend ends where the low moment's section runs out or leaves the
    // high moment's.
    const float lost = std::min(ResolvedDepth(layout, low), AgreementDepth(layout, low, merged));
    const float penetration = std::min(-low[xMCond::PenetrationItem], lost - BlendMetres / 2.0f);
    for (long section = 0; section < layout.SectionCount(); ++section) {
        const long start = layout.SectionStart(section);
        for (long d = 0; d < layout.DepthCount(); ++d) {
            const float weight = HighWeight(-layout.RelativeDepth(d), penetration);
            // Conductance adds up down the column: it is blended as it stands.
            merged[start + d] = Blend(low[start + d], merged[start + d], weight, section != 2);
        }
    }
}

bool xCndMerge::MergeLines(xMCond& low, xMCond& high, xMCond& out) {
    const auto lowBlocks = low.LineBlocks();
    const auto highBlocks = high.LineBlocks();
    for (std::size_t l = 0; l < highBlocks.size(); ++l) {
        const xMLineBlock& lb = lowBlocks[l];
        const xMLineBlock& hb = highBlocks[l];
        if (lb.number != hb.number || lb.rows != hb.rows)
            return Refuse("line " + std::to_string(l + 1) + " is " + std::to_string(lb.number) +
                          " of " + std::to_string(lb.rows) + " records in one and " +
                          std::to_string(hb.number) + " of " + std::to_string(hb.rows) +
                          " in the other.");
        xMLine lowLine(&low), highLine(&high);
        if (!lowLine.Load(lb) || !highLine.Load(hb))
            return Refuse("line " + std::to_string(hb.number) + " cannot be read.");
        xMLineWriter writer(out, hb.number, &xMCond::NullValue);
        for (long r = 0; r < hb.rows; ++r) {
            const float* a = lowLine.Row(r).Data();
            FloatArray merged = highLine.Row(r);
            if (std::fabs(a[0] - merged[merged.Low()]) > FidTolerance)
                return Refuse("record " + std::to_string(r + 1) + " of line " +
                              std::to_string(hb.number) + " is FID " + Fid(a[0]) +
                              " in one and FID " + Fid(merged[merged.Low()]) +
                              " in the other; the moments must hold the same records.");
            MergeRecord(high, a, merged.Data());
            writer.AddRow(merged);
        }
        if (!writer.Finish()) return Refuse("cannot write line " + std::to_string(hb.number));
    }
    return true;
}

bool xCndMerge::Merge(const fs::path& lowPath, const fs::path& highPath, const fs::path& outPath) {
    lowName_ = lowPath.filename().string();
    highName_ = highPath.filename().string();
    xMCond low, high;
    if (!OpenInput(low, lowPath) || !OpenInput(high, highPath) || !SameLayout(low, high))
        return false;

    FloatArray depths(0, high.DepthCount() - 1);
    for (long d = 0; d < high.DepthCount(); ++d) depths[d] = -high.RelativeDepth(d);
    xMCond out;
    out.SetCdiType(high.CdiType());
    out.SetLayerCount(high.LayerCount());
    out.Init(depths, high.ComponentFlags());
    out.SetFlight(high.Flight());
    out.SetNoiseLevel(high.NoiseLevel());
    out.SetSpectrumFlag(high.SpectrumFlag());
    for (long id = high.Weights().Low(); id <= high.Weights().High(); ++id)
        out.SetWeight(id, high.Weights()[id]);
    out.SetHistogram(high.Histogram());
    out.SetPath(outPath);
    out.SetOverwrite(true);
    if (out.Create() != 1 || !out.WriteHeader())
        return Refuse("cannot create " + outPath.string() + ".");
    if (!MergeLines(low, high, out)) return false;
    out.ShiftDepthsByZmax();
    out.WriteHeader();
    return out.Commit() == 1;
}

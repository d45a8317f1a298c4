#pragma once
// Two sections of the same records flown with two moments made into one: the
// low moment resolves the ground near the surface, the high moment reaches
// deeper. Above the low moment's penetration the low moment's values stand,
// below it the high moment's, with a blend of BlendMetres between them (in log
// conductivity). The penetration is the record's estimate, or shallower where
// the low moment's section already ends in a run of one value, or where the
// two moments first part by more than AgreementFactor: the low moment, whose
// short pulse hardly excites the slow decays of a conductive ground, loses it
// first. Every other item of a record is the high moment's.

#include <filesystem>
#include <string>

class xMCond;
class xPlatform;

class xCndMerge {
  public:
    static constexpr float BlendMetres = 20.0f;
    static constexpr float AgreementFactor = 2.0f;

    explicit xCndMerge(xPlatform& platform) : platform_(platform) {}

    // Writes out from low and high; false, after saying why, when the files
    // cannot be read or do not hold the same records on the same depths. A
    // failed merge leaves no output behind.
    bool Merge(const std::filesystem::path& low, const std::filesystem::path& high,
               const std::filesystem::path& out);

    // The weight of the high moment at a depth (metres below the top of the
    // section) under a low moment penetrating to penetration metres.
    static float HighWeight(float depth, float penetration);
    // One value of a section from the two; NULL stays out of the blend.
    static float Blend(float low, float high, float weight, bool logarithmic);

    // The depth (metres below the top) where the low moment's discrete
    // section of a record stops saying anything: below it the section repeats
    // one value, the end of what its lookups reach, down to its last depth;
    // infinity when it does not run out.
    static float ResolvedDepth(const xMCond& layout, const float* low);
    // The first depth (metres below the top) where both discrete sections of a
    // record have a value and one exceeds the other by more than
    // AgreementFactor; infinity when they agree all the way down.
    static float AgreementDepth(const xMCond& layout, const float* low, const float* high);

  private:
    bool OpenInput(xMCond& cnd, const std::filesystem::path& path);
    bool SameLayout(const xMCond& low, const xMCond& high);
    bool MergeLines(xMCond& low, xMCond& high, xMCond& out);
    void MergeRecord(const xMCond& layout, const float* low, float* merged) const;
    bool Refuse(const std::string& text);

    xPlatform& platform_;
    std::string lowName_, highName_;
};

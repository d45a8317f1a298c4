#pragma once
// The surveys and systems of the acceptance checks, and how each descriptor is
// built from the survey's own system file and column layout: one place to
// change them. {data} stands for the survey's folder (SKYTEM_BHMAR_DATA,
// TEMPEST_FROME_DATA, set by CMake).

#include <ostream>
#include <string>
#include <vector>

#include "SectionComparison.h"

struct SurveyCheck {
    const char* name;
    std::string folder;
    std::string build;   // tovarn descriptor build arguments but --out
    std::string survey;  // the survey file
    int lineColumn;      // the records of this line only, 1-based column; 0 for all
    long line;
    std::string settings;             // tovarn set arguments that the data need
    std::vector<std::string> models;  // the published inversion, files of rows
    ModelColumns columns;
};

inline const std::string kTempestFromeBuild =
    "--system {data}/Tempest-standard.stm --layout {data}/inversion.output.dfn "
    "--map line=Line,fid=Fiducial,east=Easting,north=Northing,z_topo=DTM,"
    "altitude=input_tx_height --channels Z=observed_EMSystem_1_ZS --rx-offset -115,0,-40 "
    "--name \"TEMPEST Frome 2010\"";

inline const std::string kSkytemBhmarLayout =
    "--layout {data}/bhmar-skytem.dfn "
    "--map line=Line,fid=Fiducial,east=Easting,north=Northing,"
    "z_topo=Ground_Elevation_Lidar,altitude=Frame_Height_Lidar --rx-offset -12.6,0,2 ";

// The high and low moments differ in their system file and channel group only.
inline std::string SkytemBhmarBuild(const std::string& moment) {
    return "--system {data}/Skytem-" + moment + ".stm " + kSkytemBhmarLayout +
           "--channels Z=" + moment + "Z --name \"SkyTEM BHMAR 2009 " + moment + "\"";
}

// Both moments from one call: the descriptors BHMAR-LM.DSC and BHMAR-HM.DSC
// beside --out BHMAR.DSC.
inline const std::string kSkytemBhmarBothBuild =
    "--system LM={data}/Skytem-LM.stm --system HM={data}/Skytem-HM.stm " + kSkytemBhmarLayout +
    "--channels LM:Z=LMZ,HM:Z=HMZ --name \"SkyTEM BHMAR 2009\"";

// What each moment's project sets: the FID step of the survey; all else is
// left at its default.
inline const std::string kSkytemBhmarLowMoment = "701.MaxDFid=5";
inline const std::string kSkytemBhmarHighMoment = "701.MaxDFid=5";

inline std::vector<SurveyCheck> SurveyChecks() {
    return {
        {"TempestFrome",
         TEMPEST_FROME_DATA,
         kTempestFromeBuild,
         "inversion.output-smalltest.dat",
         5,
         3001401,
         "",
         {"inversion.output-smalltest.dat"},
         {5, 6, 26, 56, 30}},
        {"SkytemBhmarHighMoment",
         SKYTEM_BHMAR_DATA,
         SkytemBhmarBuild("HM"),
         "bhmar-skytem_subset.dat",
         0,
         0,
         "701.MaxDFid=5",
         {"inversion_galeisbstdem/inversion.output.0000.asc",
          "inversion_galeisbstdem/inversion.output.0001.asc",
          "inversion_galeisbstdem/inversion.output.0002.asc"},
         {0, 5, 20, 50, 30}},
    };
}

// A system that a half-space is modelled with: its bundled descriptor, or the
// descriptor build of its survey.
struct HalfSpaceSystem {
    const char* name;
    std::string descriptor;  // a .DSC, or empty to build one
    std::string folder;
    std::string build;
    double altitude;  // m of the transmitter above ground
};

inline std::vector<HalfSpaceSystem> HalfSpaceSystems() {
    const std::string examples = std::string(TOVARN_SOURCE_DIR) + "/examples/";
    return {
        {"Geotem", examples + "geotem-gsq823/GEOTEM.DSC", "", "", 120},
        {"Tempest", examples + "tempest-ausaem2020/TEMPEST.DSC", "", "", 120},
        {"SkytemHighMoment", "", SKYTEM_BHMAR_DATA, SkytemBhmarBuild("HM"), 30},
        {"SkytemLowMoment", "", SKYTEM_BHMAR_DATA, SkytemBhmarBuild("LM"), 30},
        {"Resolve", examples + "resolve-bookpurnong/RESOLVE.DSC", "", "", 30},
    };
}

// What a failing case is called in the test's report.
inline void PrintTo(const SurveyCheck& check, std::ostream* out) {
    *out << check.name;
}
inline void PrintTo(const HalfSpaceSystem& system, std::ostream* out) {
    *out << system.name;
}

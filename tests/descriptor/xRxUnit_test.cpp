#include "xRxUnit.h"

#include <gtest/gtest.h>

TEST(xRxUnit, TellsRelativeFromAbsoluteAndGivesTheirFactors) {
    EXPECT_TRUE(xRxUnit::Of("ppm").IsRelative());
    EXPECT_DOUBLE_EQ(xRxUnit::Of("ppm").Factor(), 1.0e6);
    EXPECT_DOUBLE_EQ(xRxUnit::Of("%").Factor(), 100.0);
    EXPECT_EQ(xRxUnit::Of("fT").kind(), xRxUnit::Kind::Field);
    EXPECT_DOUBLE_EQ(xRxUnit::Of("fT").Factor(), 1.0e-15);
    EXPECT_DOUBLE_EQ(xRxUnit::Of("Wb/m^2").Factor(), 1.0);
    EXPECT_NEAR(xRxUnit::Of("amp/m").Factor(), 4.0e-7 * 3.14159265358979, 1e-15);
    EXPECT_EQ(xRxUnit::Of("V/amp/m^4").kind(), xRxUnit::Kind::FieldRate);
    EXPECT_DOUBLE_EQ(xRxUnit::Of("nV/amp/m^2").Factor(), 1.0e-9);
    EXPECT_EQ(xRxUnit::Of("nanoVolts").kind(), xRxUnit::Kind::Unknown);
    EXPECT_FALSE(xRxUnit::Of("---").IsAbsolute());
    EXPECT_EQ(xRxUnit::Of("---").Factor(), 0.0);
}

TEST(xRxUnit, ReadsTheSpellingsOfSurveyDefinitions) {
    EXPECT_EQ(xRxUnit::FromSurvey("fT"), "fT");
    EXPECT_EQ(xRxUnit::FromSurvey("pT"), "pT");
    EXPECT_EQ(xRxUnit::FromSurvey("V/(A.m^4)"), "V/amp/m^4");
    EXPECT_EQ(xRxUnit::FromSurvey("V/(A\xC2\xB7m\xE2\x81\xB4)"), "V/amp/m^4");
    EXPECT_EQ(xRxUnit::FromSurvey("pV/A/m^4"), "pV/amp/m^4");
    EXPECT_EQ(xRxUnit::FromSurvey("nV/(A m4)"), "nV/amp/m^4");
    EXPECT_EQ(xRxUnit::FromSurvey("nV/amp/m^2"), "nV/amp/m^2");
    EXPECT_EQ(xRxUnit::FromSurvey("ppm"), "ppm");
    EXPECT_EQ(xRxUnit::FromSurvey("nT/s"), "nT/s");
    EXPECT_EQ(xRxUnit::FromSurvey("m"), "");
    EXPECT_EQ(xRxUnit::FromSurvey("deg"), "");
    EXPECT_EQ(xRxUnit::FromSurvey(""), "");
}

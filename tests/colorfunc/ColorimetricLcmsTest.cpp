// The Lab/XYZ stages against an evaluator of their own, built on lcms2's CIE conversions with
// the D50 white and the sample encodings written out here: legacy 16-bit Lab (L = v / 652.8,
// a and b = v / 256 - 128), XYZ 65535 (white coordinate at 65535) and XYZ 1.15 (1.0 at 32768,
// the white coordinate at 65535 / 2).
#include <gtest/gtest.h>

#include <lcms2.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>

#include "colorfunc/Colorimetric.h"

namespace {

constexpr int kSamples = 100000;
const cmsCIEXYZ kD50 = {0.9642, 1.0, 0.8249};
const cmsCIEXYZ kUnitWhite = {1.0, 1.0, 1.0};

uint16_t Round16(double v) {
    v = std::floor(v + 0.5);
    return static_cast<uint16_t>(v < 0.0 ? 0.0 : v > 65535.0 ? 65535.0 : v);
}

uint16_t Trunc16(double v) {
    return static_cast<uint16_t>(v < 0.0 ? 0.0 : v > 65535.0 ? 65535.0 : std::trunc(v));
}

cmsCIELab DecodeLab(const uint16_t* v) {
    return {v[0] / 652.8, v[1] / 256.0 - 128.0, v[2] / 256.0 - 128.0};
}

void EncodeLab(const cmsCIELab& lab, uint16_t* v) {
    v[0] = Round16(lab.L * 652.8);
    v[1] = Round16((lab.a + 128.0) * 256.0);
    v[2] = Round16((lab.b + 128.0) * 256.0);
}

// Lab 16 to XYZ on a scale where the D50 white's coordinates become whiteCode.
void RefLabToXYZ(const uint16_t* in, uint16_t* out, double whiteCode) {
    const cmsCIELab lab = DecodeLab(in);
    cmsCIEXYZ xyz;
    cmsLab2XYZ(&kD50, &xyz, &lab);
    out[0] = Round16(xyz.X / kD50.X * whiteCode);
    out[1] = Round16(xyz.Y / kD50.Y * whiteCode);
    out[2] = Round16(xyz.Z / kD50.Z * whiteCode);
}

// XYZ on a scale where the white's coordinates are whiteCode, to Lab 16.
void RefXYZToLab(const uint16_t* in, uint16_t* out, double whiteCode) {
    const cmsCIEXYZ xyz = {in[0] / whiteCode * kD50.X, in[1] / whiteCode * kD50.Y,
                           in[2] / whiteCode * kD50.Z};
    cmsCIELab lab;
    cmsXYZ2Lab(&kD50, &lab, &xyz);
    EncodeLab(lab, out);
}

// XYZ 65535, relative to a white of 1 on every axis, to XYZ 1.15 relative to D50: through
// Lab, which is the same for both whites.
void RefRelToIcc(const uint16_t* in, uint16_t* out) {
    const cmsCIEXYZ rel = {in[0] / 65535.0, in[1] / 65535.0, in[2] / 65535.0};
    cmsCIELab lab;
    cmsXYZ2Lab(&kUnitWhite, &lab, &rel);
    cmsCIEXYZ d50;
    cmsLab2XYZ(&kD50, &d50, &lab);
    out[0] = Trunc16(d50.X * 32768.0);
    out[1] = Trunc16(d50.Y * 32768.0);
    out[2] = Trunc16(d50.Z * 32768.0);
}

void RefIccToRel(const uint16_t* in, uint16_t* out) {
    const cmsCIEXYZ d50 = {in[0] / 32768.0, in[1] / 32768.0, in[2] / 32768.0};
    cmsCIELab lab;
    cmsXYZ2Lab(&kD50, &lab, &d50);
    cmsCIEXYZ rel;
    cmsLab2XYZ(&kUnitWhite, &rel, &lab);
    out[0] = Trunc16(rel.X * 65535.0);
    out[1] = Trunc16(rel.Y * 65535.0);
    out[2] = Trunc16(rel.Z * 65535.0);
}

template <class Ref, class Fn>
void CompareOnRandomSamples(unsigned seed, Ref ref, Fn fn, const char* what) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> dist(0, 65535);
    int worst = 0, failures = 0;
    for (int n = 0; n < kSamples; ++n) {
        const uint16_t in[3] = {static_cast<uint16_t>(dist(rng)), static_cast<uint16_t>(dist(rng)),
                                static_cast<uint16_t>(dist(rng))};
        uint16_t expect[3], got[3];
        ref(in, expect);
        EXPECT_EQ(fn(in, got), 1);
        for (int c = 0; c < 3; ++c) {
            const int d = std::abs(int(got[c]) - int(expect[c]));
            if (d > worst) worst = d;
            if (d > 1 && ++failures <= 5)
                ADD_FAILURE() << what << " channel " << c << " of (" << in[0] << ", " << in[1]
                              << ", " << in[2] << "): " << got[c] << " vs " << expect[c];
        }
    }
    EXPECT_LE(worst, 1) << what;
    EXPECT_EQ(failures, 0) << what;
}

} // namespace

TEST(ColorimetricLcms, LabToXYZ65535AgreesWithinOneUnit) {
    CompareOnRandomSamples(
        1, [](const uint16_t* i, uint16_t* o) { RefLabToXYZ(i, o, 65535.0); },
        [](const uint16_t* i, uint16_t* o) { return LabXYZ16.Trn(i, o); }, "Trn");
}

TEST(ColorimetricLcms, LabToXYZ115AgreesWithinOneUnit) {
    CompareOnRandomSamples(
        2, [](const uint16_t* i, uint16_t* o) { RefLabToXYZ(i, o, 32767.5); },
        [](const uint16_t* i, uint16_t* o) { return LabXYZ16.Trn2(i, o); }, "Trn2");
}

TEST(ColorimetricLcms, XYZ65535ToLabAgreesWithinOneUnit) {
    CompareOnRandomSamples(
        3, [](const uint16_t* i, uint16_t* o) { RefXYZToLab(i, o, 65535.0); },
        [](const uint16_t* i, uint16_t* o) { return LabXYZ16.Inv(i, o); }, "Inv");
}

TEST(ColorimetricLcms, XYZ115ToLabAgreesWithinOneUnit) {
    CompareOnRandomSamples(
        4, [](const uint16_t* i, uint16_t* o) { RefXYZToLab(i, o, 32767.5); },
        [](const uint16_t* i, uint16_t* o) { return LabXYZ16.Inv2(i, o); }, "Inv2");
}

TEST(ColorimetricLcms, RelativeXYZToIccAgreesWithinOneUnit) {
    const CXYZRelToIcc f;
    CompareOnRandomSamples(
        5, RefRelToIcc, [&](const uint16_t* i, uint16_t* o) { return f.Trn(i, o); },
        "CXYZRelToIcc::Trn");
}

TEST(ColorimetricLcms, IccToRelativeXYZAgreesWithinOneUnit) {
    const CXYZRelToIcc f;
    CompareOnRandomSamples(
        6, RefIccToRel, [&](const uint16_t* i, uint16_t* o) { return f.Inv(i, o); },
        "CXYZRelToIcc::Inv");
}

// The same stages through the exported instance and through a fresh object give the same
// results: the instance carries no state of its own.
TEST(ColorimetricLcms, ExportedInstanceEqualsAFreshObject) {
    const CLabXYZ16 fresh;
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> dist(0, 65535);
    for (int n = 0; n < 1000; ++n) {
        const uint16_t in[3] = {static_cast<uint16_t>(dist(rng)), static_cast<uint16_t>(dist(rng)),
                                static_cast<uint16_t>(dist(rng))};
        uint16_t a[3], b[3];
        LabXYZ16.Trn(in, a);
        fresh.Trn(in, b);
        EXPECT_EQ(a[0], b[0]);
        EXPECT_EQ(a[1], b[1]);
        EXPECT_EQ(a[2], b[2]);
    }
}

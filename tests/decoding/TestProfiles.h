#pragma once
// Profiles of a kind that no picture of today's cameras has, and monitors that none should be, made
// by LittleCMS.

#include <QByteArray>

#include <lcms2.h>

#include <algorithm>

namespace tavolin::test {

/// @p profile as a file's bytes; it is closed.
inline QByteArray saved(cmsHPROFILE profile)
{
    cmsUInt32Number bytes = 0;
    cmsSaveProfileToMem(profile, nullptr, &bytes);
    QByteArray icc(static_cast<qsizetype>(bytes), '\0');
    cmsSaveProfileToMem(profile, icc.data(), &bytes);
    cmsCloseProfile(profile);
    return icc;
}

/// A grey whose levels are amounts of light.
inline QByteArray linearGreyProfile()
{
    cmsToneCurve *curve = cmsBuildGamma(nullptr, 1.0);
    const QByteArray icc = saved(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return icc;
}

/// A press whose only ink is the first, which prints sRGB's red; the others print black.
inline QByteArray redInkProfile()
{
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 4.3);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsPipeline *pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage *grid = cmsStageAllocCLut16bit(nullptr, 2, 4, 3, nullptr);
    const auto sample = [](const cmsUInt16Number in[], cmsUInt16Number out[], void *) {
        constexpr cmsCIELab WHITE{100, 0, 0};
        constexpr cmsCIELab BLACK{0, 0, 0};
        constexpr cmsCIELab SRGB_RED{54.29, 80.81, 69.89}; // seen under D50
        const bool hasOthers = in[1] > 0 || in[2] > 0 || in[3] > 0;
        cmsFloat2LabEncoded(out, hasOthers ? &BLACK : in[0] > 0 ? &SRGB_RED : &WHITE);
        return TRUE;
    };
    cmsStageSampleCLut16bit(grid, sample, nullptr, 0);
    // ICC.1:2022, lutAToBType: a grid stands between curves, here straight ones.
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, grid);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    cmsPipelineFree(pipeline);
    return saved(profile);
}

/// A monitor whose red, green and blue channels show the green, the blue and the red of @p space,
/// which is an RGB space of a matrix with the curve of sRGB.
inline QByteArray exchangedChannels(const cmsCIExyYTRIPLE &space)
{
    constexpr cmsCIExyY D65{0.3127, 0.3290, 1};
    constexpr cmsFloat64Number SRGB[]{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    const cmsCIExyYTRIPLE exchanged{space.Green, space.Blue, space.Red};
    cmsToneCurve *curve = cmsBuildParametricToneCurve(nullptr, 4, SRGB);
    cmsToneCurve *const curves[]{curve, curve, curve};
    const QByteArray icc = saved(cmsCreateRGBProfile(&D65, &exchanged, curves));
    cmsFreeToneCurve(curve);
    return icc;
}

/// The same for sRGB: (r, g, b) is shown as (g, b, r).
inline QByteArray exchangedProfile()
{
    return exchangedChannels({{0.64, 0.33, 1}, {0.30, 0.60, 1}, {0.15, 0.06, 1}});
}

/// The same for Display P3.
inline QByteArray exchangedP3Profile()
{
    return exchangedChannels({{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}});
}

/// The monitor of exchangedProfile(), described by a table of 33 points a side.
inline QByteArray exchangedTableProfile()
{
    constexpr int POINTS = 33;
    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 2.4); // a later one would say how dark paper can be
    cmsSetDeviceClass(profile, cmsSigDisplayClass);
    cmsSetColorSpace(profile, cmsSigRgbData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsHPROFILE lab = cmsCreateLab2Profile(nullptr);
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM toSrgb =
        cmsCreateTransform(lab, TYPE_LabV2_16, srgb, TYPE_RGB_16, INTENT_RELATIVE_COLORIMETRIC, 0);
    cmsPipeline *pipeline = cmsPipelineAlloc(nullptr, 3, 3);
    cmsStage *grid = cmsStageAllocCLut16bit(nullptr, POINTS, 3, 3, nullptr);
    const auto sample = [](const cmsUInt16Number in[], cmsUInt16Number out[], void *transform) {
        cmsDoTransform(transform, in, out, 1);
        std::rotate(out, out + 1, out + 3);
        return TRUE;
    };
    cmsStageSampleCLut16bit(grid, sample, toSrgb, 0);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, grid);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));
    cmsWriteTag(profile, cmsSigBToA0Tag, pipeline);
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(toSrgb);
    cmsCloseProfile(srgb);
    cmsCloseProfile(lab);
    return saved(profile);
}

} // namespace tavolin::test

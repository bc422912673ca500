#pragma once
// Profiles of a kind that no picture of today's cameras has, made by LittleCMS.

#include <QByteArray>

#include <lcms2.h>

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

} // namespace tavolin::test

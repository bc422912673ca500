#pragma once
// libjpeg-turbo without anything around it: the baseline of everything that decodes.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include <jpeglib.h>

namespace tavolin {

/// Decodes @p path at @p scaleNumerator eighths, from a stdio stream into one row: what no viewer
/// can beat.
inline void decodeAlone(const std::filesystem::path &path, unsigned scaleNumerator)
{
    std::FILE *file = std::fopen(path.c_str(), "rb");
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    info.scale_num = scaleNumerator;
    info.scale_denom = 8;
    info.out_color_space = JCS_EXT_BGRX;
    jpeg_start_decompress(&info);
    std::vector<JSAMPLE> pixels(std::size_t{info.output_width} * 4);
    JSAMPROW row = pixels.data();
    while (info.output_scanline < info.output_height)
        jpeg_read_scanlines(&info, &row, 1);
    benchmark::DoNotOptimize(pixels.data());
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(file);
}

} // namespace tavolin

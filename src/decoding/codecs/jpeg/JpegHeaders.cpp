#include "decoding/codecs/jpeg/JpegHeaders.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

#include <jpeglib.h>

namespace tavolin {

namespace {

/// Section B.2.3: more blocks than these are in no MCU.
constexpr int MOST_MCU_BLOCKS = 10;

/// From the order of rows to zigzag order.
constexpr std::array<std::uint8_t, BLOCK_COEFFICIENTS> ZIGZAG{
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

JpegCode codeOf(const JHUFF_TBL &table)
{
    JpegCode code;
    std::ranges::copy(table.bits, code.counts.begin());
    std::ranges::copy(table.huffval, code.symbols.begin());
    return code;
}

bool isTable(int number)
{
    return number >= 0 && number < NUM_HUFF_TBLS && number < NUM_QUANT_TBLS;
}

std::optional<JpegComponent> componentOf(const jpeg_decompress_struct &info,
                                         const jpeg_component_info &told)
{
    if (!isTable(told.quant_tbl_no) || !isTable(told.dc_tbl_no) || !isTable(told.ac_tbl_no))
        return std::nullopt;
    const JQUANT_TBL *steps = info.quant_tbl_ptrs[told.quant_tbl_no];
    const JHUFF_TBL *dc = info.dc_huff_tbl_ptrs[told.dc_tbl_no];
    const JHUFF_TBL *ac = info.ac_huff_tbl_ptrs[told.ac_tbl_no];
    if (steps == nullptr || dc == nullptr || ac == nullptr)
        return std::nullopt;
    JpegComponent component{.h = told.h_samp_factor, .v = told.v_samp_factor};
    std::ranges::transform(ZIGZAG, component.steps.begin(),
                           [steps](std::uint8_t at) { return steps->quantval[at]; });
    component.dc = codeOf(*dc);
    component.ac = codeOf(*ac);
    return component;
}

} // namespace

std::optional<JpegFrame> sequentialFrame(const jpeg_decompress_struct &info)
{
    const bool isKnownColor =
        (info.num_components == 1 && info.jpeg_color_space == JCS_GRAYSCALE) ||
        (info.num_components == 3 && info.jpeg_color_space == JCS_YCbCr);
    if (!isKnownColor || info.progressive_mode || info.arith_code || info.data_precision != 8 ||
        info.comps_in_scan != info.num_components)
        return std::nullopt;
    JpegFrame frame{
        .size = {static_cast<int>(info.image_width), static_cast<int>(info.image_height)},
        .restartInterval = static_cast<int>(info.restart_interval)};
    int blocks = 0;
    for (int i = 0; i < info.num_components; ++i) {
        // The scan may have them in another order.
        if (info.cur_comp_info[i] != info.comp_info + i)
            return std::nullopt;
        auto component = componentOf(info, info.comp_info[i]);
        if (!component)
            return std::nullopt;
        blocks += component->h * component->v;
        frame.components.push_back(*component);
    }
    const bool isSampled = info.num_components == 1 || blocks <= MOST_MCU_BLOCKS;
    return isSampled && isDecodable(frame) ? std::optional(std::move(frame)) : std::nullopt;
}

} // namespace tavolin

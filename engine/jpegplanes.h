// Coefficient planes set up from libjpeg's component records, which the compressor (our
// encoder's capture) and the decompressor (the lossless rewrite's) share.
#pragma once

#include "jpegscans.h"

#include <algorithm>
#include <cstdio>

#include <jpeglib.h>

namespace dravik {

// A plane for one component, not yet allocated. Sampling factors only matter to an
// interleaved scan; a single-component frame is never interleaved.
inline CoefficientPlane planeFor(const jpeg_component_info &comp, bool interleaved)
{
    CoefficientPlane plane;
    plane.id = comp.component_id;
    plane.hSampling = interleaved ? comp.h_samp_factor : 1;
    plane.vSampling = interleaved ? comp.v_samp_factor : 1;
    plane.quantTable = comp.quant_tbl_no;
    plane.widthInBlocks = int(comp.width_in_blocks);
    plane.heightInBlocks = int(comp.height_in_blocks);
    return plane;
}

// The quantisation tables the components use, in natural order, indexed by table number.
inline std::vector<std::array<std::uint16_t, 64>> quantTablesFor(JQUANT_TBL *const *tables,
                                                                 const jpeg_component_info *comps, int count)
{
    int used = 0;
    for (int ci = 0; ci < count; ++ci)
        used = std::max(used, comps[ci].quant_tbl_no + 1);
    std::vector<std::array<std::uint16_t, 64>> out(static_cast<std::size_t>(used));
    for (int t = 0; t < used; ++t)
        if (tables[t])
            std::copy(tables[t]->quantval, tables[t]->quantval + 64, out[std::size_t(t)].begin());
    return out;
}

} // namespace dravik

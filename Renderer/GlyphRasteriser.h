#pragma once

#include <cstdint>
#include <vector>

namespace Renderer
{
class GlyphInstance;

/// A texel of a glyph is not a grey value but the 16 samples of a grid that is turned so that no two of them share a
/// row or a column of sixteenths. Bit (3 - subX) + 4 * subY, with subX and subY from 0 to 3, is set when the outline
/// covers the point
///
///     x = subX / 4 + subY / 16 + 1 / 32
///     y = subY / 4 + (3 - subX) / 16 + 1 / 32
///
/// of the texel, y upwards. So an edge can be placed on sixteenths of a texel when the glyph is drawn.
using CoverageMask = std::uint16_t;

/// The masks of a glyph, row by row from the lowest, `mWidth` to a row. A sample is covered when an odd number of
/// segments lies to its left. What `masks` held is replaced; its memory is used again.
void gRasteriseGlyph(const GlyphInstance& instance, std::vector<CoverageMask>& masks);
}

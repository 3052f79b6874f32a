// The demo capture: a test chart rendered in code and sampled as a 12-bit BayerRG mosaic, the way a
// colour camera's sensor would deliver it.
#pragma once

#include <lxapi/clxautoptr.h>
#include <lxapi/ilximage.h>

#include <cstddef>

namespace lxtool {

using BufferPtr = CLxAutoPtr<ILxImageBufferReleasable, ILxImageBuffer>;

constexpr size_t CaptureWidth = 800;
constexpr size_t CaptureHeight = 600;

// Fills `buffer` with the chart as BayerRG12: a grey ramp, colour patches, a zone plate and fine
// lines, under a warm light (red strong, blue weak) so that white balance has work to do. `frame`
// moves the zone plate and the lines, for the moving sequence.
void RenderCapture(ILxImageBuffer* buffer, int frame = 0, size_t width = CaptureWidth,
                   size_t height = CaptureHeight);

} // namespace lxtool

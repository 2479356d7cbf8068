#pragma once

#include "Utility/Trace.h"

namespace Renderer
{
class RenderContext;
}

namespace TwoImages
{

/// What a widget draws. It is compiled into the test program and into the module that the program loads, each with its
/// own copy of the library.
class Frame
{
public:
    virtual ~Frame() = default;

    /// 200 x 120 pixels with rectangles, lines of all kinds and text in two fonts.
    virtual void Paint() = 0;
};

/// The code of one image.
struct Operations
{
    /// Where gTrace of that image writes.
    void (*SetTraceSink)(const Utility::TraceSink& sink);
    bool (*Initialise)(Renderer::RenderContext& context);
    /// The caller owns it. `context` outlives it.
    Frame* (*CreateFrame)(Renderer::RenderContext& context);
};

/// That of the image which calls. The module exports another one by the name below.
Operations gGetOperations();

using GetOperations = Operations (*)();
inline constexpr char gExportedName[] = "getTwoImagesOperations";

}

#pragma once

#include <span>

namespace Renderer
{
class PrimitiveList;
class PrimitiveRenderer;
}

namespace Gallery
{

/// A picture that shows one side of the renderer.
struct Page
{
    const char* Name;
    int Width;
    int Height;
    /// Draws one frame. The first list is current, unclipped and at the origin.
    void (*Draw)(Renderer::PrimitiveRenderer& renderer, std::span<Renderer::PrimitiveList> lists);
};

std::span<const Page> gGetPages();

}

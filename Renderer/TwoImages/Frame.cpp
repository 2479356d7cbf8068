#include "Renderer/TwoImages/Frame.h"

#include "Renderer/FontManager.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

namespace TwoImages
{

namespace
{

using Renderer::RenderContext;

class ChartFrame final : public Frame
{
public:
    explicit ChartFrame(RenderContext& context) : mContext{context}, mRenderer{context, 1.0f}
    {
        mRenderer.SetViewportSize(200, 120);
    }

    void Paint() override
    {
        mContext.DeletePendingVertexArrays();
        mContext.BeginFrame();
        mContext.Clear({1, 1, 1, 1});
        mRenderer.BeginList(mList, {0, 0, 199, 119}, {0, 0});
        mList.BorderedRect({10, 10}, {90, 60}, 2, {0.8f, 0.9f, 1, 1}, {0, 0, 0, 1}, 5, 5);
        mList.DrawDashedLine({10, 70}, {190, 75}, 2, 6, 0, {0, 0.5f, 0, 1}, 5);
        mList.DrawShadowRect({100, 10}, {190, 60}, 12, {0.8f, 0.2f, 0, 1}, 5);
        mRenderer.SetFont("DejaVu Sans", 0);
        mList.DrawText({14, 20}, 16, {0, 0, 0, 1}, "11.25 ms", 3);
        mRenderer.SetFont("DejaVu Sans", Renderer::StyleFlags::cBold);
        mList.DrawText({12, 85}, 20, {0, 0, 0.5f, 1}, "Two images", 3);
        mRenderer.Flush();
        mContext.EndFrame();
    }

private:
    RenderContext& mContext;
    Renderer::PrimitiveRenderer mRenderer;
    Renderer::PrimitiveList mList{100};
};

}

Operations gGetOperations()
{
    return {[](const Utility::TraceSink& sink) { Utility::gSetTraceSinks({sink}); },
        [](RenderContext& context) { return context.Initialise(); },
        [](RenderContext& context) -> Frame* {
            return new ChartFrame{context};
        }};
}

}

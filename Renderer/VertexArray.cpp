#include "Renderer/VertexArray.h"

#include "Renderer/RenderContext.h"

namespace Renderer
{
VertexArrayHandle::~VertexArrayHandle()
{
    if (mVertexArray != nullptr)
    {
        mContext->Release(*mVertexArray);
    }
}
}

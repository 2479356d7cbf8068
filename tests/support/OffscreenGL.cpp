#include "tests/support/OffscreenGL.h"

#include <QtGui/QOffscreenSurface>
#include <QtGui/QOpenGLContext>
#include <QtGui/QOpenGLFramebufferObject>
#include <QtGui/QOpenGLFunctions>

namespace Tests
{

struct OffscreenGL::State
{
    QOffscreenSurface Surface;
    QOpenGLContext Context;
    std::unique_ptr<QOpenGLFramebufferObject> Picture;
};

OffscreenGL::OffscreenGL(int width, int height, const OffscreenGL* other) : mState(std::make_unique<State>())
{
    // Asking for a version can give a context without the old functions; the default one has them.
    mState->Surface.create();
    if (other != nullptr)
        mState->Context.setShareContext(&other->mState->Context);
    if (!mState->Context.create() || !mState->Context.makeCurrent(&mState->Surface))
        return;
    mState->Picture =
        std::make_unique<QOpenGLFramebufferObject>(width, height, QOpenGLFramebufferObject::CombinedDepthStencil);
    static_cast<void>(MakeCurrent());
}

OffscreenGL::~OffscreenGL()
{
    if (mState->Context.makeCurrent(&mState->Surface))
        mState->Picture.reset();
}

bool OffscreenGL::MakeCurrent()
{
    if (mState->Picture == nullptr || !mState->Context.makeCurrent(&mState->Surface) || !mState->Picture->bind())
        return false;
    mState->Context.functions()->glViewport(0, 0, mState->Picture->width(), mState->Picture->height());
    return true;
}

QImage OffscreenGL::Read() const
{
    QImage image = mState->Picture->toImage();
    image.reinterpretAsFormat(QImage::Format_RGB32);
    mState->Picture->bind();
    return image;
}

}

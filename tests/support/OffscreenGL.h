#pragma once

#include <memory>

#include <QtGui/QImage>

namespace Tests
{

/// A GL context with a picture to draw into, for programs that have a QGuiApplication and a display. The context has
/// the highest version that the driver offers with the old functions still in it.
class OffscreenGL
{
public:
    /// The context shares its objects with that of `other`, when there is one.
    OffscreenGL(int width, int height, const OffscreenGL* other = nullptr);
    ~OffscreenGL();
    OffscreenGL(const OffscreenGL&) = delete;
    OffscreenGL& operator=(const OffscreenGL&) = delete;

    /// Drawing goes into this picture from now on, and the viewport is all of it. False when there is no such context.
    [[nodiscard]] bool MakeCurrent();
    /// What was drawn, without its alpha.
    QImage Read() const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

}

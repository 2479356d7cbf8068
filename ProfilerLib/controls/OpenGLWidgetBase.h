#pragma once

#include <functional>

#include <QtWidgets/QOpenGLWidget>

class QLabel;

namespace Renderer
{
class RenderContext;
}

namespace Profiler
{

/// A widget that is drawn with OpenGL: it brings the render context up in its own GL context, and frames what is
/// painted. It never schedules a frame itself; its owner calls SetDelta and update(). Where OpenGL does not start, it
/// shows a message instead of a picture, stays uninitialised and works on as a plain widget.
class OpenGLWidgetBase : public QOpenGLWidget
{
    Q_OBJECT

public:
    explicit OpenGLWidgetBase(QWidget* parent = nullptr);
    ~OpenGLWidgetBase() override;

    /// Before the first paint. The context outlives the widget.
    void SetRenderContext(Renderer::RenderContext* context) { mRenderContext = context; }
    /// Before the first paint. Called once, with GL at hand; to have none is a mistake of the owner.
    void SetInitialiseCallback(std::function<void()> callback) { mInitialiseCallback = std::move(callback); }
    /// Seconds since the frame before, for the frames from now on.
    void SetDelta(double deltaSeconds) { mDelta = deltaSeconds; }

    /// The callback has run: there is something to draw and to talk to.
    bool IsInitialised() const { return mInitialised; }

protected:
    /// Draws a frame, with the GL context current.
    virtual void Render(double deltaSeconds);

    void paintEvent(QPaintEvent* event) override;
    void paintGL() override;
    void resizeEvent(QResizeEvent* event) override;

    /// Brings up the render context in the current GL context. False, with the message on the widget, when it fails.
    [[nodiscard]] bool StartRenderContext();
    /// Runs the callback if it has not run yet.
    void RunInitialiseCallback();
    Renderer::RenderContext* GetRenderContext() const { return mRenderContext; }

private:
    void ShowFailure(const QString& reason);

    double mDelta = 0.0;
    Renderer::RenderContext* mRenderContext = nullptr;
    std::function<void()> mInitialiseCallback;
    bool mInitialised = false;
    /// GL is ready to draw with; not so again when the widget has come to a window where it is not.
    bool mIsReady = false;
    /// Over all of the widget; null unless OpenGL has failed. A child, so Qt owns it.
    QLabel* mFailureLabel = nullptr;
};

}

#include "ProfilerLib/controls/OpenGLWidgetBase.h"

#include <QtWidgets/QLabel>

#include "Renderer/RenderContext.h"
#include "SpindlemarkAPI/InstrumentationScope.h"
#include "Utility/Trace.h"

namespace Profiler
{

OpenGLWidgetBase::OpenGLWidgetBase(QWidget* parent) : QOpenGLWidget(parent) {}

OpenGLWidgetBase::~OpenGLWidgetBase() = default;

void OpenGLWidgetBase::Render(double) {}

void OpenGLWidgetBase::paintEvent(QPaintEvent* event)
{
    QOpenGLWidget::paintEvent(event);
    if (isValid() || mFailureLabel != nullptr)
        return;
    Utility::gTrace("There is no OpenGL context to draw a chart in");
    // Not from inside a paint: the label is another widget to be painted.
    QMetaObject::invokeMethod(
        this, [this] { ShowFailure(tr("There is no OpenGL context to draw it in.")); }, Qt::QueuedConnection);
}

void OpenGLWidgetBase::paintGL()
{
    if (!mIsReady)
        return;
    const SpindlemarkAPI::InstrumentationScope scope("Render");
    mRenderContext->DeletePendingVertexArrays();
    mRenderContext->BeginFrame();
    Render(mDelta);
    mRenderContext->EndFrame();
}

void OpenGLWidgetBase::resizeEvent(QResizeEvent* event)
{
    QOpenGLWidget::resizeEvent(event);
    if (mFailureLabel != nullptr)
        mFailureLabel->resize(size());
}

bool OpenGLWidgetBase::StartRenderContext()
{
    mIsReady = mRenderContext != nullptr && mRenderContext->Initialise();
    if (!mIsReady)
        ShowFailure(mRenderContext != nullptr ? QString::fromStdString(mRenderContext->GetFailure()) : QString());
    else if (mFailureLabel != nullptr)
        mFailureLabel->hide();
    return mIsReady;
}

void OpenGLWidgetBase::RunInitialiseCallback()
{
    if (mInitialised)
        return;
    mInitialiseCallback();
    mInitialised = true;
}

void OpenGLWidgetBase::ShowFailure(const QString& reason)
{
    if (mFailureLabel == nullptr)
    {
        mFailureLabel = new QLabel(this);
        mFailureLabel->setAlignment(Qt::AlignCenter);
        mFailureLabel->setWordWrap(true);
        mFailureLabel->setAutoFillBackground(true);
        mFailureLabel->setBackgroundRole(QPalette::Base);
        mFailureLabel->setForegroundRole(QPalette::Text);
        mFailureLabel->resize(size());
    }
    mFailureLabel->setText(tr("The chart cannot be drawn.\n%1").arg(reason));
    mFailureLabel->show();
}

}

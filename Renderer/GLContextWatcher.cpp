#include "Renderer/GLContextWatcher.h"

#include <QtGui/QOpenGLContext>

#include <unordered_map>
#include <utility>

namespace Renderer
{
GLContextHandle gGetCurrentGLContext()
{
    return QOpenGLContext::currentContext();
}

struct GLContextWatcher::State
{
    void Watch(QOpenGLContext* context)
    {
        const auto [entry, isNew] = mConnections.try_emplace(context);
        if (isNew)
        {
            entry->second = QObject::connect(
                context, &QOpenGLContext::aboutToBeDestroyed, context, [this, context] { OnEnd(context); });
        }
    }

    void OnEnd(QOpenGLContext* context)
    {
        // The same object may become another context later, and is then watched anew.
        QObject::disconnect(mConnections.at(context));
        mConnections.erase(context);
        mContextEnds(context);
        if (!mConnections.empty())
        {
            return;
        }
        // One member of the group has to be watched as long as there is any.
        for (QOpenGLContext* other : context->shareGroup()->shares())
        {
            if (other != context)
            {
                Watch(other);
                return;
            }
        }
        mGroup = nullptr;
        mGroupEnds();
    }

    std::function<void(GLContextHandle)> mContextEnds;
    std::function<void()> mGroupEnds;
    const QOpenGLContextGroup* mGroup = nullptr;
    std::unordered_map<QOpenGLContext*, QMetaObject::Connection> mConnections;
};

GLContextWatcher::GLContextWatcher(std::function<void(GLContextHandle)> contextEnds, std::function<void()> groupEnds)
    : mState(std::make_unique<State>())
{
    mState->mContextEnds = std::move(contextEnds);
    mState->mGroupEnds = std::move(groupEnds);
}

GLContextWatcher::~GLContextWatcher()
{
    for (const auto& [context, connection] : mState->mConnections)
    {
        QObject::disconnect(connection);
    }
}

void GLContextWatcher::WatchCurrent()
{
    QOpenGLContext* const context = QOpenGLContext::currentContext();
    if (context != nullptr && (mState->mGroup == nullptr || mState->mGroup == context->shareGroup()))
    {
        mState->mGroup = context->shareGroup();
        mState->Watch(context);
    }
}

bool GLContextWatcher::IsGroupCurrent() const
{
    const QOpenGLContext* const context = QOpenGLContext::currentContext();
    return context != nullptr && context->shareGroup() == mState->mGroup;
}
}

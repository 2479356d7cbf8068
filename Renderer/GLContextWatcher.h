#pragma once

#include <functional>
#include <memory>

namespace Renderer
{
/// Names a GL context while that lives; another one may have the same name afterwards. Null is none.
using GLContextHandle = const void*;

/// The context that is current on this thread.
GLContextHandle gGetCurrentGLContext();

/// Tells when GL contexts end, so that nobody goes on using names that died with them. It watches one group of contexts
/// that share their objects. The thread of the contexts only.
class GLContextWatcher
{
public:
    /// `contextEnds` is called for each context that was watched, `groupEnds` after it when that was the last one of
    /// the group: the objects that they shared go with it. Both while the context is still there.
    GLContextWatcher(std::function<void(GLContextHandle)> contextEnds, std::function<void()> groupEnds);
    ~GLContextWatcher();
    GLContextWatcher(const GLContextWatcher&) = delete;
    GLContextWatcher& operator=(const GLContextWatcher&) = delete;

    /// Watches the current context, and its group when there is none yet. Twice is once.
    void WatchCurrent();
    /// Whether the current context shares its objects with those that are watched.
    bool IsGroupCurrent() const;

private:
    struct State;
    std::unique_ptr<State> mState;
};
}

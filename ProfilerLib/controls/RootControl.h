#pragma once

#include "ProfilerLib/controls/Control.h"

namespace Profiler
{

/// The top of a tree: the whole surface of a host, filled by one content. It receives no input of its own.
class RootControl final : public Control
{
public:
    /// `screenOrigin` is the host's upper left corner on the screen.
    RootControl(ControlContext* context, const Renderer::Vector2& screenOrigin);

    /// Called once: there is no other child.
    void SetContent(std::unique_ptr<Control> content);
    /// Null before SetContent.
    Control* GetContent() const { return mContent; }
    /// Each time the host has moved.
    void SetScreenOrigin(const Renderer::Vector2& screenOrigin) { mScreenOrigin = screenOrigin; }

    void OnLayout() override;

private:
    Renderer::Vector2 GetScreenOrigin() const override { return mScreenOrigin; }

    Control* mContent = nullptr;
    Renderer::Vector2 mScreenOrigin;
};

}

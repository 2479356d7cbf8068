#pragma once

#include <memory>
#include <string>

namespace Quarkspindle
{

/// Whether windows can be shown: on the platform that the user chose for Qt, else on an X display that answers.
/// Leaves the choice of "xcb" behind where the user made none: OpenGL's functions are looked up through GLX.
bool gHasDisplay();

/// A display of the program's own that nobody sees, for pictures where there is none: a private Xvfb, which ends with
/// the object. Made before the application object, outlives it.
class PrivateDisplay
{
public:
    PrivateDisplay();
    PrivateDisplay(const PrivateDisplay&) = delete;
    PrivateDisplay& operator=(const PrivateDisplay&) = delete;
    ~PrivateDisplay();

    /// False, with the reason in `error`, when there is no Xvfb or it does not start.
    [[nodiscard]] bool Start(std::string& error);

private:
    struct State;
    std::unique_ptr<State> mState;
};

}

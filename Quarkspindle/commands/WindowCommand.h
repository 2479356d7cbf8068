#pragma once

#include "Quarkspindle/WindowModule.h"
#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// What happens when the program is started with paths, or with nothing.
class WindowCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;
    bool IsChosen() const override;

private:
    const CLI::App* mProgram = nullptr;
    WindowRequest mRequest;
};

}

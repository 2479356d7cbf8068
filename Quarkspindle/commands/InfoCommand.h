#pragma once

#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `info`: what a capture holds.
class InfoCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mCapture;
    std::string mFormat = "text";
};

}

#pragma once

#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `list`: the charts that a capture has, one for each event and thread.
class ListCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mCapture;
    std::string mMatch;
    std::string mFormat = "text";
};

}

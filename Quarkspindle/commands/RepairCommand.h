#pragma once

#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `repair`: makes a damaged capture one that can be opened.
class RepairCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mCapture;
    bool mDropsDamaged = false;
    std::string mFormat = "text";
};

}

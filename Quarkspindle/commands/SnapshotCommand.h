#pragma once

#include <string>

#include "Quarkspindle/WindowModule.h"
#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `snapshot`: a chart, or the whole window, as a PNG file.
class SnapshotCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    SnapshotRequest mRequest;
    std::string mSize = "1400x900";
    std::string mRange;
};

}

#pragma once

#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `import`: a trace file becomes a capture.
class ImportCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mTrace;
    std::string mDirectory;
    std::string mProcess;
    bool mForce = false;
};

}

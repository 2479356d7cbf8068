#pragma once

#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `verify`: whether a capture is sound, file by file and chunk by chunk.
class VerifyCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mCapture;
    std::string mFormat = "text";
};

}

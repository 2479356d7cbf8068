#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Quarkspindle/commands/Command.h"

namespace Quarkspindle
{

/// `chart`: every occurrence of one event on one thread.
class ChartCommand final : public Command
{
public:
    void Declare(CLI::App& program) override;
    [[nodiscard]] bool Run(const CommandContext& context, Utility::Result& result) override;

private:
    std::string mCapture;
    std::string mEvent;
    std::optional<int32_t> mThreadID;
    int mLevel = 0;
    std::string mFormat = "text";
    bool mSave = false;
};

}

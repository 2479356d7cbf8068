#pragma once

#include <atomic>
#include <string>

#include "Utility/Result.h"

namespace CLI
{
class App;
}

namespace Quarkspindle
{

/// What a command gets from the program that it runs in.
struct CommandContext
{
    /// Set by the user's interrupt: the command then ends soon, leaves nothing half-done behind and returns false.
    const std::atomic<bool>& Interrupted;
};

/// What `--version` prints.
std::string gGetVersionText();

/// One word of the command line. `Declare` adds the word with its options, which the parser fills in; `Run` does the
/// work.
class Command
{
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    virtual void Declare(CLI::App& program) = 0;

    /// False with the reason in `result`.
    [[nodiscard]] virtual bool Run(const CommandContext& context, Utility::Result& result) = 0;

    /// Whether the user asked for this command; holds after parsing.
    virtual bool IsChosen() const;

protected:
    Command() = default;

    CLI::App& AddWord(CLI::App& program, const std::string& word, const std::string& description);

private:
    CLI::App* mWord = nullptr;
};

}

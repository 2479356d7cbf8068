#include "Quarkspindle/commands/Command.h"

#include <CLI/CLI.hpp>

namespace Quarkspindle
{

bool Command::IsChosen() const
{
    return mWord != nullptr && mWord->parsed();
}

CLI::App& Command::AddWord(CLI::App& program, const std::string& word, const std::string& description)
{
    mWord = program.add_subcommand(word, description);
    mWord->failure_message(CLI::FailureMessage::help);
    return *mWord;
}

}

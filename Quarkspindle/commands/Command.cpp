#include "Quarkspindle/commands/Command.h"

#include <CLI/CLI.hpp>

#include "Quarkspindle/Version.h"

namespace Quarkspindle
{

bool Command::IsChosen() const
{
    return mWord != nullptr && mWord->parsed();
}

std::string gGetVersionText()
{
    return std::string{"quarkspindle "} + cVersion;
}

CLI::App& Command::AddWord(CLI::App& program, const std::string& word, const std::string& description)
{
    mWord = program.add_subcommand(word, description)->group("Commands");
    mWord->set_version_flag("--version", gGetVersionText(), "Print the version and exit");
    return *mWord;
}

}

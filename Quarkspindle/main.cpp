#include "Quarkspindle/CommandLine.h"
#include "Quarkspindle/window/WindowCommands.h"

int main(int argc, char** argv)
{
    return Quarkspindle::gRunCommandLine(argc, argv, Quarkspindle::gMakeWindowCommands());
}

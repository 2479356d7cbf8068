#include "Quarkspindle/CommandLine.h"

int main(int argc, char** argv)
{
    return Quarkspindle::gRunCommandLine(argc, argv);
}

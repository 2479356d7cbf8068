#pragma once

#include <string>
#include <vector>

namespace Quarkspindle
{

class Output;

/// One thing that there is to say of a file of a capture.
struct Finding
{
    enum class EState
    {
        Sound,
        Damaged,
        LeftOut, ///< was damaged, and is no longer there
        Mended,
    };

    std::string File; ///< its full path
    EState State = EState::Sound;
    std::string Text; ///< what there is, or what is wrong and at which byte
};

std::size_t gCountDamages(const std::vector<Finding>& findings);

/// A line for each.
void gPrintFindings(Output& output, const std::vector<Finding>& findings);

void gPrintFindingsAsJson(Output& output, const std::string& sessionPath, const std::vector<Finding>& findings);

}

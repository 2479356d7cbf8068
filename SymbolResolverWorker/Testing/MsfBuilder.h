#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Symbols::Testing
{

/// The container of a program database, made anew from its streams: so that one can be damaged on purpose. Blocks are
/// as small as they may be, which keeps the files small too.
class MsfBuilder
{
public:
    static constexpr uint32_t cBlockSize = 512;

    /// The streams of an existing file.
    static MsfBuilder sRead(const std::string& path);

    std::string Build() const;

    std::vector<std::string> mStreams;
};

}

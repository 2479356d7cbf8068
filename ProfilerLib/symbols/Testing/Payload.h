#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Profiler::Testing
{

/// Builds what stands behind a container's schema by hand, as the format pages tell it.
class Payload
{
public:
    template <class T>
    Payload& Number(T value)
    {
        for (std::size_t i = 0; i < sizeof(T); ++i)
            mBytes += static_cast<char>(static_cast<uint64_t>(value) >> (8 * i));
        return *this;
    }
    Payload& Text(std::string_view text)
    {
        Number(uint64_t{text.size()});
        mBytes += text;
        return *this;
    }
    Payload& Sized(const Payload& body)
    {
        Number(uint64_t{body.mBytes.size()});
        mBytes += body.mBytes;
        return *this;
    }
    const std::string& GetBytes() const { return mBytes; }

private:
    std::string mBytes;
};

}

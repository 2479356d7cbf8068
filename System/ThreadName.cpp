#include "System/ThreadName.h"

namespace
{
bool gIsContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}
}

std::string System::gShortenThreadName(std::string_view name, size_t limit)
{
    if (name.size() <= limit)
    {
        return std::string(name);
    }
    size_t tail = name.find_last_not_of("0123456789") + 1;
    if (tail > 0 && tail < name.size() && name[tail - 1] == ' ')
    {
        --tail;
    }
    const std::string_view number = name.substr(tail);
    if (number.size() >= limit)
    {
        return std::string(name.substr(name.size() - limit));
    }
    size_t cut = limit - number.size();
    while (cut > 0 && gIsContinuation(name[cut]))
    {
        --cut;
    }
    return std::string(name.substr(0, cut)).append(number);
}

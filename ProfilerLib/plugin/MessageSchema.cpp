#include "ProfilerLib/plugin/MessageSchema.h"

#include <algorithm>
#include <utility>

namespace Profiler
{

MessageSchema::MessageSchema(std::string name, std::vector<MessageField> fields)
    : mName{std::move(name)},
      mFields{std::move(fields)}
{}

int32_t MessageSchema::FindField(std::string_view name) const
{
    const auto field = std::ranges::find(mFields, name, &MessageField::mName);
    return field == mFields.end() ? -1 : static_cast<int32_t>(field - mFields.begin());
}

int32_t MessageSchema::FindField(std::string_view name, EMessageFieldType type) const
{
    const int32_t index = FindField(name);
    return index >= 0 && GetField(index).mType == type ? index : -1;
}

}

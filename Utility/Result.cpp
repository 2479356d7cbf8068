#include "Utility/Result.h"

#include "Utility/Format.h"

#include <utility>

namespace Utility
{
bool Result::Check(bool condition, std::int32_t code, const char* format, ...)
{
    if (condition) [[likely]]
    {
        return true;
    }
    std::va_list arguments;
    va_start(arguments, format);
    FailV(code, format, arguments);
    va_end(arguments);
    return false;
}

bool Result::Fail(std::int32_t code, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    FailV(code, format, arguments);
    va_end(arguments);
    return false;
}

bool Result::FailV(std::int32_t code, const char* format, std::va_list arguments)
{
    return FailText(code, gFormatV(format, arguments));
}

bool Result::FailText(std::int32_t code, std::string_view message)
{
    mErrors.push_back({code, mContextStack.empty() ? std::string() : mContextStack.back(), std::string(message)});
    return false;
}

ResultContext Result::PushContext(std::string context)
{
    return ResultContext(*this, std::move(context));
}

void Result::Clear()
{
    mErrors.clear();
    mContextStack.clear();
}

std::string Result::ToString() const
{
    std::string text;
    for (auto entry = mErrors.rbegin(); entry != mErrors.rend(); ++entry)
    {
        if (entry != mErrors.rbegin())
        {
            text += '\n';
        }
        text += gFormat("Context: %s, internal error: %s",
            entry->mContext.empty() ? "[no context]" : entry->mContext.c_str(), entry->mMessage.c_str());
    }
    return text;
}

ResultContext::ResultContext(Result& result, std::string context) : mResult(result), mDepth(result.mContextStack.size())
{
    result.mContextStack.push_back(std::move(context));
}

ResultContext::~ResultContext()
{
    if (mResult.mContextStack.size() > mDepth)
    {
        mResult.mContextStack.resize(mDepth);
    }
}
}

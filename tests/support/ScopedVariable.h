#pragma once

#include <cstdlib>
#include <optional>
#include <string>

/// Sets a variable of the environment, or takes it away, for a scope.
class ScopedVariable
{
public:
    ScopedVariable(const char* name, const char* value) : mName(name)
    {
        if (const char* const before = std::getenv(name))
        {
            mBefore = before;
        }
        Set(value);
    }
    ~ScopedVariable() { Set(mBefore ? mBefore->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void Set(const char* value)
    {
        if (value != nullptr)
        {
            setenv(mName, value, 1);
        }
        else
        {
            unsetenv(mName);
        }
    }

    const char* const mName;
    std::optional<std::string> mBefore;
};

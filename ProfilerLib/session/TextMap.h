#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeNames.h"
#include "Utility/Mutex.h"

namespace Profiler
{

/// Texts by their identifiers; to files it is a map. A text may also be lent: it stays where it is, is stored with the
/// others, and is only copied when someone asks for a text. So who records hundreds of thousands of texts that nobody
/// asks for before they are in a file pays for none of them. One thread adds and then any thread may ask.
class TextMap
{
public:
    using Texts = std::unordered_map<uint64_t, std::string>;

    /// Keeps the text that is there already.
    void Add(uint64_t id, std::string_view text) { mTexts.try_emplace(id, text); }
    /// The identifier is new. The text must stay until ForgetLent, or until a text is asked for.
    void Lend(uint64_t id, std::string_view text);
    /// Drops the texts that are lent and that nobody has asked for.
    void ForgetLent();

    /// All texts. The address of each stays as long as the map.
    const Texts& GetTexts() const
    {
        // Acquire: what was copied on another thread is there.
        if (mHasLent.load(std::memory_order_acquire)) [[unlikely]]
            CopyLent();
        return mTexts;
    }

    // What the stored form asks for.
    std::size_t size() const { return mTexts.size() + mLent.size(); }
    void reserve(std::size_t count) { mTexts.reserve(count); }
    std::string& operator[](uint64_t id) { return mTexts[id]; }
    void insert_or_assign(uint64_t id, const std::string& text) { mTexts.insert_or_assign(id, text); }
    std::unique_ptr<RTTI::MapIterator> CreateIterator();

private:
    struct LentText
    {
        uint64_t mID;
        std::string_view mText;
    };
    class Iterator;

    void CopyLent() const;

    // The first who asks changes them.
    mutable Texts mTexts;
    mutable std::vector<LentText> mLent;
    mutable std::atomic<bool> mHasLent{false};
    mutable Utility::Mutex mCopyMutex;
};

}

template <>
struct RTTI::MapTraits<Profiler::TextMap>
{
    static constexpr bool cIsMap = true;
    using Key = uint64_t;
    using Value = std::string;
};

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Serialization/RTTI/TypeInfo.h"
#include "Serialization/RTTI/TypeNames.h"
#include "Utility/Mutex.h"

namespace Profiler
{

/// Texts with their identifiers, each once, that lie elsewhere. They are taken one by one, so the owner may give them
/// up behind the taker.
class LentTexts
{
public:
    struct Text
    {
        uint64_t mID;
        std::string_view mText;
    };

    virtual ~LentTexts() = default;

    virtual std::size_t GetNumLeft() const = 0;
    /// There is one left. It stays until the next one is taken.
    virtual Text Take() = 0;
};

/// Texts by their identifiers; to files it is a map. Texts may also be lent: they stay where they are until the map is
/// stored, and are only copied when someone asks for a text before. So who records hundreds of thousands of texts that
/// nobody asks for before they are in a file pays for none of them. One thread adds and then any thread may ask.
class TextMap
{
public:
    using Texts = std::unordered_map<uint64_t, std::string>;

    /// Keeps the text that is there already.
    void Add(uint64_t id, std::string_view text) { mTexts.try_emplace(id, text); }
    /// To a map that has none. What is stored once is taken, and not there any more; `texts` must stay until
    /// ForgetLent.
    void Lend(LentTexts& texts);
    /// The map has lent texts no longer, unless someone has asked for a text.
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
    std::size_t size() const { return mTexts.size() + (mLent != nullptr ? mLent->GetNumLeft() : 0); }
    void reserve(std::size_t count) { mTexts.reserve(count); }
    std::string& operator[](uint64_t id) { return mTexts[id]; }
    void insert_or_assign(uint64_t id, const std::string& text) { mTexts.insert_or_assign(id, text); }
    std::unique_ptr<RTTI::MapIterator> CreateIterator();

private:
    class Iterator;

    void CopyLent() const;

    // The first who asks changes them.
    mutable Texts mTexts;
    mutable LentTexts* mLent = nullptr;
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

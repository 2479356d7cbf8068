#include "ProfilerLib/session/TextMap.h"

#include "Serialization/RTTI/TypeOf.h"

#include <algorithm>

namespace Profiler
{

/// Over the texts of the map and then those that are lent, with one string for all of these.
class TextMap::Iterator final : public RTTI::MapIterator
{
public:
    explicit Iterator(TextMap& map) : mMap{map}, mOwn{map.mTexts.begin()} {}

    bool IsAtEnd() const override { return mOwn == mMap.mTexts.end() && mNumLent == mMap.mLent.size(); }

    Entry Next() override
    {
        if (mOwn != mMap.mTexts.end())
        {
            auto& [id, text] = *mOwn++;
            return MakeEntry(id, text);
        }
        // They lie where they have come to lie, and are short.
        constexpr std::size_t numAhead = 8;
        __builtin_prefetch(mMap.mLent[std::min(mNumLent + numAhead, mMap.mLent.size() - 1)].mText.data());
        const LentText& lent = mMap.mLent[mNumLent++];
        mText = lent.mText;
        return MakeEntry(lent.mID, mText);
    }

private:
    /// No reader of an entry writes through it.
    static Entry MakeEntry(const uint64_t& id, std::string& text)
    {
        return {{&RTTI::gTypeOf<uint64_t>(), const_cast<uint64_t*>(&id)}, {&RTTI::gTypeOf<std::string>(), &text}};
    }

    TextMap& mMap;
    Texts::iterator mOwn;
    std::size_t mNumLent = 0;
    std::string mText;
};

void TextMap::Lend(uint64_t id, std::string_view text)
{
    mLent.push_back({id, text});
    // Relaxed: nobody else asks before the adding has ended.
    mHasLent.store(true, std::memory_order_relaxed);
}

void TextMap::ForgetLent()
{
    mLent.clear();
    mHasLent.store(false, std::memory_order_relaxed);
}

std::unique_ptr<RTTI::MapIterator> TextMap::CreateIterator()
{
    return std::make_unique<Iterator>(*this);
}

void TextMap::CopyLent() const
{
    const Utility::MutexLock lock{mCopyMutex};
    for (const LentText& lent : mLent)
        mTexts.try_emplace(lent.mID, lent.mText);
    mLent.clear();
    mHasLent.store(false, std::memory_order_release);
}

}

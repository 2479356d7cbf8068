#include "ProfilerLib/session/TextMap.h"

#include "Serialization/RTTI/TypeOf.h"

#include <cassert>

namespace Profiler
{

/// Over the texts of the map and then those that are lent, with one string for all of these.
class TextMap::Iterator final : public RTTI::MapIterator
{
public:
    explicit Iterator(TextMap& map) : mMap{map}, mOwn{map.mTexts.begin()} {}

    bool IsAtEnd() const override
    {
        return mOwn == mMap.mTexts.end() && (mMap.mLent == nullptr || mMap.mLent->GetNumLeft() == 0);
    }

    Entry Next() override
    {
        if (mOwn != mMap.mTexts.end())
        {
            auto& [id, text] = *mOwn++;
            return MakeEntry(id, text);
        }
        const LentTexts::Text lent = mMap.mLent->Take();
        mID = lent.mID;
        mText = lent.mText;
        return MakeEntry(mID, mText);
    }

private:
    /// No reader of an entry writes through it.
    static Entry MakeEntry(const uint64_t& id, std::string& text)
    {
        return {{&RTTI::gTypeOf<uint64_t>(), const_cast<uint64_t*>(&id)}, {&RTTI::gTypeOf<std::string>(), &text}};
    }

    TextMap& mMap;
    Texts::iterator mOwn;
    uint64_t mID = 0;
    std::string mText;
};

void TextMap::Lend(LentTexts& texts)
{
    assert(mTexts.empty());
    mLent = &texts;
    // Relaxed: nobody else asks before the adding has ended.
    mHasLent.store(true, std::memory_order_relaxed);
}

void TextMap::ForgetLent()
{
    mLent = nullptr;
    mHasLent.store(false, std::memory_order_relaxed);
}

std::unique_ptr<RTTI::MapIterator> TextMap::CreateIterator()
{
    return std::make_unique<Iterator>(*this);
}

void TextMap::CopyLent() const
{
    const Utility::MutexLock lock{mCopyMutex};
    while (mLent != nullptr && mLent->GetNumLeft() != 0)
    {
        const LentTexts::Text lent = mLent->Take();
        mTexts.try_emplace(lent.mID, lent.mText);
    }
    mLent = nullptr;
    mHasLent.store(false, std::memory_order_release);
}

}

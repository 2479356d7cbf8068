#include "Importers/ContextBuilder.h"

#include "Importers/Utf8.h"

namespace Importers
{
void ContextBuilder::Reset()
{
    mIsUsed = false;
    mDetail.Clear();
    mOthers.Clear();
    mName.clear();
    mHasDetail = false;
    mHasOthers = false;
    mHasAverage = false;
}

bool ContextBuilder::Read(JsonScanner& scanner)
{
    Clear();
    mIsUsed = true;
    switch (scanner.Peek())
    {
    case '{':
        return ReadMembers(scanner);
    case 'n':
        return scanner.SkipValue();
    default:
        mHasOthers = true;
        return ReadValue(scanner, mOthers, false);
    }
}

std::string_view ContextBuilder::Finish()
{
    std::string_view text = mOthers.mText;
    if (mHasDetail && !mHasOthers)
    {
        text = mDetail.mText;
    }
    else if (mHasDetail)
    {
        mText.assign("detail: ").append(mDetail.mText).append(", ").append(mOthers.mText);
        text = mText;
    }
    if (gCountValidUtf8(text) != text.size())
    {
        mValidText.clear();
        gAppendValidUtf8(mValidText, text);
        text = mValidText;
    }
    return gCutUtf8(text, sLongestContext);
}

bool ContextBuilder::ReadMembers(JsonScanner& scanner)
{
    scanner.Take();
    if (scanner.Peek() == '}')
    {
        scanner.Take();
        return true;
    }
    while (ReadMember(scanner))
    {
        const int next = scanner.Peek();
        if (next == '}')
        {
            scanner.Take();
            return true;
        }
        if (next != ',')
        {
            return next < 0 ? scanner.FailAtEnd() : scanner.Fail("',' or '}' is expected");
        }
        scanner.Take();
    }
    return false;
}

bool ContextBuilder::ReadMember(JsonScanner& scanner)
{
    JsonToken key;
    if (!scanner.ReadString(key))
    {
        return false;
    }
    const bool isName = key.mText == "name";
    const bool isDetail = key.mText == "detail";
    mHasAverage = mHasAverage || key.mText == "avg ms";
    if (isDetail)
    {
        mDetail.Clear();
        mHasDetail = true;
    }
    else
    {
        if (mHasOthers)
        {
            mOthers.Append(", ");
        }
        mOthers.Append(key.mText);
        mOthers.Append(": ");
        mHasOthers = true;
    }
    return scanner.TakeColon() && ReadValue(scanner, isDetail ? mDetail : mOthers, isName);
}

bool ContextBuilder::ReadValue(JsonScanner& scanner, CappedText& target, bool isName)
{
    if (scanner.Peek() != '"')
    {
        return scanner.CopyValue(target);
    }
    JsonToken value;
    if (!scanner.ReadString(value))
    {
        return false;
    }
    target.Append(value.mText);
    if (isName)
    {
        mName.clear();
        gAppendValidUtf8(mName, value.mText);
    }
    return true;
}
}

#include "Importers/ImportReport.h"

namespace Importers
{
const char* gGetRejectionText(ERejection rejection)
{
    switch (rejection)
    {
    case ERejection::NotAnObject:
        return "the entry is not an object";
    case ERejection::NoPhase:
        return "the event has no phase";
    case ERejection::NoTime:
        return "the event has no time stamp";
    case ERejection::BadTime:
        return "the time stamp is not a number";
    case ERejection::TimeOutOfRange:
        return "the time is out of range";
    case ERejection::BadDuration:
        return "the duration is not a number";
    case ERejection::NegativeDuration:
        return "the duration is negative";
    case ERejection::NoAsyncID:
        return "the asynchronous event has no id";
    case ERejection::Count:
        break;
    }
    return "";
}

std::string TraceDamage::ToString() const
{
    std::string text = "byte " + std::to_string(mIsCompressed ? mFileOffset : mTextOffset);
    if (mIsCompressed)
    {
        text += " (byte " + std::to_string(mTextOffset) + " of the decompressed text)";
    }
    return text + ": " + mReason;
}
}

#pragma once

#include <cstdint>

namespace Serialization
{

/// What went wrong, as the code of a `Utility::Result` entry. Unscoped, since the codes of a result are plain numbers.
enum EError : int32_t
{
    Unspecified = 0,    ///< any failure to write, and a text file that cannot be read
    FileNotFound = 1,   ///< no such file
    FileReadFailed = 2, ///< the file is there but could not be read
    InvalidBuffer = 3,  ///< not a buffer of this format at all
    Incompatible = 4,   ///< refused by a compatibility rule: the data is sound, but of another build
    CorruptData = 5,    ///< checksum, schema or structure is wrong
};

/// What a read does with an object of a class that the registry does not know.
enum class EUnknownTypePolicy : uint8_t
{
    Fail = 0, ///< the read ends with `Incompatible`
    Skip = 1, ///< the object is passed over: a root is left out, a pointer stays null
};

}

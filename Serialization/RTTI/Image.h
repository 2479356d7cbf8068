#pragma once

#include <cstdint>

namespace RTTI
{

/// The name of the image (program or module) that this code is linked into. Each image defines it; two images that
/// link the same libraries are told apart by nothing else.
const char* gGetImageName();

/// The owner id of this image: the CRC-64 of its name, computed once. Any thread.
uint64_t gGetOwnerID();

}

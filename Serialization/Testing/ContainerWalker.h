#pragma once

#include <string>

#include "Serialization/Testing/Fixture.h"

namespace Serialization::Testing
{

/// Walks a buffer by nothing but the description of the format: checks the checksum, reads the schema as plain JSON,
/// goes through every value by the stored schema, and checks that each body ends where its size says. It shares no code
/// with the library. Gives the values as text, one line per root, or "error: ..." and where.
std::string gWalkContainer(const Bytes& buffer);

}

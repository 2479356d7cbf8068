#pragma once

#include <string>
#include <string_view>

namespace Renderer
{
/// Reads the first two numbers of what the driver says about its version, for example "4.5 (Compatibility Profile)
/// Mesa". False, with both 0, when the text does not open with two numbers.
[[nodiscard]] bool gParseGLVersion(const char* text, int& majorVersion, int& minorVersion);

/// The source with every "#version" number replaced by that of the context, so that one source serves all of them: 4, 5
/// makes it 450. A source without such a line stays as it is.
[[nodiscard]] std::string gRewriteShaderVersion(std::string_view source, int majorVersion, int minorVersion);

/// A driver reports the array `weights` as "weights[0]": the name without all from its first "[" to its last "]".
[[nodiscard]] std::string gRemoveArraySuffix(std::string name);
}

# Writes a source file that holds the texts of files, so that no program reads them at run time.
#
#   cmake -DFOLDER=folder -DENTRIES="file;file" -DOUTPUT=file.cpp -P EmbedTexts.cmake

set(rows "")
foreach(entry IN LISTS ENTRIES)
  file(READ "${FOLDER}/${entry}" text)
  string(APPEND rows "    {\"${entry}\", R\"embedded(${text})embedded\"},\n")
endforeach()
file(WRITE "${OUTPUT}"
"#include \"Renderer/EmbeddedResources.h\"

namespace Renderer
{
namespace
{
constexpr EmbeddedText gEmbeddedShaders[] = {
${rows}};
}

std::span<const EmbeddedText> gGetEmbeddedShaders()
{
    return gEmbeddedShaders;
}
}
")

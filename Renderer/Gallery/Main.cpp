#include "Renderer/Gallery/Gallery.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"
#include "tests/support/Pictures.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QImage>

#include <array>
#include <cstdio>
#include <string>

// Draws the pages of the gallery into pictures, and compares them with those that were looked at before:
//
//     renderer_gallery OUTPUT [REFERENCE]

namespace
{

QImage Draw(const Gallery::Page& page)
{
    Tests::OffscreenGL gl(page.Width, page.Height);
    Renderer::RenderContext context;
    if (!gl.MakeCurrent() || !context.Initialise())
        return {};
    Renderer::PrimitiveRenderer renderer(context, 1.0f);
    renderer.SetViewportSize(page.Width, page.Height);
    std::array lists{Renderer::PrimitiveList(10000), Renderer::PrimitiveList(100), Renderer::PrimitiveList(100),
        Renderer::PrimitiveList(100)};
    context.BeginFrame();
    context.Clear({1, 1, 1, 1});
    renderer.BeginList(lists.front(), {0, 0, -1, -1}, {0, 0});
    page.Draw(renderer, lists);
    renderer.Flush();
    context.EndFrame();
    return gl.Read();
}

}

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    if (argc < 2 || argc > 3)
    {
        std::fprintf(stderr, "renderer_gallery OUTPUT [REFERENCE]\n");
        return 2;
    }
    // Of what is compiled, only what fails is of interest here.
    Utility::gSetTraceSinks({{[](const char* line, void*) {
                                  if (std::string(line).find("Successfully") == std::string::npos)
                                      std::fputs(line, stderr);
                              },
        nullptr}});
    if (!FileSystem::gCreateDirectoryTree(argv[1]))
    {
        std::fprintf(stderr, "The folder %s cannot be made.\n", argv[1]);
        return 1;
    }
    bool isGood = true;
    for (const Gallery::Page& page : Gallery::gGetPages())
    {
        const std::string file = std::string(page.Name) + ".png";
        const QImage image = Draw(page);
        const std::string path = FileSystem::gCombinePath(argv[1], file);
        if (image.isNull() || !image.save(QString::fromStdString(path)))
        {
            std::fprintf(stderr, "%s cannot be drawn or written.\n", path.c_str());
            return 1;
        }
        if (argc == 3)
            isGood = Tests::gIsPictureAsBefore(image, page.Name, argv[1], argv[2]) && isGood;
    }
    return isGood ? 0 : 1;
}

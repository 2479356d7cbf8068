#include "Renderer/Gallery/Gallery.h"
#include "Renderer/PrimitiveList.h"
#include "Renderer/PrimitiveRenderer.h"
#include "Renderer/RenderContext.h"

#include "Utility/FileSystem.h"
#include "Utility/Path.h"
#include "Utility/Trace.h"
#include "tests/support/OffscreenGL.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QImage>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

// Draws the pages of the gallery into pictures, and compares them with those that were looked at before:
//
//     renderer_gallery OUTPUT [REFERENCE]
//
// A picture passes when no more than one pixel in a thousand has a channel that is off by more than 4 of 255. That
// leaves room for drivers that round an edge through the centre of a pixel the other way, and for nothing one could
// see.

namespace
{

constexpr int gChannelTolerance = 4;
constexpr int gPixelsPerDeviation = 1000;

/// The number of pixels that differ, or -1 when the sizes do.
int CountDeviations(const QImage& image, const QImage& reference)
{
    if (image.size() != reference.size())
        return -1;
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
        {
            const QRgb a = image.pixel(x, y);
            const QRgb b = reference.pixel(x, y);
            const int worst =
                std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
            count += worst > gChannelTolerance;
        }
    return count;
}

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

bool Check(const QImage& image, const std::string& name, const std::string& referencePath)
{
    const QImage reference(QString::fromStdString(referencePath));
    const int deviations = CountDeviations(image, reference);
    const int allowed = image.width() * image.height() / gPixelsPerDeviation;
    const bool passes = deviations >= 0 && deviations <= allowed;
    if (reference.isNull())
        std::printf("%s: there is no picture %s\n", name.c_str(), referencePath.c_str());
    else if (deviations < 0)
        std::printf("%s: the reference has another size\n", name.c_str());
    else
        std::printf("%s: %d pixels differ, %d may\n", name.c_str(), deviations, allowed);
    return passes;
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
            isGood = Check(image, page.Name, FileSystem::gCombinePath(argv[2], file)) && isGood;
    }
    return isGood ? 0 : 1;
}

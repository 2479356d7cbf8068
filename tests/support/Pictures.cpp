#include "tests/support/Pictures.h"

#include <QtCore/QDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace Tests
{

namespace
{

constexpr int cChannelTolerance = 4;
constexpr int cPixelsPerDeviation = 1000;

}

int gCountDeviations(const QImage& picture, const QImage& reference)
{
    if (picture.size() != reference.size())
        return -1;
    int count = 0;
    for (int y = 0; y < picture.height(); ++y)
    {
        for (int x = 0; x < picture.width(); ++x)
        {
            const QRgb a = picture.pixel(x, y);
            const QRgb b = reference.pixel(x, y);
            const int worst =
                std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b))});
            count += worst > cChannelTolerance ? 1 : 0;
        }
    }
    return count;
}

bool gIsPictureAsBefore(
    const QImage& picture, const std::string& name, const std::string& output, const std::string& reference)
{
    const auto getPath = [&](const std::string& folder) {
        return QDir{QString::fromStdString(folder)}.filePath(QString::fromStdString(name + ".png"));
    };
    const QImage opaque = picture.convertToFormat(QImage::Format_RGB32);
    if (!QDir{}.mkpath(QString::fromStdString(output)) || !opaque.save(getPath(output)))
    {
        std::printf("%s: the picture cannot be written\n", name.c_str());
        return false;
    }
    const QImage before{getPath(reference)};
    const int deviations = gCountDeviations(opaque, before);
    const int allowed = opaque.width() * opaque.height() / cPixelsPerDeviation;
    if (before.isNull())
        std::printf("%s: there is no picture %s\n", name.c_str(), getPath(reference).toUtf8().constData());
    else if (deviations < 0)
        std::printf("%s: the reference has another size\n", name.c_str());
    else if (deviations > allowed)
        std::printf("%s: %d pixels differ, %d may\n", name.c_str(), deviations, allowed);
    return deviations >= 0 && deviations <= allowed;
}

}

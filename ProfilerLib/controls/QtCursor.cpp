#include "ProfilerLib/controls/QtCursor.h"

#include <cmath>

#include <QtCore/QString>
#include <QtGui/QPixmap>

#include "ProfilerLib/controls/DpiScale.h"
#include "Utility/Trace.h"

namespace Profiler
{

namespace
{

/// What a picture is drawn in; the point that counts is given in the same.
constexpr float cDrawingSize = 32.0f;

struct PictureCursor
{
    const char* mName;
    int mHotSpotX;
    int mHotSpotY;
};

QCursor MakeCursor(const PictureCursor& picture)
{
    const QString path = QStringLiteral(":/ProfilerLib/%1").arg(QLatin1String(picture.mName));
    const QPixmap pixmap(path);
    if (pixmap.isNull())
    {
        Utility::gTrace("There is no cursor %s", path.toUtf8().constData());
        return QCursor(Qt::ArrowCursor);
    }
    const int size = static_cast<int>(std::round(ScaledX(cDrawingSize) * 0.125f)) * 8;
    const auto scaled = [size](int k) {
        return static_cast<int>(std::round(static_cast<float>(size) * (1.0f / cDrawingSize) * static_cast<float>(k)));
    };
    return QCursor(pixmap.scaled(size, size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation),
        scaled(picture.mHotSpotX), scaled(picture.mHotSpotY));
}

}

QCursor gGetQtCursor(ECursor cursor)
{
    switch (cursor)
    {
    case ECursor::Wait:
        return QCursor(Qt::WaitCursor);
    case ECursor::SizeVertical:
        return QCursor(Qt::SizeVerCursor);
    case ECursor::SizeHorizontal:
        return QCursor(Qt::SizeHorCursor);
    case ECursor::SizeAll:
        return QCursor(Qt::SizeAllCursor);
    case ECursor::Busy:
        return QCursor(Qt::BusyCursor);
    case ECursor::OpenHand:
        return QCursor(Qt::OpenHandCursor);
    case ECursor::ClosedHand:
        return QCursor(Qt::ClosedHandCursor);
    case ECursor::Pan:
    {
        static const QCursor pan = MakeCursor({"PanCursor.png", 10, 10});
        return pan;
    }
    case ECursor::Zoom:
    {
        static const QCursor zoom = MakeCursor({"ZoomCursor.png", 7, 7});
        return zoom;
    }
    case ECursor::Measure:
    {
        static const QCursor measure = MakeCursor({"MeasureCursor.png", 9, 7});
        return measure;
    }
    case ECursor::Blank:
        return QCursor(Qt::BlankCursor);
    default:
        return QCursor(Qt::ArrowCursor);
    }
}

}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "screenplatform.h"
#include "orvscreen_logging.h"
#include "screenplatform_p.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QHash>
#include <QScreen>
#include <algorithm>
#include <memory>

namespace OrvScreen {

namespace {

/// Knows no windows and no modes (offscreen, Wayland, other systems).
class NullPlatform : public ScreenPlatform
{
public:
    QString name() const override { return QStringLiteral("none"); }
    QVector<WindowInfo> windowList(const QScreen *) override { return {}; }
    bool monitorMode(const QPoint &, MonitorMode *) override { return false; }
    bool isDpiAdapted() override { return anyScreenScaled(); }
};

struct ScaleCache
{
    QHash<quint64, double> scales;
    bool watching = false;
};

ScaleCache &scaleCache()
{
    static ScaleCache cache;
    return cache;
}

bool envSet(const char *name)
{
    const QByteArray v = qgetenv(name).trimmed();
    return !v.isEmpty() && v != "0";
}

} // namespace

bool anyScreenScaled()
{
    const auto screens = QGuiApplication::screens();
    return std::any_of(screens.cbegin(), screens.cend(),
                       [](const QScreen *s) { return !qFuzzyCompare(s->devicePixelRatio(), 1.0); });
}

ScreenPlatform *ScreenPlatform::instance()
{
    static std::unique_ptr<ScreenPlatform> platform;
    if (!platform) {
#if defined(Q_OS_WIN)
        platform.reset(createWindowsPlatform());
#elif defined(ORV_SCREEN_HAVE_X11)
        if (QGuiApplication::platformName() == QLatin1String("xcb"))
            platform.reset(createX11Platform());
#endif
        if (!platform)
            platform = std::make_unique<NullPlatform>();
        qCInfo(lcOrvScreen) << "screen platform:" << platform->name();
    }
    return platform.get();
}

QVector<WindowInfo> windowList(const QScreen *screen)
{
    if (!screen)
        return {};
    return ScreenPlatform::instance()->windowList(screen);
}

int windowAt(const QVector<WindowInfo> &windows, const QPoint &pos)
{
    for (int i = 0; i < windows.size(); ++i) {
        if (windows.at(i).rect.contains(pos))
            return i;
    }
    return -1;
}

double scaleFromMode(const QSize &mode, const QSize &logical)
{
    if (mode.isEmpty() || logical.isEmpty())
        return 1.0;
    const double horz = double(mode.width()) / logical.width();
    const double vert = double(mode.height()) / logical.height();
    qCInfo(lcOrvScreen) << "horzScale:" << horz << "vertScale:" << vert;
    return std::clamp(std::max(horz, vert), 1.0, 1.5);
}

void clearMonitorScaleCache()
{
    scaleCache().scales.clear();
}

double monitorScale(const QPoint &globalPos)
{
    if (isHighDpiScalingOn())
        return 1.0;
    ScaleCache &cache = scaleCache();
    if (!cache.watching && qApp) {
        // A new layout may run other modes; ask again then.
        cache.watching = true;
        auto watch = [](QScreen *s) {
            QObject::connect(s, &QScreen::geometryChanged, qApp, [] { clearMonitorScaleCache(); });
        };
        for (QScreen *s : QGuiApplication::screens())
            watch(s);
        QObject::connect(qApp, &QGuiApplication::screenAdded, qApp, [watch](QScreen *s) {
            clearMonitorScaleCache();
            watch(s);
        });
        QObject::connect(qApp, &QGuiApplication::screenRemoved, qApp, [] { clearMonitorScaleCache(); });
    }
    MonitorMode mode;
    if (!ScreenPlatform::instance()->monitorMode(globalPos, &mode))
        return 1.0;
    const auto it = cache.scales.constFind(mode.id);
    if (it != cache.scales.constEnd())
        return it.value();
    const double scale = scaleFromMode(mode.mode, mode.logical.size());
    cache.scales.insert(mode.id, scale);
    return scale;
}

bool isHighDpiScalingOn()
{
    if (QCoreApplication::testAttribute(Qt::AA_DisableHighDpiScaling))
        return false;
    return QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling) || envSet("QT_ENABLE_HIGHDPI_SCALING")
        || envSet("QT_AUTO_SCREEN_SCALE_FACTOR") || !qEnvironmentVariableIsEmpty("QT_SCREEN_SCALE_FACTORS")
        || (!qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR") && qgetenv("QT_SCALE_FACTOR").toDouble() != 1.0);
}

bool isDpiAdapted()
{
    return isHighDpiScalingOn() || ScreenPlatform::instance()->isDpiAdapted();
}

} // namespace OrvScreen

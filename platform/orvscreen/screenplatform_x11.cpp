// SPDX-License-Identifier: LGPL-2.1-or-later
// Windows and monitors on X11: EWMH through xcb-ewmh, monitor modes through RandR.
#include "orvscreen_logging.h"
#include "screenplatform_p.h"

#include <QGuiApplication>
#include <QHash>
#include <QScreen>
#include <QWindow>
#include <QX11Info>

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>
#include <xcb/xcb_icccm.h>

#include <cstdlib>
#include <memory>

namespace OrvScreen {

namespace {

template<typename T>
using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

template<typename T>
XcbReply<T> reply(T *r)
{
    return XcbReply<T>(r, &std::free);
}

constexpr uint32_t IconicState = 3; // ICCCM WM_STATE

/// Native (device) rectangle to the logical coordinates of QScreen::geometry(). Qt 5 keeps a
/// screen's top-left and divides the rest by the screen's ratio.
QRect toLogical(const QRect &native, const QList<QScreen *> &screens)
{
    if (screens.isEmpty())
        return native;
    const QPoint centre = native.center();
    const QScreen *best = screens.first();
    for (const QScreen *s : screens) {
        const QRect g = s->geometry();
        const QRect nativeGeometry(g.topLeft(), g.size() * s->devicePixelRatio());
        if (nativeGeometry.contains(centre)) {
            best = s;
            break;
        }
    }
    const qreal ratio = best->devicePixelRatio();
    if (qFuzzyCompare(ratio, 1.0))
        return native;
    const QPoint origin = best->geometry().topLeft();
    const QPointF topLeft = origin + QPointF(native.topLeft() - origin) / ratio;
    return QRectF(topLeft, QSizeF(native.size()) / ratio).toAlignedRect();
}

class X11Platform : public ScreenPlatform
{
public:
    X11Platform()
        : m_connection(QX11Info::connection())
    {
        xcb_intern_atom_cookie_t *cookies = xcb_ewmh_init_atoms(m_connection, &m_ewmh);
        m_haveEwmh = cookies && xcb_ewmh_init_atoms_replies(&m_ewmh, cookies, nullptr);
        if (!m_haveEwmh)
            qCWarning(lcOrvScreen) << "EWMH atoms not available; windows are read from the root window only";
        auto wmState = reply(xcb_intern_atom_reply(m_connection, xcb_intern_atom(m_connection, 0, 8, "WM_STATE"), nullptr));
        m_wmStateAtom = wmState ? wmState->atom : xcb_atom_t(XCB_ATOM_NONE);
        QObject::connect(qApp, &QGuiApplication::screenRemoved, qApp, [this](QScreen *s) { m_roots.remove(s); });
    }

    ~X11Platform() override
    {
        if (m_haveEwmh)
            xcb_ewmh_connection_wipe(&m_ewmh);
    }

    QString name() const override { return QStringLiteral("x11"); }

    QVector<WindowInfo> windowList(const QScreen *screen) override;
    bool monitorMode(const QPoint &globalPos, MonitorMode *mode) override;
    bool isDpiAdapted() override { return anyScreenScaled(); }

private:
    xcb_window_t rootFor(const QScreen *screen);
    int screenNumber(xcb_window_t root) const;
    /// The window manager's stacking list, bottom first; false when no EWMH manager runs.
    bool managedStack(xcb_window_t root, QVector<xcb_window_t> *stack);
    QVector<xcb_window_t> rootChildren(xcb_window_t root);

    xcb_connection_t *m_connection;
    xcb_ewmh_connection_t m_ewmh {};
    bool m_haveEwmh = false;
    xcb_atom_t m_wmStateAtom = XCB_ATOM_NONE;
    QHash<const QScreen *, xcb_window_t> m_roots;
};

xcb_window_t X11Platform::rootFor(const QScreen *screen)
{
    const xcb_setup_t *setup = xcb_get_setup(m_connection);
    if (xcb_setup_roots_length(setup) <= 1)
        return QX11Info::appRootWindow();
    const auto it = m_roots.constFind(screen);
    if (it != m_roots.constEnd())
        return it.value();
    // Several X screens: Qt does not say which one a QScreen is on, but a native window created
    // on it knows its root.
    QWindow probe;
    probe.setScreen(const_cast<QScreen *>(screen));
    probe.setFlags(Qt::ToolTip);
    probe.create();
    xcb_window_t root = QX11Info::appRootWindow();
    if (auto tree = reply(xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, xcb_window_t(probe.winId())), nullptr)))
        root = tree->root;
    m_roots.insert(screen, root);
    return root;
}

int X11Platform::screenNumber(xcb_window_t root) const
{
    for (int i = 0; i < m_ewmh.nb_screens; ++i) {
        if (m_ewmh.screens[i]->root == root)
            return i;
    }
    return -1;
}

bool X11Platform::managedStack(xcb_window_t root, QVector<xcb_window_t> *stack)
{
    const int number = screenNumber(root);
    if (!m_haveEwmh || number < 0)
        return false;
    // A manager that went away leaves a stale check window behind; it must point to itself.
    xcb_window_t check = XCB_WINDOW_NONE;
    if (!xcb_ewmh_get_supporting_wm_check_reply(&m_ewmh, xcb_ewmh_get_supporting_wm_check(&m_ewmh, root), &check, nullptr))
        return false;
    xcb_window_t self = XCB_WINDOW_NONE;
    if (!xcb_ewmh_get_supporting_wm_check_reply(&m_ewmh, xcb_ewmh_get_supporting_wm_check(&m_ewmh, check), &self, nullptr)
        || self != check)
        return false;
    xcb_ewmh_get_windows_reply_t clients;
    if (!xcb_ewmh_get_client_list_stacking_reply(&m_ewmh, xcb_ewmh_get_client_list_stacking(&m_ewmh, number), &clients, nullptr))
        return false;
    stack->resize(int(clients.windows_len));
    std::copy(clients.windows, clients.windows + clients.windows_len, stack->begin());
    xcb_ewmh_get_windows_reply_wipe(&clients);
    return true;
}

QVector<xcb_window_t> X11Platform::rootChildren(xcb_window_t root)
{
    QVector<xcb_window_t> children;
    auto tree = reply(xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, root), nullptr));
    if (!tree)
        return children;
    const xcb_window_t *first = xcb_query_tree_children(tree.get());
    children.resize(xcb_query_tree_children_length(tree.get())); // bottom first
    std::copy(first, first + children.size(), children.begin());
    return children;
}

QVector<WindowInfo> X11Platform::windowList(const QScreen *screen)
{
    const xcb_window_t root = rootFor(screen);
    QVector<xcb_window_t> stack;
    const bool managed = managedStack(root, &stack);
    if (!managed)
        stack = rootChildren(root);

    // Ask everything first and read the answers after: one round trip for the whole list.
    struct Pending
    {
        xcb_window_t window;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_geometry_cookie_t geometry;
        xcb_translate_coordinates_cookie_t position;
        xcb_get_property_cookie_t frame, wmState, netState, type, netName, name;
    };
    QVector<Pending> pending;
    pending.reserve(stack.size());
    for (xcb_window_t w : stack) {
        Pending p {};
        p.window = w;
        p.attributes = xcb_get_window_attributes(m_connection, w);
        p.geometry = xcb_get_geometry(m_connection, w);
        if (managed) {
            p.position = xcb_translate_coordinates(m_connection, w, root, 0, 0);
            p.frame = xcb_ewmh_get_frame_extents(&m_ewmh, w);
        }
        p.wmState = xcb_get_property(m_connection, 0, w, m_wmStateAtom, m_wmStateAtom, 0, 2);
        if (m_haveEwmh) {
            p.netState = xcb_ewmh_get_wm_state(&m_ewmh, w);
            p.type = xcb_ewmh_get_wm_window_type(&m_ewmh, w);
            p.netName = xcb_ewmh_get_wm_name(&m_ewmh, w);
        }
        p.name = xcb_icccm_get_wm_name(m_connection, w);
        pending.append(p);
    }

    const QList<QScreen *> siblings = screen->virtualSiblings();
    QVector<WindowInfo> windows;
    for (auto it = pending.crbegin(); it != pending.crend(); ++it) { // topmost first
        const Pending &p = *it;
        // Read every reply, also of windows that are skipped, so none is left in the queue.
        auto attributes = reply(xcb_get_window_attributes_reply(m_connection, p.attributes, nullptr));
        auto geometry = reply(xcb_get_geometry_reply(m_connection, p.geometry, nullptr));
        XcbReply<xcb_translate_coordinates_reply_t> position(nullptr, &std::free);
        xcb_ewmh_get_extents_reply_t extents {};
        bool haveExtents = false;
        if (managed) {
            position = reply(xcb_translate_coordinates_reply(m_connection, p.position, nullptr));
            haveExtents = xcb_ewmh_get_frame_extents_reply(&m_ewmh, p.frame, &extents, nullptr);
        }
        auto wmState = reply(xcb_get_property_reply(m_connection, p.wmState, nullptr));
        bool hidden = false, desktop = false;
        QString title;
        if (m_haveEwmh) {
            xcb_ewmh_get_atoms_reply_t atoms;
            if (xcb_ewmh_get_wm_state_reply(&m_ewmh, p.netState, &atoms, nullptr)) {
                for (uint32_t i = 0; i < atoms.atoms_len; ++i)
                    hidden = hidden || atoms.atoms[i] == m_ewmh._NET_WM_STATE_HIDDEN;
                xcb_ewmh_get_atoms_reply_wipe(&atoms);
            }
            if (xcb_ewmh_get_wm_window_type_reply(&m_ewmh, p.type, &atoms, nullptr)) {
                for (uint32_t i = 0; i < atoms.atoms_len; ++i)
                    desktop = desktop || atoms.atoms[i] == m_ewmh._NET_WM_WINDOW_TYPE_DESKTOP;
                xcb_ewmh_get_atoms_reply_wipe(&atoms);
            }
            xcb_ewmh_get_utf8_strings_reply_t utf8;
            if (xcb_ewmh_get_wm_name_reply(&m_ewmh, p.netName, &utf8, nullptr)) {
                title = QString::fromUtf8(utf8.strings, int(utf8.strings_len));
                xcb_ewmh_get_utf8_strings_reply_wipe(&utf8);
            }
        }
        xcb_icccm_get_text_property_reply_t text;
        if (xcb_icccm_get_wm_name_reply(m_connection, p.name, &text, nullptr)) {
            if (title.isEmpty())
                title = QString::fromLocal8Bit(text.name, int(text.name_len));
            xcb_icccm_get_text_property_reply_wipe(&text);
        }

        if (!attributes || !geometry || (managed && !position))
            continue; // gone meanwhile
        if (attributes->map_state != XCB_MAP_STATE_VIEWABLE || attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        if (wmState && wmState->format == 32 && xcb_get_property_value_length(wmState.get()) >= 4
            && *static_cast<const uint32_t *>(xcb_get_property_value(wmState.get())) == IconicState)
            continue;
        if (hidden || desktop)
            continue;

        QRect native;
        if (managed) {
            native = QRect(position->dst_x, position->dst_y, geometry->width, geometry->height);
            if (haveExtents)
                native.adjust(-int(extents.left), -int(extents.top), int(extents.right), int(extents.bottom));
        } else {
            const int border = geometry->border_width;
            native = QRect(geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border);
        }
        if (native.isEmpty())
            continue;
        windows.append({quint64(p.window), toLogical(native, siblings), title});
    }
    qCDebug(lcOrvScreen) << "windows:" << windows.size() << (managed ? "from the window manager" : "from the root window");
    return windows;
}

bool X11Platform::monitorMode(const QPoint &globalPos, MonitorMode *mode)
{
    const xcb_query_extension_reply_t *randr = xcb_get_extension_data(m_connection, &xcb_randr_id);
    if (!randr || !randr->present)
        return false;
    const QScreen *screen = QGuiApplication::screenAt(globalPos);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return false;
    const xcb_window_t root = rootFor(screen);
    auto resources = reply(xcb_randr_get_screen_resources_current_reply(
        m_connection, xcb_randr_get_screen_resources_current(m_connection, root), nullptr));
    if (!resources)
        return false;
    const xcb_randr_crtc_t *crtcs = xcb_randr_get_screen_resources_current_crtcs(resources.get());
    const int crtcCount = xcb_randr_get_screen_resources_current_crtcs_length(resources.get());
    const xcb_randr_mode_info_t *modes = xcb_randr_get_screen_resources_current_modes(resources.get());
    const int modeCount = xcb_randr_get_screen_resources_current_modes_length(resources.get());

    // The monitor containing the point, else the nearest one.
    const QPoint nativePos = screen->geometry().topLeft()
        + (globalPos - screen->geometry().topLeft()) * screen->devicePixelRatio();
    bool found = false;
    qint64 bestDistance = -1;
    for (int i = 0; i < crtcCount; ++i) {
        auto info = reply(xcb_randr_get_crtc_info_reply(
            m_connection, xcb_randr_get_crtc_info(m_connection, crtcs[i], resources->config_timestamp), nullptr));
        if (!info || info->mode == XCB_NONE || info->width == 0 || info->height == 0)
            continue;
        const QRect area(info->x, info->y, info->width, info->height);
        const QPoint d(std::max({area.left() - nativePos.x(), 0, nativePos.x() - area.right()}),
                       std::max({area.top() - nativePos.y(), 0, nativePos.y() - area.bottom()}));
        const qint64 distance = qint64(d.x()) * d.x() + qint64(d.y()) * d.y();
        if (bestDistance >= 0 && distance >= bestDistance)
            continue;
        for (int m = 0; m < modeCount; ++m) {
            if (modes[m].id != info->mode)
                continue;
            QSize size(modes[m].width, modes[m].height);
            if (info->rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270))
                size.transpose();
            mode->id = crtcs[i];
            mode->mode = size;
            mode->logical = toLogical(area, screen->virtualSiblings());
            bestDistance = distance;
            found = true;
            break;
        }
    }
    return found;
}

} // namespace

ScreenPlatform *createX11Platform()
{
    if (!QX11Info::isPlatformX11() || !QX11Info::connection())
        return nullptr;
    return new X11Platform;
}

} // namespace OrvScreen

// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebservice.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPointer>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <QtTest>

// Web engine tests need the shared GL context attribute before the application exists.
#define ORV_WEB_TEST_MAIN(TestObject)                                                                               \
    int main(int argc, char **argv)                                                                                 \
    {                                                                                                               \
        QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);                                                 \
        QApplication app(argc, argv);                                                                               \
        TestObject tc;                                                                                              \
        return QTest::qExec(&tc, argc, argv);                                                                       \
    }

namespace WebTest {

// Runs script in the page's main world and waits for its value (invalid on time-out). A value
// that arrives after the time-out is dropped.
inline QVariant eval(QWebEnginePage *page, const QString &script, int timeoutMs = 5000)
{
    struct State
    {
        QVariant result;
        bool done = false;
        QPointer<QEventLoop> loop;
    };
    auto state = QSharedPointer<State>::create();
    QEventLoop loop;
    state->loop = &loop;
    page->runJavaScript(script, [state](const QVariant &value) {
        state->result = value;
        state->done = true;
        if (state->loop)
            state->loop->quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    if (!state->done)
        loop.exec();
    return state->result;
}

// Polls script until it is true, or gives up.
inline bool waitFor(QWebEnginePage *page, const QString &script, int timeoutMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        if (eval(page, script).toBool())
            return true;
        QTest::qWait(20);
    }
    return false;
}

inline bool load(QWebEngineView *view, const QUrl &url, int timeoutMs = 15000)
{
    QSignalSpy spy(view, &QWebEngineView::loadFinished);
    view->load(url);
    if (!QTest::qWaitFor([&spy] { return spy.count() >= 1; }, timeoutMs))
        return false;
    return spy.last().at(0).toBool();
}

inline OrvWebService::Response html(const QByteArray &body)
{
    return OrvWebService::Response{200, "text/html; charset=utf-8", body};
}

// Serves fixed pages on loopback.
inline void addPage(OrvWebService &service, const QString &path, const QByteArray &body)
{
    service.addRoute(QStringLiteral("GET"), path, [body](const OrvWebService::Request &) { return html(body); });
}

// Collects log lines of the categories starting with prefix while it lives.
class LogCapture
{
public:
    explicit LogCapture(const QByteArray &prefix)
    {
        s_prefix = prefix;
        s_lines.clear();
        m_previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    QStringList lines() const { return s_lines; }
    bool contains(const QString &text) const
    {
        for (const QString &line : s_lines) {
            if (line.contains(text))
                return true;
        }
        return false;
    }
    void clear() { s_lines.clear(); }

private:
    static void handle(QtMsgType, const QMessageLogContext &context, const QString &message)
    {
        if (context.category && QByteArray(context.category).startsWith(s_prefix))
            s_lines << message;
    }
    QtMessageHandler m_previous = nullptr;
    static inline QByteArray s_prefix;
    static inline QStringList s_lines;
};

} // namespace WebTest

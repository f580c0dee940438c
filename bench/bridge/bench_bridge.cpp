// SPDX-License-Identifier: LGPL-2.1-or-later
// Round trip page -> bridge slot -> callback line -> page, next to a bare QWebChannel echo in
// the same run. The bridge side is a real library slot: ExamBaseBridge::refreshExamList(cbKey)
// answers at once with "window.orvClientAPI.callback('<key>')", built by WebCallbackScript, with
// no dialog and no network. The bare side is a QObject whose one slot returns its argument,
// published on a plain QWebChannel of a plain QWebEnginePage and called with qwebchannel.js's
// own result callback. Both pages come from the local web service; the page times each call
// with performance.now(), one call at a time, and the sides take turns in blocks.
// A third side shows where the difference comes from: the same bare object answering with a
// line of script run in the page (QWebEnginePage::runJavaScript), as every bridge answers, instead
// of with the channel's own reply.
#include "exambasebridge.h"
#include "orvwebservice.h"
#include "orvwebview.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include "benchresults.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPointer>
#include <QTimer>
#include <QWebChannel>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <QWebEngineScriptCollection>
#include <QWebEngineView>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

class Echo : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    QWebEnginePage *page = nullptr;

public Q_SLOTS:
    QString echo(const QString &value) { return value; }
    // Keys are plain "bench-<run>-<i>": no quoting needed.
    void echoByScript(const QString &value)
    {
        page->runJavaScript(QStringLiteral("window.scriptAnswer('%1')").arg(value), QWebEngineScript::MainWorld);
    }
};

// Runs n calls one after the other; each call(key, done) must call done() when the answer is
// in. The times go to window.benchTimes and the title announces the end, so nothing polls the
// page while it measures.
const char *const Timing = R"(
window.benchRun = function (n, run, call) {
    var times = [];
    var i = 0;
    function next() {
        var key = 'bench-' + run + '-' + i;
        var t0 = performance.now();
        call(key, function () {
            times.push(performance.now() - t0);
            if (++i < n)
                next();
            else {
                window.benchTimes = times;
                document.title = 'done ' + run;
            }
        });
    }
    next();
};
)";

QByteArray bridgePage()
{
    return QByteArray("<!doctype html><html><head><title>bridge</title></head><body><p>bridge</p><script>") + Timing
        + R"(
window.benchCall = function (key, done) {
    orvClientAPI.once(key, done);
    myExam.refreshExamList(key);
};
orvClientAPI.ready(function () { document.title = 'ready'; });
</script></body></html>)";
}

QByteArray echoPage()
{
    return QByteArray("<!doctype html><html><head><title>echo</title></head><body><p>echo</p><script>") + Timing
        + R"(
window.benchCall = function (key, done) {
    window.echoObject.echo(key, function (value) {
        if (value !== key)
            throw new Error('echo answered ' + value);
        done();
    });
};
var waiting = {};
window.scriptAnswer = function (key) {
    var done = waiting[key];
    delete waiting[key];
    done();
};
window.scriptCall = function (key, done) {
    waiting[key] = done;
    window.echoObject.echoByScript(key);
};
new QWebChannel(qt.webChannelTransport, function (channel) {
    window.echoObject = channel.objects.echo;
    document.title = 'ready';
});
</script></body></html>)";
}

bool waitForTitle(QWebEnginePage *page, const QString &title, int timeoutMs)
{
    if (page->title() == title)
        return true;
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
    const auto c = QObject::connect(page, &QWebEnginePage::titleChanged, &loop, [&](const QString &t) {
        if (t == title)
            loop.quit();
    });
    timeout.start(timeoutMs);
    loop.exec();
    QObject::disconnect(c);
    return page->title() == title;
}

QVariant eval(QWebEnginePage *page, const QString &script)
{
    QVariant result;
    bool done = false;
    QEventLoop loop;
    page->runJavaScript(script, [&](const QVariant &v) {
        result = v;
        done = true;
        loop.quit();
    });
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    if (!done)
        loop.exec();
    return result;
}

bool load(QWebEngineView *view, const QUrl &url)
{
    bool ok = false;
    QEventLoop loop;
    const auto c = QObject::connect(view, &QWebEngineView::loadFinished, &loop, [&](bool r) {
        ok = r;
        loop.quit();
    });
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    view->load(url);
    loop.exec();
    QObject::disconnect(c);
    return ok;
}

// One block of n calls on page; empty when the page did not finish.
std::vector<double> runBlock(QWebEnginePage *page, int n, int run, const char *call = "benchCall")
{
    page->runJavaScript(QStringLiteral("benchRun(%1, %2, %3)").arg(n).arg(run).arg(QLatin1String(call)));
    if (!waitForTitle(page, QStringLiteral("done %1").arg(run), 120000))
        return {};
    std::vector<double> times;
    const QJsonArray array = QJsonDocument::fromJson(eval(page, QStringLiteral("JSON.stringify(benchTimes)")).toString().toUtf8()).array();
    for (const QJsonValue &v : array)
        times.push_back(v.toDouble());
    return times;
}

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const size_t index = std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5));
    return v[index];
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QTWEBENGINE_CHROMIUM_FLAGS"))
        qputenv("QTWEBENGINE_CHROMIUM_FLAGS", "--disable-gpu --no-sandbox");
    if (qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX"))
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("orv.*.info=false"));
    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Write the metrics to FILE."), QStringLiteral("file"));
    QCommandLineOption callsOption(QStringLiteral("calls"), QStringLiteral("Measured calls per side (at least 1000)."),
                                   QStringLiteral("n"), QStringLiteral("1000"));
    parser.addOptions({jsonOption, callsOption});
    parser.process(app);
    const int calls = std::max(1000, parser.value(callsOption).toInt());
    constexpr int Block = 100;
    constexpr int Warmup = 200;

    OrvWebService service;
    if (!service.start()) {
        std::fprintf(stderr, "the local web service did not start\n");
        return 1;
    }
    const QByteArray bridgeHtml = bridgePage();
    const QByteArray echoHtml = echoPage();
    service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/bench/bridge.html"), [bridgeHtml](const OrvWebService::Request &) {
        return OrvWebService::Response{200, "text/html; charset=utf-8", bridgeHtml};
    });
    service.addRoute(QStringLiteral("GET"), QStringLiteral("/client/bench/echo.html"), [echoHtml](const OrvWebService::Request &) {
        return OrvWebService::Response{200, "text/html; charset=utf-8", echoHtml};
    });
    OrvWebView::setTrustedOrigins({service.baseUrl()});

    // The library's side: the view publishes the bridge to its page.
    OrvWebView bridgeView;
    auto *bridge = new ExamBaseBridge(&bridgeView, &bridgeView, WebSubWindowBridge::FromIm);
    bridgeView.registerObject(bridge, QStringLiteral("myExam"));
    bridgeView.setGeometry(20, 20, 600, 400);
    bridgeView.show();

    // The bare side: Qt's own pieces and nothing else. The channel outlives the page using it.
    Echo echo;
    QWebChannel echoChannel;
    QWebEngineView echoView;
    auto *echoPageObject = new QWebEnginePage(&echoView);
    echoChannel.registerObject(QStringLiteral("echo"), &echo);
    echoPageObject->setWebChannel(&echoChannel, QWebEngineScript::MainWorld);
    {
        QFile library(QStringLiteral(":/qtwebchannel/qwebchannel.js"));
        if (!library.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "qwebchannel.js is missing\n");
            return 1;
        }
        QWebEngineScript script;
        script.setName(QStringLiteral("qwebchannel"));
        script.setSourceCode(QString::fromUtf8(library.readAll()));
        script.setInjectionPoint(QWebEngineScript::DocumentCreation);
        script.setWorldId(QWebEngineScript::MainWorld);
        echoPageObject->scripts().insert(script);
    }
    echoView.setPage(echoPageObject);
    echo.page = echoPageObject;
    echoView.setGeometry(640, 20, 600, 400);
    echoView.show();

    const QString base = service.baseUrl().toString();
    if (!load(&bridgeView, QUrl(base + QStringLiteral("/client/bench/bridge.html")))
        || !waitForTitle(bridgeView.page(), QStringLiteral("ready"), 30000)) {
        std::fprintf(stderr, "the bridge page did not come up\n");
        return 1;
    }
    if (!load(&echoView, QUrl(base + QStringLiteral("/client/bench/echo.html")))
        || !waitForTitle(echoView.page(), QStringLiteral("ready"), 30000)) {
        std::fprintf(stderr, "the echo page did not come up\n");
        return 1;
    }

    std::vector<double> bridgeTimes;
    std::vector<double> echoTimes;
    std::vector<double> scriptTimes;
    int run = 0;
    // Warm-up, then blocks in turn so all sides meet the same load on the machine.
    for (int measured = -Warmup; measured < calls; measured += Block) {
        const std::vector<double> b = runBlock(bridgeView.page(), Block, ++run);
        const std::vector<double> e = runBlock(echoView.page(), Block, ++run);
        const std::vector<double> s = runBlock(echoView.page(), Block, ++run, "scriptCall");
        if (b.size() != size_t(Block) || e.size() != size_t(Block) || s.size() != size_t(Block)) {
            std::fprintf(stderr, "a block did not finish (bridge %zu, echo %zu, script %zu calls)\n", b.size(),
                         e.size(), s.size());
            return 1;
        }
        if (measured < 0)
            continue;
        bridgeTimes.insert(bridgeTimes.end(), b.begin(), b.end());
        echoTimes.insert(echoTimes.end(), e.begin(), e.end());
        scriptTimes.insert(scriptTimes.end(), s.begin(), s.end());
    }

    const double bridgeMedian = percentile(bridgeTimes, 0.5);
    const double echoMedian = percentile(echoTimes, 0.5);
    const double bridgeP99 = percentile(bridgeTimes, 0.99);
    const double echoP99 = percentile(echoTimes, 0.99);
    const double scriptMedian = percentile(scriptTimes, 0.5);
    const double scriptP99 = percentile(scriptTimes, 0.99);
    const double ratio = echoMedian > 0 ? bridgeMedian / echoMedian : 0;
    const QJsonObject metrics{
        {QStringLiteral("bridge_rtt_median_ms"), bridgeMedian},
        {QStringLiteral("bare_echo_rtt_median_ms"), echoMedian},
        {QStringLiteral("bridge_rtt_p99_ms"), bridgeP99},
        {QStringLiteral("bare_echo_rtt_p99_ms"), echoP99},
        {QStringLiteral("bridge_rtt_p90_ms"), percentile(bridgeTimes, 0.9)},
        {QStringLiteral("bare_echo_rtt_p90_ms"), percentile(echoTimes, 0.9)},
        {QStringLiteral("bridge_over_bare_median_ratio"), ratio},
        {QStringLiteral("bare_script_rtt_median_ms"), scriptMedian},
        {QStringLiteral("bare_script_rtt_p99_ms"), scriptP99},
    };

    std::printf("page -> slot -> answer -> page, %d calls per side after %d warm-up calls\n", calls, Warmup);
    std::printf("%-30s %10s  %-32s %s\n", "metric", "value", "target", "");
    std::printf("%-30s %10.3f  %-32s %s\n", "bridge_rtt_median_ms", bridgeMedian,
                qPrintable(QStringLiteral("<= 1.5 x bare echo (%1)").arg(1.5 * echoMedian, 0, 'f', 3)),
                bridgeMedian <= 1.5 * echoMedian ? "ok" : "MISSED");
    std::printf("%-30s %10.3f  %-32s\n", "bare_echo_rtt_median_ms", echoMedian, "QWebChannel + qwebchannel.js");
    std::printf("%-30s %10.3f\n", "bridge_rtt_p99_ms", bridgeP99);
    std::printf("%-30s %10.3f\n", "bare_echo_rtt_p99_ms", echoP99);
    std::printf("%-30s %10.3f\n", "bridge_over_bare_median_ratio", ratio);
    std::printf("%-30s %10.3f  %-32s\n", "bare_script_rtt_median_ms", scriptMedian, "bare object answering by script");
    std::printf("%-30s %10.3f\n", "bare_script_rtt_p99_ms", scriptP99);

    if (parser.isSet(jsonOption)) {
        const QJsonObject out{{QStringLiteral("metrics"), metrics}, {QStringLiteral("calls"), calls}};
        if (!Bench::writeJson(parser.value(jsonOption), out))
            return 1;
    }
    return 0;
}

#include "bench_bridge.moc"

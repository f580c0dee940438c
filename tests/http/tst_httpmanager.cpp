// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvwebservice.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

namespace {

struct Outcome
{
    QJsonValue data;
    int networkError = -1;
    int errorNo = -1;
    QString text;
};

// Waits for the one finished() of a reply and checks that the reply cleans up after itself.
void await(OrvHttpReply *reply, Outcome *out)
{
    QVERIFY(reply);
    QPointer<OrvHttpReply> guard(reply);
    QSignalSpy spy(reply, &OrvHttpReply::finished);
    QTRY_VERIFY_WITH_TIMEOUT(spy.count() >= 1, 10000);
    QTRY_VERIFY(guard.isNull());
    QCOMPARE(spy.count(), 1);
    const QList<QVariant> args = spy.takeFirst();
    out->data = args.at(0).value<QJsonValue>();
    out->networkError = args.at(1).toInt();
    out->errorNo = args.at(2).toInt();
    out->text = args.at(3).toString();
}

QString translated(const QString &id)
{
    return QStringLiteral("[%1]").arg(id);
}

} // namespace

class HttpManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/ok"), [](const OrvWebService::Request &) {
            return OrvWebService::ok(QJsonObject{{QStringLiteral("answer"), 42}});
        });
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/refused"), [](const OrvWebService::Request &) {
            return OrvWebService::fail(7, QStringLiteral("quota exceeded"));
        });
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/refusedSilently"),
                           [](const OrvWebService::Request &) { return OrvWebService::fail(8, QString()); });
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/array"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/json", "[1,2]"};
        });
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/errnoText"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/json", R"({"errno":"1","msg":"","data":{}})"};
        });
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/empty"), [](const OrvWebService::Request &) {
            return OrvWebService::Response{200, "application/json", QByteArray()};
        });
        const auto echo = [](const OrvWebService::Request &request) {
            return OrvWebService::ok(QJsonValue(request.path));
        };
        for (const char *path : {"/t/form", "/t/json", "/api/v1/ping", "/mix/ping"})
            m_service.addRoute(QStringLiteral("POST"), QString::fromLatin1(path), echo);
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/t/query"), echo);
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/api/v1/ping"), echo);
        m_service.addRoute(QStringLiteral("GET"), QStringLiteral("/mix/ping"), echo);

        for (const char *id : {"ID_Network_ServiceFailed", "ID_Network_ServerError", "ID_Network_BadReply",
                               "ID_Network_Timeout", "ID_Network_Disconnected", "ID_Network_Unreachable",
                               "ID_Network_RequestRejected"})
            OrvLang::insert(QString::fromLatin1(id), translated(QString::fromLatin1(id)));
    }

    void cleanupTestCase()
    {
        OrvHttpManager::release();
        m_service.stop();
        OrvLang::clear();
    }

    void init()
    {
        m_service.clearFaults();
        m_service.clearRequests();
        OrvHttpManager::instance()->setBaseUrl(m_service.baseUrl());
        OrvHttpManager::instance()->setTimeout(5000);
    }

    void replyShouldReportOutcome_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("fault"); // -1: none
        QTest::addColumn<int>("networkError");
        QTest::addColumn<int>("errorNo");
        QTest::addColumn<QString>("text");

        const int none = -1;
        QTest::newRow("success") << "/t/ok" << none << 0 << 1 << QString();
        QTest::newRow("refused with the server's message")
            << "/t/refused" << none << 0 << 7 << QStringLiteral("quota exceeded");
        QTest::newRow("refused without a message")
            << "/t/refusedSilently" << none << 0 << 8 << translated(QStringLiteral("ID_Network_ServiceFailed"));
        QTest::newRow("status 500") << "/t/ok" << int(OrvWebService::Fault::Status500)
                                    << int(QNetworkReply::InternalServerError) << 0
                                    << translated(QStringLiteral("ID_Network_ServerError"));
        QTest::newRow("garbage body") << "/t/ok" << int(OrvWebService::Fault::Garbage)
                                      << int(OrvHttpManager::BadReplyError) << 0
                                      << translated(QStringLiteral("ID_Network_BadReply"));
        QTest::newRow("JSON but no envelope") << "/t/array" << none << int(OrvHttpManager::BadReplyError) << 0
                                              << translated(QStringLiteral("ID_Network_BadReply"));
        QTest::newRow("errno as text") << "/t/errnoText" << none << int(OrvHttpManager::BadReplyError) << 0
                                       << translated(QStringLiteral("ID_Network_BadReply"));
        QTest::newRow("empty body") << "/t/empty" << none << int(OrvHttpManager::BadReplyError) << 0
                                    << translated(QStringLiteral("ID_Network_BadReply"));
        QTest::newRow("dropped connection") << "/t/ok" << int(OrvWebService::Fault::Drop)
                                            << int(QNetworkReply::RemoteHostClosedError) << 0
                                            << translated(QStringLiteral("ID_Network_Disconnected"));
        QTest::newRow("no such path") << "/t/missing" << none << int(QNetworkReply::ContentNotFoundError) << 0
                                      << translated(QStringLiteral("ID_Network_RequestRejected"));
    }

    void replyShouldReportOutcome()
    {
        QFETCH(QString, path);
        QFETCH(int, fault);
        QFETCH(int, networkError);
        QFETCH(int, errorNo);
        QFETCH(QString, text);

        if (fault >= 0)
            m_service.setFault(path, OrvWebService::Fault(fault));
        Outcome out;
        await(OrvHttpManager::instance()->get(path), &out);
        if (QTest::currentTestFailed())
            return;

        QCOMPARE(out.networkError, networkError);
        QCOMPARE(out.errorNo, errorNo);
        QCOMPARE(out.text, text);
        if (networkError == 0 && errorNo == 1)
            QCOMPARE(out.data.toObject().value(QStringLiteral("answer")).toInt(), 42);
        else if (networkError != 0)
            QVERIFY(out.data.isNull() || out.data.isUndefined());
        QVERIFY(!m_service.requests().isEmpty());
    }

    void slowAnswer_data()
    {
        QTest::addColumn<int>("delay");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<int>("networkError");

        QTest::newRow("beyond the time-out") << 2000 << 200 << int(OrvHttpManager::TimedOutError);
        QTest::newRow("within the time-out") << 50 << 5000 << 0;
    }

    void slowAnswer()
    {
        QFETCH(int, delay);
        QFETCH(int, timeout);
        QFETCH(int, networkError);

        m_service.setFault(QStringLiteral("/t/ok"), OrvWebService::Fault::Slow, delay);
        OrvHttpManager::instance()->setTimeout(timeout);
        Outcome out;
        await(OrvHttpManager::instance()->get(QStringLiteral("/t/ok")), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.networkError, networkError);
        if (networkError != 0) {
            QCOMPARE(out.errorNo, 0);
            QCOMPARE(out.text, translated(QStringLiteral("ID_Network_Timeout")));
        } else {
            QCOMPARE(out.errorNo, 1);
        }
    }

    void unreachablePortShouldFail()
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        const quint16 port = probe.serverPort();
        probe.close();

        QUrl base;
        base.setScheme(QStringLiteral("http"));
        base.setHost(QStringLiteral("127.0.0.1"));
        base.setPort(port);
        OrvHttpManager::instance()->setBaseUrl(base);
        Outcome out;
        await(OrvHttpManager::instance()->postForm(QStringLiteral("/t/form"), {}), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.networkError, int(QNetworkReply::ConnectionRefusedError));
        QCOMPARE(out.errorNo, 0);
        QCOMPARE(out.text, translated(QStringLiteral("ID_Network_Unreachable")));
    }

    void fieldsShouldArriveIntact_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");

        QTest::newRow("MAC address") << "macAddress" << "AA:BB:CC:DD:EE:FF";
        QTest::newRow("plus sign") << "q" << "1+1=2";
        QTest::newRow("separators") << "a&b" << "x=y&z";
        QTest::newRow("spaces and percent") << "text" << "50 % of %41";
        QTest::newRow("non-ASCII") << "name" << QStringLiteral("李雷 & 韩梅梅");
        QTest::newRow("empty value") << "flag" << "";
    }

    void fieldsShouldArriveIntact()
    {
        QFETCH(QString, key);
        QFETCH(QString, value);

        QUrlQuery fields;
        fields.addQueryItem(key, value);
        fields.addQueryItem(QStringLiteral("second"), QStringLiteral("2"));
        const OrvWebService::Fields expected{{key, value}, {QStringLiteral("second"), QStringLiteral("2")}};

        Outcome out;
        await(OrvHttpManager::instance()->postForm(QStringLiteral("/t/form"), fields), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.errorNo, 1);
        await(OrvHttpManager::instance()->get(QStringLiteral("/t/query"), fields), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.errorNo, 1);

        const QVector<OrvWebService::Request> requests = m_service.requests();
        QCOMPARE(requests.size(), 2);
        QCOMPARE(requests.at(0).method, QStringLiteral("POST"));
        QVERIFY(requests.at(0).header("content-type").startsWith("application/x-www-form-urlencoded"));
        QCOMPARE(requests.at(0).form, expected);
        QCOMPARE(requests.at(0).formValue(key), value);
        QCOMPARE(requests.at(1).method, QStringLiteral("GET"));
        QCOMPARE(requests.at(1).query, expected);
    }

    void jsonBodyShouldArrive()
    {
        const QJsonObject body{{QStringLiteral("ids"), QJsonArray{1, 2, 3}}, {QStringLiteral("name"), QStringLiteral("x")}};
        Outcome out;
        await(OrvHttpManager::instance()->postJson(QStringLiteral("/t/json"), body), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.errorNo, 1);
        const OrvWebService::Request request = m_service.requests().value(0);
        QVERIFY(request.header("Content-Type").startsWith("application/json"));
        QCOMPARE(QJsonDocument::fromJson(request.body).object(), body);
        QVERIFY(request.form.isEmpty());
    }

    void pathsShouldResolveAgainstBaseUrl_data()
    {
        QTest::addColumn<QString>("basePath");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");

        QTest::newRow("absolute path") << "" << "/mix/ping" << "/mix/ping";
        QTest::newRow("relative to a folder") << "/api/" << "v1/ping" << "/api/v1/ping";
        QTest::newRow("absolute path replaces the folder") << "/api/" << "/mix/ping" << "/mix/ping";
    }

    void pathsShouldResolveAgainstBaseUrl()
    {
        QFETCH(QString, basePath);
        QFETCH(QString, path);
        QFETCH(QString, expected);

        QUrl base = m_service.baseUrl();
        base.setPath(basePath);
        OrvHttpManager::instance()->setBaseUrl(base);
        Outcome out;
        await(OrvHttpManager::instance()->get(path), &out);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(out.errorNo, 1);
        QCOMPARE(out.data.toString(), expected);
    }

    void getIgnoreReminder_data()
    {
        QTest::addColumn<QStringList>("ignored");
        QTest::addColumn<QString>("mac"); // empty: no field at all
        QTest::addColumn<int>("errorNo");
        QTest::addColumn<int>("noMoreReminders");

        const QString mac = QStringLiteral("00:1A:2B:3C:4D:5E");
        QTest::newRow("asked not to remind") << QStringList{mac} << mac << 1 << 1;
        QTest::newRow("never asked") << QStringList() << mac << 1 << 0;
        QTest::newRow("another machine asked") << QStringList{QStringLiteral("00:00:00:00:00:01")} << mac << 1 << 0;
        QTest::newRow("written in lower case with dashes")
            << QStringList{QStringLiteral("00-1a-2b-3c-4d-5e")} << mac << 1 << 1;
        QTest::newRow("no macAddress field") << QStringList{mac} << QString()
                                             << OrvWebService::MissingFieldErrorNo << -1;
    }

    void getIgnoreReminder()
    {
        QFETCH(QStringList, ignored);
        QFETCH(QString, mac);
        QFETCH(int, errorNo);
        QFETCH(int, noMoreReminders);

        for (const QString &m : ignored)
            m_service.setIgnoreReminder(m, true);
        QUrlQuery form;
        if (!mac.isEmpty())
            form.addQueryItem(QStringLiteral("macAddress"), mac);
        Outcome out;
        await(OrvHttpManager::instance()->postForm(QStringLiteral("/mix/app/getIgnoreReminder"), form), &out);
        for (const QString &m : ignored)
            m_service.setIgnoreReminder(m, false);
        if (QTest::currentTestFailed())
            return;

        QCOMPARE(out.networkError, 0);
        QCOMPARE(out.errorNo, errorNo);
        if (errorNo != 1) {
            QVERIFY(!out.text.isEmpty());
            return;
        }
        // "json_data" is JSON text inside the JSON answer.
        const QJsonValue jsonData = out.data.toObject().value(QStringLiteral("json_data"));
        QVERIFY(jsonData.isString());
        const QJsonDocument inner = QJsonDocument::fromJson(jsonData.toString().toUtf8());
        QVERIFY(inner.isObject());
        QCOMPARE(inner.object().value(QStringLiteral("UpgradeNoMoreReminders")).toInt(-1), noMoreReminders);
        QCOMPARE(m_service.requests().value(0).formValue(QStringLiteral("macAddress")), mac);
    }

    void abortShouldBeSilent()
    {
        m_service.setFault(QStringLiteral("/t/ok"), OrvWebService::Fault::Slow, 2000);
        OrvHttpReply *reply = OrvHttpManager::instance()->get(QStringLiteral("/t/ok"));
        QPointer<OrvHttpReply> guard(reply);
        QSignalSpy spy(reply, &OrvHttpReply::finished);
        QTRY_COMPARE(m_service.requests().size(), 1);
        reply->abort();
        reply->abort(); // twice is harmless
        QTRY_VERIFY(guard.isNull());
        QCOMPARE(spy.count(), 0);
    }

    void releaseShouldDropPendingReplies()
    {
        m_service.setFault(QStringLiteral("/t/ok"), OrvWebService::Fault::Slow, 2000);
        QPointer<OrvHttpReply> guard(OrvHttpManager::instance()->get(QStringLiteral("/t/ok")));
        QSignalSpy spy(guard.data(), &OrvHttpReply::finished);
        QTRY_COMPARE(m_service.requests().size(), 1);
        OrvHttpManager::release();
        QVERIFY(guard.isNull());
        QCOMPARE(spy.count(), 0);

        // A fresh instance starts from the defaults.
        QCOMPARE(OrvHttpManager::instance()->timeout(), int(OrvHttpManager::DefaultTimeout));
        QVERIFY(OrvHttpManager::instance()->baseUrl().isEmpty());
    }

private:
    OrvWebService m_service;
};

QTEST_GUILESS_MAIN(HttpManagerTest)
#include "tst_httpmanager.moc"

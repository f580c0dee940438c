// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebservice.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QtTest>

namespace {

// One raw HTTP exchange: what the server wrote before it closed the connection.
QByteArray exchange(quint16 port, const QByteArray &request)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    if (!socket.waitForConnected(5000))
        return QByteArrayLiteral("<no connection>");
    socket.write(request);
    socket.waitForBytesWritten(5000);
    QByteArray answer;
    QElapsedTimer clock;
    clock.start();
    while (socket.state() == QAbstractSocket::ConnectedState && clock.elapsed() < 10000) {
        socket.waitForReadyRead(200);
        answer += socket.readAll();
    }
    return answer + socket.readAll();
}

QByteArray get(const QByteArray &path)
{
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
}

QByteArray bodyOf(const QByteArray &answer)
{
    const int split = answer.indexOf("\r\n\r\n");
    return split < 0 ? QByteArray() : answer.mid(split + 4);
}

} // namespace

class WebServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_service.start());
        QVERIFY(m_service.port() != 0);
        QCOMPARE(m_service.baseUrl().host(), QStringLiteral("127.0.0.1"));
        QCOMPARE(m_service.baseUrl().port(), int(m_service.port()));
        m_service.addRoute(QStringLiteral("get"), QStringLiteral("/p"), [](const OrvWebService::Request &) {
            return OrvWebService::ok(QStringLiteral("get"));
        });
        m_service.addRoute(QStringLiteral("POST"), QStringLiteral("/p"), [](const OrvWebService::Request &) {
            return OrvWebService::ok(QStringLiteral("post"));
        });
    }

    void init()
    {
        m_service.clearFaults();
        m_service.clearRequests();
    }

    void faultsShouldShapeTheAnswer_data()
    {
        QTest::addColumn<int>("fault"); // -1: none
        QTest::addColumn<QByteArray>("statusLine");
        QTest::addColumn<bool>("envelope");

        QTest::newRow("none") << -1 << QByteArray("HTTP/1.1 200") << true;
        QTest::newRow("status 500") << int(OrvWebService::Fault::Status500) << QByteArray("HTTP/1.1 500") << false;
        QTest::newRow("garbage") << int(OrvWebService::Fault::Garbage) << QByteArray("HTTP/1.1 200") << false;
        QTest::newRow("slow") << int(OrvWebService::Fault::Slow) << QByteArray("HTTP/1.1 200") << true;
        QTest::newRow("drop: not a byte") << int(OrvWebService::Fault::Drop) << QByteArray() << false;
    }

    void faultsShouldShapeTheAnswer()
    {
        QFETCH(int, fault);
        QFETCH(QByteArray, statusLine);
        QFETCH(bool, envelope);

        if (fault >= 0)
            m_service.setFault(QStringLiteral("/p"), OrvWebService::Fault(fault), 50);
        const QByteArray answer = exchange(m_service.port(), get("/p"));
        if (statusLine.isEmpty())
            QCOMPARE(answer, QByteArray());
        else
            QVERIFY2(answer.startsWith(statusLine), answer.constData());

        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(bodyOf(answer), &error);
        QCOMPARE(error.error == QJsonParseError::NoError && doc.isObject(), envelope);
        if (envelope) {
            QCOMPARE(doc.object().value(QStringLiteral("errno")).toInt(), 1);
            QCOMPARE(doc.object().value(QStringLiteral("data")).toString(), QStringLiteral("get"));
        }

        // Every request is recorded, faulty ones too; the fault stays on its own path.
        QCOMPARE(m_service.requests().size(), 1);
        QCOMPARE(m_service.requests().constFirst().path, QStringLiteral("/p"));
        QVERIFY(exchange(m_service.port(), get("/other")).startsWith("HTTP/1.1 404"));
        m_service.clearFault(QStringLiteral("/p"));
        QVERIFY(exchange(m_service.port(), get("/p")).startsWith("HTTP/1.1 200"));
    }

    void routesShouldDependOnMethodAndPath()
    {
        const QByteArray post = "POST /p?x=1 HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
                                "Content-Type: application/x-www-form-urlencoded\r\nContent-Length: 13\r\n\r\n"
                                "a=1+2&b=%26&c";
        QCOMPARE(QJsonDocument::fromJson(bodyOf(exchange(m_service.port(), post))).object().value(
                     QStringLiteral("data")),
                 QJsonValue(QStringLiteral("post")));
        const OrvWebService::Request request = m_service.requests().value(0);
        QCOMPARE(request.method, QStringLiteral("POST"));
        QCOMPARE(request.queryValue(QStringLiteral("x")), QStringLiteral("1"));
        const OrvWebService::Fields form{{QStringLiteral("a"), QStringLiteral("1 2")},
                                         {QStringLiteral("b"), QStringLiteral("&")},
                                         {QStringLiteral("c"), QString()}};
        QCOMPARE(request.form, form);
        QVERIFY(request.hasFormField(QStringLiteral("c")));
        QVERIFY(!request.hasFormField(QStringLiteral("d")));

        // A later route replaces the earlier one of the same method and path only.
        m_service.addRoute(QStringLiteral("POST"), QStringLiteral("/p"), [](const OrvWebService::Request &) {
            return OrvWebService::fail(5, QStringLiteral("replaced"));
        });
        const QJsonObject replaced = QJsonDocument::fromJson(bodyOf(exchange(m_service.port(), post))).object();
        QCOMPARE(replaced.value(QStringLiteral("errno")).toInt(), 5);
        QCOMPARE(replaced.value(QStringLiteral("msg")).toString(), QStringLiteral("replaced"));
        QVERIFY(bodyOf(exchange(m_service.port(), get("/p"))).contains("\"get\""));
    }

    // The record of requests stays bounded by what they carried, not only by their number.
    void recordShouldStayBoundedBySize()
    {
        QNetworkAccessManager nam;
        const QByteArray body(1024 * 1024, 'b');
        const int count = int(OrvWebService::MaxRecordedBytes / body.size()) + 8;
        for (int i = 0; i < count; ++i) {
            QNetworkRequest request(QUrl(m_service.baseUrl().toString() + QStringLiteral("/p?n=%1").arg(i)));
            request.setHeader(QNetworkRequest::ContentTypeHeader, "application/octet-stream");
            QNetworkReply *reply = nam.post(request, body);
            QSignalSpy done(reply, &QNetworkReply::finished);
            QVERIFY(reply->isFinished() || done.wait(10000));
            reply->deleteLater();
        }
        const QVector<OrvWebService::Request> all = m_service.requests();
        qint64 bytes = 0;
        for (const OrvWebService::Request &request : all)
            bytes += request.body.size();
        QVERIFY2(bytes <= OrvWebService::MaxRecordedBytes, qPrintable(QString::number(bytes)));
        QVERIFY(all.size() < count);
        QCOMPARE(all.last().queryValue(QStringLiteral("n")), QString::number(count - 1));
        QCOMPARE(all.last().body.size(), body.size());
    }

    void busyPortShouldRefuseToStart()
    {
        OrvWebService second;
        QVERIFY(!second.start(QStringLiteral("127.0.0.1"), m_service.port()));
        QVERIFY(!second.isRunning());
        QVERIFY(second.baseUrl().isEmpty());
    }

    void stopShouldCutSlowAnswersShortAndAllowRestart()
    {
        OrvWebService service;
        QVERIFY(service.start());
        service.setFault(QStringLiteral("/slow"), OrvWebService::Fault::Slow, 60000);
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, service.port());
        QVERIFY(socket.waitForConnected(5000));
        socket.write(get("/slow"));
        QTRY_COMPARE(service.requests().size(), 1);

        QElapsedTimer clock;
        clock.start();
        service.stop();
        QVERIFY2(clock.elapsed() < 10000, "stop() sat out the slow answer");
        QVERIFY(!service.isRunning());
        QVERIFY(service.baseUrl().isEmpty());

        QVERIFY(service.start());
        service.clearFaults();
        QVERIFY(exchange(service.port(), get("/anything")).startsWith("HTTP/1.1 404"));
        QCOMPARE(service.requests().size(), 2);
    }

private:
    OrvWebService m_service;
};

QTEST_GUILESS_MAIN(WebServiceTest)
#include "tst_webservice.moc"

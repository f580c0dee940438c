// SPDX-License-Identifier: LGPL-2.1-or-later
// Save dialogs of page downloads, next to the transfers already running.
#include "bridgedialogs.h"
#include "clouddownload.h"
#include "orvsettings.h"
#include "orvtransferqueue.h"
#include "orvwebservice.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class CloudDownloadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_service.start());
        m_service.addRoute("GET", "/files/doc", [](const OrvWebService::Request &request) {
            return OrvWebService::Response{200, "application/pdf", "doc:" + request.queryValue("n").toUtf8(), {}};
        });
        OrvSettings::instance()->setFileName(m_dir.filePath(QStringLiteral("settings.json")));
        m_folder = m_dir.filePath(QStringLiteral("saves"));
        OrvSettings::instance()->setValue(QLatin1String(CloudDownload::SaveAsPathKey), m_folder);
    }

    void cleanupTestCase()
    {
        BridgeDialogs::resetHandlers();
        OrvTransferQueue::release();
        OrvSettings::release();
    }

    void secondDialogDoesNotOfferTheNameOfARunningDownload()
    {
        m_service.setFault(QStringLiteral("/files/doc"), OrvWebService::Fault::Slow, 200);
        OrvTransferQueue *queue = OrvTransferQueue::instance();
        QStringList offered;
        // The user accepts what is offered; the second dialog stays open until the first
        // download has landed, as a modal dialog does.
        BridgeDialogs::setSaveFileHandler([&](QWidget *, const QString &, const QString &start, const QString &) {
            offered << start;
            if (offered.size() == 2 && !QTest::qWaitFor([queue] { return queue->pendingCount() == 0; }, 10000))
                return QString();
            return start;
        });
        QList<int> ends;
        connect(queue, &OrvTransferQueue::finished, this, [&ends](int id) { ends << id; });

        const QUrl base = m_service.baseUrl();
        const int first = CloudDownload::saveAs(nullptr, QUrl(base.toString() + "/files/doc?n=1"), QStringLiteral("a.pdf"));
        const int second = CloudDownload::saveAs(nullptr, QUrl(base.toString() + "/files/doc?n=2"), QStringLiteral("a.pdf"));
        QVERIFY(first > 0 && second > 0);
        QTRY_COMPARE_WITH_TIMEOUT(ends.size(), 2, 10000);

        QCOMPARE(offered, (QStringList{QDir(m_folder).filePath("a.pdf"), QDir(m_folder).filePath("a(1).pdf")}));
        QCOMPARE(read("a.pdf"), QByteArray("doc:1"));
        QCOMPARE(read("a(1).pdf"), QByteArray("doc:2"));
    }

private:
    QByteArray read(const QString &name) const
    {
        QFile f(QDir(m_folder).filePath(name));
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
    OrvWebService m_service;
    QString m_folder;
};

QTEST_MAIN(CloudDownloadTest)
#include "tst_clouddownload.moc"

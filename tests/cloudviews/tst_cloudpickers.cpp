// SPDX-License-Identifier: LGPL-2.1-or-later
// The cloud file and folder pickers with their reference pages: the page each one opens, the
// name its bridge has there, and what the page's choice (or cancel) does to the dialog.
#include "cloudfileselectbasewidget.h"
#include "cloudfileselectwebbridge.h"
#include "cloudfileselectwidget.h"
#include "cloudfolderselectwebbridge.h"
#include "cloudfolderselectwidget.h"
#include "cloudtaskrcselectwidget.h"
#include "cloudtaskselectfileswidget.h"
#include "cloudtaskselectfolderwidget.h"
#include "cloudviewsfixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QStackedWidget>
#include <QTabBar>
#include <memory>

using namespace CloudViews;
using namespace WebTest;

namespace {

bool pageReady(OrvWebView *view)
{
    return waitFor(view->page(), QStringLiteral("!!(window.orvPage && orvPage.loaded && window.pickerPage || window.examSavePage)"),
                   15000);
}

// The view of the first page of a tabbed file picker.
OrvWebView *firstView(CloudFileSelectTabBaseWidget *picker)
{
    CloudFileSelectBaseWidget *page = picker->page(0);
    return page ? qobject_cast<OrvWebView *>(page->widget(0)) : nullptr;
}

QJsonArray pickedIds(const QString &params)
{
    QJsonArray ids;
    for (const QJsonValue &file : QJsonDocument::fromJson(params.toUtf8()).object().value("files").toArray())
        ids << file.toObject().value("userFileId");
    return ids;
}

} // namespace

class CloudPickersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_env.start()); }

    void cleanupTestCase() { m_env.stop(); }

    void init() { OrvSettings::instance()->remove(QLatin1String(CloudFolderSelectWidget::NativeFolderPageKey)); }

    // The one-page picker: its page, with the host's query, as "cloudDisk"; the page's choice is
    // the dialog's answer, and what is not JSON is none.
    void fileSelectWidget()
    {
        CloudFileSelectWidget picker(nullptr, QStringLiteral("type=courseware&onlyImg=1"));
        picker.resize(800, 560);
        picker.show();
        OrvWebView *view = picker.webView();
        QVERIFY(pageReady(view));
        QCOMPARE(view->url(), m_env.url("/client/cloud/file/im?type=courseware&onlyImg=1"));
        QCOMPARE(view->property("currentUrl").toString(), QStringLiteral("/client/cloud/file/im"));
        QCOMPARE(view->property("customQuery").toString(), QStringLiteral("type=courseware&onlyImg=1"));
        QVERIFY(qobject_cast<CloudFileSelectWebBridge *>(view->registeredObject("cloudDisk")));
        QCOMPARE(picker.count(), 1);
        QCOMPARE(picker.tabText(0), QStringLiteral("ID_Courseware"));
        QVERIFY(picker.tabBar()->isHidden());
        // Only pictures were asked for.
        QCOMPARE(eval(view->page(), "pickerPage.files().map(function (f) { return f.userFileId; }).join(',')").toString(),
                 QStringLiteral("1003,1004"));

        QSignalSpy ok(&picker, &CloudFileSelectBaseWidget::clickBtnOk);
        eval(view->page(), "cloudDisk.selectFile('not json'); cloudDisk.selectFile(''); pickerPage.choose([1004])");
        QVERIFY(reached(ok));
        QTest::qWait(100);
        QCOMPARE(ok.size(), 1);
        QCOMPARE(pickedIds(ok[0][0].toString()), (QJsonArray{1004}));
        QCOMPARE(picker.params(), ok[0][0].toString());
    }

    // The homework resource picker: its address has no leading slash and still opens the file page.
    void taskResourcePicker()
    {
        CloudTaskRcSelectWidget picker(OrvCloudDisk::SchoolId);
        picker.show();
        QCOMPARE(picker.size(), QSize(CloudFileSelectTabBaseWidget::FrameWidth, CloudFileSelectTabBaseWidget::FrameHeight));
        QCOMPARE(picker.minimumSize(), picker.maximumSize());
        OrvWebView *view = firstView(&picker);
        QVERIFY(view);
        QVERIFY(pageReady(view));
        QCOMPARE(view->property("currentUrl").toString(),
                 QStringLiteral("client/cloud/file/im?type=homework&otherMax=1&sid=%1").arg(OrvCloudDisk::SchoolId));
        QCOMPARE(view->url(), m_env.url(QStringLiteral("/client/cloud/file/im?type=homework&otherMax=1&sid=%1")
                                             .arg(OrvCloudDisk::SchoolId)));
        QCOMPARE(eval(view->page(), "pickerPage.bridgeName").toString(), QStringLiteral("cloudDisk"));
        QCOMPARE(picker.page(0)->tabText(0), QStringLiteral("ID_TaskResource"));

        // The frame's parts and their looks.
        auto *title = picker.findChild<QLabel *>(QStringLiteral("label"));
        QVERIFY(title);
        QCOMPARE(title->text(), QStringLiteral("ID_SelectFiles"));
        QWidget *navigation = picker.findChild<QWidget *>(QStringLiteral("navigationWidget"));
        QWidget *content = picker.findChild<QWidget *>(QStringLiteral("contentWidget"));
        auto *stack = picker.findChild<QStackedWidget *>(QStringLiteral("stackedWidget"));
        QVERIFY(navigation && content && stack);
        QCOMPARE(stack->parentWidget(), content);
        QCOMPARE(navigation->parentWidget(), content);
        QCOMPARE(navigation->styleSheet().trimmed(),
                 QStringLiteral("background-color:#FFFFFF;border:none;border-bottom:1px solid #EBEBEB;"));
        const QString sheets = picker.styleSheet() + title->styleSheet() + content->styleSheet();
        QVERIFY(sheets.contains(QStringLiteral("QWidget#contentWidget{background: #F2F2F2;}")));
        QVERIFY(sheets.contains(QStringLiteral("QLabel#label{color: #232323;font-size: 16px;font-weight: 400;border:0px;}")));
        // The title sits in the bar, left, and is not cut.
        QVERIFY(navigation->rect().contains(title->geometry()));
        QVERIFY(title->width() >= title->sizeHint().width());

        QSignalSpy ok(&picker, &CloudFileSelectTabBaseWidget::clickBtnOk);
        eval(view->page(), "pickerPage.choose([1001, 1002])");
        QVERIFY(reached(ok));
        QCOMPARE(pickedIds(ok[0][0].toString()), (QJsonArray{1001, 1002}));
        QCOMPARE(picker.params(), ok[0][0].toString());
    }

    void taskFilesPicker_data()
    {
        QTest::addColumn<quint64>("schoolId");
        QTest::addColumn<QString>("address");
        QTest::newRow("school") << quint64(OrvCloudDisk::SchoolId)
                                << QStringLiteral("/client/clouddisk/selectfile_im.html?imgMax=9&videoMax=1&otherMax=3"
                                                  "&from=homework&schoolId=%1")
                                       .arg(OrvCloudDisk::SchoolId);
        QTest::newRow("no school") << quint64(0)
                                   << QStringLiteral("/client/clouddisk/selectfile_im.html?imgMax=9&videoMax=1&otherMax=3"
                                                     "&from=homework");
    }

    void taskFilesPicker()
    {
        QFETCH(quint64, schoolId);
        QFETCH(QString, address);
        CloudTaskSelectFilesWidget picker(schoolId, 9, 1, 3);
        picker.show();
        QCOMPARE(picker.currentPage(), 0);
        OrvWebView *view = firstView(&picker);
        QVERIFY(view);
        QCOMPARE(view->property("currentUrl").toString(), address);
        QVERIFY(pageReady(view));
        QCOMPARE(view->url(), m_env.url(address));
        QCOMPARE(eval(view->page(), "pickerPage.bridgeName").toString(), QStringLiteral("nativeBridge"));
        QCOMPARE(picker.page(0)->tabText(0), QStringLiteral("ID_Courseware"));

        QSignalSpy ok(&picker, &CloudFileSelectTabBaseWidget::clickBtnOk);
        eval(view->page(), "pickerPage.choose([1003])");
        QVERIFY(reached(ok));
        QCOMPARE(pickedIds(picker.params()), (QJsonArray{1003}));
    }

    // A folder page's choice confirms the dialog with that folder; its cancel leaves it as it was.
    void folderPickers()
    {
        CloudTaskSelectFolderWidget task;
        task.show();
        QVERIFY(pageReady(task.webView()));
        QCOMPARE(task.webView()->url(), m_env.url("/client/cloud/folder/im"));
        QCOMPARE(task.webView()->property("currentUrl").toString(), QStringLiteral("/client/cloud/folder/im"));
        QVERIFY(qobject_cast<CloudFolderSelectWebBridge *>(task.webView()->registeredObject("cloudDisk")));
        QCOMPARE(task.tabText(0), QStringLiteral("ID_TaskResource"));
        QVERIFY(task.tabBar()->isHidden());

        QSignalSpy ok(&task, &CloudFolderSelectBaseWidget::signalOk);
        QSignalSpy cancel(&task, &CloudFolderSelectBaseWidget::signalCancel);
        eval(task.webView()->page(), "cloudDisk.selectFolder('folder 9'); pickerPage.choose(501)");
        QVERIFY(reached(ok));
        QCOMPARE(task.folderId(), qint64(501));
        // Categories mean nothing to a plain folder picker.
        eval(task.webView()->page(),
             "cloudDisk.postMessage(JSON.stringify({type: 'selectCategory', cbId: 'c', data: {categoryIds: [3]}}));"
             "pickerPage.cancel()");
        QVERIFY(reached(cancel));
        QCOMPARE(ok.size(), 1);
        QCOMPARE(cancel.size(), 1);
        QCOMPARE(task.folderId(), qint64(501));

        // The cloud folder page of CloudFolderSelectWidget, or the older page when the client says so.
        QString bridgeName;
        QCOMPARE(CloudFolderSelectWidget::address(CloudFolderSelectWidget::CloudFolder, 0, &bridgeName),
                 QStringLiteral("/client/cloud/folder/im"));
        QCOMPARE(bridgeName, QStringLiteral("cloudDisk"));
        OrvSettings::instance()->setValue(QLatin1String(CloudFolderSelectWidget::NativeFolderPageKey), true);
        CloudFolderSelectWidget older(CloudFolderSelectWidget::CloudFolder);
        older.show();
        QVERIFY(pageReady(older.webView()));
        QCOMPARE(older.webView()->url(), m_env.url("/client/clouddisk/selectfolder_im.html?from=exam"));
        QCOMPARE(older.tabText(0), QStringLiteral("ID_Courseware"));
        QCOMPARE(eval(older.webView()->page(), "pickerPage.bridgeName").toString(), QStringLiteral("nativeBridge"));
        QSignalSpy olderCancel(&older, &CloudFolderSelectBaseWidget::signalCancel);
        QSignalSpy olderOk(&older, &CloudFolderSelectBaseWidget::signalOk);
        eval(older.webView()->page(), "pickerPage.cancel()");
        QVERIFY(reached(olderCancel));
        QCOMPARE(olderOk.size(), 0);
        QCOMPARE(older.folderId(), qint64(-1));
        eval(older.webView()->page(), "pickerPage.choose(0)");
        QVERIFY(reached(olderOk));
        QCOMPARE(older.folderId(), qint64(0));
    }

    void saveToCategories_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("route");
        QTest::newRow("question") << int(CloudFolderSelectWidget::SaveQuestion) << "/topic/save?shareId=880012&from=im";
        QTest::newRow("paper") << int(CloudFolderSelectWidget::SavePaper) << "/paper/save?shareId=880012&from=im";
    }

    // The question bank pages answer with a message naming the categories; that confirms the
    // dialog with the ids as a JSON array. Messages that do not fit change nothing.
    void saveToCategories()
    {
        QFETCH(int, type);
        QFETCH(QString, route);
        CloudFolderSelectWidget picker(CloudFolderSelectWidget::FolderType(type), nullptr, 880012);
        picker.show();
        OrvWebView *view = picker.webView();
        QVERIFY(pageReady(view));
        QCOMPARE(view->url().path(), QStringLiteral("/client/lmsbleach/exam-pc/"));
        QCOMPARE(view->url().fragment(), route);
        QVERIFY(qobject_cast<CloudFolderSelectWebBridge *>(view->registeredObject("widget")));
        QCOMPARE(eval(view->page(), "examSavePage.route").toString(), route);

        QSignalSpy ok(&picker, &CloudFolderSelectBaseWidget::signalOk);
        QSignalSpy cancel(&picker, &CloudFolderSelectBaseWidget::signalCancel);
        eval(view->page(), R"(
            widget.postMessage('{"type":"selectCategory","data":{"categoryIds":[1,"x"]}}');
            widget.postMessage('{"type":"selectCategory","data":{"categoryIds":"11,12"}}');
            widget.postMessage('{"type":"selectFolder","data":{"categoryIds":[1]}}');
            widget.postMessage('{"type":"selectCategory"');
            widget.postMessage('');
            examSavePage.choose([11, "12", "9007199254740993"]);
        )");
        QVERIFY(reached(ok));
        QTest::qWait(100);
        QCOMPARE(ok.size(), 1);
        QCOMPARE(picker.getSelectedCategoryIds(), QStringLiteral("[11,12,9007199254740993]"));
        QCOMPARE(picker.folderId(), qint64(-1));

        eval(view->page(), "examSavePage.cancel()");
        QVERIFY(reached(cancel));
        QCOMPARE(ok.size(), 1);
        QCOMPARE(picker.getSelectedCategoryIds(), QStringLiteral("[11,12,9007199254740993]"));

        // The host may set them too; that confirms as well.
        picker.setSelectedCategoryIds(QStringLiteral("[4]"));
        QCOMPARE(ok.size(), 2);
        QCOMPARE(picker.getSelectedCategoryIds(), QStringLiteral("[4]"));
    }

private:
    Environment m_env;
};

ORV_WEB_TEST_MAIN(CloudPickersTest)
#include "tst_cloudpickers.moc"

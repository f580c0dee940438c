// SPDX-License-Identifier: LGPL-2.1-or-later
#include "peoplefixture.h"
#include "treedump.h"

#include "ContactsSelectView.h"
#include "ContactsSelectViewModel.h"
#include "ContactsSortFilterModel.h"
#include "ShareToChatTool.h"

#include "chatengine.h"
#include "chatmsgstore.h"
#include "contactsengine.h"
#include "orvlang.h"

#include <QAbstractItemModelTester>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>
#include <memory>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

// The proxy index of the first node of that type and value.
QModelIndex find(ContactsSelectViewModel *vm, Item::ItemType type, const ClusterID &value)
{
    const QModelIndex source = vm->treeModel()->indexByValue({}, type, value);
    return vm->proxyModel()->mapFromSource(source);
}

QList<Qt::CheckState> checkStatesOf(ContactsTreeModel *model, quint64 uid)
{
    std::vector<QModelIndex> places;
    model->indexByValue({}, std::vector<quint64>{uid}, places);
    QList<Qt::CheckState> out;
    for (const QModelIndex &idx : places) {
        // Headings and chats share the numbers of their ids with people.
        const int type = idx.data(ContactsTreeModel::TypeRole).toInt();
        if (type != Item::Group && !Item::isZoomType(type))
            out << Qt::CheckState(idx.data(Qt::CheckStateRole).toInt());
    }
    return out;
}

QStringList recentNames(ContactsTreeModel *model)
{
    std::vector<QModelIndex> headings;
    model->indexByZoomType({}, Item::RecentZoom, headings);
    return headings.empty() ? QStringList() : childNames(model, headings.front());
}

struct Picker {
    std::unique_ptr<ContactsSelectView> view;
    ContactsSelectViewModel *vm;
    explicit Picker(const ContactsSelectViewModel::Options &options = {})
        : vm(ContactsSelectViewModel::createContactsSelectTool(nullptr, options))
    {
        view.reset(vm->view());
    }
};

} // namespace

class ContactsSelectTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
        OrvLang::insert(QStringLiteral("ID_ContactsSelect_MaxCount"), QStringLiteral("At most %1 can be picked"));
        OrvLang::insert(QStringLiteral("ID_ContactsSelect_PickedGone"), QStringLiteral("%1 left your contacts"));
        OrvLang::insert(QStringLiteral("ID_ContactsSelect_PickedOf"), QStringLiteral("Picked %1/%2"));
    }
    void init()
    {
        QVERIFY(PeopleFixture::load());
        ShareToChatTool::instance()->setPicksTargets(true);
    }
    void cleanup()
    {
        ShareToChatTool::release();
        PeopleFixture::resetAll();
    }

    void shouldPickAPersonInEveryPlaceAndReportIdentities()
    {
        Picker p;
        QAbstractItemModelTester tester(p.vm->proxyModel(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy changed(p.vm, &ContactsSelectViewModel::pickedChanged);
        // 张伟 is a friend, a recent chat and school staff: picking one place checks all three.
        QVERIFY(p.vm->pick(find(p.vm, Item::SchoolEmployee, ClusterID(2, SchoolStaff))));
        QCOMPARE(checkStatesOf(p.vm->treeModel(), 2), (QList<Qt::CheckState>{Qt::Checked, Qt::Checked, Qt::Checked}));
        QCOMPARE(changed.count(), 1);
        // Picking the same person elsewhere is not a second pick.
        QVERIFY(p.vm->pick(find(p.vm, Item::Friend, ClusterID(2, User))));
        QCOMPARE(p.vm->pickedCount(), 1);
        // A class member is a person too; a group is a chat.
        QVERIFY(p.vm->pick(p.vm->proxyModel()->mapFromSource(p.vm->treeModel()->indexByValue({}, Item::ClassMember, ClusterID(51, Local)))));
        QVERIFY(p.vm->pick(find(p.vm, Item::Group, ClusterID(100, Group))));
        QCOMPARE(p.vm->getSelectedContacts(), (QList<ClusterID>{ClusterID(2, User), ClusterID(51, User), ClusterID(100, Group)}));
        QCOMPARE(p.vm->getSelectedUsers(), (std::vector<quint64>{2, 51}));
        // The right side lists them with a remove button each; removing unchecks every place.
        QCOMPARE(p.view->pickedList()->count(), 3);
        auto *remove = p.view->pickedList()->itemWidget(p.view->pickedList()->item(0))->findChild<QToolButton *>(QStringLiteral("removePickedBtn"));
        QVERIFY(remove);
        remove->click();
        QCOMPARE(p.vm->getSelectedUsers(), (std::vector<quint64>{51}));
        QCOMPARE(checkStatesOf(p.vm->treeModel(), 2), (QList<Qt::CheckState>{Qt::Unchecked, Qt::Unchecked, Qt::Unchecked}));
        // Closing the picker leaves no check behind for the next one.
        p.view.reset();
        QCOMPARE(checkStatesOf(ContactsTreeModel::instance(), 51), (QList<Qt::CheckState>{Qt::Unchecked}));
    }

    void shouldHoldToTheLimitAndToDisabledUsers()
    {
        Picker p;
        p.vm->setMaxCount(2);
        QSignalSpy reached(p.vm, &ContactsSelectViewModel::maxCountReached);
        QVERIFY(p.vm->pick(find(p.vm, Item::Friend, ClusterID(2, User))));
        QVERIFY(p.vm->pick(find(p.vm, Item::Friend, ClusterID(3, User))));
        QVERIFY(!p.vm->pick(find(p.vm, Item::Friend, ClusterID(4, User))));
        QCOMPARE(reached.count(), 1);
        QCOMPARE(reached.first().first().toInt(), 2);
        QCOMPARE(p.vm->notice(), QStringLiteral("At most 2 can be picked"));
        QCOMPARE(p.view->countLabel()->text(), QStringLiteral("Picked 2/2"));
        QCOMPARE(p.vm->pickedCount(), 2);
        // Lowering the limit drops the last picks, and says so.
        p.vm->setMaxCount(1);
        QCOMPARE(p.vm->getSelectedUsers(), (std::vector<quint64>{2}));

        // Disabled users are shown but cannot be picked; one already picked is dropped.
        QSignalSpy removed(p.vm, &ContactsSelectViewModel::pickedRemoved);
        p.vm->setMaxCount(0);
        p.vm->setDisableUsers({2, 7});
        QCOMPARE(removed.count(), 1);
        QCOMPARE(p.vm->pickedCount(), 0);
        const QModelIndex lv = find(p.vm, Item::Friend, ClusterID(7, User));
        QVERIFY(lv.isValid());
        QVERIFY(!p.vm->isPickable(lv));
        QVERIFY(!p.vm->pick(lv));
        // A closed account is shown disabled too.
        QVERIFY(!p.vm->isPickable(find(p.vm, Item::Friend, ClusterID(9, User))));
        // Headings are not picks.
        QVERIFY(!p.vm->pick(p.vm->proxyModel()->index(0, 0)));
        QCOMPARE(p.vm->pickedCount(), 0);
    }

    void shouldDropAPickThatLeavesTheContactsAndSayWhy()
    {
        Picker p;
        QVERIFY(p.vm->pick(find(p.vm, Item::Group, ClusterID(100, Group))));
        QVERIFY(p.vm->pick(find(p.vm, Item::Friend, ClusterID(3, User))));
        QSignalSpy removed(p.vm, &ContactsSelectViewModel::pickedRemoved);
        // The group is deleted while the picker is open.
        ContactsEngine::instance()->removeClusters({ClusterID(100, Group)});
        QTRY_COMPARE(removed.count(), 1);
        QCOMPARE(removed.first().at(1).toString(), QStringLiteral("数学组"));
        QCOMPARE(p.vm->getSelectedContacts(), (QList<ClusterID>{ClusterID(3, User)}));
        QCOMPARE(p.vm->notice(), QStringLiteral("数学组 left your contacts"));
        // A reset of the whole tree keeps the remaining pick checked.
        ContactsTreeModel::instance()->onInitComplete();
        QTRY_COMPARE(checkStatesOf(p.vm->treeModel(), 3).value(0), Qt::Checked);
        QCOMPARE(p.vm->pickedCount(), 1);
    }

    void shouldSearchAndPickFromTheView()
    {
        Picker p;
        p.view->resize(720, 520);
        p.view->show();
        QVERIFY(QTest::qWaitForWindowExposed(p.view.get()));
        QTest::keyClicks(p.view->searchEdit(), QStringLiteral("zm"));
        QCOMPARE(dumpTree(p.vm->proxyModel()), QStringLiteral("8:第一中学[9:教务处[15:赵敏]]"));
        const QModelIndex zhao = find(p.vm, Item::SchoolEmployee, ClusterID(8, SchoolStaff));
        QVERIFY(p.view->treeView()->isExpanded(zhao.parent()));
        // Clicking the row picks her; the OK button comes alive.
        QVERIFY(!p.view->okButton()->isEnabled());
        const QRect rect = p.view->treeView()->visualRect(zhao);
        QTest::mouseClick(p.view->treeView()->viewport(), Qt::LeftButton, {}, rect.center());
        QCOMPARE(p.vm->getSelectedUsers(), (std::vector<quint64>{8}));
        QVERIFY(p.view->okButton()->isEnabled());
        QSignalSpy ok(p.vm, &ContactsSelectViewModel::okBtnClicked);
        p.view->okButton()->click();
        QCOMPARE(ok.count(), 1);
        // Garbage typed in: nothing found, the view says so, nothing picked is lost.
        p.view->searchEdit()->setText(QStringLiteral("\x01\x02😀😀"));
        QCOMPARE(p.vm->proxyModel()->rowCount(), 0);
        QCOMPARE(p.vm->pickedCount(), 1);
        const QString shots = qEnvironmentVariable("ORV_PEOPLE_SCREENSHOTS");
        p.view->searchEdit()->setText(QStringLiteral("zh"));
        if (!shots.isEmpty())
            p.view->grab().save(shots + QStringLiteral("/contactsselect.png"));
    }

    void shouldTellWhenThereIsNothingToPick()
    {
        PeopleFixture::resetAll();
        ContactsTreeModel::instance();
        QCoreApplication::processEvents();
        Picker p;
        QVERIFY(p.vm->isEmpty());
        QSignalSpy empty(p.vm, &ContactsSelectViewModel::emptyChagned);
        QVERIFY(!p.vm->pick(p.vm->proxyModel()->index(0, 0)));
        // The engines fill in: there is something to pick now.
        PeopleFixture::resetAll();
        QVERIFY(PeopleFixture::load());
        // The view-model's tree was released with the engines; a new picker sees the new one.
        Picker q;
        QVERIFY(!q.vm->isEmpty());
        // Filtering down to a school without anyone in it empties the list again.
        QSignalSpy qEmpty(q.vm, &ContactsSelectViewModel::emptyChagned);
        q.vm->setFilterSchool(12345);
        QTRY_COMPARE(qEmpty.count(), 1);
        QCOMPARE(qEmpty.first().first().toBool(), true);
    }

    void shouldSendASharedTextToThePickedChats()
    {
        ContactsTreeModel *tree = ContactsTreeModel::instance();
        QCOMPARE(recentNames(tree), (QStringList{QStringLiteral("数学组"), QStringLiteral("曾国藩"), QStringLiteral("张伟")}));
        auto *tool = ShareToChatTool::instance();
        QSignalSpy requested(tool, &ShareToChatTool::shareRequested);
        QSignalSpy sent(tool, &ShareToChatTool::shareSent);
        tool->shareText(QStringLiteral("明天考试"));
        QCOMPARE(requested.count(), 1);
        ContactsSelectViewModel *picker = tool->picker();
        QVERIFY(picker);
        QVERIFY(picker->view()->isVisible());
        // 张伟 (a recent chat already) and 吕小布 (no chat yet).
        QVERIFY(picker->pick(find(picker, Item::Friend, ClusterID(2, User))));
        QVERIFY(picker->pick(find(picker, Item::Friend, ClusterID(7, User))));
        Q_EMIT picker->okBtnClicked();
        QCOMPARE(sent.count(), 1);
        QTRY_VERIFY(!tool->picker());
        // Both chats hold the message, and they are the newest chats now, the last one sent on top.
        auto *store = ChatEngine::instance()->messageStore();
        QCOMPARE(store->count(ClusterID(2, User)), 1);
        const ChatMsgPtr msg = store->lastMessage(ClusterID(7, User));
        QVERIFY(msg);
        QCOMPARE(msg->type(), ChatMsgType::Text);
        QCOMPARE(msg->decodeFromContent(QStringLiteral("text")).toString(), QStringLiteral("明天考试"));
        QCOMPARE(msg->sentStatus(), SentStatus::Sent);
        QCOMPARE(recentNames(tree), (QStringList{QStringLiteral("吕小布"), QStringLiteral("张伟"), QStringLiteral("数学组"),
                                                 QStringLiteral("曾国藩")}));
        QVERIFY(store->lastMessage(ClusterID(2, User))->localID() != msg->localID());
    }

    void shouldShareAPictureFileAndForwardAChatMessage()
    {
        QTemporaryDir dir;
        const QString png = dir.filePath(QStringLiteral("shot.png"));
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(png));
        auto *tool = ShareToChatTool::instance();
        QSignalSpy failed(tool, &ShareToChatTool::shareFailed);

        // A text file calling itself a picture is refused before anything opens.
        const QString fake = dir.filePath(QStringLiteral("fake.png"));
        QFile f(fake);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("not a picture");
        f.close();
        tool->shareImageFile(fake);
        tool->shareImageFile(dir.filePath(QStringLiteral("missing.png")));
        QCOMPARE(failed.count(), 2);
        QVERIFY(!tool->picker());
        QVERIFY(tool->shares().isEmpty());

        tool->shareImageFile(png);
        QVERIFY(tool->picker());
        QVERIFY(tool->picker()->pick(find(tool->picker(), Item::Group, ClusterID(100, Group))));
        Q_EMIT tool->picker()->okBtnClicked();
        const ChatMsgPtr picture = ChatEngine::instance()->messageStore()->lastMessage(ClusterID(100, Group));
        QVERIFY(picture);
        QCOMPARE(picture->type(), ChatMsgType::Image);
        QCOMPARE(picture->decodeFromContent(QStringLiteral("width")).toInt(), 40);
        QCOMPARE(picture->decodeFromContent(QStringLiteral("path")).toString(), QFileInfo(png).absoluteFilePath());

        // A chat picture forwarded from the viewer keeps its type, content and where it came from.
        tool->shareAttachChatMsg(ChatMsgType::Image, QStringLiteral("{\"url\":\"https:\\/\\/x\\/p.jpg\"}"),
                                 QStringLiteral("{\"w\":1}"), 18446744073709551000ull);
        QVERIFY(tool->picker());
        QVERIFY(tool->picker()->pick(find(tool->picker(), Item::Friend, ClusterID(3, User))));
        Q_EMIT tool->picker()->okBtnClicked();
        const ChatMsgPtr forward = ChatEngine::instance()->messageStore()->lastMessage(ClusterID(3, User));
        QVERIFY(forward);
        QCOMPARE(forward->type(), ChatMsgType::Image);
        QCOMPARE(forward->decodeFromContent(QStringLiteral("url")).toString(), QStringLiteral("https://x/p.jpg"));
        QCOMPARE(forward->decodeFromExtra(QStringLiteral("w")).toInt(), 1);
        QCOMPARE(forward->decodeFromExtra(QStringLiteral("forwardedFrom")).toString(), QStringLiteral("18446744073709551000"));
        // Nothing to forward is refused.
        tool->shareAttachChatMsg(ChatMsgType::Unknown, QStringLiteral("{}"), QString());
        QCOMPARE(failed.count(), 3);
    }

    void shouldLeaveThePickingToAHostThatWantsIt()
    {
        auto *tool = ShareToChatTool::instance();
        tool->setPicksTargets(false);
        QSignalSpy requested(tool, &ShareToChatTool::shareRequested);
        QSignalSpy failed(tool, &ShareToChatTool::shareFailed);
        tool->shareCloudHomework(QJsonObject{{QStringLiteral("id"), 5}});
        QCOMPARE(requested.count(), 1);
        QVERIFY(!tool->picker());
        // The host sends to its own choice; a closed account and a deleted chat are skipped.
        const int sent = tool->sendShare(tool->lastShare(), {ClusterID(100, Group), ClusterID(9, User), ClusterID(999, Group),
                                                             ClusterID(5, OrgStaff)});
        QCOMPARE(sent, 1);
        QCOMPARE(failed.count(), 3);
        const ChatMsgPtr link = ChatEngine::instance()->messageStore()->lastMessage(ClusterID(100, Group));
        QCOMPARE(link->type(), ChatMsgType::Link);
        QCOMPARE(link->decodeFromExtra(QStringLiteral("shareKind")).toString(), QStringLiteral("shareCloudHomework"));
        QCOMPARE(ChatEngine::instance()->messageStore()->count(ClusterID(9, User)), 0);
    }

    void shouldCancelAndReplaceWaitingShares()
    {
        auto *tool = ShareToChatTool::instance();
        tool->shareText(QStringLiteral("first"));
        QPointer<ContactsSelectViewModel> first = tool->picker();
        QVERIFY(first);
        // A second share while the first waits: the newer takes the picker; both stay recorded.
        tool->shareText(QStringLiteral("second"));
        QTRY_VERIFY(!first);
        QCOMPARE(tool->shares().size(), 2);
        QVERIFY(tool->picker()->pick(find(tool->picker(), Item::Friend, ClusterID(3, User))));
        Q_EMIT tool->picker()->cancelBtnClicked();
        QTRY_VERIFY(!tool->picker());
        QCOMPARE(ChatEngine::instance()->messageStore()->totalCount(), 0);
    }
};

QTEST_MAIN(ContactsSelectTest)
#include "tst_contactsselect.moc"

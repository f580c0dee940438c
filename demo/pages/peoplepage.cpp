// SPDX-License-Identifier: LGPL-2.1-or-later
#include "peoplepage.h"
#include "../demopage.h"
#include "../demoservices.h"

#include "ContactsSearch.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "ShareToChatTool.h"
#include "clusterjoinwidget.h"

#include "contactsengine.h"
#include "courseengine.h"
#include "orvschoolservice.h"
#include "schoolchartmanager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <QVBoxLayout>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {
DemoPageRegistrar registrar(QStringLiteral("people"), QStringLiteral("People: search, share, join"), 40,
                            [](QWidget *parent) { return new PeoplePage(parent); });

constexpr quint64 kPublicCourseId = 880001;

QString groupTitle(ContactsSearch::Group g)
{
    switch (g) {
    case ContactsSearch::Friends: return QStringLiteral("Friends");
    case ContactsSearch::Groups: return QStringLiteral("Groups and classes");
    case ContactsSearch::Colleagues: return QStringLiteral("Colleagues");
    case ContactsSearch::ClassMembers: return QStringLiteral("Class members");
    case ContactsSearch::RecentChats: return QStringLiteral("Recent chats");
    case ContactsSearch::Units: return QStringLiteral("Schools, companies, departments");
    case ContactsSearch::OtherPeople: return QStringLiteral("Other people");
    }
    return {};
}

QString rankText(ContactsSearch::Rank r)
{
    static const char *const names[] = {"exact", "prefix", "initials", "pinyin", "substring", ""};
    return QString::fromLatin1(names[std::min(int(r), 5)]);
}

// Rows of the filtered tree: headings bold, matches with how they matched. Reads roles only,
// as any view over the proxy must (its indexes are not the tree's).
class SearchTreeDelegate : public QStyledItemDelegate
{
public:
    SearchTreeDelegate(ContactsSortFilterModel *proxy, QObject *parent) : QStyledItemDelegate(parent), m_proxy(proxy) {}

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const override
    {
        return QSize(option.rect.width(), 26);
    }

    void paint(QPainter *p, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        p->save();
        const int type = index.data(ContactsTreeModel::TypeRole).toInt();
        QString name = index.data(ContactsTreeModel::NameRole).toString();
        if (name.isEmpty())
            name = Item::itemTypeToString(type);
        QFont f = option.font;
        const ContactsSearch::Rank rank = m_proxy->matchRank(index);
        f.setBold(Item::isZoomType(type));
        p->setFont(f);
        p->setPen(index.data(ContactsTreeModel::EnableRole).toBool() ? QColor(0x212121) : QColor(0x9E9E9E));
        const QRect r = option.rect.adjusted(4, 0, -4, 0);
        p->drawText(r, Qt::AlignVCenter | Qt::AlignLeft, name);
        if (rank != ContactsSearch::NoMatch) {
            p->setPen(QColor(0x1E88E5));
            p->drawText(r, Qt::AlignVCenter | Qt::AlignRight, rankText(rank));
        } else if (Item::isZoomType(type)) {
            p->setPen(QColor(0x757575));
            p->drawText(r, Qt::AlignVCenter | Qt::AlignRight, QString::number(index.model()->rowCount(index)));
        }
        p->restore();
    }

private:
    ContactsSortFilterModel *m_proxy;
};
} // namespace

PeoplePage::PeoplePage(QWidget *parent)
    : QWidget(parent)
    , m_proxy(new ContactsSortFilterModel(this))
    , m_search(new QLineEdit)
    , m_tree(new QTreeView)
    , m_hits(new QListWidget)
    , m_timing(new QLabel)
    , m_shareText(new QLineEdit(QStringLiteral("明天的数学作业已发布")))
    , m_recent(new QListWidget)
    , m_classes(new QComboBox)
    , m_open(new QCheckBox(tr("Open for joining")))
    , m_log(new QPlainTextEdit)
{
    ContactsTreeModel *tree = ContactsTreeModel::instance();
    m_proxy->setSourceModel(tree);
    m_search->setPlaceholderText(tr("Search: 张伟, zhangwei, zw, a uid or class number"));
    m_search->setClearButtonEnabled(true);
    m_tree->setModel(m_proxy);
    m_tree->setItemDelegate(new SearchTreeDelegate(m_proxy, m_tree));
    m_tree->header()->hide();
    m_tree->setUniformRowHeights(false);
    m_timing->setObjectName(QStringLiteral("searchTiming"));

    auto *left = new QVBoxLayout;
    left->addWidget(m_search);
    left->addWidget(m_timing);
    auto *results = new QHBoxLayout;
    results->addWidget(m_tree, 3);
    auto *hitsBox = new QVBoxLayout;
    hitsBox->addWidget(new QLabel(tr("Ranked, by kind")));
    hitsBox->addWidget(m_hits, 1);
    results->addLayout(hitsBox, 2);
    left->addLayout(results, 1);

    // Sharing: the tool opens the selection view; the chats picked get the message.
    auto *share = new QGroupBox(tr("Share into chats"));
    auto *shareForm = new QVBoxLayout(share);
    auto *shareRow = new QHBoxLayout;
    shareRow->addWidget(m_shareText, 1);
    auto *shareBtn = new QPushButton(tr("Share…"));
    shareBtn->setObjectName(QStringLiteral("shareTextBtn"));
    auto *sharePicture = new QPushButton(tr("Share a picture…"));
    shareRow->addWidget(shareBtn);
    shareRow->addWidget(sharePicture);
    shareForm->addLayout(shareRow);
    shareForm->addWidget(new QLabel(tr("Recent chats, newest first")));
    shareForm->addWidget(m_recent, 1);
    m_recent->setMaximumHeight(150);
    connect(shareBtn, &QPushButton::clicked, this, [this] { ShareToChatTool::instance()->shareText(m_shareText->text()); });
    connect(sharePicture, &QPushButton::clicked, this, [] {
        QImage image(320, 200, QImage::Format_RGB32);
        image.fill(QColor(0x1E88E5));
        QPainter p(&image);
        p.setPen(Qt::white);
        p.setFont(QFont(QStringLiteral("Noto Sans CJK SC"), 20));
        p.drawText(image.rect(), Qt::AlignCenter, QDateTime::currentDateTime().toString(QStringLiteral("hh:mm:ss")));
        p.end();
        const QString path = QDir::temp().filePath(QStringLiteral("orv-demo-share.png"));
        if (image.save(path))
            ShareToChatTool::instance()->shareImageFile(path);
    });
    connect(ShareToChatTool::instance(), &ShareToChatTool::shareSent, this, [this](const QString &kind, const QList<ClusterID> &targets) {
        QStringList names;
        for (const ClusterID &t : targets)
            names << t.toString();
        log(QStringLiteral("%1 sent to %2").arg(kind, names.join(QStringLiteral(", "))));
        showRecentChats();
    });
    connect(ShareToChatTool::instance(), &ShareToChatTool::shareFailed, this,
            [this](const QString &kind, const QString &reason) { log(QStringLiteral("%1 failed: %2").arg(kind, reason)); });

    // Joining: a class of the loaded world, and a public course of the demo's web service.
    auto *join = new QGroupBox(tr("Invite into a class"));
    auto *joinForm = new QFormLayout(join);
    joinForm->addRow(tr("Class"), m_classes);
    auto *joinButtons = new QHBoxLayout;
    auto *classBtn = new QPushButton(tr("Invite to the class…"));
    classBtn->setObjectName(QStringLiteral("inviteClassBtn"));
    auto *publicBtn = new QPushButton(tr("Invite to a public course…"));
    joinButtons->addWidget(m_open);
    joinButtons->addWidget(classBtn);
    joinButtons->addWidget(publicBtn);
    joinForm->addRow(joinButtons);
    connect(classBtn, &QPushButton::clicked, this, [this] { openJoinPanel(false); });
    connect(publicBtn, &QPushButton::clicked, this, [this] { openJoinPanel(true); });
    connect(m_open, &QCheckBox::toggled, this, &PeoplePage::setClassOpen);
    connect(m_classes, qOverload<int>(&QComboBox::currentIndexChanged), this, [this] {
        const auto cluster = ContactsEngine::instance()->getClusterInfo(m_classes->currentData().value<ClusterID>());
        const QSignalBlocker block(m_open);
        m_open->setChecked(cluster && cluster->everyoneCanJoin());
    });

    m_log->setReadOnly(true);
    m_log->setMaximumBlockCount(200);
    auto *right = new QVBoxLayout;
    right->addWidget(share, 2);
    right->addWidget(join);
    right->addWidget(new QLabel(tr("What happened")));
    right->addWidget(m_log, 1);

    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 3);
    layout->addLayout(right, 2);

    connect(m_search, &QLineEdit::textChanged, this, &PeoplePage::search);
    // The engines report their first sync after the page exists: search again in the full tree.
    connect(tree, &ContactsTreeModel::syncEnd, this, [this] {
        fillClasses();
        showRecentChats();
        if (m_search->text().isEmpty())
            m_search->setText(QStringLiteral("wxm"));
        else
            search(m_search->text());
    });
    connect(tree, &QAbstractItemModel::layoutChanged, this, &PeoplePage::showRecentChats);
    connect(tree, &QAbstractItemModel::modelReset, this, &PeoplePage::showRecentChats);
    fillClasses();
    showRecentChats();
    // Something to look at straight away, when the tree is there already.
    if (tree->syncMask() == (ContactsTreeModel::ClusterSync | ContactsTreeModel::SchoolChartSync))
        m_search->setText(QStringLiteral("wxm"));
}

void PeoplePage::search(const QString &text)
{
    QElapsedTimer t;
    t.start();
    m_proxy->setSearchText(text);
    m_tree->collapseAll();
    for (const QModelIndex &idx : m_proxy->matchAncestors(200))
        m_tree->expand(idx);
    const double filterMs = double(t.nsecsElapsed()) / 1e6;
    const int matches = int(m_proxy->contactsSearch() ? m_proxy->contactsSearch()->matchedEntries().size() : 0);
    const int nodes = m_proxy->contactsSearch() ? m_proxy->contactsSearch()->entryCount() : 0;

    m_hits->clear();
    if (!text.trimmed().isEmpty() && m_proxy->contactsSearch()) {
        int lastGroup = -1;
        for (const auto &h : m_proxy->contactsSearch()->search(text, 60)) {
            if (int(h.group) != lastGroup) {
                auto *header = new QListWidgetItem(groupTitle(h.group));
                QFont f = header->font();
                f.setBold(true);
                header->setFont(f);
                header->setFlags(Qt::NoItemFlags);
                m_hits->addItem(header);
                lastGroup = int(h.group);
            }
            m_hits->addItem(QStringLiteral("   %1   · %2").arg(h.name, rankText(h.rank)));
        }
    }
    m_timing->setText(text.isEmpty() ? tr("%1 nodes in the tree").arg(nodes)
                                     : tr("%1 of %2 nodes match; filtered in %3 ms").arg(matches).arg(nodes).arg(filterMs, 0, 'f', 1));
}

void PeoplePage::fillClasses()
{
    m_classes->clear();
    for (const auto &c : ContactsEngine::instance()->getClusterInfos()) {
        if (c->id().type() == Class && c->schoolId() != 0) {
            m_classes->addItem(c->name(), QVariant::fromValue(c->id()));
            if (m_classes->count() >= 60)
                break;
        }
    }
}

void PeoplePage::setClassOpen(bool open)
{
    const ClusterID id = m_classes->currentData().value<ClusterID>();
    const auto cluster = ContactsEngine::instance()->getClusterInfo(id);
    if (!cluster)
        return;
    auto changed = std::make_shared<ClusterInfo>(*cluster);
    changed->setEveryoneCanJoin(open);
    ContactsEngine::instance()->updateClusters({changed});
    log(QStringLiteral("%1 is %2 for joining").arg(cluster->name(), open ? QStringLiteral("open") : QStringLiteral("closed")));
}

void PeoplePage::openJoinPanel(bool publicCourse)
{
    OrvSchoolService *service = DemoServices::schoolService();
    if (!DemoServices::webService() || !service) {
        log(QStringLiteral("the demo's web service is not running"));
        return;
    }
    const ClusterID id = m_classes->currentData().value<ClusterID>();
    const auto cluster = ContactsEngine::instance()->getClusterInfo(id);
    if (!cluster && !publicCourse) {
        log(QStringLiteral("no class in this world"));
        return;
    }
    const quint64 schoolId = cluster ? cluster->schoolId() : 1;
    const auto school = SchoolChartManager::instance()->findSchoolInfo(schoolId);
    service->addSchool(schoolId, school ? school->name() : QStringLiteral("School %1").arg(schoolId));
    OrvSchoolService::Course course;
    course.schoolId = schoolId;
    course.courseId = publicCourse ? kPublicCourseId : id.id();
    course.name = publicCourse ? QStringLiteral("公开课：二次函数的图像") : cluster->name();
    const auto owner = cluster ? ContactsEngine::instance()->getUserInfo(cluster->ownerUID()) : nullptr;
    course.teacherName = owner ? owner->displayName() : ContactsEngine::instance()->currentUser()->displayName();
    course.startTime = QDateTime::currentDateTime().addDays(1).toSecsSinceEpoch();
    course.minutes = publicCourse ? 60 : 45;
    course.snCode = publicCourse ? QStringLiteral("PUB88") : QStringLiteral("C%1").arg(id.id());
    service->addCourse(course);

    auto *dialog = new QDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(publicCourse ? tr("Invite to a public course") : tr("Invite to %1").arg(cluster->name()));
    auto *panel = new ClusterJoinWidget(schoolId, course.courseId, !publicCourse, publicCourse, 1, dialog, publicCourse, true);
    auto *layout = new QVBoxLayout(dialog);
    layout->addWidget(panel);
    connect(panel, &ClusterJoinWidget::signalAccept, dialog, [this, panel, dialog] {
        log(QStringLiteral("invited %1 people").arg(panel->getSelectedUsers().size()));
        dialog->accept();
    });
    connect(panel, &ClusterJoinWidget::signalReject, dialog, &QDialog::reject);
    dialog->resize(760, 600);
    dialog->show();
}

void PeoplePage::showRecentChats()
{
    m_recent->clear();
    ContactsTreeModel *tree = ContactsTreeModel::instance();
    std::vector<QModelIndex> headings;
    tree->indexByZoomType({}, Item::RecentZoom, headings);
    if (headings.empty())
        return;
    const QModelIndex recent = headings.front();
    for (int r = 0; r < std::min(8, tree->rowCount(recent)); ++r) {
        const QModelIndex idx = tree->index(r, 0, recent);
        const quint32 time = static_cast<Item *>(idx.internalPointer())->lastMsgTime();
        m_recent->addItem(QStringLiteral("%1   %2").arg(idx.data(ContactsTreeModel::NameRole).toString(),
                                                        QDateTime::fromSecsSinceEpoch(time).toString(QStringLiteral("MM-dd hh:mm:ss"))));
    }
}

void PeoplePage::log(const QString &line)
{
    m_log->appendPlainText(QTime::currentTime().toString(QStringLiteral("hh:mm:ss ")) + line);
}

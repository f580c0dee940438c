// SPDX-License-Identifier: LGPL-2.1-or-later
#include "BindInstallPlaceWidget.h"
#include "ContactsPinyin.h"
#include "KRecursiveFilterProxyModel.h"
#include "bridgedialogs.h"
#include "orvcommon_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvsettings.h"

#include "coreengine.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"

#include <QHeaderView>
#include <QHBoxLayout>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

// Name, full pinyin and initials in one text the filter's fixed-string match runs over.
QString searchKeysOf(const QString &name)
{
    const auto keys = ContactsPinyin::keys(name);
    QStringList parts{keys->folded, keys->compact, keys->full, keys->initials};
    if (!keys->altFull.isEmpty())
        parts << keys->altFull << keys->altInitials;
    return parts.join(QLatin1Char('\x1f'));
}

} // namespace

BindInstallPlaceWidget::BindInstallPlaceWidget(QWidget *parent)
    : QWidget(parent)
    , m_schools(new QStandardItemModel(this))
    , m_filter(new KRecursiveFilterProxyModel(this))
    , m_search(new QLineEdit)
    , m_view(new QTreeView)
    , m_current(new QLabel)
    , m_message(new QLabel)
    , m_bind(new QPushButton(OrvLang::text("ID_BindInstallPlace_Bind")))
{
    setObjectName(QStringLiteral("BindInstallPlaceWidget"));
    m_filter->setSourceModel(m_schools);
    m_filter->setFilterRole(SearchKeysRole);
    m_filter->setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_search->setObjectName(QStringLiteral("bindSearchEdit"));
    m_search->setPlaceholderText(OrvLang::text("ID_BindInstallPlace_Search"));
    m_search->setClearButtonEnabled(true);
    m_view->setObjectName(QStringLiteral("bindSchoolView"));
    m_view->setModel(m_filter);
    m_view->header()->hide();
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_current->setObjectName(QStringLiteral("bindCurrentLabel"));
    m_current->setWordWrap(true);
    m_message->setObjectName(QStringLiteral("bindMessageLabel"));
    m_message->setWordWrap(true);
    m_bind->setObjectName(QStringLiteral("bindBtn"));
    m_bind->setEnabled(false);

    auto *title = new QLabel(OrvLang::text("ID_BindInstallPlace_Title"));
    QFont f = title->font();
    f.setBold(true);
    f.setPointSizeF(f.pointSizeF() * 1.3);
    title->setFont(f);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_message, 1);
    buttons->addWidget(m_bind);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(m_current);
    layout->addWidget(m_search);
    layout->addWidget(m_view, 1);
    layout->addLayout(buttons);

    connect(m_search, &QLineEdit::textChanged, this, &BindInstallPlaceWidget::setSearchText);
    connect(m_view, &QTreeView::clicked, this, [this](const QModelIndex &index) {
        const quint64 id = index.data(SchoolIdRole).toULongLong();
        if (id)
            pickSchool(id);
    });
    connect(m_bind, &QPushButton::clicked, this, &BindInstallPlaceWidget::confirmBinding);
    connect(SchoolChartManager::instance(), &SchoolChartManager::syncComplete, this, &BindInstallPlaceWidget::reloadSchools);
    connect(OrgChartManager::instance(), &OrgChartManager::allOrgSyncComplete, this, &BindInstallPlaceWidget::reloadSchools);

    m_binding = loadBinding();
    if (m_binding.damaged)
        m_message->setText(OrvLang::text("ID_BindInstallPlace_SettingsDamaged"));
    showBinding();
    reloadSchools();
}

BindInstallPlaceWidget::Binding BindInstallPlaceWidget::loadBinding()
{
    Binding b;
    const QString raw = OrvSettings::instance()->value(QLatin1String(SettingsKey)).toString();
    if (raw.isEmpty())
        return b;
    QJsonParseError error{};
    const QJsonObject o = QJsonDocument::fromJson(raw.toUtf8(), &error).object();
    bool ok = false;
    const quint64 id = o.value(QStringLiteral("schoolId")).toString().toULongLong(&ok);
    if (error.error != QJsonParseError::NoError || !ok || id == 0) {
        qCWarning(lcAccount) << "the stored school binding cannot be read; shown as unbound";
        b.damaged = true;
        return b;
    }
    b.schoolId = id;
    b.schoolName = o.value(QStringLiteral("schoolName")).toString();
    b.boundAt = QDateTime::fromString(o.value(QStringLiteral("boundAt")).toString(), Qt::ISODate);
    return b;
}

void BindInstallPlaceWidget::showBinding()
{
    m_current->setText(m_binding.isBound()
                           ? OrvLang::format("ID_BindInstallPlace_BoundTo", {m_binding.schoolName})
                           : OrvLang::text("ID_BindInstallPlace_NotBound"));
}

void BindInstallPlaceWidget::reloadSchools()
{
    m_schools->clear();
    auto addGroup = [this](const QString &title) {
        auto *group = new QStandardItem(title);
        group->setSelectable(false);
        m_schools->appendRow(group);
        return group;
    };
    auto addSchool = [](QStandardItem *group, quint64 id, const QString &name) {
        auto *item = new QStandardItem(name);
        item->setData(id, SchoolIdRole);
        item->setData(searchKeysOf(name) + QLatin1Char('\x1f') + QString::number(id), SearchKeysRole);
        group->appendRow(item);
    };
    QStandardItem *schools = addGroup(OrvLang::text("ID_BindInstallPlace_Schools"));
    for (const auto &s : SchoolChartManager::instance()->getSchoolInfos()) {
        if (s)
            addSchool(schools, s->id(), s->name());
    }
    QStandardItem *orgs = addGroup(OrvLang::text("ID_BindInstallPlace_Organisations"));
    for (const auto &s : OrgChartManager::instance()->getSchoolInfos(false)) {
        if (s)
            addSchool(orgs, s->id(), s->name());
    }
    m_view->expandAll();
    if (m_pickedId && !pickSchool(m_pickedId)) {
        m_pickedId = 0;
        m_bind->setEnabled(false);
    }
}

void BindInstallPlaceWidget::setSearchText(const QString &text)
{
    // Groups never match by themselves; the filter keeps them above matching schools.
    m_filter->setFilterFixedString(text.simplified().remove(QLatin1Char(' ')));
    m_view->expandAll();
}

bool BindInstallPlaceWidget::pickSchool(quint64 schoolId)
{
    const QModelIndexList found = m_filter->match(m_filter->index(0, 0), SchoolIdRole, QVariant::fromValue(schoolId), 1,
                                                  Qt::MatchExactly | Qt::MatchRecursive);
    if (found.isEmpty())
        return false;
    m_view->setCurrentIndex(found.first());
    m_pickedId = schoolId;
    m_pickedName = found.first().data(Qt::DisplayRole).toString();
    m_bind->setEnabled(!m_waiting);
    return true;
}

bool BindInstallPlaceWidget::confirmBinding()
{
    if (!m_pickedId || m_waiting)
        return false;
    const int answer = BridgeDialogs::message(this, BridgeDialogs::messageBoxTitle(false),
                                              OrvLang::format("ID_BindInstallPlace_Confirm", {m_pickedName}),
                                              {OrvLang::text("ID_OK"), OrvLang::text("ID_Cancel")});
    if (answer != 0)
        return false;
    m_waiting = true;
    m_bind->setEnabled(false);
    m_message->setText(OrvLang::text("ID_Loading_Ellipsis"));
    const quint64 id = m_pickedId;
    const QString name = m_pickedName;
    OrvHttpManager::instance()->requestBindInstallPlace(
        id, name, OrvEngine::CoreEngine::instance()->macAddress(), this,
        [this, id, name](const QJsonValue &, int networkError, int errorNo, const QString &errorText) {
            onReply(id, name, networkError, errorNo, errorText);
        });
    return true;
}

void BindInstallPlaceWidget::onReply(quint64 schoolId, const QString &name, int networkError, int errorNo, const QString &errorText)
{
    m_waiting = false;
    m_bind->setEnabled(m_pickedId != 0);
    if (networkError != 0 || errorNo != OrvHttpManager::SuccessErrorNo) {
        qCWarning(lcAccount) << "binding to school" << schoolId << "refused: networkError" << networkError << "errorNo" << errorNo
                             << errorText;
        const QString text = errorText.isEmpty() ? OrvLang::text(OrvHttpManager::webProxyErrorToStringId(networkError, errorNo))
                                                 : errorText;
        m_message->setText(text);
        Q_EMIT bindFailed(text);
        return;
    }
    Binding next;
    next.schoolId = schoolId;
    next.schoolName = name;
    next.boundAt = QDateTime::currentDateTimeUtc();
    const QString stored = QString::fromUtf8(QJsonDocument(QJsonObject{
        {QStringLiteral("schoolId"), QString::number(schoolId)},
        {QStringLiteral("schoolName"), name},
        {QStringLiteral("boundAt"), next.boundAt.toString(Qt::ISODate)}}).toJson(QJsonDocument::Compact));
    OrvSettings::instance()->setValue(QLatin1String(SettingsKey), stored);
    OrvSettings::instance()->sync();
    m_binding = next;
    qCInfo(lcAccount) << "installation bound to school" << schoolId;
    m_message->setText(OrvLang::text("ID_BindInstallPlace_Bound"));
    showBinding();
    Q_EMIT bound(schoolId, name);
}

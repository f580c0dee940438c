// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsSelectView.h"
#include "ContactsSelectDelegate.h"
#include "ContactsSelectViewModel.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "cloudstyle.h"
#include "orvlang.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

using Item = ContactsTreeItem;

ContactsSelectView::ContactsSelectView(ContactsSelectViewModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_search(new QLineEdit)
    , m_treeStack(new QStackedWidget)
    , m_tree(new QTreeView)
    , m_noResult(new QLabel)
    , m_count(new QLabel)
    , m_pickedList(new QListWidget)
    , m_notice(new QLabel)
    , m_ok(new QPushButton(OrvLang::text("ID_OK")))
    , m_cancel(new QPushButton(OrvLang::text("ID_Cancel")))
{
    setObjectName(QStringLiteral("ContactsSelectView"));
    m_search->setObjectName(QStringLiteral("contactsSearchEdit"));
    m_search->setPlaceholderText(OrvLang::text("ID_ContactsSelect_Search"));
    m_search->setClearButtonEnabled(true);
    m_search->setMaxLength(256);

    m_tree->setObjectName(QStringLiteral("contactsSelectTree"));
    m_tree->setModel(model->proxyModel());
    m_tree->setItemDelegate(new ContactsSelectDelegate(model, m_tree));
    m_tree->header()->hide();
    m_tree->setMouseTracking(true);
    m_tree->setUniformRowHeights(false);
    m_tree->setIndentation(14);
    m_tree->setSelectionMode(QAbstractItemView::NoSelection);
    m_tree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_noResult->setObjectName(QStringLiteral("contactsNoResult"));
    m_noResult->setText(OrvLang::text("ID_ContactsSelect_NoResult"));
    m_noResult->setAlignment(Qt::AlignCenter);
    m_treeStack->addWidget(m_tree);
    m_treeStack->addWidget(m_noResult);

    m_count->setObjectName(QStringLiteral("contactsPickedCount"));
    m_pickedList->setObjectName(QStringLiteral("contactsPickedList"));
    m_pickedList->setSelectionMode(QAbstractItemView::NoSelection);
    m_notice->setObjectName(QStringLiteral("contactsNotice"));
    m_notice->setWordWrap(true);
    m_notice->setStyleSheet(QStringLiteral("color: #E53935;"));
    m_ok->setObjectName(QStringLiteral("contactsOkBtn"));
    m_cancel->setObjectName(QStringLiteral("contactsCancelBtn"));
    m_ok->setDefault(true);

    auto *left = new QVBoxLayout;
    left->addWidget(m_search);
    left->addWidget(m_treeStack, 1);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto *right = new QVBoxLayout;
    right->addWidget(m_count);
    right->addWidget(m_pickedList, 1);
    right->addWidget(m_notice);
    right->addLayout(buttons);
    auto *layout = new QHBoxLayout(this);
    layout->addLayout(left, 1);
    layout->addLayout(right, 1);

    connect(m_search, &QLineEdit::textChanged, this, &ContactsSelectView::onSearchTextChanged);
    connect(m_tree, &QTreeView::clicked, this, &ContactsSelectView::onClicked);
    connect(m_ok, &QPushButton::clicked, model, &ContactsSelectViewModel::okBtnClicked);
    connect(m_cancel, &QPushButton::clicked, model, &ContactsSelectViewModel::cancelBtnClicked);
    connect(model, &ContactsSelectViewModel::pickedChanged, this, &ContactsSelectView::refreshPicked);
    connect(model, &ContactsSelectViewModel::noticeChanged, m_notice, &QLabel::setText);
    connect(model->proxyModel(), &QAbstractItemModel::modelReset, this, &ContactsSelectView::expandDefault);
    connect(model->proxyModel(), &ContactsSortFilterModel::filterChanged, this, &ContactsSelectView::refreshResultState);
    connect(model, &ContactsSelectViewModel::emptyChagned, this, &ContactsSelectView::expandDefault);
    // Check boxes are painted from the tree's check states: repaint when those change.
    connect(model->treeModel(), &QAbstractItemModel::dataChanged, m_tree->viewport(), qOverload<>(&QWidget::update));

    setStyleSheet(CloudStyle::styleSheet(QStringLiteral("ContactsSelectView")));
    expandDefault();
    refreshPicked();
    resize(720, 520);
}

ContactsSelectView::~ContactsSelectView() = default;

void ContactsSelectView::expandDefault()
{
    if (!m_model->proxyModel()->searchText().isEmpty())
        return;
    m_tree->collapseAll();
    m_tree->expandToDepth(0);
}

void ContactsSelectView::onSearchTextChanged(const QString &text)
{
    m_model->setSearchText(text);
    if (m_model->proxyModel()->searchText().isEmpty()) {
        expandDefault();
    } else {
        // Only the ancestors of this search stay open: a heading left open from an earlier
        // search could hold thousands of rows to lay out on every keystroke.
        m_tree->collapseAll();
        for (const QModelIndex &idx : m_model->proxyModel()->matchAncestors(200))
            m_tree->expand(idx);
    }
    refreshResultState();
}

void ContactsSelectView::refreshResultState()
{
    const bool nothing = !m_model->proxyModel()->searchText().isEmpty() && m_model->proxyModel()->rowCount() == 0;
    m_treeStack->setCurrentWidget(nothing ? static_cast<QWidget *>(m_noResult) : m_tree);
}

void ContactsSelectView::onClicked(const QModelIndex &index)
{
    const int type = index.data(ContactsTreeModel::TypeRole).toInt();
    if (Item::isZoomType(type)) {
        m_tree->setExpanded(index, !m_tree->isExpanded(index));
        return;
    }
    m_model->toggle(index);
    m_tree->viewport()->update();
}

void ContactsSelectView::refreshPicked()
{
    m_pickedList->clear();
    const auto picked = m_model->picked();
    for (const auto &p : picked) {
        auto *row = new QWidget;
        auto *rowLayout = new QHBoxLayout(row);
        rowLayout->setContentsMargins(6, 2, 6, 2);
        auto *name = new QLabel(p.name);
        name->setObjectName(QStringLiteral("pickedName"));
        auto *remove = new QToolButton;
        remove->setObjectName(QStringLiteral("removePickedBtn"));
        remove->setText(QStringLiteral("✕"));
        remove->setToolTip(OrvLang::text("ID_ContactsSelect_Remove"));
        remove->setAutoRaise(true);
        const auto target = p.target;
        connect(remove, &QToolButton::clicked, this, [this, target] { m_model->unpick(target); });
        rowLayout->addWidget(name, 1);
        rowLayout->addWidget(remove);
        auto *item = new QListWidgetItem(m_pickedList);
        item->setSizeHint(QSize(0, 34));
        item->setData(Qt::UserRole, QVariant::fromValue(target));
        m_pickedList->setItemWidget(item, row);
    }
    m_count->setText(m_model->maxCount() > 0
                         ? OrvLang::format("ID_ContactsSelect_PickedOf", {QString::number(picked.size()), QString::number(m_model->maxCount())})
                         : OrvLang::format("ID_ContactsSelect_Picked", {QString::number(picked.size())}));
    m_ok->setEnabled(!picked.isEmpty());
    m_tree->viewport()->update();
}

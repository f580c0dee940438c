// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clustersecretwidget.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "orvsettings.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTextBrowser>
#include <QTimeZone>
#include <QVBoxLayout>

namespace {
const QString kLine = QStringLiteral("<font color=#808080>%1: </font><font color=#232323>%2</font>");
const QString kPlainLine = QStringLiteral("<font color=#999999>%1</font>");
} // namespace

ClusterSecretWidget::ClusterSecretWidget(int mode, bool isPublicCourse, QWidget *parent)
    : QWidget(parent)
    , m_mode(mode)
    , m_isPublic(isPublicCourse)
    , m_text(new QTextBrowser)
    , m_copy(new QPushButton(OrvLang::text("ID_copylink")))
{
    setObjectName(QStringLiteral("ClusterSecretWidget"));
    m_text->setObjectName(QStringLiteral("secretText"));
    m_text->setReadOnly(true);
    m_text->setOpenLinks(false);
    m_copy->setObjectName(QStringLiteral("copyLinkBtn"));
    m_copy->setEnabled(false);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_copy);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text, 1);
    layout->addLayout(buttons);
    connect(m_copy, &QPushButton::clicked, this, &ClusterSecretWidget::copyBtnSlot);
}

void ClusterSecretWidget::setLanguage(const QString &language)
{
    m_language = language;
    refresh();
}

QString ClusterSecretWidget::language() const
{
    if (!m_language.isEmpty())
        return m_language;
    return OrvSettings::instance()->value(QStringLiteral("Language"), QStringLiteral("zh")).toString();
}

QString ClusterSecretWidget::formatTime(const QDateTime &time, const QString &language)
{
    if (!time.isValid())
        return {};
    // Courses are scheduled in Beijing time, and the invitation says so.
    const QDateTime beijing = time.toTimeZone(QTimeZone(8 * 3600));
    const QString lang = language.toLower();
    const bool chinese = lang == QLatin1String("zh") || lang == QLatin1String("zh-tw");
    return beijing.toString(chinese ? QStringLiteral("yyyy/MM/dd hh:mm") : QStringLiteral("MM/dd/yyyy hh:mm"));
}

void ClusterSecretWidget::setInfo(const ClusterJoinInfo &info)
{
    m_info = info;
    refresh();
}

QList<QPair<QString, QString>> ClusterSecretWidget::lines() const
{
    // (label, value); an empty label is a sentence of its own.
    QList<QPair<QString, QString>> out;
    const QString link = m_info.link;
    if (m_isPublic) {
        out.append({QString(), OrvLang::format("ID_clustersecret_InvitesYouToJoinPublicCourse", {m_info.teacherName})});
        out.append({OrvLang::text("ID_clustersecret_Topic"), m_info.courseName});
        if (m_info.startTime.isValid())
            out.append({OrvLang::text("ID_clustersecret_Time"),
                        formatTime(m_info.startTime, language()) + QStringLiteral(" (") + OrvLang::text("ID_clustersecret_BeijingTime")
                            + QLatin1Char(')')});
        if (!m_info.snCode.isEmpty())
            out.append({OrvLang::text("ID_clustersecret_PublicClassID"), m_info.snCode});
        out.append({OrvLang::text("ID_clustersecret_Link"), link});
        out.append({QString(), OrvLang::text("ID_clustersecret_copyTojoinPublicCourse")});
    } else {
        out.append({QString(), OrvLang::format("ID_clustersecret_invitesyou", {m_info.teacherName})});
        out.append({OrvLang::text("ID_clustersecret_Class"), m_info.className.isEmpty() ? m_info.courseName : m_info.className});
        // The serial code when there is one, else the class's own number.
        if (!m_info.snCode.isEmpty())
            out.append({OrvLang::text("ID_clustersecret_ClassID"), m_info.snCode});
        else if (m_info.courseId)
            out.append({OrvLang::text("ID_clustersecret_ClassID1"), QString::number(m_info.courseId)});
        // Mode 2 invites to the playback: its link has a label of its own.
        out.append({OrvLang::text(m_mode == 2 ? "ID_clustersecret_Link1" : "ID_clustersecret_Link"), link});
        out.append({QString(), OrvLang::text("ID_clustersecret_ClickLink")});
        out.append({QString(), OrvLang::text("ID_clustersecret_copyTojoinClass")});
    }
    return out;
}

QString ClusterSecretWidget::html() const
{
    QStringList parts;
    for (const auto &line : lines()) {
        // Names come from servers and users: never markup.
        parts << (line.first.isEmpty() ? kPlainLine.arg(line.second.toHtmlEscaped())
                                       : kLine.arg(line.first.toHtmlEscaped(), line.second.toHtmlEscaped()));
    }
    return parts.join(QStringLiteral("<br>"));
}

QString ClusterSecretWidget::plainText() const
{
    QStringList parts;
    for (const auto &line : lines())
        parts << (line.first.isEmpty() ? line.second : line.first + QStringLiteral(": ") + line.second);
    return parts.join(QLatin1Char('\n'));
}

void ClusterSecretWidget::refresh()
{
    m_text->setHtml(html());
    m_copy->setEnabled(!m_info.link.isEmpty());
    m_copy->setText(OrvLang::text("ID_copylink"));
}

void ClusterSecretWidget::copyBtnSlot()
{
    if (m_info.link.isEmpty()) {
        qCInfo(lcJoin) << "nothing to copy yet: no join link";
        return;
    }
    QApplication::clipboard()->setText(plainText());
    m_copy->setText(OrvLang::text("ID_Copied"));
    Q_EMIT isButtonClicked();
}

void ClusterSecretWidget::onGoToOpenBtnChicked()
{
    Q_EMIT isButtonClicked();
}

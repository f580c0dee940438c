// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QDateTime>
#include <QWidget>

class KRecursiveFilterProxyModel;
class QLabel;
class QLineEdit;
class QPushButton;
class QStandardItemModel;
class QTreeView;

/**
 * Binding this installation to a school: search the schools and organisations of the charts
 * (by name, pinyin or initials), pick one, confirm; the binding is posted to the web service and,
 * once it was accepted, kept in the settings ("InstallPlaceBinding") and shown from then on,
 * also on the next start. A refused binding leaves the earlier one as it was.
 */
class BindInstallPlaceWidget : public QWidget
{
    Q_OBJECT
public:
    struct Binding
    {
        quint64 schoolId = 0;
        QString schoolName;
        QDateTime boundAt;
        bool damaged = false; ///< the stored entry could not be read
        bool isBound() const { return schoolId != 0; }
    };

    static constexpr const char *SettingsKey = "InstallPlaceBinding";
    /// Roles of the list of schools.
    enum Roles { SchoolIdRole = Qt::UserRole + 1, SearchKeysRole };

    explicit BindInstallPlaceWidget(QWidget *parent = nullptr);

    /// The stored binding, for a host at start-up.
    static Binding loadBinding();
    Binding binding() const { return m_binding; }

    /// Fills the list from the school and organisation charts again.
    void reloadSchools();
    void setSearchText(const QString &text);
    /// Picks the school with that id among those shown; false when it is not there.
    bool pickSchool(quint64 schoolId);
    quint64 pickedSchool() const { return m_pickedId; }
    /// Asks for confirmation, then posts the binding. False when nothing is picked or the user declined.
    bool confirmBinding();

    QLineEdit *searchEdit() const { return m_search; }
    QTreeView *schoolView() const { return m_view; }
    KRecursiveFilterProxyModel *filterModel() const { return m_filter; }
    QLabel *currentLabel() const { return m_current; }
    QLabel *messageLabel() const { return m_message; }
    QPushButton *bindButton() const { return m_bind; }
    bool isWaiting() const { return m_waiting; }

Q_SIGNALS:
    /// The web service accepted the binding and the settings hold it.
    void bound(quint64 schoolId, const QString &schoolName);
    void bindFailed(const QString &reason);

private:
    void showBinding();
    void onReply(quint64 schoolId, const QString &name, int networkError, int errorNo, const QString &errorText);

    Binding m_binding;
    QStandardItemModel *m_schools;
    KRecursiveFilterProxyModel *m_filter;
    QLineEdit *m_search;
    QTreeView *m_view;
    QLabel *m_current;
    QLabel *m_message;
    QPushButton *m_bind;
    quint64 m_pickedId = 0;
    QString m_pickedName;
    bool m_waiting = false;
};

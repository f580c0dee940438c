// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QTabWidget>

class OrvWebView;

/**
 * A cloud file picker: a tab widget whose tabs are cloud pages, each with a
 * CloudFileSelectWebBridge through which the page reports the files picked.
 */
class CloudFileSelectBaseWidget : public QTabWidget
{
    Q_OBJECT
public:
    explicit CloudFileSelectBaseWidget(QWidget *parent = nullptr);

    /**
     * A view with the current theme, showing address (a path on the web service) with
     * customQuery appended, its bridge published as bridgeName. The view's properties
     * "currentUrl" and "customQuery" keep what it was made for.
     */
    OrvWebView *createWebView(QWidget *parent, const QString &bridgeName, const QString &address,
                              const QString &customQuery = QString());

    /// The last parameters a page picked, JSON text.
    QString params() const { return m_params; }

Q_SIGNALS:
    void clickBtnOk(const QString &params);

public Q_SLOTS:
    void selectFile(const QString &params);

private:
    QString m_params;
};

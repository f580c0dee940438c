// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QTabWidget>

class OrvWebView;

/// A cloud folder picker: tabs of cloud pages that report the folder chosen or a cancel.
class CloudFolderSelectBaseWidget : public QTabWidget
{
    Q_OBJECT
public:
    static constexpr int FrameWidth = 640;
    static constexpr int FrameHeight = 520;

    explicit CloudFolderSelectBaseWidget(QWidget *parent = nullptr);

    /// A view with the current theme showing address, with a CloudFolderSelectWebBridge published
    /// as bridgeName; its property "currentUrl" keeps the address.
    OrvWebView *createWebView(QWidget *parent, const QString &bridgeName, const QString &address);

    qint64 folderId() const { return m_folderId; }

Q_SIGNALS:
    void signalOk();
    void signalCancel();

public Q_SLOTS:
    void selectFolder(qint64 id);
    void cancel();

protected:
    /// A page chose categories ("[11,12]"); only pickers that save to categories take them.
    virtual void onSelectedCategoryIds(const QString &categoryIds);

private:
    qint64 m_folderId = -1;
};

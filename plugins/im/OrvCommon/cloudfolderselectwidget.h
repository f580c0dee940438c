// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cloudfolderselectbasewidget.h"

class OrvWebView;

/**
 * Picks where to save: a cloud folder, or the categories of the question bank for a question or
 * a paper shared by shareId.
 */
class CloudFolderSelectWidget : public CloudFolderSelectBaseWidget
{
    Q_OBJECT
public:
    enum FolderType {
        CloudFolder = 0,  ///< a cloud disk folder
        SaveQuestion = 1, ///< categories for a question
        SavePaper = 2,    ///< categories for a paper
    };
    Q_ENUM(FolderType)

    /// Settings key: true shows the older picker page ("nativeBridge") for cloud folders.
    static constexpr const char *NativeFolderPageKey = "CloudFolderPickerNativePage";

    CloudFolderSelectWidget(FolderType type, QWidget *parent = nullptr, quint64 shareId = 0);

    FolderType folderType() const { return m_type; }
    OrvWebView *webView() const { return m_view; }

    /// The page address and the bridge name for a folder type.
    static QString address(FolderType type, quint64 shareId, QString *bridgeName);

    QString getSelectedCategoryIds() const { return m_categoryIds; }
    /// Stores the ids ("[11,12]") and confirms the dialog (signalOk).
    void setSelectedCategoryIds(const QString &categoryIds);

protected:
    void onSelectedCategoryIds(const QString &categoryIds) override;

private:
    FolderType m_type;
    OrvWebView *m_view = nullptr;
    QString m_categoryIds;
};

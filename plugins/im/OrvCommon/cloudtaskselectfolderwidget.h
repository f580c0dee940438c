// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cloudfolderselectbasewidget.h"

class OrvWebView;

/// Picks the cloud folder of a homework task's resources.
class CloudTaskSelectFolderWidget : public CloudFolderSelectBaseWidget
{
    Q_OBJECT
public:
    static constexpr const char *Address = "/client/cloud/folder/im";

    explicit CloudTaskSelectFolderWidget(QWidget *parent = nullptr);

    OrvWebView *webView() const { return m_view; }

private:
    OrvWebView *m_view = nullptr;
};

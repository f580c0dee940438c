// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cloudfileselectbasewidget.h"

class OrvWebView;

/// The one-page file picker: the cloud courseware page, published as "cloudDisk", no tab bar.
class CloudFileSelectWidget : public CloudFileSelectBaseWidget
{
    Q_OBJECT
public:
    static constexpr const char *Address = "/client/cloud/file/im";

    /// customQuery is appended to the page's address ("type=courseware&onlyImg=1", ...).
    explicit CloudFileSelectWidget(QWidget *parent = nullptr, const QString &customQuery = QString());

    OrvWebView *webView() const { return m_view; }

private:
    OrvWebView *m_view = nullptr;
};

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebbridge.h"

#include "orvweb_logging.h"
#include "orvwebview.h"
#include "qcefwebpage.h"

OrvWebBridge::OrvWebBridge(OrvWebView *view, QObject *parent)
    : QObject(parent)
    , m_view(view)
{
}

OrvWebBridge::~OrvWebBridge() = default;

void OrvWebBridge::runJavaScript(const QString &script) const
{
    if (!m_view) {
        qCInfo(lcOrvWeb) << "no view for" << metaObject()->className() << "- script lost:" << script.left(80);
        return;
    }
    m_view->webPage()->runJavaScript(script);
}

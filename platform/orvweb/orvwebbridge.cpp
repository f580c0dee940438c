// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvwebbridge.h"

#include "orvweb_logging.h"
#include "orvwebview.h"
#include "qcefwebpage.h"

#include <QHash>
#include <map>

namespace {

// Which bridge took which key, oldest first by serial. Everything here runs on the GUI thread.
struct CallbackKeys
{
    struct Claim
    {
        OrvWebBridge *bridge = nullptr;
        quint64 serial = 0;
    };
    QHash<QString, Claim> claims;
    std::map<quint64, QString> order;
    quint64 nextSerial = 1;

    void claim(const QString &key, OrvWebBridge *bridge)
    {
        auto it = claims.find(key);
        if (it != claims.end())
            order.erase(it->serial);
        const quint64 serial = nextSerial++;
        claims.insert(key, {bridge, serial});
        order.emplace(serial, key);
        while (int(order.size()) > OrvWebBridge::MaxCallbackKeys) {
            claims.remove(order.begin()->second);
            order.erase(order.begin());
        }
    }

    void forget(const OrvWebBridge *bridge)
    {
        for (auto it = claims.begin(); it != claims.end();) {
            if (it->bridge == bridge) {
                order.erase(it->serial);
                it = claims.erase(it);
            } else {
                ++it;
            }
        }
    }
};

CallbackKeys &callbackKeys()
{
    static CallbackKeys keys;
    return keys;
}

} // namespace

OrvWebBridge::OrvWebBridge(OrvWebView *view, QObject *parent)
    : QObject(parent)
    , m_view(view)
{
    // Keys belong to the document that handed them out.
    if (view)
        connect(view, &OrvWebView::documentChanged, this, &OrvWebBridge::forgetCallbackKeys);
}

OrvWebBridge::~OrvWebBridge()
{
    forgetCallbackKeys();
}

void OrvWebBridge::runJavaScript(const WebCallbackScript &script) const
{
    if (!m_view) {
        qCInfo(lcOrvWeb) << "no view for" << metaObject()->className() << "- script lost:" << script.toString().left(80);
        return;
    }
    m_view->webPage()->runJavaScript(script);
}

OrvWebBridge *OrvWebBridge::callbackKeyOwner(const QString &cbKey)
{
    return callbackKeys().claims.value(cbKey).bridge;
}

bool OrvWebBridge::answerCallbackKey(const QString &cbKey, const QString &payload)
{
    OrvWebBridge *owner = callbackKeyOwner(cbKey);
    if (!owner) {
        qCInfo(lcOrvWeb) << "no page handed out the key" << cbKey.left(80) << "- answer dropped";
        return false;
    }
    owner->runJavaScript(WebCallbackScript::line(cbKey, payload));
    return true;
}

void OrvWebBridge::acceptCallbackKey(const QString &cbKey)
{
    if (!cbKey.isEmpty())
        callbackKeys().claim(cbKey, this);
}

void OrvWebBridge::forgetCallbackKeys()
{
    callbackKeys().forget(this);
}

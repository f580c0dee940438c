// SPDX-License-Identifier: LGPL-2.1-or-later
// Uses the installed headers and libraries: a world in the engines, the contacts tree, a pinyin
// search through the proxy, a QR code and a share sent to a chat. Prints "host ok" and exits 0.
#include <ContactsSortFilterModel.h>
#include <ContactsTreeModel.h>
#include <ShareToChatTool.h>
#include <chatengine.h>
#include <chatmsgstore.h>
#include <orvlang.h>
#include <qrcodeimage.h>
#include <worldloader.h>

#include <QApplication>
#include <QJsonDocument>
#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const char *world = R"({"self": 1, "users": [{"uid": 1, "nickname": "Me"}, {"uid": 2, "nickname": "张伟"}],
                            "friends": [{"uid": 2}]})";
    WorldLoader loader;
    if (!loader.load(QJsonDocument::fromJson(world).object())) {
        std::fprintf(stderr, "world: %s\n", qPrintable(loader.error()));
        return 1;
    }
    ContactsTreeModel *tree = ContactsTreeModel::instance();
    QCoreApplication::processEvents();
    WorldLoader::finishSync();
    ContactsSortFilterModel proxy;
    proxy.setSourceModel(tree);
    proxy.setSearchText(QStringLiteral("zw"));
    if (proxy.rowCount() != 1) {
        std::fprintf(stderr, "search zw: %d rows\n", proxy.rowCount());
        return 2;
    }
    if (QRCodeImage::encode(QStringLiteral("https://example.org/join/1")).isNull())
        return 3;
    ShareToChatTool::instance()->setPicksTargets(false);
    ShareToChatTool::instance()->shareText(OrvLang::text("ID_Hello"));
    if (ShareToChatTool::instance()->sendShare(ShareToChatTool::instance()->lastShare(), {OrvEngine::ClusterID(2, OrvEngine::User)}) != 1
        || OrvEngine::ChatEngine::instance()->messageStore()->count(OrvEngine::ClusterID(2, OrvEngine::User)) != 1)
        return 4;
    std::printf("host ok\n");
    return 0;
}

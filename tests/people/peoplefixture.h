// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ContactsTreeModel.h"
#include "worldloader.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTest>

// Friends with polyphonic surnames (曾, 单), a remark (单田芳 shown as 老单), an alias (李娜 shown as
// Lina), a mixed-script name, and the same 张伟 as friend and school staff; class 301 of school 900.
inline const char *kPeopleWorld = R"({
  "self": 1,
  "users": [
    {"uid": 1, "nickname": "Me"},
    {"uid": 2, "nickname": "张伟"},
    {"uid": 3, "nickname": "曾国藩"},
    {"uid": 4, "nickname": "单田芳", "remark": "老单"},
    {"uid": 5, "nickname": "Anna 王丽"},
    {"uid": 6, "nickname": "李娜"},
    {"uid": 7, "nickname": "吕小布"},
    {"uid": 8, "nickname": "赵敏"},
    {"uid": 9, "nickname": "Zoe Closed", "valid": false},
    {"uid": 50, "nickname": "学生甲"},
    {"uid": 51, "nickname": "Student B"}
  ],
  "friends": [
    {"uid": 2}, {"uid": 3}, {"uid": 4}, {"uid": 5}, {"uid": 6, "alias": "Lina"}, {"uid": 7}, {"uid": 9}
  ],
  "clusters": [
    {"id": 100, "type": "group", "name": "数学组", "schoolId": 901},
    {"id": 301, "type": "class", "name": "三年级二班", "schoolId": 900, "courseType": 7, "owner": 2, "everyoneCanJoin": true, "members": [
      {"uid": 1, "lessonIdentity": "teacher"},
      {"uid": 50},
      {"uid": 51, "nickname": "小明"}
    ]}
  ],
  "sessions": [
    {"id": 2, "type": "user", "msgTime": 100},
    {"id": 100, "type": "group", "msgTime": 300},
    {"id": 3, "type": "user", "msgTime": 200}
  ],
  "schools": [
    {"id": 900, "name": "第一中学", "serviceType": 1, "departments": [
      {"id": 20, "name": "教务处", "order": 1, "employees": [{"uid": 2, "name": "张伟"}, {"uid": 8, "name": "赵敏"}]}
    ]}
  ]
})";

class PeopleFixture
{
public:
    static void resetAll()
    {
        ContactsTreeModel::release();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        WorldLoader::clearEngines();
    }

    /// Loads the world, builds the tree and lets the engines report their first sync.
    static ContactsTreeModel *load(const char *json = kPeopleWorld)
    {
        resetAll();
        WorldLoader loader;
        if (!loader.load(QJsonDocument::fromJson(json).object()))
            return nullptr;
        ContactsTreeModel *model = ContactsTreeModel::instance();
        QCoreApplication::processEvents();
        WorldLoader::finishSync();
        QCoreApplication::processEvents();
        return model;
    }
};

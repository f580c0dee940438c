// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ContactsTreeModel.h"
#include "worldloader.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QTest>
#include <memory>

// A small world: the signed-in user 1 teaches class 101 of school 900; person 2 (张伟) is at once
// a friend, school staff and company staff; 5 has an alias; 6's account is closed.
inline const char *kSmallWorld = R"({
  "self": 1,
  "users": [
    {"uid": 1, "nickname": "Me"},
    {"uid": 2, "nickname": "张伟"},
    {"uid": 3, "nickname": "Anna Smith"},
    {"uid": 4, "nickname": "李娜"},
    {"uid": 5, "nickname": "Ben Brown"},
    {"uid": 6, "nickname": "王芳", "valid": false},
    {"uid": 7, "nickname": "Zoe Stranger"},
    {"uid": 8, "nickname": "赵敏"},
    {"uid": 9, "nickname": "Carl"},
    {"uid": 50, "nickname": "学生甲"},
    {"uid": 51, "nickname": "Student B"}
  ],
  "friends": [
    {"uid": 2}, {"uid": 3}, {"uid": 4}, {"uid": 5, "alias": "Benny"}, {"uid": 6}
  ],
  "clusters": [
    {"id": 100, "type": "group", "name": "数学组", "schoolId": 901},
    {"id": 101, "type": "class", "name": "三年级二班", "schoolId": 900, "courseType": 7, "members": [
      {"uid": 1, "lessonIdentity": "teacher"},
      {"uid": 50},
      {"uid": 51, "nickname": "小明"},
      {"uid": 52, "nickname": "Gone", "status": "left"}
    ]},
    {"id": 102, "type": "class", "name": "Physics", "schoolId": 900},
    {"id": 103, "type": "class", "name": "Student only", "schoolId": 900, "courseType": 7, "members": [
      {"uid": 1, "lessonIdentity": "student"}, {"uid": 50}
    ]},
    {"id": 104, "type": "unlisted", "name": "hidden"},
    {"id": 105, "type": "assistant", "name": "Helper"}
  ],
  "sessions": [
    {"id": 2, "type": "user", "msgTime": 100},
    {"id": 100, "type": "group", "msgTime": 300},
    {"id": 3, "type": "user", "msgTime": 200},
    {"id": 105, "type": "assistant", "msgTime": 400},
    {"id": 104, "type": "unlisted", "msgTime": 500},
    {"id": 5, "type": "user", "msgTime": 50}
  ],
  "courses": [
    {"id": 200, "schoolId": 900, "name": "Algebra", "kind": 1, "lessons": [{"id": 1, "first": true}]},
    {"id": 201, "schoolId": 900, "name": "Open class", "kind": 3, "lessons": [{"id": 2, "first": true}]},
    {"id": 202, "schoolId": 900, "name": "Mystery", "kind": 1, "lessons": [{"id": 3, "state": 1}]},
    {"id": 102, "schoolId": 900, "name": "Physics course", "kind": 1, "lessons": [{"id": 4, "first": true}]}
  ],
  "schools": [
    {"id": 900, "name": "第一中学", "serviceType": 1, "departments": [
      {"id": 2, "name": "教务处", "order": 2, "employees": [{"uid": 2, "name": "张伟"}, {"uid": 8, "name": "赵敏"}],
       "departments": [{"id": 4, "name": "Sub office", "order": 1, "employees": [{"uid": 9, "name": "Carl"}]}]},
      {"id": 3, "name": "Admissions", "order": 1, "employees": [{"uid": 3, "name": "Anna Smith"}]}
    ]},
    {"id": 901, "name": "Hidden school", "serviceType": 2, "member": false}
  ],
  "companies": [
    {"id": 700, "name": "Acme 公司", "departments": [
      {"id": 10, "name": "Sales", "order": 1, "employees": [{"uid": 2, "name": "张伟"}, {"uid": 1, "name": "Me"}]},
      {"id": 11, "name": "R&D", "order": 2, "employees": [{"uid": 9, "name": "Carl"}]}
    ]}
  ],
  "unreadNotices": 2
})";

class ContactsFixture
{
public:
    static void resetAll()
    {
        ContactsTreeModel::release();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        WorldLoader::clearEngines();
    }

    static bool load(const char *json = kSmallWorld)
    {
        WorldLoader loader;
        return loader.load(QJsonDocument::fromJson(json).object());
    }

    // Builds the model with a tester attached before any content arrives, then runs the queued init.
    ContactsTreeModel *create()
    {
        model = ContactsTreeModel::instance();
        tester = std::make_unique<QAbstractItemModelTester>(model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QCoreApplication::processEvents();
        return model;
    }

    QModelIndex heading(ContactsTreeItem::ItemType type) const
    {
        for (int r = 0; r < model->rowCount(); ++r) {
            const QModelIndex idx = model->index(r, 0);
            if (idx.data(ContactsTreeModel::TypeRole).toInt() == type)
                return idx;
        }
        return {};
    }

    ~ContactsFixture()
    {
        tester.reset();
        resetAll();
    }

    ContactsTreeModel *model = nullptr;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

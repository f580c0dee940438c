// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>
#include <QWidget>
#include <functional>
#include <vector>

/// A page of the gallery. Pages register themselves with a static DemoPageRegistrar.
struct DemoPageInfo {
    QString id;       ///< for --page
    QString title;    ///< shown in the page list
    int order;        ///< position in the list
    std::function<QWidget *(QWidget *parent)> create;
};

class DemoPages
{
public:
    static std::vector<DemoPageInfo> &all();
};

struct DemoPageRegistrar {
    DemoPageRegistrar(const QString &id, const QString &title, int order, std::function<QWidget *(QWidget *)> create)
    {
        DemoPages::all().push_back({id, title, order, std::move(create)});
    }
};

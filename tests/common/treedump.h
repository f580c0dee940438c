// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QAbstractItemModel>
#include <QStringList>

// Turns a subtree into one line, "type:name[child child]", so a failing QCOMPARE shows a readable diff.
inline QString dumpTree(const QAbstractItemModel *model, const QModelIndex &parent = QModelIndex(), int depth = 99)
{
    QStringList parts;
    for (int r = 0; r < model->rowCount(parent); ++r) {
        const QModelIndex idx = model->index(r, 0, parent);
        QString s = QStringLiteral("%1:%2").arg(idx.data(258).toInt()).arg(idx.data(260).toString());
        if (depth > 1 && model->rowCount(idx) > 0)
            s += QLatin1Char('[') + dumpTree(model, idx, depth - 1) + QLatin1Char(']');
        parts << s;
    }
    return parts.join(QLatin1Char(' '));
}

// Names of the children of parent, in order.
inline QStringList childNames(const QAbstractItemModel *model, const QModelIndex &parent)
{
    QStringList out;
    for (int r = 0; r < model->rowCount(parent); ++r)
        out << model->index(r, 0, parent).data(260).toString();
    return out;
}

inline QList<int> childTypes(const QAbstractItemModel *model, const QModelIndex &parent)
{
    QList<int> out;
    for (int r = 0; r < model->rowCount(parent); ++r)
        out << model->index(r, 0, parent).data(258).toInt();
    return out;
}

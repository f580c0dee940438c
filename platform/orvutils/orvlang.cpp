#include "orvlang.h"
#include "orvutils_logging.h"

#include <QFile>
#include <QVector>
#include <QJsonDocument>
#include <QJsonObject>

QHash<QString, QString> &OrvLang::table()
{
    static QHash<QString, QString> t;
    return t;
}

QString OrvLang::text(const QString &id)
{
    const auto &t = table();
    const auto it = t.constFind(id);
    return it == t.constEnd() ? id : it.value();
}

bool OrvLang::loadTable(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvUtils) << "cannot open translation table" << path << file.errorString();
        return false;
    }
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        qCWarning(lcOrvUtils) << "translation table" << path << "is not a JSON object:" << error.errorString();
        return false;
    }
    const QJsonObject obj = doc.object();
    for (auto it = obj.begin(); it != obj.end(); ++it) {
        if (!it.value().isString()) {
            qCWarning(lcOrvUtils) << "translation table" << path << "entry" << it.key() << "is not a string";
            return false;
        }
    }
    for (auto it = obj.begin(); it != obj.end(); ++it)
        table().insert(it.key(), it.value().toString());
    return true;
}

void OrvLang::insert(const QString &id, const QString &text)
{
    table().insert(id, text);
}

void OrvLang::clear()
{
    table().clear();
}

int OrvLang::size()
{
    return table().size();
}

QString OrvLang::format(const char *id, const QStringList &args)
{
    // One pass, so a value that itself holds "%2" is never filled in again.
    const QString t = text(id);
    QString out;
    out.reserve(t.size() + 16 * args.size());
    QVector<bool> used(args.size(), false);
    for (int i = 0; i < t.size(); ++i) {
        if (t.at(i) == QLatin1Char('%') && i + 1 < t.size() && t.at(i + 1).isDigit()) {
            const int n = t.at(i + 1).digitValue();
            if (n >= 1 && n <= args.size()) {
                out += args.at(n - 1);
                used[n - 1] = true;
                ++i;
                continue;
            }
        }
        out += t.at(i);
    }
    for (int i = 0; i < args.size(); ++i) {
        if (!used[i])
            out += QLatin1Char(' ') + args.at(i);
    }
    return out;
}

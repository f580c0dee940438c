// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvfilenames.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

bool isRefusedChar(QChar c)
{
    const ushort u = c.unicode();
    if (u < 0x20 || u == 0x7f)
        return true;
    switch (u) {
    case '<': case '>': case ':': case '"': case '|': case '?': case '*':
        return true;
    default:
        return false;
    }
}

bool isDeviceName(const QString &name)
{
    static const QRegularExpression device(QStringLiteral("^(con|prn|aux|nul|com[0-9]|lpt[0-9])$"),
                                           QRegularExpression::CaseInsensitiveOption);
    const int dot = name.indexOf(QLatin1Char('.'));
    return device.match(dot < 0 ? name : name.left(dot).trimmed()).hasMatch();
}

// The longest start of text whose UTF-8 form fits, cut between whole characters (never half a
// surrogate pair). One pass: names from pages and servers can be megabytes long.
QString chopToBytes(QString text, int maxBytes)
{
    int bytes = 0;
    int end = 0;
    while (end < text.size()) {
        const ushort u = text.at(end).unicode();
        int units = 1;
        int size = 3;
        if (u < 0x80) {
            size = 1;
        } else if (u < 0x800) {
            size = 2;
        } else if (QChar::isHighSurrogate(u) && end + 1 < text.size() && text.at(end + 1).isLowSurrogate()) {
            units = 2;
            size = 4;
        } else if (QChar::isSurrogate(u)) {
            size = 1; // a lone half is written as '?'
        }
        if (bytes + size > maxBytes)
            break;
        bytes += size;
        end += units;
    }
    text.truncate(end);
    return text;
}

int suffixDot(const QString &fileName)
{
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    // A name that is all suffix (".profile") has none.
    return dot > 0 ? dot : -1;
}

QString trimmedName(QString name)
{
    int start = 0;
    while (start < name.size() && (name.at(start) == QLatin1Char('.') || name.at(start).isSpace()))
        ++start;
    int end = name.size();
    while (end > start && (name.at(end - 1) == QLatin1Char('.') || name.at(end - 1).isSpace()))
        --end;
    return name.mid(start, end - start);
}

} // namespace

QString OrvFileNames::plainFileName(const QString &name)
{
    QString last = name;
    last.replace(QLatin1Char('\\'), QLatin1Char('/'));
    last = last.mid(last.lastIndexOf(QLatin1Char('/')) + 1);

    for (QChar &c : last) {
        if (isRefusedChar(c))
            c = QLatin1Char('_');
    }
    last = trimmedName(last);
    if (last.isEmpty())
        return QString();
    if (isDeviceName(last))
        last.prepend(QLatin1Char('_'));

    if (last.toUtf8().size() > MaxNameBytes) {
        const int dot = suffixDot(last);
        const QString suffix = dot < 0 ? QString() : last.mid(dot);
        // A suffix longer than a third of the room is not worth keeping.
        if (!suffix.isEmpty() && suffix.toUtf8().size() <= MaxNameBytes / 3)
            last = chopToBytes(last.left(dot), MaxNameBytes - suffix.toUtf8().size()) + suffix;
        else
            last = chopToBytes(last, MaxNameBytes);
        last = trimmedName(last);
    }
    return last;
}

QString OrvFileNames::numberedFileName(const QString &fileName, int number)
{
    const QString tag = QStringLiteral("(%1)").arg(number);
    const int dot = suffixDot(fileName);
    if (dot < 0)
        return fileName + tag;
    return fileName.left(dot) + tag + fileName.mid(dot);
}

QString OrvFileNames::uniqueFilePath(const QString &folder, const QString &fileName, const QSet<QString> &taken)
{
    const QDir dir(QDir(folder).absolutePath());
    for (int n = 0; n <= MaxNumber; ++n) {
        const QString candidate = dir.absoluteFilePath(n == 0 ? fileName : numberedFileName(fileName, n));
        if (!pathExists(candidate) && !taken.contains(candidate))
            return candidate;
    }
    return QString();
}

bool OrvFileNames::pathExists(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

bool OrvFileNames::isDirectlyInside(const QString &folder, const QString &path)
{
    const QString dir = QDir::cleanPath(QDir(folder).absolutePath());
    const QFileInfo entry(QDir::cleanPath(QDir(dir).absoluteFilePath(path)));
    return QDir::cleanPath(entry.absolutePath()) == dir && !entry.fileName().isEmpty()
        && entry.fileName() != QLatin1String("..") && entry.fileName() != QLatin1String(".");
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamImageInfo.h"

#include <QUrl>

namespace {

bool setError(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

} // namespace

QJsonObject ImageInfo::toJson() const
{
    return QJsonObject{{QStringLiteral("imageKey"), imageKey}, {QStringLiteral("imgUrl"), imgUrl},
                       {QStringLiteral("index"), index},       {QStringLiteral("status"), status},
                       {QStringLiteral("longTerm"), longTerm}};
}

bool ImageInfo::fromJson(const QJsonObject &object, ImageInfo *out, QString *error)
{
    ImageInfo info;
    const QJsonValue key = object.value(QStringLiteral("imageKey"));
    if (!key.isString() || key.toString().isEmpty())
        return setError(error, QStringLiteral("imageKey: expected a non-empty text"));
    info.imageKey = key.toString();
    const QJsonValue url = object.value(QStringLiteral("imgUrl"));
    if (!url.isUndefined() && !url.isNull() && !url.isString())
        return setError(error, QStringLiteral("imgUrl: expected a text"));
    info.imgUrl = url.toString();
    for (const char *name : {"index", "status"}) {
        const QJsonValue v = object.value(QLatin1String(name));
        if (v.isUndefined())
            continue;
        if (!v.isDouble() || v.toDouble() != double(v.toInt()) || v.toInt() < 0)
            return setError(error, QStringLiteral("%1: expected a non-negative integer").arg(QLatin1String(name)));
        (qstrcmp(name, "index") == 0 ? info.index : info.status) = v.toInt();
    }
    const QJsonValue longTerm = object.value(QStringLiteral("longTerm"));
    if (!longTerm.isUndefined() && !longTerm.isBool())
        return setError(error, QStringLiteral("longTerm: expected true or false"));
    info.longTerm = longTerm.toBool();
    *out = info;
    return true;
}

QString ImageInfo::localPath() const
{
    if (imgUrl.startsWith(QLatin1String("file:")))
        return QUrl(imgUrl).toLocalFile();
    const QUrl url(imgUrl);
    // Web addresses are not local files; "C:/x.jpg" parses with a one-letter scheme.
    if (url.isValid() && url.scheme().size() > 1)
        return QString();
    return imgUrl;
}

QJsonObject CommitExamEditImgsInfo::toJson() const
{
    QJsonArray questions;
    for (const QuestionImages &question : questionList) {
        QJsonArray images;
        for (const ImageInfo &image : question.imgList)
            images.append(image.toJson());
        questions.append(QJsonObject{{QStringLiteral("questionId"), question.questionId}, {QStringLiteral("imgList"), images}});
    }
    return QJsonObject{{QStringLiteral("examId"), examId}, {QStringLiteral("questionList"), questions}};
}

bool CommitExamEditImgsInfo::fromJson(const QJsonObject &object, CommitExamEditImgsInfo *out, QString *error)
{
    CommitExamEditImgsInfo info;
    const QJsonValue examId = object.value(QStringLiteral("examId"));
    if (!examId.isString() || examId.toString().isEmpty())
        return setError(error, QStringLiteral("examId: expected a non-empty text"));
    info.examId = examId.toString();
    const QJsonValue questions = object.value(QStringLiteral("questionList"));
    if (!questions.isUndefined() && !questions.isArray())
        return setError(error, QStringLiteral("questionList: expected an array"));
    const QJsonArray list = questions.toArray();
    for (int q = 0; q < list.size(); ++q) {
        const QString where = QStringLiteral("questionList[%1]").arg(q);
        if (!list.at(q).isObject())
            return setError(error, where + QStringLiteral(": expected an object"));
        const QJsonObject question = list.at(q).toObject();
        QuestionImages entry;
        const QJsonValue id = question.value(QStringLiteral("questionId"));
        if (!id.isString() || id.toString().isEmpty())
            return setError(error, where + QStringLiteral(".questionId: expected a non-empty text"));
        entry.questionId = id.toString();
        if (info.questionIndex(entry.questionId) >= 0)
            return setError(error, where + QStringLiteral(".questionId: listed twice"));
        const QJsonValue images = question.value(QStringLiteral("imgList"));
        if (!images.isUndefined() && !images.isArray())
            return setError(error, where + QStringLiteral(".imgList: expected an array"));
        const QJsonArray imageList = images.toArray();
        for (int i = 0; i < imageList.size(); ++i) {
            ImageInfo image;
            QString why;
            if (!imageList.at(i).isObject() || !ImageInfo::fromJson(imageList.at(i).toObject(), &image, &why))
                return setError(error, QStringLiteral("%1.imgList[%2]%3").arg(where).arg(i).arg(why.isEmpty() ? QStringLiteral(": expected an object")
                                                                                                               : QStringLiteral(".") + why));
            for (const ImageInfo &other : qAsConst(entry.imgList)) {
                if (other.imageKey == image.imageKey)
                    return setError(error, QStringLiteral("%1.imgList[%2].imageKey: listed twice").arg(where).arg(i));
            }
            entry.imgList.append(image);
        }
        info.questionList.append(entry);
    }
    *out = info;
    return true;
}

int CommitExamEditImgsInfo::questionIndex(const QString &questionId) const
{
    for (int q = 0; q < questionList.size(); ++q) {
        if (questionList.at(q).questionId == questionId)
            return q;
    }
    return -1;
}

int CommitExamEditImgsInfo::imageIndex(int questionIndex, const QString &imageKey) const
{
    if (questionIndex < 0 || questionIndex >= questionList.size())
        return -1;
    const QVector<ImageInfo> &images = questionList.at(questionIndex).imgList;
    for (int i = 0; i < images.size(); ++i) {
        if (images.at(i).imageKey == imageKey)
            return i;
    }
    return -1;
}

// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QMetaType>
#include <QString>
#include <QVector>

/// One image of an exam answer, as the exam page knows it.
struct ImageInfo
{
    /// Upload states ("status").
    enum Status { StatusNew = 0, StatusUploading = 1, StatusUploaded = 2, StatusFailed = 3 };

    QString imageKey; ///< the page's key of the image
    QString imgUrl;   ///< the address once uploaded, the local path (or file: URL) before
    int index = 0;    ///< position in its question
    int status = StatusNew;
    bool longTerm = false;

    QJsonObject toJson() const;
    /// False (and *error says which field) when a field has the wrong type or "imageKey" is missing.
    static bool fromJson(const QJsonObject &object, ImageInfo *out, QString *error = nullptr);
    /// The local file of imgUrl (a path or a file: URL); empty for a web address.
    QString localPath() const;
};
Q_DECLARE_METATYPE(ImageInfo)

struct QuestionImages
{
    QString questionId;
    QVector<ImageInfo> imgList;
};

/**
 * The images of one exam answer being edited and uploaded, sent to the page as
 *   {"examId": "...", "questionList": [{"questionId": "...", "imgList": [{"imageKey", "imgUrl",
 *    "index", "status", "longTerm"}, ...]}, ...]}
 */
struct CommitExamEditImgsInfo
{
    QString examId;
    QVector<QuestionImages> questionList;

    bool isValid() const { return !examId.isEmpty(); }
    QJsonObject toJson() const;
    /// Refuses the whole object (false, *error names the entry) when any entry has the wrong shape.
    static bool fromJson(const QJsonObject &object, CommitExamEditImgsInfo *out, QString *error = nullptr);
    int questionIndex(const QString &questionId) const;
    /// -1 when the question has no image with that key.
    int imageIndex(int questionIndex, const QString &imageKey) const;
};

// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>

/**
 * Where an upload to the object storage goes: the key prefix under which the object is stored
 * ("exam/answer/20240131") and the kind of upload token the web service hands out for it
 * ("exam"). The object's key is "<prefix>/<uuid>.<suffix>".
 */
struct CosUploadPathPrefixPod
{
    QString prefix;
    QString tokenKind;

    /// The prefix and token kind of exam answer images, under the given day ("yyyyMMdd").
    static CosUploadPathPrefixPod examImages(const QString &day);
};

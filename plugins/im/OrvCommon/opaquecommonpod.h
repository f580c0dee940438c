// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMetaType>
#include <QSharedPointer>

/**
 * Extra start-up data of a classroom or playback, defined by the host application (the
 * micro-lecture recorder, the course pages...). The library never looks inside: it only passes
 * the pointer from the emitter to whichever window handles the hub signal, which casts it back
 * to the host's own subclass.
 */
class OpaqueCommonPod
{
public:
    virtual ~OpaqueCommonPod() = default;
};

Q_DECLARE_METATYPE(QSharedPointer<OpaqueCommonPod>)

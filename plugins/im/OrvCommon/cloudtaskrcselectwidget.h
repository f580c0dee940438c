// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cloudfileselecttabbasewidget.h"

/// Picks resources for a homework task of a school.
class CloudTaskRcSelectWidget : public CloudFileSelectTabBaseWidget
{
    Q_OBJECT
public:
    /// Without a leading slash on purpose: it is taken from the web service's root all the same.
    static constexpr const char *AddressPattern = "client/cloud/file/im?type=homework&otherMax=1&sid=%1";

    explicit CloudTaskRcSelectWidget(quint64 sid, QWidget *parent = nullptr);
};

// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "cloudfileselecttabbasewidget.h"

/// Picks the files of a homework task, at most imgMax pictures, videoMax videos, otherMax others.
class CloudTaskSelectFilesWidget : public CloudFileSelectTabBaseWidget
{
    Q_OBJECT
public:
    static constexpr const char *AddressPattern =
        "/client/clouddisk/selectfile_im.html?imgMax=%1&videoMax=%2&otherMax=%3&from=homework";

    /// schoolId 0: the page is not limited to a school.
    CloudTaskSelectFilesWidget(quint64 schoolId, int imgMax, int videoMax, int otherMax, QWidget *parent = nullptr);

    static QString address(quint64 schoolId, int imgMax, int videoMax, int otherMax);
};

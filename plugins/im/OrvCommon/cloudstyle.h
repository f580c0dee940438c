// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebview.h"

#include <QString>

/**
 * The client's light or dark look for the cloud disk widgets: the theme comes from the settings
 * ("Theme": "dark" or "light"), style sheets from resources named
 * ":/im/qss/OrvCommon/<name>_light.qss" and "..._dark.qss".
 */
class CloudStyle
{
public:
    static constexpr const char *ThemeKey = "Theme";

    static OrvWebView::Theme theme();
    /// The sheet for the current theme; empty (and a log line) when there is none.
    static QString styleSheet(const QString &name);
    static QString styleSheet(const QString &name, OrvWebView::Theme theme);
};

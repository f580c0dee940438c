// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "screenplatform.h"

namespace OrvScreen {

ScreenPlatform *createX11Platform();
ScreenPlatform *createWindowsPlatform();

/// Some screen has a device pixel ratio other than 1.
bool anyScreenScaled();

} // namespace OrvScreen

// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectiondropper.h"

bool ConnectionDropper::drop(int, const std::string &, int)
{
    return false;
}

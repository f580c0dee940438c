// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// All engine records in one include.
#include "chatmsg.h"
#include "clusterid.h"
#include "clusterinfo.h"
#include "courseinfo.h"
#include "orgchartinfo.h"
#include "searchinfo.h"
#include "session.h"
#include "userinfo.h"

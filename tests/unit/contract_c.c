// SPDX-License-Identifier: GPL-3.0-or-later
// Compiling this file as C shows that the whole contract is C, and the layouts in it the agreed ones.
#include "zel/access_control.h"
#include "zel/access_ipmi.h"
#include "zel/access_monitor.h"
#include "zel/sensorshare.h"
#include "zel/smbios.h"
#include "zel/tracelog.h"
#include "zel/win32.h"

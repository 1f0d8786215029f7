// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rota.h"

namespace zel::service {

/// Looks once a minute whether the management controller's sensors have the thresholds that an administrator
/// wrote, as bmc::ThresholdKeeper does. A controller that comes out of a reset gets them back, and so does
/// one whose thresholds another program changed, no more often than that. Where agent.conf names no
/// controller, or there is none, nothing is asked.
Rota::Task controller_watch();

}  // namespace zel::service

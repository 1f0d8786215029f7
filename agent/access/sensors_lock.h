// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "store/file_io.h"

namespace zel::access {

/// Held while a sensor's thresholds go to the controller and into the registry: between the two, the tool's
/// new ones would look to the service like thresholds that were lost. Whoever does not get it within some
/// seconds goes on without.
class SensorsLock {
  public:
    SensorsLock();

  private:
    store::UniqueFd file_;
};

}  // namespace zel::access

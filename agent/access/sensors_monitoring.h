// SPDX-License-Identifier: GPL-3.0-or-later
// Which sensors the agent watches, and the thresholds that an administrator gave them, in the registry. One
// key per sensor, SOFTWARE/QUD/ZELAgent/Sensors/<LUN>.<number>:
//
//   Name=sz:CPU1 Temp
//   Monitor=dword:1
//   HighFatal=dword:90        HighFatal, HighWarning, LowWarning, LowFatal: what was last written, degrees
//                             Celsius or millivolts, a signed number in 32 bits. A controller may forget its
//                             thresholds in a reset; the service puts these back then.
#pragma once

#include <optional>

#include "sensors_state.h"

namespace zel::access {

/// The sensor's flag: SENSOR_NO_MONITORING for one without thresholds, else the stored one, else 1 when its
/// thresholds pass the rules. A sensor with thresholds that break them would otherwise keep an administrator
/// from writing any other sensor's.
std::uint32_t monitor_flag(const SensorState& state);

/// Keeps the flag when it differs from what is stored, or from `state.monitor` when nothing is; and the
/// thresholds when there are any (null: none were written).
/// @return False, traced, when the registry cannot be written.
bool keep_settings(const SensorState& state, std::uint32_t flag, const ThresholdValues* written);

/// True when settings of any sensor are kept.
bool any_settings();

/// The thresholds that were last written to this sensor; SENSOR_NO_THRESHOLD where none was. Nothing when the
/// sensor was never written, or another one had its place then.
std::optional<ThresholdValues> kept_thresholds(const bmc::Sensor& sensor);

}  // namespace zel::access

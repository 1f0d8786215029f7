// SPDX-License-Identifier: GPL-3.0-or-later
// Which sensors the agent watches, and the thresholds that an administrator gave them, in the registry. One
// key per sensor, SOFTWARE/QUD/ZELAgent/Sensors/<LUN>.<number>:
//
//   Controller=sz:guid ...    Controller, Type and Name: whose settings these are. Another sensor of that
//   number, Type=sz:temperature       of another controller or after an update of the firmware, has its own
//   under Name=sz:CPU1 Temp         <LUN>.<number>/2, /3 and so on. Monitor=dword:1 HighFatal=dword:90
//   HighFatal, HighWarning, LowWarning, LowFatal: what was last written, degrees
//                             Celsius or millivolts, a signed number in 32 bits. A controller may forget its
//                             thresholds in a reset; the service puts these back then.
//
// Earlier versions kept no Controller and no Type, and the name as it is shown: such settings are those of
// the first controller whose sensor of that number and name is written.
#pragma once

#include <optional>

#include "sensors_state.h"

namespace zel::bmc {

/// The sensor's flag: SENSOR_NO_MONITORING for one without thresholds, else the stored one, else 1. It is 0
/// for a sensor that can be set and whose thresholds break the rules, whatever is stored: it would keep an
/// administrator from writing any other sensor's. What is stored counts again once they are mended.
std::uint32_t monitor_flag(const SensorState& state);

/// Keeps the flag when it differs from `state.monitor`, which the caller was given; and those of the
/// thresholds that can be set when there are any (null: none were written). Settings of an earlier version
/// become this sensor's.
/// @return False, traced, when the registry cannot be written.
bool keep_settings(const SensorState& state, std::uint32_t flag, const ThresholdValues* written);

/// True when settings of any sensor are kept.
bool any_settings();

/// The thresholds that were last written to this sensor; SENSOR_NO_THRESHOLD where none was. Nothing when the
/// sensor was never written.
std::optional<ThresholdValues> kept_thresholds(const SensorState& state);

}  // namespace zel::bmc

// SPDX-License-Identifier: GPL-3.0-or-later
// The calls that this library offers, for its door and the table behind it.
CALL(DisableSharedSensor)
CALL(EnableSharedSensor)
CALL(GetSharedSensorStatus)

// SPDX-License-Identifier: GPL-3.0-or-later
// dissensor.dll: whether the chassis of a blade server shares its sensors with the blades. The state is the
// registry's; the chassis type comes from this library's own copy of the SMBIOS reader, so that it depends
// on no other library of the agent.
#include "zel/sensorshare.h"

#include <array>

#include "store/registry.h"
#include "system/smbios_tables.h"

namespace {

namespace registry = zel::store::registry;

constexpr const char* kKey = "SOFTWARE/QUD/ZELAgent/SharedSensor";
constexpr const char* kEnabled = "Enabled";

/// Not a blade: nothing to share. Programs take any negative status for "not available"; -1 is kept for a
/// change that could not be undone, which the durable registry rules out.
constexpr int kNotAvailable = -3;

bool on_blade() {
    const auto tables = zel::system::Tables::read(zel::system::tables_folder());
    return tables && tables->has_blade();
}

int status() {
    if (!on_blade()) return kNotAvailable;
    if (registry::check() != zel::store::Status::ok) return SHARED_SENSOR_SYSTEM_ERROR;
    return registry::get_dword(kKey, kEnabled).value_or(0) != 0 ? SHARED_SENSOR_ENABLED
                                                                : SHARED_SENSOR_DISABLED;
}

/// Writes the state and returns the one that holds afterwards: a failed write leaves the old one.
int change(int wanted) {
    const int present = status();
    if (present < 0) return present;
    const std::array values{registry::Entry{kEnabled, static_cast<std::uint32_t>(wanted)}};
    registry::set(kKey, values);
    return status();
}

}  // namespace

extern "C" int GetSharedSensorStatus(void) try { return status(); } catch (...) {
    return SHARED_SENSOR_SYSTEM_ERROR;
}

extern "C" int EnableSharedSensor(int /*arg*/) try { return change(SHARED_SENSOR_ENABLED); } catch (...) {
    return SHARED_SENSOR_SYSTEM_ERROR;
}

extern "C" int DisableSharedSensor(int /*arg*/) try { return change(SHARED_SENSOR_DISABLED); } catch (...) {
    return SHARED_SENSOR_SYSTEM_ERROR;
}

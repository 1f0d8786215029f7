// SPDX-License-Identifier: GPL-3.0-or-later
// CPU load: "cpu.settings=" ten numbers, "cpu.row.N=" five numbers of row N.
#include <zel/access_monitor.h>

#include "script.h"

using scripted::call;
using scripted::fields_of;

int GetCpuDataFromRegistry(CpuSettingsRecord* settings) {
    scripted::fill("cpu.settings", fields_of(*settings));
    return call("GetCpuDataFromRegistry", 0);
}

int GetCpuThreshold(int row, CpuThresholdRow* out) {
    scripted::fill("cpu.row." + std::to_string(row), fields_of(*out));
    return call("GetCpuThreshold", 1, row);
}

int TestInputCpuParameter(const CpuThresholdRow* row) {
    return call("TestInputCpuParameter", 0, fields_of(*row));
}

int PutCpuThreshold(int row, const CpuThresholdRow* values) {
    return call("PutCpuThreshold", 1, row, fields_of(*values));
}

int PutCycletoReg(const CpuCycleRecord* cycle) {
    return call("PutCycletoReg", 1, fields_of(*cycle));
}

// SPDX-License-Identifier: GPL-3.0-or-later
// Storage devices, file systems, network interfaces, RAID controllers.
//   storage=60,2           interval and number of devices (1 device unless told)
//   storage.name.N=sda     the name of row N, "diskN" unless told
//   storage.N=100,50,1,... fatal, warning, state of its four kinds of errors, 100,50,1 each unless told
//   fs.cycle=10            the interval, 10 unless told
//   fs.count=2,3           records of the first read, of the second and later ones (1 unless told)
//   fs.path.N=/            the path of record N, "/" unless told
//   fs.N=3,95,90,85,80,1,2,3,4
//                          mode, percentages and spaces of record N: fatal report and reset, warning report
//                          and reset; 3,95,90,85,80,5,10,15,20 unless told
//   fs.mib=1000            the capacity of "/", 1000 unless told; other paths are those of the machine
//   lan.settings=60,10,20,30
//                          the record's fields
//   mylex.interval=60      the interval of zelmlx.inf
// Calls that save a table show the rows that differ from the script: 1:sdb{100,50,2,...}.
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <zel/access_monitor.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "script.h"

namespace {

using scripted::call;
using scripted::fields_of;
using scripted::shown;

int32_t number(std::string_view name, std::size_t place, int32_t otherwise) {
    const auto told = scripted::parts(name);
    return told.empty() ? otherwise
                        : static_cast<int32_t>(
                              std::strtol(told[std::min(place, told.size() - 1)].c_str(), nullptr, 0));
}

std::string scripted_text(const std::string& name, const std::string& otherwise) {
    const auto told = scripted::parts(name);
    return told.empty() ? otherwise : told[0];
}

void add(std::string& changes, int row, const std::string& change) {
    changes += (changes.empty() ? "" : " ") + std::to_string(row) + ":" + change;
}

// ---- storage

struct Device {
    std::string name;
    std::array<int32_t, 12> values{100, 50, 1, 100, 50, 1, 100, 50, 1, 100, 50, 1};
    bool operator==(const Device&) const = default;
};

Device scripted_device(int row) {
    const std::string id = std::to_string(row);
    Device device{.name = scripted_text("storage.name." + id, "disk" + id)};
    device.name.resize(std::min<std::size_t>(device.name.size(), STORAGE_NAME_SIZE));
    scripted::fill("storage." + id, device.values);
    return device;
}

std::string changed_devices(int count, const char (*names)[30], const StorageThresholdItem (*values)[4]) {
    std::string changes;
    for (int row = 0; row < count && row < STORAGE_DEVICES_MAX; ++row) {
        Device device{.name = {names[row], strnlen(names[row], STORAGE_NAME_SIZE)}};
        std::copy_n(&values[row][0].fatal, device.values.size(), device.values.begin());
        if (device != scripted_device(row)) add(changes, row, device.name + shown(device.values));
    }
    return changes;
}

// ---- file systems

using Record = FsThresholdRecord;
using Field = int32_t Record::*;
constexpr std::array<Field, 9> kFields = {&Record::mode,
                                          &Record::fatalReportPercent,
                                          &Record::fatalResetPercent,
                                          &Record::warningReportPercent,
                                          &Record::warningResetPercent,
                                          &Record::fatalReportSpace,
                                          &Record::fatalResetSpace,
                                          &Record::warningReportSpace,
                                          &Record::warningResetSpace};
using Values = std::array<int32_t, kFields.size()>;

Values scripted_values(int row) {
    Values values{3, 95, 90, 85, 80, 5, 10, 15, 20};
    scripted::fill("fs." + std::to_string(row), values);
    return values;
}

void fill_record(FsThresholdRecord& record, int row) {
    std::snprintf(record.path, sizeof record.path, "%s",
                  scripted_text("fs.path." + std::to_string(row), "/").c_str());
    const Values values = scripted_values(row);
    for (std::size_t i = 0; i < kFields.size(); ++i)
        record.*kFields[i] = values[i];
}

std::string changed_records(const FsThresholdRecord* record) {
    std::string changes;
    for (int row = 0; record != nullptr; record = record->next, ++row) {
        Values values;
        std::ranges::transform(kFields, values.begin(), [&](Field field) { return record->*field; });
        if (values != scripted_values(row)) add(changes, row, shown(values));
    }
    return changes;
}

}  // namespace

extern "C" ZEL_API int statfs(const char* path, struct statfs* status) noexcept {
    if (std::strcmp(path, "/") != 0) return static_cast<int>(syscall(SYS_statfs, path, status));
    const auto told = scripted::parts("fs.mib");
    *status = {};
    status->f_bsize = 1 << 20;
    status->f_blocks = told.empty() ? 1000 : std::strtoull(told[0].c_str(), nullptr, 10);
    return 0;
}

int ReadThresholdFromFile(int* interval, int* count, char (*HD)[30], StorageThresholdItem (*value)[4]) {
    const int result = call("ReadThresholdFromFile", 1);
    *interval = number("storage", 0, 60);
    *count = result == 0 ? 0 : number("storage", 1, 1);
    for (int row = 0; row < std::min(*count, STORAGE_DEVICES_MAX); ++row) {
        const Device device = scripted_device(row);
        std::fill_n(HD[row], STORAGE_NAME_SIZE, '\0');
        std::ranges::copy(device.name, HD[row]);
        std::ranges::copy(device.values, &value[row][0].fatal);
    }
    return result;
}

int WriteThreshold(int interval, int count, char (*HD)[30], StorageThresholdItem (*value)[4]) {
    return call("WriteThreshold", 0, interval, count, changed_devices(count, HD, value));
}

int ResetStorageService(int deviceNumber) {
    return call("ResetStorageService", 0, deviceNumber);
}

int SetDefaultStorageService(int interval, int count, char (*HD)[30], StorageThresholdItem (*value)[4],
                             int device) {
    return call("SetDefaultStorageService", 0, interval, count, changed_devices(count, HD, value), device);
}

int File_ReadThresholdFromFile(FsThresholdRecord* head, int* cycle) {
    static std::size_t reads = 0;
    const int result = call("File_ReadThresholdFromFile", 1);
    const int count = number("fs.count", reads++, 1);
    if (result != 1) return result;
    *cycle = number("fs.cycle", 0, 10);
    for (int row = 0; row == 0 || row < count; ++row) {
        if (row > 0) head = head->next = static_cast<Record*>(std::calloc(1, sizeof(Record)));
        fill_record(*head, row);
    }
    return result;
}

int TestInputFilesysParameter(FsThresholdRecord* head, int cycle) {
    return call("TestInputFilesysParameter", 0, cycle, changed_records(head));
}

int ResetFilesysService(FsThresholdRecord* head, int cycle) {
    return call("ResetFilesysService", 0, cycle, changed_records(head));
}

int FreeMemofStruct(FsThresholdRecord** head) {
    int count = 0;
    for (; *head != nullptr; ++count)
        std::free(std::exchange(*head, (*head)->next));
    return call("FreeMemofStruct", 1, count);
}

int GetLanDataFromRegistry(LanSettingsRecord* r) {
    scripted::fill("lan.settings", fields_of(*r));
    return call("GetLanDataFromRegistry", 0);
}

int TestInputLanParameter(const LanSettingsRecord* r) {
    return call("TestInputLanParameter", 0, fields_of(*r));
}

int PutLanThreshold(const LanSettingsRecord* r) {
    return call("PutLanThreshold", 1, fields_of(*r));
}

int Mylex_ReadThresholdFromFile(void* block924) {
    static_cast<MylexThresholdBlock*>(block924)->interval = number("mylex.interval", 0, 60);
    return call("Mylex_ReadThresholdFromFile", 0);
}

int ResetMylexService(int interval) {
    return call("ResetMylexService", 0, interval);
}

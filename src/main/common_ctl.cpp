// SPDX-License-Identifier: GPL-3.0-or-later
#include "common_ctl.h"

#include <agntconf/startup_facts.h>
#include <zel/access_monitor.h>
#include <zel/trace.h>
#include <zel/win32.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace zel {

namespace {

constexpr char kModule[] = "common_ctl";
constexpr char kAgentKey[] = "SOFTWARE\\QUD\\ZELAgent";
constexpr char kVersionValue[] = "CurrentVersion";
constexpr std::uint8_t kChassisType = 3;
/// An 8-bit instance counter cannot pass 255; with more chassis than that it would run for ever.
constexpr int kMostInstances = 256;

enum class ReadResult { ok, no_key, no_value };

/// Reads one value of a key; the key is closed again whatever comes.
ReadResult read_registry(const char* path, const char* name, std::uint32_t type, void* data,
                         std::uint32_t size) {
    HKEY key = nullptr;
    if (RegOpenKeyEx(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return ReadResult::no_key;
    const std::int32_t result =
        RegQueryValueEx(key, name, nullptr, &type, static_cast<std::uint8_t*>(data), &size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS ? ReadResult::ok : ReadResult::no_value;
}

/// The SMBIOS library between its initialise and close entries.
class SmbiosSession {
  public:
    SmbiosSession() {
        if (iFlag_ctlcmn_libzelsmbios <= 0) return;
        const std::int32_t result = ctlcmn_libzelsmbios.initialise();
        ZEL_TRACE_AS("ZEL_IS_BLADE", TRACE_LEVEL_INFO, "zel_smbios_init() return %d.", result);
        open_ = result != -1;
    }
    ~SmbiosSession() {
        if (open_) ctlcmn_libzelsmbios.close();
    }
    SmbiosSession(const SmbiosSession&) = delete;
    SmbiosSession& operator=(const SmbiosSession&) = delete;

    [[nodiscard]] bool is_open() const { return open_; }

    /// Structures of a type, or -1.
    static int count(std::uint8_t type) {
        SmbiosCountRequest request{};
        request.type = type;
        if (ctlcmn_libzelsmbios.request(GET_STRUCTURE_NUMBER, &request) == -1) return -1;
        return request.number;
    }
    /// The two-character code of one structure in `request`, or false.
    static bool read(SmbiosStructRequest& request, int instance) {
        request.number = static_cast<std::uint16_t>(instance);
        return ctlcmn_libzelsmbios.request(GET_STRUCTURE_TYPE_AND_OFFSET, &request) != -1;
    }

  private:
    bool open_ = false;
};

/// Looks for a blade's code in every chassis structure. Returns null, or what failed.
const char* look_for_blade(int& is_blade) {
    const SmbiosSession session;
    if (!session.is_open()) return "<zel_smbios_init() failed.return FALSE.";
    const int chassis_count = SmbiosSession::count(kChassisType);
    if (chassis_count == -1) return "<GET_STRUCTURE_NUMBER Failed!return FALSE.";
    if (chassis_count == 0) return "<GetNum.number==0.return FALSE.";
    SmbiosStructRequest request{};
    request.type = kChassisType;
    for (int instance = 0; instance < std::min(chassis_count, kMostInstances); ++instance) {
        if (!SmbiosSession::read(request, instance))
            return "<Execute GET_STRUCTURE_TYPE_AND_OFFSET  failed.return FALSE.";
        if (_memicmp(request.code, "FE", sizeof request.code) == 0) is_blade = 1;
    }
    return nullptr;
}

}  // namespace

int GetCurrentVersion(std::int32_t* version) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    ZEL_TRACE(TRACE_LEVEL_TRACE, "qudhwidflag=%p", static_cast<void*>(version));
    std::array<char, 32> value{};
    switch (read_registry(kAgentKey, kVersionValue, REG_SZ, value.data(), value.size())) {
        case ReadResult::no_key:
            ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegOpenKeyEx %s failed.!return 0.", kAgentKey);
            return 0;
        case ReadResult::no_value:
            ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegQueryValueEx %s failed,return 0.", kVersionValue);
            return 0;
        case ReadResult::ok:
            break;
    }
    static constexpr std::array<std::string_view, 4> kVersions = {"3.8", "3.9", "4.0", "4.1"};
    const std::string_view first_three(value.data(), 3);
    const auto* const found = std::find(kVersions.begin(), kVersions.end(), first_three);
    if (found == kVersions.end()) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<The current version is not between V3.8 and  V4.1!return 0.");
        return 0;
    }
    *version = static_cast<std::int32_t>(found - kVersions.begin()) + 1;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 1.*qudhwidflag=%d.", *version);
    return 1;
}

int GetRegValue(std::uint32_t checkFlag) {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">[in]dwCheckFlag=0x%x.", checkFlag);
    std::uint32_t tabs = 0;
    switch (read_registry("SOFTWARE/QUD/ZELAgent/CPL", "CplTabView", REG_DWORD, &tabs, sizeof tabs)) {
        case ReadResult::no_key:
            ZEL_TRACE(TRACE_LEVEL_ERROR, "<RegOpenKeyEx SOFTWARE/QUD/ZELAgent/CPL failed.return 0.");
            return 0;
        case ReadResult::no_value:
            ZEL_TRACE(TRACE_LEVEL_TRACE, "<RegQueryValueEx CplTabView failed.return 0.");
            return 0;
        case ReadResult::ok:
            break;
    }
    ZEL_TRACE(TRACE_LEVEL_INFO, "dwTagView=0x%x", tabs);
    if ((checkFlag & tabs) != 0) {
        ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 1");
        return 1;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return 0.");
    return 0;
}

int ZEL_IS_BLADE() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">");
    int is_blade = 0;
    if (const char* failure = look_for_blade(is_blade)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "%s", failure);
        return 0;
    }
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", is_blade);
    return is_blade;
}

int CheckHwIdInfo(int version) {
    ZEL_TRACE(TRACE_LEVEL_ERROR, ">version=%d.", version);
    HwIdRecord record{};
    if (GetHWIDFromProc(&record) == 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "<GetHWIDFromProc() failed.return -1.");
        return -1;
    }
    int model_class = 0;
    if (record.modelNumber == 590) model_class = 1;
    if (record.modelNumber == 562 || record.modelNumber == 606) model_class = 2;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<return %d.", model_class);
    return model_class;
}

}  // namespace zel

// SPDX-License-Identifier: GPL-3.0-or-later
// Start-up and shut-down: one straight sequence, status 0 at every end.
#include <agntconf/agent_files.h>
#include <agntconf/columns.h>
#include <agntconf/newtlib.h>
#include <agntconf/readstrfile.h>
#include <agntconf/startup_facts.h>
#include <sys/types.h>
#include <zel/access_monitor.h>
#include <zel/sensorshare.h>
#include <zel/smbios.h>
#include <zel/trace.h>
#include <zel/win32.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "../common/terminal.h"
#include "common_ctl.h"
#include "menu.h"
#include "panel_table.h"
#include "screen.h"

namespace zel {

namespace {

constexpr char kModule[] = "main";
constexpr char kMain[] = "main";  // the function whose steps these are
constexpr std::uint32_t kVoltageTab = 0x80;
constexpr std::uint32_t kTemperatureTab = 0x40;
/// Zero bytes after the catalogue, where its look-up stops.
constexpr std::size_t kCataloguePadding = 1024;

/// What the probes decide for the menu.
struct MenuFlags {
    std::int32_t show_voltage = 0;
    std::int32_t show_temperature = 0;
    std::int32_t show_moval = 0;
};

Buffer catalogue;

void keep_catalogue(Buffer buffer) {
    catalogue = std::move(buffer);
    ZEL_RcFileBuf = catalogue.get();
}

void free_catalogue() {
    keep_catalogue(nullptr);
}

void raslib_init() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">Enter.");
    ctlcmn_libzelsmbios = {};
    iFlag_ctlcmn_libzelsmbios = load_libzelsmbios(&ctlcmn_libzelsmbios);
    if (iFlag_ctlcmn_libzelsmbios == -1)
        ZEL_TRACE(TRACE_LEVEL_INFO,
                  "Flag of load_libzelsmbios(-1,failed; 1, success; 0,libzelsmbios.so is not exist!):%d",
                  iFlag_ctlcmn_libzelsmbios);
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<Return.");
}

void raslib_fini() {
    ZEL_TRACE(TRACE_LEVEL_TRACE, ">Enter.");
    destroy_libzelsmbios(&ctlcmn_libzelsmbios);
    iFlag_ctlcmn_libzelsmbios = -1;
    ZEL_TRACE(TRACE_LEVEL_TRACE, "<Return.");
}

/// After a call that failed: says so when the reason is that it is not this user's to make.
void tell_missing_rights() {
    if (errno != EACCES) return;
    std::fputs("ZELagntconf: this user has no access to the agent; run the tool as root.\n", stderr);
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "no access to the agent for this user.");
}

bool probe_fault_tolerance() {
    const int result = call_zel_is_ft();
    if (result == -1) {
        tell_missing_rights();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<call_zel_is_ft() failed.exit(0).");
        return false;
    }
    if (result > 0) {
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_INFO, "This is FT server.");
        gZelIsFt = 1;
    }
    return true;
}

const char* catalogue_name() {
    const char* lang = GetEnvLang();
    const bool japanese = lang != nullptr && std::string_view(lang).starts_with("ja");
    return japanese ? "/data/J_ctlpanel.rc" : "/data/E_ctlpanel.rc";
}

/// Reads the whole catalogue into memory, in the character set of the screen.
bool load_catalogue() {
    std::uint32_t length = 0;
    std::FILE* file = OpenStrFile(catalogue_name(), &length);
    if (file == nullptr) {
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<Open string file failed.exit(0).");
        return false;
    }
    Buffer buffer = allocate_buffer(length + kCataloguePadding);
    if (!buffer) {
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_RESOURCE, "<malloc error!exit(0).");
        std::fclose(file);
        return false;
    }
    const std::size_t bytes_read = std::fread(buffer.get(), 1, length, file);
    std::fclose(file);
    if (bytes_read == 0) {
        buffer.reset();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_RESOURCE, "<fread failed.exit(0)");
        return false;
    }
    Buffer recoded = recode_for_screen(buffer.get(), kCataloguePadding);
    keep_catalogue(recoded ? std::move(recoded) : std::move(buffer));
    return true;
}

bool require_service() {
    if (CheckNTserverReady() != -1) return true;
    tell_missing_rights();
    std::puts("Please confirm ZELntserver is running!");
    free_catalogue();
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<ZELntserver is not running.exit(0).");
    return false;
}

void read_version() {
    if (GetCurrentVersion(&ZelVersion) != 0) return;
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "Get version value failed from registry.exit(0)");
    ZelVersion = 4;  // an unreadable version does not end the tool: it goes on as for the newest agent
}

/// Asks the sensor-sharing library for its status. A server without that library cannot run the tool.
bool query_shared_sensor() {
    const std::string path = shared_sensor_library();
    if (path.empty()) {
        raslib_fini();
        std::fputs("ZELagntconf: the agent's directory is not known, or its path is too long.\n", stderr);
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<GetZelRootPath() failed.return FALSE.");
        return false;
    }
    HMODULE library = LoadLibrary(path.c_str());
    if (library == nullptr) {
        raslib_fini();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<LoadLibrary %s failed.return FALSE.", path.c_str());
        return false;
    }
    void* entry = GetProcAddress(library, "GetSharedSensorStatus");
    if (entry == nullptr) {
        FreeLibrary(library);
        raslib_fini();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<GetProcAddress(GetSharedSensorStatus) failed.return FALSE.");
        return false;
    }
    GetSharedSensorStatus_Value = reinterpret_cast<GetSharedSensorStatusFn>(entry)();
    FreeLibrary(library);
    return true;
}

/// On agent 3.8 a NAS model has a menu of its own.
bool probe_nas_model() {
    HwIdRecord record{};
    if (GetQudHwidFor38(&record) == 0) {
        std::puts("Get HWID from proc error!");
        free_catalogue();
        raslib_fini();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<GetHWIDFromProc error!exit(0).");
        return false;
    }
    const auto model = static_cast<std::int32_t>(record.modelNumber);
    if (model == 679 || model == 680) iNASFlag = 1;
    return true;
}

void probe_blade() {
    iBladeFlag = ZEL_IS_BLADE();
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_INFO, "iBladeFlag = %d.", iBladeFlag);
}

bool probe_as_agent_38(MenuFlags& flags) {
    flags.show_voltage = flags.show_temperature = flags.show_moval = 1;
    probe_blade();
    if (!query_shared_sensor()) return false;
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_INFO, "GetSharedSensorStatus() return %d.", GetSharedSensorStatus_Value);
    return probe_nas_model();
}

bool probe_as_agent_39_and_later(MenuFlags& flags) {
    flags.show_voltage = GetRegValue(kVoltageTab);
    flags.show_temperature = GetRegValue(kTemperatureTab);
    probe_blade();
    return query_shared_sensor();
}

bool bind_screen_libraries() {
    if (initnewtlib() == -1) {
        free_catalogue();
        raslib_fini();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<Init newtlib failed!return 0.");
        std::fputs("ZELagntconf: the library newt cannot be loaded.\n", stderr);
        return false;
    }
    if (initslanglib() == -1) {
        free_catalogue();
        freenewtlib();
        raslib_fini();
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<Init slang lib failed!return 0.");
        std::fputs("ZELagntconf: the library S-Lang cannot be loaded.\n", stderr);
        return false;
    }
    return true;
}

void release_all() {
    freenewtlib();
    freeslanglib();
    raslib_fini();
}

/// Everything before newt: asked here, because newt ends the process by itself on such a terminal.
bool require_terminal() {
    const char* problem = terminal_problem();
    if (problem == nullptr) {
        warn_of_small_terminal();
        return true;
    }
    std::fprintf(stderr, "%s\n", problem);
    free_catalogue();
    release_all();
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<%s exit(0).", problem);
    return false;
}

void run_screen(const MenuFlags& flags) {
    NewtStartUp(release_all);
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_INFO, "iShowVoltFlag = %d.", flags.show_voltage);
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_INFO, "iShowTempFlag = %d.", flags.show_temperature);
    const MenuFacts facts = menu_facts(flags.show_voltage, flags.show_temperature, flags.show_moval);
    EditParameter(flags.show_voltage, flags.show_temperature, flags.show_moval, count_menu_rows(facts));
    free_catalogue();
    newt.newtCls();
    newt.newtFinished();
    release_all();
}

void run(int argument_count) {
    if (argument_count >= 2) {
        std::fputs("The parameter is invalid.\n", stderr);
        ZEL_TRACE_AS(kMain, TRACE_LEVEL_ERROR, "<No params needed.exit(0).");
        return;
    }
    if (!probe_fault_tolerance() || !load_catalogue() || !require_service()) return;
    read_version();
    raslib_init();
    MenuFlags flags;
    const bool probed = ZelVersion > 1 ? probe_as_agent_39_and_later(flags) : probe_as_agent_38(flags);
    if (!probed || !bind_screen_libraries() || !require_terminal()) return;
    run_screen(flags);
    ZEL_TRACE_AS(kMain, TRACE_LEVEL_TRACE, "<");
}

}  // namespace

}  // namespace zel

int main(int argc, char**) {
    TraceLogInit(0, "ZELagntconf", 0, 5, 0);
    TraceLog(TRACE_LEVEL_TRACE, "main", "main", __LINE__, ">");
    zel::prepare_endings();
    zel::prepare_locale();
    zel::run(argc);
    zel::end_process();
}

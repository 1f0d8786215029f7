// SPDX-License-Identifier: GPL-3.0-or-later
// libzelaccess: what programs ask at start-up, CPU settings, numbers of the registry.
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>

#include "access/service_client.h"
#include "home.h"
#include "store/registry.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"
#include "zel/smbios.h"

namespace zel::test {
namespace {

TEST(Access, HardwareFactsComeFromTheConfiguration) {
    struct Case {
        const char* config;
        int fault_tolerant, has_id;
        std::int64_t model;
    };
    for (const auto& [config, fault_tolerant, has_id, model] :
         {Case{"", 0, 1, 0}, Case{"[hardware]\nfault_tolerant=true\nmodel=679\n", 1, 1, 679},
          Case{"[hardware]\nfault_tolerant=perhaps\nmodel=67x\n", 0, 0, 0},
          Case{"[hardware]\nmodel=4294967297\n", 0, 0, 0}, Case{"no key file\n", 0, 0, 0}}) {
        write_text(store::config_file(), config);
        HwIdRecord record;
        std::fill_n(reinterpret_cast<char*>(&record), sizeof record, 'x');
        EXPECT_EQ(call_zel_is_ft(), fault_tolerant) << config;
        EXPECT_EQ(GetQudHwidFor38(&record), has_id) << config;
        EXPECT_EQ(record.modelNumber, model) << config;
    }
    fs::remove(store::config_file());
    EXPECT_EQ(call_zel_is_ft(), 0);
    fs::create_directory(store::config_file());  // there, but not readable
    EXPECT_EQ(call_zel_is_ft(), -1);
}

TEST(Access, RootPathAndRegistryNumbersStayInBounds) {
    const auto length = static_cast<int>(store::agent_dir().size());
    std::string buffer(store::agent_dir().size() + 2, 'x');
    EXPECT_NE(GetZelRootPath(buffer.data(), length + 1), 0);
    EXPECT_EQ(buffer, store::agent_dir() + '\0' + 'x');
    EXPECT_EQ(GetZelRootPath(buffer.data(), length), 0);
    EXPECT_EQ(buffer[0], '\0');

    write_text(state("registry.conf"), "[software/general]\nTime=dword:7\nText=sz:7\n");
    RegNumItem items[] = {{0, 9, "SOFTWARE\\General", "TIME"}, {0, 9, "SOFTWARE/General", "Text"}};
    EXPECT_EQ(GetZelaRegNum(items, 1), 1);
    EXPECT_EQ(GetZelaRegNum(items, 2), 0);
    EXPECT_EQ(std::pair(items[0].value, items[1].value), std::pair(7U, 0U));
}

TEST(Access, SmbiosLibraryIsLoadedOnlyWhole) {
    fs::create_directory(home("lib"));
    // In processes of their own, since the loader remembers what a path was.
    const auto load = [](int expected) {
        EXPECT_EQ(finish_process(start_process([&] {
                      SmbiosTable table{};
                      const bool whole = load_libzelsmbios(&table) == 1;
                      const bool all = table.unused0 && table.initialise && table.close && table.request;
                      const bool any = table.unused0 || table.initialise || table.close || table.request;
                      destroy_libzelsmbios(&table);
                      destroy_libzelsmbios(&table);
                      return whole == all && whole == any && table.unused0 == nullptr ? (whole ? 1 : 2) : 3;
                  })),
                  expected);
        fs::remove(home("lib/libzelsmbios.so"));
    };
    write_text(home("lib/libzelsmbios.so"), "not a library");
    load(2);
    fs::create_symlink(SENSORSHARE_LIBRARY, home("lib/libzelsmbios.so"));  // without the entries
    load(2);
    fs::create_symlink(SMBIOS_LIBRARY, home("lib/libzelsmbios.so"));
    load(1);
}

/// How load is sampled, then the thresholds of a row.
std::string settings(int row) {
    CpuSettingsRecord s{};
    CpuThresholdRow r{};
    EXPECT_NE(GetCpuDataFromRegistry(&s), 1);
    EXPECT_NE(GetCpuThreshold(row, &r), 0);
    EXPECT_EQ(s.cpuCount, sysconf(_SC_NPROCESSORS_CONF));
    std::ostringstream text;
    text << s.samplingInterval << ' ' << s.cycleSeconds << ' ' << r.enable << ' ' << r.fatalReport << ' '
         << r.fatalReset << ' ' << r.warningReport << ' ' << r.warningReset;
    return text.str();
}

TEST(Access, CpuSettingsComeBackAsWrittenAndInsaneOnesAsDefaults) {
    const auto cpus = static_cast<int>(sysconf(_SC_NPROCESSORS_CONF));
    EXPECT_EQ(settings(0), "10 60 1 95 90 85 80");
    EXPECT_EQ(settings(cpus), "10 60 0 95 90 85 80");
    const CpuThresholdRow total{0, 50, 40, 30, 20}, last{1, 100, 99, 2, 1};
    const CpuCycleRecord cycle{30, 604800}, hostile{0, -1};
    EXPECT_TRUE(PutCpuThreshold(0, &total) && PutCpuThreshold(cpus, &last) && PutCycletoReg(&cycle));
    EXPECT_FALSE(PutCpuThreshold(-1, &last) || PutCpuThreshold(cpus + 1, &last) || PutCycletoReg(&hostile));
    EXPECT_EQ(settings(0), "30 604800 0 50 40 30 20");
    EXPECT_EQ(settings(cpus), "30 604800 1 100 99 2 1");
    write_text(state("registry.conf"),
               "[SOFTWARE/QUD/ZELAgent/CPU]\nSamplingInterval=dword:0\nCycle=dword:4294967295\n"
               "[SOFTWARE/QUD/ZELAgent/CPU/TOTAL]\nEnable=dword:2\nFatalReport=dword:101\nFatalReset=sz:70\n"
               "WarningReport=dword:99999999999\nWarningReset=dword:77\n");
    EXPECT_EQ(settings(0), "10 60 1 95 90 85 77");
    for (const auto& [row, faults] :
         std::initializer_list<std::pair<CpuThresholdRow, int>>{{{1, 100, 3, 2, 1}, 0},
                                                                {{1, 100, 101, 80, 70}, 0x101},
                                                                {{1, 4, 3, 2, 0}, 0x10},
                                                                {{1, 90, 90, 80, 70}, 0x100},
                                                                {{1, 95, 90, 90, 70}, 0x100},
                                                                {{1, 95, 90, 80, 80}, 0x100},
                                                                {{0, 101, 102, 0, 0}, 0x111}})
        EXPECT_EQ(TestInputCpuParameter(&row), faults) << row.fatalReport << ' ' << row.fatalReset;
}

TEST(Access, HungServiceCountsAsNotRunningAndHoldsNobodyUp) {
    using std::chrono::milliseconds, std::chrono::steady_clock;
    const auto address = access::SocketAddress::of(access::service_socket_path());
    const store::UniqueFd hung(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
    ASSERT_EQ(::bind(hung.get(), address->get(), address->size()) | ::listen(hung.get(), 1), 0);
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval often{{0, 20'000}, {0, 20'000}}, never{};
    // First no answer comes; soon the queue of connections is full, and connecting itself hangs.
    for (int attempt = 0; attempt < 3; ++attempt) {
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const auto start = steady_clock::now();
        EXPECT_EQ(CheckNTserverReady(), -1);
        const auto took = steady_clock::now() - start;
        ::setitimer(ITIMER_REAL, &never, nullptr);
        EXPECT_TRUE(took >= milliseconds(1000) && took <= milliseconds(1500));
        const CpuCycleRecord cycle{5 + attempt, 300};
        EXPECT_NE(PutCycletoReg(&cycle), 0);
        EXPECT_LE(steady_clock::now() - start, took + milliseconds(500));
    }
}

}  // namespace
}  // namespace zel::test

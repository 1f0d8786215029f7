// SPDX-License-Identifier: GPL-3.0-or-later
// libzelaccess: what programs ask at start-up, CPU settings, numbers of the registry.
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <cstdlib>

#include "access/service_client.h"
#include "service_home.h"
#include "store/registry.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"
#include "zel/smbios.h"

namespace zel::test {
namespace {

class Home : public testing::Environment {
    void SetUp() override {
        std::string path = (fs::temp_directory_path() / "zel-service-XXXXXX").string();
        ASSERT_NE(::mkdtemp(path.data()), nullptr);
        root_ = path;
        const fs::path home = root_ / std::string(120, 'd');
        fs::create_directories(home);
        ::setenv("ZelDir", home.c_str(), 1);
    }
    void TearDown() override { fs::remove_all(root_); }
    fs::path root_;
};
const auto* const home = testing::AddGlobalTestEnvironment(new Home);

using Access = AgentHome;

TEST_F(Access, HardwareFactsComeFromTheConfiguration) {
    struct Case {
        const char* config;
        int fault_tolerant;
        int has_id;
        std::int64_t model;
    };
    for (const auto& [config, fault_tolerant, has_id, model] : {
             Case{nullptr, 0, 1, 0},
             Case{"[hardware]\nfault_tolerant=true\nmodel=679\n", 1, 1, 679},
             Case{"[hardware]\nfault_tolerant=false\n", 0, 1, 0},
             Case{"[hardware]\nfault_tolerant=perhaps\nmodel=67x\n", 0, 0, 0},
             Case{"[hardware]\nmodel=4294967297\n", 0, 0, 0},
             Case{"[hardware]\nmodel=-1\n", 0, 0, 0},
             Case{"no key file\n", 0, 0, 0},
         }) {
        if (config != nullptr) write_text(store::config_file(), config);
        HwIdRecord record;
        std::fill_n(reinterpret_cast<char*>(&record), sizeof record, 'x');
        EXPECT_EQ(call_zel_is_ft(), fault_tolerant) << config;
        EXPECT_EQ(GetQudHwidFor38(&record), has_id) << config;
        EXPECT_EQ(record.modelNumber, model) << config;
    }
    fs::remove(store::config_file());
    fs::create_directory(store::config_file());  // there, but not readable
    EXPECT_EQ(call_zel_is_ft(), -1);
}

TEST_F(Access, RootPathNeverOverrunsTheBuffer) {
    const auto length = static_cast<int>(store::agent_dir().size());
    std::string buffer(store::agent_dir().size() + 2, 'x');
    EXPECT_NE(GetZelRootPath(buffer.data(), length + 1), 0);
    EXPECT_EQ(buffer, store::agent_dir() + '\0' + 'x');
    EXPECT_EQ(GetZelRootPath(buffer.data(), length), 0);
    EXPECT_EQ(buffer[0], '\0');
}

TEST_F(Access, RegistryNumbersThatAreMissingReadAsZero) {
    write_registry("[software/general]\nTime=dword:7\nText=sz:7\n");
    RegNumItem items[] = {{0, 9, "SOFTWARE\\General", "TIME"}, {0, 9, "SOFTWARE/General", "Text"}};
    EXPECT_EQ(GetZelaRegNum(items, 1), 1);
    EXPECT_EQ(GetZelaRegNum(items, 2), 0);
    EXPECT_EQ(items[0].value, 7U);
    EXPECT_EQ(items[1].value, 0U);
    items[1].key = items[1].name = nullptr;
    EXPECT_EQ(GetZelaRegNum(items, 2), 0);
}

TEST_F(Access, SmbiosLibraryIsLoadedOnlyWhole) {
    const fs::path own = fs::path(store::agent_dir()) / "lib/libzelsmbios.so";
    const auto load = [] {
        SmbiosTable table{};
        const int result = load_libzelsmbios(&table);
        EXPECT_EQ(table.unused0 && table.initialise && table.close && table.request, result == 1);
        EXPECT_EQ(table.unused0 || table.initialise || table.close || table.request, result == 1);
        for (int twice = 0; twice < 2; ++twice)
            destroy_libzelsmbios(&table);
        EXPECT_EQ(table.unused0, nullptr);
        return result;
    };
    // In processes of their own, since the loader remembers what a path was.
    const auto load_here = [&](int expected) {
        EXPECT_EQ(finish_process(start_process([&] { return load() == expected && !HasFailure() ? 0 : 1; })),
                  0)
            << expected;
        fs::remove(own);
    };
    write_text(own, "not a library");
    load_here(-1);
    fs::create_symlink(SENSORSHARE_LIBRARY, own);  // a library without the entries
    load_here(-1);
    fs::create_symlink(SMBIOS_LIBRARY, own);
    load_here(1);
}

/// The thresholds of a row, as the library tells them.
std::string row(int number) {
    CpuThresholdRow r{};
    EXPECT_NE(GetCpuThreshold(number, &r), 0);
    std::ostringstream text;
    text << r.enable << ' ' << r.fatalReport << ' ' << r.fatalReset << ' ' << r.warningReport << ' '
         << r.warningReset;
    return text.str();
}

/// How load is sampled, the number of CPUs, and TOTAL.
std::string settings() {
    CpuSettingsRecord s{};
    EXPECT_NE(GetCpuDataFromRegistry(&s), 1);
    std::ostringstream text;
    text << s.samplingInterval << ' ' << s.cycleSeconds << " x" << s.cpuCount << ' ' << s.totalEnable << ' '
         << s.totalFatalReport << ' ' << s.totalFatalReset << ' ' << s.totalWarningReport << ' '
         << s.totalWarningReset;
    return text.str();
}

TEST_F(Access, CpuSettingsComeBackAsWritten) {
    const auto cpus = static_cast<int>(::sysconf(_SC_NPROCESSORS_CONF));
    const std::string count = " x" + std::to_string(cpus);
    EXPECT_EQ(settings(), "10 60" + count + " 1 95 90 85 80");
    EXPECT_EQ(row(cpus), "0 95 90 85 80");

    const CpuThresholdRow total{0, 50, 40, 30, 20};
    const CpuThresholdRow last{1, 100, 99, 2, 1};
    const CpuCycleRecord cycle{30, 604800};
    EXPECT_TRUE(PutCpuThreshold(0, &total) && PutCpuThreshold(cpus, &last) && PutCycletoReg(&cycle));
    EXPECT_EQ(settings(), "30 604800" + count + " 0 50 40 30 20");
    EXPECT_EQ(row(0), "0 50 40 30 20");
    EXPECT_EQ(row(cpus), "1 100 99 2 1");

    const std::string before = read_text(store::registry::path());
    const CpuCycleRecord hostile{0, -1};
    EXPECT_FALSE(PutCpuThreshold(-1, &last) || PutCpuThreshold(cpus + 1, &last) || PutCycletoReg(&hostile) ||
                 PutCpuThreshold(0, nullptr));
    EXPECT_EQ(read_text(store::registry::path()), before);
}

TEST_F(Access, InsaneCpuSettingsReadAsDefaults) {
    write_registry(
        "[SOFTWARE/QUD/ZELAgent/CPU]\nSamplingInterval=dword:0\nCycle=dword:4294967295\n"
        "[SOFTWARE/QUD/ZELAgent/CPU/TOTAL]\nEnable=dword:2\nFatalReport=dword:101\nFatalReset=sz:70\n"
        "WarningReport=dword:99999999999\nWarningReset=dword:77\n");
    EXPECT_EQ(settings().substr(0, 7), "10 60 x");
    EXPECT_EQ(row(0), "1 95 90 85 77");
    write_registry("no key file");
    CpuSettingsRecord record{};
    EXPECT_EQ(GetCpuDataFromRegistry(&record), 1);
}

TEST_F(Access, CpuThresholdsAreJudged) {
    struct Case {
        CpuThresholdRow row;
        int faults;
    };
    for (const auto& [row, faults] : {
             Case{{1, 100, 3, 2, 1}, 0},
             Case{{0, 101, 90, 80, 70}, 0x1},
             Case{{1, 100, 101, 80, 70}, 0x101},
             Case{{1, 4, 3, 2, 0}, 0x10},
             Case{{1, 90, 90, 80, 70}, 0x100},
             Case{{1, 95, 90, 90, 70}, 0x100},
             Case{{1, 95, 90, 80, 80}, 0x100},
             Case{{1, 101, 102, 0, 0}, 0x111},
         }) {
        EXPECT_EQ(TestInputCpuParameter(&row), faults) << row.fatalReport << ' ' << row.fatalReset << ' '
                                                       << row.warningReport << ' ' << row.warningReset;
    }
}

TEST_F(Access, HungServiceCountsAsNotRunningAndHoldsNobodyUp) {
    using Clock = std::chrono::steady_clock;
    EXPECT_EQ(CheckNTserverReady(), -1);  // none at all

    const auto address = access::SocketAddress::of(access::service_socket_path());
    ASSERT_TRUE(address);
    const store::UniqueFd hung(::socket(AF_UNIX, SOCK_SEQPACKET, 0));
    ASSERT_EQ(::bind(hung.get(), address->get(), address->size()), 0);
    ASSERT_EQ(::listen(hung.get(), 1), 0);
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval often{{0, 20'000}, {0, 20'000}};
    const itimerval never{};
    // First no answer comes; soon the queue of connections is full, and connecting itself hangs.
    for (int attempt = 0; attempt < 3; ++attempt) {
        ::setitimer(ITIMER_REAL, &often, nullptr);
        const auto start = Clock::now();
        EXPECT_EQ(CheckNTserverReady(), -1);
        const auto took = Clock::now() - start;
        ::setitimer(ITIMER_REAL, &never, nullptr);
        EXPECT_GE(took, std::chrono::milliseconds(1000));
        EXPECT_LE(took, std::chrono::milliseconds(1500));
        const CpuCycleRecord cycle{5 + attempt, 300};
        EXPECT_NE(PutCycletoReg(&cycle), 0);
        EXPECT_LE(Clock::now() - start, took + std::chrono::milliseconds(500));
    }
}

}  // namespace
}  // namespace zel::test

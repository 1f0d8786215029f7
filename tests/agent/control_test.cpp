// SPDX-License-Identifier: GPL-3.0-or-later
// SNMP communities and hang settings on a made-up machine.
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cstdlib>

#include "base/file_io.h"
#include "home.h"
#include "zel/access_control.h"
#include "zel/access_monitor.h"
#include "zel/tracelog.h"

namespace {

using namespace zel::test;

class Control : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(home("snmp/d"));
        write_text(zel::base::config_file(), "[snmp]\nconf=" + home("snmp/snmpd.conf") + '\n');
    }
    static void registry(const std::string& key, const std::string& values) {
        write_text(state("registry.conf"), "[SOFTWARE/QUD/ZELAgent/" + key + "]\n" + values);
    }
};

/// The names of a list as a caller has it filled.
Strings communities() {
    auto* head = static_cast<CommunityNode*>(calloc(1, sizeof(CommunityNode)));
    const int count = GetCommunityNamefromConf(head);
    Strings names;
    for (const auto* node = head; node && count > 0; node = node->next)
        names.emplace_back(node->name);
    EXPECT_EQ(count, std::ssize(names));
    EXPECT_EQ(FreeCommnityStruct(&head), 1);
    return names;
}

TEST_F(Control, CommunitiesAreTheOnesThatTheDaemonTakes) {
    ASSERT_EQ(TraceLogInit(0, "control", 0, 5, 0), 0);
    for (const auto& [name, text] :
         std::map<std::string, std::string>{{"in.conf", "rocommunity inherited\n[snmp]\n"},
                                            {"no.conf", "rocommunity no"},
                                            {"d/b.conf", "rocommunity b\nincludeFile ../snmpd.conf"},
                                            {"d/a.conf", "rocommunity a\n"},
                                            {"d/.c.conf", "rocommunity no"},
                                            {"d/with blank.txt", "includeFile a.conf\nrocommunity w"}})
        write_text(home(std::string("snmp/") + name), text);
    EXPECT_EQ(communities(), Strings());
    const std::string n99(99, 'c'), n100(100, 'z'), blanks(70'000, ' ');
    for (const auto& [text, names] : std::initializer_list<std::pair<std::string, Strings>>{
             {"rocommunity one default -V x\n\t RWCommunity two\r\nrocommunity6 six\nrwcommunity6\ttwo\n"
              "authcommunity log,execute auth\ncom2sec -Cn ctx sec default ctxname\ncom2sec -Cn ctx sec d\n"
              "com2sec6 sec ::1 c6\ncom2secunix sec /x cu\nrocommunity\n#rocommunity no\n"
              "trapcommunity no\ntrapsink host no\nrocommunityx no\nrocommunity last",
              {"one", "two", "six", "auth", "ctxname", "c6", "cu", "last"}},
             {"rocommunity \"a b\\\"c\"d\nrocommunity 'it\"s'\nrocommunity e\\ f\\\\\nrocommunity ha#sh # x\n"
              "rocommunity #no\nrocommunity ''\nrocommunity go\\\nrocommunity \"open end\n\"rocommunity\" q",
              {"a b\"c", "it\"s", "e f\\", "ha#sh", "go\\", "open end", "q"}},
             {"[snmp]\nrocommunity no\n[snmpd] rocommunity line\nrocommunity no\nincludeFile in.conf\n"
              "[snmpd]\nrocommunity yes\n[snmp] rocommunity no\n[open rocommunity no\nrocommunity too\n"
              "[other] includeFile d/a.conf\nincludeFile in.conf\n",
              {"line", "yes", "too", "inherited"}},
             {"includedir d\nIncludeFile \t d/with blank.txt \r\nincludeFile gone\nincludeDir gone\n"
              "includeFile d\nincludeFile\nrocommunity end",
              {"a", "b", "w", "end"}},
             {"rocommunity " + n99 + "\nrocommunity " + n100 + "\nrocommunity x" + blanks + "\nrocommunity " +
                  blanks.substr(0, 65'519) + "whole\nrocommunity " + blanks.substr(0, 65'520) +
                  "halfs\nrocommunity b\x01l\nrocommunity " + std::string("n\0l", 3) +
                  "\nrocommunity \xFF\nrocommunity \xC2\x85\nrocommunity \xC3\xA4\n\x7F\xFE",
              {n99, "x", "whole", "\xC3\xA4"}}}) {
        write_text(home("snmp/snmpd.conf"), text);
        EXPECT_EQ(communities(), names);
    }
    const std::string traced = read_text(state("log/control.log"));
    EXPECT_NE(traced.find("community names left out"), std::string::npos);
    EXPECT_EQ(traced.find("zzzzz"), std::string::npos);
}

TEST_F(Control, ActionCodesAreTheEightAndNoOther) {
    int made = 0;
    for (std::uint64_t code = 0; code < 256; ++code) {
        int when = -1, after = -1;
        if (GetTimeoutAct(&when, &after, code) == 0) continue;
        ++made;
        std::uint64_t again = ~std::uint64_t{0};
        EXPECT_NE(SetTimeoutAct(when, after, &again), 0);
        EXPECT_EQ(again, 0xFFFFFFFF00000000U | code);
    }
    EXPECT_EQ(made, 8);
}

/// Shutdown and watchdog settings as they were saved.
std::string hang() {
    ShutdownRecord down{};
    WdtRecord dog{};
    EXPECT_TRUE(GetAllofShutDown(&down) && GetAllofWDT(&dog));
    std::ostringstream text;
    text << down.dwHangEnable << ' ' << down.dwTimeout << ' ' << down.dwTimeoutAct << '|' << dog.qwHangEnable
         << ' ' << dog.qwInterval << ' ' << dog.qwTimeout << ' ' << dog.qwTimeoutAct << ' ' << dog.library;
    return text.str();
}
bool set_down(std::uint32_t enable, std::uint32_t timeout, std::uint32_t action) {
    ShutdownRecord down{enable, timeout, action, {}};
    return SetAllofShutDown(&down) == 0;
}
bool set_dog(std::uint64_t enable, std::uint64_t interval, std::uint64_t timeout, std::uint64_t action) {
    WdtRecord dog{enable, interval, timeout, action, 77};
    return SetAllofWDT(&dog) == 0;
}

TEST_F(Control, HangSettingsKeepTheirRanges) {
    EXPECT_EQ(hang(), "0 600 1|0 30 120 1 0");
    EXPECT_TRUE(set_down(1, 300, 0x23) && set_down(1, 6000, 0) && set_dog(1, 30, 90, 1));
    EXPECT_TRUE(set_dog(1, 60, 600, 0x20));
    const std::uint64_t wrapping = (std::uint64_t{1} << 32U) + 90;
    EXPECT_FALSE(set_down(1, 299, 0) || set_down(1, 6001, 0) || set_down(1, 600, 4) || set_down(2, 600, 0));
    EXPECT_FALSE(set_dog(1, 29, 90, 0) || set_dog(1, 61, 90, 0) || set_dog(1, 30, 89, 0) ||
                 set_dog(1, 30, wrapping, 0) || set_dog(1, 30, 90, 0x40) || set_dog(wrapping, 30, 90, 0));
    EXPECT_EQ(hang(), "1 6000 0|1 60 600 32 2");
    // Switched off, what makes no sense does not matter and does not get in.
    EXPECT_TRUE(set_down(0, 5, 0x22) && set_dog(0, 45, wrapping, 255));
    EXPECT_EQ(hang(), "0 6000 34|0 45 600 32 3");
    registry("Shutdown",
             "HangEnable=dword:9\nTimeout=dword:299\nTimeoutAct=sz:1\n[SOFTWARE/QUD/ZELAgent/Watchdog]\n"
             "HangEnable=dword:1\nInterval=dword:4294967295\nTimeout=dword:91\nTimeoutAct=dword:36\n"
             "Generation=dword:4294967295\n");
    EXPECT_EQ(hang(), "0 600 1|1 30 91 1 4294967295");
}

TEST_F(Control, ABootLoadersProgramThatOthersCouldChangeIsNotRun) {
    write_text(home("editenv"),
               "#!/bin/sh\nprintf '# GRUB Environment Block\nnext_entry=Rescue\n####' >$1\n");
    fs::permissions(home("editenv"), fs::perms(0722));
    registry("Maintenance", "Target=sz:grub:Rescue\n");
    EXPECT_NE(MOVALSetMode(MOVAL_MODE_ON, 1), 0);
    EXPECT_EQ(read_text(home("grubenv")).find("Rescue"), std::string::npos);
}

// A device would act by being opened; a pipe stands for it.
TEST_F(Control, WhatIsNoFileIsNotEvenOpened) {
    write_text(home("snmp/snmpd.conf"), "includeFile in.conf\n");
    registry("Maintenance", "Target=sz:grub:Rescue\n");
    const zel::base::UniqueFd watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    for (const std::string& path : {home("snmp/in.conf"), home("grubenv"), home("snmp/snmpd.conf"),
                                    state("registry.conf"), state("storage.conf"), home("agent.conf")}) {
        fs::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        ASSERT_GE(inotify_add_watch(watch.get(), path.c_str(), IN_OPEN), 0);
        int number = 0;
        EXPECT_EQ(communities(), Strings());
        GetUtlBootMode(&number);
        StorageThresholdItem items[STORAGE_DEVICES_MAX][4];
        char names[STORAGE_DEVICES_MAX][30];
        ReadThresholdFromFile(&number, &number, names, items);
        char event[512];
        EXPECT_EQ(read(watch.get(), event, sizeof event), -1) << path;
    }
}

}  // namespace

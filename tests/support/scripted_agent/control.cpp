// SPDX-License-Identifier: GPL-3.0-or-later
// Server control. What the Get calls fill in:
//   rack=NAME, snmp.flags=1,0, community=NAME (the stored one), conf.communities=NAME,NAME (of snmpd.conf),
//   shutdown=1,600,17,TAIL... (32-bit words), wdt=1,30,90,17,TAIL (64-bit words), boot.mode=1
//   actions=0,3: what any action code stands for; otherwise 16 * after + when
#include <zel/access_control.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "script.h"

namespace {

using scripted::call;
using scripted::fields_of;

std::string value_of(const char* name) {
    const auto found = scripted::lines().find(name);
    return found == scripted::lines().end() ? "" : found->second;
}

/// All numbers up to the last one that is not 0.
template <class Number>
std::string without_zeros(const Number* numbers, std::size_t count) {
    while (count > 0 && numbers[count - 1] == 0)
        --count;
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text +=
            (text.empty() ? "" : ",") + std::to_string(static_cast<std::make_unsigned_t<Number>>(numbers[i]));
    return "{" + text + "}";
}

}  // namespace

int GetCurrentRackId(char* name256) {
    std::snprintf(name256, RACK_NAME_SIZE, "%s", value_of("rack").c_str());
    return call("GetCurrentRackId", 0);
}

int ApplyRackmount(const char* name) {
    return call("ApplyRackmount", 0, name);
}

int GetSnmpFlagsfromReg(SnmpFlags* flags) {
    scripted::fill("snmp.flags", fields_of(*flags));
    return call("GetSnmpFlagsfromReg", 0);
}

int SetSnmpFlagstoReg(const SnmpFlags* flags) {
    return call("SetSnmpFlagstoReg", 0, fields_of(*flags));
}

int GetCommunityNamefromConf(CommunityNode* head) {
    const auto names = scripted::parts("conf.communities");
    CommunityNode* node = head;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (i > 0) node = node->next = static_cast<CommunityNode*>(std::calloc(1, sizeof(CommunityNode)));
        node->index = static_cast<int32_t>(i);
        std::snprintf(node->name, sizeof node->name, "%s", names[i].c_str());
    }
    return call("GetCommunityNamefromConf", static_cast<int>(names.size()));
}

int GetCommunityNamefromReg(char* name32) {
    std::snprintf(name32, COMMUNITY_REGISTRY_SIZE, "%s", value_of("community").c_str());
    return call("GetCommunityNamefromReg", 0);
}

int SetCommunityNametoReg(const char* name) {
    return call("SetCommunityNametoReg", 0, name);
}

int TestCurrentSameasBefore(const char* name, CommunityNode* head, int* selectedIndex) {
    const CommunityNode* node = head;
    while (node != nullptr && std::strcmp(node->name, name) != 0)
        node = node->next;
    if (node != nullptr) *selectedIndex = node->index;
    return call("TestCurrentSameasBefore", node != nullptr ? 0 : 1, name);
}

int FreeCommnityStruct(CommunityNode** head) {
    while (CommunityNode* node = *head) {
        *head = node->next;
        std::free(node);
    }
    return call("FreeCommnityStruct", 1);
}

int GetZelaRegNum(RegNumItem* items, int count) {
    std::string names;
    for (int i = 0; i < count; ++i) {
        const std::string name = std::string(items[i].key) + " " + items[i].name;
        const std::string value = value_of(("reg " + name).c_str());
        if (value.starts_with("dword:"))
            items[i].value = static_cast<uint32_t>(std::strtoul(value.c_str() + 6, nullptr, 0));
        names += (names.empty() ? "" : ",") + name;
    }
    return call("GetZelaRegNum", 0, names);
}

int ZELChassisIdentify_V15(uint8_t* interval) {
    return call("ZELChassisIdentify_V15", 0, *interval);
}

int GetAllofShutDown(ShutdownRecord* record) {
    scripted::fill("shutdown", fields_of(*record));
    return call("GetAllofShutDown", 1);
}

int SetAllofShutDown(ShutdownRecord* record) {
    const auto words = fields_of(*record);
    return call("SetAllofShutDown", 0, without_zeros(words.data(), words.size()));
}

int GetTimeoutAct(int* when, int* after, uint64_t code) {
    std::array<int32_t, 2> actions = {static_cast<int32_t>(code % 16), static_cast<int32_t>(code / 16 % 16)};
    scripted::fill("actions", actions);
    *when = actions[0];
    *after = actions[1];
    return call("GetTimeoutAct", 1, code);
}

int SetTimeoutAct(int when, int after, void* code) {
    const auto made = static_cast<uint32_t>(16 * after + when);
    std::memcpy(code, &made, sizeof made);
    return call("SetTimeoutAct", 1, when, after);
}

int GetAllofWDT(WdtRecord* record) {
    const auto words = scripted::parts("wdt");
    auto* const fields = reinterpret_cast<uint64_t*>(record);
    for (std::size_t i = 0; i < std::min(words.size(), sizeof *record / sizeof *fields); ++i)
        fields[i] = std::strtoull(words[i].c_str(), nullptr, 0);
    return call("GetAllofWDT", 1);
}

int SetAllofWDT(WdtRecord* record) {
    return call("SetAllofWDT", 0,
                without_zeros(reinterpret_cast<const uint64_t*>(record), sizeof *record / sizeof(uint64_t)));
}

int GetInstallStatus() {
    return call("GetInstallStatus", 1);
}

int GetUtlBootMode(int* mode) {
    *mode = std::atoi(value_of("boot.mode").c_str());
    return call("GetUtlBootMode", 1);
}

int MOVALSetMode(int mode, int flag) {
    return call("MOVALSetMode", 0, mode, flag);
}

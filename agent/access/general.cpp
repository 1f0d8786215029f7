// SPDX-License-Identifier: GPL-3.0-or-later
// The server's name and how the agent uses SNMP.
//
//   SOFTWARE/QUD/ZELAgent/Rack   Name (text)
//   SOFTWARE/QUD/ZELAgent/SNMP   Enable, Permit (0 or 1), Community (text)
//
//   agent.conf
//   [snmp]
//   conf=/etc/snmp/snmpd.conf    the daemon's configuration
#include <array>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "base/plain_text.h"
#include "settings/registry_values.h"
#include "store/agent_config.h"
#include "system/communities.h"
#include "zel/access_control.h"
#include "zel/trace.h"

namespace {

constexpr const char* kModule = "general";
namespace settings = zel::settings;
namespace base = zel::base;
namespace store = zel::store;
using zel::store::registry::Entry;

constexpr int kDone = 0;
constexpr int kFailed = 1;

/// At most `most` bytes of a caller's text.
std::string_view bounded(const char* text, std::size_t most) {
    return {text, ::strnlen(text, most)};
}

std::string stored_community() {
    std::string name = settings::read_text(settings::kCommunity);
    return name.empty() ? settings::kCommunity.fallback : name;
}

int write_text(const settings::Text& text, std::string_view words) {
    const std::array entries{Entry{text.name, std::string(words)}};
    return settings::write_values(text.key, entries) ? kDone : kFailed;
}

/// A name as GetCommunityNamefromReg hands it out.
std::string_view handed_out(std::string_view name) {
    return base::cut(name, COMMUNITY_REGISTRY_SIZE - 1);
}

const CommunityNode* find(const CommunityNode* node, std::string_view name) {
    while (node && bounded(node->name, sizeof node->name) != name)
        node = node->next;
    return node;
}

/// Appends a node that the caller frees with FreeCommnityStruct; null when there is no memory.
CommunityNode* append_node(CommunityNode* last) {
    last->next = static_cast<CommunityNode*>(std::calloc(1, sizeof(CommunityNode)));
    if (!last->next) ZEL_TRACE(TRACE_LEVEL_RESOURCE, "No memory for a list.");
    return last->next;
}

}  // namespace

extern "C" int GetCurrentRackId(char* name256) try {
    if (!name256 || !settings::registry_readable()) return kFailed;
    base::put(settings::read_text(settings::kRackName), {name256, RACK_NAME_SIZE});
    return kDone;
} catch (...) {
    return kFailed;
}

extern "C" int ApplyRackmount(const char* name) try {
    if (!name) return kFailed;
    const std::string_view fitting = base::cut(bounded(name, RACK_NAME_SIZE), RACK_NAME_SIZE - 1);
    if (!base::is_plain(fitting)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "The rack name is not a plain text.");
        return kFailed;
    }
    return write_text(settings::kRackName, fitting);
} catch (...) {
    return kFailed;
}

extern "C" int GetSnmpFlagsfromReg(SnmpFlags* flags) try {
    const auto stored = settings::read_record(settings::kSnmp);
    if (!flags || !stored) return kFailed;
    *flags = {.enable = stored->enable, .permit = stored->enable & stored->permit};
    return kDone;
} catch (...) {
    return kFailed;
}

extern "C" int SetSnmpFlagstoReg(const SnmpFlags* flags) try {
    if (!flags) return kFailed;
    const bool enable = flags->enable != 0;
    const SnmpFlags sane{.enable = enable, .permit = enable && flags->permit != 0};
    return settings::write_record(settings::kSnmp, sane, settings::kSnmp.key) ? kDone : kFailed;
} catch (...) {
    return kFailed;
}

extern "C" int GetCommunityNamefromConf(CommunityNode* head) try {
    if (!head) return 0;
    int count = 0;
    CommunityNode* node = head;
    for (const std::string& name :
         zel::system::read_communities(store::configured("snmp", "conf", "/etc/snmp/snmpd.conf"))) {
        if (count > 0) node = append_node(node);
        if (!node) break;
        node->index = count++;
        base::put(name, node->name);
    }
    return count;
} catch (...) {
    return 0;
}

extern "C" int GetCommunityNamefromReg(char* name32) try {
    if (!name32 || !settings::registry_readable()) return kFailed;
    base::put(stored_community(), {name32, COMMUNITY_REGISTRY_SIZE});
    return kDone;
} catch (...) {
    return kFailed;
}

extern "C" int SetCommunityNametoReg(const char* name) try {
    if (!name) return kFailed;
    const std::string_view whole = bounded(name, zel::system::kLongestCommunity + 1);
    if (whole.empty() || whole.size() > zel::system::kLongestCommunity || !base::is_plain(whole)) {
        ZEL_TRACE(TRACE_LEVEL_ERROR,
                  "A community name that is empty, too long or not a plain text is refused.");
        return kFailed;
    }
    return write_text(settings::kCommunity, whole);
} catch (...) {
    return kFailed;
}

extern "C" int TestCurrentSameasBefore(const char* name, CommunityNode* head, int* selectedIndex) try {
    constexpr int kMissing = 1;
    if (!name || !selectedIndex) return kMissing;
    const std::string_view wanted = bounded(name, COMMUNITY_NODE_NAME_SIZE);
    const CommunityNode* node = find(head, wanted);
    if (!node) {
        // The caller may hold no more than the first bytes of the stored name.
        const std::string whole = stored_community();
        if (handed_out(whole) == wanted) node = find(head, whole);
    }
    if (!node) return kMissing;
    *selectedIndex = node->index;
    return 0;
} catch (...) {
    return 1;
}

extern "C" int FreeCommnityStruct(CommunityNode** head) {
    while (head && *head) {
        CommunityNode* const next = (*head)->next;
        std::free(*head);
        *head = next;
    }
    return 1;
}

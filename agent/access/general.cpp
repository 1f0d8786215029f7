// SPDX-License-Identifier: GPL-3.0-or-later
// The server's name and how the agent uses SNMP.
//
//   SOFTWARE/QUD/ZELAgent/Rack   Name (text)
//   SOFTWARE/QUD/ZELAgent/SNMP   Enable, Permit (0 or 1), Community (text)
//
//   agent.conf
//   [snmp]
//   conf=/etc/snmp/snmpd.conf    the daemon's configuration
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "base/plain_text.h"
#include "handed_out.h"
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
namespace access = zel::access;

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

// What was handed out: the whole texts, of which a caller may have got no more than the beginning.
struct RackName {
    static constexpr settings::Text kText = settings::kRackName;
    static constexpr std::size_t kLongest = RACK_NAME_SIZE - 1;
    std::string whole;
};
struct Community {
    static constexpr settings::Text kText = settings::kCommunity;
    static constexpr std::size_t kLongest = COMMUNITY_REGISTRY_SIZE - 1;
    std::string whole;
};

/// The part of a text that a caller gets.
template <class Kind>
std::string_view part_of(std::string_view whole) {
    return base::cut(whole, Kind::kLongest);
}

template <class Kind>
void hand_out(const std::string& whole, char* out) {
    access::handed_out<Kind>().keep({whole});
    base::put(whole, {out, Kind::kLongest + 1});
}

template <class Kind>
int write_text(std::string_view words) {
    auto& known = access::handed_out<Kind>();
    const auto before = known.last();
    const bool same = before && (words == before->whole || words == part_of<Kind>(before->whole));
    const std::string text(words);
    if (!settings::write_text(Kind::kText, text, same ? std::optional(before->whole) : std::nullopt))
        return kFailed;
    if (!same) known.saved({text});
    return kDone;
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
    hand_out<RackName>(settings::read_text(settings::kRackName), name256);
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
    return write_text<RackName>(fitting);
} catch (...) {
    return kFailed;
}

extern "C" int GetSnmpFlagsfromReg(SnmpFlags* flags) try {
    auto stored = settings::read_record(settings::kSnmp);
    if (!flags || !stored) return kFailed;
    settings::mask(*stored);
    access::handed_out<SnmpFlags>().keep(*stored);
    *flags = *stored;
    return kDone;
} catch (...) {
    return kFailed;
}

extern "C" int SetSnmpFlagstoReg(const SnmpFlags* flags) try {
    if (!flags) return kFailed;
    const bool enable = flags->enable != 0;
    const SnmpFlags sane{.enable = enable, .permit = enable && flags->permit != 0};
    auto& known = access::handed_out<SnmpFlags>();
    if (!settings::write_record(settings::kSnmp, sane, settings::kSnmp.key,
                                {.before = known.last(), .mask = settings::mask}))
        return kFailed;
    known.saved(sane);
    return kDone;
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
    hand_out<Community>(stored_community(), name32);
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
    return write_text<Community>(whole);
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
        if (part_of<Community>(whole) == wanted) node = find(head, whole);
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

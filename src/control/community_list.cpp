// SPDX-License-Identifier: GPL-3.0-or-later
#include "community_list.h"

#include <agntconf/columns.h>
#include <agntconf/messages.h>
#include <agntconf/readstrfile.h>
#include <zel/trace.h>

#include <array>
#include <cstdlib>
#include <cstring>

namespace zel {

namespace {

constexpr char kModule[] = "general_ipmi";
constexpr char kPanel[] = "GeneralPanel";
constexpr char kDefaultCommunity[] = "plinth";
constexpr std::size_t kMessageBytes = 99;

/// A cleared node for the C library to free; null, after a message, when memory is short.
CommunityNode* allocate_node() {
    auto* node = static_cast<CommunityNode*>(std::calloc(1, sizeof(CommunityNode)));
    if (node == nullptr) {
        show_call_failed("malloc", kMessageBytes);
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_RESOURCE, "<malloc failed.");
    }
    return node;
}

void set_name(CommunityNode& node, std::string_view name) {
    const std::string_view kept = cut_bytes(name, sizeof node.name - 1);
    node.name[kept.copy(node.name, kept.size())] = '\0';
}

}  // namespace

std::string community_name(const CommunityNode& node) {
    return {node.name, strnlen(node.name, sizeof node.name)};
}

bool CommunityList::allocate_head() {
    head_ = allocate_node();
    if (head_ == nullptr) return false;
    if (GetCommunityNamefromConf(head_) != 0) return true;
    set_name(*head_, kDefaultCommunity);
    head_->index = 0;
    return true;
}

bool CommunityList::put_in_front(const std::string& name) {
    CommunityNode* first = allocate_node();
    if (first == nullptr) return false;
    set_name(*first, name);
    first->next = head_;
    head_ = first;
    for (CommunityNode* node = first->next; node != nullptr; node = node->next)
        ++node->index;
    selectedIndex_ = 0;
    notInConf_ = true;
    return true;
}

bool CommunityList::read() {
    if (!allocate_head()) return false;
    // Larger than the 32 bytes that the agent fills, so that no listed name is cut on its way back.
    std::array<char, COMMUNITY_NODE_NAME_SIZE> currentCommunity{};
    if (GetCommunityNamefromReg(currentCommunity.data()) == 1) {
        show_error(text("HWERR_OPEN_ID"));
        ZEL_TRACE_AS(kPanel, TRACE_LEVEL_ERROR, "<GetCommunityNamefromReg() failed.");
        return false;
    }
    currentCommunity.back() = '\0';
    int selectedIndex = 0;
    if (TestCurrentSameasBefore(currentCommunity.data(), head_, &selectedIndex) != 0)
        return put_in_front(currentCommunity.data());
    selectedIndex_ = selectedIndex;
    return true;
}

void CommunityList::store(std::int32_t row) const {
    for (const CommunityNode* node = head_; node != nullptr; node = node->next) {
        if (node->index == row) {
            SetCommunityNametoReg(community_name(*node).c_str());
            return;
        }
        SetCommunityNametoReg(kDefaultCommunity);
    }
}

}  // namespace zel

// SPDX-License-Identifier: GPL-3.0-or-later
// The words for records of the system event log are FreeIPMI's; it asks no controller for them.
#include <array>
#include <memory>
#include <mutex>

#include "freeipmi_library.h"
#include "sdr_repository.h"
#include "sel.h"

namespace zel::bmc {
namespace {

class Words {
  public:
    explicit Words(const SelRecord& record)
        : ipmi_(freeipmi()),
          context_(ipmi_ != nullptr ? ipmi_->ipmi_sel_ctx_create(nullptr, nullptr) : nullptr),
          record_(record) {}
    ~Words() {
        if (context_ != nullptr) ipmi_->ipmi_sel_ctx_destroy(context_);
    }
    Words(const Words&) = delete;
    Words& operator=(const Words&) = delete;

    /// What a record has of this; empty where it has nothing.
    [[nodiscard]] std::string part(const char* format) const {
        std::array<char, 512> text{};
        if (context_ == nullptr ||
            ipmi_->ipmi_sel_parse_read_record_string(
                context_, format, record_.data(), static_cast<unsigned>(record_.size()), text.data(),
                static_cast<unsigned>(text.size() - 1),
                IPMI_SEL_STRING_FLAGS_IGNORE_UNAVAILABLE_FIELD | IPMI_SEL_STRING_FLAGS_DATE_MONTH_STRING) <=
                0)
            return {};
        return text.data();
    }

  private:
    const FreeIpmi* ipmi_;
    ipmi_sel_ctx_t context_;
    const SelRecord& record_;
};

}  // namespace

std::string sel_text(const SelRecord& record, const std::string& name) {
    const Words words(record);
    std::string text;
    const auto add = [&](const char* separator, const std::string& part) {
        if (!part.empty()) text.append(text.empty() ? "" : separator).append(part);
    };
    const std::string date = words.part("%d");
    const std::string time = words.part("%t");
    add("", date);
    if (time != date) add(" ", time);  // without a clock both are the same word
    add(", ", words.part("%T"));
    add(" ", name.empty() ? words.part("%s") : name);
    add(": ", words.part("%E"));
    add(", ", words.part("%k"));
    add(", ", words.part("%o"));
    return text.empty() ? to_hex(record) : text;
}

}  // namespace zel::bmc

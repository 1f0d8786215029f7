// SPDX-License-Identifier: GPL-3.0-or-later
// What agent.conf says: the file an administrator writes and no program changes. It is read once, and again
// when it changed. A missing one is empty, and so is one that does not parse (which is traced): a slip of an
// editor must not keep an administrator from the tool.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "key_file.h"

namespace zel::store {

struct AgentConfig;

/// A word that a setting may have, and what it means.
template <class Value>
struct Choice {
    const char* word;
    Value value;
};
inline constexpr std::array kTruths{Choice<bool>{"true", true}, Choice<bool>{"false", false}};

/// One group of the file as it stood when this was made. A value that is not valid is traced, once for each
/// state of the file, and then counts as missing.
class ConfigGroup {
  public:
    explicit ConfigGroup(std::string name);

    /// `ok` for a missing file, too.
    [[nodiscard]] Status status() const;
    /// False when the file could not be understood, or a value asked for was not valid.
    [[nodiscard]] bool valid() const { return status() == Status::ok && valid_; }

    /// The text under `key`, or `fallback` when it is missing or empty.
    [[nodiscard]] std::string text(const std::string& key, const std::string& fallback);
    /// A decimal or 0x-prefixed number within a range, or `fallback` when it is missing.
    std::int64_t number(const std::string& key, std::int64_t least, std::int64_t greatest,
                        std::int64_t fallback);
    /// What the word under `key` means, or `fallback` when it is missing.
    template <class Choices, class Value>
    Value choice(const std::string& key, const Choices& choices, Value fallback) {
        if (!has(key)) return fallback;
        const auto word = get(key);
        for (const auto& known : choices) {
            if (word == known.word) return known.value;
        }
        refuse(key);
        return fallback;
    }

    /// Says that the value of `key` is not valid.
    void refuse(const std::string& key, const char* why = "is not valid");

  private:
    [[nodiscard]] bool has(const std::string& key) const;
    [[nodiscard]] std::optional<std::string> get(const std::string& key) const;

    std::string name_;
    std::shared_ptr<const AgentConfig> config_;
    bool valid_ = true;
};

/// The text under `key` of [`group`], or `fallback` when the configuration gives none.
std::string configured(const std::string& group, const std::string& key, const std::string& fallback);

}  // namespace zel::store

// SPDX-License-Identifier: GPL-3.0-or-later
// The password of the controller's user.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace zel::bmc {

/// A password in memory, wiped at the end of its life.
class Password {
  public:
    static constexpr std::size_t kMaxSize = 20;

    Password() = default;
    ~Password();
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    /// Reads the first line of a file. False, with the reason (never the content) traced, when others than
    /// its owner can read it, the owner is neither root nor this user, or the line is longer than 20 bytes.
    bool read(const std::string& path);
    /// Wipes the copy that a library keeps of it, zero-terminated in a field of `kMaxSize` + 1 bytes with a
    /// zero before it. False when there is none.
    bool wipe_copy_in(std::span<char> memory) const;
    /// Zero-terminated; empty before `read` succeeded.
    [[nodiscard]] const char* c_str() const { return text_.data(); }

  private:
    std::array<char, kMaxSize + 1> text_{};
};

/// The file to read it from, given the one of the settings: the service manager's credential takes its place,
/// for the service may not read root's files.
std::string password_file(std::string configured);

}  // namespace zel::bmc

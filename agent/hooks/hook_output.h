// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>

#include "base/file_io.h"

namespace zel::hooks {

/// What one hook writes, said line by line under its name, as much as is bearable; the rest is read and left out, so
/// that the hook is not held up.
class HookOutput {
  public:
    explicit HookOutput(const std::string& name) : name_(name) {}

    /// Makes the pipe. No descriptor for the hook to write to, with errno set, on failure.
    base::UniqueFd open();
    /// Becomes readable when there is something; -1 when nobody writes any more.
    [[nodiscard]] int readable() const { return pipe_.get(); }
    /// Says what is there by now, without waiting.
    void read();
    /// Says the last line, which has no end.
    void finish();

  private:
    void take(char one);

    std::string name_;
    base::UniqueFd pipe_;
    std::string line_;
    std::size_t lines_ = 0;
};

}  // namespace zel::hooks

// SPDX-License-Identifier: GPL-3.0-or-later
// What a program and the children that ask mounts for it share.
#pragma once

#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace zel::system {

inline constexpr std::size_t kMostChildren = 16;  ///< At a time, with those that hang.

struct Answer {
    std::atomic<bool> given = false;
    int error = 0;  ///< errno
    bool folder = false;
    std::uint64_t blocks = 0;
    std::uint64_t block_size = 0;
    std::uint64_t used = 0;       ///< bytes
    std::uint64_t available = 0;  ///< bytes
};

/// The memory that a round's children share with the caller; the answers stand behind it.
struct Board {
    std::atomic<std::size_t> next = 0;   ///< The first question that no child has taken.
    std::atomic<std::size_t> given = 0;  ///< How many answers are.
    std::atomic<bool> over = false;
    std::array<std::atomic<std::size_t>, kMostChildren> asking{};  ///< By child, its question.
};

class SharedBoard {
  public:
    explicit SharedBoard(std::size_t questions) : size_(sizeof(Board) + questions * sizeof(Answer)) {
        void* const memory =
            ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) return;
        board_ = new (memory) Board;
        auto* const first = reinterpret_cast<Answer*>(board_ + 1);
        std::uninitialized_value_construct_n(first, questions);
        answers_ = {first, questions};
    }
    ~SharedBoard() {
        if (board_) ::munmap(board_, size_);
    }
    SharedBoard(const SharedBoard&) = delete;
    SharedBoard& operator=(const SharedBoard&) = delete;

    explicit operator bool() const { return board_ != nullptr; }
    Board* operator->() const { return board_; }
    [[nodiscard]] std::span<Answer> answers() const { return answers_; }

  private:
    std::size_t size_;
    Board* board_ = nullptr;
    std::span<Answer> answers_;
};
static_assert(alignof(Answer) <= alignof(Board) && std::atomic<std::size_t>::is_always_lock_free);

}  // namespace zel::system

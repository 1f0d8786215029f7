// SPDX-License-Identifier: GPL-3.0-or-later
// A key file that is read again only when it changed.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "key_file_read.h"

namespace zel::store {

/// Keeps what was made of a file, a `Content` constructed from the status of reading it and the key file, as
/// long as the file's stamp stays the same. A file that is missing or cannot be read is looked at each time.
template <class Content>
class CachedFile {
  public:
    explicit CachedFile(std::string path) : path_(std::move(path)) {}

    /// What the file holds now. May be called from any thread.
    std::shared_ptr<const Content> current() {
        const std::lock_guard guard(mutex_);
        if (content_ && settled_ && stamp_of(path_) == stamp_) return content_;
        KeyFile file;
        std::string text;
        const Status status = read_key_file(path_, file, stamp_, text);
        settled_ = (status == Status::ok || status == Status::corrupt) && is_settled(stamp_);
        content_ = std::make_shared<const Content>(status, file);
        return content_;
    }

  private:
    std::string path_;
    std::mutex mutex_;
    std::shared_ptr<const Content> content_;
    FileStamp stamp_;
    bool settled_ = false;
};

}  // namespace zel::store

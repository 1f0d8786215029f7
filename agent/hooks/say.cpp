// SPDX-License-Identifier: GPL-3.0-or-later
#include "say.h"

#include <unistd.h>

#include "base/file_io.h"
#include "chars/plain.h"

namespace zel::hooks {

void say(const std::string& line) {
    base::write_all(STDERR_FILENO, chars::escaped(line) + '\n');
}

}  // namespace zel::hooks

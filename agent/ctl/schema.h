// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/json_text.h"

namespace zel::ctl {

/// The JSON Schema of documents and answers, made of what the settings may be.
base::Json schema();

}  // namespace zel::ctl

// SPDX-License-Identifier: GPL-3.0-or-later
// FreeIPMI, bound at run time through a table of entry points: loading it takes a millisecond that only those
// pay who talk to the controller, and a server without it keeps everything else.
#pragma once

#include <freeipmi/freeipmi.h>

namespace zel::bmc {

#define ZEL_FREEIPMI_ENTRY_POINTS(X) \
    X(ipmi_ctx_create)               \
    X(ipmi_ctx_destroy)              \
    X(ipmi_ctx_close)                \
    X(ipmi_ctx_open_inband) X(ipmi_ctx_open_outofband_2_0) X(ipmi_cmd_raw) X(ipmi_ctx_errormsg)

#define ZEL_TABLE_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)
struct FreeIpmi {
    ZEL_FREEIPMI_ENTRY_POINTS(ZEL_TABLE_MEMBER)
};
#undef ZEL_TABLE_MEMBER

/// The entry points, loaded once per process; null (the reason is in the trace log) when FreeIPMI is not
/// installed or lacks one of them.
const FreeIpmi* freeipmi();

}  // namespace zel::bmc

// SPDX-License-Identifier: GPL-3.0-or-later
// FreeIPMI, bound at run time through a table of entry points: loading it takes a millisecond that only those
// pay who talk to the controller, and a server without it keeps everything else.
#pragma once

#include <freeipmi/freeipmi.h>

#include "store/late_library.h"

namespace zel::bmc {

// clang-format off
#define ZEL_FREEIPMI_ENTRY_POINTS(X)                                                               \
    X(ipmi_ctx_create) X(ipmi_ctx_destroy) X(ipmi_ctx_close) X(ipmi_ctx_open_inband)               \
    X(ipmi_ctx_open_outofband_2_0) X(ipmi_cmd_raw) X(ipmi_ctx_errormsg)               \
    X(ipmi_sel_ctx_create) X(ipmi_sel_ctx_destroy) X(ipmi_sel_parse_read_record_string)
// clang-format on

struct FreeIpmi {
    static constexpr const char* kLibrary = "libfreeipmi.so.17";
    ZEL_LATE_TABLE(ZEL_FREEIPMI_ENTRY_POINTS)
};

/// As store::late_table.
inline const FreeIpmi* freeipmi() {
    return store::late_table<FreeIpmi>();
}

}  // namespace zel::bmc

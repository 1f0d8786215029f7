/* SPDX-License-Identifier: GPL-3.0-or-later */
#pragma once

/* What a sensor reads that goes evenly up from `low` to `high` and down again, once in `period` seconds. */
static inline unsigned wave(unsigned low, unsigned high, unsigned period, unsigned seconds) {
    const unsigned up = seconds % period, down = period - up;
    return low + (high - low) * 2 * (up < down ? up : down) / period;
}

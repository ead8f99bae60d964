// kx_choose.h: from the settings to the comparators of a run.
#pragma once

#include "kx_list/kx_ring.h"

namespace orkan {

/// An ordering comparator or a duplicate test.
using kx_compare = kx_list_compare;

enum class kx_format { fixed, variable, csv };

/// The record format of the run. By design a record length (-L) wins over CSV (-C), which is then ignored throughout.
kx_format kx_record_format();

/// The order of two index slots, for sorting in memory: by sort keys, or whole records with -A or -R.
kx_compare kx_choose_index_comparator();

/// The duplicate test of two index items.
kx_compare kx_choose_index_difference();

/// The orders of the heads of a merge: `plain`, and `stable`, where a tie goes to the earlier run.
struct kx_head_order {
    kx_compare plain;
    kx_compare stable;
};

/// For runs in the temporary file.
kx_head_order kx_choose_run_order();

/// For presorted inputs. Fixed-length records are compared in the input buffer like those of a run.
kx_head_order kx_choose_presorted_order();

/// The duplicate test of a merge: the run that the last record left from, and the candidate's run. Null for
/// fixed-length records, which a merge compares by cmpIfEqual_head.
kx_compare kx_choose_run_difference();
kx_compare kx_choose_presorted_difference();

} // namespace orkan

#include "tera/edit/edit_kernel_loops_internal.h"

const EditKernel EDIT_KERNEL_BASELINE = {scan_blocks<WordLanes>,
                                         check_groups<ByteLanes16, ByteLanes16, WordLanes>};

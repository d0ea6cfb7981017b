// Start-up: the one file that knows every subsystem.

#include "definitions/drend_load.h"
#include "drend.h"

int drend_dir_init(void) {
    if (dri_load_dir(nullptr) != 0 || dri_schema_merge() != 0) {
        return -1;
    }
    return static_cast<int>(dri_get_count());
}

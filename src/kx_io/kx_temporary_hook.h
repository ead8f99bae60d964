// kx_temporary_hook.h: tells the program around the library when the temporary file comes and goes, so that a command
// may remove it when a signal ends it. The library on its own installs no signal handler: without a program that
// defines the hook nothing happens.
#pragma once

#include <sys/types.h>

extern "C" {

enum orkan_temporary_event {
    orkan_temporary_changing, ///< it is about to be made or removed: no signal should strike until the next event
    orkan_temporary_exists,   ///< it is there: `path`, `device`, `inode`
    orkan_temporary_gone,     ///< it is removed
    orkan_temporary_unchanged ///< making or removing it failed
};

/// Defined by the program, or not at all. `path` is valid during the call only.
[[gnu::weak, gnu::visibility("default")]] void orkan_temporary_file_event(orkan_temporary_event event, const char *path,
                                                                          dev_t device, ino_t inode);
}

// progress_terminal.h: the progress line on standard error, where that is a terminal. The line is drawn by the
// library's hook (kx_progress_hook.h), which is defined here.
#pragma once

/// Takes the line away, if there is one. A signal handler may call it.
void progress_erase();

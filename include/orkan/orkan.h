/* orkan.h: the public interface of liborkan. */
#ifndef ORKAN_ORKAN_H
#define ORKAN_ORKAN_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Runs one complete sort from a command line.
 *
 * argv[0] is the program's name, argv[1] .. argv[argc - 1] are options and input files as the command `orkan` takes
 * them ("--help" as argv[1] prints them). Option arguments are trimmed of surrounding blanks in place, so the strings
 * must be writable. Records go to the -O file or to standard output, messages to standard error.
 *
 * Returns 0 when the sorted records are complete, 1 on every failure and after printing help; each failure has
 * printed its message. An unknown option, an option without its argument and the version output end the process with
 * exit status 0.
 *
 * Not re-entrant: the run's state is process-wide. It may be called again after it has returned. While it sorts a
 * single large file in memory it handles SIGBUS at that file's pages, and passes any other on.
 */
#if defined(__GNUC__)
__attribute__((visibility("default")))
#endif
int orkan_file(int argc, char **argv);

#ifdef __cplusplus
}
#endif

#endif

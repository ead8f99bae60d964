/* main.c INPUT OUTPUT: sorts records of 100 bytes by their first 10 bytes. C99. */
#include <stdio.h>
#include <stdlib.h>

#include <orkan/orkan.h>

int main(int argc, char **argv)
{
    char length[] = "-L100", key[] = "-K0,10", stable[] = "-S";
    char to_folder[] = "-T", folder[] = "/tmp", to_output[] = "-O", end_of_options[] = "--";

    if (argc != 3) {
        fprintf(stderr, "usage: %s INPUT OUTPUT\n", argv[0]);
        return EXIT_FAILURE;
    }
    char *arguments[] = {argv[0], length, key, stable, to_folder, folder, to_output, argv[2], end_of_options, argv[1]};
    if (orkan_file((int)(sizeof arguments / sizeof *arguments), arguments) != 0) {
        fprintf(stderr, "%s is not sorted\n", argv[1]);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

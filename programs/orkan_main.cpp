// orkan_main.cpp: the command `orkan`: its arguments go to the library, the library's status comes back.
#include "orkan/orkan.h"

int main(int argc, char **argv) { return orkan_file(argc, argv); }

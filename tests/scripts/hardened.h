// hardened.h: included before a source, it stops a compilation whose flags do not give what cmake/hardening.cmake asks
// for. With -DNOT_OPTIMISED copies and prints need not be checked.
#pragma once

#include <features.h>

#ifndef __SSP_STRONG__
#error "functions with arrays have no canary"
#endif

#ifndef NOT_OPTIMISED
#if !defined(__USE_FORTIFY_LEVEL) || __USE_FORTIFY_LEVEL < 2
#error "copies and prints do not know the size of their target"
#endif
// From these versions on also where the size is known only when the program runs.
#if __USE_FORTIFY_LEVEL < 3 && __GLIBC_PREREQ(2, 35) && (__GNUC__ >= 12 || __clang_major__ >= 9)
#error "copies know the size of their target only where the compiler does"
#endif
#endif

/* Included before everything else where the C library is musl: the C++ headers were configured for
 * another one, with threads and locales that the product does not use. */
#ifdef __cplusplus
#define __GLIBC_PREREQ(major, minor) 0
#include <bits/c++config.h>
#undef _GLIBCXX_HAS_GTHREADS
#undef _GLIBCXX_HAVE_LINUX_FUTEX
#endif

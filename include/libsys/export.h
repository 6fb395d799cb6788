/* Marks what the shared library shows; all else in it is hidden. */
#ifndef LIBSYS_EXPORT_H
#define LIBSYS_EXPORT_H

#ifdef __GNUC__
#define LIBSYS_API __attribute__((visibility("default")))
#else
#define LIBSYS_API
#endif

#endif
